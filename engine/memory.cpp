// Movable memory blocks (SYSNative*) and their inspection (ENMem*).
//
// Blocks live in a table keyed by handle; a block's memory comes from malloc
// and is filled with kFreshByte wherever the caller has not written yet, so
// code that relies on zeroed memory fails visibly.
//
// Moving: a reallocation always moves the block (in both modes). In strict
// mode a block also moves whenever its lock count drops to 0, and the old
// memory is released at once, so a pointer kept past its unlock is a
// use-after-free that the sanitizers report.
//
// Misuse (ENMemMisuse): locking, unlocking, reallocating or freeing handle 0
// or a dead handle, and unlocking a block that is not locked. Freeing a locked
// block is allowed.
//
// Tuned for many small blocks (hundreds of thousands) and locks far
// outnumbering allocations: every operation is one hash lookup.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <unordered_map>

#include "engine/engine.h"
#include "engine/fault_injection.h"
#include "engine/handles.h"
#include "engine/memory_mode.h"
#include "engine/results.h"
#include "platform/memory.h"

namespace engine {
namespace {

constexpr unsigned char kFreshByte = 0xCD;

struct FreeDeleter {
    void operator()(unsigned char* p) const noexcept { std::free(p); }
};
using Bytes = std::unique_ptr<unsigned char, FreeDeleter>;

// Memory for `size` bytes, kFreshByte throughout; null when malloc fails. A
// block of 0 bytes still gets its own non-null address, which the sanitizers
// treat as holding nothing.
Bytes AllocateBytes(std::uint32_t size) {
    void* p = std::malloc(size);
    if (p == nullptr && size == 0) p = std::malloc(1);
    Bytes bytes(static_cast<unsigned char*>(p));
    if (bytes && size > 0) std::memset(bytes.get(), kFreshByte, size);
    return bytes;
}

struct Block {
    Bytes bytes;
    std::uint32_t size = 0;
    std::uint32_t locks = 0;
};

class BlockTable {
public:
    std::uint32_t Alloc(std::uint32_t size) {
        Bytes bytes = AllocateBytes(size);
        if (!bytes) return 0;
        const std::uint32_t handle = NewHandle();
        blocks_.emplace(handle, Block{std::move(bytes), size, 0});
        return handle;
    }

    // The same handle after a move to `size` bytes; 0 (block untouched) when
    // the handle is dead or memory ran out.
    std::uint32_t ReAlloc(std::uint32_t handle, std::uint32_t size) {
        Block* block = Find(handle);
        if (block == nullptr) return 0;
        Bytes moved = AllocateBytes(size);
        if (!moved) return 0;
        std::memcpy(moved.get(), block->bytes.get(), block->size < size ? block->size : size);
        block->bytes = std::move(moved);
        block->size = size;
        return handle;
    }

    void* Lock(std::uint32_t handle) {
        Block* block = Find(handle);
        if (block == nullptr) return nullptr;
        if (block->locks == 0) ++lockedBlocks_;
        ++block->locks;
        return block->bytes.get();
    }

    std::uint32_t Unlock(std::uint32_t handle) {
        Block* block = Find(handle);
        if (block == nullptr) return kResultBadParam;
        if (block->locks == 0) {
            ++misuse_;
            return kResultBadParam;
        }
        --block->locks;
        if (block->locks == 0) {
            --lockedBlocks_;
            if (strict_) MoveUnpinned(*block);
        }
        return kResultOk;
    }

    std::uint32_t Free(std::uint32_t handle) {
        Block* block = Find(handle);
        if (block == nullptr) return kResultBadParam;
        if (block->locks > 0) --lockedBlocks_;
        blocks_.erase(handle);
        return kResultOk;
    }

    std::uint32_t LiveBlocks() const noexcept { return static_cast<std::uint32_t>(blocks_.size()); }

    std::uint32_t BlockSize(std::uint32_t handle) const {
        const auto it = blocks_.find(handle);
        return it == blocks_.end() ? 0 : it->second.size;
    }
    std::uint32_t LockedBlocks() const noexcept { return lockedBlocks_; }
    std::uint32_t Misuse() const noexcept { return misuse_; }
    bool Strict() const noexcept { return strict_; }
    void SetStrict(bool on) noexcept { strict_ = on; }

private:
    // The live block of `handle`, or null after counting the misuse.
    Block* Find(std::uint32_t handle) noexcept {
        auto it = blocks_.find(handle);
        if (it == blocks_.end()) {
            ++misuse_;
            return nullptr;
        }
        return &it->second;
    }

    // Gives an unpinned block new memory with the same contents. When memory
    // is short the block simply stays where it is.
    static void MoveUnpinned(Block& block) {
        Bytes moved = AllocateBytes(block.size);
        if (!moved) return;
        if (block.size > 0) std::memcpy(moved.get(), block.bytes.get(), block.size);
        block.bytes = std::move(moved);
    }

    std::unordered_map<std::uint32_t, Block> blocks_;
    std::uint32_t lockedBlocks_ = 0;
    std::uint32_t misuse_ = 0;
    bool strict_ = false;
};

BlockTable& Blocks() {
    static BlockTable table;
    return table;
}

}  // namespace

bool StrictMemoryMode() noexcept { return Blocks().Strict(); }

}  // namespace engine

using engine::Blocks;
using engine::PlatformCall;

uint32_t SYSNativeAlloc(uint32_t bytes) {
    if (engine::AllocFailsNow(PlatformCall::SYSNativeAlloc)) return 0;
    const uint32_t handle = Blocks().Alloc(bytes);
    if (handle != 0) engine::CountAllocSuccess(PlatformCall::SYSNativeAlloc);
    return handle;
}

uint32_t SYSNativeReAlloc(uint32_t hBlock, uint32_t bytes) {
    if (engine::AllocFailsNow(PlatformCall::SYSNativeReAlloc)) return 0;
    const uint32_t handle = Blocks().ReAlloc(hBlock, bytes);
    if (handle != 0) engine::CountAllocSuccess(PlatformCall::SYSNativeReAlloc);
    return handle;
}

// An injected failure yields null like a dead handle, but is not misuse.
void* SYSNativeLock(uint32_t hBlock) {
    uint32_t ignored = 0;
    if (engine::CallFailsNow(PlatformCall::SYSNativeLock, ignored)) return nullptr;
    void* p = Blocks().Lock(hBlock);
    if (p != nullptr) engine::CountCallSuccess(PlatformCall::SYSNativeLock);
    return p;
}

uint32_t SYSNativeUnlock(uint32_t hBlock) {
    return engine::RunGuarded(PlatformCall::SYSNativeUnlock, [&] { return Blocks().Unlock(hBlock); });
}

uint32_t SYSNativeFree(uint32_t hBlock) {
    return engine::RunGuarded(PlatformCall::SYSNativeFree, [&] { return Blocks().Free(hBlock); });
}

uint32_t ENMemLiveBlocks(void) { return Blocks().LiveBlocks(); }
uint32_t ENMemBlockSize(uint32_t hBlock) { return Blocks().BlockSize(hBlock); }
uint32_t ENMemLockedBlocks(void) { return Blocks().LockedBlocks(); }
uint32_t ENMemMisuse(void) { return Blocks().Misuse(); }
void ENMemSetStrict(uint32_t on) { Blocks().SetStrict(on != 0); }
