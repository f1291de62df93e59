// The rules for adding inserted text (kind 5) and inserted paragraph breaks
// (kind 6) at an anchor.
//
// The combined inserted text of an anchor is the texts of its insert-text
// nodes, in list order, with one character per paragraph-break node; text
// positions address it by offset. Adding to it renumbers the offsets that
// other annotations hold, and the list keeps at most one insert-text node per
// stretch of text between breaks: new text joins a neighbouring text node
// when there is one, and a break inside a text node splits that node in two.
//
// Text offsets that point outside the text they are applied to (a caller's
// offset before the inserted text that precedes the insertion point, or past
// the end of the text it joins or splits) are clamped to that text: new text
// goes to its start or its end, and a split keeps at most the whole text
// before the break. Nothing is ever written outside a text block.
//
// A failure after the positions were renumbered leaves them renumbered, and
// leaves every text block as it was.
#include <algorithm>
#include <cstring>

#include "annotation/index/list_index.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/list_insertion.h"
#include "annotation/store/text_block.h"

namespace annotation {
namespace {

// What the inserted text at the anchor looks like around the insertion point.
struct Neighbourhood {
    uint32_t insertedCount = 0;  // characters at the anchor before the insertion point
    uint16_t before = kNoSlot;   // text node to append to, no break between
    uint16_t after = kNoSlot;    // text node to insert into, no break between
};

// The new node goes in front of the other annotations that start exactly
// where it does, but behind the inserted text and breaks already there.
void GoInFrontOfEqualStarts(AnnoList& list, const AnnoPos& start, InsertionPoint& at) {
    ForEachNodeBackFrom(list, at.prev, [&](uint16_t slot, const AnnoNode& node) {
        if (IsInsertKind(node.kind) || ComparePositions(start, node.anno.start) != 0) return false;
        at = InsertionPoint{node.prev, slot};
        return true;
    });
}

Neighbourhood LookAround(AnnoList& list, const AnnoPos& anchor, InsertionPoint at) {
    Neighbourhood around;
    bool metInsert = false;
    ForEachNodeBackFrom(list, at.prev, [&](uint16_t slot, const AnnoNode& node) {
        if (!SameAnchor(node.anno.start, anchor)) return false;
        if (node.kind == ANNO_INSERTTEXT) around.insertedCount += node.anno.textLen;
        if (node.kind == ANNO_INSERTPARABREAK) around.insertedCount += 1;
        if (IsInsertKind(node.kind) && !metInsert) {
            metInsert = true;
            if (node.kind == ANNO_INSERTTEXT) around.before = slot;
        }
        return true;
    });
    ForEachNodeFrom(list, at.next, [&](uint16_t slot, const AnnoNode& node) {
        if (!SameAnchor(node.anno.start, anchor) || node.kind == ANNO_INSERTPARABREAK) return false;
        if (node.kind != ANNO_INSERTTEXT) return true;
        around.after = slot;
        return false;
    });
    return around;
}

bool SamePosition(const AnnoPos& a, const AnnoPos& b) {
    return a.itemId == b.itemId && a.subItemId == b.subItemId && a.posType == b.posType &&
           a.textOffset == b.textOffset;
}

// Renumbers one node's positions for `textCount` characters inserted at
// `start`; whether it changed them. For a document position the change
// moves a position at the anchor into the inserted text, so a second look at
// the same node changes nothing.
bool Renumber(AnnoNode& node, uint16_t kind, const AnnoPos& start, uint32_t textCount, uint32_t insertedCount) {
    InternalAnno& n = node.anno;
    const AnnoPos oldStart = n.start;
    const AnnoPos oldEnd = n.end;
    if (IsTextPosition(start)) {
        const uint32_t k = start.textOffset;
        if (IsTextPosition(n.start) && SameAnchor(n.start, start) && n.start.textOffset >= k &&
            (IsRangeKind(node.kind) || node.kind == ANNO_INSERTTEXT || n.start.textOffset > k)) {
            n.start.textOffset += textCount;
            if (!IsRangeKind(node.kind)) {
                n.end = n.start;
                ++n.end.textOffset;
            }
        }
        if (IsRangeKind(node.kind) && IsTextPosition(n.end) && SameAnchor(n.end, start) && n.end.textOffset > k) {
            n.end.textOffset += textCount;
        }
    } else {
        if (IsRangeKind(node.kind) && ComparePositions(n.end, start) == 0) {
            n.end.posType = ANPOS_ANNOTEXT;
            n.end.textOffset = insertedCount;
        }
        const bool pointBeforeText = node.kind == ANNO_INSERTICON || node.kind == ANNO_INSERTBITMAP ||
                                     node.kind == ANNO_INSERTPARABREAK ||
                                     (node.kind == ANNO_INSERTTEXT && kind == ANNO_INSERTPARABREAK);
        if (pointBeforeText && ComparePositions(n.start, start) == 0) {
            n.start.posType = ANPOS_ANNOTEXT;
            n.start.textOffset = insertedCount;
            n.end = n.start;
            ++n.end.textOffset;
        }
    }
    return !SamePosition(n.start, oldStart) || !SamePosition(n.end, oldEnd);
}

// Renumbers the positions of the nodes up to the anchor for `textCount`
// characters inserted at `start`: the walk from the head stops at the first
// node whose anchor is beyond. Whether any node changed.
//
// For a document position the index names a later node to begin at (every
// node before it lies wholly before the anchor); the nodes added since its
// build, which that walk may not reach, are renumbered one by one, and a
// node renumbered twice is as if once. Otherwise the walk is counted, so
// that the index is rebuilt once such walks have cost what a build does.
bool ShiftPositions(AnnoDocInfo& info, AnnoList& list, uint16_t kind, const AnnoPos& start, uint32_t textCount,
                    uint32_t insertedCount) {
    bool changed = false;
    auto walkFrom = [&](uint16_t first) {
        uint32_t steps = 0;
        ForEachNodeFrom(list, first, [&](uint16_t, AnnoNode& node) {
            ++steps;
            if (AnchorBeyond(node.anno.start, start)) return false;
            changed = Renumber(node, kind, start, textCount, insertedCount) || changed;
            return true;
        });
        return steps;
    };
    const ListIndex* index = ReadyIndex(info, list, IndexUse::kAddsKept);
    if (uint16_t from = kNoSlot; index != nullptr && RenumberWalkStart(*index, start, from)) {
        walkFrom(from);
        for (uint32_t i = 0; i < KeptAddCount(*index); ++i) {
            AnnoNode& node = list.Node(KeptAddSlot(*index, i));
            if (!AnchorBeyond(node.anno.start, start)) {
                changed = Renumber(node, kind, start, textCount, insertedCount) || changed;
            }
        }
        return changed;
    }
    NoteListWalked(info, walkFrom(list.head));
    return changed;
}

// The length after adding `extra` characters to `length`; false when it
// would not fit in 32 bits.
bool AddLengths(uint32_t length, uint32_t extra, uint32_t* total) {
    *total = length + extra;
    return *total >= length;
}

// Appends the new text to the text node `before`.
uint32_t AppendToText(AnnoList& list, uint16_t before, AnnoRecord& record) {
    InternalAnno& target = list.Node(before).anno;
    uint32_t total = 0;
    if (!AddLengths(target.textLen, record.anno.textLen, &total)) return ANERR_NOMEMORY;
    if (GrowTextBlock(target, total) != 0) return ANERR_NOMEMORY;
    if (record.anno.textLen > 0) {
        LockedBlock<uint16_t> text(target.hText);
        if (!text) return ANERR_NOMEMORY;
        std::memcpy(text.get() + target.textLen, record.text, size_t{record.anno.textLen} * 2);
    }
    target.textLen = total;
    record.anno.displayData = 0;
    return 0;
}

// Inserts the new text into the text node `after` at offset o.
uint32_t InsertIntoText(AnnoList& list, uint16_t after, AnnoRecord& record, uint32_t insertedCount) {
    InternalAnno& target = list.Node(after).anno;
    const uint32_t length = record.anno.textLen;
    const int64_t wanted = int64_t{record.anno.start.textOffset} - length - insertedCount;
    const auto o = static_cast<uint32_t>(std::clamp<int64_t>(wanted, 0, target.textLen));
    uint32_t total = 0;
    if (!AddLengths(target.textLen, length, &total)) return ANERR_NOMEMORY;
    if (GrowTextBlock(target, total) != 0) return ANERR_NOMEMORY;
    if (length > 0) {
        LockedBlock<uint16_t> text(target.hText);
        if (!text) return ANERR_NOMEMORY;
        std::memmove(text.get() + o + length, text.get() + o, size_t{target.textLen - o} * 2);
        std::memcpy(text.get() + o, record.text, size_t{length} * 2);
    }
    target.textLen = total;
    record.anno.displayData = 0;
    return 0;
}

// Splits the text node `after` in front of a new paragraph break: its first s
// characters become a node of their own, linked at the insertion point, which
// then lies behind that node. The piece is a part of the text split, so it
// carries that node's record (userId, userData, ...) with its own positions
// and text; it shares the userData, which ANClearUserData frees once.
uint32_t SplitText(AnnoDocInfo& info, LockedBlock<AnnoList>& list, const AnnoRecord& record,
                   uint32_t insertedCount, InsertionPoint& at, uint16_t after) {
    const AnnoPos& start = record.anno.start;
    InternalAnno& target = list->Node(after).anno;
    const int64_t wanted = int64_t{start.textOffset} - 1 - insertedCount;
    const auto s = static_cast<uint32_t>(std::clamp<int64_t>(wanted, 0, target.textLen));

    InternalAnno piece = target;
    if (AllocTextBlock(s, &piece.hText, &piece.textCap) != 0) return ANERR_NOMEMORY;
    if (s > 0) {
        LockedBlock<uint16_t> from(target.hText);
        LockedBlock<uint16_t> to(piece.hText);
        if (!from || !to) {
            to.Unlock();
            SYSNativeFree(piece.hText);
            return ANERR_NOMEMORY;
        }
        std::memcpy(to.get(), from.get(), size_t{s} * 2);
        std::memmove(from.get(), from.get() + s, size_t{target.textLen - s} * 2);
    }
    target.textLen -= s;
    piece.size = sizeof(InternalAnno);
    piece.displayData = 0;
    piece.textLen = s;
    piece.start = start;
    --piece.start.textOffset;
    piece.end = piece.start;
    piece.end.textOffset = start.textOffset;
    const uint16_t pieceSlot = list->freeHead;
    const uint32_t result = InsertNode(info, list, ANNO_INSERTTEXT, piece, at);
    at.prev = pieceSlot;
    return result;
}

}  // namespace

uint32_t AddInsertedText(AnnoDocInfo& info, LockedBlock<AnnoList>& list, uint16_t kind, AnnoRecord& record,
                         InsertionPoint at, uint16_t asIs) {
    InternalAnno& anno = record.anno;
    list->hasInsertText = 1;
    const InsertionPoint found = at;
    GoInFrontOfEqualStarts(*list, anno.start, at);
    const Neighbourhood around = LookAround(*list, anno.start, at);
    const uint32_t textCount = kind == ANNO_INSERTTEXT ? anno.textLen : 1;

    // The index follows an add that only links a new node at a document
    // position where no inserted text is yet and no node starts (the node
    // would go in front of it) or is renumbered; every other add drops it.
    bool indexFollows = asIs == 0 && !IsTextPosition(anno.start) && at.prev == found.prev &&
                        at.next == found.next && around.insertedCount == 0 && around.before == kNoSlot &&
                        around.after == kNoSlot;
    if (asIs == 0) {
        if (ShiftPositions(info, *list, kind, anno.start, textCount, around.insertedCount)) indexFollows = false;
        if (IsTextPosition(anno.start)) anno.start.textOffset += textCount;
        if (IsTextPosition(anno.end)) anno.end.textOffset += textCount;
    }
    if (!indexFollows) DropListIndex(info);

    if (kind == ANNO_INSERTTEXT) {
        if (around.before != kNoSlot) return AppendToText(*list, around.before, record);
        if (around.after != kNoSlot) return InsertIntoText(*list, around.after, record, around.insertedCount);
        if (MakeOwnTextCopy(anno, record.text) != 0) return ANERR_NOMEMORY;
        return InsertNode(info, list, kind, anno, at);
    }

    // A break at a text position past the first character of `after` falls
    // inside its text. (A break at a document position sorts behind all the
    // text of its anchor, so it never splits.)
    const bool splits = asIs == 0 && around.after != kNoSlot && IsTextPosition(anno.start) &&
                        anno.start.textOffset > around.insertedCount + 1;
    if (!splits) return InsertNode(info, list, kind, anno, at);

    const uint32_t splitResult = SplitText(info, list, record, around.insertedCount, at, around.after);
    // The growth after the split failed: the piece is stored, the break is
    // not, unless the list is merely full for good (busy), in which case the
    // break still takes the slot that is left. A list without a free slot
    // (after an earlier growth failed) cannot take the break either.
    if (splitResult != 0 && (!list || list->busy == 0)) return splitResult;
    if (!list || list->freeHead == kNoSlot) return ANERR_NOMEMORY;
    const uint32_t insertResult = InsertNode(info, list, kind, anno, at);
    return splitResult != 0 ? splitResult : insertResult;
}

}  // namespace annotation
