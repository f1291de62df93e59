// A search over a nondecreasing array of 64-bit keys that touches little
// memory at the bottom: a binary search over tens of thousands of keys
// reads a new cache line at most of its steps, which on a large list is
// most of what a position question costs.
//
// The keys are stored in blocks of 16; above them, a level holds the first
// key of every block of the level below, until one block is left. A search
// counts, in one block of each level from the top, the keys below the one
// asked for, and goes down into the block that count names. The upper
// levels are a sixteenth of the keys and less, so they stay in the cache;
// the bottom block is 128 bytes, two cache lines.
//
// Memory: about 8.5 bytes per key, from IndexHeapAlloc. A refused
// allocation leaves no keys (Ready() false) and the caller searches
// another way.
#ifndef ANNOTATION_INDEX_KEY_LEVELS_H
#define ANNOTATION_INDEX_KEY_LEVELS_H

#include <cstdint>

namespace annotation {

class KeyLevels {
public:
    static constexpr uint32_t kBlock = 16;
    // Levels for up to 16^5 keys; a list holds at most 65,536 nodes.
    static constexpr uint32_t kMaxLevels = 6;
    static constexpr uint32_t kMaxKeys = 1u << 20;

    KeyLevels() = default;
    KeyLevels(const KeyLevels&) = delete;
    KeyLevels& operator=(const KeyLevels&) = delete;
    ~KeyLevels();

    // Fills the levels with keyAt(0) .. keyAt(n - 1), which must not
    // decrease. False, with no keys, when memory cannot be had (or n is
    // above kMaxKeys).
    template <typename KeyAt>
    bool Build(uint32_t n, KeyAt&& keyAt) {
        if (!Reserve(n)) return false;
        for (uint32_t i = 0; i < n; ++i) data_[i] = keyAt(i);
        FinishLevels(n);
        return true;
    }

    // Replaces key i, in place, with one that keeps the keys in order (not
    // below key i - 1, not above key i + 1); the levels above follow.
    void Set(uint32_t i, uint64_t key) noexcept;

    // Forgets the keys (the memory is kept for the next build).
    void Clear() noexcept { count_ = 0, levels_ = 0; }

    bool Ready() const noexcept { return levels_ > 0; }
    uint32_t Count() const noexcept { return count_; }
    uint64_t Key(uint32_t i) const noexcept { return data_[i]; }
    // Where key i lies, for a caller that asks for its line early.
    const uint64_t* At(uint32_t i) const noexcept { return data_ + i; }

    // The number of keys below `key`, and of keys not above it. Only when
    // Ready().
    uint32_t CountBelow(uint64_t key) const noexcept;
    uint32_t CountNotAbove(uint64_t key) const noexcept;
    // CountBelow in two steps, for a caller that reads arrays parallel to
    // the keys at the answer: BottomOf gives the first index of the block
    // of the bottom level where the count ends, so those reads can start
    // while CountBelowIn counts in it.
    uint32_t BottomOf(uint64_t key) const noexcept;
    uint32_t CountBelowIn(uint32_t bottom, uint64_t key) const noexcept;
    // CountBelow in two arrays at once, so that their reads overlap. Both
    // Ready().
    static void CountBelowInBoth(const KeyLevels& a, uint64_t keyA, const KeyLevels& b, uint64_t keyB,
                                 uint32_t& countA, uint32_t& countB) noexcept;

private:
    bool Reserve(uint32_t n);
    void FinishLevels(uint32_t n) noexcept;
    template <bool kOrEqual>
    uint32_t Descend(uint32_t level, uint32_t block, uint64_t key) const noexcept;
    template <bool kOrEqual>
    uint32_t CountFrom(uint32_t block, uint64_t key) const noexcept;
    template <bool kOrEqual>
    uint32_t BottomBlock(uint64_t key) const noexcept;
    template <bool kOrEqual>
    uint32_t Search(uint64_t key) const noexcept;

    void* memory_ = nullptr;    // as allocated; data_ is aligned in it
    uint64_t* data_ = nullptr;  // every level, the keys first
    uint32_t capacity_ = 0;     // in keys
    uint32_t count_ = 0;
    uint32_t levels_ = 0;
    uint32_t offset_[kMaxLevels] = {};  // where each level begins in data_
};

}  // namespace annotation

#endif
