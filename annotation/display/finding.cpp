// Finding one annotation for the viewer: ANFindAnno.
//
// A query names a walk over the list (forwards from the head or backwards
// from the tail), a position test that decides at which node the user-id test
// begins, and the user-id test itself; the first node that passes is reported
// in the caller's AnnoFindInfo. Nothing is kept between calls: a caller goes
// on by calling again with a new position, or in ANFIND_NEXT with
// ANFIND_AFTERFOUND and the previous foundEnd left in place.
#include <cstdint>

#include "annotation/annotation.h"
#include "annotation/handle_lock.h"
#include "annotation/index/list_index.h"
#include "annotation/store/anno_doc_info.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/doc_state.h"

namespace annotation {
namespace {

constexpr uint32_t kFindInfoSize = 68;
constexpr uint32_t kModeMask = 0xFF;

// The caller's question, copied out of its record before the walk.
struct FindQuery {
    uint32_t mode;
    uint32_t searchFlags;
    uint32_t matchId;
    AnnoPos pos;
    AnnoPos previousEnd;  // foundEnd as the caller left it: read by ANFIND_NEXT with ANFIND_AFTERFOUND
    bool afterFound;
};

// ANMATCH_ALLBITS wins over ANMATCH_USERID (ANClearAnnos reads them the other
// way round); with neither bit nothing passes, so every such search ends
// with ANERR_NOTFOUND.
bool PassesIdTest(const FindQuery& query, uint32_t userId) {
    if ((query.searchFlags & ANMATCH_ALLBITS) != 0) return (query.matchId & userId) == query.matchId;
    if ((query.searchFlags & ANMATCH_USERID) != 0) return userId == query.matchId;
    return false;
}

// ANFIND_PREV: the node ends at or before pos. A positive matchId also asks
// for an end inside an item (not at an item as a whole, unless its posType
// is all ones); otherwise a node whose end's last two words equal pos's first
// two is passed over.
bool PrevPositionHolds(const FindQuery& query, const AnnoPos& end) {
    if (ComparePositions(end, query.pos) > 0) return false;
    if (static_cast<int32_t>(query.matchId) > 0) return end.posType == 0xFFFFFFFF || end.subItemId != kWholeItem;
    return !(end.posType == query.pos.itemId && end.textOffset == query.pos.subItemId);
}

// ANFIND_NEXT: the node starts after pos (and, with ANFIND_AFTERFOUND, after
// the previous answer's end); a positive matchId also asks for an end inside
// an item.
bool NextPositionHolds(const FindQuery& query, const InternalAnno& anno) {
    if (ComparePositions(anno.start, query.pos) <= 0) return false;
    if (query.afterFound && ComparePositions(anno.start, query.previousEnd) <= 0) return false;
    return static_cast<int32_t>(query.matchId) <= 0 || anno.end.subItemId != kWholeItem;
}

// The position test of the modes that walk in two stages; ANFIND_FIRST and
// ANFIND_LAST have none and apply the id test from the first node.
bool PositionTestHolds(const FindQuery& query, const InternalAnno& anno) {
    switch (query.mode) {
        case ANFIND_PREV: return PrevPositionHolds(query, anno.end);
        case ANFIND_NEXT: return NextPositionHolds(query, anno);
        case ANFIND_FROM: return ComparePositions(anno.start, query.pos) >= 0;
        default: return true;
    }
}

// Modes 1 to 5: from the first node at which the position test holds, the
// walk goes on in the same direction with the id test alone; later nodes are
// not tested against the position again.
uint16_t TwoStageWalk(AnnoList& list, const FindQuery& query) {
    uint16_t found = kNoSlot;
    bool positionMet = false;
    auto visit = [&](uint16_t slot, const AnnoNode& node) {
        positionMet = positionMet || PositionTestHolds(query, node.anno);
        if (!positionMet || !PassesIdTest(query, node.anno.userId)) return true;
        found = slot;
        return false;
    };
    if (query.mode == ANFIND_LAST || query.mode == ANFIND_PREV) {
        ForEachNodeBackFrom(list, list.tail, visit);
    } else {
        ForEachNodeFrom(list, list.head, visit);
    }
    return found;
}

// ANFIND_AT: the first node covering pos (start <= pos < end) that passes the
// id test; the list is in start order, so the walk ends at the first node
// that starts after pos. Where the index can say which nodes a walk from the
// head meets before that one, the walk begins at the first covering node it
// names: every node before it ends at or before pos.
uint16_t CoveringWalk(AnnoDocInfo& info, AnnoList& list, const FindQuery& query) {
    uint16_t first = list.head;
    if (const ListIndex* index = ReadyIndex(info, list, IndexUse::kComplete)) {
        if (uint16_t covering = kNoSlot; FirstCovering(*index, query.pos, covering)) first = covering;
    }
    uint16_t found = kNoSlot;
    ForEachNodeFrom(list, first, [&](uint16_t slot, const AnnoNode& node) {
        if (ComparePositions(node.anno.start, query.pos) > 0) return false;
        if (ComparePositions(node.anno.end, query.pos) <= 0 || !PassesIdTest(query, node.anno.userId)) return true;
        found = slot;
        return false;
    });
    return found;
}

// The start of an inserted text's range in annotation-text positions: the
// node holds the last `share` characters before its start. When it starts at
// the anchor's document position, the combined text of the anchor is counted
// by stepping through it; the count includes the step that leaves it, so an
// anchor whose texts are all empty counts one position. ANNextPos never fails
// from a text position; stopping on a failure only guards a damaged list
// from stepping forever.
AnnoPos InsertedTextStart(uint32_t hDoc, const AnnoPos& start, uint32_t share) {
    if (IsTextPosition(start)) return AnnoPos{start.itemId, start.subItemId, ANPOS_ANNOTEXT, start.textOffset - share};
    AnnoPos step{start.itemId, start.subItemId, ANPOS_ANNOTEXT, 0};
    uint32_t steps = 0;
    do {
        ++steps;
        if (ANNextPos(hDoc, &step, &step) != 0) break;
    } while (IsTextPosition(step));
    return AnnoPos{start.itemId, start.subItemId, ANPOS_ANNOTEXT, steps - share};
}

// The kind is not reported. Inserted text and paragraph breaks report the
// annotation-text positions they occupy, ending at their own start.
void FillFoundInfo(uint32_t hDoc, const AnnoNode& node, AnnoFindInfo& info) {
    info.foundUserId = node.anno.userId;
    info.foundUserData = node.anno.userData;
    if (!IsInsertKind(node.kind)) {
        info.foundStart = node.anno.start;
        info.foundEnd = node.anno.end;
        return;
    }
    const uint32_t share = node.kind == ANNO_INSERTTEXT ? node.anno.textLen : 1;
    info.foundStart = InsertedTextStart(hDoc, node.anno.start, share);
    info.foundEnd = node.anno.start;
}

}  // namespace
}  // namespace annotation

