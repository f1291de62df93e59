// A document's module data: the block in which every module of the engine
// keeps one slot of per-document state. The annotation module's slot is the
// u32 at byte 728 (DA_ANNO_SLOT_OFFSET).
//
// The block is 1024 zeroed bytes. Locks nest; the address a lock gives stays
// valid until the matching unlock. In strict memory mode the block moves
// whenever its lock count drops to 0 (like a movable memory block), so a
// module that keeps the address past its unlock reads freed memory.
#ifndef ENGINE_MODULE_DATA_H
#define ENGINE_MODULE_DATA_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace engine {

class ModuleData {
public:
    static constexpr std::size_t kBytes = 1024;

    ModuleData();

    // Pins the block and gives its address.
    void* Lock() noexcept;
    // Undoes one lock. An unlock without a lock changes nothing: the
    // annotation module unlocks also after a lock that failed.
    void Unlock();
    // Every slot reads 0 afterwards; the block stays where it is, so a lock
    // held across this stays valid.
    void Discard() noexcept;
    bool Locked() const noexcept { return locks_ > 0; }
    // The u32 at `offset`, which must be 4-aligned and inside the block.
    std::uint32_t WordAt(std::size_t offset) const noexcept;

private:
    using Words = std::array<std::uint32_t, kBytes / sizeof(std::uint32_t)>;
    std::unique_ptr<Words> words_;
    std::uint32_t locks_ = 0;
};

}  // namespace engine

#endif
