// The module's heap, with the test hook that makes an allocation fail.
#include "annotation/heap.h"

#include <cstdlib>

namespace annotation {
namespace {

int32_t gFailAfter = -1;
int32_t gIndexFailAfter = -1;

void* AllocCounted(size_t bytes, int32_t& failAfter) noexcept {
    if (failAfter == 0) {
        failAfter = -1;
        return nullptr;
    }
    if (failAfter > 0) --failAfter;
    return std::malloc(bytes == 0 ? 1 : bytes);
}

}  // namespace

void* HeapAlloc(size_t bytes) noexcept { return AllocCounted(bytes, gFailAfter); }

void* IndexHeapAlloc(size_t bytes) noexcept { return AllocCounted(bytes, gIndexFailAfter); }

void SetIndexHeapFailAfter(int32_t n) noexcept { gIndexFailAfter = n; }

void HeapFree(void* block) noexcept { std::free(block); }

void SetHeapFailAfter(int32_t n) noexcept { gFailAfter = n; }

bool HeapFailPending() noexcept { return gFailAfter >= 0; }

}  // namespace annotation
