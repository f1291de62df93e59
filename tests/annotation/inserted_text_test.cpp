// Inserted text and paragraph breaks: joining new text into the text node of
// its stretch, renumbering the text positions of other annotations, splitting
// a text node at a break, copies that keep their positions, and text blocks.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "annotation/store/adding.h"
#include "annotation/store/anno_record.h"
#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"
#include "support/list_layout.h"

namespace {

using namespace testing_support;

class InsertedText : public AnnotationTest {};

// The anchor most cases insert at: the first 'l' of "Hello".
constexpr AnnoPos P = DocPos(0, 2);
constexpr AnnoPos AtP(uint32_t offset) { return TextPos(0, 2, offset); }

std::vector<uint16_t> Kinds(const std::vector<ListedNode>& nodes) {
    std::vector<uint16_t> kinds;
    for (const ListedNode& node : nodes) kinds.push_back(node.kind);
    return kinds;
}

// A text whose characters differ, so that a misplaced copy shows.
std::u16string Pattern(size_t length, char16_t first) {
    std::u16string text;
    for (size_t i = 0; i < length; ++i) text.push_back(static_cast<char16_t>(first + i % 26));
    return text;
}

TEST_F(InsertedText, NewTextJoinsTheTextBeforeOrGoesIntoTheTextAfterAtItsOffset) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddText(hDoc, 1, P, u"abc"), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    ASSERT_EQ(AddText(hDoc, 2, P, u"uv"), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    std::vector<ListedNode> nodes = ListedNodes(hDoc);
    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_EQ(nodes[0].text, u"abcuv");
    EXPECT_EQ(nodes[0].anno.userId, 1u);
    EXPECT_EQ(nodes[0].anno.start, P);

    // At a text position the new text lands inside the text that follows.
    ASSERT_EQ(AddText(hDoc, 3, AtP(1), u"xy"), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    nodes = ListedNodes(hDoc);
    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_EQ(nodes[0].text, u"axybcuv");
}

TEST_F(InsertedText, TextIsNotJoinedAcrossAParagraphBreak) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddText(hDoc, 1, P, u"ab"), 0u);
    ASSERT_EQ(AddBreak(hDoc, 2, P), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    ASSERT_EQ(AddText(hDoc, 3, P, u"uv"), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    const std::vector<ListedNode> nodes = ListedNodes(hDoc);
    ASSERT_EQ(Kinds(nodes), (std::vector<uint16_t>{ANNO_INSERTTEXT, ANNO_INSERTPARABREAK, ANNO_INSERTTEXT}));
    EXPECT_EQ(nodes[0].text, u"ab");
    EXPECT_EQ(nodes[2].text, u"uv");
    // Each insert node that the next insert at P goes behind moves to the text
    // position where its share of the combined text a b | u v ends.
    EXPECT_EQ(nodes[0].anno.start, AtP(2));
    EXPECT_EQ(nodes[0].anno.end, AtP(3));
    EXPECT_EQ(nodes[1].anno.start, AtP(3));
    EXPECT_EQ(nodes[1].anno.end, AtP(4));
    EXPECT_EQ(nodes[2].anno.start, P);
}

// Text added at a document position: ranges that ended at the anchor stop in
// front of the new text, and icons at the anchor move in front of it.
TEST_F(InsertedText, TextAtTheAnchorRenumbersRangeEndsAndIcons) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddHilite(hDoc, 10, DocPos(0, 0), P), 0u);
    ASSERT_EQ(AddIcon(hDoc, 11, P), 0u);
    ASSERT_EQ(AddText(hDoc, 1, P, u"abc"), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    std::vector<ListedNode> nodes = ListedNodes(hDoc);
    ASSERT_EQ(nodes.size(), 3u);
    EXPECT_EQ(nodes[0].anno.userId, 10u);
    EXPECT_EQ(nodes[0].anno.end, AtP(0));
    EXPECT_EQ(nodes[1].kind, ANNO_INSERTTEXT);  // linked in front of the icon
    EXPECT_EQ(nodes[2].anno.userId, 11u);
    EXPECT_EQ(nodes[2].anno.start, AtP(0));
    EXPECT_EQ(nodes[2].anno.end, AtP(1));

    // With three characters already in front, a range ending at the anchor
    // ends behind them; earlier renumbered positions stay.
    ASSERT_EQ(AddHilite(hDoc, 12, DocPos(0, 1), P), 0u);
    ASSERT_EQ(AddText(hDoc, 2, P, u"uv"), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    nodes = ListedNodes(hDoc);
    ASSERT_EQ(nodes.size(), 4u);
    EXPECT_EQ(nodes[0].anno.end, AtP(0));
    EXPECT_EQ(nodes[1].anno.userId, 12u);
    EXPECT_EQ(nodes[1].anno.end, AtP(3));
    EXPECT_EQ(nodes[2].text, u"abcuv");
    EXPECT_EQ(nodes[3].anno.start, AtP(0));
    EXPECT_EQ(nodes[3].anno.end, AtP(1));
}

// Text added at a text position k: ranges move behind it from k on, point
// annotations only from k + 1 on; a range end at k stays.
TEST_F(InsertedText, TextAtATextPositionShiftsLaterOffsets) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddText(hDoc, 1, P, u"abcd"), 0u);
    ASSERT_EQ(AddHilite(hDoc, 10, AtP(1), AtP(3)), 0u);
    ASSERT_EQ(AddHilite(hDoc, 11, DocPos(0, 0), AtP(1)), 0u);
    ASSERT_EQ(AddIcon(hDoc, 12, AtP(1)), 0u);
    ASSERT_EQ(AddIcon(hDoc, 13, AtP(2)), 0u);
    ASSERT_EQ(AddText(hDoc, 2, AtP(1), u"xy"), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    const std::vector<ListedNode> nodes = ListedNodes(hDoc);
    ASSERT_EQ(nodes.size(), 5u);
    EXPECT_EQ(ByUserId(nodes, 1).text, u"axybcd");
    EXPECT_EQ(ByUserId(nodes, 1).anno.start, P);
    EXPECT_EQ(ByUserId(nodes, 10).anno.start, AtP(3));
    EXPECT_EQ(ByUserId(nodes, 10).anno.end, AtP(5));
    EXPECT_EQ(ByUserId(nodes, 11).anno.end, AtP(1));
    EXPECT_EQ(ByUserId(nodes, 12).anno.start, AtP(1));
    EXPECT_EQ(ByUserId(nodes, 12).anno.end, AtP(2));
    EXPECT_EQ(ByUserId(nodes, 13).anno.start, AtP(4));
    EXPECT_EQ(ByUserId(nodes, 13).anno.end, AtP(5));
}

TEST_F(InsertedText, BreakInsideTextSplitsTheTextNode) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddText(hDoc, 1, P, u"abcd"), 0u);
    ASSERT_EQ(AddBreak(hDoc, 2, AtP(2)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    std::vector<ListedNode> nodes = ListedNodes(hDoc);
    ASSERT_EQ(Kinds(nodes), (std::vector<uint16_t>{ANNO_INSERTTEXT, ANNO_INSERTPARABREAK, ANNO_INSERTTEXT}));
    EXPECT_EQ(nodes[0].text, u"ab");
    EXPECT_EQ(nodes[0].anno.textCap, 64u);
    EXPECT_EQ(nodes[0].anno.start, AtP(2));
    EXPECT_EQ(nodes[0].anno.end, AtP(3));
    EXPECT_EQ(nodes[0].anno.userId, 1u);
    EXPECT_NE(nodes[0].anno.hText, nodes[2].anno.hText);
    EXPECT_EQ(nodes[1].anno.start, AtP(3));
    EXPECT_EQ(nodes[1].anno.end, AtP(4));
    EXPECT_EQ(nodes[2].text, u"cd");
    EXPECT_EQ(nodes[2].anno.start, P);

    // In front of the first character there is nothing to split off.
    const uint32_t hNone = AttachDoc();
    ASSERT_EQ(AddText(hNone, 1, P, u"abcd"), 0u);
    ASSERT_EQ(AddBreak(hNone, 2, AtP(0)), 0u);
    EXPECT_TRUE(ListIsSound(hNone));
    nodes = ListedNodes(hNone);
    ASSERT_EQ(Kinds(nodes), (std::vector<uint16_t>{ANNO_INSERTPARABREAK, ANNO_INSERTTEXT}));
    EXPECT_EQ(nodes[0].anno.start, AtP(1));
    EXPECT_EQ(nodes[0].anno.end, AtP(2));
    EXPECT_EQ(nodes[1].text, u"abcd");
    EXPECT_EQ(nodes[1].anno.start, P);
}

// Copies arrive with final positions: nothing is renumbered or split, but a
// copied text still joins the text of its stretch.
TEST_F(InsertedText, CopiesKeepEveryPositionAndStillJoin) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddText(hDoc, 1, P, u"abcd"), 0u);
    // Added behind the text, so both still reach the anchor itself.
    ASSERT_EQ(AddHilite(hDoc, 10, DocPos(0, 0), P), 0u);
    ASSERT_EQ(AddIcon(hDoc, 11, P), 0u);
    ASSERT_EQ(AddHilite(hDoc, 12, AtP(3), AtP(4)), 0u);

    annotation::AnnoRecord text;
    text.anno.size = 72;
    text.anno.userId = 2;
    text.anno.start = P;
    text.anno.end = DocPos(0, 3);
    const std::u16string uv = u"uv";
    annotation::SetRecordText(text, uv.data());
    text.anno.textLen = 2;
    ASSERT_EQ(annotation::AddAnnotationToList(DocInfoHandle(hDoc), ANNO_INSERTTEXT, &text, 1), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(text.anno.start, P);

    annotation::AnnoRecord brk;
    brk.anno.size = 56;
    brk.anno.userId = 3;
    brk.anno.start = AtP(2);
    brk.anno.end = AtP(3);
    ASSERT_EQ(annotation::AddAnnotationToList(DocInfoHandle(hDoc), ANNO_INSERTPARABREAK, &brk, 1), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(brk.anno.start, AtP(2));

    const std::vector<ListedNode> nodes = ListedNodes(hDoc);
    ASSERT_EQ(nodes.size(), 5u);
    EXPECT_EQ(nodes[0].anno.userId, 10u);
    EXPECT_EQ(nodes[0].anno.end, P);
    EXPECT_EQ(nodes[1].kind, ANNO_INSERTPARABREAK);
    EXPECT_EQ(nodes[1].anno.start, AtP(2));
    EXPECT_EQ(nodes[1].anno.end, AtP(3));
    EXPECT_EQ(nodes[2].anno.userId, 12u);
    EXPECT_EQ(nodes[2].anno.start, AtP(3));
    EXPECT_EQ(nodes[2].anno.end, AtP(4));
    EXPECT_EQ(nodes[3].text, u"abcduv");
    EXPECT_EQ(nodes[3].anno.start, P);
    EXPECT_EQ(nodes[4].anno.userId, 11u);
    EXPECT_EQ(nodes[4].anno.start, P);
}

// Offsets the text cannot hold go to the nearest end of the text; nothing is
// written outside a text block.
TEST_F(InsertedText, OffsetsOutsideTheTextAreClamped) {
    const uint32_t hPast = AttachDoc();
    ASSERT_EQ(AddText(hPast, 1, P, u"abcd"), 0u);
    ASSERT_EQ(AddText(hPast, 2, AtP(9), u"uv"), 0u);
    EXPECT_TRUE(ListIsSound(hPast));
    ASSERT_EQ(ListedNodes(hPast).size(), 1u);
    EXPECT_EQ(ListedNodes(hPast)[0].text, u"abcduv");

    const uint32_t hSplit = AttachDoc();
    ASSERT_EQ(AddText(hSplit, 1, P, u"abcd"), 0u);
    ASSERT_EQ(AddBreak(hSplit, 2, AtP(9)), 0u);
    EXPECT_TRUE(ListIsSound(hSplit));
    const std::vector<ListedNode> split = ListedNodes(hSplit);
    ASSERT_EQ(Kinds(split), (std::vector<uint16_t>{ANNO_INSERTTEXT, ANNO_INSERTPARABREAK, ANNO_INSERTTEXT}));
    EXPECT_EQ(split[0].text, u"abcd");
    EXPECT_EQ(split[2].text, u"");

    // Text c d follows a break whose offset says less than the four characters
    // in front of it: the new text goes to the start of c d.
    const uint32_t hBefore = AttachDoc();
    LayOutList(DocInfoHandle(hBefore), {TextNode(1, AtP(0), u"abc"),
                                        Node(ANNO_INSERTPARABREAK, 2, AtP(1), AtP(2)), TextNode(3, P, u"cd")});
    ASSERT_EQ(AddText(hBefore, 4, AtP(1), u"xy"), 0u);
    EXPECT_TRUE(ListIsSound(hBefore));
    const std::vector<ListedNode> before = ListedNodes(hBefore);
    ASSERT_EQ(before.size(), 3u);
    EXPECT_EQ(before[0].text, u"abc");
    EXPECT_EQ(before[2].text, u"xycd");
}

TEST_F(InsertedText, TextBlocksAreMultiplesOf64LongerThanTheText) {
    const uint32_t hDoc = AttachDoc();
    const std::u16string first = Pattern(64, u'a');
    const std::u16string second = Pattern(64, u'A');
    const std::u16string longText = Pattern(200, u'a');
    ASSERT_EQ(AddText(hDoc, 1, P, first), 0u);
    ASSERT_EQ(AddText(hDoc, 2, DocPos(2, 0xB), longText), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    std::vector<ListedNode> nodes = ListedNodes(hDoc);
    ASSERT_EQ(nodes.size(), 2u);
    EXPECT_EQ(nodes[0].anno.textCap, 128u);
    EXPECT_EQ(nodes[0].text, first);
    EXPECT_EQ(nodes[1].anno.textCap, 256u);
    EXPECT_EQ(nodes[1].text, longText);

    ASSERT_EQ(AddText(hDoc, 3, P, second), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    nodes = ListedNodes(hDoc);
    ASSERT_EQ(nodes.size(), 2u);
    EXPECT_EQ(nodes[0].anno.textLen, 128u);
    EXPECT_EQ(nodes[0].anno.textCap, 192u);
    EXPECT_EQ(nodes[0].text, first + second);
}

TEST_F(InsertedText, CallbackHearsEveryAddOnceAlsoWhenTheTextWasJoined) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    log.InstallOn(hDoc);
    ASSERT_EQ(AddText(hDoc, 1, P, u"abc"), 0u);
    ASSERT_EQ(AddText(hDoc, 2, P, u"uv"), 0u);
    ASSERT_EQ(AddBreak(hDoc, 3, AtP(1)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    ASSERT_EQ(log.heard.size(), 3u);
    const uint32_t kinds[] = {ANNO_INSERTTEXT, ANNO_INSERTTEXT, ANNO_INSERTPARABREAK};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(log.heard[i].code, 1u);
        EXPECT_EQ(log.heard[i].arg, kinds[i]);
        EXPECT_EQ(log.heard[i].record.userId, i + 1);
    }
    EXPECT_EQ(log.heard[1].record.textLen, 2u);
    EXPECT_EQ(ListedNodes(hDoc).size(), 3u);
}

}  // namespace
