// Mapping between ACCs and positions, and the ACC maps behind it: every
// character of a document with several chunks and sections, regions and
// undelivered text maps to its position and back; the second opening of
// the document failing; the heap failing; bad requests.
#include <gtest/gtest.h>

#include <string>

#include "annotation/heap.h"
#include "engine/engine.h"
#include "platform/chunker.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"

namespace {

using namespace testing_support;

constexpr uint32_t kWhole = 0xFFFFFFFF;
// Chunk 0: "Hello " (item 0), a hidden-region text "hid" (1), " x" (2), an
// object (3), "y" (4), end (5); "secret" undelivered (6), " tail" (7), end
// (8). Chunk 1: "Chunk two" (0x10000), end. Section 1, chunk 2: "Third" (0x20000), end.
constexpr const char* kDocument =
    "Hello {region 0x100000}hid{/region 0x100000} x{item 8}y\n{undelivered}secret{/undelivered} tail\n"
    "{chunk}Chunk two\n{section}Third\n";
constexpr uint32_t kCharacters = 6 + 3 + 2 + 1 + 6 + 5 + 9 + 5;

class PositionMapping : public AnnotationTest {
protected:
    uint32_t ToPos(uint32_t hDoc, uint32_t acc, AnnoPos& pos) {
        AnnoMapPosition request{sizeof request, ANMAP_ACCTOPOS, pos, acc};
        const uint32_t result = ANMapPosition(hDoc, &request);
        pos = request.pos;
        return result;
    }
    uint32_t ToAcc(uint32_t hDoc, AnnoPos pos, uint32_t& acc) {
        AnnoMapPosition request{sizeof request, ANMAP_POSTOACC, pos, acc};
        const uint32_t result = ANMapPosition(hDoc, &request);
        acc = request.acc;
        return result;
    }
};

TEST_F(PositionMapping, EveryCharacterMapsToItsPositionAndBack) {
    const uint32_t hDoc = AttachDoc(kDocument);
    const uint32_t hChunker = DocInfo(hDoc).hChunker;
    for (uint32_t acc = 0; acc < kCharacters; ++acc) {
        SCOPED_TRACE(acc);
        AnnoPos pos{9, 9, 9, 9};
        ASSERT_EQ(ToPos(hDoc, acc, pos), 0u);
        uint32_t charId = 0;
        ASSERT_EQ(CHGetItemId(hChunker, CH_KIND_CHAR, acc, &charId), 0u);
        EXPECT_EQ(pos.subItemId, charId);
        EXPECT_EQ(pos.posType, 9u);  // not written
        uint32_t back = 0;
        ASSERT_EQ(ToAcc(hDoc, pos, back), 0u);
        EXPECT_EQ(back, acc);
    }
    AnnoPos past{};
    EXPECT_EQ(ToPos(hDoc, kCharacters, past), ANERR_NOTFOUND);

    uint32_t acc = 0;
    ASSERT_EQ(ToAcc(hDoc, DocPos(3, kWhole), acc), 0u);  // the object: the next character, "y"
    EXPECT_EQ(acc, 11u);
    ASSERT_EQ(ToAcc(hDoc, DocPos(2, kWhole), acc), 0u);  // a text item as a whole: its first
    EXPECT_EQ(acc, 9u);
    ASSERT_EQ(ToAcc(hDoc, DocPos(2, 4), acc), 0u);  // a character of another item
    EXPECT_EQ(acc, 9u);
    ASSERT_EQ(ToAcc(hDoc, DocPos(2, 0x10001), acc), 0u);  // a character id of another chunk
    EXPECT_EQ(acc, 9u);
    ASSERT_EQ(ToAcc(hDoc, DocPos(8, kWhole), acc), 0u);  // after every character of the chunk
    EXPECT_EQ(acc, 23u);
    ASSERT_EQ(ToAcc(hDoc, TextPos(0, 2, 7), acc), 0u);  // inserted text maps like its anchor
    EXPECT_EQ(acc, 2u);
    EXPECT_EQ(ToAcc(hDoc, DocPos(0x50000, kWhole), acc), ANERR_NOTFOUND);

    // Text in the hidden region and undelivered text count like the rest.
    EXPECT_EQ(DocInfo(hDoc).accMap.charCount, 23u);
    EXPECT_EQ(DocInfo(hDoc).accMap.textBytes, 23u);

    // In the Unicode character set every character takes two bytes, the
    // ones written as zeros included.
    const uint32_t hWide = OpenDoc(kDocument);
    ASSERT_EQ(ENSetDocOption(hWide, annotation::kCharSetOption, annotation::kCharSetOptionUnicodeBit), 0u);
    ASSERT_EQ(ANInit(hWide, 0, nullptr, 0), 0u);
    ASSERT_EQ(ToPos(hWide, 3, past), 0u);
    EXPECT_EQ(DocInfo(hWide).accMap.textBytes, 46u);
    EXPECT_EQ(ANDeInit(hWide), 0u);
}

TEST_F(PositionMapping, SecondOpeningFailsOnceAndMapsStayEmpty) {
    for (const char* call : {"DAOpenDocument", "DASetOption", "CAOpenContent"}) {
        SCOPED_TRACE(call);
        const uint32_t hDoc = AttachDoc(kDocument);
        ENFailCallAfter(call, 0, 7);
        AnnoPos pos{1, 2, 3, 4};
        EXPECT_EQ(ToPos(hDoc, 0, pos), ANERR_NOANNODATA);
        ENFailCallAfter(nullptr, -1, 0);
        // The chunk's map has no entries: its ACCs lie past its end. Another
        // chunk is not tried again and gets an empty map: nothing mapped.
        EXPECT_EQ(ToPos(hDoc, 0, pos), ANERR_NOTFOUND);
        EXPECT_EQ(ToPos(hDoc, 23, pos), 0u);
        EXPECT_EQ(ToPos(hDoc, 0, pos), 0u);
        EXPECT_EQ(pos, (AnnoPos{1, 2, 3, 4}));
        EXPECT_NE(DocInfo(hDoc).accFlags & annotation::ACCF_OPENFAILED, 0u);
        DetachDoc(hDoc);
        EXPECT_EQ(ENOpenSecondDocs(), 0u);
        EXPECT_EQ(ENOpenContents(), 0u);
    }
}

TEST_F(PositionMapping, HeapFailuresGiveOutOfMemoryAndAnEmptyMap) {
    for (int32_t n : {0, 1}) {  // the item array, then the text buffer
        const uint32_t hDoc = AttachDoc(kDocument);
        annotation::SetHeapFailAfter(n);
        AnnoPos pos{};
        EXPECT_EQ(ToPos(hDoc, 3, pos), ANERR_NOMEMORY);
        EXPECT_FALSE(annotation::HeapFailPending());
        EXPECT_EQ(ToPos(hDoc, 3, pos), 0u);  // the chunk's map stays empty
        EXPECT_EQ(DocInfo(hDoc).accMap.pCharItem, nullptr);
        DetachDoc(hDoc);
    }
}

// The build of chunk 1's map cannot lock the state (the third lock of the
// call: the mapping's, the cache's, the build's). The slot that held chunk
// 0's map, whose array moved to the other slot, is left as an empty map of
// chunk 1, without chunk 0's entry count: mapping into chunk 1 then reads
// no entry that is not there.
TEST_F(PositionMapping, ABuildThatCannotLockTheStateLeavesAnEmptyMap) {
    const uint32_t hDoc = AttachDoc(kDocument);
    uint32_t acc = 0;
    ASSERT_EQ(ToAcc(hDoc, DocPos(0, 1), acc), 0u);
    ENFailCallAfter("SYSNativeLock", 2, 0);
    EXPECT_EQ(ToAcc(hDoc, DocPos(0x10000, 0x10002), acc), ANERR_BADPARAM);
    EXPECT_EQ(ENFailPending(), 0u);
    EXPECT_EQ(acc, 1u);
    const annotation::ACCMap map = DocInfo(hDoc).accMap;
    EXPECT_EQ(map.chunk, 1);
    EXPECT_EQ(map.pCharItem, nullptr);
    EXPECT_EQ(map.charCount, 0u);
    // The empty map answers: nothing mapped from an ACC, the map's first
    // ACC for a position.
    AnnoPos pos{9, 9, 9, 9};
    EXPECT_EQ(ToPos(hDoc, 25, pos), 0u);
    EXPECT_EQ(pos, (AnnoPos{9, 9, 9, 9}));
    EXPECT_EQ(ToAcc(hDoc, DocPos(0x10000, 0x10002), acc), 0u);
    EXPECT_EQ(acc, map.firstACC);
}

TEST_F(PositionMapping, BadRequestsAreRefused) {
    const uint32_t hDoc = AttachDoc(kDocument);
    AnnoMapPosition request{sizeof request, ANMAP_ACCTOPOS | ANMAP_POSTOACC, {}, 7};
    EXPECT_EQ(ANMapPosition(hDoc, &request), 0u);  // both bits: from the ACC
    EXPECT_EQ(request.pos, DocPos(1, 7));
    const AnnoMapPosition kept = request;
    for (uint32_t flags : {0u, 4u}) {
        request.flags = flags;
        EXPECT_EQ(ANMapPosition(hDoc, &request), ANERR_BADPARAM);
    }
    request = kept;
    request.size = 24;
    EXPECT_EQ(ANMapPosition(hDoc, &request), ANERR_BADPARAM);
    EXPECT_EQ(ANMapPosition(0, &request), ANERR_BADPARAM);
    EXPECT_EQ(ANMapPosition(OpenDoc("x\n"), &request), ANERR_NOANNODATA);
    EXPECT_EQ(ANMapPosition(hDoc, nullptr), ANERR_BADPARAM);

    // A state that cannot be locked answers as no state, in both directions.
    for (uint32_t flags : {ANMAP_ACCTOPOS, ANMAP_POSTOACC}) {
        request = kept;
        request.flags = flags;
        ENFailCallAfter("SYSNativeLock", 0, 0);
        EXPECT_EQ(ANMapPosition(hDoc, &request), ANERR_NOANNODATA);
        EXPECT_EQ(request.pos, kept.pos);
        EXPECT_EQ(request.acc, kept.acc);
    }
}

}  // namespace
