// What a description turns into: items, marked ranges, literal braces, line
// ends, appending, and parse errors that create or append nothing.
#include <string>

#include "engine_test.h"

namespace {

using DescriptionTest = EngineTest;

TEST_F(DescriptionTest, MarkupEmitsItemsAndMarkedRangesWhereItStands) {
    const uint32_t h = OpenChunker("x{mark 0x81000000}{item 240}ab{/mark 0x81000000}\n{mark 5}\n");
    EXPECT_EQ(Get(h, 0x0), (Words{7, 0x0, 1, 0, 0, 0, 0}));
    EXPECT_EQ(Get(h, 0x1), (Words{240, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Get(h, 0x2), (Words{7, 0x1, 2, 0, 0, 0, 0}));
    EXPECT_EQ(Get(h, 0x3), (Words{68, 0x81000000, 0, 0, 0, 0, 0})) << "the end marker";
    EXPECT_EQ(Get(h, 0x5)[0], 0u) << "the paragraph end of line 2";

    EXPECT_EQ(Count(h, 16), 2u);
    uint32_t next = 0;
    EXPECT_EQ(Get(h, 0, &next, 16), (Words{0x1, 0x81000000, 0, 0, 0, 0, 0}))
        << "a range begins at the next item after its mark";
    EXPECT_EQ(next, 1u);
    EXPECT_EQ(Get(h, 1, &next, 16), (Words{0x5, 5, 0, 0, 0, 0, 0}));
    EXPECT_EQ(next, 0xFFFFFFFFu);
    uint32_t value = 0;
    ASSERT_EQ(CHGetItemId(h, 16, 1, &value), 0u);
    EXPECT_EQ(value, 1u);
    ASSERT_EQ(CHGetItemCountById(h, 2, 0x1, &value), 0u);
    EXPECT_EQ(value, 1u) << "a non-text item counts the characters before the next one";
}

TEST_F(DescriptionTest, BracesAndLineEndsFollowTheTextRules) {
    const uint32_t h = OpenChunker("{{a}\r\n\nb");
    EXPECT_EQ(Get(h, 0x0)[2], 3u) << "'{{' is one character, '}' a literal, the CR dropped";
    EXPECT_EQ(Get(h, 0x2), (Words{0, 1, 0, 0, 0, 0, 0})) << "an empty line is just a paragraph end";
    EXPECT_EQ(Count(h, 0), 5u) << "a last line without LF counts";
    EXPECT_EQ(Count(ChunkerOf(OpenDoc("x\n")), 0), 2u) << "a trailing LF starts no paragraph";
    EXPECT_EQ(Count(ChunkerOf(OpenDoc("a\rb\r")), 2), 4u) << "a CR not before an LF is a character";
    EXPECT_EQ(Count(ChunkerOf(OpenDoc("")), 0), 0u);
}

TEST_F(DescriptionTest, AppendContinuesTheOpenChunkAndTheOpenTags) {
    const uint32_t hDoc = OpenDoc("a{mark 3}\n");
    const uint32_t h = ChunkerOf(hDoc);
    EXPECT_EQ(Count(h, 0), 2u);
    const std::string more = "b{/mark 3}\n";
    ASSERT_EQ(ENAppendDocument(hDoc, more.data(), static_cast<uint32_t>(more.size())), 0u) << ENLastError();
    EXPECT_EQ(Count(h, 0), 5u);
    EXPECT_EQ(Get(h, 0x2), (Words{7, 0x1, 1, 0, 0, 0, 0})) << "chunk 0 goes on filling";
    EXPECT_EQ(Get(h, 0x3)[0], 68u) << "the mark opened before closes now";
    EXPECT_EQ(Count(h, 16), 1u);
    EXPECT_STREQ(ENLastError(), "");
}

struct BadDescription {
    const char* text;
    const char* where;
};

// Each description fails on a line and column that the message names.
const BadDescription kBadDescriptions[] = {
    {"ab\ncd{bogus}\n", "line 2, column 3"},
    {"x{item 5\n", "line 1, column 2"},
    {"{item 12z}", "line 1, column 1"},
    {"{item 0x1FFFFFFFF}", "line 1, column 1"},
    {"{item}", "line 1, column 1"},
    {"{chunk 2}", "line 1, column 1"},
    {"{{{bad}", "line 1, column 3"},
    {"a{/region 4}", "line 1, column 2"},
    {"{mark 8}{/mark 7}", "line 1, column 9"},
    {"\xC3\xA9{/undelivered}", "line 1, column 2"},
    {"ok\na\xFF", "line 2, column 2"},
};

TEST_F(DescriptionTest, DescriptionThatDoesNotParseCreatesNothing) {
    for (const BadDescription& bad : kBadDescriptions) {
        const std::string text = bad.text;
        uint32_t hDoc = kUntouched;
        EXPECT_EQ(ENOpenDocument(text.data(), static_cast<uint32_t>(text.size()), 0, &hDoc), 15u) << text;
        EXPECT_EQ(hDoc, kUntouched) << text;
        EXPECT_NE(std::string(ENLastError()).find(bad.where), std::string::npos)
            << text << " -> " << ENLastError();
    }
    uint32_t hDoc = 0;
    EXPECT_EQ(ENOpenDocument(nullptr, 0, 0, &hDoc), 15u);
    EXPECT_EQ(ENOpenDocument("x", 1, 0, nullptr), 15u);
}

TEST_F(DescriptionTest, AppendThatDoesNotParseAppendsNothing) {
    const uint32_t hDoc = OpenDoc("a\n");
    const uint32_t h = ChunkerOf(hDoc);
    const std::string bad = "b\nc{/mark 3}\n";
    EXPECT_EQ(ENAppendDocument(hDoc, bad.data(), static_cast<uint32_t>(bad.size())), 15u);
    EXPECT_NE(std::string(ENLastError()).find("line 2, column 2"), std::string::npos) << ENLastError();
    EXPECT_EQ(Count(h, 0), 2u) << "not even the good first line";
    EXPECT_EQ(ENAppendDocument(h, "b\n", 2), 15u) << "a chunker handle is no document";
}

}  // namespace
