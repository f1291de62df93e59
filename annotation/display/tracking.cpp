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
#include <algorithm>

#include "annotation/annotation.h"
#include "annotation/display/track_handlers.h"
#include "annotation/handle_lock.h"
#include "annotation/index/change_log.h"
#include "annotation/index/list_index.h"
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
// hidden range going off comes from the node where this call's scan begins
// (`scanStartLook`; null when there is none).
uint32_t SwitchPreviousLookOff(uint32_t hDoc, AnnoTrackInfo& info, const NodeLook* scanStartLook) {
    uint32_t touched = 0;
    if (info.hidden != 0) {
        if (scanStartLook != nullptr) {
            touched |= HandleHide(*scanStartLook, info, 0);
        } else {
            info.hidden = 0;
            touched |= ANTRACK_HIDE;
        }
    }
    if (info.paraBreakHidden != 0) touched |= HandleHideParaBreak(info, 0);
    if (info.hiliteNode != kNoSlot) touched |= HandleHilite(hDoc, NodeLook{}, info, 0);
    return touched;
}

// The node where the next call's scan begins: the first that does not lie
// wholly before `pos`. Adds the nodes walked to `steps`.
void AdvanceNextNode(AnnoList& list, AnnoTrackInfo& info, const AnnoPos& pos, uint32_t& steps) {
    const uint16_t current = CheckedSlot(list, info.nextNode);
    if (current == kNoSlot) {
        info.nextNode = FindNextAnnoByPos(list, kNoSlot, &pos, &steps);
    } else if (!Before(pos, list.Node(current).anno.end)) {
        info.nextNode = FindNextAnnoByPos(list, current, &pos, &steps);
    }
}

