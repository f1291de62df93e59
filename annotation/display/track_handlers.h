// The six handlers of a tracking pass: each copies one kind's contribution
// at the current position into the caller's tracking record and returns that
// kind's ANTRACK_* bit. The list is locked by the caller and `slot` names one
// of its nodes (below capacity).
#ifndef ANNOTATION_DISPLAY_TRACK_HANDLERS_H
#define ANNOTATION_DISPLAY_TRACK_HANDLERS_H

#include <cstdint>

#include "annotation/annotation.h"
#include "annotation/store/anno_list.h"
#include "annotation/styles/hilite_look.h"

namespace annotation {

// Inline: a layout pass calls them at every position where the look
// changes.

// on: the hilite's look from its style word, and its userData. off: the
// three switches only (the slot is not read).
inline uint32_t HandleHilite(uint32_t hDoc, AnnoList& list, AnnoTrackInfo& info, uint16_t slot, uint16_t on) {
    if (on != 0) {
        const InternalAnno& anno = list.Node(slot).anno;
        SwitchHiliteLookOn(hDoc, anno.displayData, anno.userData, info);
    } else {
        SwitchHiliteLookOff(info);
    }
    return ANTRACK_HILITE;
}

// hidden = on; userData from the slot.
inline uint32_t HandleHide(AnnoList& list, AnnoTrackInfo& info, uint16_t slot, uint16_t on) {
    info.hidden = on;
    info.userData = list.Node(slot).anno.userData;
    return ANTRACK_HIDE;
}

// objectData = the icon's displayData.
inline uint32_t HandleIcon(AnnoList& list, AnnoTrackInfo& info, uint16_t slot) {
    info.objectData = list.Node(slot).anno.displayData;
    return ANTRACK_ICON;
}

// objectData = the bitmap's displayData.
inline uint32_t HandleBitmap(AnnoList& list, AnnoTrackInfo& info, uint16_t slot) {
    info.objectData = list.Node(slot).anno.displayData;
    return ANTRACK_BITMAP;
}

// paraBreakHidden = on.
inline uint32_t HandleHideParaBreak(AnnoTrackInfo& info, uint16_t on) {
    info.paraBreakHidden = on;
    return ANTRACK_HIDEPARABREAK;
}

// userData, hText and textLen of the insert-text node.
inline uint32_t HandleInsertText(AnnoList& list, AnnoTrackInfo& info, uint16_t slot) {
    const InternalAnno& anno = list.Node(slot).anno;
    info.userData = anno.userData;
    info.hText = anno.hText;
    info.textLen = anno.textLen;
    return ANTRACK_INSERTTEXT;
}

}  // namespace annotation

#endif
