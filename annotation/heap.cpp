// The module's heap, with the test hook that makes an allocation fail.
#include "annotation/heap.h"

#include <cstdlib>

namespace annotation {
namespace {

int32_t gFailAfter = -1;

}  // namespace

void* HeapAlloc(size_t bytes) noexcept {
    if (gFailAfter == 0) {
        gFailAfter = -1;
        return nullptr;
    }
    if (gFailAfter > 0) --gFailAfter;
    return std::malloc(bytes == 0 ? 1 : bytes);
}

void HeapFree(void* block) noexcept { std::free(block); }

void SetHeapFailAfter(int32_t n) noexcept { gFailAfter = n; }

bool HeapFailPending() noexcept { return gFailAfter >= 0; }

}  // namespace annotation