// The nearest position after `pos` at which some annotation from nextNode on
// begins or ends. Nodes are in start order, so the walk stops at the first
// that starts after the nearest change found so far. Adds the nodes walked
// to `steps`.
void ComputeNextChange(AnnoList& list, AnnoTrackInfo& info, const AnnoPos& pos, uint32_t& steps) {
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
        ++steps;
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
// first; with equal ends, the one met later in the scan, when it starts
// later (`startsDiffer`, asked only then); the one that ends later only when
// it was added in a higher slot.
template <typename StartsDiffer>
bool TakesOverHilite(const PositionKey& candidateEnd, uint16_t candidate, const PositionKey& shownEnd, uint16_t shown,
                     StartsDiffer startsDiffer) {
    if (candidateEnd < shownEnd) return true;
    if (candidateEnd == shownEnd) return startsDiffer();
    return candidate > shown;
}

// The hilite in `slot` becomes the one shown: the one shown until now, if
// any, goes off first.
uint32_t ShowHilite(uint32_t hDoc, AnnoTrackInfo& info, uint16_t slot, const NodeLook& look) {
    uint32_t touched = 0;
    if (info.hiliteNode != kNoSlot) touched = HandleHilite(hDoc, NodeLook{}, info, 0);
    info.hiliteNode = slot;
    return touched | HandleHilite(hDoc, look, info, 1);
}

uint32_t SwitchHiliteOn(uint32_t hDoc, AnnoList& list, AnnoTrackInfo& info, uint16_t slot) {
    if (info.hiliteNode != kNoSlot) {
        const InternalAnno& m = list.Node(slot).anno;
        const InternalAnno& h = list.Node(info.hiliteNode).anno;
        if (!TakesOverHilite(KeyOf(m.end), slot, KeyOf(h.end), info.hiliteNode,
                             [&] { return ComparePositions(m.start, h.start) != 0; })) {
            return 0;
        }
    }
    return ShowHilite(hDoc, info, slot, LookOf(list.Node(slot).anno));
}

// Switches on what a node covering the position contributes, other than a
// hilite (which competes with the others for being shown).
uint32_t SwitchLookOn(uint16_t kind, const NodeLook& look, AnnoTrackInfo& info) {
    switch (kind) {
        case ANNO_INSERTICON: return HandleIcon(look, info);
        case ANNO_HIDETEXT: return HandleHide(look, info, 1);
        case ANNO_INSERTBITMAP: return HandleBitmap(look, info);
        case ANNO_INSERTTEXT: return HandleInsertText(look, info);
        case ANNO_HIDEPARABREAK: return HandleHideParaBreak(info, 1);
        default: return 0;  // inserted paragraph breaks show through the text walk
    }
}

// Switches on what the node in `slot`, covering the position, contributes.
uint32_t SwitchNodeOn(uint32_t hDoc, AnnoList& list, AnnoTrackInfo& info, uint16_t slot, uint16_t kind) {
    if (kind == ANNO_HILITETEXT) return SwitchHiliteOn(hDoc, list, info, slot);
    return SwitchLookOn(kind, LookOf(list.Node(slot).anno), info);
}

// A change position answered from the nodes alive at pos that the index
// keeps along a pass, in place of the walks from the scan's start: the
// previous look goes off, then the three steps (AdvanceNextNode,
// ComputeNextChange, the scan that switches the covering nodes on). A pass
// over a crowded list then costs what the nodes at each position cost, not
// the nodes it walks past, and reads the index's copies alone, not the
// list. The answers are the walks' own: in start order list order is entry
// order, so "the first node after s that ..." is the first entry after s's
// that does; nodes that end before pos change nothing in the walks. False,
// with nothing changed, when the index cannot answer (the starts out of
// order around pos, no memory): the caller walks.
//
// What it works out, the answer "walk" included, goes to the change log
// (begun by the caller), for the next pass that meets this position with
// the same scan start.
bool WorkOutChange(uint32_t hDoc, ListIndex& index, ChangeLog& log, AnnoTrackInfo& info, const AnnoPos& pos,
                   uint16_t scanStart, uint32_t scanEntry, uint32_t& touched) {
    AliveNodes alive{};
    if (!AliveAt(index, pos, alive)) {
        log.CommitWalked();
        return false;
    }
    const AliveNode* aliveEnd = alive.nodes + alive.count;
    const PositionKey& posKey = alive.at;
    // The alive nodes from the scan's start on, in list order. A pass has a
    // few nodes alive at a time: a scan is quicker than halving.
    const AliveNode* fromScan = alive.nodes;
    while (fromScan != aliveEnd && fromScan->entry < scanEntry) ++fromScan;

    // AdvanceNextNode: the first node from the scan's start on (after it,
    // once pos has reached its end) that starts after pos or ends at or
    // after it. A scan's start that starts at or before pos ends after it
    // only when it is alive there. `first` is nextNode's alive node, if any.
    uint32_t nextEntry = scanEntry;
    const AliveNode* first = nullptr;
    if (scanStart == kNoSlot) {
        first = alive.count > 0 ? alive.nodes : nullptr;
        nextEntry = std::min(first != nullptr ? first->entry : kNoEntry, alive.startsNotAfter);
    } else {
        const AliveNode* current = fromScan != aliveEnd && fromScan->entry == scanEntry ? fromScan : nullptr;
        const bool reached = scanEntry >= alive.startsNotAfter ? !Before(pos, alive.copies[scanEntry].end)
                                                               : current == nullptr || current->endKey <= posKey;
        if (!reached) {
            first = current;
        } else {
            const AliveNode* after = current != nullptr ? current + 1 : fromScan;
            nextEntry = std::min(after == aliveEnd ? kNoEntry : after->entry,
                                 std::max(alive.startsNotAfter, scanEntry + 1));
            first = after != aliveEnd && after->entry == nextEntry ? after : nullptr;
        }
    }
    // A nextNode that starts at or before pos is alive there; should it not
    // be, the walks answer.
    if (nextEntry < alive.startsNotAfter && first == nullptr) {
        log.CommitWalked();
        return false;
    }

    touched |= SwitchPreviousLookOff(hDoc, info, scanStart != kNoSlot ? &alive.copies[scanEntry].look : nullptr);
    info.nextNode = alive.SlotOf(nextEntry);

    // ComputeNextChange: a nextNode that starts after pos is the change;
    // else it is alive, and the change is the nearest of its end, the ends
    // after pos of the nodes alive after it, and the starts that follow. An
    // equal position found later replaces the one found, as in the walk.
    // The change is named for the log as the start (2 × entry) or the end
    // (2 × entry + 1) of an entry.
    uint32_t changeRef = 0;
    if (info.nextNode == kNoSlot) {
        NoMoreChanges(info);
    } else if (nextEntry >= alive.startsNotAfter) {
        info.nextChange = alive.starts[nextEntry];
        changeRef = 2 * nextEntry;
    } else {
        const AnnoPos* change = &first->end;
        PositionKey changeKey = first->endKey;
        changeRef = 2 * first->entry + 1;
        for (const AliveNode* node = first + 1; node != aliveEnd; ++node) {
            if (posKey < node->endKey && node->endKey <= changeKey) {
                change = &node->end;
                changeKey = node->endKey;
                changeRef = 2 * node->entry + 1;
            }
        }
        for (uint32_t entry = std::max(alive.startsNotAfter, nextEntry + 1); entry < alive.entryCount; ++entry) {
            const PositionKey startKey = KeyOf(alive.starts[entry]);  // every one of these starts after pos
            if (changeKey < startKey) break;
            change = &alive.starts[entry];
            changeKey = startKey;
            changeRef = 2 * entry;
        }
        info.nextChange = *change;
    }

    // The scan from its start: the nodes alive at pos that do not end there.
    info.hiliteNode = kNoSlot;
    if (scanStart != kNoSlot) {
        const AliveNode* shown = nullptr;  // the hilite shown so far
        for (const AliveNode* node = fromScan; node != aliveEnd; ++node) {
            if (node->endKey <= posKey) continue;
            if (node->kind != ANNO_HILITETEXT) {
                touched |= SwitchLookOn(node->kind, node->look, info);
            } else if (shown == nullptr ||
                       TakesOverHilite(node->endKey, node->slot, shown->endKey, shown->slot, [&] {
                           return KeyOf(alive.starts[node->entry]) != KeyOf(alive.starts[shown->entry]);
                       })) {
                touched |= ShowHilite(hDoc, info, node->slot, node->look);
                shown = node;
            } else {
                continue;
            }
            log.Switch(node->entry);
        }
    }
    log.Commit(nextEntry, changeRef);
    return true;
}

// A change position the log recorded, with the copies as they were: the
// previous look goes off as in WorkOutChange, then nextNode, nextChange and
// the looks switched on come from the record. False for a record of a
// change the index could not answer: the caller walks again.
bool ReplayChange(uint32_t hDoc, const ListIndex& index, const ChangeLog& log, const ChangeRecord& record,
                  AnnoTrackInfo& info, uint32_t scanEntry, uint32_t& touched) {
    if (record.switchCount == kWalkedChange) return false;
    const EntryView entries = EntriesOf(index);
    touched |= SwitchPreviousLookOff(hDoc, info, scanEntry != kNoEntry ? &entries.copies[scanEntry].look : nullptr);
    info.nextNode = entries.SlotOf(record.nextEntry);
    if (info.nextNode == kNoSlot) {
        NoMoreChanges(info);
    } else {
        const uint32_t changeEntry = record.nextChange / 2;
        info.nextChange = record.nextChange % 2 != 0 ? entries.copies[changeEntry].end : entries.starts[changeEntry];
    }
    info.hiliteNode = kNoSlot;
    const uint32_t* switches = log.SwitchesOf(record);
    for (uint32_t i = 0; i < record.switchCount; ++i) {
        const EntryCopy& copy = entries.copies[switches[i]];
        if (copy.kind == ANNO_HILITETEXT) {
            touched |= ShowHilite(hDoc, info, entries.slots[switches[i]], copy.look);
        } else {
            touched |= SwitchLookOn(copy.kind, copy.look, info);
        }
    }
    return true;
}

// A change position answered by the index: replayed from the change log
// when a pass met it before with the same scan start, else worked out from
// the nodes alive there and recorded. False, with nothing changed, when
// the index cannot answer (as WorkOutChange says, or a scan start that
// holds no listed node): the caller walks.
bool TrackThroughIndex(uint32_t hDoc, ListIndex& index, AnnoTrackInfo& info, const AnnoPos& pos, uint16_t scanStart,
                       uint32_t& touched) {
    const uint32_t scanEntry = scanStart == kNoSlot ? kNoEntry : EntryOfSlot(index, scanStart);
    if (scanStart != kNoSlot && scanEntry == kNoEntry) return false;
    ChangeLog& log = ChangesOf(index);
    const PositionKey posKey = KeyOf(pos);
    if (const ChangeRecord* record = log.Find(posKey, scanEntry)) {
        return ReplayChange(hDoc, index, log, *record, info, scanEntry, touched);
    }
    log.Begin(posKey, scanEntry, EntriesOf(index).count);
    return WorkOutChange(hDoc, index, log, info, pos, scanStart, scanEntry, touched);
}

// ANTrackAnno at a change position. Kept out of line, so that the early
// answer at the other positions does not pay for setting up its frame.
[[gnu::noinline]] uint32_t TrackChange(uint32_t hDoc, const AnnoPos& pos, AnnoTrackInfo& info) {
    DocInfoLock state(0);
    if (LockDocState(hDoc, state) != 0) return 0;
    if (state->hAnnoList == 0) return 0;
    uint32_t touched = 0;
    // As a rule the index is built and answers without the list: a change
    // position then locks the state alone. A scan start that is no listed
    // node (a slot freed since, or beyond the list) is left to the path
    // below, which checks it against the list.
    if (ListIndex* index = IndexWithoutList(*state);
        index != nullptr && TrackThroughIndex(hDoc, *index, info, pos, info.nextNode, touched)) {
        return touched;
    }
    LockedBlock<AnnoList> list(state->hAnnoList);
    if (!list) return 0;

    const uint16_t scanStart = CheckedSlot(*list, info.nextNode);
    if (ListIndex* index = ReadyIndex(*state, *list, IndexUse::kCompleteAfterWalks);
        index != nullptr && TrackThroughIndex(hDoc, *index, info, pos, scanStart, touched)) {
        return touched;
    }
    const NodeLook scanStartLook = scanStart != kNoSlot ? LookOf(list->Node(scanStart).anno) : NodeLook{};
    touched = SwitchPreviousLookOff(hDoc, info, scanStart != kNoSlot ? &scanStartLook : nullptr);
    // The walks are counted, so that an index missing the nodes added since
    // its build is built once they have cost what that costs.
    uint32_t steps = 0;
    AdvanceNextNode(*list, info, pos, steps);
    ComputeNextChange(*list, info, pos, steps);
    info.hiliteNode = kNoSlot;
    ForEachNodeCovering(*list, scanStart, pos, [&](uint16_t slot, const AnnoNode& node) {
        ++steps;
        touched |= SwitchNodeOn(hDoc, *list, info, slot, node.kind);
    });
    NoteListWalked(*state, steps);
    return touched;
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
    return TrackChange(hDoc, *pos, *info);
}

// The tracking record holds no resources, so ending a pass has nothing to
// release.
extern "C" AN_API uint32_t ANEndAnnoTrack(uint32_t /*hDoc*/, AnnoTrackInfo* /*info*/) { return 0; }
