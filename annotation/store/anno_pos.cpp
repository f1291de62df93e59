// ANCompPos, the exported form of the position order.
#include "annotation/store/anno_pos.h"

extern "C" AN_API int16_t ANCompPos(const AnnoPos* a, const AnnoPos* b) {
    return static_cast<int16_t>(annotation::ComparePositions(*a, *b));
}
