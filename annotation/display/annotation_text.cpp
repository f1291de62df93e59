// The characters of inserted text: ANStartAnnoTextTrack, ANGetAnnoText,
// ANEndAnnoTextTrack.
//
// A caller stepping through an anchor's inserted text asks for one offset
// after another, so its AnnoTextTrack keeps copies of the combined inserted
// text of the anchor last asked for, in a cache block of entries (one per
// insert node, in list order). A request inside the cached range is answered
// from the copies without looking at the list; any other request refills the
// cache for the anchor of the position asked for.
#include <cstring>

#include "annotation/annotation.h"
#include "annotation/handle_lock.h"
#include "annotation/index/list_index.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/doc_state.h"
#include "platform/memory.h"

namespace annotation {
namespace {

// One copied insert node: a text (kind 5) or a paragraph break (kind 6).
struct AnnoTextEntry {
    uint16_t kind;
    uint16_t unused;
    uint32_t textLen;  // characters: the node's textLen, or 1 for a break
    uint32_t hText;    // kind 5: the copy, owned by the entry; kind 6: 0
    uint16_t next;     // next used entry, or next free slot
    uint16_t prev;     // previous used entry
};

struct AnnoTextCache {
    uint16_t head;      // first used entry, in the order of the combined text
    uint16_t tail;      // last used entry
    uint16_t freeHead;  // first free slot; taken from and given back at the front
    uint16_t count;     // entries taken since the last refill
    uint16_t capacity;  // entry slots in the block
    uint16_t unused;

    AnnoTextEntry& Entry(uint16_t slot) noexcept { return reinterpret_cast<AnnoTextEntry*>(this + 1)[slot]; }
};

constexpr uint16_t kCacheStep = 5;

constexpr uint32_t CacheBytes(uint32_t capacity) {
    return static_cast<uint32_t>(sizeof(AnnoTextCache) + sizeof(AnnoTextEntry) * capacity);
}

static_assert(sizeof(AnnoTextEntry) == 16);
static_assert(sizeof(AnnoTextCache) == 12);

void PushFree(AnnoTextCache& cache, uint16_t slot) {
    cache.Entry(slot).next = cache.freeHead;
    cache.freeHead = slot;
}

// Frees every copy the used list holds and gives its slots back.
void EmptyCache(AnnoTextCache& cache) {
    for (uint16_t slot = cache.head, steps = 0; slot != kNoSlot && slot < cache.capacity && steps < cache.capacity;
         ++steps) {
        AnnoTextEntry& entry = cache.Entry(slot);
        const uint16_t next = entry.next;
        if (entry.hText != 0) SYSNativeFree(entry.hText);
        entry.hText = 0;
        PushFree(cache, slot);
        slot = next;
    }
    cache.head = kNoSlot;
    cache.tail = kNoSlot;
    cache.count = 0;
}

// Grows the cache by five slots, pushed onto the free list lowest first. A
// block that cannot grow stays as it was.
uint32_t GrowCache(LockedBlock<AnnoTextCache>& cache) {
    const uint16_t oldCapacity = cache->capacity;
    const auto newCapacity = static_cast<uint16_t>(oldCapacity + kCacheStep);
    if (newCapacity <= oldCapacity) return ANERR_NOMEMORY;
    const uint32_t hCache = cache.handle();
    cache.Unlock();
    const uint32_t hGrown = SYSNativeReAlloc(hCache, CacheBytes(newCapacity));
    cache.Relock(hGrown != 0 ? hGrown : hCache);
    if (hGrown == 0 || !cache) return ANERR_NOMEMORY;
    cache->capacity = newCapacity;
    for (uint16_t slot = oldCapacity; slot < newCapacity; ++slot) PushFree(*cache, slot);
    return 0;
}

// A copy of the node's text in a block of its own.
uint32_t CopyText(const InternalAnno& anno, uint32_t* phCopy) {
    const uint32_t hCopy = SYSNativeAlloc(anno.textLen * 2);
    if (hCopy == 0) return ANERR_NOMEMORY;
    if (anno.textLen > 0) {
        LockedBlock<uint16_t> to(hCopy);
        LockedBlock<const uint16_t> from(anno.hText);
        if (!to || !from) {
            to.Unlock();
            SYSNativeFree(hCopy);
            return ANERR_NOMEMORY;
        }
        std::memcpy(to.get(), from.get(), size_t{anno.textLen} * 2);
    }
    *phCopy = hCopy;
    return 0;
}

// Takes one insert node into the cache, behind the entries taken so far. On
// failure the slot is not taken and `count` is as before, so the record stays
// usable and every copy it holds is still on the used list.
uint32_t TakeEntry(AnnoTextTrack& track, LockedBlock<AnnoTextCache>& cache, const AnnoNode& node) {
    ++cache->count;
    if (cache->count >= cache->capacity && GrowCache(cache) != 0) {
        if (cache) --cache->count;
        return ANERR_NOMEMORY;
    }
    AnnoTextEntry fresh{node.kind, 0, 1, 0, kNoSlot, cache->tail};
    if (node.kind == ANNO_INSERTTEXT) {
        fresh.textLen = node.anno.textLen;
        if (CopyText(node.anno, &fresh.hText) != 0) {
            --cache->count;
            return ANERR_NOMEMORY;
        }
    }
    const uint16_t slot = cache->freeHead;
    cache->freeHead = cache->Entry(slot).next;
    cache->Entry(slot) = fresh;
    if (cache->tail == kNoSlot) {
        cache->head = slot;
        track.first = AnnoPos{node.anno.start.itemId, node.anno.start.subItemId, ANPOS_ANNOTEXT, 0};
        track.last = track.first;
        track.last.textOffset = fresh.textLen - 1;
    } else {
        cache->Entry(cache->tail).next = slot;
        track.last.textOffset += fresh.textLen;
    }
    cache->tail = slot;
    return 0;
}

// Replaces the cached text by the combined inserted text at pos's anchor.
uint32_t Refill(uint32_t hDoc, AnnoTextTrack& track, LockedBlock<AnnoTextCache>& cache, const AnnoPos& pos) {
    DocInfoLock info(0);
    const uint32_t result = LockDocState(hDoc, info);
    if (result != 0) return result;
    track.first = AnnoPos{};
    track.last = AnnoPos{};
    EmptyCache(*cache);
    if (info->hAnnoList == 0) return 0;
    LockedBlock<AnnoList> list(info->hAnnoList);
    if (!list) return 0;
    // With the anchors in order, the walk begins at pos's anchor, and an
    // anchor with no insert node has nothing to take. A walk from the head
    // is counted, so that the index is built once such walks have cost what
    // a build does.
    uint16_t first = list->head;
    const ListIndex* index = ReadyIndex(*info, *list, IndexUse::kAddsKept);
    if (index != nullptr && TextWalkStart(*index, *list, pos, first) == AnchorAnswer::kNone) return 0;
    bool atAnchor = false;
    uint32_t taken = 0;
    uint32_t steps = 0;
    ForEachNodeFrom(*list, first, [&](uint16_t, const AnnoNode& node) {
        ++steps;
        const bool same = SameAnchor(node.anno.start, pos);
        if (!same) return !atAnchor;
        atAnchor = true;
        if (IsInsertKind(node.kind)) taken = TakeEntry(track, cache, node);
        return taken == 0 && cache;
    });
    NoteListWalked(*info, steps);
    return taken;
}

bool InCachedRange(const AnnoTextTrack& track, const AnnoPos& pos) {
    return ComparePositions(pos, track.first) >= 0 && ComparePositions(pos, track.last) <= 0;
}

uint32_t LookUp(const AnnoTextTrack& track, AnnoTextCache& cache, const AnnoPos& pos, uint16_t* pChar) {
    if (!InCachedRange(track, pos)) return ANERR_NOTFOUND;
    uint64_t before = 0;
    for (uint16_t slot = cache.head, steps = 0; slot != kNoSlot && slot < cache.capacity && steps < cache.capacity;
         ++steps) {
        const AnnoTextEntry& entry = cache.Entry(slot);
        if (before + entry.textLen > pos.textOffset) {
            if (entry.kind == ANNO_INSERTPARABREAK) {
                *pChar = 0;
                return ANNO_INSERTPARABREAK;
            }
            LockedBlock<const uint16_t> text(entry.hText);
            if (!text) return ANERR_NOMEMORY;
            *pChar = text.get()[pos.textOffset - before];
            return ANNO_INSERTTEXT;
        }
        before += entry.textLen;
        slot = entry.next;
    }
    return ANERR_NOTFOUND;
}

}  // namespace
}  // namespace annotation

