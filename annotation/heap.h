// The module's ordinary heap memory (as opposed to the engine's movable
// blocks). Everything the module takes with malloc goes through here; today
// that is the character arrays of the ACC maps, the buffer a map is read
// through, and the list index (annotation/index). Going through one place lets tests make any of these allocations
// fail, as the engine lets them fail a movable block. Internal: not exported
// from the shared library; tests reach it through annotation_internal.
#ifndef ANNOTATION_HEAP_H
#define ANNOTATION_HEAP_H

#include <cstddef>
#include <cstdint>

namespace annotation {

// malloc and free, with the failure a test may have armed. HeapAlloc(0)
// gives a block of its own (never null unless it fails); HeapFree(nullptr)
// does nothing.
void* HeapAlloc(size_t bytes) noexcept;
void HeapFree(void* block) noexcept;

// For tests (not exported from the shared library): after n more successful
// HeapAlloc calls the next one fails, once; -1 disarms. Not thread-safe: the
// count is a plain global, like the engine's own fault injection, armed and
// used from one thread at a time.
void SetHeapFailAfter(int32_t n) noexcept;
// Whether an armed failure has not fired yet.
bool HeapFailPending() noexcept;

// The list index's memory, with a failure hook of its own: the index is a
// cache that other allocations must not notice, so arming a failure for one
// never moves the other's count. SetIndexHeapFailAfter(n): after n more
// successful IndexHeapAlloc calls the next one fails, once; -1 disarms.
void* IndexHeapAlloc(size_t bytes) noexcept;
void SetIndexHeapFailAfter(int32_t n) noexcept;

}  // namespace annotation

#endif
