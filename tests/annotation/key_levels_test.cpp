// The list index's search over sorted keys counts what a binary search over
// the whole array counts, at every size around the block boundaries, with
// runs of equal keys, and leaves no keys when the heap refuses memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "annotation/heap.h"
#include "annotation/index/key_levels.h"
#include "support/annotation_fixture.h"

namespace {

using annotation::KeyLevels;

class KeyLevelsTest : public AnnotationTest {
protected:
    void TearDown() override {
        annotation::SetIndexHeapFailAfter(-1);
        AnnotationTest::TearDown();
    }
};

TEST_F(KeyLevelsTest, CountsAsABinarySearchDoesAtEverySize) {
    std::mt19937 rng(7);
    KeyLevels levels;
    for (const uint32_t n : {0u, 1u, 15u, 16u, 17u, 255u, 256u, 257u, 4097u, 65536u}) {
        // Runs of equal keys, and the greatest key, which the padding holds too.
        std::vector<uint64_t> keys(n);
        uint64_t key = 3;
        for (uint64_t& k : keys) k = (key += rng() % 3 == 0 ? (uint64_t{rng()} << 8) + 1 : 0);
        if (n > 2) keys[n - 1] = keys[n - 2] = UINT64_MAX;
        ASSERT_TRUE(levels.Build(n, [&](uint32_t i) { return keys[i]; })) << n;
        ASSERT_TRUE(levels.Ready());
        std::vector<uint64_t> asked = {0, 3, 4, UINT64_MAX - 1, UINT64_MAX};
        for (int i = 0; i < 200 && n > 0; ++i) {
            const uint64_t at = keys[rng() % n];
            asked.insert(asked.end(), {at - 1, at, at + 1});
        }
        // A second array searched side by side: its keys halved, and one of
        // another size, whose levels differ.
        KeyLevels halved;
        ASSERT_TRUE(halved.Build(n, [&](uint32_t i) { return keys[i] / 2; }));
        KeyLevels longer;
        ASSERT_TRUE(longer.Build(n + 300, [&](uint32_t i) { return i < n ? keys[i] : UINT64_MAX; }));
        for (const uint64_t q : asked) {
            const auto below = static_cast<uint32_t>(std::lower_bound(keys.begin(), keys.end(), q) - keys.begin());
            const auto notAbove = static_cast<uint32_t>(std::upper_bound(keys.begin(), keys.end(), q) - keys.begin());
            ASSERT_EQ(levels.CountBelow(q), below) << n << " keys, asked " << q;
            ASSERT_EQ(levels.CountNotAbove(q), notAbove) << n << " keys, asked " << q;
            // In two steps: the count ends in the bottom block named, or just after it.
            const uint32_t bottom = levels.BottomOf(q);
            ASSERT_EQ(bottom % KeyLevels::kBlock, 0u);
            ASSERT_LE(bottom, below) << n << " keys, asked " << q;
            ASSERT_LE(below, bottom + KeyLevels::kBlock) << n << " keys, asked " << q;
            ASSERT_EQ(levels.CountBelowIn(bottom, q), below) << n << " keys, asked " << q;
            if (n > 0) {
                ASSERT_EQ(*levels.At(bottom), levels.Key(bottom));
            }
            uint32_t mine = 0;
            uint32_t other = 0;
            KeyLevels::CountBelowInBoth(levels, q, halved, q / 3, mine, other);
            ASSERT_EQ(mine, below) << n << " keys, asked " << q;
            ASSERT_EQ(other, halved.CountBelow(q / 3)) << n << " keys, asked " << q;
            KeyLevels::CountBelowInBoth(longer, q, levels, q, other, mine);
            ASSERT_EQ(mine, below) << n << " keys, asked " << q;
            ASSERT_EQ(other, longer.CountBelow(q)) << n << " keys, asked " << q;
        }
    }
}

TEST_F(KeyLevelsTest, ARefusedAllocationLeavesNoKeysAndTheNextBuildWorks) {
    KeyLevels levels;
    ASSERT_TRUE(levels.Build(40, [](uint32_t i) { return uint64_t{i}; }));
    annotation::SetIndexHeapFailAfter(0);
    EXPECT_FALSE(levels.Build(5000, [](uint32_t i) { return uint64_t{i}; }));
    EXPECT_FALSE(levels.Ready());
    EXPECT_FALSE(levels.Build(KeyLevels::kMaxKeys + 1, [](uint32_t i) { return uint64_t{i}; }));
    ASSERT_TRUE(levels.Build(5000, [](uint32_t i) { return uint64_t{i} * 2; }));
    EXPECT_EQ(levels.CountBelow(4001), 2001u);
}

}  // namespace
