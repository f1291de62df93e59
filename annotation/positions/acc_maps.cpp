// Building and caching the ACC maps of a document's chunks.
//
// A map lists, for every character of one chunk in ACC order, the index of
// the item that holds it. It is read from the chunk's content through a
// second opening of the document, on the same chunker, whose content stream
// stays open from the first build to ANDeInit. Two maps are cached, so that
// a walk that alternates between two chunks (a range across a chunk
// boundary) never reads a chunk twice.
#include <algorithm>
#include <cstring>

#include "annotation/handle_lock.h"
#include "annotation/heap.h"
#include "annotation/positions/acc_map_cache.h"
#include "annotation/store/anno_pos.h"
#include "platform/chunker.h"
#include "platform/content_access.h"
#include "platform/data_access.h"

namespace annotation {
namespace {

constexpr uint32_t kSecondOpeningKind = 18;
constexpr uint32_t kCharSetOptionOfSecondDoc = 1;
constexpr uint16_t kMaxSections = 0xFFFF;
// Character ids hold a chunk's character offsets in 16 bits, so no chunk
// holds more characters than this; a larger run is taken as this many. It
// also keeps the array's and the buffer's sizes (capacity x 4, capacity x 2)
// far from overflowing a 32-bit size_t or the record's 32-bit free-byte
// count.
constexpr uint32_t kMaxChunkCharacters = 0x10000;

constexpr uint32_t ChunkStartItem(uint16_t chunk) { return static_cast<uint32_t>(chunk) << 16; }

bool InMap(const ACCMap& map, uint32_t acc) {
    return map.pCharItem != nullptr && acc >= map.firstACC && acc - map.firstACC < map.charCount;
}

// Text inside these regions is counted but not delivered.
bool IsUndeliveredRegion(uint32_t regionId) {
    return regionId == 0x10000 || regionId == 0x100000 || regionId == 0x120000;
}

// How many characters the chunk holds, from the run of its first item; 0
// when the chunker cannot tell (the map is then empty).
uint32_t ChunkCapacity(uint32_t hInfo, uint32_t hChunker, uint16_t chunk) {
    const AnnoPos start{ChunkStartItem(chunk), kWholeItem, 0, 0};
    uint16_t section = 0, chunkOfPos = 0;
    if (PosToSecChunk(hInfo, &start, &section, &chunkOfPos) != 0) return 0;
    uint32_t run = 0xFFFFFFFF;
    CHGetRunFromItemId(hChunker, ChunkStartItem(chunk), &run);
    uint32_t runRecord[3] = {};
    if (CHGetRunInfo(hChunker, run, CH_KIND_CHAR, runRecord) != 0) return 0;
    uint32_t sectionId = 0;
    uint32_t sectionItem[CH_ITEM_WORDS] = {};
    if (CHGetItemId(hChunker, CH_KIND_SECTION, section, &sectionId) != 0) return 0;
    if (CHGetItem(hChunker, CH_KIND_SECTION, sectionId, sectionItem, nullptr) != 0) return 0;
    // A chunk without characters has its last before its first: 0.
    return std::min(runRecord[2] - runRecord[1] + 1, kMaxChunkCharacters);
}

// Opens the second document and its content stream, once. A failure is
// remembered in ACCF_OPENFAILED and not retried: ANERR_NOANNODATA.
uint32_t OpenSecondDocument(AnnoDocInfo& info) {
    if (info.hSecondDoc != 0 || (info.accFlags & ACCF_OPENFAILED) != 0) return 0;
    uint32_t spec = info.hChunker;
    if (DAOpenDocument(&info.hSecondDoc, kSecondOpeningKind, &spec, 0) != 0) {
        info.hSecondDoc = 0;
        info.accFlags |= ACCF_OPENFAILED;
        return ANERR_NOANNODATA;
    }
    // After a failed option the second document stays open without content
    // until ANDeInit closes it; no content stream is closed that was never
    // opened.
    uint32_t charSet = info.charSet;
    if (DASetOption(info.hSecondDoc, kCharSetOptionOfSecondDoc, &charSet, sizeof charSet) != 0) {
        info.accFlags |= ACCF_OPENFAILED;
        return ANERR_NOANNODATA;
    }
    if (CAOpenContent(info.hSecondDoc, &info.hContent) != 0) {
        info.hContent = 0;
        info.accFlags |= ACCF_OPENFAILED;
        DACloseDocument(info.hSecondDoc);
        info.hSecondDoc = 0;
        return ANERR_NOANNODATA;
    }
    // The record's size word is sizeof(CAReadRecord): 44 bytes on a 32-bit
    // target, 48 on a 64-bit one, where the buffer address at byte 40 is
    // pointer-sized (platform/content_access.h keeps the field order).
    CAReadRecord record{};
    record.size = sizeof record;
    CAReadFirst(info.hContent, &record);
    return 0;
}

// Reading one chunk's content: the item of every character into `items`
// and the bytes its text takes. Never more than `capacity` entries are
// written: when the content delivers more characters than the chunk's run
// said, the read goes on to the chunk's end and the surplus characters get
// no entry (ignored, not an error). Text that is counted but not delivered
// is written as zero bytes, clamped to the bytes still free, so nothing is
// written past the buffer's end; `bytes` still counts its whole length.
// The address never moves past the buffer's end either, even when the
// library reports more bytes written than were free.
class ChunkReader {
public:
    ChunkReader(uint32_t* items, uint32_t capacity, char* buffer) : items_(items), capacity_(capacity) {
        record_.size = sizeof record_;
        record_.buffer = buffer;
        record_.bytesFree = buffer != nullptr ? capacity * 2 : 0;
    }

