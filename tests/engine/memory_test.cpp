// Movable memory: moving in strict mode, nested locks, blocks of 0 bytes,
// misuse counting and allocation failures.
#include <cstdlib>
#include <cstring>

#include "engine_test.h"

namespace {

using MemoryTest = EngineTest;

TEST_F(MemoryTest, StrictModeMovesABlockWhenUnpinnedAndKeepsItsContents) {
    const uint32_t h = SYSNativeAlloc(16);
    ASSERT_NE(h, 0u);
    auto* first = static_cast<unsigned char*>(SYSNativeLock(h));
    ASSERT_NE(first, nullptr);
    EXPECT_NE(first[0], 0) << "fresh memory is not zeroed";
    std::memcpy(first, "contents", 9);
    auto* nested = static_cast<unsigned char*>(SYSNativeLock(h));
    EXPECT_EQ(nested, first) << "a pinned block stays put";
    EXPECT_EQ(ENMemLockedBlocks(), 1u);
    ASSERT_EQ(SYSNativeUnlock(h), 0u);
    ASSERT_EQ(SYSNativeUnlock(h), 0u);
    EXPECT_EQ(ENMemLockedBlocks(), 0u);

    auto* moved = static_cast<unsigned char*>(SYSNativeLock(h));
    EXPECT_NE(moved, first);
    EXPECT_STREQ(reinterpret_cast<char*>(moved), "contents");
    ASSERT_EQ(SYSNativeUnlock(h), 0u);
    EXPECT_EQ(SYSNativeFree(h), 0u);
}

TEST_F(MemoryTest, ReallocationKeepsHandleAndContentsUnlessItFails) {
    const uint32_t h = SYSNativeAlloc(4);
    std::memcpy(SYSNativeLock(h), "abc", 4);
    ASSERT_EQ(SYSNativeUnlock(h), 0u);
    ASSERT_EQ(SYSNativeReAlloc(h, 64), h);
    ENFailAllocAfter(0);
    EXPECT_EQ(SYSNativeReAlloc(h, 4096), 0u);
    auto* p = static_cast<unsigned char*>(SYSNativeLock(h));
    EXPECT_STREQ(reinterpret_cast<char*>(p), "abc");
    EXPECT_NE(p[63], 0) << "grown memory is not zeroed, and a failed growth changed nothing";
    ASSERT_EQ(SYSNativeUnlock(h), 0u);
    EXPECT_EQ(SYSNativeFree(h), 0u);
}

TEST_F(MemoryTest, EmptyBlockIsABlockOfItsOwn) {
    const uint32_t a = SYSNativeAlloc(0);
    const uint32_t b = SYSNativeAlloc(0);
    ASSERT_NE(a, 0u);
    ASSERT_NE(b, a);
    void* pa = SYSNativeLock(a);
    void* pb = SYSNativeLock(b);
    EXPECT_NE(pa, nullptr);
    EXPECT_NE(pa, pb);
    EXPECT_EQ(SYSNativeFree(a), 0u) << "a locked block may be freed";
    EXPECT_EQ(ENMemLockedBlocks(), 1u);
    EXPECT_EQ(SYSNativeUnlock(b), 0u);
    EXPECT_EQ(SYSNativeFree(b), 0u);
}

// Misuse must not reach the fixture's count, so it happens in a child
// process that reports how much misuse the engine saw.
TEST_F(MemoryTest, DeadHandlesAndUnlockBelowZeroCountAsMisuse) {
    EXPECT_EXIT(
        {
            const uint32_t before = ENMemMisuse();
            const uint32_t h = SYSNativeAlloc(8);
            bool answers = SYSNativeUnlock(h) != 0;      // not locked
            SYSNativeFree(h);
            answers = answers && SYSNativeLock(h) == nullptr && SYSNativeLock(0) == nullptr;
            answers = answers && SYSNativeUnlock(h) != 0 && SYSNativeFree(h) != 0 && SYSNativeFree(0) != 0;
            answers = answers && SYSNativeReAlloc(h, 4) == 0;
            std::exit(answers ? static_cast<int>(ENMemMisuse() - before) : 100);
        },
        ::testing::ExitedWithCode(7), "");
}

TEST_F(MemoryTest, InjectedAllocationFailureFiresOnceAfterNSuccesses) {
    ENFailAllocAfter(1);
    const uint32_t a = SYSNativeAlloc(8);
    EXPECT_NE(a, 0u);
    EXPECT_EQ(ENFailPending(), 1u);
    EXPECT_EQ(SYSNativeReAlloc(a, 100), 0u) << "reallocation shares the count";
    EXPECT_EQ(ENFailPending(), 0u);
    const uint32_t b = SYSNativeAlloc(8);
    EXPECT_NE(b, 0u) << "once only";
    EXPECT_EQ(SYSNativeFree(a), 0u);
    EXPECT_EQ(SYSNativeFree(b), 0u);
}

// The sweep a caller runs: fail each allocation in turn until the failure no
// longer fires within the call.
TEST_F(MemoryTest, FailureSweepEndsWhenTheCallNoLongerReachesTheFailure) {
    const auto threeAllocations = [] {
        uint32_t handles[3] = {};
        for (uint32_t& h : handles) h = SYSNativeAlloc(8);
        int made = 0;
        for (uint32_t h : handles) made += h != 0 && SYSNativeFree(h) == 0;
        return made;
    };
    int runs = 0;
    for (int32_t n = 0;; ++n, ++runs) {
        ENFailAllocAfter(n);
        const int made = threeAllocations();
        if (ENFailPending() == 1) break;
        EXPECT_EQ(made, 2) << "exactly one allocation failed at n = " << n;
    }
    ENFailAllocAfter(-1);
    EXPECT_EQ(runs, 3);
    EXPECT_EQ(ENFailPending(), 0u);
}

}  // namespace
