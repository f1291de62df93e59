// The content stream: records per chunk, text in both kinds of character
// set, buffers that are too small, seeking, and second openings.
#include <string>
#include <vector>

#include "engine_test.h"

namespace {

constexpr uint32_t kUnicode = 0x14B00000;

class ContentStreamTest : public EngineTest {
protected:
    // A second opening of `hDoc` reading in `charSet`.
    uint32_t OpenSecond(uint32_t hDoc, uint32_t charSet) {
        const uint32_t spec = ChunkerOf(hDoc);
        uint32_t h2 = 0;
        EXPECT_EQ(DAOpenDocument(&h2, 18, &spec, 0), 0u);
        EXPECT_EQ(DASetOption(h2, 1, &charSet, 4), 0u);
        return h2;
    }
};

TEST_F(ContentStreamTest, EachChunkDeliversItsRecordsInItemOrderThenAChunkEnd) {
    const uint32_t hDoc = OpenDoc("ab{region 9}cd{/region 9}\n{undelivered}ef{/undelivered}\n{chunk}gh\n");
    const uint32_t os = UTGetOSCharSet();  // what a first opening reads in
    const std::vector<Record> expected = {
        {1, 0, 2, os, 0, "ab"}, {2, 9, 0, 0, 0, ""},       {1, 0, 2, os, 1, "cd"}, {3, 9, 0, 0, 0, ""},
        {1, 0x10000, 2, os, 3, ""}, {5, 0, 0, 0, 0, ""}, {1, 0, 2, os, 0, "gh"}, {5, 0, 0, 0, 0, ""},
    };
    EXPECT_EQ(ReadAll(hDoc), expected);
}

TEST_F(ContentStreamTest, TextIsWrittenInTheCharacterSetOfTheOpening) {
    const uint32_t hDoc = OpenDoc("a\xC3\xA9\xF0\x9F\x98\x80\n");  // a, e-acute, one character outside the BMP
    const std::vector<Record> wide = ReadAll(OpenSecond(hDoc, kUnicode));
    ASSERT_FALSE(wide.empty());
    EXPECT_EQ(wide[0].count, 4u) << "a character outside the BMP counts twice";
    EXPECT_EQ(wide[0].charSet, kUnicode);
    EXPECT_EQ(wide[0].bytes, std::string("a\0\xE9\0\x3D\xD8\x00\xDE", 8));
    const std::vector<Record> narrow = ReadAll(OpenSecond(hDoc, 0x00000001));
    ASSERT_FALSE(narrow.empty());
    EXPECT_EQ(narrow[0].charSet, 1u);
    EXPECT_EQ(narrow[0].bytes, "a\xE9??") << "characters above 0xFF become '?'";
}

TEST_F(ContentStreamTest, TextNeverGoesPastTheBytesFree) {
    const uint32_t hDoc = OpenDoc("abcd\n");
    EXPECT_EQ(ReadAll(OpenSecond(hDoc, kUnicode), 3)[0].bytes, std::string("a\0", 2)) << "whole characters only";
    const Record narrow = ReadAll(OpenSecond(hDoc, 1), 3)[0];
    EXPECT_EQ(narrow.bytes, "abc");
    EXPECT_EQ(narrow.count, 4u) << "the count stays the item's";
    EXPECT_EQ(ReadAll(hDoc, 0)[0].bytes, "") << "no buffer, nothing written";
}

TEST_F(ContentStreamTest, TextInsideWithholdingRegionsIsCountedButNotWritten) {
    for (uint32_t id : {0x10000u, 0x100000u, 0x120000u}) {
        const std::string description =
            "{region " + std::to_string(id) + "}ab{/region " + std::to_string(id) + "}cd\n";
        const std::vector<Record> records = ReadAll(OpenDoc(description));
        ASSERT_EQ(records.size(), 5u);
        EXPECT_EQ(records[1].count, 2u);
        EXPECT_EQ(records[1].idOrFlags, 0u) << "withheld text is not flagged undelivered";
        EXPECT_EQ(records[1].bytes, "") << std::hex << id;
        EXPECT_EQ(records[3].bytes, "cd");
    }
}

TEST_F(ContentStreamTest, SeekPositionsAtTheFirstRecordOfTheItemsChunk) {
    const uint32_t hDoc = OpenDoc("a{chunk}b{chunk}c\n");
    uint32_t hContent = 0;
    ASSERT_EQ(CAOpenContent(hDoc, &hContent), 0u);
    Record record;
    const CASeekPos chunk2{0x20005, 0xFFFFFFFF, 0, 0};
    ASSERT_EQ(CASeek(hContent, &chunk2), 0u);
    ASSERT_EQ(Read(hContent, record), 0u);
    EXPECT_EQ(record.bytes, "c");
    const CASeekPos nowhere{0x30000, 0xFFFFFFFF, 0, 0};
    EXPECT_EQ(CASeek(hContent, &nowhere), 25u);
    ASSERT_EQ(Read(hContent, record), 0u);
    EXPECT_EQ(record.type, 5u) << "a failed seek leaves the position";
    EXPECT_EQ(Read(hContent, record), 25u) << "nothing after the last chunk end";

    ASSERT_EQ(Read(hContent, record, 64, true), 0u);
    EXPECT_EQ(record.bytes, "a") << "read-first goes back to chunk 0";
    ASSERT_EQ(Read(hContent, record), 0u);
    EXPECT_EQ(record.type, 5u);
    EXPECT_EQ(CASeek(hContent, nullptr), 15u);
    EXPECT_EQ(CACloseContent(hContent), 0u);
    EXPECT_EQ(CACloseContent(hContent), 15u);
}

TEST_F(ContentStreamTest, SecondOpeningTakesTheOsCharacterSetOfItsTime) {
    const uint32_t hDoc = OpenDoc("x\n");
    const uint32_t spec = ChunkerOf(hDoc);
    ENSetOSCharSet(kUnicode);
    uint32_t h2 = 0;
    ASSERT_EQ(DAOpenDocument(&h2, 18, &spec, 0), 0u);
    ENSetOSCharSet(0x00000001);
    EXPECT_EQ(ReadAll(h2)[0].charSet, kUnicode);
    uint32_t hChunker = 0;
    ASSERT_EQ(DAGetHChunker(h2, &hChunker), 0u);
    EXPECT_EQ(hChunker, spec) << "the same chunker";
    EXPECT_EQ(DACloseDocument(h2), 0u);

    uint32_t untouched = kUntouched;
    const uint32_t notAChunker = hDoc;
    EXPECT_EQ(DAOpenDocument(&untouched, 17, &spec, 0), 15u);
    EXPECT_EQ(DAOpenDocument(&untouched, 18, &notAChunker, 0), 15u);
    EXPECT_EQ(untouched, kUntouched);
    EXPECT_EQ(DACloseDocument(hDoc), 15u) << "a first opening is closed by its creator";
}

TEST_F(ContentStreamTest, ClosingTheDocumentClosesSecondOpeningsAndStreams) {
    const uint32_t hDoc = OpenDoc("x\n");
    const uint32_t hChunker = ChunkerOf(hDoc);
    const uint32_t h2 = OpenSecond(hDoc, 1);
    const uint32_t h3 = OpenSecond(hDoc, 1);
    uint32_t streams[3] = {};
    ASSERT_EQ(CAOpenContent(hDoc, &streams[0]), 0u);
    ASSERT_EQ(CAOpenContent(h2, &streams[1]), 0u);
    ASSERT_EQ(CAOpenContent(h3, &streams[2]), 0u);
    EXPECT_EQ(ENOpenSecondDocs(), 2u);
    EXPECT_EQ(ENOpenContents(), 3u);

    ASSERT_EQ(DACloseDocument(h3), 0u);
    Record record;
    EXPECT_EQ(Read(streams[2], record), 15u) << "the stream of a closed opening is unreadable";
    EXPECT_EQ(ENOpenContents(), 3u) << "but still open, to show a reader that forgot it";

    CloseDoc(hDoc);
    EXPECT_EQ(ENOpenSecondDocs(), 0u);
    EXPECT_EQ(ENOpenContents(), 0u);
    uint32_t value = 0;
    Words words{};
    EXPECT_EQ(DAGetHChunker(h2, &value), 15u);
    EXPECT_EQ(CHGetItem(hChunker, 0, 0, words.data(), nullptr), 15u);
    EXPECT_EQ(CACloseContent(streams[1]), 15u);
    EXPECT_EQ(ENCloseDocument(hDoc), 15u);
}

}  // namespace
