// Stepping through the positions of a document in reading order.
#include "annotation/annotation.h"
#include "annotation/store/anno_pos.h"

extern "C" AN_API uint32_t ANIsAnnoTextPos(const AnnoPos* pos) {
    return pos != nullptr && annotation::IsTextPosition(*pos) ? 1 : 0;
}
