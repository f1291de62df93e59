// Stepping through the positions of a document in reading order: the
// chunker's positions, and before the document position of an anchor the
// text positions of the text inserted there (offsets 0 .. N-1 of the combined
// text of its insert-text and insert-paragraph-break nodes, in list order).
#include "annotation/annotation.h"
#include "annotation/handle_lock.h"
#include "annotation/index/list_index.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/doc_state.h"
#include "platform/chunker.h"

namespace annotation {
namespace {

struct ChunkerItem {
    uint32_t words[CH_ITEM_WORDS] = {};
    bool IsText() const { return words[0] == CH_ITEM_TEXT; }
    uint32_t FirstChar() const { return words[1]; }
    uint32_t CharCount() const { return words[2]; }
};

bool GetItem(uint32_t hChunker, uint32_t itemId, ChunkerItem& item) {
    return CHGetItem(hChunker, CH_KIND_ITEM, itemId, item.words, nullptr) == 0;
}

// The characters inserted at the anchor by one node: textLen, or one break.
uint32_t InsertedShare(const AnnoNode& node) { return node.kind == ANNO_INSERTTEXT ? node.anno.textLen : 1; }

// Whether the anchor of `anchor` comes after that of `from` in reading
// order. Anchors are ordered as ComparePositions orders positions, so that
// subItemId 0xFFFFFFFF (an item as a whole, standing for its first
// character) comes before the item's character ids. Compared as plain
// unsigned numbers it would come after them: a walk inside a text item would
// then be led back to inserted text anchored at the item as a whole, and
// round through the item again without end, and that anchor, met first in
// the list, would hide the anchors after it in the same item. Both orders
// agree wherever the two subItemIds differ from 0xFFFFFFFF.
bool AnchorFollows(const AnnoPos& anchor, const AnnoPos& from) {
    const AnnoPos a{anchor.itemId, anchor.subItemId, 0, 0};
    const AnnoPos f{from.itemId, from.subItemId, 0, 0};
    return ComparePositions(a, f) > 0;
}

// Character ids of a text item are consecutive, so when the chunker cannot
// name the character after one that is not its item's last, the next id is
// taken as the following character. `pos` is a document position.
uint32_t NextChunkerPos(uint32_t hChunker, const AnnoPos& pos, AnnoPos& next) {
    ChunkerItem item;
    if (!GetItem(hChunker, pos.itemId, item)) return ANERR_NOTFOUND;
    if (item.IsText() && item.CharCount() > 0) {
        const uint32_t cur = pos.subItemId == kWholeItem ? item.FirstChar() : pos.subItemId;
        const uint32_t last = item.FirstChar() + item.CharCount() - 1;
        // A character id outside the item names none of its characters: the
        // step goes on to the next item, so that no walk counts through ids
        // the item does not hold.
        if (cur >= item.FirstChar() && cur < last) {
            uint32_t nextChar = cur + 1;
            CHNextItemId(hChunker, CH_KIND_CHAR, cur, &nextChar);
            next.itemId = pos.itemId;
            next.subItemId = nextChar;
            return 0;
        }
    }
    if (CHNextItemId(hChunker, CH_KIND_ITEM, pos.itemId, &next.itemId) != 0) return ANERR_NOTFOUND;
    next.subItemId = kWholeItem;
    ChunkerItem following;
    if (GetItem(hChunker, next.itemId, following) && following.IsText()) next.subItemId = following.FirstChar();
    return 0;
}

// The step to the next text position: further into the combined text at
// from's anchor, or to the first character of the next anchor that holds
// inserted text. With the insert nodes' anchors in order the index answers,
// nodes added since its build and all (the hide-text builder steps between
// adds); otherwise the list is walked from its head, and the walk counted.
uint32_t NextAnnoTextPos(AnnoDocInfo& info, const AnnoPos& from, AnnoPos& next) {
    if (info.hAnnoList == 0) return ANERR_NOTFOUND;
    LockedBlock<AnnoList> list(info.hAnnoList);
    if (!list || list->hasInsertText == 0 || list->head == kNoSlot) return ANERR_NOTFOUND;
    if (ListIndex* index = ReadyIndex(info, *list, IndexUse::kAddsKept)) {
        const AnchorAnswer answer = NextTextPosition(*index, from, next);
        if (answer != AnchorAnswer::kUnknown) return answer == AnchorAnswer::kFound ? 0 : ANERR_NOTFOUND;
    }
    uint64_t total = 0;
    uint32_t found = ANERR_NOTFOUND;
    uint32_t steps = 0;
    ForEachNode(*list, [&](uint16_t, const AnnoNode& node) {
        ++steps;
        if (!IsInsertKind(node.kind)) return true;
        const AnnoPos& anchor = node.anno.start;
        if (IsTextPosition(from) && SameAnchor(anchor, from)) {
            total += InsertedShare(node);
            if (uint64_t{from.textOffset} + 1 < total) {
                next = AnnoPos{from.itemId, from.subItemId, ANPOS_ANNOTEXT, from.textOffset + 1};
                found = 0;
                return false;
            }
            return true;
        }
        if (AnchorFollows(anchor, from)) {
            next = AnnoPos{anchor.itemId, anchor.subItemId, ANPOS_ANNOTEXT, 0};
            found = 0;
            return false;
        }
        return true;
    });
    NoteListWalked(info, steps);
    return found;
}

}  // namespace
}  // namespace annotation

