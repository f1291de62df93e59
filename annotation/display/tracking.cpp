// Annotation tracking along a layout pass: ANStartAnnoTrack sets the
// caller's tracking record up at the first position, ANTrackAnno switches the
// look at every position where an annotation begins or ends, ANEndAnnoTrack
// ends the pass.
//
// The record keeps slot indexes of the list (nextNode, hiliteNode), valid
// while the list is unchanged; a caller starts a new pass after adding or
// removing. A slot index at or beyond the list's capacity (a record from an
// older, larger list, or one never set up) is taken as "no slot", so a stale
// record can give stale answers but never leads outside the list block.
#include "annotation/annotation.h"
#include "annotation/display/track_handlers.h"
#include "annotation/handle_lock.h"
#include "annotation/positions/list_queries.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/doc_state.h"

namespace annotation {
namespace {

bool Before(const AnnoPos& a, const AnnoPos& b) { return ComparePositions(a, b) < 0; }

uint16_t CheckedSlot(const AnnoList& list, uint16_t slot) { return slot < list.capacity ? slot : kNoSlot; }

// nextChange at "never": the greatest item id, so every later position of the
// pass comes before it. The other two words keep their values.
void NoMoreChanges(AnnoTrackInfo& info) {
    info.nextChange.itemId = 0xFFFFFFFF;
    info.nextChange.subItemId = 0xFFFFFFFF;
}

// What was on at the previous change position goes off. The userData of a
// hidden range going off comes from the slot where this call's scan begins.
uint32_t SwitchPreviousLookOff(uint32_t hDoc, AnnoList& list, AnnoTrackInfo& info, uint16_t scanStart) {
    uint32_t touched = 0;
    if (info.hidden != 0) {
        if (scanStart != kNoSlot) {
            touched |= HandleHide(list, info, scanStart, 0);
        } else {
            info.hidden = 0;
            touched |= ANTRACK_HIDE;
        }
    }
    if (info.paraBreakHidden != 0) touched |= HandleHideParaBreak(info, 0);
    if (info.hiliteNode != kNoSlot) touched |= HandleHilite(hDoc, list, info, info.hiliteNode, 0);
    return touched;
}

// The node where the next call's scan begins: the first that does not lie
// wholly before `pos`.
void AdvanceNextNode(AnnoList& list, AnnoTrackInfo& info, const AnnoPos& pos) {
    const uint16_t current = CheckedSlot(list, info.nextNode);
    if (current == kNoSlot) {
        info.nextNode = FindNextAnnoByPos(list, kNoSlot, &pos);
    } else if (!Before(pos, list.Node(current).anno.end)) {
        info.nextNode = FindNextAnnoByPos(list, current, &pos);
    }
}

// The nearest position after `pos` at which some annotation from nextNode on
// begins or ends. Nodes are in start order, so the walk stops at the first
// that starts after the nearest change found so far.
void ComputeNextChange(AnnoList& list, AnnoTrackInfo& info, const AnnoPos& pos) {
    if (info.nextNode == kNoSlot) {
        NoMoreChanges(info);
        return;
    }
    const AnnoNode& first = list.Node(info.nextNode);
    if (Before(pos, first.anno.start)) {
        info.nextChange = first.anno.start;
        return;
    }
    info.nextChange = first.anno.end;
    ForEachNodeFrom(list, first.next, [&](uint16_t, const AnnoNode& node) {
        if (Before(info.nextChange, node.anno.start)) return false;
        if (Before(pos, node.anno.start)) {
            info.nextChange = node.anno.start;
        } else if (Before(pos, node.anno.end) && !Before(info.nextChange, node.anno.end)) {
            info.nextChange = node.anno.end;
        }
        return true;
    });
}

// Of two hilites on one position the narrower one shows: the one that ends
// first; with equal ends, the one met later in the scan (it starts later);
// the one that ends later only when it was added in a higher slot.
bool TakesOverHilite(AnnoList& list, uint16_t candidate, uint16_t shown) {
    const InternalAnno& m = list.Node(candidate).anno;
    const InternalAnno& h = list.Node(shown).anno;
    const int ends = ComparePositions(m.end, h.end);
    if (ends < 0) return true;
    if (ends == 0) return ComparePositions(m.start, h.start) != 0;
    return candidate > shown;
}

uint32_t SwitchHiliteOn(uint32_t hDoc, AnnoList& list, AnnoTrackInfo& info, uint16_t slot) {
    if (info.hiliteNode == kNoSlot) {
        info.hiliteNode = slot;
        return HandleHilite(hDoc, list, info, slot, 1);
    }
    if (!TakesOverHilite(list, slot, info.hiliteNode)) return 0;
    uint32_t touched = HandleHilite(hDoc, list, info, info.hiliteNode, 0);
    info.hiliteNode = slot;
    return touched | HandleHilite(hDoc, list, info, slot, 1);
}

// Switches on what the node covering the position contributes.
uint32_t SwitchNodeOn(uint32_t hDoc, AnnoList& list, AnnoTrackInfo& info, uint16_t slot, uint16_t kind) {
    switch (kind) {
        case ANNO_HILITETEXT: return SwitchHiliteOn(hDoc, list, info, slot);
        case ANNO_INSERTICON: return HandleIcon(list, info, slot);
        case ANNO_HIDETEXT: return HandleHide(list, info, slot, 1);
        case ANNO_INSERTBITMAP: return HandleBitmap(list, info, slot);
        case ANNO_INSERTTEXT: return HandleInsertText(list, info, slot);
        case ANNO_HIDEPARABREAK: return HandleHideParaBreak(info, 1);
        default: return 0;  // inserted paragraph breaks show through the text walk
    }
}

}  // namespace
}  // namespace annotation

