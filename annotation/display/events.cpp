// Pointer events over a document: ANAnnoEvent.
//
// A hit (ANEVENT_HIT1, HIT2, HIT32) is reported to every annotation covering
// its position; a move (ANEVENT_MOVE) is compared with the previous move,
// kept in AnnoDocInfo.trackNode/trackPos, and reported as ANEVENT_LEAVE to
// the annotations the pointer left, then as ANEVENT_ENTER to those it
// entered. Every annotation concerned hears of it (callback code 3), with an
// argument saying whether its eventMask selects the event; the last
// callback's answer is the result.
#include <cstdint>

#include "annotation/annotation.h"
#include "annotation/handle_lock.h"
#include "annotation/positions/list_queries.h"
#include "annotation/store/anno_doc_info.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/doc_state.h"

namespace annotation {
namespace {

// One ANAnnoEvent call: the locked state and list, the record handed to the
// callback and the result so far.
struct EventCall {
    AnnoDocInfo& info;
    AnnoList& list;
    AnnoEventInfo record{};
    uint32_t result = 0;
};

bool Covers(const AnnoNode& node, const AnnoPos& pos) {
    return ComparePositions(node.anno.start, pos) <= 0 && ComparePositions(pos, node.anno.end) < 0;
}

// Slot indexes come from the caller (startNode) or from an earlier move
// (trackNode) and may be stale. A slot at or beyond the capacity, or one on
// the free list, names no annotation and is taken as kNoSlot, so that a walk
// never follows the free list's links.
uint16_t ListedOrNone(AnnoList& list, uint16_t slot) {
    if (slot >= list.capacity) return kNoSlot;
    bool free = false;
    ForEachNodeFrom(list, list.freeHead, [&](uint16_t freeSlot, const AnnoNode&) {
        free = freeSlot == slot;
        return !free;
    });
    return free ? kNoSlot : slot;
}

// Tells the client about one annotation. The callback runs in the middle of
// a walk with the list locked, so calls back into the module that would
// change the list or take the state down are refused meanwhile. The callback
// is read at each report: one may be set or cleared from inside a callback.
void Report(EventCall& call, const AnnoNode& node, uint32_t event) {
    call.record = AnnoEventInfo{sizeof(AnnoEventInfo), event, node.anno.userId, node.anno.userData};
    if (call.info.callback == nullptr) return;
    const uint32_t wanted = (node.anno.eventMask & event) != 0 ? 1 : 0;
    ReentryScope scope(call.info, kReentryCallback | kReentryListHeld);
    call.result = call.info.callback(3, wanted, &call.record, call.info.callbackData);
}

// Every annotation covering pos hears of the hit; the move state is kept.
// Each report clears the result first, so that a report made without a
// callback (one cleared meanwhile) answers 0.
void HitWalk(EventCall& call, uint32_t event, uint16_t startNode, const AnnoPos& pos) {
    ForEachNodeCovering(call.list, startNode, pos, [&](uint16_t, const AnnoNode& node) {
        call.result = 0;
        Report(call, node, event);
    });
}

// The annotations that covered the previous move's position and don't cover
// the new one, in list order.
void LeavePass(EventCall& call, uint16_t trackNode, const AnnoPos& old, const AnnoPos& pos) {
    ForEachNodeCovering(call.list, trackNode, old, [&](uint16_t, const AnnoNode& node) {
        if (!Covers(node, pos)) Report(call, node, ANEVENT_LEAVE);
    });
}

// The annotations that cover the new position and didn't cover the previous
// one, in list order.
void EnterPass(EventCall& call, uint16_t startNode, const AnnoPos& old, const AnnoPos& pos) {
    ForEachNodeCovering(call.list, startNode, pos, [&](uint16_t, const AnnoNode& node) {
        if (!Covers(node, old)) Report(call, node, ANEVENT_ENTER);
    });
}

// A move from nowhere to nowhere changes nothing. The first move after
// ANInit compares with a trackPos whose itemId is 0xFFFFFFFF, after every
// real position, so every annotation at the new position is entered.
void Move(EventCall& call, uint16_t startNode, const AnnoPos& pos) {
    const uint16_t trackNode = ListedOrNone(call.list, call.info.trackNode);
    if (startNode == kNoSlot && trackNode == kNoSlot) return;
    const AnnoPos old = call.info.trackPos;
    LeavePass(call, trackNode, old, pos);
    EnterPass(call, startNode, old, pos);
    call.info.trackNode = startNode;
    call.info.trackPos = pos;
}

}  // namespace
}  // namespace annotation

using namespace annotation;

// Not a result code: every failure (no state, no list, a null pos, an event
// code that is not a hit or a move) answers 0 with nothing called and the
// move state unchanged. A startNode that names no listed node stands for "no
// annotation at pos" (kNoSlot), and a move stores it as such.
extern "C" AN_API uint32_t ANAnnoEvent(uint32_t hDoc, uint32_t event, uint16_t startNode, const AnnoPos* pos) {
    if (pos == nullptr) return 0;
    DocInfoLock info(0);
    if (LockDocState(hDoc, info) != 0 || info->hAnnoList == 0) return 0;
    LockedBlock<AnnoList> list(info->hAnnoList);
    if (!list) return 0;

    // The position is copied: a callback may rewrite the caller's record.
    const AnnoPos at = *pos;
    EventCall call{*info, *list};
    switch (event) {
        case ANEVENT_HIT1:
        case ANEVENT_HIT2:
        case ANEVENT_HIT32: HitWalk(call, event, ListedOrNone(*list, startNode), at); break;
        case ANEVENT_MOVE: Move(call, ListedOrNone(*list, startNode), at); break;
        default: break;
    }
    return call.result;
}
