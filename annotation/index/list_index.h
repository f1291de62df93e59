// The list index: a cache beside a document's annotation list that lets the
// position questions find their place without walking the list from an end.
//
// It is not state. It lives in ordinary heap memory (IndexHeapAlloc in
// annotation/heap.h), reached from AnnoDocInfo::index, and holds copies of
// the nodes' positions in list order with what the questions derive from
// them. Every answer it gives is the answer of the list walk it stands in
// for; where it cannot be sure of that (the list is not in start order, the
// heap refused memory, the list changed in a way the index does not follow)
// the caller walks the list as before. Dropping it is always safe; it is
// rebuilt, in one walk of the list, when next asked.
//
// Memory: about 121 bytes per listed node (its start, 48 bytes of running
// maxima, 36 of what a layout pass reads of it, its slot and the way back,
// two anchor keys of 8.5 bytes), 16 more per insert node, 56 per node alive
// at the position a pass has reached, the change log of the passes
// (change_log.h: about 85 bytes per node after a pass over a typical
// document, 224 at most), and a fixed part of about 19 KB per document
// (mostly the nodes added since the last build), held until ANDeInit.
//
// Which changes it follows: an add that only links one new node (no merge
// into a hidden neighbour, no inserted-text rule that renumbers, joins or
// splits) keeps the index, which then knows the new node by its place in
// the list and by a copy of its positions kept aside (up to 256 such adds);
// the questions that need every node in the copies rebuild first, or walk
// while their walks are short. New inserted text or a new paragraph break
// at a document position that holds none yet, renumbering nothing, is such
// an add; it also joins the copies of the insert anchors. A merge into a
// hidden neighbour keeps the index too: the neighbour's copies take its
// grown range. Every other change drops it: removals, the other inserted
// text adds, ANClearUserData, and the list's own end.
#ifndef ANNOTATION_INDEX_LIST_INDEX_H
#define ANNOTATION_INDEX_LIST_INDEX_H

#include <cstdint>

#include "annotation/annotation.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_pos.h"

namespace annotation {

struct AnnoDocInfo;
struct AnnoList;
struct ListIndex;
class ChangeLog;

// For tests: false makes every question walk the list (the reference path)
// and drops no index that exists; true (the default) lets the index answer.
// A plain global, set from one thread while no call runs.
void SetListIndexEnabled(bool enabled) noexcept;

// How current the copies must be for a question.
enum class IndexUse {
    kAddsKept,  // nodes added since the build may be missing from the copies
    kComplete,  // every listed node must be in the copies
    // As kComplete, for a caller whose walks are short as a rule: while
    // nodes added since the build are missing it walks, until its walks have
    // cost what a build costs. Adds between questions (the hide-text builder
    // tracks along each hide request) then do not each cost a build.
    kCompleteAfterWalks,
};

// The document's index, ready to answer for `list` (locked by the caller and
// named by info.hAnnoList), or null: switched off, or no memory for it, or
// (kAddsKept, kCompleteAfterWalks) not worth building yet: the caller walks,
// and says how far with NoteListWalked.
ListIndex* ReadyIndex(AnnoDocInfo& info, AnnoList& list, IndexUse use) noexcept;

// The questions by position answer where the starts are in order around
// pos: every node that starts at or before pos comes, in list order, before
// every node that starts after it. That holds everywhere in a list whose
// starts never decrease; where inserted text has rewritten positions it can
// fail at an anchor or two, and there a question answers false ("cannot
// say") and the caller walks.

// The last node in list order whose start is not after `pos`, among the
// copies (kAddsKept: a node added since may follow it with such a start
// too); kNoSlot when none.
bool LastStartNotAfter(const ListIndex& index, const AnnoPos& pos, uint16_t& slot) noexcept;

// Whether a hide-text node (and, with `breaksCount`, a hidden-paragraph-break
// node) covers pos: start <= pos < end. Counts the added hidden ranges too.
//
// The two questions that look through the nodes added since the build
// count those looks as walked: once they have cost what a build costs, the
// next question rebuilds, so that a list whose adds have ended does not
// keep paying for them.
bool HiddenAt(ListIndex& index, const AnnoPos& pos, bool breaksCount, bool& hidden) noexcept;

// The first node in list order that starts after pos or ends at or after it
// (kNoSlot: none), nodes added since the build included (`list` is the
// indexed list). kAddsKept.
bool FirstNotBefore(ListIndex& index, AnnoList& list, const AnnoPos& pos, uint16_t& slot) noexcept;

// Where the walk for the first node covering pos may begin instead of the
// head: the first node in list order that ends after pos (kNoSlot: none
// covers pos). Every node before it covers nothing; when it starts after
// pos, a walk from the head would stop at it or before it too, so either
// way the walk from it finds what the walk from the head finds. kComplete.
bool FirstCovering(const ListIndex& index, const AnnoPos& pos, uint16_t& slot) noexcept;

// Where the walk that renumbers positions for new inserted text at the
// document position `anchor` may begin instead of the head: every node
// before `slot` in list order, kept adds aside, neither starts nor ends at
// the anchor and lies before it, so the walk from the head passes it
// unchanged. The kept adds (below) may lie before `slot`: the caller looks
// at each of them as well. kNoSlot: no copy needs the walk. False when the
// index cannot say: a text position, anchors out of order, or a node at the
// whole item of the anchor's item, which would end the walk before the
// anchor. kAddsKept.
bool RenumberWalkStart(const ListIndex& index, const AnnoPos& anchor, uint16_t& slot) noexcept;

// The nodes added since the build, in the order of their adds.
uint32_t KeptAddCount(const ListIndex& index) noexcept;
uint16_t KeptAddSlot(const ListIndex& index, uint32_t i) noexcept;

// The answer at pos of a walk over the anchors that hold inserted text.
enum class AnchorAnswer { kUnknown, kNone, kFound };

// Where a walk that gathers the insert nodes at pos's anchor (its itemId
// and subItemId) in list order may begin: kFound with a slot from which the
// walk meets every one of them before it leaves the anchor (the first copy
// at the anchor, else an insert node added there since the build), kNone
// when no insert node is there, kUnknown when the nodes' anchors are not in
// order. kAddsKept (`list` is the indexed list).
AnchorAnswer TextWalkStart(const ListIndex& index, AnnoList& list, const AnnoPos& pos, uint16_t& slot) noexcept;

// The step of ANNextAnnoTextPos from `from`: kFound with `next`, kNone, or
// kUnknown when the anchors of the insert nodes are not in order. Remembers
// where it answered, so that a walk through the document in order costs a
// comparison or two a step. kAddsKept: an add that the index follows never
// leaves an insert node out of the copies of the insert anchors.
AnchorAnswer NextTextPosition(ListIndex& index, const AnnoPos& from, AnnoPos& next) noexcept;

// The entries of the copies are the listed nodes in list order, numbered
// from 0. The entry of a slot, or kNoEntry when no listed node is in it.
inline constexpr uint32_t kNoEntry = 0xFFFFFFFF;
uint32_t EntryOfSlot(const ListIndex& index, uint16_t slot) noexcept;

// What a layout pass reads of a listed node, copied for every entry.
struct EntryCopy {
    AnnoPos end;
    NodeLook look;
    uint16_t kind;
};

// Every entry's start, copy and slot, for a caller that knows its entries
// (the change log's). Valid until the next change of the index.
struct EntryView {
    const AnnoPos* starts;
    const EntryCopy* copies;
    const uint16_t* slots;
    uint32_t count;

