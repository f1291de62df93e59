// The list index: see list_index.h.
//
// The copies are one array of entries in list order, built in one walk of
// the list. An entry holds three running maxima: the greatest end among the
// first i + 1 nodes (of every node, of hidden ranges, of hidden text), by
// value, so that one read answers. The nodes' slots are an array of their
// own, small enough to stay in the cache. In start order the
// nodes a walk from the head meets before the first start after pos are a
// prefix of the array, found by a search over the starts' anchor keys (see
// key_levels.h), and the running maxima answer for that prefix in one look. The insert nodes have a second array with their
// anchors and the characters inserted before them at their anchor's
// predecessors, so the combined text of an anchor is a difference.
#include "annotation/index/list_index.h"

#include <algorithm>
#include <new>

#include "annotation/heap.h"
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
static_assert(sizeof(IndexEntry) == 48, "an entry is 48 bytes; its start, slot and two keys about 35 more");

struct InsertEntry {
    uint32_t itemId;
    uint32_t subItemId;
    uint64_t charsBefore;  // characters of the insert nodes listed before this one
};
static_assert(sizeof(InsertEntry) == 16, "an insert entry is 16 bytes");

// A hidden range added since the build.
struct KeptRange {
    AnnoPos start;
    AnnoPos end;
    uint16_t kind;
};

struct ListIndex {
    bool built = false;
    bool inStartOrder = false;
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
    uint16_t* slots = nullptr;  // one per entry
    uint32_t slotCapacity = 0;
    uint32_t entryCount = 0;
    uint32_t entryCapacity = 0;
    InsertEntry* inserts = nullptr;  // insertCount entries and one holding the total
    uint32_t insertCount = 0;
    uint32_t insertCapacity = 0;
    uint32_t textHint = 0;  // where NextTextPosition last answered
    uint32_t addsKept = 0;
    uint32_t rangesKept = 0;
    uint64_t walkedSinceDrop = 0;  // nodes the add-time walks visited since the index was dropped
    KeptRange ranges[kMaxAddsKept];
};

