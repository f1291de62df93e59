// Copying annotations from one document into another: records as they are,
// own text blocks, the list rules of the destination, the source's styles,
// no callback, the source unchanged; and the refusals.
#include <gtest/gtest.h>

#include <vector>

#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"

namespace {

using namespace testing_support;

class Copying : public AnnotationTest {};

TEST_F(Copying, CopiesAreTheDestinationsOwn) {
    const uint32_t hSource = AttachDoc();
    const uint32_t hDest = AttachDoc();
    ASSERT_EQ(AddHilite(hSource, 1, DocPos(0, 1), DocPos(0, 4)), 0u);
    ASSERT_EQ(AddHide(hSource, 2, DocPos(0, 5), DocPos(0, 7)), 0u);
    ASSERT_EQ(AddText(hSource, 3, DocPos(2, 12), u"xyz"), 0u);
    ASSERT_EQ(AddHide(hDest, 4, DocPos(0, 7), DocPos(0, 9)), 0u);
    HiliteStyle style{sizeof(HiliteStyle), 9, ANHS_COLOR1ON, 0x123456, 0, 0, 0, 0};
    ASSERT_EQ(ANAddHiliteStyle(hSource, &style), 0u);
    CallbackLog log;
    log.InstallOn(hDest);
    const std::vector<uint32_t> sourceIds = UserIds(hSource);

    ASSERT_EQ(ANCopyAnnos(hDest, hSource), 0u);
    EXPECT_TRUE(ListIsSound(hDest));
    EXPECT_TRUE(log.heard.empty());
    EXPECT_EQ(UserIds(hSource), sourceIds);
    // The copied hidden range touches the destination's own and merges.
    EXPECT_EQ(UserIds(hDest), (std::vector<uint32_t>{1, 4, 3}));
    EXPECT_EQ(NodeOf(hDest, 4).anno.start, DocPos(0, 5));
    HiliteStyle copied{};
    EXPECT_EQ(ANGetHiliteStyle(hDest, 9, &copied), 1u);
    EXPECT_EQ(copied.color1, 0x123456u);

    // Each document holds its own text: dropping one leaves the other.
    EXPECT_NE(NodeOf(hDest, 3).anno.hText, NodeOf(hSource, 3).anno.hText);
    ASSERT_EQ(ANClearAnnos(hSource, ANMATCH_USERID, 3), 0u);
    EXPECT_EQ(NodeOf(hDest, 3).text, u"xyz");
    EXPECT_TRUE(ListIsSound(hSource));
}

TEST_F(Copying, RefusalsChangeNothing) {
    const uint32_t hSource = AttachDoc();
    const uint32_t hEmpty = AttachDoc();
    const uint32_t hBare = OpenDoc("no state\n");
    HiliteStyle style{sizeof(HiliteStyle), 9, ANHS_COLOR1ON, 1, 0, 0, 0, 0};
    ASSERT_EQ(ANAddHiliteStyle(hEmpty, &style), 0u);
    ASSERT_EQ(AddHilite(hSource, 1, DocPos(0, 1), DocPos(0, 4)), 0u);

    // From a document without annotations: nothing, not even the styles.
    EXPECT_EQ(ANCopyAnnos(hSource, hEmpty), 0u);
    HiliteStyle none{};
    EXPECT_EQ(ANGetHiliteStyle(hSource, 9, &none), 0u);
    EXPECT_EQ(ANCopyAnnos(hSource, hSource), ANERR_BADPARAM);
    EXPECT_EQ(ANCopyAnnos(0, hSource), ANERR_BADPARAM);
    EXPECT_EQ(ANCopyAnnos(hEmpty, 0), ANERR_BADPARAM);
    EXPECT_EQ(ANCopyAnnos(hBare, hSource), ANERR_NOANNODATA);
    EXPECT_EQ(UserIds(hSource), (std::vector<uint32_t>{1}));
    EXPECT_EQ(ListHandle(hEmpty), 0u);
}

// Every allocation of a copy fails in turn: the copy still answers 0 and
// both lists stay sound; the fixture checks that nothing leaks.
TEST_F(Copying, RunningOutOfMemoryLeavesBothListsSound) {
    const uint32_t hSource = AttachDoc();
    for (uint32_t id = 1; id <= 10; ++id) ASSERT_EQ(AddHilite(hSource, id, DocPos(0, id), DocPos(2, 12)), 0u);
    ASSERT_EQ(AddText(hSource, 11, DocPos(2, 12), u"xyz"), 0u);
    bool reachedTheEnd = false;
    for (int32_t n = 0; n < 20 && !reachedTheEnd; ++n) {
        const uint32_t hDest = AttachDoc();
        ENFailAllocAfter(n);
        EXPECT_EQ(ANCopyAnnos(hDest, hSource), 0u);
        reachedTheEnd = ENFailPending() != 0;
        ENFailAllocAfter(-1);
        EXPECT_EQ(ENMemLockedBlocks(), 0u);
        EXPECT_TRUE(ListIsSound(hDest));
        EXPECT_TRUE(ListIsSound(hSource));
        DetachDoc(hDest);
    }
    EXPECT_TRUE(reachedTheEnd);
    EXPECT_EQ(UserIds(hSource).size(), 11u);
}

}  // namespace
