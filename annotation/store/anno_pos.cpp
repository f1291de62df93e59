// ANCompPos, the exported form of the position order.
#include "annotation/store/anno_pos.h"

// A null record compares equal to anything rather than crashing the caller.
extern "C" AN_API int16_t ANCompPos(const AnnoPos* a, const AnnoPos* b) {
    if (a == nullptr || b == nullptr) return 0;
    return static_cast<int16_t>(annotation::ComparePositions(*a, *b));
}
