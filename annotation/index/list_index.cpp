// The list index: see list_index.h.
//
// The copies are one array of entries in list order, built in one walk of
// the list. An entry holds three running maxima: the greatest end among the
// first i + 1 nodes (of every node, of hidden ranges, of hidden text), by
// value, so that one read answers. The nodes' slots are an array of their
// own, small enough to stay in the cache. In start order the nodes a walk
// from the head meets before the first start after pos are a prefix of the
// array, found by a search over the starts' anchor keys (AnchorKey in
// anno_pos.h, searched as key_levels.h says): the position order sorts by
// the key first, so only the positions of pos's key are compared in full.
// The running maxima answer for that prefix in one look. The insert nodes
// have a second array with their anchors and the characters inserted before
// them at their anchor's predecessors, so the combined text of an anchor is
// a difference.
#include "annotation/index/list_index.h"

#include <algorithm>
#include <new>

#include "annotation/heap.h"
#include "annotation/index/change_log.h"
#include "annotation/index/index_array.h"
#include "annotation/index/key_levels.h"
#include "annotation/store/anno_doc_info.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_pos.h"

namespace annotation {
namespace {

// Adds kept between two builds. The questions that take added nodes into
// account scan the hidden ranges among them, so the bound keeps that scan
// short; the build it forces costs one list walk per this many adds.
constexpr uint32_t kMaxAddsKept = 256;

bool gIndexEnabled = true;

}  // namespace

// The least position: no position is before it, so it stands for "no end"
// in the running maxima.
constexpr AnnoPos kNoEnd{0, kWholeItem, ANPOS_ANNOTEXT, 0};

// The starts are an array of their own, read only where anchor keys tie.
struct IndexEntry {
    AnnoPos greatestEnd;          // the greatest end among the nodes 0..i
    AnnoPos greatestHiddenEnd;    // the same among hide-text and hidden-break nodes; kNoEnd
    AnnoPos greatestHideTextEnd;  // the same among hide-text nodes; kNoEnd
};
static_assert(sizeof(IndexEntry) == 48, "an entry is 48 bytes; its start, slots and two keys about 37 more");

struct InsertEntry {
    uint32_t itemId;
    uint32_t subItemId;
    uint64_t charsBefore;  // characters of the insert nodes listed before this one
};
static_assert(sizeof(InsertEntry) == 16, "an insert entry is 16 bytes");

// A hidden range added since the build. Its positions are also among the
// kept nodes (below), and a merge updates both copies: the hidden-text
// questions, asked at every hide request while a list fills, scan these
// alone, and naming them by their place among all kept nodes made a fill in
// document order about a third slower.
struct KeptRange {
    AnnoPos start;
    AnnoPos end;
    uint16_t kind;
    uint16_t slot;
};

// Any node added since the build, for the questions that look for the
// first node in list order: where it lies among the copies follows from its
// start, since kept adds keep the list in start order.
struct KeptNode {
    AnnoPos start;
    AnnoPos end;
    uint16_t slot;
};

struct ListIndex {
    bool built = false;
    bool inStartOrder = false;          // breakCount == 0
    bool anchorsInOrder = false;        // every node's anchor, in list order
    bool insertAnchorsInOrder = false;  // the insert nodes' anchors
    // The list as the index last saw it; a list that no longer matches has
    // changed in a way the index did not follow.
    uint16_t count = 0;
    uint16_t head = kNoSlot;
    uint16_t tail = kNoSlot;
    AnnoPos* starts = nullptr;
    uint32_t startCapacity = 0;
    // The anchor keys of the starts, when the anchors are in order, and of
    // the running maxima of the ends, which never decrease. Without them (no
    // memory) the searches halve the copies themselves.
    KeyLevels startKeys;
    KeyLevels endKeys;
    IndexEntry* entries = nullptr;
    EntryCopy* copies = nullptr;  // one per entry
    uint32_t copyCapacity = 0;
    uint16_t* slots = nullptr;  // one per entry
    uint32_t slotCapacity = 0;
    // The entries whose start comes before the start of the entry before
    // them, in list order: where inserted text has rewritten positions.
    uint32_t* breaks = nullptr;
    uint32_t breakCount = 0;
    uint32_t breakCapacity = 0;
    uint16_t* entryOfSlot = nullptr;  // one per slot of the list: its entry, or kNoSlot when not listed
    uint32_t entryOfSlotCapacity = 0;
    uint32_t slotCount = 0;  // the list's capacity at the build
    uint32_t entryCount = 0;
    uint32_t entryCapacity = 0;
    InsertEntry* inserts = nullptr;  // insertCount entries and one holding the total
    uint32_t insertCount = 0;
    uint32_t insertCapacity = 0;
    uint32_t textHint = 0;  // where NextTextPosition last answered
    uint32_t addsKept = 0;
    uint32_t rangesKept = 0;
    uint64_t walkedSinceDrop = 0;  // nodes walked in its place since the index was dropped or built
    // The nodes alive at aliveAt (see AliveAt), kept for the next position
    // of a pass.
    bool aliveKnown = false;
    AnnoPos aliveAt{};
    uint32_t aliveStartsNotAfter = 0;
    AliveNode* alive = nullptr;
    uint32_t aliveCount = 0;
    uint32_t aliveCapacity = 0;
    // What passes worked out at their change positions: cleared at every
    // change of the copies.
    ChangeLog changes;
    KeptRange ranges[kMaxAddsKept];
    KeptNode kept[kMaxAddsKept];  // addsKept of them
};

namespace {

// The anchors of two positions in the position order: their itemId and
// subItemId, each taken as a document position.
int CompareAnchors(uint32_t itemA, uint32_t subA, uint32_t itemB, uint32_t subB) {
    return ComparePositions(AnnoPos{itemA, subA, 0, 0}, AnnoPos{itemB, subB, 0, 0});
}

int CompareAnchors(const AnnoPos& a, const AnnoPos& b) {
    return CompareAnchors(a.itemId, a.subItemId, b.itemId, b.subItemId);
}

int CompareAnchors(const InsertEntry& a, const AnnoPos& b) {
    return CompareAnchors(a.itemId, a.subItemId, b.itemId, b.subItemId);
}

// The running maximum of the ends after `end` joins `before`.
AnnoPos Greatest(const AnnoPos& before, const AnnoPos& end) {
    return ComparePositions(end, before) > 0 ? end : before;
}

// One walk of the list fills the copies. False when memory runs out or the
// chain does not hold `count` nodes; the index then stays unbuilt. Out of
// line: ReadyIndex, asked at every step of a layout pass, stays a leaf.
[[gnu::noinline]] bool Build(ListIndex& index, AnnoList& list) {
    index.built = false;
    index.changes.Clear();
    if (!ReserveIndexArray(index.starts, index.startCapacity, list.count) ||
        !ReserveIndexArray(index.entries, index.entryCapacity, list.count) || !ReserveIndexArray(index.copies, index.copyCapacity, list.count) ||
        !ReserveIndexArray(index.slots, index.slotCapacity, list.count) ||
        !ReserveIndexArray(index.entryOfSlot, index.entryOfSlotCapacity, list.capacity) ||
        !ReserveIndexArray(index.inserts, index.insertCapacity, 1)) {
        return false;
    }
    index.aliveKnown = false;
    index.slotCount = list.capacity;
    std::fill(index.entryOfSlot, index.entryOfSlot + list.capacity, kNoSlot);
    index.inStartOrder = true;
    index.breakCount = 0;
    index.anchorsInOrder = true;
    index.insertAnchorsInOrder = true;
    uint32_t n = 0;
    uint32_t inserts = 0;
    uint64_t chars = 0;
    bool sound = true;
    ForEachNode(list, [&](uint16_t slot, const AnnoNode& node) {
        if (n == list.count || !ReserveIndexArray(index.inserts, index.insertCapacity, inserts + 2) ||
            !ReserveIndexArray(index.breaks, index.breakCapacity, index.breakCount + 1)) {
            sound = false;
            return false;
        }
        IndexEntry& entry = index.entries[n];
        const AnnoPos& start = node.anno.start;
        const AnnoPos& end = node.anno.end;
        index.starts[n] = start;
        index.copies[n] = EntryCopy{end, LookOf(node.anno), node.kind};
        index.slots[n] = slot;
        if (slot < list.capacity) index.entryOfSlot[slot] = static_cast<uint16_t>(n);
        const IndexEntry* before = n == 0 ? nullptr : &index.entries[n - 1];
        entry.greatestEnd = before ? Greatest(before->greatestEnd, end) : end;
        entry.greatestHiddenEnd = before ? before->greatestHiddenEnd : kNoEnd;
        entry.greatestHideTextEnd = before ? before->greatestHideTextEnd : kNoEnd;
        if (IsHiddenKind(node.kind)) entry.greatestHiddenEnd = Greatest(entry.greatestHiddenEnd, end);
        if (node.kind == ANNO_HIDETEXT) entry.greatestHideTextEnd = Greatest(entry.greatestHideTextEnd, end);
        if (before != nullptr) {
            if (ComparePositions(start, index.starts[n - 1]) < 0) {
                index.inStartOrder = false;
                index.breaks[index.breakCount++] = n;
            }
            if (CompareAnchors(start, index.starts[n - 1]) < 0) index.anchorsInOrder = false;
        }
        if (IsInsertKind(node.kind)) {
            if (inserts > 0 && CompareAnchors(index.inserts[inserts - 1], start) > 0) {
                index.insertAnchorsInOrder = false;
            }
            index.inserts[inserts] = InsertEntry{start.itemId, start.subItemId, chars};
            chars += node.kind == ANNO_INSERTTEXT ? node.anno.textLen : 1;
            ++inserts;
        }
        ++n;
        return true;
    });
    if (!sound || n != list.count) return false;
    // The keys never decrease where the anchors do not.
    index.startKeys.Clear();
    if (index.anchorsInOrder) index.startKeys.Build(n, [&](uint32_t i) { return AnchorKey(index.starts[i]); });
    index.endKeys.Build(n, [&](uint32_t i) { return AnchorKey(index.entries[i].greatestEnd); });
    index.inserts[inserts] = InsertEntry{0, 0, chars};
    index.entryCount = n;
    index.insertCount = inserts;
    index.count = list.count;
    index.head = list.head;
    index.tail = list.tail;
    index.textHint = 0;
    index.addsKept = 0;
    index.rangesKept = 0;
    index.walkedSinceDrop = 0;
    index.built = true;
    return true;
}

// The first i in [low, high) at which `passes` holds, or high; `passes`
// holds from some point on and never stops holding after it.
template <typename Passes>
uint32_t FirstPassing(uint32_t low, uint32_t high, Passes&& passes) {
    while (low < high) {
        const uint32_t mid = low + (high - low) / 2;
        if (passes(mid)) {
            high = mid;
        } else {
            low = mid + 1;
        }
    }
    return low;
}

// The end of the run of entries from `from` on whose key is `key` (keys
// from `from` on are not below it). Most keys are held by one entry or none:
// it steps past them, and searches for the end of a longer run.
uint32_t KeyRunEnd(const KeyLevels& keys, uint64_t key, uint32_t from) {
    constexpr uint32_t kSteps = 4;
    uint32_t end = from;
    while (end < keys.Count() && keys.Key(end) == key && end - from < kSteps) ++end;
    return end - from == kSteps ? keys.CountNotAbove(key) : end;
}

// Whether a break in start order lies among the entries [from, to).
bool AnyBreakIn(const ListIndex& index, uint32_t from, uint32_t to) {
    if (from >= to || index.breakCount == 0) return false;
    const uint32_t* breaks = index.breaks;
    const uint32_t* end = breaks + index.breakCount;
    const uint32_t* at = std::lower_bound(breaks, end, from);
    return at != end && *at < to;
}

// Whether the entries of anchor key `key` hold a break in start order. With
// the anchors in order the breaks' keys never decrease.
bool KeyHasBreak(const ListIndex& index, uint64_t key) {
    const uint32_t* breaks = index.breaks;
    const uint32_t* end = breaks + index.breakCount;
    const uint32_t* at = std::lower_bound(breaks, end, key, [&](uint32_t entry, uint64_t wanted) {
        return AnchorKey(index.starts[entry]) < wanted;
    });
    return at != end && AnchorKey(index.starts[*at]) == key;
}

// The first entry that passes a test that holds from some entry on and
// that the entries' anchor keys (`keys`, of their starts or of their
// greatest ends) decide where they differ from pos's: the test fails where
// the key is below pos's and holds where it is above. `low` is the number of
// keys below pos's; only the entries of pos's key, few as a rule, are
// compared in full.
template <typename Passes>
uint32_t FirstPassingFrom(const KeyLevels& keys, uint64_t key, uint32_t low, Passes&& passes) {
    return FirstPassing(low, KeyRunEnd(keys, key, low), passes);
}

// The same from the start: without the keys (no memory for them), by
// halving the entries.
template <typename Passes>
uint32_t FirstPassingByKey(const ListIndex& index, const KeyLevels& keys, const AnnoPos& pos, Passes&& passes) {
    if (!keys.Ready()) return FirstPassing(0, index.entryCount, passes);
    const uint64_t key = AnchorKey(pos);
    return FirstPassingFrom(keys, key, keys.CountBelow(key), passes);
}

// Whether entry i starts after pos.
auto StartsAfter(const ListIndex& index, const AnnoPos& pos) {
    return [&index, &pos](uint32_t i) { return ComparePositions(index.starts[i], pos) > 0; };
}

// Whether entry i's greatest end compares to pos as `atLeast` asks (>= 0 or
// > 0).
auto EndsFrom(const ListIndex& index, const AnnoPos& pos, int atLeast) {
    return [&index, &pos, atLeast](uint32_t i) {
        return ComparePositions(index.entries[i].greatestEnd, pos) >= atLeast;
    };
}

// The number n of entries whose start is not after pos, when these are the
// first n in list order (the nodes a walk from the head meets before the
// first start after pos): false when a break in start order among the
// entries of pos's anchor key leaves that unsure. Entries of a lower key
// start before pos and those of a higher key after it, whatever the breaks;
// `low` is the number of the former.
bool StartsNotAfterFrom(const ListIndex& index, uint64_t key, uint32_t low, const AnnoPos& pos, uint32_t& n) {
    const uint32_t high = KeyRunEnd(index.startKeys, key, low);
    if (!index.inStartOrder && AnyBreakIn(index, low + 1, high)) return false;
    n = FirstPassing(low, high, StartsAfter(index, pos));
    return true;
}

bool StartsNotAfter(const ListIndex& index, const AnnoPos& pos, uint32_t& n) {
    if (!index.startKeys.Ready()) {
        if (!index.inStartOrder) return false;
        n = FirstPassing(0, index.entryCount, StartsAfter(index, pos));
        return true;
    }
    const uint64_t key = AnchorKey(pos);
    return StartsNotAfterFrom(index, key, index.startKeys.CountBelow(key), pos, n);
}

// StartsNotAfter, and the first entry that passes a second test that
// `keys` decide as FirstPassingFrom asks. The two searches run side by side.
struct StartsAnd {
    uint32_t startsNotAfter;
    uint32_t firstPassing;
};

template <typename Passes>
bool SearchStartsAnd(const ListIndex& index, const AnnoPos& pos, const KeyLevels& keys, Passes&& passes,
                     StartsAnd& found) {
    if (!index.startKeys.Ready() || !keys.Ready()) {
        if (!StartsNotAfter(index, pos, found.startsNotAfter)) return false;
        found.firstPassing = FirstPassingByKey(index, keys, pos, passes);
        return true;
    }
    const uint64_t key = AnchorKey(pos);
    uint32_t startsLow = 0;
    uint32_t passingLow = 0;
    KeyLevels::CountBelowInBoth(index.startKeys, key, keys, key, startsLow, passingLow);
    if (!StartsNotAfterFrom(index, key, startsLow, pos, found.startsNotAfter)) return false;
    found.firstPassing = FirstPassingFrom(keys, key, passingLow, passes);
    return true;
}

// The first insert entry at or after `from` (whose anchor does not come
// before from's anchor; `after`: whose anchor comes after it).
uint32_t FirstInsertFrom(const ListIndex& index, const AnnoPos& from, bool after) {
    return FirstPassing(0, index.insertCount, [&](uint32_t i) {
        const int order = CompareAnchors(index.inserts[i], from);
        return order > 0 || (!after && order == 0);
    });
}

// The first insert entry at from's anchor or after it, given `following`,
// the first after it: the anchor's entries lie just before that one, and
// most anchors hold one or two.
uint32_t FirstInsertAt(const ListIndex& index, const AnnoPos& from, uint32_t following) {
    constexpr uint32_t kSteps = 4;
    uint32_t first = following;
    while (first > 0 && following - first < kSteps && CompareAnchors(index.inserts[first - 1], from) == 0) --first;
    if (following - first < kSteps) return first;
    return FirstInsertFrom(index, from, false);
}

// The first insert entry whose anchor comes after from's, trying first the
// place of the previous answer.
uint32_t FirstInsertAfter(ListIndex& index, const AnnoPos& from) {
    const uint32_t hint = index.textHint;
    if (hint <= index.insertCount && (hint == 0 || CompareAnchors(index.inserts[hint - 1], from) <= 0) &&
        (hint == index.insertCount || CompareAnchors(index.inserts[hint], from) > 0)) {
        return hint;
    }
    index.textHint = FirstInsertFrom(index, from, true);
    return index.textHint;
}

// An insert node added since the build joins the copies of the insert
// anchors, so that the steps through inserted text stay answerable while
// adds are kept. Only at a document position whose anchor holds no inserted
// text yet: the node's characters are then the anchor's only ones, and its
// place among the insert anchors is that of its anchor. False, with nothing
// changed, when it cannot join (the caller drops the index).
bool TakeInsertAnchor(ListIndex& index, const AnnoNode& node) {
    const AnnoPos& start = node.anno.start;
    if (!index.insertAnchorsInOrder || IsTextPosition(start)) return false;
    const uint32_t at = FirstInsertFrom(index, start, false);
    if (at < index.insertCount && CompareAnchors(index.inserts[at], start) == 0) return false;
    if (!ReserveIndexArray(index.inserts, index.insertCapacity, index.insertCount + 2)) return false;
    const uint64_t share = node.kind == ANNO_INSERTTEXT ? node.anno.textLen : 1;
    // The entries from `at` on, the one holding the total included, move up
    // one and count the new characters before them.
    for (uint32_t i = index.insertCount + 1; i > at; --i) {
        index.inserts[i] = index.inserts[i - 1];
        index.inserts[i].charsBefore += share;
    }
    index.inserts[at] = InsertEntry{start.itemId, start.subItemId, index.inserts[at + 1].charsBefore - share};
    ++index.insertCount;
    return true;
}

// Whether a node starts at the whole item of `anchor`'s item (subItemId
// 0xFFFFFFFF), among the copies or the kept adds. The copies' start keys are
// needed; without them the answer is "maybe" (true).
bool AnyStartAtWholeItem(const ListIndex& index, const AnnoPos& anchor) {
    const AnnoPos whole{anchor.itemId, kWholeItem, 0, 0};
    for (uint32_t i = 0; i < index.addsKept; ++i) {
        if (SameAnchor(index.kept[i].start, whole)) return true;
    }
    if (!index.startKeys.Ready()) return true;
    // The whole item shares its key with the item's character 0.
    const uint64_t key = AnchorKey(whole);
    const uint32_t low = index.startKeys.CountBelow(key);
    for (uint32_t i = low; i < index.entryCount && AnchorKey(index.starts[i]) == key; ++i) {
        if (SameAnchor(index.starts[i], whole)) return true;
    }
    return false;
}

// A grown end raises the running maxima from entry `from` on, as far as they
// are below it (they never decrease, so where none is, none after is). A
// merged range seldom reaches past more than a few later starts; one that
// raises more than this many entries drops the index instead.
constexpr uint32_t kMostMaximaRaised = 64;

bool RaiseGreatestEnds(ListIndex& index, uint32_t from, uint16_t kind, const AnnoPos& end) {
    for (uint32_t i = from; i < index.entryCount; ++i) {
        if (i - from == kMostMaximaRaised) return false;
        IndexEntry& entry = index.entries[i];
        bool raised = false;
        auto raise = [&](AnnoPos& greatest) {
            if (ComparePositions(end, greatest) <= 0) return;
            greatest = end;
            raised = true;
        };
        raise(entry.greatestEnd);
        if (IsHiddenKind(kind)) raise(entry.greatestHiddenEnd);
        if (kind == ANNO_HIDETEXT) raise(entry.greatestHideTextEnd);
        if (!raised) return true;
        if (index.endKeys.Ready()) index.endKeys.Set(i, AnchorKey(entry.greatestEnd));
    }
    return true;
}

// The copies of the node in `slot`, whose start moved back or whose end
// moved on (or both), made its own again. False when the index cannot
// follow; it may then be changed in part, and the caller drops it.
//
// The list stays in start order: the node moved back no further than the
// start of the node before it. When that start equals it, the nodes that
// start there would no longer be the copies first and the kept adds in the
// order of their adds, which the questions rely on, so the index goes.
bool FollowRangeGrown(ListIndex& index, AnnoList& list, uint16_t slot) {
    const AnnoNode& node = list.Node(slot);
    const AnnoPos& start = node.anno.start;
    auto startFits = [&](const AnnoPos& copied) {
        const int moved = ComparePositions(start, copied);
        if (moved == 0) return true;
        return moved < 0 && (node.prev == kNoSlot || ComparePositions(list.Node(node.prev).anno.start, start) < 0);
    };
    index.aliveKnown = false;
    const uint32_t entry = EntryOfSlot(index, slot);
    if (entry != kNoEntry) {
        if (!startFits(index.starts[entry])) return false;
        index.starts[entry] = start;
        if (index.startKeys.Ready()) index.startKeys.Set(entry, AnchorKey(start));
        index.copies[entry].end = node.anno.end;
        return RaiseGreatestEnds(index, entry, node.kind, node.anno.end);
    }
    // Added since the build: its kept copies, the one among the hidden
    // ranges included.
    KeptNode* kept = std::find_if(index.kept, index.kept + index.addsKept, [&](const KeptNode& k) { return k.slot == slot; });
    if (kept == index.kept + index.addsKept || !startFits(kept->start)) return false;
    kept->start = start;
    kept->end = node.anno.end;
    for (uint32_t i = 0; i < index.rangesKept; ++i) {
        if (index.ranges[i].slot != slot) continue;
        index.ranges[i].start = start;
        index.ranges[i].end = node.anno.end;
    }
    return true;
}

}  // namespace

void SetListIndexEnabled(bool enabled) noexcept { gIndexEnabled = enabled; }

ListIndex* ReadyIndex(AnnoDocInfo& info, AnnoList& list, IndexUse use) noexcept {
    if (!gIndexEnabled) return nullptr;
    if (info.index == nullptr) {
        void* memory = IndexHeapAlloc(sizeof(ListIndex));
        if (memory == nullptr) return nullptr;
        info.index = new (memory) ListIndex{};
    }
    ListIndex& index = *info.index;
    if (index.built && (index.count != list.count || index.head != list.head || index.tail != list.tail)) {
        index.built = false;
    }
    // The walks an add makes are often short (adding in document order), so
    // after a drop they go on walking until they have visited as many nodes
    // as a build would: a build then costs at most what the walks did. The
    // same holds for short walks while adds are kept, and for the looks
    // through the kept adds themselves (HiddenAt, FirstNotBefore).
    const bool walksPaid = index.walkedSinceDrop >= list.count;
    if (index.built && index.addsKept > 0) {
        if (use == IndexUse::kComplete || walksPaid) {
            index.built = false;
        } else if (use == IndexUse::kCompleteAfterWalks) {
            return nullptr;
        }
    }
    if (!index.built && use != IndexUse::kComplete && !walksPaid) return nullptr;
    if (!index.built && !Build(index, list)) return nullptr;
    return &index;
}

bool LastStartNotAfter(const ListIndex& index, const AnnoPos& pos, uint16_t& slot) noexcept {
    uint32_t n = 0;
    if (!StartsNotAfter(index, pos, n)) return false;
    slot = n == 0 ? kNoSlot : index.slots[n - 1];
    return true;
}

bool HiddenAt(ListIndex& index, const AnnoPos& pos, bool breaksCount, bool& hidden) noexcept {
    uint32_t n = 0;
    if (!StartsNotAfter(index, pos, n)) return false;
    index.walkedSinceDrop += index.rangesKept;
    hidden = true;
    if (n > 0) {
        const IndexEntry& last = index.entries[n - 1];
        if (ComparePositions(pos, breaksCount ? last.greatestHiddenEnd : last.greatestHideTextEnd) < 0) return true;
    }
    for (uint32_t i = 0; i < index.rangesKept; ++i) {
        const KeptRange& range = index.ranges[i];
        if ((breaksCount || range.kind == ANNO_HIDETEXT) && ComparePositions(range.start, pos) <= 0 &&
            ComparePositions(pos, range.end) < 0) {
            return true;
        }
    }
    hidden = false;
    return true;
}

bool FirstNotBefore(ListIndex& index, AnnoList& list, const AnnoPos& pos, uint16_t& slot) noexcept {
    StartsAnd found{};
    if (!SearchStartsAnd(index, pos, index.endKeys, EndsFrom(index, pos, 0), found)) return false;
    index.walkedSinceDrop += index.addsKept;
    if (index.addsKept == 0) {
        const uint32_t first = std::min(found.firstPassing, found.startsNotAfter);
        slot = first < index.entryCount ? index.slots[first] : kNoSlot;
        return true;
    }
    // With adds kept the list is in start order, so the answer is the node
    // of least start among those that start at or before pos and reach it:
    // the first copy of them, or a kept node. An add goes after every node
    // that starts where it starts, so at one start the copy comes first,
    // then the kept nodes in the order they were added. Where inserted text
    // has broken the start order at an anchor, the nodes there may follow
    // each other in any order of their starts: a candidate there leaves the
    // answer to the walk. Elsewhere list order is anchor order.
    auto unsure = [&](const AnnoPos& start) { return !index.inStartOrder && KeyHasBreak(index, AnchorKey(start)); };
    uint16_t reaching = kNoSlot;
    const AnnoPos* reachingStart = nullptr;
    if (found.firstPassing < found.startsNotAfter) {
        reaching = index.slots[found.firstPassing];
        reachingStart = &index.starts[found.firstPassing];
        if (unsure(*reachingStart)) return false;
    }
    for (uint32_t i = 0; i < index.addsKept; ++i) {
        const KeptNode& node = index.kept[i];
        if (ComparePositions(node.start, pos) > 0 || ComparePositions(node.end, pos) < 0) continue;
        if (unsure(node.start)) return false;
        if (reachingStart == nullptr || ComparePositions(node.start, *reachingStart) < 0) {
            reaching = node.slot;
            reachingStart = &node.start;
        }
    }
    if (reaching != kNoSlot) {
        slot = reaching;
        return true;
    }
    // Else it is the first node that starts after pos: past the last copy
    // that does not, and past the kept nodes that follow that copy and do
    // not start after pos either.
    slot = kNoSlot;
    const uint16_t from = found.startsNotAfter == 0 ? list.head : list.Node(index.slots[found.startsNotAfter - 1]).next;
    ForEachNodeFrom(list, from, [&](uint16_t at, const AnnoNode& node) {
        if (ComparePositions(node.anno.start, pos) <= 0) return true;
        slot = at;
        return false;
    });
    return true;
}

bool FirstCovering(const ListIndex& index, const AnnoPos& pos, uint16_t& slot) noexcept {
    // The first entry whose greatest end passes pos: the entries before it
    // end at or before pos and cover nothing. In start order that is the
    // answer whatever its start. Out of it, its start key decides, unless
    // it is pos's anchor key: with a lower one, so are the starts of the
    // entries before it (the start keys do not decrease), a walk from the
    // head reaches it, and it covers pos; with a higher one, it and every
    // entry after it start after pos, and no node covers pos. One key read
    // then replaces the search of the starts, and breaks in start order do
    // not matter.
    if (index.endKeys.Ready() && (index.inStartOrder || index.startKeys.Ready())) {
        const uint64_t key = AnchorKey(pos);
        const uint32_t bottom = index.endKeys.BottomOf(key);
        // The answer lies in the bottom block or just after it: its slot
        // (and out of start order its start key) is read next, so the lines
        // are asked for now.
        __builtin_prefetch(index.slots + bottom);
        if (!index.inStartOrder) __builtin_prefetch(index.startKeys.At(bottom));
        const uint32_t first =
            FirstPassingFrom(index.endKeys, key, index.endKeys.CountBelowIn(bottom, key), EndsFrom(index, pos, 1));
        if (first == index.entryCount) {
            slot = kNoSlot;
            return true;
        }
        if (index.inStartOrder) {
            slot = index.slots[first];
            return true;
        }
        if (const uint64_t startKey = index.startKeys.Key(first); startKey != key) {
            slot = startKey < key ? index.slots[first] : kNoSlot;
            return true;
        }
    }
    StartsAnd found{};
    if (!SearchStartsAnd(index, pos, index.endKeys, EndsFrom(index, pos, 1), found)) return false;
    slot = found.firstPassing < found.startsNotAfter ? index.slots[found.firstPassing] : kNoSlot;
    return true;
}

namespace {

// The first copy whose anchor is not before pos's, when the anchors are in
// order. Along a layout pass the text is read just after the tracking has
// brought the alive nodes up to pos, or up to the last change before it,
// with no start between: the copies there are tried first, and halving the
// copies is left for the other readers.
uint32_t FirstCopyAtAnchor(const ListIndex& index, const AnnoPos& pos) {
    auto notBefore = [&](uint32_t i) { return CompareAnchors(index.starts[i], pos) >= 0; };
    if (index.aliveKnown) {
        constexpr uint32_t kStepsBack = 4;
        uint32_t hint = std::min(index.aliveStartsNotAfter, index.entryCount);
        for (uint32_t steps = 0; steps < kStepsBack && hint > 0 && notBefore(hint - 1); ++steps) --hint;
        if ((hint == 0 || !notBefore(hint - 1)) && (hint == index.entryCount || notBefore(hint))) return hint;
    }
    return FirstPassingByKey(index, index.startKeys, pos, notBefore);
}

}  // namespace

AnchorAnswer TextWalkStart(const ListIndex& index, AnnoList& list, const AnnoPos& pos, uint16_t& slot) noexcept {
    if (!index.anchorsInOrder) return AnchorAnswer::kUnknown;
    const uint32_t low = FirstCopyAtAnchor(index, pos);
    if (low < index.entryCount && SameAnchor(index.starts[low], pos)) {
        // An insert node added at the anchor since the build went behind
        // every node there: the walk from the first copy reaches it.
        slot = index.slots[low];
        return AnchorAnswer::kFound;
    }
    // No copy at the anchor. An insert node added there since the build is
    // the anchor's only one (the index keeps such an add only where no
    // inserted text was), so the walk may begin at it.
    for (uint32_t i = 0; i < index.addsKept; ++i) {
        const KeptNode& kept = index.kept[i];
        if (SameAnchor(kept.start, pos) && IsInsertKind(list.Node(kept.slot).kind)) {
            slot = kept.slot;
            return AnchorAnswer::kFound;
        }
    }
    return AnchorAnswer::kNone;
}

bool RenumberWalkStart(const ListIndex& index, const AnnoPos& anchor, uint16_t& slot) noexcept {
    if (!index.startKeys.Ready() || IsTextPosition(anchor)) return false;
    // The walk stops at the first node whose anchor is beyond, subItemIds
    // compared as plain numbers: a node at the whole item, first among the
    // item's positions, would stop it before the anchor's nodes.
    if (anchor.subItemId != kWholeItem && AnyStartAtWholeItem(index, anchor)) return false;
    // Every copy before both entries ends before the anchor and has a lower
    // anchor key: nothing there is renumbered, and none of those is beyond.
    // (The start keys are kept only while the anchors are in order, breaks
    // in start order or not.)
    const uint32_t firstReaching = FirstPassingByKey(index, index.endKeys, anchor, EndsFrom(index, anchor, 0));
    const uint32_t firstAtKey = index.startKeys.CountBelow(AnchorKey(anchor));
    const uint32_t first = std::min(firstReaching, firstAtKey);
    slot = first < index.entryCount ? index.slots[first] : kNoSlot;
    return true;
}

uint32_t KeptAddCount(const ListIndex& index) noexcept { return index.addsKept; }

uint16_t KeptAddSlot(const ListIndex& index, uint32_t i) noexcept { return index.kept[i].slot; }

AnchorAnswer NextTextPosition(ListIndex& index, const AnnoPos& from, AnnoPos& next) noexcept {
    if (!index.insertAnchorsInOrder) return AnchorAnswer::kUnknown;
    const uint32_t following = FirstInsertAfter(index, from);
    if (IsTextPosition(from)) {
        const uint32_t first = FirstInsertAt(index, from, following);
        const uint64_t chars = index.inserts[following].charsBefore - index.inserts[first].charsBefore;
        if (uint64_t{from.textOffset} + 1 < chars) {
            next = AnnoPos{from.itemId, from.subItemId, ANPOS_ANNOTEXT, from.textOffset + 1};
            return AnchorAnswer::kFound;
        }
    }
    if (following == index.insertCount) return AnchorAnswer::kNone;
    next = AnnoPos{index.inserts[following].itemId, index.inserts[following].subItemId, ANPOS_ANNOTEXT, 0};
    return AnchorAnswer::kFound;
}

EntryView EntriesOf(const ListIndex& index) noexcept {
    return EntryView{index.starts, index.copies, index.slots, index.entryCount};
}

ChangeLog& ChangesOf(ListIndex& index) noexcept { return index.changes; }

uint32_t EntryOfSlot(const ListIndex& index, uint16_t slot) noexcept {
    if (slot >= index.slotCount || index.entryOfSlot[slot] == kNoSlot) return kNoEntry;
    return index.entryOfSlot[slot];
}

// The list is not asked whether it still matches (count, head, tail): it is
// not locked. What keeps the index current instead is that every change of
// the list calls into it (NoteNodeLinked, NoteRangeGrown, DropListIndex),
// except inside a removal, which drops the index before and after its walk
// but not at each node: a callback that rebuilt it meanwhile would leave it
// behind the list, so while a walk holds the list the caller locks it.
ListIndex* IndexWithoutList(AnnoDocInfo& info) noexcept {
    ListIndex* index = info.index;
    if (!gIndexEnabled || index == nullptr || !index->built || index->addsKept > 0 ||
        (info.reentry & kReentryListHeld) != 0) {
        return nullptr;
    }
    return index;
}

bool AliveAt(ListIndex& index, const AnnoPos& pos, AliveNodes& alive) noexcept {
    const PositionKey posKey = KeyOf(pos);
    // Adds the entry when it is alive at pos; false when memory runs out.
    auto addAlive = [&](uint32_t entry) {
        const EntryCopy& copy = index.copies[entry];
        const PositionKey endKey = KeyOf(copy.end);
        if (endKey < posKey) return true;
        if (!ReserveIndexArray(index.alive, index.aliveCapacity, index.aliveCount + 1)) return false;
        index.alive[index.aliveCount++] = AliveNode{copy.end, endKey, copy.look, entry, index.slots[entry], copy.kind};
        return true;
    };
    // Forwards from the last position: the nodes that ended go, those that
    // started come in behind the others (in start order they follow them in
    // the list). A long jump, or one backwards, starts afresh.
    constexpr uint32_t kMostStartsPassed = 64;
    bool known = index.aliveKnown && ComparePositions(index.aliveAt, pos) <= 0;
    index.aliveKnown = false;
    uint32_t startsNotAfter = index.aliveStartsNotAfter;
    if (known) {
        uint32_t kept = 0;
        for (uint32_t i = 0; i < index.aliveCount; ++i) {
            if (index.alive[i].endKey < posKey) continue;
            if (kept != i) index.alive[kept] = index.alive[i];
            ++kept;
        }
        index.aliveCount = kept;
        for (uint32_t passed = 0; startsNotAfter < index.entryCount &&
                                  KeyOf(index.starts[startsNotAfter]) <= posKey;
             ++startsNotAfter) {
            if (++passed > kMostStartsPassed) {
                known = false;
                break;
            }
            if (!addAlive(startsNotAfter)) return false;
        }
        // Every later entry starts after pos too, unless a break in start
        // order follows among the entries of pos's anchor key (as a rule the
        // next start has a greater key, and there is none).
        if (known && !index.inStartOrder && startsNotAfter < index.entryCount &&
            AnchorKey(index.starts[startsNotAfter]) == posKey.anchor) {
            if (!index.startKeys.Ready() ||
                AnyBreakIn(index, startsNotAfter + 1, KeyRunEnd(index.startKeys, posKey.anchor, startsNotAfter))) {
                return false;
            }
        }
    }
    if (!known) {
        // Every node before the first whose running maximum of the ends
        // reaches pos ends before it.
        StartsAnd found{};
        if (!SearchStartsAnd(index, pos, index.endKeys, EndsFrom(index, pos, 0), found)) return false;
        startsNotAfter = found.startsNotAfter;
        index.aliveCount = 0;
        for (uint32_t entry = found.firstPassing; entry < startsNotAfter; ++entry) {
            if (!addAlive(entry)) return false;
        }
    }
    index.aliveKnown = true;
    index.aliveAt = pos;
    index.aliveStartsNotAfter = startsNotAfter;
    alive = AliveNodes{index.alive,  index.aliveCount, startsNotAfter,   index.slots,
                       index.starts, index.copies,     index.entryCount, posKey};
    return true;
}

void NoteNodeLinked(AnnoDocInfo& info, AnnoList& list, uint16_t slot) noexcept {
    ListIndex* index = info.index;
    if (index == nullptr || !index->built) return;
    // A node is added after the last node whose start is not after its own,
    // so kept adds keep the anchors in order and make no break in start
    // order. With the anchors out of order the questions walk anyway.
    if (!index->anchorsInOrder || index->addsKept == kMaxAddsKept) {
        index->built = false;
        return;
    }
    index->changes.Clear();
    const AnnoNode& node = list.Node(slot);
    if (IsInsertKind(node.kind) && !TakeInsertAnchor(*index, node)) {
        index->built = false;
        return;
    }
    if (IsHiddenKind(node.kind)) {
        index->ranges[index->rangesKept++] = KeptRange{node.anno.start, node.anno.end, node.kind, slot};
    }
    index->kept[index->addsKept++] = KeptNode{node.anno.start, node.anno.end, slot};
    index->count = list.count;
    index->head = list.head;
    index->tail = list.tail;
}

void NoteRangeGrown(AnnoDocInfo& info, AnnoList& list, uint16_t slot) noexcept {
    ListIndex* index = info.index;
    if (index == nullptr || !index->built) return;
    index->changes.Clear();
    if (!index->inStartOrder || !FollowRangeGrown(*index, list, slot)) DropListIndex(info);
}

void NoteListWalked(AnnoDocInfo& info, uint32_t steps) noexcept {
    if (info.index != nullptr) info.index->walkedSinceDrop += steps;
}

void DropListIndex(AnnoDocInfo& info) noexcept {
    if (info.index == nullptr) return;
    info.index->built = false;
    info.index->walkedSinceDrop = 0;
    info.index->changes.Clear();
}

void FreeListIndex(AnnoDocInfo& info) noexcept {
    if (info.index == nullptr) return;
    HeapFree(info.index->starts);
    HeapFree(info.index->entries);
    HeapFree(info.index->copies);
    HeapFree(info.index->slots);
    HeapFree(info.index->entryOfSlot);
    HeapFree(info.index->breaks);
    HeapFree(info.index->alive);
    HeapFree(info.index->inserts);
    info.index->~ListIndex();
    HeapFree(info.index);
    info.index = nullptr;
}

}  // namespace annotation
