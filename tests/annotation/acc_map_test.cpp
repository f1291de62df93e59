// The ACC maps behind ANMapPosition, through the internal functions: what a
// map holds, which chunk holds an ACC, the two-map cache, the section of a
// position, and the failures of the chunker and of the state's lock (the
// second opening and the heap failing: position_mapping_test.cpp). Every test ends with ANDeInit
// (the fixture's, or DetachDoc), after which nothing may be open, locked or
// leaked; malloc memory is checked by the sanitizer build.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "annotation/heap.h"
#include "annotation/positions/acc_map_cache.h"
#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"

namespace {

using annotation::ACCMap;
using annotation::GetACCMap;
using testing_support::DocPos;

constexpr uint32_t kWhole = 0xFFFFFFFF;
constexpr uint32_t kInjected = 7;  // result code of an injected engine failure

// Chunk 0 (ACC 0-22): "Hello " (item 0), "hid" in a hidden region (1), " x"
// (2), an object (3), "y" (4), end (5), undelivered "secret" (6), " tail"
// (7), end (8). Chunk 1 (ACC 23-31): "Chunk two" (0x10000), end. Section 1,
// chunk 2 (ACC 32-36): "Third" (0x20000), end.
constexpr const char* kDocument =
    "Hello {region 0x100000}hid{/region 0x100000} x{item 8}y\n{undelivered}secret{/undelivered} tail\n"
    "{chunk}Chunk two\n{section}Third\n";

class AccMaps : public AnnotationTest {
protected:
    void SetUp() override {
        AnnotationTest::SetUp();
        annotation::SetHeapFailAfter(-1);
    }
    void TearDown() override {
        annotation::SetHeapFailAfter(-1);
        AnnotationTest::TearDown();
        EXPECT_EQ(ENOpenSecondDocs(), 0u) << "a second opening outlived ANDeInit";
        EXPECT_EQ(ENOpenContents(), 0u) << "a content stream outlived ANDeInit";
    }

    // Arms a failure of `call` that fires at its next call: while
    // ENFailPending() stays 1, the call was not made. CASeek opens every
    // build, so it counts builds.
    static void Probe(const char* call) { ENFailCallAfter(call, 0, kInjected); }
    static void Disarm() { ENFailCallAfter(nullptr, -1, 0); }

