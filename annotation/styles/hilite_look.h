// Resolving a hilite style word into the hilite look of a tracking record:
// the colours, switches and attributes the display engine draws a hilite
// with.
#ifndef ANNOTATION_STYLES_HILITE_LOOK_H
#define ANNOTATION_STYLES_HILITE_LOOK_H

#include <cstdint>

#include "annotation/annotation.h"

namespace annotation {

// The fixed colour table of direct colour indexes: red, green, blue, 0 in
// memory, as u32 values red + 256 * green + 65536 * blue.
extern const uint32_t gColorMap[16];

// The look of a style id from the document's or the global table; a style
// id that neither holds switches everything off.
void SwitchStyleLookOn(uint32_t hDoc, uint32_t styleId, AnnoTrackInfo& info) noexcept;

// Switches the look off: the three switches go to 0; colours, attributes and
// userData keep their values.
inline void SwitchHiliteLookOff(AnnoTrackInfo& info) noexcept {
    info.color1On = 0;
    info.color2On = 0;
    info.extraOn = 0;
}

// The colours of a direct style word; the attributes keep their values.
inline void SwitchDirectColorsOn(uint32_t styleWord, AnnoTrackInfo& info) noexcept {
    constexpr uint32_t kColorIndexMask = 0xF;
    if ((styleWord & ANHILITE_NOCOLOR2) != 0) {
        info.color2On = 0;
    } else {
        info.color2On = 1;
        info.color2 = gColorMap[styleWord & kColorIndexMask];
    }
    if ((styleWord & ANHILITE_NOCOLOR1) != 0) {
        info.color1On = 0;
    } else {
        info.color1On = 1;
        info.color1 = gColorMap[(styleWord >> 4) & kColorIndexMask];
    }
}

// Switches on the look of a hilite with `styleWord` and `userData` on
// document hDoc. A style id that neither the document's nor the global table
// holds switches everything off. A switch whose style flag is clear keeps its
// value; direct colours leave the attributes as they are. Inline: a layout
// pass switches a hilite on at every position where the look changes.
inline void SwitchHiliteLookOn(uint32_t hDoc, uint32_t styleWord, uint32_t userData, AnnoTrackInfo& info) noexcept {
    constexpr uint32_t kStyleIdMask = 0xFFFF;
    info.extraOn = 0;
    info.userData = userData;
    if ((styleWord & ANHILITE_BYSTYLE) != 0) {
        SwitchStyleLookOn(hDoc, styleWord & kStyleIdMask, info);
    } else {
        SwitchDirectColorsOn(styleWord, info);
    }
}

}  // namespace annotation

#endif
