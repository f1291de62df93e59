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

}  // namespace annotation

#endif