    static std::vector<uint32_t> Entries(const ACCMap& map) {
        return map.pCharItem == nullptr ? std::vector<uint32_t>{}
                                        : std::vector<uint32_t>(map.pCharItem, map.pCharItem + map.charCount);
    }
};

TEST_F(AccMaps, AMapHoldsTheItemOfEveryCharacterOfItsChunk) {
    const uint32_t hDoc = AttachDoc(kDocument);
    const uint32_t hInfo = DocInfoHandle(hDoc);
    ACCMap map{};
    ASSERT_EQ(GetACCMap(hInfo, 0, &map), 0u);
    // Hidden-region and undelivered text get entries like the rest; the
    // chunk's type 5 record ends the read although chunk 1's records follow.
    const std::vector<uint32_t> chunk0 = {0, 0, 0, 0, 0, 0, 1, 1, 1, 2, 2, 4, 6, 6, 6, 6, 6, 6, 7, 7, 7, 7, 7};
    EXPECT_EQ(Entries(map), chunk0);
    EXPECT_EQ(map.chunk, 0);
    EXPECT_EQ(map.firstACC, 0u);
    EXPECT_EQ(map.textBytes, 23u);
    EXPECT_EQ(map.charSet, DocInfo(hDoc).charSet);

    ASSERT_EQ(GetACCMap(hInfo, 2, &map), 0u);
    EXPECT_EQ(Entries(map), std::vector<uint32_t>(5, 0));
    EXPECT_EQ(map.firstACC, 32u);
}

TEST_F(AccMaps, TheChunkOfAnAcc) {
    const uint32_t hDoc = AttachDoc(kDocument);
    const uint32_t hInfo = DocInfoHandle(hDoc);
    uint16_t chunk = 0xABCD;
    EXPECT_EQ(annotation::MapACCtoChunkCount(0, 0, &chunk), ANERR_BADPARAM);
    const std::vector<std::pair<uint32_t, uint16_t>> placed = {{0, 0}, {22, 0}, {23, 1}, {31, 1}, {32, 2}, {36, 2}};
    for (const auto& [acc, expected] : placed) {
        EXPECT_EQ(annotation::MapACCtoChunkCount(hInfo, acc, &chunk), 0u);
        EXPECT_EQ(chunk, expected) << acc;
    }
    EXPECT_EQ(annotation::MapACCtoChunkCount(hInfo, 37, &chunk), ANERR_NOTFOUND);

    // An ACC inside the most recent map is answered without the chunker.
    ACCMap map{};
    ASSERT_EQ(GetACCMap(hInfo, 2, &map), 0u);
    Probe("CHGetItemId");
    EXPECT_EQ(annotation::MapACCtoChunkCount(hInfo, 34, &chunk), 0u);
    EXPECT_EQ(chunk, 2);
    EXPECT_EQ(ENFailPending(), 1u);
    Disarm();

    // The open chunk grows after its map was read: its new characters lie
    // past the end of the map and are not found; other chunks still are.
    const std::string more = "more\n";
    ASSERT_EQ(ENAppendDocument(hDoc, more.data(), static_cast<uint32_t>(more.size())), 0u);
    EXPECT_EQ(annotation::MapACCtoChunkCount(hInfo, 37, &chunk), ANERR_NOTFOUND);
    EXPECT_EQ(chunk, 2);
    EXPECT_EQ(annotation::MapACCtoChunkCount(hInfo, 23, &chunk), 0u);
    EXPECT_EQ(chunk, 1);
}

TEST_F(AccMaps, TwoChunksInTurnAreReadOnceAndAThirdPushesTheOldestOut) {
    const uint32_t hDoc = AttachDoc(kDocument);
    const uint32_t hInfo = DocInfoHandle(hDoc);
    ACCMap map{};
    // Chunk 0xFFFF is the mark of an unused slot: answered empty, unread.
    Probe("CASeek");
    ASSERT_EQ(GetACCMap(hInfo, annotation::kNoChunk, &map), 0u);
    EXPECT_EQ(map.pCharItem, nullptr);
    EXPECT_EQ(map.charCount, 0u);
    EXPECT_EQ(ENFailPending(), 1u);
    EXPECT_EQ(ENOpenSecondDocs(), 0u);
    Disarm();

    ASSERT_EQ(GetACCMap(hInfo, 0, &map), 0u);
    ASSERT_EQ(GetACCMap(hInfo, 1, &map), 0u);
    const annotation::AnnoDocInfo built = DocInfo(hDoc);
    Probe("CASeek");
    const uint16_t inTurn[] = {0, 1, 0, 1};
    for (uint16_t chunk : inTurn) {
        ASSERT_EQ(GetACCMap(hInfo, chunk, &map), 0u);
        EXPECT_EQ(map.chunk, chunk);
        EXPECT_EQ(map.firstACC, chunk == 0 ? 0u : 23u);
    }
    EXPECT_EQ(ENFailPending(), 1u) << "a chunk was read again";
    Disarm();
    const annotation::AnnoDocInfo swapped = DocInfo(hDoc);
    EXPECT_EQ(swapped.accMap.pCharItem, built.accMap.pCharItem);
    EXPECT_EQ(swapped.accMapPrev.pCharItem, built.accMapPrev.pCharItem);

    // Chunk 0's array is freed (a leak would show in the sanitizer build).
    ASSERT_EQ(GetACCMap(hInfo, 2, &map), 0u);
    const annotation::AnnoDocInfo pushed = DocInfo(hDoc);
    EXPECT_EQ(pushed.accMap.chunk, 2);
    EXPECT_EQ(pushed.accMapPrev.chunk, 1);
    EXPECT_EQ(pushed.accMapPrev.pCharItem, built.accMap.pCharItem);
    EXPECT_EQ(ENOpenSecondDocs(), 1u);  // one second opening for all builds
    EXPECT_EQ(ENOpenContents(), 1u);

    const ACCMap untouched = map;
    EXPECT_EQ(GetACCMap(0, 1, &map), ANERR_BADPARAM);
    EXPECT_EQ(map.pCharItem, untouched.pCharItem);
}

TEST_F(AccMaps, TheSectionAndChunkOfAPosition) {
    const uint32_t hInfo = DocInfoHandle(AttachDoc(kDocument));
    uint16_t section = 9, chunk = 9;
    const AnnoPos start = DocPos(0, kWhole), lastOfSection0 = DocPos(0x10001, kWhole), third = DocPos(0x20000, 0x20001);
    ASSERT_EQ(annotation::PosToSecChunk(hInfo, &start, &section, &chunk), 0u);
    EXPECT_EQ(section, 0);
    EXPECT_EQ(chunk, 0);
    ASSERT_EQ(annotation::PosToSecChunk(hInfo, &lastOfSection0, &section, &chunk), 0u);
    EXPECT_EQ(section, 0);
    EXPECT_EQ(chunk, 1);
    ASSERT_EQ(annotation::PosToSecChunk(hInfo, &third, &section, &chunk), 0u);
    EXPECT_EQ(section, 1);
    EXPECT_EQ(chunk, 2);
    const AnnoPos past = DocPos(0x30000, kWhole);
    EXPECT_EQ(annotation::PosToSecChunk(hInfo, &past, &section, &chunk), ANERR_BADPARAM);
    EXPECT_EQ(annotation::PosToSecChunk(0, &start, &section, &chunk), ANERR_BADPARAM);
}

// The chunker cannot place the chunk's first character (firstACC is then
// 0) or cannot size the chunk: the build goes on and the map is empty.
TEST_F(AccMaps, AChunkTheChunkerCannotPlaceOrSizeGetsAnEmptyMap) {
    const uint32_t hInfo = DocInfoHandle(AttachDoc(kDocument));
    ACCMap map{};
    for (const char* call : {"CHGetItemCountById", "CHGetRunInfo", "CHGetSectionInfo", "CHGetItemId", "CHGetItem"}) {
        SCOPED_TRACE(call);
        map = ACCMap{};
        map.chunk = 1;
        map.firstACC = 99;
        ENFailCallAfter(call, 0, kInjected);
        EXPECT_EQ(annotation::BuildACCMap(hInfo, &map), 0u);
        Disarm();
        EXPECT_EQ(map.pCharItem, nullptr);
        EXPECT_EQ(map.charCount, 0u);
        EXPECT_EQ(map.firstACC, call == std::string("CHGetItemCountById") ? 0u : 23u);
    }
    EXPECT_EQ(annotation::BuildACCMap(0, &map), ANERR_BADPARAM);
    EXPECT_EQ(annotation::BuildACCMap(hInfo, nullptr), ANERR_BADPARAM);
}

// A read that fails before the chunk's end: what was counted so far is the
// map (here the first text record, "Hello ").
TEST_F(AccMaps, AReadThatFailsKeepsWhatWasCounted) {
    const uint32_t hInfo = DocInfoHandle(AttachDoc(kDocument));
    ENFailCallAfter("CAReadNext", 1, kInjected);
    ACCMap map{};
    ASSERT_EQ(GetACCMap(hInfo, 0, &map), 0u);
    EXPECT_EQ(ENFailPending(), 0u);
    EXPECT_EQ(Entries(map), std::vector<uint32_t>(6, 0));
    EXPECT_EQ(map.textBytes, 6u);
}

TEST_F(AccMaps, AStateThatCannotBeLockedIsAnsweredAsNoState) {
    const uint32_t hInfo = DocInfoHandle(AttachDoc(kDocument));
    uint16_t chunk = 0;
    ENFailCallAfter("SYSNativeLock", 0, 0);
    EXPECT_EQ(annotation::MapACCtoChunkCount(hInfo, 0, &chunk), ANERR_NOANNODATA);
    EXPECT_EQ(annotation::MapACCtoChunkCount(hInfo, 0, nullptr), ANERR_BADPARAM);
}

}  // namespace