using namespace annotation;

extern "C" AN_API uint32_t ANStartAnnoTextTrack(uint32_t, AnnoTextTrack* track) {
    if (track == nullptr) return ANERR_BADPARAM;
    *track = AnnoTextTrack{};
    LockedBlock<AnnoTextCache> cache(0);
    const uint32_t hCache = AllocLocked(CacheBytes(kCacheStep), cache);
    if (hCache == 0) return ANERR_NOMEMORY;
    *cache = AnnoTextCache{kNoSlot, kNoSlot, 0, 0, kCacheStep, 0};
    for (uint16_t slot = 0; slot < kCacheStep; ++slot) {
        cache->Entry(slot) = AnnoTextEntry{0, 0, 0, 0, slot + 1u < kCacheStep ? static_cast<uint16_t>(slot + 1) : kNoSlot,
                                           slot == 0 ? kNoSlot : static_cast<uint16_t>(slot - 1)};
    }
    track->hCache = hCache;
    return 0;
}

// A record without cache (its start failed, or was never called) is answered
// ANERR_NOMEMORY, after the check of hDoc.
extern "C" AN_API uint32_t ANGetAnnoText(uint32_t hDoc, AnnoTextTrack* track, const AnnoPos* pos, uint16_t* pChar) {
    if (hDoc == 0 || track == nullptr || pos == nullptr || pChar == nullptr) return ANERR_BADPARAM;
    LockedBlock<AnnoTextCache> cache(track->hCache);
    if (!cache) return ANERR_NOMEMORY;
    if (!InCachedRange(*track, *pos)) {
        const uint32_t result = Refill(hDoc, *track, cache, *pos);
        if (result != 0) return result;
    }
    return LookUp(*track, *cache, *pos, pChar);
}

extern "C" AN_API uint32_t ANEndAnnoTextTrack(uint32_t, AnnoTextTrack* track) {
    if (track == nullptr) return 0;
    if (track->hCache != 0) {
        {
            LockedBlock<AnnoTextCache> cache(track->hCache);
            if (cache) EmptyCache(*cache);
        }
        SYSNativeFree(track->hCache);
    }
    *track = AnnoTextTrack{};
    return 0;
}