    void Read(uint32_t hContent, uint16_t chunk) {
        CASeekPos seek{ChunkStartItem(chunk), kWholeItem, 0, 0};
        CASeek(hContent, &seek);
        while (CAReadNext(hContent, &record_) == 0 && record_.type != CA_RECORD_CHUNKEND) {
            if (items_ == nullptr) continue;
            switch (record_.type) {
                case CA_RECORD_TEXT: TakeText(); break;
                case CA_RECORD_REGIONSTART: inRegion_ = inRegion_ || IsUndeliveredRegion(record_.idOrFlags); break;
                case CA_RECORD_REGIONEND:
                    if (IsUndeliveredRegion(record_.idOrFlags)) inRegion_ = false;
                    break;
                default: break;
            }
        }
    }

    uint32_t filled() const { return filled_; }
    uint32_t bytes() const { return bytes_; }

private:
    void TakeText() {
        const uint32_t room = capacity_ - filled_;
        const uint32_t entries = std::min(record_.count, room);
        std::fill(items_ + filled_, items_ + filled_ + entries, uint32_t{record_.itemIndex});
        filled_ += entries;

        uint32_t length = record_.bytesWritten;
        const bool undelivered = (record_.idOrFlags & CA_TEXT_UNDELIVERED) != 0 || inRegion_;
        if (undelivered) length = record_.charSet == CA_CHARSET_UNICODE ? record_.count * 2 : record_.count;
        const uint32_t inBuffer = std::min(length, record_.bytesFree);
        char* at = static_cast<char*>(record_.buffer);
        if (undelivered) std::memset(at, 0, inBuffer);
        record_.buffer = at + inBuffer;
        record_.bytesFree -= inBuffer;
        bytes_ += length;
    }

