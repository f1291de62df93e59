// Whether movable memory runs in strict mode (ENMemSetStrict). Other parts of
// the engine that hand out pinned memory, such as a document's module data,
// follow the same mode so that stale pointers into them show up as well.
#ifndef ENGINE_MEMORY_MODE_H
#define ENGINE_MEMORY_MODE_H

namespace engine {

bool StrictMemoryMode() noexcept;

}  // namespace engine

#endif
