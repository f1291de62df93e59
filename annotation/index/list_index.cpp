// The list index: see list_index.h.
//
// The copies are one array of entries in list order, built in one walk of
// the list. Beside each node's start and end an entry holds three running
// maxima: the entry, among the first i + 1, whose end is greatest (of every
// node, of hidden ranges, of hidden text). In start order the nodes a walk
// from the head meets before the first start after pos are a prefix of the
// array, found by binary search, and the running maxima answer for that
// prefix in one look. The insert nodes have a second array with their
// anchors and the characters inserted before them at their anchor's
// predecessors, so the combined text of an anchor is a difference.
#include "annotation/index/list_index.h"

#include <new>

#include "annotation/heap.h"
#include "annotation/store/anno_doc_info.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_pos.h"

namespace annotation {
namespace {

constexpr uint32_t kNoEntry = 0xFFFFFFFF;

// Adds kept between two builds. The questions that take added nodes into
// account scan the hidden ranges among them, so the bound keeps that scan
// short; the build it forces costs one list walk per this many adds.
constexpr uint32_t kMaxAddsKept = 256;

bool gIndexEnabled = true;

}  // namespace

// The starts are an array of their own, so that the binary searches over
// them touch as little memory as possible.
struct IndexEntry {
    AnnoPos end;
    uint16_t slot;
    uint16_t kind;
    uint32_t greatestEnd;          // entry with the greatest end among 0..i
    uint32_t greatestHiddenEnd;    // the same among hide-text and hidden-break nodes; kNoEntry
    uint32_t greatestHideTextEnd;  // the same among hide-text nodes; kNoEntry
};
static_assert(sizeof(IndexEntry) == 32, "an entry is 32 bytes, and its start 16 more");

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
    // With the starts' itemIds in order: bucket b holds the first entry
    // whose itemId is at least firstItem + b * bucketWidth, so that a search
    // by position begins among the few entries of one bucket.
    uint32_t* buckets = nullptr;
    uint32_t bucketCount = 0;  // 0: no buckets
    uint32_t bucketCapacity = 0;
    uint32_t firstItem = 0;
    uint64_t bucketWidth = 1;
    IndexEntry* entries = nullptr;
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

// The running maximum after `entry` joins the one of the entries before it.
uint32_t Greatest(const IndexEntry* entries, uint32_t before, uint32_t i) {
    if (before == kNoEntry || ComparePositions(entries[i].end, entries[before].end) > 0) return i;
    return before;
}

// One bucket per entry over the itemIds of the starts; without memory for
// them, or with itemIds out of order, the searches take the whole array.
void BuildBuckets(ListIndex& index, uint32_t n, bool itemsInOrder) {
    index.bucketCount = 0;
    if (n == 0 || !itemsInOrder || !Reserve(index.buckets, index.bucketCapacity, n + 1)) return;
    index.firstItem = index.starts[0].itemId;
    const uint64_t span = uint64_t{index.starts[n - 1].itemId} - index.firstItem + 1;
    index.bucketWidth = (span + n - 1) / n;
    uint32_t entry = 0;
    for (uint32_t b = 0; b <= n; ++b) {
        const uint64_t lowest = index.firstItem + b * index.bucketWidth;
        while (entry < n && index.starts[entry].itemId < lowest) ++entry;
        index.buckets[b] = entry;
    }
    index.bucketCount = n;
}

// The entries that can hold the first start at or after itemId `item`'s
// first position: every entry before the range has a smaller itemId, every
// entry after it a greater one.
struct EntryRange {
    uint32_t low;
    uint32_t high;
};

EntryRange RangeOfItem(const ListIndex& index, uint32_t item) {
    if (index.bucketCount == 0) return EntryRange{0, index.entryCount};
    if (item < index.firstItem) return EntryRange{0, 0};
    const uint64_t bucket = (uint64_t{item} - index.firstItem) / index.bucketWidth;
    if (bucket >= index.bucketCount) return EntryRange{index.entryCount, index.entryCount};
    return EntryRange{index.buckets[bucket], index.buckets[bucket + 1]};
}

// One walk of the list fills the copies. False when memory runs out or the
// chain does not hold `count` nodes; the index then stays unbuilt.
bool Build(ListIndex& index, AnnoList& list) {
    index.built = false;
    if (!Reserve(index.starts, index.startCapacity, list.count) ||
        !Reserve(index.entries, index.entryCapacity, list.count) || !Reserve(index.inserts, index.insertCapacity, 1)) {
        return false;
    }
    index.inStartOrder = true;
    index.anchorsInOrder = true;
    index.insertAnchorsInOrder = true;
    uint32_t n = 0;
    uint32_t inserts = 0;
    uint64_t chars = 0;
    bool sound = true;
    bool itemsInOrder = true;
    ForEachNode(list, [&](uint16_t slot, const AnnoNode& node) {
        if (n == list.count || !Reserve(index.inserts, index.insertCapacity, inserts + 2)) {
            sound = false;
            return false;
        }
        IndexEntry* entries = index.entries;
        IndexEntry& entry = entries[n];
        const AnnoPos& start = node.anno.start;
        index.starts[n] = start;
        entry.end = node.anno.end;
        entry.slot = slot;
        entry.kind = node.kind;
        const IndexEntry* before = n == 0 ? nullptr : &entries[n - 1];
        entry.greatestEnd = Greatest(entries, before ? before->greatestEnd : kNoEntry, n);
        entry.greatestHiddenEnd = before ? before->greatestHiddenEnd : kNoEntry;
        entry.greatestHideTextEnd = before ? before->greatestHideTextEnd : kNoEntry;
        if (IsHiddenKind(node.kind)) entry.greatestHiddenEnd = Greatest(entries, entry.greatestHiddenEnd, n);
        if (node.kind == ANNO_HIDETEXT) entry.greatestHideTextEnd = Greatest(entries, entry.greatestHideTextEnd, n);
        if (before != nullptr) {
            if (ComparePositions(start, index.starts[n - 1]) < 0) index.inStartOrder = false;
            if (start.itemId < index.starts[n - 1].itemId) itemsInOrder = false;
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
    BuildBuckets(index, n, itemsInOrder);
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

// The number of entries whose start is not after pos: in start order, the
// nodes a walk from the head meets before the first start after pos.
uint32_t StartsNotAfter(const ListIndex& index, const AnnoPos& pos) {
    const auto [low, high] = RangeOfItem(index, pos.itemId);
    return FirstPassing(low, high, [&](uint32_t i) { return ComparePositions(index.starts[i], pos) > 0; });
}

// The first entry before `limit` whose end compares to pos as `atLeast`
// asks (>= 0 or > 0), or `limit` when there is none: the first i at which
// the running maximum of the ends passes the test. Ranges are short next to
// a document, so the answer lies close before `limit` (the nodes that start
// just before pos): the search gallops back from there, then halves.
uint32_t FirstEndFrom(const ListIndex& index, const AnnoPos& pos, int atLeast, uint32_t limit) {
    auto passes = [&](uint32_t i) {
        return ComparePositions(index.entries[index.entries[i].greatestEnd].end, pos) >= atLeast;
    };
    if (limit == 0 || !passes(limit - 1)) return limit;
    uint32_t high = limit - 1;  // passes
    uint32_t low = 0;           // below it every entry fails, once found
    for (uint32_t step = 1; step <= high; step *= 2) {
        if (!passes(high - step)) {
            low = high - step + 1;
            break;
        }
        high -= step;
    }
    return FirstPassing(low, high, passes);
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
    return n == 0 ? kNoSlot : index.entries[n - 1].slot;
}

bool HiddenAt(const ListIndex& index, const AnnoPos& pos, bool breaksCount) noexcept {
    const uint32_t n = StartsNotAfter(index, pos);
    if (n > 0) {
        const IndexEntry& last = index.entries[n - 1];
        const uint32_t greatest = breaksCount ? last.greatestHiddenEnd : last.greatestHideTextEnd;
        if (greatest != kNoEntry && ComparePositions(pos, index.entries[greatest].end) < 0) return true;
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
    const uint32_t startsAfter = StartsNotAfter(index, pos);
    const uint32_t first = FirstEndFrom(index, pos, 0, startsAfter);
    return first < index.entryCount ? index.entries[first].slot : kNoSlot;
}

uint16_t FirstCovering(const ListIndex& index, const AnnoPos& pos) noexcept {
    const uint32_t startsAfter = StartsNotAfter(index, pos);
    const uint32_t endsAfter = FirstEndFrom(index, pos, 1, startsAfter);
    return endsAfter < startsAfter ? index.entries[endsAfter].slot : kNoSlot;
}

AnchorAnswer FirstAtAnchor(const ListIndex& index, const AnnoPos& pos, uint16_t& slot) noexcept {
    if (!index.anchorsInOrder) return AnchorAnswer::kUnknown;
    const auto [from, to] = RangeOfItem(index, pos.itemId);
    const uint32_t low =
        FirstPassing(from, to, [&](uint32_t i) { return CompareAnchors(index.starts[i], pos) >= 0; });
    if (low == index.entryCount || !SameAnchor(index.starts[low], pos)) return AnchorAnswer::kNone;
    slot = index.entries[low].slot;
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
    HeapFree(info.index->buckets);
    HeapFree(info.index->entries);
    HeapFree(info.index->inserts);
    info.index->~ListIndex();
    HeapFree(info.index);
    info.index = nullptr;
}

}  // namespace annotation
