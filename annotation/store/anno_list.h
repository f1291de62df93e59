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
#include "annotation/handle_lock.h"

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

// The kinds by what they are: inserted text and paragraph breaks; ranges
// that cover positions (a hilite, hidden text, a hidden paragraph break);
// hidden ranges.
constexpr bool IsInsertKind(uint16_t kind) noexcept { return kind == ANNO_INSERTTEXT || kind == ANNO_INSERTPARABREAK; }
constexpr bool IsRangeKind(uint16_t kind) noexcept {
    return kind == ANNO_HILITETEXT || kind == ANNO_HIDETEXT || kind == ANNO_HIDEPARABREAK;
}
constexpr bool IsHiddenKind(uint16_t kind) noexcept { return kind == ANNO_HIDETEXT || kind == ANNO_HIDEPARABREAK; }

// What a layout pass reports of a node when its look switches on or off:
// read from the node, or from the copy the list index keeps of it.
struct NodeLook {
    uint32_t userData;
    uint32_t displayData;
    uint32_t hText;
    uint32_t textLen;
};

constexpr NodeLook LookOf(const InternalAnno& anno) noexcept {
    return NodeLook{anno.userData, anno.displayData, anno.hText, anno.textLen};
}

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

// The one list walk. Calls visit(slot, node, follower) for every node from
// `first` along `link` (&AnnoNode::next forwards, &AnnoNode::prev backwards).
// The follower is read before the visit and handed to it by reference: the
// visitor may unlink and release the node it is given, and when it releases
// other nodes too it points `follower` at the next node still listed. visit
// returns false to stop. The walk never follows a link outside the slots and
// takes at most twice `capacity` steps (a removal may come back to one node
// once), so even a damaged chain cannot make it run forever or leave the
// block.
template <typename Visit>
void WalkNodes(AnnoList& list, uint16_t first, uint16_t AnnoNode::*link, Visit&& visit) {
    const uint32_t maxSteps = 2u * list.capacity;
    uint16_t slot = first;
    for (uint32_t steps = 0; slot != kNoSlot && slot < list.capacity && steps < maxSteps; ++steps) {
        uint16_t follower = list.Node(slot).*link;
        if (!visit(slot, list.Node(slot), follower)) return;
        slot = follower;
    }
}

// Calls visit(slot, node) for every node from `first` along `next` to the end
// of the list; visit returns false to stop. It may release the node it is
// given, but no other node.
template <typename Visit>
void ForEachNodeFrom(AnnoList& list, uint16_t first, Visit&& visit) {
    WalkNodes(list, first, &AnnoNode::next, [&](uint16_t slot, AnnoNode& node, uint16_t&) { return visit(slot, node); });
}

// As ForEachNodeFrom, backwards along `prev`.
template <typename Visit>
void ForEachNodeBackFrom(AnnoList& list, uint16_t first, Visit&& visit) {
    WalkNodes(list, first, &AnnoNode::prev, [&](uint16_t slot, AnnoNode& node, uint16_t&) { return visit(slot, node); });
}

// ForEachNodeFrom the head of the list: every node in position order.
template <typename Visit>
void ForEachNode(AnnoList& list, Visit&& visit) {
    ForEachNodeFrom(list, list.head, std::forward<Visit>(visit));
}

// Slot operations. They keep both chains and the header consistent; none of
// them allocates. Slot indexes must name slots below `capacity`.

// Links slots [from, to) in ascending order behind the free tail and makes
// `to` the capacity. A new block starts as AppendFreeSlots(list, 0, 10); a
// growth appends the new slots behind the one slot still free.
void AppendFreeSlots(AnnoList& list, uint16_t from, uint16_t to);

// Takes the slot at freeHead, fills it with `kind` and `anno`, links it
// between `prev` and `next` (kNoSlot: at that end of the list) and counts it.
// The caller has made sure that a slot is free. Returns the slot.
uint16_t LinkNewNode(AnnoList& list, uint16_t prev, uint16_t next, uint16_t kind, const InternalAnno& anno);

// Takes a node out of the ordered list. The node's own next and prev keep
// their old values, so a walk may still look at its former neighbours.
void UnlinkNode(AnnoList& list, uint16_t slot);

// Puts an unlinked node's slot in front of the free list, clears `busy` and
// counts the node out. When the free list was empty the slot also becomes
// its tail, so that freeTail always names the last free slot.
void ReleaseSlot(AnnoList& list, uint16_t slot);

// Moves a listed node to just in front of the listed node `before`.
void MoveNodeBefore(AnnoList& list, uint16_t slot, uint16_t before);

// Frees the list block and the text block of every insert-text node, and
// sets hAnnoList to 0. Harmless when hAnnoList is already 0.
void FreeAnnoList(uint32_t& hAnnoList);
// As FreeAnnoList, with the list already locked in `list` (which is left
// empty).
void FreeLockedAnnoList(LockedBlock<AnnoList>& list, uint32_t& hAnnoList);

struct AnnoDocInfo;

// The growth rule, run after a node was counted in: when exactly one slot is
// left free, the block grows by kListSlotStep slots (reallocated, its handle
// stored in info.hAnnoList, `list` locked again on the new block). Returns 0,
// or ANERR_NOMEMORY when the block cannot grow: then either `busy` is set
// (the capacity would pass 65535) or the block keeps its capacity and its one
// free slot. `list` may be empty afterwards if the block cannot be locked
// again; the caller then stops using it.
uint32_t GrowListIfFull(AnnoDocInfo& info, LockedBlock<AnnoList>& list);

}  // namespace annotation

#endif
