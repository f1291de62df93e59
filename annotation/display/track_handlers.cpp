// What each kind of annotation contributes to a tracking record.
#include "annotation/display/track_handlers.h"

#include "annotation/styles/hilite_look.h"

namespace annotation {

uint32_t HandleHilite(uint32_t hDoc, AnnoList& list, AnnoTrackInfo& info, uint16_t slot, uint16_t on) {
    if (on != 0) {
        const InternalAnno& anno = list.Node(slot).anno;
        SwitchHiliteLookOn(hDoc, anno.displayData, anno.userData, info);
    } else {
        SwitchHiliteLookOff(info);
    }
    return ANTRACK_HILITE;
}

uint32_t HandleHide(AnnoList& list, AnnoTrackInfo& info, uint16_t slot, uint16_t on) {
    info.hidden = on;
    info.userData = list.Node(slot).anno.userData;
    return ANTRACK_HIDE;
}

uint32_t HandleIcon(AnnoList& list, AnnoTrackInfo& info, uint16_t slot) {
    info.objectData = list.Node(slot).anno.displayData;
    return ANTRACK_ICON;
}

uint32_t HandleBitmap(AnnoList& list, AnnoTrackInfo& info, uint16_t slot) {
    info.objectData = list.Node(slot).anno.displayData;
    return ANTRACK_BITMAP;
}

uint32_t HandleHideParaBreak(AnnoTrackInfo& info, uint16_t on) {
    info.paraBreakHidden = on;
    return ANTRACK_HIDEPARABREAK;
}

uint32_t HandleInsertText(AnnoList& list, AnnoTrackInfo& info, uint16_t slot) {
    const InternalAnno& anno = list.Node(slot).anno;
    info.userData = anno.userData;
    info.hText = anno.hText;
    info.textLen = anno.textLen;
    return ANTRACK_INSERTTEXT;
}

}  // namespace annotation
