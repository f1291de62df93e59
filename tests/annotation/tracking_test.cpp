// Tracking along a layout pass: at every position of a walk in reading
// order the record's switches and values must be those that the listed
// annotations give there, computed here by brute force; and the answers at
// the edges of a pass.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "annotation/styles/hilite_look.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"
#include "support/reference_model.h"

namespace {

using namespace testing_support;

constexpr uint32_t kWhole = 0xFFFFFFFF;

class Tracking : public AnnotationTest {};

uint32_t AddBitmap(uint32_t hDoc, uint32_t userId, AnnoPos at, uint32_t bitmap) {
    InsertBitmapAnno anno{};
    anno.size = sizeof anno;
    anno.userId = userId;
    anno.start = at;
    anno.displayData = bitmap;
    return ANAddAnno(hDoc, ANNO_INSERTBITMAP, &anno);
}

TEST_F(Tracking, LayoutPassAgreesWithTheListedAnnotationsAtEveryPosition) {
    // Items: 0 "Hello world" (0-10), 1 paragraph end, 2 "Second" (11-16),
    // 3 object, 4 " line" (17-21), 5 paragraph end, 6 "Third" (22-26), 7 end.
    const uint32_t hDoc = AttachDoc("Hello world\nSecond{item 8} line\nThird\n");
    HiliteStyle style{sizeof(HiliteStyle), 5, ANHS_COLOR1ON | ANHS_COLOR2ON, 0x112233, 0x445566, 0, 0, 0};
    ASSERT_EQ(ANAddHiliteStyle(hDoc, &style), 0u);

    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(0, 2), DocPos(4, 19), 0x12, 101), 0u);      // long, crossing paragraphs
    ASSERT_EQ(AddHilite(hDoc, 2, DocPos(0, 4), DocPos(0, 7), 0x34, 102), 0u);       // nested
    ASSERT_EQ(AddHilite(hDoc, 3, DocPos(0, 4), DocPos(0, 7), 0x56, 103), 0u);       // same range
    ASSERT_EQ(AddHilite(hDoc, 4, DocPos(0, 6), DocPos(2, 12), ANHILITE_BYSTYLE | 5, 104), 0u);  // crossing
    ASSERT_EQ(AddHilite(hDoc, 5, DocPos(4, 20), DocPos(6, 24), ANHILITE_BYSTYLE | 9, 105), 0u); // unknown style
    ASSERT_EQ(AddHide(hDoc, 10, DocPos(0, 8), DocPos(0, 10)), 0u);
    ASSERT_EQ(AddHide(hDoc, 11, DocPos(2, 13), DocPos(4, 18)), 0u);
    ASSERT_EQ(AddBreak(hDoc, 12, DocPos(5, kWhole), ANNO_HIDEPARABREAK), 0u);
    ASSERT_EQ(AddIcon(hDoc, 20, DocPos(0, 3), 77), 0u);
    ASSERT_EQ(AddBitmap(hDoc, 21, DocPos(3, kWhole), 88), 0u);
    ASSERT_EQ(AddText(hDoc, 30, DocPos(0, 5), u"ab", 301), 0u);
    ASSERT_EQ(AddText(hDoc, 31, TextPos(0, 5, 1), u"X", 311), 0u);
    ASSERT_EQ(AddBreak(hDoc, 32, DocPos(4, 18)), 0u);
    ASSERT_EQ(AddText(hDoc, 33, DocPos(6, 23), u"", 331), 0u);
    ASSERT_EQ(AddText(hDoc, 34, DocPos(6, 22), u"tail", 341), 0u);
    ASSERT_TRUE(ListIsSound(hDoc));
    const std::vector<ListedNode> nodes = ListedNodes(hDoc);

    AnnoPos pos = DocPos(0, 0);
    AnnoTrackInfo info{};
    ASSERT_EQ(ANStartAnnoTrack(hDoc, &pos, &info), 2u);
    int positions = 0;
    do {
        const AnnoTrackInfo before = info;
        const uint32_t bits = ANTrackAnno(hDoc, &pos, &info);
        EXPECT_TRUE(TrackedStateAgrees(hDoc, nodes, pos, bits, before, info));
        ++positions;
    } while (positions < 200 && ANNextPos(hDoc, &pos, &pos) == 0);
    EXPECT_EQ(pos, DocPos(7, kWhole));
    EXPECT_EQ(ANEndAnnoTrack(hDoc, &info), 0u);
}

