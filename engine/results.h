// Result codes that the stand-in engine's platform and EN* functions return.
// They are the codes the annotation module passes on unchanged, so tests can
// tell an engine failure from one of the module's own.
#ifndef ENGINE_RESULTS_H
#define ENGINE_RESULTS_H

#include <cstdint>

namespace engine {

inline constexpr std::uint32_t kResultOk = 0;
// Memory ran out (only the engine's own bookkeeping can cause it).
inline constexpr std::uint32_t kResultNoMemory = 13;
// A null output pointer, an unknown handle, an unknown kind or a description
// that does not parse.
inline constexpr std::uint32_t kResultBadParam = 15;
// An id, index, section or run past the end, or one that names nothing.
inline constexpr std::uint32_t kResultNotFound = 25;

}  // namespace engine

#endif
