// Data access: documents without a chunker, module data and its annotation
// slot, options, the OS character set, and handles.
#include <cstring>
#include <set>

#include "engine_test.h"

namespace {

using DataAccessTest = EngineTest;

uint32_t DocDataOf(uint32_t hDoc) {
    uint32_t hDocData = 0;
    EXPECT_EQ(DARetrieveDocHandle(hDoc, &hDocData), 0u);
    return hDocData;
}

TEST_F(DataAccessTest, DocumentWithoutChunkerHasContentButChunkerZero) {
    const uint32_t hDoc = OpenDoc("a\n", EN_NOCHUNKER);
    uint32_t hChunker = kUntouched;
    ASSERT_EQ(DAGetHChunker(hDoc, &hChunker), 0u);
    EXPECT_EQ(hChunker, 0u);
    EXPECT_EQ(ReadAll(hDoc)[0].bytes, "a");
    uint32_t h2 = kUntouched;
    EXPECT_EQ(DAOpenDocument(&h2, 18, &hChunker, 0), 15u) << "no chunker to open a second time";
}

TEST_F(DataAccessTest, AnnotationSlotAtByte728IsWhatDAGetAnnoReads) {
    const uint32_t hDoc = OpenDoc("a\n");
    const uint32_t hDocData = DocDataOf(hDoc);
    EXPECT_NE(hDocData, hDoc);
    uint32_t anno = kUntouched;
    ASSERT_EQ(DAGetAnno(hDoc, &anno), 0u);
    EXPECT_EQ(anno, 0u);

    void* data = nullptr;
    ASSERT_EQ(DALockModuleData(hDocData, &data), 0u);
    const unsigned char zeros[1024] = {};
    EXPECT_EQ(std::memcmp(data, zeros, sizeof zeros), 0) << "module data starts zeroed";
    const uint32_t slot = 0x1234;
    std::memcpy(static_cast<unsigned char*>(data) + DA_ANNO_SLOT_OFFSET, &slot, 4);
    ASSERT_EQ(DAUnlockModuleData(hDocData), 0u);
    ASSERT_EQ(DAGetAnno(hDoc, &anno), 0u);
    EXPECT_EQ(anno, 0x1234u);

    ASSERT_EQ(DADestroyModuleData(hDocData), 0u);
    ASSERT_EQ(DAGetAnno(hDoc, &anno), 0u);
    EXPECT_EQ(anno, 0u) << "discarded module data reads zero";
    EXPECT_EQ(DALockModuleData(hDoc, &data), 15u) << "a document handle is no module-data handle";
    EXPECT_EQ(DAGetAnno(hDocData, &anno), 15u) << "and the other way round";
}

TEST_F(DataAccessTest, ModuleDataLocksNestAndItMovesWhenUnpinned) {
    const uint32_t hDocData = DocDataOf(OpenDoc("a\n"));
    void* first = nullptr;
    void* again = nullptr;
    ASSERT_EQ(DALockModuleData(hDocData, &first), 0u);
    ASSERT_EQ(DALockModuleData(hDocData, &again), 0u);
    EXPECT_EQ(first, again);
    static_cast<unsigned char*>(first)[5] = 42;
    EXPECT_EQ(DAUnlockModuleData(hDocData), 0u);
    EXPECT_EQ(ENModuleDataLocked(), 1u) << "one lock is still held";
    EXPECT_EQ(DAUnlockModuleData(hDocData), 0u);
    EXPECT_EQ(ENModuleDataLocked(), 0u);
    EXPECT_EQ(DAUnlockModuleData(hDocData), 0u) << "an unlock without a lock is harmless";
    EXPECT_EQ(ENModuleDataLocked(), 0u);

    void* moved = nullptr;
    ASSERT_EQ(DALockModuleData(hDocData, &moved), 0u);
    EXPECT_NE(moved, first) << "strict mode moves unpinned module data";
    EXPECT_EQ(static_cast<unsigned char*>(moved)[5], 42);
    EXPECT_EQ(DAUnlockModuleData(hDocData), 0u);
}

TEST_F(DataAccessTest, OptionsReadWhatWasSet) {
    const uint32_t hDoc = OpenDoc("a\n");
    uint32_t value = kUntouched;
    ASSERT_EQ(DAGetOption(DocDataOf(hDoc), 0x52A32, 0, &value), 0u);
    EXPECT_EQ(value, 0u) << "never set";
    ASSERT_EQ(ENSetDocOption(hDoc, 0x52A32, 0x10), 0u);
    ASSERT_EQ(DAGetOption(DocDataOf(hDoc), 0x52A32, 0, &value), 0u);
    EXPECT_EQ(value, 0x10u);
    EXPECT_EQ(DASetOption(hDoc, 1, &value, 2), 15u) << "options are 4 bytes";

    EXPECT_EQ(UTGetOSCharSet(), 0x00000001u);
    ENSetOSCharSet(0x14B00000);
    EXPECT_EQ(UTGetOSCharSet(), 0x14B00000u);
    ENSetOSCharSet(0x00000001);
}

TEST_F(DataAccessTest, HandlesOfEverySortAreDistinctAndNeverReused) {
    const uint32_t hDoc = OpenDoc("a\n");
    uint32_t hContent = 0;
    ASSERT_EQ(CAOpenContent(hDoc, &hContent), 0u);
    const uint32_t hBlock = SYSNativeAlloc(4);
    const std::set<uint32_t> handles = {hDoc, ChunkerOf(hDoc), DocDataOf(hDoc), hContent, hBlock};
    EXPECT_EQ(handles.size(), 5u);
    EXPECT_EQ(handles.count(0), 0u);
    EXPECT_EQ(CACloseContent(hContent), 0u);
    EXPECT_EQ(SYSNativeFree(hBlock), 0u);
    CloseDoc(hDoc);

    const uint32_t hLater = OpenDoc("a\n");
    const uint32_t hBlockLater = SYSNativeAlloc(4);
    EXPECT_EQ(handles.count(hLater) + handles.count(ChunkerOf(hLater)) + handles.count(hBlockLater), 0u);
    EXPECT_EQ(SYSNativeFree(hBlockLater), 0u);
}

}  // namespace
