// Mapping between ACCs and positions: ANMapPosition.
//
// Both directions answer from the ACC map of the chunk concerned. A
// character position maps to its own ACC and back; a non-text item, or a
// character id that does not belong to its item, maps to the first
// character held by that item or a later one of the chunk.
#include <cstdint>

#include "annotation/annotation.h"
#include "annotation/positions/acc_map_cache.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/doc_state.h"
#include "platform/chunker.h"

namespace annotation {
namespace {

constexpr uint32_t kMapRequestSize = 28;

uint32_t AccToPosition(uint32_t hInfo, AnnoMapPosition& request) {
    uint16_t chunk = 0;
    uint32_t result = MapACCtoChunkCount(hInfo, request.acc, &chunk);
    if (result != 0) return result;
    ACCMap map{};
    result = GetACCMap(hInfo, chunk, &map);
    if (result != 0) return result;
    if (map.charCount == 0) return 0;  // the chunk could not be read: nothing to map
    if (request.acc < map.firstACC || request.acc - map.firstACC >= map.charCount) return ANERR_NOTFOUND;
    const uint32_t index = request.acc - map.firstACC;
    const uint32_t chunkBase = static_cast<uint32_t>(chunk) << 16;
    const uint32_t itemId = chunkBase | map.pCharItem[index];

    LockedBlock<AnnoDocInfo> info(hInfo);
    uint32_t item[CH_ITEM_WORDS] = {};
    const bool known = info && CHGetItem(info->hChunker, CH_KIND_ITEM, itemId, item, nullptr) == 0;
    request.pos.itemId = itemId;
    request.pos.subItemId = !known || item[0] == CH_ITEM_TEXT ? (chunkBase | index) : kWholeItem;
    return 0;
}

// The index of the map entry for a position: its character's own offset
// when the map agrees that the item holds it, else the first character of
// this item or a later one (charCount when there is none).
uint32_t EntryOf(const ACCMap& map, uint32_t itemIndex, uint32_t offset) {
    if (map.charCount == 0) return 0;
    if (offset != kWholeItem && offset < map.charCount && map.pCharItem[offset] == itemIndex) return offset;
    uint32_t entry = 0;
    while (entry < map.charCount && map.pCharItem[entry] < itemIndex) ++entry;
    return entry;
}

uint32_t PositionToAcc(uint32_t hInfo, AnnoMapPosition& request) {
    LockedBlock<AnnoDocInfo> info(hInfo);
    if (!info) return ANERR_NOANNODATA;
    uint32_t run = 0xFFFFFFFF;
    CHGetRunFromItemId(info->hChunker, request.pos.itemId, &run);
    uint32_t runRecord[3] = {};
    if (CHGetRunInfo(info->hChunker, run, CH_KIND_ITEM, runRecord) != 0) return ANERR_NOTFOUND;
    const auto chunk = static_cast<uint16_t>(runRecord[1] >> 16);
    const uint32_t chunkBase = static_cast<uint32_t>(chunk) << 16;
    const uint32_t offset = request.pos.subItemId == kWholeItem ? kWholeItem : request.pos.subItemId - chunkBase;

    ACCMap map{};
    if (GetACCMap(hInfo, chunk, &map) != 0) return ANERR_BADPARAM;
    request.acc = map.firstACC + EntryOf(map, request.pos.itemId - chunkBase, offset);
    return 0;
}

}  // namespace
}  // namespace annotation

using namespace annotation;

// A null request is refused like a wrong size, after the document's state
// was found.
extern "C" AN_API uint32_t ANMapPosition(uint32_t hDoc, AnnoMapPosition* req) {
    uint32_t hInfo = 0;
    const uint32_t result = GetAnnoFromDoc(hDoc, &hInfo);
    if (result != 0) return result;
    if (req == nullptr || req->size != kMapRequestSize) return ANERR_BADPARAM;
    // The request is answered in a copy and written back only on success.
    AnnoMapPosition answer = *req;
    uint32_t mapped = ANERR_BADPARAM;
    if ((answer.flags & ANMAP_ACCTOPOS) != 0) {
        mapped = AccToPosition(hInfo, answer);
    } else if ((answer.flags & ANMAP_POSTOACC) != 0) {
        mapped = PositionToAcc(hInfo, answer);
    }
    if (mapped == 0) *req = answer;
    return mapped;
}