    // The slot of an entry, or kNoSlot past the last.
    uint16_t SlotOf(uint32_t entry) const noexcept { return entry < count ? slots[entry] : kNoSlot; }
};
EntryView EntriesOf(const ListIndex& index) noexcept;

// What passes worked out at their change positions (change_log.h). The
// index clears it whenever its copies change.
ChangeLog& ChangesOf(ListIndex& index) noexcept;

// The nodes alive at a position: those that start at or before it and end
// at or after it, in list order, with the number of entries that start at
// or before it and the slot, start and copy of every entry, so that a
// caller need not read the list for them. Valid until the next call on the
// index.
struct AliveNode {
    AnnoPos end;
    PositionKey endKey;  // end's, for the comparisons along a pass
    NodeLook look;
    uint32_t entry;
    uint16_t slot;
    uint16_t kind;
};
struct AliveNodes {
    const AliveNode* nodes;
    uint32_t count;
    uint32_t startsNotAfter;
    const uint16_t* slots;     // of every entry
    const AnnoPos* starts;     // of every entry: copies of the nodes' starts
    const EntryCopy* copies;   // of every entry
    uint32_t entryCount;
    PositionKey at;  // pos's key, to compare the nodes' ends with

    // The slot of an entry, or kNoSlot past the last.
    uint16_t SlotOf(uint32_t entry) const noexcept { return entry < entryCount ? slots[entry] : kNoSlot; }
};

// The document's index when it can answer for the list as it stands without
// the list being locked: built, every listed node in the copies, and no walk
// holding the list (inside a removal's callback the list changes between
// the index's checks). Null otherwise: the caller locks the list and asks
// ReadyIndex. Every change of the list outside such a walk reaches the
// index (it follows it or is dropped), so a built index is current.
ListIndex* IndexWithoutList(AnnoDocInfo& info) noexcept;

// The nodes alive at pos, read from the copies alone. The index keeps them
// for the next call, so that a layout pass moving forwards only adds the
// nodes that began and drops those that ended since. False when the heap
// refuses memory for them or cannot say (see above). kComplete.
bool AliveAt(ListIndex& index, const AnnoPos& pos, AliveNodes& alive) noexcept;

// After an add linked `slot` and changed no other node.
void NoteNodeLinked(AnnoDocInfo& info, AnnoList& list, uint16_t slot) noexcept;

// After a merge grew the hidden range of the node in `slot` (its start
// moved back, its end on, or both) and changed nothing else.
void NoteRangeGrown(AnnoDocInfo& info, AnnoList& list, uint16_t slot) noexcept;

// After a walk that the index could not spare an add: `steps` nodes.
void NoteListWalked(AnnoDocInfo& info, uint32_t steps) noexcept;

// After any other change of the list, or when the list goes.
void DropListIndex(AnnoDocInfo& info) noexcept;

// Frees the index (ANDeInit).
void FreeListIndex(AnnoDocInfo& info) noexcept;

}  // namespace annotation

#endif
