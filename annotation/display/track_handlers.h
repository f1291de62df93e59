// The six handlers of a tracking pass: each copies one kind's contribution
// at the current position into the caller's tracking record and returns that
// kind's ANTRACK_* bit. The list is locked by the caller and `slot` names one
// of its nodes (below capacity).
#ifndef ANNOTATION_DISPLAY_TRACK_HANDLERS_H
#define ANNOTATION_DISPLAY_TRACK_HANDLERS_H

#include <cstdint>

#include "annotation/annotation.h"
#include "annotation/store/anno_list.h"

namespace annotation {

// on: the hilite's look from its style word, and its userData. off: the
// three switches only (the slot is not read).
uint32_t HandleHilite(uint32_t hDoc, AnnoList& list, AnnoTrackInfo& info, uint16_t slot, uint16_t on);
// hidden = on; userData from the slot.
uint32_t HandleHide(AnnoList& list, AnnoTrackInfo& info, uint16_t slot, uint16_t on);
// objectData = the icon's displayData.
uint32_t HandleIcon(AnnoList& list, AnnoTrackInfo& info, uint16_t slot);
// objectData = the bitmap's displayData.
uint32_t HandleBitmap(AnnoList& list, AnnoTrackInfo& info, uint16_t slot);
// paraBreakHidden = on.
uint32_t HandleHideParaBreak(AnnoTrackInfo& info, uint16_t on);
// userData, hText and textLen of the insert-text node.
uint32_t HandleInsertText(AnnoList& list, AnnoTrackInfo& info, uint16_t slot);

}  // namespace annotation

#endif
