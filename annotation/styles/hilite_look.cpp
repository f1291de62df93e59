// The colour table and the look of hilite style ids.
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

void SwitchStyleLookOn(uint32_t hDoc, uint32_t styleId, AnnoTrackInfo& info) noexcept {
    HiliteStyle style{};
    if (ANGetHiliteStyle(hDoc, styleId, &style) == 0) {
        SwitchHiliteLookOff(info);
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

}  // namespace annotation