// A pass over one paragraph: work happens only where an annotation begins or
// ends; a narrower hilite shows over a wider one and hands back to it.
TEST_F(Tracking, SwitchesOnlyWhereAnnotationsBeginOrEnd) {
    const uint32_t hDoc = AttachDoc("abcdefghijklmnopqrstuvwxyz0123456789\n");
    ASSERT_EQ(AddHide(hDoc, 1, DocPos(0, 10), DocPos(0, 20), 7), 0u);
    ASSERT_EQ(AddHilite(hDoc, 2, DocPos(0, 10), DocPos(0, 30), 0x12, 20), 0u);
    ASSERT_EQ(AddHilite(hDoc, 3, DocPos(0, 15), DocPos(0, 20), 0x34, 30), 0u);
    AnnoPos pos = DocPos(0, 0);
    AnnoTrackInfo info{};
    ASSERT_EQ(ANStartAnnoTrack(hDoc, &pos, &info), 2u);
    std::vector<uint32_t> bits;
    std::vector<uint32_t> shown;  // colour 1 of the hilite on, 0 for none
    for (uint32_t i = 0; i <= 31; ++i) {
        pos = DocPos(0, i);
        bits.push_back(ANTrackAnno(hDoc, &pos, &info));
        shown.push_back(info.color1On != 0 ? info.color1 : 0);
        if (i == 10) { EXPECT_EQ(info.hidden, 1); }
        if (i == 20) { EXPECT_EQ(info.hidden, 0); }
    }
    std::vector<uint32_t> expectedBits(32, 0);
    expectedBits[10] = ANTRACK_HIDE | ANTRACK_HILITE;
    expectedBits[15] = ANTRACK_HIDE | ANTRACK_HILITE;  // hidden goes off and on again
    expectedBits[20] = ANTRACK_HIDE | ANTRACK_HILITE;
    expectedBits[30] = ANTRACK_HILITE;
    EXPECT_EQ(bits, expectedBits);
    EXPECT_EQ(shown[14], annotation::gColorMap[1]);
    EXPECT_EQ(shown[16], annotation::gColorMap[3]);
    EXPECT_EQ(shown[25], annotation::gColorMap[1]);
    EXPECT_EQ(shown[31], 0u);

    // Going back is not tracked.
    pos = DocPos(0, 5);
    EXPECT_EQ(ANTrackAnno(hDoc, &pos, &info), 0u);
}

TEST_F(Tracking, StartAnswersWhetherThereIsAnythingToTrack) {
    const uint32_t hDoc = AttachDoc("abcdefghij\nklm\n");
    AnnoTrackInfo info{};
    info.hidden = info.color1On = info.paraBreakHidden = 1;
    AnnoPos pos = DocPos(0, 0);
    EXPECT_EQ(ANStartAnnoTrack(hDoc, &pos, &info), 0u);  // no annotations
    EXPECT_EQ(info.hidden, 0);
    EXPECT_EQ(info.color1On, 0);
    EXPECT_EQ(info.paraBreakHidden, 1);

    // A paragraph break the caller marked hidden is reported and cleared at
    // the first processing call; an inserted paragraph break never shows.
    ASSERT_EQ(AddBreak(hDoc, 1, DocPos(0, 1)), 0u);
    ASSERT_EQ(ANStartAnnoTrack(hDoc, &pos, &info), 2u);
    EXPECT_EQ(ANTrackAnno(hDoc, &pos, &info), 0u);  // nothing begins before (0, 1)
    pos = DocPos(0, 1);
    EXPECT_EQ(ANTrackAnno(hDoc, &pos, &info), ANTRACK_HIDEPARABREAK);
    EXPECT_EQ(info.paraBreakHidden, 0);

    // Every annotation ends before the start: 1, and nothing later.
    pos = DocPos(2, 12);
    EXPECT_EQ(ANStartAnnoTrack(hDoc, &pos, &info), 1u);
    EXPECT_EQ(info.nextChange.itemId, kWhole);
    EXPECT_EQ(ANTrackAnno(hDoc, &pos, &info), 0u);
}

TEST_F(Tracking, BadInputTouchesNothing) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(0, 0), DocPos(0, 4)), 0u);
    const AnnoPos pos = DocPos(0, 1);
    AnnoTrackInfo info{};
    info.hidden = 1;
    const AnnoTrackInfo untouched = info;
    for (uint32_t bad : {0u, 0x7777u}) {
        EXPECT_EQ(ANStartAnnoTrack(bad, &pos, &info), 0u);
        EXPECT_EQ(ANTrackAnno(bad, &pos, &info), 0u);
        EXPECT_EQ(std::memcmp(&info, &untouched, sizeof info), 0);
    }
    EXPECT_EQ(ANStartAnnoTrack(hDoc, nullptr, &info), 0u);
    EXPECT_EQ(ANStartAnnoTrack(hDoc, &pos, nullptr), 0u);
    EXPECT_EQ(ANTrackAnno(hDoc, nullptr, &info), 0u);
    EXPECT_EQ(ANTrackAnno(hDoc, &pos, nullptr), 0u);

    // Slot indexes from a record never set up, or from a larger list, lead
    // nowhere outside the list: the scan finds its place again from the head.
    info = AnnoTrackInfo{};
    info.nextNode = 4000;
    info.hiliteNode = 4001;
    EXPECT_EQ(ANTrackAnno(hDoc, &pos, &info), ANTRACK_HILITE);
    EXPECT_EQ(info.nextNode, 0);
    EXPECT_EQ(info.hiliteNode, 0xFFFF);
}

}  // namespace
