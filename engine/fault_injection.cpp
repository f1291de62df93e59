// Bookkeeping of armed failures, and ENFailAllocAfter, ENFailPending and
// ENFailCallAfter.
#include "engine/fault_injection.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "engine/engine.h"

namespace engine {
namespace {

// One armed failure: `remaining` successful calls still to let through.
struct ArmedFailure {
    bool armed = false;
    std::int32_t remaining = 0;
    std::uint32_t code = 0;

    void Arm(std::int32_t n, std::uint32_t failCode) noexcept {
        armed = n >= 0;
        remaining = armed ? n : 0;
        code = failCode;
    }

    bool FiresNow() noexcept {
        if (!armed || remaining > 0) return false;
        armed = false;
        return true;
    }

    void CountSuccess() noexcept {
        if (armed && remaining > 0) --remaining;
    }
};

constexpr std::size_t kCallCount = static_cast<std::size_t>(PlatformCall::Count);

// In the order of PlatformCall.
constexpr std::array<const char*, kCallCount> kCallNames = {
    "DAGetHChunker",    "DARetrieveDocHandle", "DAGetOption",        "DALockModuleData",
    "DAUnlockModuleData", "DADestroyModuleData", "DAGetAnno",        "DAOpenDocument",
    "DASetOption",      "DACloseDocument",     "CHGetItem",          "CHGetItemCount",
    "CHGetItemId",      "CHNextItemId",        "CHGetItemCountById", "CHGetRunFromItemId",
    "CHGetRunInfo",     "CHGetSectionInfo",    "CAOpenContent",      "CAReadFirst",
    "CASeek",           "CAReadNext",          "CACloseContent",     "SYSNativeAlloc",
    "SYSNativeReAlloc", "SYSNativeLock",       "SYSNativeUnlock",    "SYSNativeFree"};

struct FailureTable {
    std::array<ArmedFailure, kCallCount> calls{};
    ArmedFailure alloc{};
};

FailureTable& Failures() noexcept {
    static FailureTable table;
    return table;
}

ArmedFailure& FailureOf(PlatformCall call) noexcept {
    return Failures().calls[static_cast<std::size_t>(call)];
}

bool IsAllocation(PlatformCall call) noexcept {
    return call == PlatformCall::SYSNativeAlloc || call == PlatformCall::SYSNativeReAlloc;
}

}  // namespace

bool CallFailsNow(PlatformCall call, std::uint32_t& code) noexcept {
    ArmedFailure& failure = FailureOf(call);
    if (!failure.FiresNow()) return false;
    code = failure.code;
    return true;
}

void CountCallSuccess(PlatformCall call) noexcept { FailureOf(call).CountSuccess(); }

bool AllocFailsNow(PlatformCall call) noexcept {
    if (FailureOf(call).FiresNow()) return true;
    return IsAllocation(call) && Failures().alloc.FiresNow();
}

void CountAllocSuccess(PlatformCall call) noexcept {
    FailureOf(call).CountSuccess();
    if (IsAllocation(call)) Failures().alloc.CountSuccess();
}

}  // namespace engine

using engine::Failures;

void ENFailAllocAfter(int32_t n) { Failures().alloc.Arm(n, 0); }

uint32_t ENFailPending(void) {
    const engine::FailureTable& table = Failures();
    if (table.alloc.armed) return 1;
    for (const engine::ArmedFailure& failure : table.calls) {
        if (failure.armed) return 1;
    }
    return 0;
}

// A name that is not a platform call arms nothing; it is reported on stderr
// because it is always a mistake in a test, and silently waiting for a call
// that never comes would make a failure sweep end without testing anything.
void ENFailCallAfter(const char* name, int32_t n, uint32_t code) {
    engine::FailureTable& table = Failures();
    if (name == nullptr) {
        if (n < 0) {
            for (engine::ArmedFailure& failure : table.calls) failure.Arm(-1, 0);
        }
        return;
    }
    for (std::size_t i = 0; i < engine::kCallNames.size(); ++i) {
        if (std::strcmp(engine::kCallNames[i], name) == 0) {
            table.calls[i].Arm(n, code);
            return;
        }
    }
    std::fprintf(stderr, "stand-in engine: ENFailCallAfter: no platform call named '%s'\n", name);
}
