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

// Switches the look off: the three switches go to 0; colours, attributes and
// userData keep their values.
void SwitchHiliteLookOff(AnnoTrackInfo& info) noexcept;

// Switches on the look of a hilite with `styleWord` and `userData` on
// document hDoc. A style id that neither the document's nor the global table
// holds switches everything off. A switch whose style flag is clear keeps its
// value; direct colours leave the attributes as they are.
void SwitchHiliteLookOn(uint32_t hDoc, uint32_t styleWord, uint32_t userData, AnnoTrackInfo& info) noexcept;

}  // namespace annotation

#endif