using namespace annotation;

extern "C" AN_API uint32_t ANStartAnnoTrack(uint32_t hDoc, const AnnoPos* pos, AnnoTrackInfo* info) {
    if (pos == nullptr || info == nullptr) return 0;
    DocInfoLock state(0);
    if (LockDocState(hDoc, state) != 0) return 0;
    info->hidden = 0;
    info->color1On = 0;
    info->color2On = 0;
    info->extraOn = 0;
    if (state->hAnnoList == 0) return 0;
    LockedBlock<AnnoList> list(state->hAnnoList);
    if (!list || list->count == 0) return 0;

    info->nextNode = kNoSlot;
    info->hiliteNode = kNoSlot;
    const uint16_t first = FindFirstAnnoByPos(*state, *list, *pos);
    if (first == kNoSlot) {
        NoMoreChanges(*info);
        return 1;
    }
    info->nextNode = first;
    const AnnoPos& start = list->Node(first).anno.start;
    info->nextChange = Before(start, *pos) ? *pos : start;
    return 2;
}

extern "C" AN_API uint32_t ANTrackAnno(uint32_t hDoc, const AnnoPos* pos, AnnoTrackInfo* info) {
    if (pos == nullptr || info == nullptr) return 0;
    // Most positions of a pass come before the next change: they are
    // answered before the document is looked up (a document that cannot be
    // found would answer 0 all the same).
    if (Before(*pos, info->nextChange)) return 0;
    DocInfoLock state(0);
    if (LockDocState(hDoc, state) != 0) return 0;
    if (state->hAnnoList == 0) return 0;
    LockedBlock<AnnoList> list(state->hAnnoList);
    if (!list) return 0;

    const uint16_t scanStart = CheckedSlot(*list, info->nextNode);
    uint32_t touched = SwitchPreviousLookOff(hDoc, *list, *info, scanStart);
    AdvanceNextNode(*list, *info, *pos);
    ComputeNextChange(*list, *info, *pos);
    info->hiliteNode = kNoSlot;
    ForEachNodeCovering(*list, scanStart, *pos, [&](uint16_t slot, const AnnoNode& node) {
        touched |= SwitchNodeOn(hDoc, *list, *info, slot, node.kind);
    });
    return touched;
}

// The tracking record holds no resources, so ending a pass has nothing to
// release.
extern "C" AN_API uint32_t ANEndAnnoTrack(uint32_t /*hDoc*/, AnnoTrackInfo* /*info*/) { return 0; }