    uint32_t* items_;
    uint32_t capacity_;
    CAReadRecord record_{};
    uint32_t filled_ = 0;
    uint32_t bytes_ = 0;
    bool inRegion_ = false;
};

}  // namespace

// A state that cannot be locked is answered in all four functions as a
// document without state (ANERR_NOANNODATA), like the exported calls do.

uint32_t MapACCtoChunkCount(uint32_t hInfo, uint32_t acc, uint16_t* pChunk) {
    if (hInfo == 0 || pChunk == nullptr) return ANERR_BADPARAM;
    LockedBlock<AnnoDocInfo> info(hInfo);
    if (!info) return ANERR_NOANNODATA;
    if (InMap(info->accMap, acc)) {
        *pChunk = info->accMap.chunk;
        return 0;
    }
    uint32_t charId = 0;
    if (CHGetItemId(info->hChunker, CH_KIND_CHAR, acc, &charId) != 0) return ANERR_NOTFOUND;
    *pChunk = static_cast<uint16_t>(charId >> 16);
    const ACCMap& current = info->accMap;
    if (*pChunk == current.chunk && current.pCharItem != nullptr && current.firstACC <= acc) return ANERR_NOTFOUND;
    return 0;
}

uint32_t PosToSecChunk(uint32_t hInfo, const AnnoPos* pos, uint16_t* pSection, uint16_t* pChunk) {
    if (hInfo == 0 || pos == nullptr || pSection == nullptr || pChunk == nullptr) return ANERR_BADPARAM;
    LockedBlock<AnnoDocInfo> info(hInfo);
    if (!info) return ANERR_NOANNODATA;
    for (uint16_t section = 0; section < kMaxSections; ++section) {
        uint32_t record[7] = {};
        if (CHGetSectionInfo(info->hChunker, section, record) != 0) return ANERR_BADPARAM;
        if (record[2] >= pos->itemId) {
            *pSection = section;
            *pChunk = static_cast<uint16_t>(pos->itemId >> 16);
            return 0;
        }
    }
    return ANERR_BADPARAM;
}

uint32_t GetACCMap(uint32_t hInfo, uint16_t chunk, ACCMap* pMap) {
    if (hInfo == 0) return ANERR_BADPARAM;
    LockedBlock<AnnoDocInfo> info(hInfo);
    if (!info) return ANERR_NOANNODATA;
    if (info->accMapPrev.chunk == chunk) {
        std::swap(info->accMap, info->accMapPrev);
    } else if (info->accMap.chunk != chunk) {
        if (info->accMapPrev.pCharItem != nullptr) HeapFree(info->accMapPrev.pCharItem);
        info->accMapPrev = info->accMap;
        // The slot starts over as an empty map of the asked chunk: a build
        // that fails before it resets the map (its state cannot be locked)
        // must not leave the entry count of the map whose array just moved
        // to the other slot next to no array.
        ResetACCMap(info->accMap);
        info->accMap.chunk = chunk;
        const uint32_t result = BuildACCMap(hInfo, &info->accMap);
        if (result != 0) return result;
    }
    if (pMap != nullptr) *pMap = info->accMap;
    return 0;
}

// When the chunker cannot say where the chunk's characters begin, firstACC
// is 0 and the map is left empty: its entries would name the wrong ACCs.
uint32_t BuildACCMap(uint32_t hInfo, ACCMap* map) {
    if (hInfo == 0 || map == nullptr) return ANERR_BADPARAM;
    LockedBlock<AnnoDocInfo> info(hInfo);
    if (!info) return ANERR_NOANNODATA;
    map->pCharItem = nullptr;
    map->charCount = 0;
    map->textBytes = 0;
    map->charSet = info->charSet;
    uint32_t firstACC = 0;
    const bool placed = CHGetItemCountById(info->hChunker, CH_KIND_CHAR, ChunkStartItem(map->chunk), &firstACC) == 0;
    map->firstACC = placed ? firstACC : 0;

    const uint32_t capacity = placed ? ChunkCapacity(hInfo, info->hChunker, map->chunk) : 0;
    uint32_t* items = nullptr;
    char* buffer = nullptr;
    if (capacity > 0) {
        items = static_cast<uint32_t*>(HeapAlloc(size_t{capacity} * sizeof(uint32_t)));
        if (items == nullptr) return ANERR_NOMEMORY;
        buffer = static_cast<char*>(HeapAlloc(size_t{capacity} * 2));
        if (buffer == nullptr) {
            HeapFree(items);
            return ANERR_NOMEMORY;
        }
    }

    const uint32_t result = OpenSecondDocument(*info);
    ChunkReader reader(items, capacity, buffer);
    if ((info->accFlags & ACCF_OPENFAILED) == 0) reader.Read(info->hContent, map->chunk);
    if (items != nullptr) {
        HeapFree(buffer);
        map->pCharItem = items;
        map->charCount = reader.filled();
        map->textBytes = reader.bytes();
    }
    return result;
}

}  // namespace annotation
