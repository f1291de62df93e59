// The colour table and the resolution of hilite style words.
#include "annotation/styles/hilite_look.h"

namespace annotation {

const uint32_t gColorMap[16] = {
    0x00000000,  // black
    0x00000080,  // dark red
    0x00008000,  // dark green
    0x00008080,  // dark yellow
    0x00800000,  // dark blue
    0x00800080,  // dark magenta
    0x00808000,  // dark cyan
    0x00C0C0C0,  // light grey
    0x00808080,  // grey
    0x000000FF,  // red
    0x0000FF00,  // green
    0x0000FFFF,  // yellow
    0x00FF0000,  // blue
    0x00FF00FF,  // magenta
    0x00FFFF00,  // cyan
    0x00FFFFFF,  // white
};

namespace {

inline constexpr uint32_t kStyleIdMask = 0xFFFF;
inline constexpr uint32_t kColorIndexMask = 0xF;

void SwitchStyleLookOn(uint32_t hDoc, uint32_t styleId, AnnoTrackInfo& info) noexcept {
    HiliteStyle style{};
    if (ANGetHiliteStyle(hDoc, styleId, &style) == 0) {
        info.color1On = 0;
        info.color2On = 0;
        info.extraOn = 0;
        return;
    }
    if ((style.flags & ANHS_COLOR1ON) != 0) info.color1On = 1;
    info.color1 = style.color1;
    if ((style.flags & ANHS_COLOR2ON) != 0) info.color2On = 1;
    info.color2 = style.color2;
    if ((style.flags & ANHS_EXTRAON) != 0) info.extraOn = 1;
    info.attr1 = style.attr1;
    info.attr2 = style.attr2;
}

void SwitchDirectColorsOn(uint32_t styleWord, AnnoTrackInfo& info) noexcept {
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

}  // namespace

void SwitchHiliteLookOff(AnnoTrackInfo& info) noexcept {
    info.color1On = 0;
    info.color2On = 0;
    info.extraOn = 0;
}

void SwitchHiliteLookOn(uint32_t hDoc, uint32_t styleWord, uint32_t userData, AnnoTrackInfo& info) noexcept {
    info.extraOn = 0;
    info.userData = userData;
    if ((styleWord & ANHILITE_BYSTYLE) != 0) {
        SwitchStyleLookOn(hDoc, styleWord & kStyleIdMask, info);
    } else {
        SwitchDirectColorsOn(styleWord, info);
    }
}

}  // namespace annotation
