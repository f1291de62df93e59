// Injected failures of platform calls: when they fire, that they fire once,
// that they write nothing, and how they are disarmed.
#include "engine_test.h"

namespace {

using FaultInjectionTest = EngineTest;

TEST_F(FaultInjectionTest, CallFailsOnceAfterNSuccessesAndWritesNothing) {
    const uint32_t h = OpenChunker("a\nb\n");
    ENFailCallAfter("CHGetItem", 1, 77);
    Words item{};
    uint32_t next = 0;
    EXPECT_EQ(CHGetItem(h, 0, 0x9, item.data(), &next), 25u) << "a failing call does not count";
    EXPECT_EQ(ENFailPending(), 1u);
    Get(h, 0x0);
    item.fill(kUntouched);
    next = kUntouched;
    EXPECT_EQ(CHGetItem(h, 0, 0x0, item.data(), &next), 77u);
    EXPECT_EQ(item[0], kUntouched);
    EXPECT_EQ(next, kUntouched);
    EXPECT_EQ(ENFailPending(), 0u);
    EXPECT_EQ(Get(h, 0x0)[2], 1u) << "once only";
}

TEST_F(FaultInjectionTest, NamesAreArmedAndDisarmedSeparately) {
    const uint32_t hDoc = OpenDoc("a\n");
    ENFailCallAfter("DAGetAnno", 0, 40);
    ENFailCallAfter("CAOpenContent", 0, 41);
    ENFailCallAfter("DAGetAnno", -1, 0);
    uint32_t value = kUntouched;
    EXPECT_EQ(DAGetAnno(hDoc, &value), 0u) << "disarmed by name";
    EXPECT_EQ(ENFailPending(), 1u) << "the other name still waits";
    EXPECT_EQ(CAOpenContent(hDoc, &value), 41u);
    EXPECT_EQ(ENOpenContents(), 0u);

    ENFailCallAfter("DALockModuleData", 3, 42);
    ENFailCallAfter("CASeek", 0, 43);
    ENFailCallAfter(nullptr, -1, 0);
    EXPECT_EQ(ENFailPending(), 0u) << "a null name disarms every name";
}

TEST_F(FaultInjectionTest, FailedModuleDataLockPinsNothing) {
    const uint32_t hDoc = OpenDoc("a\n");
    uint32_t hDocData = 0;
    ASSERT_EQ(DARetrieveDocHandle(hDoc, &hDocData), 0u);
    ENFailCallAfter("DALockModuleData", 0, 12);
    void* data = &hDocData;
    EXPECT_EQ(DALockModuleData(hDocData, &data), 12u);
    EXPECT_EQ(data, &hDocData);
    EXPECT_EQ(ENModuleDataLocked(), 0u);
}

TEST_F(FaultInjectionTest, FailedLockYieldsNullWithoutMisuse) {
    const uint32_t h = SYSNativeAlloc(8);
    ENFailCallAfter("SYSNativeLock", 1, 0);
    ASSERT_NE(SYSNativeLock(h), nullptr);
    ASSERT_EQ(SYSNativeUnlock(h), 0u);
    EXPECT_EQ(SYSNativeLock(h), nullptr);
    EXPECT_EQ(ENMemLockedBlocks(), 0u);
    EXPECT_EQ(SYSNativeFree(h), 0u);
}

}  // namespace
