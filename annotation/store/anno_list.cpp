// Slot bookkeeping of the annotation list: linking, unlinking and releasing
// nodes, growing the block, and releasing the whole list.
#include "annotation/store/anno_list.h"

#include "annotation/store/anno_doc_info.h"
#include "platform/memory.h"

namespace annotation {
namespace {

// Links `slot` into the ordered list between `prev` and `next` (kNoSlot: at
// that end).
void LinkBetween(AnnoList& list, uint16_t slot, uint16_t prev, uint16_t next) {
    AnnoNode& node = list.Node(slot);
    node.next = next;
    node.prev = prev;
    if (next == kNoSlot) {
        list.tail = slot;
    } else {
        list.Node(next).prev = slot;
    }
    if (prev == kNoSlot) {
        list.head = slot;
    } else {
        list.Node(prev).next = slot;
    }
}

}  // namespace

void AppendFreeSlots(AnnoList& list, uint16_t from, uint16_t to) {
    for (uint16_t slot = from; slot < to; ++slot) {
        AnnoNode& node = list.Node(slot);
        node.prev = list.freeTail;
        node.next = kNoSlot;
        if (list.freeTail == kNoSlot) {
            list.freeHead = slot;
        } else {
            list.Node(list.freeTail).next = slot;
        }
        list.freeTail = slot;
    }
    list.capacity = to;
}

uint16_t LinkNewNode(AnnoList& list, uint16_t prev, uint16_t next, uint16_t kind, const InternalAnno& anno) {
    const uint16_t slot = list.freeHead;
    AnnoNode& node = list.Node(slot);
    list.freeHead = node.next;
    if (list.freeHead == kNoSlot) {
        list.freeTail = kNoSlot;
    } else {
        list.Node(list.freeHead).prev = kNoSlot;
    }

    node.kind = kind;
    node.unused = 0;
    node.anno = anno;
    LinkBetween(list, slot, prev, next);
    ++list.count;
    return slot;
}

void UnlinkNode(AnnoList& list, uint16_t slot) {
    const AnnoNode& node = list.Node(slot);
    if (node.prev == kNoSlot) {
        list.head = node.next;
    } else {
        list.Node(node.prev).next = node.next;
    }
    if (node.next == kNoSlot) {
        list.tail = node.prev;
    } else {
        list.Node(node.next).prev = node.prev;
    }
}

void ReleaseSlot(AnnoList& list, uint16_t slot) {
    AnnoNode& node = list.Node(slot);
    if (list.freeHead == kNoSlot) {
        list.freeTail = slot;
    } else {
        list.Node(list.freeHead).prev = slot;
    }
    node.prev = kNoSlot;
    node.next = list.freeHead;
    list.freeHead = slot;
    list.busy = 0;
    --list.count;
}

void MoveNodeBefore(AnnoList& list, uint16_t slot, uint16_t before) {
    UnlinkNode(list, slot);
    LinkBetween(list, slot, list.Node(before).prev, before);
}

// The new slots are appended behind the free list as it stands instead of
// rebuilding it as the slots count .. capacity - 1: normally the one free slot
// is slot `count` and the two agree, but after an earlier growth failed and
// nodes were released since, the free slot can lie anywhere, and appending
// keeps every free slot on the free list and no listed slot on it.
uint32_t GrowListIfFull(AnnoDocInfo& info, LockedBlock<AnnoList>& list) {
    if (list->count + 1u != list->capacity) return 0;
    const uint16_t oldCapacity = list->capacity;
    const auto newCapacity = static_cast<uint16_t>(oldCapacity + kListSlotStep);
    if (newCapacity <= oldCapacity) {
        list->busy = 1;
        return ANERR_NOMEMORY;
    }
    const uint32_t hOld = list.handle();
    list.Unlock();
    const uint32_t hNew = SYSNativeReAlloc(hOld, ListBlockBytes(newCapacity));
    if (hNew == 0) {
        list.Relock(hOld);
        return ANERR_NOMEMORY;
    }
    info.hAnnoList = hNew;
    list.Relock(hNew);
    if (!list) {
        // The block grew but cannot be locked to take the new slots in: it
        // goes back to the size its header describes, so that block and
        // header agree and the next growth starts from the same state.
        const uint32_t hBack = SYSNativeReAlloc(hNew, ListBlockBytes(oldCapacity));
        if (hBack != 0) info.hAnnoList = hBack;
        return ANERR_NOMEMORY;
    }
    AppendFreeSlots(*list, oldCapacity, newCapacity);
    return 0;
}

void FreeLockedAnnoList(LockedBlock<AnnoList>& list, uint32_t& hAnnoList) {
    if (list) {
        ForEachNode(*list, [](uint16_t, AnnoNode& node) {
            if (node.kind == ANNO_INSERTTEXT && node.anno.hText != 0) {
                SYSNativeFree(node.anno.hText);
                node.anno.hText = 0;
            }
            return true;
        });
    }
    list.Unlock();
    if (hAnnoList != 0) SYSNativeFree(hAnnoList);
    hAnnoList = 0;
}

void FreeAnnoList(uint32_t& hAnnoList) {
    if (hAnnoList == 0) return;
    LockedBlock<AnnoList> list(hAnnoList);
    FreeLockedAnnoList(list, hAnnoList);
}

}  // namespace annotation
