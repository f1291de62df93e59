// AddAnnotationToList: storing one record in the document's annotation list.
//
// The list is created by the first add. A new node goes after every node
// whose start is equal or smaller (searched from the tail, so adding in
// document order costs one comparison), hidden ranges merge into hidden
// neighbours, and inserted text follows its own rules (inserted_text.cpp).
// The block grows by ten slots when one free slot is left, so a node is
// never refused for want of room while memory lasts.
#include "annotation/store/list_insertion.h"

#include "annotation/index/list_index.h"
#include "annotation/store/adding.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/text_block.h"
#include "platform/memory.h"

namespace annotation {
namespace {

// A stored node's text, lent to the add of a copy: it is read from there like
// a caller's text, and the handle is back in the record when the add ends.
class LentText {
public:
    LentText(uint16_t kind, AnnoRecord& record) noexcept : record_(record) {
        if (kind != ANNO_INSERTTEXT || record.anno.hText == 0) return;
        hText_ = record.anno.hText;
        record.anno.hText = 0;
        block_.Relock(hText_);
        SetRecordText(record, block_.get());
    }
    ~LentText() {
        if (hText_ == 0) return;
        block_.Unlock();
        SetRecordText(record_, nullptr);
        record_.anno.hText = hText_;
    }
    LentText(const LentText&) = delete;
    LentText& operator=(const LentText&) = delete;

    // The lent block could not be locked.
    bool Failed() const noexcept { return hText_ != 0 && !block_; }

private:
    AnnoRecord& record_;
    uint32_t hText_ = 0;
    LockedBlock<const uint16_t> block_{0};
};

// The first annotation of a document: a block of ten slots whose slot 0 holds
// the node. When the record's own text block cannot be made, the new list
// block is freed again and hAnnoList stays 0, so the state never names a
// block without a valid header.
uint32_t CreateList(AnnoDocInfo& info, uint16_t kind, AnnoRecord& record) {
    LockedBlock<AnnoList> list(0);
    const uint32_t hList = AllocLocked(ListBlockBytes(kListSlotStep), list);
    if (hList == 0) return ANERR_NOMEMORY;
    if (kind == ANNO_INSERTTEXT && MakeOwnTextCopy(record.anno, record.text) != 0) {
        list.Unlock();
        SYSNativeFree(hList);
        return ANERR_NOMEMORY;
    }
    info.hAnnoList = hList;
    DropListIndex(info);
    *list = AnnoList{0, 0, kNoSlot, kNoSlot, kNoSlot, kNoSlot, 0, 0};
    list->hasInsertText = IsInsertKind(kind) ? 1 : 0;
    AppendFreeSlots(*list, 0, kListSlotStep);
    LinkNewNode(*list, kNoSlot, kNoSlot, kind, record.anno);
    return 0;
}

// After the last node, from the tail, whose start is not after `start`.
// Where the starts are in order around `start`, that node is found through
// the index: the last copy whose start is not after `start`, then forwards
// past the nodes added since the index was built that do not start after it
// either (they lie between that copy and the next one). Otherwise the walk
// from the tail finds it.
InsertionPoint FindInsertionPoint(AnnoDocInfo& info, AnnoList& list, const AnnoPos& start) {
    const ListIndex* index = ReadyIndex(info, list, IndexUse::kAddsKept);
    if (uint16_t last = kNoSlot; index && LastStartNotAfter(*index, start, last)) {
        InsertionPoint at{last, last == kNoSlot ? list.head : list.Node(last).next};
        ForEachNodeFrom(list, at.next, [&](uint16_t slot, const AnnoNode& node) {
            if (ComparePositions(start, node.anno.start) < 0) return false;
            at = InsertionPoint{slot, node.next};
            return true;
        });
        return at;
    }
    InsertionPoint at{kNoSlot, list.head};
    uint32_t steps = 0;
    ForEachNodeBackFrom(list, list.tail, [&](uint16_t slot, const AnnoNode& node) {
        ++steps;
        if (ComparePositions(start, node.anno.start) < 0) return true;
        at = InsertionPoint{slot, node.next};
        return false;
    });
    NoteListWalked(info, steps);
    return at;
}

// Grows the hidden range of a hide-text neighbour over the new range [S, E]
// where the two touch or overlap. Only the two neighbours of the insertion
// point are looked at. Returns whether a neighbour took the range (then no
// node is added).
bool MergeHiddenRange(AnnoDocInfo& info, AnnoList& list, InsertionPoint at, const InternalAnno& anno) {
    bool merged = false;
    for (const uint16_t slot : {at.prev, at.next}) {
        if (slot == kNoSlot) continue;
        InternalAnno& neighbour = list.Node(slot).anno;
        if (list.Node(slot).kind != ANNO_HIDETEXT) continue;
        const AnnoPos oldStart = neighbour.start;
        const AnnoPos oldEnd = neighbour.end;
        bool grown = false;
        if (ComparePositions(anno.start, oldStart) <= 0 && ComparePositions(anno.end, oldStart) >= 0) {
            neighbour.start = anno.start;
            grown = true;
        }
        if (ComparePositions(anno.start, oldEnd) <= 0 && ComparePositions(anno.end, oldEnd) >= 0) {
            neighbour.end = anno.end;
            grown = true;
        }
        if (grown) NoteRangeGrown(info, list, slot);
        merged = merged || grown;
    }
    return merged;
}

}  // namespace

uint32_t InsertNode(AnnoDocInfo& info, LockedBlock<AnnoList>& list, uint16_t kind, const InternalAnno& anno,
                    InsertionPoint at) {
    const uint16_t slot = LinkNewNode(*list, at.prev, at.next, kind, anno);
    NoteNodeLinked(info, *list, slot);
    return GrowListIfFull(info, list);
}

uint32_t AddAnnotationToList(uint32_t hAnnoDocInfo, uint16_t kind, AnnoRecord* anno, uint16_t asIs) {
    if (hAnnoDocInfo == 0 || anno == nullptr || kind < ANNO_HILITETEXT || kind > ANNO_HIDEPARABREAK) {
        return ANERR_BADPARAM;
    }
    LentText lent(kind, *anno);
    if (lent.Failed()) return ANERR_NOMEMORY;
    if (kind == ANNO_INSERTTEXT && anno->text == nullptr && anno->anno.textLen != 0) return ANERR_BADPARAM;
    LockedBlock<AnnoDocInfo> info(hAnnoDocInfo);
    if (!info) return ANERR_NOANNODATA;
    if ((info->reentry & kReentryListHeld) != 0) return ANERR_NOMEMORY;
    if (info->hAnnoList == 0) return CreateList(*info, kind, *anno);

    LockedBlock<AnnoList> list(info->hAnnoList);
    if (!list || list->busy != 0 || list->freeHead == kNoSlot) return ANERR_NOMEMORY;
    const InsertionPoint at = FindInsertionPoint(*info, *list, anno->anno.start);
    if (IsInsertKind(kind)) {
        // The inserted-text rules say whether the index can follow.
        return AddInsertedText(*info, list, kind, *anno, at, asIs);
    }
    if (kind == ANNO_HIDETEXT && MergeHiddenRange(*info, *list, at, anno->anno)) return 0;
    const uint16_t slot = LinkNewNode(*list, at.prev, at.next, kind, anno->anno);
    NoteNodeLinked(*info, *list, slot);
    return GrowListIfFull(*info, list);
}

}  // namespace annotation
