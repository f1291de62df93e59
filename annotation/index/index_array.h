// Growing the index's plain arrays: one place for the rule that a refused
// allocation leaves an array as it was, so that every cache built on the
// index heap (annotation/heap.h) can treat "no memory" as "not now".
#ifndef ANNOTATION_INDEX_INDEX_ARRAY_H
#define ANNOTATION_INDEX_INDEX_ARRAY_H

#include <cstddef>
#include <cstdint>

#include "annotation/heap.h"

namespace annotation {

// Makes room for `needed` elements; the old contents are kept. A refused
// allocation keeps the old array and answers false.
template <typename T>
bool ReserveIndexArray(T*& array, uint32_t& capacity, uint32_t needed) noexcept {
    if (needed <= capacity) return true;
    const uint64_t wanted = uint64_t{needed} + needed / 4 + 16;
    void* memory = IndexHeapAlloc(static_cast<size_t>(wanted) * sizeof(T));
    if (memory == nullptr) return false;
    T* grown = static_cast<T*>(memory);
    for (uint32_t i = 0; i < capacity; ++i) grown[i] = array[i];
    HeapFree(array);
    array = grown;
    capacity = static_cast<uint32_t>(wanted);
    return true;
}

}  // namespace annotation

#endif
