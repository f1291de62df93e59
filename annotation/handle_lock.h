// LockedBlock: pins a movable memory block for the length of a scope.
//
// Every access to a movable block goes through this guard, so that every way
// out of a function unlocks what it locked, in reverse order of locking (C++
// destroys locals in reverse order of construction). Locks nest: a function
// that holds a block may call another that locks it again; the block stays
// pinned until the outermost guard lets go. A pointer taken from a guard is
// valid only while the guard holds the lock: an unlocked block may move.
#ifndef ANNOTATION_HANDLE_LOCK_H
#define ANNOTATION_HANDLE_LOCK_H

#include <cstdint>

#include "platform/memory.h"

namespace annotation {

template <typename T>
class LockedBlock {
public:
    // Locks hBlock; a handle of 0 is never passed to the engine and gives an
    // empty guard, as does a handle the engine cannot lock.
    explicit LockedBlock(uint32_t hBlock) noexcept { Lock(hBlock); }
    ~LockedBlock() { Unlock(); }

    LockedBlock(const LockedBlock&) = delete;
    LockedBlock& operator=(const LockedBlock&) = delete;

    // Releases the lock before the end of the scope (for example before the
    // block is reallocated or freed). Harmless when nothing is locked.
    void Unlock() noexcept {
        if (ptr_ != nullptr) SYSNativeUnlock(handle_);
        ptr_ = nullptr;
        handle_ = 0;
    }

    // Locks hBlock in place of what the guard held: the way back to a block
    // after it was unlocked to be reallocated, whose handle may have changed.
    void Relock(uint32_t hBlock) noexcept {
        Unlock();
        Lock(hBlock);
    }

    explicit operator bool() const noexcept { return ptr_ != nullptr; }
    T* get() const noexcept { return ptr_; }
    T* operator->() const noexcept { return ptr_; }
    T& operator*() const noexcept { return *ptr_; }
    uint32_t handle() const noexcept { return handle_; }

private:
    void Lock(uint32_t hBlock) noexcept {
        if (hBlock == 0) return;
        ptr_ = static_cast<T*>(SYSNativeLock(hBlock));
        if (ptr_ != nullptr) handle_ = hBlock;
    }

    T* ptr_ = nullptr;
    uint32_t handle_ = 0;
};

// Allocates a block of `bytes` and locks it into `guard` (empty before).
// Returns its handle, or 0 with nothing left allocated when the block cannot
// be allocated or locked.
template <typename T>
uint32_t AllocLocked(uint32_t bytes, LockedBlock<T>& guard) noexcept {
    const uint32_t hBlock = SYSNativeAlloc(bytes);
    if (hBlock == 0) return 0;
    guard.Relock(hBlock);
    if (guard) return hBlock;
    SYSNativeFree(hBlock);
    return 0;
}

}  // namespace annotation

#endif