using namespace annotation;

// A null info is refused like a record of the wrong size (ANERR_BADPARAM),
// after the document's state was found, as the size check is. The output
// fields are written only when a node is found.
extern "C" AN_API uint32_t ANFindAnno(uint32_t hDoc, uint16_t options, AnnoFindInfo* info) {
    uint32_t hInfo = 0;
    const uint32_t stateResult = GetAnnoFromDoc(hDoc, &hInfo);
    if (stateResult != 0) return stateResult;
    if (info == nullptr || info->size != kFindInfoSize) return ANERR_BADPARAM;

    DocInfoLock docInfo(hInfo);
    if (!docInfo) return ANERR_NOANNODATA;
    if (docInfo->hAnnoList == 0) return ANERR_NOTFOUND;
    LockedBlock<AnnoList> list(docInfo->hAnnoList);
    if (!list) return ANERR_NOTFOUND;

    const FindQuery query{info->searchFlags & kModeMask, info->searchFlags, info->matchId, info->pos,
                          info->foundEnd, (options & ANFIND_AFTERFOUND) != 0};
    if (query.mode == 0 || query.mode > ANFIND_AT) return ANERR_NOTFOUND;
    const uint16_t found = query.mode == ANFIND_AT ? CoveringWalk(*docInfo, *list, query) : TwoStageWalk(*list, query);
    if (found == kNoSlot) return ANERR_NOTFOUND;
    FillFoundInfo(hDoc, list->Node(found), *info);
    return 0;
}
