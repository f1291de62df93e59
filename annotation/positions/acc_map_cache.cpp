// Lifetime of the ACC map cache and of the second opening of the document.
// The maps' arrays are the module's own heap memory (heap.h).
#include "annotation/positions/acc_map_cache.h"

#include <initializer_list>

#include "annotation/heap.h"
#include "platform/content_access.h"
#include "platform/data_access.h"

namespace annotation {

void ResetACCMap(ACCMap& map) noexcept {
    map = ACCMap{};
    map.chunk = kNoChunk;
}

void ReleaseACCMaps(AnnoDocInfo& info) noexcept {
    for (ACCMap* map : {&info.accMapPrev, &info.accMap}) {
        if (map->pCharItem != nullptr) {
            HeapFree(map->pCharItem);
            map->pCharItem = nullptr;
        }
    }
}

void CloseSecondDocument(AnnoDocInfo& info) noexcept {
    if (info.hSecondDoc == 0) return;
    // A content stream is open only when the second opening got that far.
    if (info.hContent != 0) CACloseContent(info.hContent);
    DACloseDocument(info.hSecondDoc);
    info.hContent = 0;
    info.hSecondDoc = 0;
}

}  // namespace annotation
