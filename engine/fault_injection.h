// Fault injection for tests: ENFailCallAfter arms one failure per platform
// call name, ENFailAllocAfter one failure shared by SYSNativeAlloc and
// SYSNativeReAlloc. The platform functions ask here before they do any work,
// so an injected failure leaves every output untouched.
//
// An armed failure waits for n more successful calls of its name (calls that
// fail for any reason do not count), then the next call fails, once, and the
// failure is disarmed. Several names may be armed at the same time.
#ifndef ENGINE_FAULT_INJECTION_H
#define ENGINE_FAULT_INJECTION_H

#include <cstdint>

namespace engine {

// Every platform call that can be made to fail. The names tests use are the
// function names themselves (see fault_injection.cpp).
enum class PlatformCall : std::uint8_t {
    DAGetHChunker,
    DARetrieveDocHandle,
    DAGetOption,
    DALockModuleData,
    DAUnlockModuleData,
    DADestroyModuleData,
    DAGetAnno,
    DAOpenDocument,
    DASetOption,
    DACloseDocument,
    CHGetItem,
    CHGetItemCount,
    CHGetItemId,
    CHNextItemId,
    CHGetItemCountById,
    CHGetRunFromItemId,
    CHGetRunInfo,
    CHGetSectionInfo,
    CAOpenContent,
    CAReadFirst,
    CASeek,
    CAReadNext,
    CACloseContent,
    SYSNativeAlloc,
    SYSNativeReAlloc,
    SYSNativeLock,
    SYSNativeUnlock,
    SYSNativeFree,
    Count
};

// True when the armed failure of `call` fires now: it is disarmed and `code`
// receives the result the call must return. Otherwise false, `code` untouched.
bool CallFailsNow(PlatformCall call, std::uint32_t& code) noexcept;
// Counts one successful call of `call` towards its armed failure.
void CountCallSuccess(PlatformCall call) noexcept;

// Like CallFailsNow for SYSNativeAlloc and SYSNativeReAlloc, which are also
// failed by ENFailAllocAfter. When the call's own failure fires, the shared
// allocation failure keeps waiting.
bool AllocFailsNow(PlatformCall call) noexcept;
// Counts one successful allocation towards both failures that may be armed.
void CountAllocSuccess(PlatformCall call) noexcept;

// Runs a platform call that answers with a result code: an armed failure
// returns its code before `body` runs, and a result of 0 counts as a success.
template <typename Body>
std::uint32_t RunGuarded(PlatformCall call, Body&& body) {
    std::uint32_t code = 0;
    if (CallFailsNow(call, code)) return code;
    const std::uint32_t result = body();
    if (result == 0) CountCallSuccess(call);
    return result;
}

}  // namespace engine

#endif
