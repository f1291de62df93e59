// Checking and reading a document's annotation list.
#include "support/list_invariants.h"

#include <set>
#include <sstream>

#include "annotation/handle_lock.h"
#include "annotation/store/anno_doc_info.h"
#include "annotation/store/doc_state.h"
#include "engine/engine.h"

namespace testing_support {

using annotation::AnnoList;
using annotation::AnnoNode;
using annotation::kNoSlot;
using annotation::LockedBlock;

uint32_t ListHandle(uint32_t hDoc) {
    uint32_t hInfo = 0;
    if (annotation::GetAnnoFromDoc(hDoc, &hInfo) != 0) return 0;
    LockedBlock<annotation::AnnoDocInfo> info(hInfo);
    return info ? info->hAnnoList : 0;
}

namespace {

// Walks one chain from `first` along next, checking the back links; the
// slots met, or a failure.
::testing::AssertionResult WalkChain(AnnoList& list, const char* name, uint16_t first, uint16_t last,
                                     std::vector<uint16_t>& slots) {
    uint16_t prev = kNoSlot;
    for (uint16_t slot = first; slot != kNoSlot; slot = list.Node(slot).next) {
        if (slot >= list.capacity) return ::testing::AssertionFailure() << name << " links slot " << slot;
        if (slots.size() > list.capacity) return ::testing::AssertionFailure() << name << " has a cycle";
        if (list.Node(slot).prev != prev) {
            return ::testing::AssertionFailure() << name << ": slot " << slot << " has prev " << list.Node(slot).prev
                                                 << ", expected " << prev;
        }
        slots.push_back(slot);
        prev = slot;
    }
    if (prev != last) return ::testing::AssertionFailure() << name << " ends at " << prev << ", its tail is " << last;
    return ::testing::AssertionSuccess();
}

}  // namespace

::testing::AssertionResult ListIsSound(uint32_t hDoc) {
    const uint32_t hList = ListHandle(hDoc);
    if (hList == 0) return ::testing::AssertionSuccess();
    LockedBlock<AnnoList> list(hList);
    if (!list) return ::testing::AssertionFailure() << "the list block cannot be locked";
    if (ENMemBlockSize(hList) != annotation::ListBlockBytes(list->capacity)) {
        return ::testing::AssertionFailure() << "block of " << ENMemBlockSize(hList) << " bytes for capacity "
                                             << list->capacity;
    }
    if (list->count == 0) return ::testing::AssertionFailure() << "an empty list block was kept";

    std::vector<uint16_t> nodes;
    std::vector<uint16_t> free;
    if (auto r = WalkChain(*list, "the list", list->head, list->tail, nodes); !r) return r;
    if (auto r = WalkChain(*list, "the free list", list->freeHead, list->freeTail, free); !r) return r;
    if (nodes.size() != list->count) {
        return ::testing::AssertionFailure() << "count " << list->count << " but " << nodes.size() << " nodes";
    }
    if (free.size() != static_cast<size_t>(list->capacity - list->count)) {
        return ::testing::AssertionFailure() << free.size() << " free slots, expected "
                                             << list->capacity - list->count;
    }
    std::set<uint16_t> seen(nodes.begin(), nodes.end());
    seen.insert(free.begin(), free.end());
    if (seen.size() != list->capacity) return ::testing::AssertionFailure() << "a slot is on both lists";

    bool insertKinds = false;
    for (uint16_t slot : nodes) {
        const AnnoNode& node = list->Node(slot);
        if (node.kind < ANNO_HILITETEXT || node.kind > ANNO_HIDEPARABREAK) {
            return ::testing::AssertionFailure() << "slot " << slot << " has kind " << node.kind;
        }
        insertKinds |= node.kind == ANNO_INSERTTEXT || node.kind == ANNO_INSERTPARABREAK;
        if (node.kind != ANNO_INSERTTEXT) continue;
        const InternalAnno& a = node.anno;
        if (a.hText == 0 || ENMemBlockSize(a.hText) < a.textCap * 2) {
            return ::testing::AssertionFailure() << "text node " << slot << " has no text block of " << a.textCap
                                                 << " characters";
        }
        if (a.textCap % 64 != 0 || a.textCap <= a.textLen) {
            return ::testing::AssertionFailure() << "text node " << slot << ": textCap " << a.textCap << ", textLen "
                                                 << a.textLen;
        }
    }
    if (insertKinds && list->hasInsertText == 0) return ::testing::AssertionFailure() << "hasInsertText not set";
    return ::testing::AssertionSuccess();
}

std::vector<ListedNode> ListedNodes(uint32_t hDoc) {
    std::vector<ListedNode> nodes;
    LockedBlock<AnnoList> list(ListHandle(hDoc));
    if (!list) return nodes;
    annotation::ForEachNode(*list, [&](uint16_t slot, AnnoNode& node) {
        ListedNode listed{slot, node.kind, node.anno, {}};
        if (node.kind == ANNO_INSERTTEXT && node.anno.hText != 0) {
            LockedBlock<const char16_t> text(node.anno.hText);
            listed.text.assign(text.get(), node.anno.textLen);
        }
        nodes.push_back(listed);
        return true;
    });
    return nodes;
}

std::vector<uint32_t> UserIds(uint32_t hDoc) {
    std::vector<uint32_t> ids;
    for (const ListedNode& node : ListedNodes(hDoc)) ids.push_back(node.anno.userId);
    return ids;
}

const ListedNode& ByUserId(const std::vector<ListedNode>& nodes, uint32_t userId) {
    static const ListedNode none{};
    for (const ListedNode& node : nodes) {
        if (node.anno.userId == userId) return node;
    }
    ADD_FAILURE() << "no node with userId " << userId;
    return none;
}

ListedNode NodeOf(uint32_t hDoc, uint32_t userId) { return ByUserId(ListedNodes(hDoc), userId); }

AnnoList ListHeader(uint32_t hDoc) {
    LockedBlock<AnnoList> list(ListHandle(hDoc));
    if (!list) return AnnoList{0, 0, kNoSlot, kNoSlot, kNoSlot, kNoSlot, 0, 0};
    return *list;
}

std::vector<uint16_t> FreeSlots(uint32_t hDoc) {
    std::vector<uint16_t> slots;
    LockedBlock<AnnoList> list(ListHandle(hDoc));
    if (!list) return slots;
    for (uint16_t slot = list->freeHead; slot != kNoSlot && slots.size() <= list->capacity;
         slot = list->Node(slot).next) {
        slots.push_back(slot);
    }
    return slots;
}

}  // namespace testing_support
