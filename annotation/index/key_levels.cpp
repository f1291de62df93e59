// The levels of sorted keys: see key_levels.h.
#include "annotation/index/key_levels.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "annotation/heap.h"

namespace annotation {
namespace {

constexpr uint64_t kPadding = std::numeric_limits<uint64_t>::max();
constexpr size_t kLine = 64;

// Whole blocks for `n` keys.
uint32_t Padded(uint32_t n) { return (n + KeyLevels::kBlock - 1) / KeyLevels::kBlock * KeyLevels::kBlock; }

// Keys of one block below `key` (or not above it). A fixed count of
// comparisons without branches, summed in four independent parts so that
// the additions need not wait for each other.
template <bool kOrEqual>
uint32_t CountInBlock(const uint64_t* block, uint64_t key) {
    auto below = [key](uint64_t k) -> uint32_t {
        if constexpr (kOrEqual) {
            return k <= key ? 1u : 0u;
        } else {
            return k < key ? 1u : 0u;
        }
    };
    uint32_t part[4] = {};
    for (uint32_t i = 0; i < KeyLevels::kBlock; i += 4) {
        part[0] += below(block[i]);
        part[1] += below(block[i + 1]);
        part[2] += below(block[i + 2]);
        part[3] += below(block[i + 3]);
    }
    return (part[0] + part[1]) + (part[2] + part[3]);
}

}  // namespace

KeyLevels::~KeyLevels() { HeapFree(memory_); }

bool KeyLevels::Reserve(uint32_t n) {
    Clear();
    // Every level padded to whole blocks: n / 16 + n / 256 + ... more, and
    // one block per level at most for the rounding.
    if (n > kMaxKeys) return false;
    const uint64_t needed = uint64_t{Padded(n)} + n / (kBlock - 1) + uint64_t{kBlock} * kMaxLevels;
    if (needed <= capacity_) return true;
    // Blocks start on a cache line, so that the bottom block of a search
    // spans two lines, not three.
    void* memory = IndexHeapAlloc(static_cast<size_t>(needed) * sizeof(uint64_t) + kLine);
    if (memory == nullptr) return false;
    HeapFree(memory_);
    memory_ = memory;
    const auto address = reinterpret_cast<uintptr_t>(memory);
    data_ = reinterpret_cast<uint64_t*>((address + kLine - 1) / kLine * kLine);
    capacity_ = static_cast<uint32_t>(needed);
    return true;
}

void KeyLevels::FinishLevels(uint32_t n) noexcept {
    count_ = n;
    levels_ = 0;
    uint32_t offset = 0;
    uint32_t real = n;
    for (;;) {
        offset_[levels_++] = offset;
        const uint32_t padded = Padded(std::max(real, 1u));
        std::fill(data_ + offset + real, data_ + offset + padded, kPadding);
        if (real <= kBlock) return;
        const uint32_t upper = (real + kBlock - 1) / kBlock;
        for (uint32_t j = 0; j < upper; ++j) data_[offset + padded + j] = data_[offset + j * kBlock];
        offset += padded;
        real = upper;
    }
}

// A level above holds the first key of each block below, so a key that
// opens its block is copied up, as far as it opens blocks.
void KeyLevels::Set(uint32_t i, uint64_t key) noexcept {
    for (uint32_t level = 0; level < levels_; ++level) {
        data_[offset_[level] + i] = key;
        if (i % kBlock != 0) return;
        i /= kBlock;
    }
}

// One step down from `block` of `level`: the block of the level below whose
// first key is the last one below `key`; the answer lies in it or at the
// start of the next.
template <bool kOrEqual>
uint32_t KeyLevels::Descend(uint32_t level, uint32_t block, uint64_t key) const noexcept {
    const uint32_t below = CountInBlock<kOrEqual>(data_ + offset_[level] + block * kBlock, key);
    return block * kBlock + (below == 0 ? 0 : below - 1);
}

// The count, once the search has reached `block` of the keys themselves.
template <bool kOrEqual>
uint32_t KeyLevels::CountFrom(uint32_t block, uint64_t key) const noexcept {
    return std::min(block * kBlock + CountInBlock<kOrEqual>(data_ + block * kBlock, key), count_);
}

// The block of the keys themselves where the search ends.
template <bool kOrEqual>
uint32_t KeyLevels::BottomBlock(uint64_t key) const noexcept {
    uint32_t block = 0;
    for (uint32_t level = levels_ - 1; level > 0; --level) block = Descend<kOrEqual>(level, block, key);
    return block;
}

template <bool kOrEqual>
uint32_t KeyLevels::Search(uint64_t key) const noexcept {
    return CountFrom<kOrEqual>(BottomBlock<kOrEqual>(key), key);
}

uint32_t KeyLevels::CountBelow(uint64_t key) const noexcept { return Search<false>(key); }

uint32_t KeyLevels::BottomOf(uint64_t key) const noexcept { return BottomBlock<false>(key) * kBlock; }

uint32_t KeyLevels::CountBelowIn(uint32_t bottom, uint64_t key) const noexcept {
    return CountFrom<false>(bottom / kBlock, key);
}

void KeyLevels::CountBelowInBoth(const KeyLevels& a, uint64_t keyA, const KeyLevels& b, uint64_t keyB,
                                 uint32_t& countA, uint32_t& countB) noexcept {
    if (a.levels_ != b.levels_) {
        countA = a.CountBelow(keyA);
        countB = b.CountBelow(keyB);
        return;
    }
    // The steps of Search, one level of each at a time: the second search's
    // reads do not wait for the first's.
    uint32_t blockA = 0;
    uint32_t blockB = 0;
    for (uint32_t level = a.levels_ - 1; level > 0; --level) {
        blockA = a.Descend<false>(level, blockA, keyA);
        blockB = b.Descend<false>(level, blockB, keyB);
    }
    countA = a.CountFrom<false>(blockA, keyA);
    countB = b.CountFrom<false>(blockB, keyB);
}

// The padding is the greatest key; no key is above it, and a search for it
// would count the padding too.
uint32_t KeyLevels::CountNotAbove(uint64_t key) const noexcept {
    return key == kPadding ? count_ : Search<true>(key);
}

}  // namespace annotation