using namespace annotation;

extern "C" AN_API uint32_t ANIsAnnoTextPos(const AnnoPos* pos) {
    return pos != nullptr && IsTextPosition(*pos) ? 1 : 0;
}

// From a text position the step leaves the inserted text for its anchor,
// without asking the document.
extern "C" AN_API uint32_t ANNextChunkerPos(uint32_t hDoc, const AnnoPos* pos, AnnoPos* next) {
    if (next == nullptr) return ANERR_BADPARAM;
    *next = AnnoPos{0, 0, 0, 0};
    if (pos == nullptr) return ANERR_BADPARAM;
    if (IsTextPosition(*pos)) {
        next->itemId = pos->itemId;
        next->subItemId = pos->subItemId;
        return 0;
    }
    DocInfoLock info(0);
    const uint32_t result = LockDocState(hDoc, info);
    if (result != 0) return result;
    const AnnoPos from = *pos;
    return NextChunkerPos(info->hChunker, from, *next);
}

extern "C" AN_API uint32_t ANNextAnnoTextPos(uint32_t hDoc, const AnnoPos* pos, AnnoPos* next) {
    DocInfoLock info(0);
    const uint32_t result = LockDocState(hDoc, info);
    if (result != 0) return result;
    if (pos == nullptr || next == nullptr) return ANERR_BADPARAM;
    const AnnoPos from = *pos;
    return NextAnnoTextPos(*info, from, *next);
}

// The document is looked up once for both candidates. Both are computed
// into records of their own before `next` is written, so stepping in place
// is safe. A document without state still steps out of inserted text (to
// the anchor), as ANNextChunkerPos does.
extern "C" AN_API uint32_t ANNextPos(uint32_t hDoc, const AnnoPos* pos, AnnoPos* next) {
    if (pos == nullptr || next == nullptr) return ANERR_NOTFOUND;
    const AnnoPos from = *pos;
    DocInfoLock info(0);
    const bool found = LockDocState(hDoc, info) == 0;
    AnnoPos text{};
    const bool hasText = found && NextAnnoTextPos(*info, from, text) == 0;
    if (hasText && IsTextPosition(from) && SameAnchor(text, from)) {
        *next = text;
        return 0;
    }
    AnnoPos document{from.itemId, from.subItemId, 0, 0};
    if (!IsTextPosition(from) && (!found || NextChunkerPos(info->hChunker, from, document) != 0)) {
        return ANERR_NOTFOUND;
    }
    *next = hasText && ComparePositions(text, document) < 0 ? text : document;
    return 0;
}
