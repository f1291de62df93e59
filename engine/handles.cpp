// The single handle counter shared by every sort of handle.
#include "engine/handles.h"

#include <cstdio>
#include <cstdlib>

namespace engine {

std::uint32_t NewHandle() {
    static std::uint32_t last = 0;
    if (last == UINT32_MAX) {
        std::fputs("stand-in engine: 32-bit handle space exhausted\n", stderr);
        std::abort();
    }
    ++last;
    return last;
}

}  // namespace engine
