// The six handlers of a tracking pass: each copies one kind's contribution
// at the current position into the caller's tracking record and returns that
// kind's ANTRACK_* bit. They read the node's look (LookOf), not the list, so
// that a pass the list index answers need not lock the list.
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
// three switches only (the look is not read).
inline uint32_t HandleHilite(uint32_t hDoc, const NodeLook& look, AnnoTrackInfo& info, uint16_t on) {
    if (on != 0) {
        SwitchHiliteLookOn(hDoc, look.displayData, look.userData, info);
    } else {
        SwitchHiliteLookOff(info);
    }
    return ANTRACK_HILITE;
}

// hidden = on; userData from the look.
inline uint32_t HandleHide(const NodeLook& look, AnnoTrackInfo& info, uint16_t on) {
    info.hidden = on;
    info.userData = look.userData;
    return ANTRACK_HIDE;
}

// objectData = the icon's displayData.
inline uint32_t HandleIcon(const NodeLook& look, AnnoTrackInfo& info) {
    info.objectData = look.displayData;
    return ANTRACK_ICON;
}

// objectData = the bitmap's displayData.
inline uint32_t HandleBitmap(const NodeLook& look, AnnoTrackInfo& info) {
    info.objectData = look.displayData;
    return ANTRACK_BITMAP;
}

// paraBreakHidden = on.
inline uint32_t HandleHideParaBreak(AnnoTrackInfo& info, uint16_t on) {
    info.paraBreakHidden = on;
    return ANTRACK_HIDEPARABREAK;
}

// userData, hText and textLen of the insert-text node.
inline uint32_t HandleInsertText(const NodeLook& look, AnnoTrackInfo& info) {
    info.userData = look.userData;
    info.hText = look.hText;
    info.textLen = look.textLen;
    return ANTRACK_INSERTTEXT;
}

}  // namespace annotation

#endif
