// The per-document annotation list: one movable block holding a header and
// fixed-size node slots linked by 16-bit slot indexes.
//
// Nodes are linked in position order from `head` to `tail`; the free slots
// form a second doubly linked list, from `freeHead` to `freeTail`, through the
// same `next`/`prev` fields. Slot i lies at 16 + 80 * i bytes; the block is
// 96 + 80 * capacity bytes, one slot more than `capacity` (that last slot is
// never linked). kNoSlot (65535) stands for "no slot" in every link.
#ifndef ANNOTATION_STORE_ANNO_LIST_H
#define ANNOTATION_STORE_ANNO_LIST_H

#include <cstddef>
#include <cstdint>
#include <utility>

#include "annotation/annotation.h"

namespace annotation {

inline constexpr uint16_t kNoSlot = 0xFFFF;

// One slot of the list.
struct AnnoNode {
    uint16_t next;  // following node in position order, or following free slot
    uint16_t prev;  // preceding node, or preceding free slot
    uint16_t kind;  // ANNO_HILITETEXT .. ANNO_HIDEPARABREAK
    uint16_t unused;
    InternalAnno anno;
};

// The header at the start of the list block, followed by the slots.
struct AnnoList {
    uint16_t count;         // nodes in the ordered list
    uint16_t capacity;      // slots linked into either list
    uint16_t head;          // first node in position order
    uint16_t tail;          // last node in position order
    uint16_t freeHead;      // first free slot
    uint16_t freeTail;      // last free slot
    uint16_t busy;          // nonzero: the list could not grow; adds fail
    uint16_t hasInsertText; // nonzero once a kind 5 or 6 node was added

    AnnoNode* Slots() noexcept { return reinterpret_cast<AnnoNode*>(this + 1); }
    AnnoNode& Node(uint16_t slot) noexcept { return Slots()[slot]; }
};

// Slots of a new block, and slots added at each growth.
inline constexpr uint16_t kListSlotStep = 10;

// Bytes of a list block whose capacity is `capacity` slots.
constexpr uint32_t ListBlockBytes(uint32_t capacity) noexcept {
    return static_cast<uint32_t>(sizeof(AnnoList) + sizeof(AnnoNode)) +
           static_cast<uint32_t>(sizeof(AnnoNode)) * capacity;
}

static_assert(sizeof(AnnoNode) == 80, "a list slot is 80 bytes");
static_assert(offsetof(AnnoNode, anno) == 8, "the annotation starts 8 bytes into its slot");
static_assert(sizeof(AnnoList) == 16, "the list header is eight u16 words");
static_assert(ListBlockBytes(kListSlotStep) == 896, "a new list block is 896 bytes");
static_assert(ListBlockBytes(20) == 1696, "a grown list block is 96 + 80 x capacity bytes");

// Calls visit(slot, node) for every node from `first` along `next` to the
// end of the list. The follower is read before the visit, so the visitor may
// unlink and release the node it is given, but no other node. visit returns
// false to stop. The walk takes at most `capacity` steps and never follows a
// link outside the slots, so even a damaged chain cannot make it run forever
// or leave the block.
template <typename Visit>
void ForEachNodeFrom(AnnoList& list, uint16_t first, Visit&& visit) {
    uint16_t slot = first;
    for (uint32_t steps = 0; slot != kNoSlot && slot < list.capacity && steps < list.capacity; ++steps) {
        uint16_t follower = list.Node(slot).next;
        if (!visit(slot, list.Node(slot))) return;
        slot = follower;
    }
}

// ForEachNodeFrom the head of the list: every node in position order.
template <typename Visit>
void ForEachNode(AnnoList& list, Visit&& visit) {
    ForEachNodeFrom(list, list.head, std::forward<Visit>(visit));
}

// Frees the list block and the text block of every insert-text node, and
// sets hAnnoList to 0. Harmless when hAnnoList is already 0.
void FreeAnnoList(uint32_t& hAnnoList);

}  // namespace annotation

#endif
