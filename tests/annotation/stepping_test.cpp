// Stepping through positions in reading order: the chunker's positions, and
// in front of each anchor's document position the text positions of the text
// inserted there; the characters read at those text positions; the single
// chunker and text steps and their failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_layout.h"

namespace {

using namespace testing_support;

constexpr uint32_t kWhole = 0xFFFFFFFF;

class Stepping : public AnnotationTest {};

// Every position after `start`, with ANNextPos, until it fails; in place or
// into a record of its own. `last` gets the record where the walk stopped.
std::vector<AnnoPos> Walk(uint32_t hDoc, AnnoPos start, bool inPlace, AnnoPos* last = nullptr) {
    std::vector<AnnoPos> seen;
    AnnoPos pos = start;
    AnnoPos next{};
    AnnoPos& into = inPlace ? pos : next;
    while (seen.size() < 100 && ANNextPos(hDoc, &pos, &into) == 0) {
        seen.push_back(into);
        pos = into;
    }
    if (last != nullptr) *last = pos;
    return seen;
}

TEST_F(Stepping, WalkVisitsInsertedTextBeforeEachAnchorAndReadsItsCharacters) {
    // Chunk 0: "Hello" (item 0, characters 0-4), paragraph end (1), an object
    // (2), paragraph end (3); chunk 1: "Se" (0x10000, characters 0x10000 and
    // 0x10001), paragraph end (0x10001).
    const uint32_t hDoc = AttachDoc("Hello\n{item 8}\n{chunk}Se\n");
    const std::vector<AnnoPos> chunkerOrder = {
        DocPos(0, 0), DocPos(0, 1), DocPos(0, 2), DocPos(0, 3), DocPos(0, 4), DocPos(1, kWhole),
        DocPos(2, kWhole), DocPos(3, kWhole), DocPos(0x10000, 0x10000), DocPos(0x10000, 0x10001),
        DocPos(0x10001, kWhole)};
    // Inserted text ('|' a break): at the walk's start (not visited); at
    // (0, 2) with a hilite between the inserts, which does not break their
    // run; at an object; a text of length 0, which still gives one text
    // position. The icon makes no text position.
    const std::vector<std::pair<AnnoPos, std::u16string>> inserted = {
        {DocPos(0, 0), u"q"}, {DocPos(0, 2), u"xy|"}, {DocPos(2, kWhole), u"|"}, {DocPos(0x10000, 0x10001), u""}};
    LayOutList(DocInfoHandle(hDoc),
               {TextNode(1, DocPos(0, 0), u"q"), TextNode(2, DocPos(0, 2), u"xy"),
                Node(ANNO_HILITETEXT, 3, DocPos(0, 2), DocPos(0, 4)),
                Node(ANNO_INSERTPARABREAK, 4, DocPos(0, 2), DocPos(0, 3)),
                Node(ANNO_INSERTICON, 5, DocPos(0, 3), DocPos(0, 4)),
                Node(ANNO_INSERTPARABREAK, 6, DocPos(2, kWhole), DocPos(2, 0)),
                TextNode(7, DocPos(0x10000, 0x10001), u"")});

    // The reading order, and what ANGetAnnoText answers at each text position.
    std::vector<AnnoPos> expected;
    std::vector<std::pair<uint32_t, uint16_t>> answers;
    for (size_t i = 1; i < chunkerOrder.size(); ++i) {
        const AnnoPos& at = chunkerOrder[i];
        for (const auto& [anchor, text] : inserted) {
            if (!(anchor == at)) continue;
            if (text.empty()) answers.emplace_back(ANERR_NOTFOUND, 0xEEEE);
            for (char16_t c : text) {
                answers.emplace_back(c == u'|' ? ANNO_INSERTPARABREAK : ANNO_INSERTTEXT, c == u'|' ? 0 : c);
            }
            for (size_t k = 0; k < std::max<size_t>(text.size(), 1); ++k)
                expected.push_back(TextPos(at.itemId, at.subItemId, static_cast<uint32_t>(k)));
        }
        expected.push_back(at);
    }
    const std::vector<AnnoPos> walked = Walk(hDoc, chunkerOrder[0], false);
    EXPECT_EQ(walked, expected);
    AnnoPos last{};
    EXPECT_EQ(Walk(hDoc, chunkerOrder[0], true, &last), expected);
    EXPECT_EQ(last, chunkerOrder.back());

    AnnoTextTrack track{};
    ASSERT_EQ(ANStartAnnoTextTrack(hDoc, &track), 0u);
    std::vector<std::pair<uint32_t, uint16_t>> read;
    for (const AnnoPos& at : walked) {
        if (!ANIsAnnoTextPos(&at)) continue;
        uint16_t ch = 0xEEEE;
        const uint32_t result = ANGetAnnoText(hDoc, &track, &at, &ch);
        read.emplace_back(result, ch);
    }
    EXPECT_EQ(read, answers);
    EXPECT_EQ(ANEndAnnoTextTrack(hDoc, &track), 0u);
}

// Text of two characters, then a break, both at (X, c1) of "abc".
TEST_F(Stepping, TextAndBreakAtOneCharacterComeBeforeIt) {
    const uint32_t hDoc = AttachDoc("abc\n");
    ASSERT_EQ(AddText(hDoc, 1, DocPos(0, 1), u"uv"), 0u);
    ASSERT_EQ(AddBreak(hDoc, 2, DocPos(0, 1)), 0u);
    EXPECT_EQ(Walk(hDoc, DocPos(0, 0), false),
              (std::vector<AnnoPos>{TextPos(0, 1, 0), TextPos(0, 1, 1), TextPos(0, 1, 2), DocPos(0, 1),
                                    DocPos(0, 2), DocPos(1, kWhole)}));
}

// Inserted text anchored at a text item as a whole comes before the item's
// first character; from inside the item the walk goes on forward, to text at
// a later character and out of the item, never back into that text (which
// led a walk round the item without end).
TEST_F(Stepping, TextAtAWholeTextItemIsReadWhenTheWalkEntersTheItem) {
    const uint32_t hDoc = AttachDoc("x\nabc\n");  // item 2 holds characters 1-3
    ASSERT_EQ(AddText(hDoc, 1, DocPos(2, kWhole), u"w"), 0u);
    ASSERT_EQ(AddText(hDoc, 2, DocPos(2, 3), u"z"), 0u);
    const std::vector<AnnoPos> rest = {DocPos(2, 2), TextPos(2, 3, 0), DocPos(2, 3), DocPos(3, kWhole)};
    std::vector<AnnoPos> fromBefore = {TextPos(2, kWhole, 0), DocPos(2, kWhole)};
    fromBefore.insert(fromBefore.end(), rest.begin(), rest.end());
    EXPECT_EQ(Walk(hDoc, DocPos(1, kWhole), true), fromBefore);
    EXPECT_EQ(Walk(hDoc, DocPos(2, 1), false), rest);
}

// From a text position the anchor's document position follows, with or
// without state; from a document position the step needs the state.
TEST_F(Stepping, FromATextPositionTheAnchorFollowsEvenWithoutState) {
    const AnnoPos inText = TextPos(0, 3, 7), inDoc = DocPos(0, 3);
    for (uint32_t hDoc : {OpenDoc("Hello\n"), 0u}) {
        AnnoPos next{};
        EXPECT_EQ(ANNextPos(hDoc, &inText, &next), 0u);
        EXPECT_EQ(next, inDoc);
        EXPECT_EQ(ANNextPos(hDoc, &inDoc, &next), ANERR_NOTFOUND);
    }
}

// The chunker step: a whole item stands for its first character; the next
// item is entered at its first character, or as a whole when it has none.
TEST_F(Stepping, ChunkerStepsThroughCharactersAndItems) {
    // Item 0: "a" (character 0); 1: an object; 2: "bc" (characters 1, 2);
    // 3: paragraph end.
    const uint32_t hDoc = AttachDoc("a{item 8}bc\n");
    const auto step = [&](AnnoPos from) {
        AnnoPos next{9, 9, 9, 9};
        EXPECT_EQ(ANNextPos(hDoc, &from, &next), 0u) << from;
        return next;
    };
    EXPECT_EQ(step(DocPos(0, kWhole)), DocPos(1, kWhole));
    EXPECT_EQ(step(DocPos(1, kWhole)), DocPos(2, 1));
    EXPECT_EQ(step(DocPos(2, kWhole)), DocPos(2, 2));
    EXPECT_EQ(step(DocPos(2, 2)), DocPos(3, kWhole));
    // A character id the item does not hold goes on to the next item (a walk
    // once counted through every id up to the item's last; found by the
    // fuzzer).
    EXPECT_EQ(step(DocPos(2, 7)), DocPos(3, kWhole));
    EXPECT_EQ(step(DocPos(2, 0)), DocPos(3, kWhole));

    // A character the chunker cannot name is taken to be the next id.
    ENFailCallAfter("CHNextItemId", 0, 25);
    EXPECT_EQ(step(DocPos(2, 1)), DocPos(2, 2));
    EXPECT_EQ(ENFailPending(), 0u);

    // After the last position: 25, `next` untouched, or cleared by the
    // chunker step.
    const AnnoPos last = DocPos(3, kWhole);
    AnnoPos next{9, 9, 9, 9};
    EXPECT_EQ(ANNextPos(hDoc, &last, &next), ANERR_NOTFOUND);
    EXPECT_EQ(next, (AnnoPos{9, 9, 9, 9}));
    EXPECT_EQ(ANNextChunkerPos(hDoc, &last, &next), ANERR_NOTFOUND);
    EXPECT_EQ(next, AnnoPos{});
}

// The single steps: hDoc 0 gives 15, a document without state 18; the chunker
// step clears `next` first, the text step writes it only on success.
TEST_F(Stepping, SingleStepsReportBadHandleAndMissingState) {
    const uint32_t hDoc = AttachDoc("Hello\n");
    const AnnoPos pos = DocPos(0, 1);
    const AnnoPos unknown = DocPos(40, 0);
    const AnnoPos sentinel{9, 9, 9, 9};
    const uint32_t hBare = OpenDoc("Hello\n");
    for (const auto& [h, error] : {std::pair{0u, ANERR_BADPARAM}, std::pair{hBare, ANERR_NOANNODATA}}) {
        AnnoPos next = sentinel;
        EXPECT_EQ(ANNextChunkerPos(h, &pos, &next), error);
        EXPECT_EQ(next, AnnoPos{});
        next = sentinel;
        EXPECT_EQ(ANNextAnnoTextPos(h, &pos, &next), error);
        EXPECT_EQ(next, sentinel);
    }
    // An item the chunker does not know; a list without inserted text.
    AnnoPos next = sentinel;
    EXPECT_EQ(ANNextChunkerPos(hDoc, &unknown, &next), ANERR_NOTFOUND);
    EXPECT_EQ(next, AnnoPos{});
    ASSERT_EQ(AddIcon(hDoc, 1, DocPos(0, 3)), 0u);
    next = sentinel;
    EXPECT_EQ(ANNextPos(hDoc, &unknown, &next), ANERR_NOTFOUND);
    EXPECT_EQ(ANNextAnnoTextPos(hDoc, &pos, &next), ANERR_NOTFOUND);
    EXPECT_EQ(next, sentinel);
}

TEST_F(Stepping, OnlyPosTypeFiveIsATextPosition) {
    for (uint32_t type : {0u, 1u, 4u, 6u, 0xFFFFFFFFu, ANPOS_ANNOTEXT}) {
        const AnnoPos pos{3, 4, type, 5};
        EXPECT_EQ(ANIsAnnoTextPos(&pos), type == ANPOS_ANNOTEXT ? 1u : 0u) << type;
    }
}

}  // namespace