namespace {

bool IsHiddenKind(uint16_t kind) { return kind == ANNO_HIDETEXT || kind == ANNO_HIDEPARABREAK; }

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

// A position's anchor as one number: its itemId, then its subItemId with a
// whole item's taken as 0. The position order and the anchor order both
// sort by this key first, so a search by key leaves only the positions of
// one key to compare in full.
uint64_t AnchorKey(const AnnoPos& pos) {
    return uint64_t{pos.itemId} << 32 | (pos.subItemId == kWholeItem ? 0u : pos.subItemId);
}

// Makes room for `needed` elements; the old contents are kept. A refused
// allocation keeps the old array.
template <typename T>
bool Reserve(T*& array, uint32_t& capacity, uint32_t needed) {
    if (needed <= capacity) return true;
    const uint64_t wanted = uint64_t{needed} + needed / 4 + 16;
    void* memory = IndexHeapAlloc(static_cast<size_t>(wanted) * sizeof(T));
    if (memory == nullptr) return false;
    T* grown = static_cast<T*>(memory);
    for (uint32_t i = 0; i < capacity; ++i) grown[i] = array[i];
    HeapFree(array);
    array = grown;
    capacity = static_cast<uint32_t>(wanted);
    return true;
}

// The running maximum of the ends after `end` joins `before`.
AnnoPos Greatest(const AnnoPos& before, const AnnoPos& end) {
    return ComparePositions(end, before) > 0 ? end : before;
}

// One walk of the list fills the copies. False when memory runs out or the
// chain does not hold `count` nodes; the index then stays unbuilt.
bool Build(ListIndex& index, AnnoList& list) {
    index.built = false;
    if (!Reserve(index.starts, index.startCapacity, list.count) ||
        !Reserve(index.entries, index.entryCapacity, list.count) || !Reserve(index.slots, index.slotCapacity, list.count) ||
        !Reserve(index.inserts, index.insertCapacity, 1)) {
        return false;
    }
    index.inStartOrder = true;
    index.anchorsInOrder = true;
    index.insertAnchorsInOrder = true;
    uint32_t n = 0;
    uint32_t inserts = 0;
    uint64_t chars = 0;
    bool sound = true;
    ForEachNode(list, [&](uint16_t slot, const AnnoNode& node) {
        if (n == list.count || !Reserve(index.inserts, index.insertCapacity, inserts + 2)) {
            sound = false;
            return false;
        }
        IndexEntry& entry = index.entries[n];
        const AnnoPos& start = node.anno.start;
        const AnnoPos& end = node.anno.end;
        index.starts[n] = start;
        index.slots[n] = slot;
        const IndexEntry* before = n == 0 ? nullptr : &index.entries[n - 1];
        entry.greatestEnd = before ? Greatest(before->greatestEnd, end) : end;
        entry.greatestHiddenEnd = before ? before->greatestHiddenEnd : kNoEnd;
        entry.greatestHideTextEnd = before ? before->greatestHideTextEnd : kNoEnd;
        if (IsHiddenKind(node.kind)) entry.greatestHiddenEnd = Greatest(entry.greatestHiddenEnd, end);
        if (node.kind == ANNO_HIDETEXT) entry.greatestHideTextEnd = Greatest(entry.greatestHideTextEnd, end);
        if (before != nullptr) {
            if (ComparePositions(start, index.starts[n - 1]) < 0) index.inStartOrder = false;
            if (CompareAnchors(start, index.starts[n - 1]) < 0) index.anchorsInOrder = false;
        }
        if (node.kind == ANNO_INSERTTEXT || node.kind == ANNO_INSERTPARABREAK) {
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

// The first entry that passes a test that holds from some entry on and
// that the entries' anchor keys (`keys`, of their starts or of their
// greatest ends) decide where they differ from pos's: the test fails where
// the key is below pos's and holds where it is above. `low` is the number of
// keys below pos's; only the entries of pos's key, few as a rule, are
// compared in full.
template <typename Passes>
uint32_t FirstPassingFrom(const KeyLevels& keys, uint64_t key, uint32_t low, Passes&& passes) {
    // Most keys are held by one entry or none: step past them, and search
    // for the end of a longer run.
    constexpr uint32_t kSteps = 4;
    uint32_t high = low;
    while (high < keys.Count() && keys.Key(high) == key && high - low < kSteps) ++high;
    if (high - low == kSteps) high = keys.CountNotAbove(key);
    return FirstPassing(low, high, passes);
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

// The number of entries whose start is not after pos: in start order, the
// nodes a walk from the head meets before the first start after pos.
uint32_t StartsNotAfter(const ListIndex& index, const AnnoPos& pos) {
    return FirstPassingByKey(index, index.startKeys, pos, StartsAfter(index, pos));
}

// StartsNotAfter, and the first entry that passes a second test that
// `keys` decide as FirstPassingFrom asks. The two searches run side by side.
struct StartsAnd {
    uint32_t startsNotAfter;
    uint32_t firstPassing;
};

template <typename Passes>
StartsAnd SearchStartsAnd(const ListIndex& index, const AnnoPos& pos, const KeyLevels& keys, Passes&& passes) {
    if (!index.startKeys.Ready() || !keys.Ready()) {
        return {StartsNotAfter(index, pos), FirstPassingByKey(index, keys, pos, passes)};
    }
    const uint64_t key = AnchorKey(pos);
    uint32_t startsLow = 0;
    uint32_t passingLow = 0;
    KeyLevels::CountBelowInBoth(index.startKeys, key, keys, key, startsLow, passingLow);
    return {FirstPassingFrom(index.startKeys, key, startsLow, StartsAfter(index, pos)),
            FirstPassingFrom(keys, key, passingLow, passes)};
}

// The first insert entry at or after `from` (whose anchor does not come
// before from's anchor; `after`: whose anchor comes after it).
uint32_t FirstInsertFrom(const ListIndex& index, const AnnoPos& from, bool after) {
    return FirstPassing(0, index.insertCount, [&](uint32_t i) {
        const int order = CompareAnchors(index.inserts[i], from);
        return order > 0 || (!after && order == 0);
    });
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

}  // namespace

void SetListIndexEnabled(bool enabled) noexcept { gIndexEnabled = enabled; }

bool ListIndexEnabled() noexcept { return gIndexEnabled; }

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
    if (use == IndexUse::kComplete && index.addsKept > 0) index.built = false;
    // The walks an add makes are often short (adding in document order), so
    // after a drop they go on walking until they have visited as many nodes
    // as a build would: a build then costs at most what the walks did.
    if (!index.built && use == IndexUse::kAddsKept && index.walkedSinceDrop < list.count) return nullptr;
    if (!index.built && !Build(index, list)) return nullptr;
    return &index;
}

bool InStartOrder(const ListIndex& index) noexcept { return index.inStartOrder; }

uint16_t LastStartNotAfter(const ListIndex& index, const AnnoPos& pos) noexcept {
    const uint32_t n = StartsNotAfter(index, pos);
    return n == 0 ? kNoSlot : index.slots[n - 1];
}

bool HiddenAt(const ListIndex& index, const AnnoPos& pos, bool breaksCount) noexcept {
    const uint32_t n = StartsNotAfter(index, pos);
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
    return false;
}

uint16_t FirstNotBefore(const ListIndex& index, const AnnoPos& pos) noexcept {
    const auto [startsNotAfter, firstEnd] = SearchStartsAnd(index, pos, index.endKeys, EndsFrom(index, pos, 0));
    const uint32_t first = std::min(firstEnd, startsNotAfter);
    return first < index.entryCount ? index.slots[first] : kNoSlot;
}

uint16_t FirstCovering(const ListIndex& index, const AnnoPos& pos) noexcept {
    const auto [startsNotAfter, firstEnd] = SearchStartsAnd(index, pos, index.endKeys, EndsFrom(index, pos, 1));
    return firstEnd < startsNotAfter ? index.slots[firstEnd] : kNoSlot;
}

AnchorAnswer FirstAtAnchor(const ListIndex& index, const AnnoPos& pos, uint16_t& slot) noexcept {
    if (!index.anchorsInOrder) return AnchorAnswer::kUnknown;
    const uint32_t low =
        FirstPassingByKey(index, index.startKeys, pos, [&](uint32_t i) { return CompareAnchors(index.starts[i], pos) >= 0; });
    if (low == index.entryCount || !SameAnchor(index.starts[low], pos)) return AnchorAnswer::kNone;
    slot = index.slots[low];
    return AnchorAnswer::kFound;
}

AnchorAnswer NextTextPosition(ListIndex& index, const AnnoPos& from, AnnoPos& next) noexcept {
    if (!index.insertAnchorsInOrder) return AnchorAnswer::kUnknown;
    const uint32_t following = FirstInsertAfter(index, from);
    if (IsTextPosition(from)) {
        const uint32_t first = FirstInsertFrom(index, from, false);
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

void NoteNodeLinked(AnnoDocInfo& info, AnnoList& list, uint16_t slot) noexcept {
    ListIndex* index = info.index;
    if (index == nullptr || !index->built) return;
    // Out of start order the kept adds would not help: the questions walk.
    if (!index->inStartOrder || index->addsKept == kMaxAddsKept) {
        index->built = false;
        return;
    }
    const AnnoNode& node = list.Node(slot);
    if (IsHiddenKind(node.kind)) index->ranges[index->rangesKept++] = KeptRange{node.anno.start, node.anno.end, node.kind};
    ++index->addsKept;
    index->count = list.count;
    index->head = list.head;
    index->tail = list.tail;
}

void NoteListWalked(AnnoDocInfo& info, uint32_t steps) noexcept {
    if (info.index != nullptr) info.index->walkedSinceDrop += steps;
}

void DropListIndex(AnnoDocInfo& info) noexcept {
    if (info.index == nullptr) return;
    info.index->built = false;
    info.index->walkedSinceDrop = 0;
}

void FreeListIndex(AnnoDocInfo& info) noexcept {
    if (info.index == nullptr) return;
    HeapFree(info.index->starts);
    HeapFree(info.index->entries);
    HeapFree(info.index->slots);
    HeapFree(info.index->inserts);
    info.index->~ListIndex();
    HeapFree(info.index);
    info.index = nullptr;
}

}  // namespace annotation
