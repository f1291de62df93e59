// The operating system's character set as the engine reports it
// (UTGetOSCharSet), settable by tests with ENSetOSCharSet.
#ifndef ENGINE_UTILITY_H
#define ENGINE_UTILITY_H

#include <cstdint>

namespace engine {

// The current OS character set; 0x00000001 until ENSetOSCharSet changes it.
// New documents take it as their character set.
std::uint32_t OsCharSet() noexcept;

}  // namespace engine

#endif
