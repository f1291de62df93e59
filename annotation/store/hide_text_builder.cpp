// The hide-text builder, in its first form: the converted range is listed as
// it is (start and end in order), through the same builder contract as every
// other kind. Trimming the range to the document and cutting it at
// paragraph ends come with the document walk.
#include <cstddef>
#include <cstring>

#include "annotation/store/kind_builders.h"

namespace annotation {

uint32_t MakeHideTextAnno(uint32_t, const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList) {
    std::memcpy(&built->anno, &anno->anno, offsetof(InternalAnno, reserved2) + sizeof(uint32_t));
    *addToList = 1;
    return 0;
}

}  // namespace annotation
