// The cache of per-chunk ACC maps and the second opening of the document
// whose content they are read from, both held in the AnnoDocInfo.
#ifndef ANNOTATION_POSITIONS_ACC_MAP_CACHE_H
#define ANNOTATION_POSITIONS_ACC_MAP_CACHE_H

#include "annotation/store/anno_doc_info.h"

namespace annotation {

// An ACC map slot as ANInit leaves it: no chunk, no array.
void ResetACCMap(ACCMap& map) noexcept;

// Frees the character arrays of both maps (the previous one first) and
// leaves them without arrays.
void ReleaseACCMaps(AnnoDocInfo& info) noexcept;

// Closes the content stream and the second opening of the document, if
// open, and marks them closed.
void CloseSecondDocument(AnnoDocInfo& info) noexcept;

// An ACC (a character's count from the start of the document) names a
// character; its chunk's map gives the item that holds it. Each function
// takes the AnnoDocInfo handle and answers ANERR_BADPARAM for 0 (or a null
// pointer argument) and ANERR_NOANNODATA when the state cannot be locked.

// The chunk that holds `acc`: 0; ANERR_NOTFOUND when the chunker cannot place
// it, or it lies past the end of the current map of its chunk.
uint32_t MapACCtoChunkCount(uint32_t hInfo, uint32_t acc, uint16_t* pChunk);

// A copy of the chunk's map, from the two-map cache or built: 0; the error of
// BuildACCMap (pMap untouched). The copy's array belongs to the cache and
// lives until a later call pushes the map out.
uint32_t GetACCMap(uint32_t hInfo, uint16_t chunk, ACCMap* pMap);

// Reads the chunk `map->chunk` through the second opening of the document
// into `map`, a slot of the locked state: 0; ANERR_NOMEMORY; ANERR_NOANNODATA
// when the second opening or its content cannot be had (once: later builds
// give empty maps).
uint32_t BuildACCMap(uint32_t hInfo, ACCMap* map);

// The section and chunk that hold `pos`: 0; ANERR_BADPARAM when no section
// holds it.
uint32_t PosToSecChunk(uint32_t hInfo, const AnnoPos* pos, uint16_t* pSection, uint16_t* pChunk);

}  // namespace annotation

#endif
