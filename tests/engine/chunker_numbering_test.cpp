// How the chunker numbers items, characters, chunks and sections, and what
// its calls answer at the edges.
#include <string>

#include "engine_test.h"

namespace {

using ChunkerNumberingTest = EngineTest;

TEST_F(ChunkerNumberingTest, TwoParagraphsNumberItemsAndCharactersWithinChunkZero) {
    const uint32_t h = OpenChunker("Hello world\nSecond\n");
    uint32_t next = 0;
    EXPECT_EQ(Get(h, 0x0, &next), (Words{7, 0x0, 11, 0, 0, 0, 0}));
    EXPECT_EQ(next, 0x1u);
    EXPECT_EQ(Get(h, 0x1), (Words{0, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Get(h, 0x2), (Words{7, 0xB, 6, 0, 0, 0, 0}));
    EXPECT_EQ(Get(h, 0x3, &next), (Words{0, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(next, 0xFFFFFFFFu) << "after the last item";
    EXPECT_EQ(Count(h, 0), 4u);
    EXPECT_EQ(Count(h, 2), 17u);

    uint32_t value = 0;
    ASSERT_EQ(CHGetItemId(h, 2, 12, &value), 0u);
    EXPECT_EQ(value, 0xCu) << "ACC 12 is the 'e' of Second";
    ASSERT_EQ(CHGetItemCountById(h, 2, 0x2, &value), 0u);
    EXPECT_EQ(value, 11u);
    ASSERT_EQ(CHGetItemCountById(h, 2, 0x1, &value), 0u);
    EXPECT_EQ(value, 11u) << "a paragraph end counts the characters before the next one";
    ASSERT_EQ(CHGetItemCountById(h, 2, 0x3, &value), 0u);
    EXPECT_EQ(value, 17u);
    ASSERT_EQ(CHNextItemId(h, 2, 0xA, &value), 0u);
    EXPECT_EQ(value, 0xBu) << "characters run on across text items of a chunk";
    EXPECT_EQ(CHNextItemId(h, 2, 0x10, &value), 25u);
    EXPECT_EQ(CHGetItemId(h, 2, 17, &value), 25u);

    std::array<uint32_t, 3> run{};
    ASSERT_EQ(CHGetRunInfo(h, 0, 0, run.data()), 0u);
    EXPECT_EQ(run, (std::array<uint32_t, 3>{0, 0x0, 0x3}));
    ASSERT_EQ(CHGetRunInfo(h, 0, 2, run.data()), 0u);
    EXPECT_EQ(run, (std::array<uint32_t, 3>{0, 0, 16}));
    Words section{};
    ASSERT_EQ(CHGetSectionInfo(h, 0, section.data()), 0u);
    EXPECT_EQ(section[2], 0x3u);
    EXPECT_EQ(CHGetSectionInfo(h, 1, section.data()), 25u);
}

TEST_F(ChunkerNumberingTest, ChunkAndSectionMarkupStartNumberingAgain) {
    const uint32_t h = OpenChunker("ab{chunk}cd\nef{section}gh\n");
    uint32_t next = 0;
    EXPECT_EQ(Get(h, 0x0, &next)[2], 2u);
    EXPECT_EQ(next, 0x10000u) << "the following item lies in the next chunk";
    EXPECT_EQ(Get(h, 0x10000), (Words{7, 0x10000, 2, 0, 0, 0, 0}));
    EXPECT_EQ(Get(h, 0x10002), (Words{7, 0x10002, 2, 0, 0, 0, 0}));
    EXPECT_EQ(Get(h, 0x20000), (Words{7, 0x20000, 2, 0, 0, 0, 0}));

    uint32_t value = 0;
    ASSERT_EQ(CHGetItemId(h, 2, 6, &value), 0u);
    EXPECT_EQ(value, 0x20000u) << "ACC 6 is the first character of chunk 2";
    ASSERT_EQ(CHGetItemCountById(h, 2, 0x20001, &value), 0u);
    EXPECT_EQ(value, 8u);
    ASSERT_EQ(CHGetRunFromItemId(h, 0x10001, &value), 0u);
    EXPECT_EQ(value, 1u);
    EXPECT_EQ(CHNextItemId(h, 2, 0x1, &value), 25u) << "characters do not run on into the next chunk";

    std::array<uint32_t, 3> run{};
    ASSERT_EQ(CHGetRunInfo(h, 1, 0, run.data()), 0u);
    EXPECT_EQ(run, (std::array<uint32_t, 3>{0, 0x10000, 0x10002}));
    ASSERT_EQ(CHGetRunInfo(h, 2, 2, run.data()), 0u);
    EXPECT_EQ(run, (std::array<uint32_t, 3>{0, 6, 7}));
    EXPECT_EQ(CHGetRunInfo(h, 3, 2, run.data()), 25u);

    EXPECT_EQ(Count(h, 1), 2u);
    Words section{};
    ASSERT_EQ(CHGetSectionInfo(h, 0, section.data()), 0u);
    EXPECT_EQ(section[2], 0x10002u);
    ASSERT_EQ(CHGetSectionInfo(h, 1, section.data()), 0u);
    EXPECT_EQ(section[2], 0x20001u);
    Get(h, 1, &next, 1);
    EXPECT_EQ(next, 0xFFFFFFFFu);
    ASSERT_EQ(CHGetItemId(h, 1, 1, &value), 0u);
    EXPECT_EQ(value, 1u);
}

TEST_F(ChunkerNumberingTest, BreaksNeverLeaveAnEmptyChunk) {
    const uint32_t h = OpenChunker("{section}{chunk}x{chunk}{chunk}\ny\n");
    EXPECT_EQ(Get(h, 0x0)[2], 1u) << "markup before the first item does nothing";
    EXPECT_EQ(Get(h, 0x10000)[0], 0u) << "a repeated break opens one chunk";
    EXPECT_EQ(Get(h, 0x10001)[1], 0x10000u);
    EXPECT_EQ(Count(h, 1), 1u);
    std::array<uint32_t, 3> run{};
    EXPECT_EQ(CHGetRunInfo(h, 2, 0, run.data()), 25u);
}

TEST_F(ChunkerNumberingTest, ChunkEndsAtTheFirstParagraphEndHolding4096Characters) {
    const uint32_t h = OpenChunker(std::string(4095, 'a') + "\nb\nc\n" + std::string(5000, 'd') + "\ne\n");
    EXPECT_EQ(Get(h, 0x2), (Words{7, 0xFFF, 1, 0, 0, 0, 0})) << "4095 characters do not end the chunk";
    EXPECT_EQ(Get(h, 0x10000), (Words{7, 0x10000, 1, 0, 0, 0, 0}));
    EXPECT_EQ(Get(h, 0x10002)[2], 5000u) << "a long paragraph is not cut";
    EXPECT_EQ(Get(h, 0x20000), (Words{7, 0x20000, 1, 0, 0, 0, 0})) << "its paragraph end still ends the chunk";
}

TEST_F(ChunkerNumberingTest, TextRunIsSplitBeforeTheChunkWouldHoldMoreThan65535Characters) {
    const uint32_t h = OpenChunker(std::string(70000, 'x') + "\n");
    uint32_t next = 0;
    EXPECT_EQ(Get(h, 0x0, &next), (Words{7, 0x0, 65535, 0, 0, 0, 0}));
    EXPECT_EQ(next, 0x10000u);
    EXPECT_EQ(Get(h, 0x10000), (Words{7, 0x10000, 70000 - 65535, 0, 0, 0, 0}));
    uint32_t value = 0;
    ASSERT_EQ(CHGetItemId(h, 2, 65535, &value), 0u);
    EXPECT_EQ(value, 0x10000u);
    ASSERT_EQ(CHGetItemCountById(h, 2, 0x10000, &value), 0u);
    EXPECT_EQ(value, 65535u);
    ASSERT_EQ(CHGetItemCountById(h, 0, 0x10001, &value), 0u);
    EXPECT_EQ(value, 2u) << "kind 0 counts the items before";
}

TEST_F(ChunkerNumberingTest, ItemAfterThe65535thGoesIntoTheNextChunk) {
    std::string line;
    for (int i = 0; i < 65535; ++i) line += "{item 240}";
    const uint32_t h = OpenChunker(line + "\n");
    EXPECT_EQ(Get(h, 0xFFFE)[0], 240u);
    EXPECT_EQ(Get(h, 0x10000), (Words{0, 1, 0, 0, 0, 0, 0}));
    uint32_t value = 0;
    ASSERT_EQ(CHGetItemId(h, 0, 65535, &value), 0u);
    EXPECT_EQ(value, 0x10000u) << "kind 0 by ordinal";
}

// Every failure answers its code and writes nothing.
TEST_F(ChunkerNumberingTest, FailingCallsAnswerTheirCodeAndWriteNothing) {
    const uint32_t h = OpenChunker("a{mark 1}b\n");
    const uint32_t other = OpenDoc("z\n");  // a document handle is no chunker handle
    Words words{};
    words.fill(kUntouched);
    uint32_t value = kUntouched;
    uint32_t next = kUntouched;
    const struct {
        const char* call;
        uint32_t result;
        uint32_t expected;
    } cases[] = {
        {"item past the end", CHGetItem(h, 0, 0x3, words.data(), &next), 25},
        {"unknown kind", CHGetItem(h, 5, 0, words.data(), &next), 15},
        {"range past the end", CHGetItem(h, 16, 1, words.data(), &next), 25},
        {"document handle", CHGetItem(other, 0, 0, words.data(), &next), 15},
        {"null record", CHGetItem(h, 0, 0, nullptr, &next), 15},
        {"count of unknown kind", CHGetItemCount(h, 3, &value), 15},
        {"id past the last section", CHGetItemId(h, 1, 1, &value), 25},
        {"next after the last item", CHNextItemId(h, 0, 0x2, &value), 25},
        {"count by unknown item", CHGetItemCountById(h, 2, 0x7, &value), 25},
        {"run of unknown item", CHGetRunFromItemId(h, 0x10000, &value), 25},
        {"run info of unknown kind", CHGetRunInfo(h, 0, 1, words.data()), 15},
        {"section past the end", CHGetSectionInfo(h, 1, words.data()), 25},
    };
    for (const auto& c : cases) EXPECT_EQ(c.result, c.expected) << c.call;
    EXPECT_EQ(words, (Words{kUntouched, kUntouched, kUntouched, kUntouched, kUntouched, kUntouched, kUntouched}));
    EXPECT_EQ(value, kUntouched);
    EXPECT_EQ(next, kUntouched);
}

}  // namespace
