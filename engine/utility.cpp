// UTGetOSCharSet and ENSetOSCharSet.
#include "engine/utility.h"

#include "engine/engine.h"
#include "platform/utility.h"

namespace engine {
namespace {

constexpr std::uint32_t kDefaultOsCharSet = 0x00000001;

std::uint32_t& CurrentOsCharSet() noexcept {
    static std::uint32_t charSet = kDefaultOsCharSet;
    return charSet;
}

}  // namespace

std::uint32_t OsCharSet() noexcept { return CurrentOsCharSet(); }

}  // namespace engine

uint32_t UTGetOSCharSet(void) { return engine::OsCharSet(); }

void ENSetOSCharSet(uint32_t charSet) { engine::CurrentOsCharSet() = charSet; }
