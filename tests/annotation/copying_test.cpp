// Copying annotations from one document into another: records as they are,
// own text blocks, the list rules of the destination, the source's styles,
// no callback, the source unchanged; the failures of either document's
// lookup with nothing left locked; a document copied onto itself; running
// out of memory.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"

namespace {

using namespace testing_support;

constexpr uint32_t kDataAccessError = 77;

class Copying : public AnnotationTest {
protected:
    // A source with a hilite, a hidden range, an inserted text and a style.
    uint32_t FilledSource() {
        const uint32_t hSource = AttachDoc();
        EXPECT_EQ(AddHilite(hSource, 1, DocPos(0, 1), DocPos(0, 4)), 0u);
        EXPECT_EQ(AddHide(hSource, 2, DocPos(0, 5), DocPos(0, 7)), 0u);
        EXPECT_EQ(AddText(hSource, 3, DocPos(2, 12), u"xyz"), 0u);
        HiliteStyle style{sizeof(HiliteStyle), 9, ANHS_COLOR1ON, 0x123456, 0, 0, 0, 0};
        EXPECT_EQ(ANAddHiliteStyle(hSource, &style), 0u);
        return hSource;
    }

    static bool HasStyle9(uint32_t hDoc) {
        HiliteStyle found{};
        return ANGetHiliteStyle(hDoc, 9, &found) == 1;
    }

    static void ExpectNothingHeld() {
        EXPECT_EQ(ENMemLockedBlocks(), 0u);
        EXPECT_EQ(ENModuleDataLocked(), 0u);
    }
};

// Every word of every node, and the texts, as they were.
void ExpectSameNodes(const std::vector<ListedNode>& now, const std::vector<ListedNode>& before) {
    ASSERT_EQ(now.size(), before.size());
    for (size_t i = 0; i < now.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(now[i].slot, before[i].slot);
        EXPECT_EQ(now[i].kind, before[i].kind);
        EXPECT_EQ(std::memcmp(&now[i].anno, &before[i].anno, sizeof(InternalAnno)), 0);
        EXPECT_EQ(now[i].text, before[i].text);
    }
}

TEST_F(Copying, CopiesAreTheDestinationsOwn) {
    const uint32_t hSource = FilledSource();
    const uint32_t hDest = AttachDoc();
    ASSERT_EQ(AddHide(hDest, 4, DocPos(0, 7), DocPos(0, 9)), 0u);
    CallbackLog log;
    log.InstallOn(hDest);
    const std::vector<ListedNode> sourceBefore = ListedNodes(hSource);

    ASSERT_EQ(ANCopyAnnos(hDest, hSource), 0u);
    ExpectNothingHeld();
    EXPECT_TRUE(ListIsSound(hDest));
    EXPECT_TRUE(ListIsSound(hSource));
    EXPECT_TRUE(log.heard.empty());  // no notification in the destination
    ExpectSameNodes(ListedNodes(hSource), sourceBefore);
    // The copied hidden range [5, 7] touches the destination's [7, 9]: the
    // destination's node takes it, as the list rules have it.
    EXPECT_EQ(UserIds(hDest), (std::vector<uint32_t>{1, 4, 3}));
    EXPECT_EQ(NodeOf(hDest, 4).anno.start, DocPos(0, 5));
    EXPECT_EQ(NodeOf(hDest, 4).anno.end, DocPos(0, 9));
    EXPECT_EQ(NodeOf(hDest, 1).anno.end, DocPos(0, 4));
    EXPECT_TRUE(HasStyle9(hDest));

    // Each document holds its own text: dropping one leaves the other.
    EXPECT_NE(NodeOf(hDest, 3).anno.hText, NodeOf(hSource, 3).anno.hText);
    ASSERT_EQ(ANClearAnnos(hSource, ANMATCH_USERID, 3), 0u);
    EXPECT_EQ(NodeOf(hDest, 3).text, u"xyz");
    EXPECT_TRUE(ListIsSound(hSource));

    const uint32_t hThird = AttachDoc();
    ASSERT_EQ(ANCopyAnnos(hThird, hDest), 0u);
    ASSERT_EQ(ANClearAnnos(hThird, ANMATCH_USERID, 3), 0u);
    EXPECT_EQ(NodeOf(hDest, 3).text, u"xyz");
    EXPECT_TRUE(ListIsSound(hThird));
}

TEST_F(Copying, FromADocumentWithoutListNothingIsCopied) {
    const uint32_t hEmpty = AttachDoc();
    const uint32_t hDest = AttachDoc();
    HiliteStyle style{sizeof(HiliteStyle), 9, ANHS_COLOR1ON, 1, 0, 0, 0, 0};
    ASSERT_EQ(ANAddHiliteStyle(hEmpty, &style), 0u);
    EXPECT_EQ(ANCopyAnnos(hDest, hEmpty), 0u);
    EXPECT_FALSE(HasStyle9(hDest));  // not even the styles
    EXPECT_EQ(ListHandle(hDest), 0u);
    ExpectNothingHeld();
}

// A document whose own style table could not be made (ANInit goes on
// without it) copies and takes annotations all the same, and no styles.
TEST_F(Copying, ADocumentWithoutAStyleTableCopiesTheAnnotationsAlone) {
    const uint32_t hSource = FilledSource();
    const uint32_t hBare = OpenDoc("Hello world\nSecond\n");
    ENFailAllocAfter(1);  // the state block is made, its style table not
    ASSERT_EQ(ANInit(hBare, 0, nullptr, 0), 0u);
    ASSERT_EQ(DocInfo(hBare).hHiliteStyles, 0u);
    EXPECT_EQ(ANCopyAnnos(hBare, hSource), 0u);
    EXPECT_EQ(UserIds(hBare), (std::vector<uint32_t>{1, 2, 3}));
    EXPECT_FALSE(HasStyle9(hBare));

    const uint32_t hDest = AttachDoc();
    EXPECT_EQ(ANCopyAnnos(hDest, hBare), 0u);
    EXPECT_EQ(UserIds(hDest), (std::vector<uint32_t>{1, 2, 3}));
    ExpectNothingHeld();
    EXPECT_EQ(ANDeInit(hBare), 0u);
}

// Lookups that fail: for the source (before anything is locked), for the
// destination (with the source state and list locked), and for the
// destination again before the styles (after the nodes were copied). Each
// code is returned as it is and nothing stays locked.
TEST_F(Copying, FailedLookupsAreReturnedWithNothingLocked) {
    const uint32_t hSource = FilledSource();
    const uint32_t hDest = AttachDoc();
    const uint32_t hBare = OpenDoc("no state\n");
    const std::vector<ListedNode> sourceBefore = ListedNodes(hSource);

    EXPECT_EQ(ANCopyAnnos(hDest, 0), ANERR_BADPARAM);
    EXPECT_EQ(ANCopyAnnos(hDest, hBare), ANERR_NOANNODATA);
    ENFailCallAfter("DAGetAnno", 0, kDataAccessError);
    EXPECT_EQ(ANCopyAnnos(hDest, hSource), kDataAccessError);
    ExpectNothingHeld();

    EXPECT_EQ(ANCopyAnnos(0, hSource), ANERR_BADPARAM);
    ExpectNothingHeld();
    EXPECT_EQ(ANCopyAnnos(hBare, hSource), ANERR_NOANNODATA);
    ExpectNothingHeld();
    ENFailCallAfter("DAGetAnno", 1, kDataAccessError);
    EXPECT_EQ(ANCopyAnnos(hDest, hSource), kDataAccessError);
    ExpectNothingHeld();
    EXPECT_EQ(ListHandle(hDest), 0u);

    ENFailCallAfter("DAGetAnno", 2, kDataAccessError);
    EXPECT_EQ(ANCopyAnnos(hDest, hSource), kDataAccessError);
    ExpectNothingHeld();
    EXPECT_EQ(UserIds(hDest), (std::vector<uint32_t>{1, 2, 3}));  // copied, but no styles
    EXPECT_FALSE(HasStyle9(hDest));
    EXPECT_TRUE(ListIsSound(hDest));
    ExpectSameNodes(ListedNodes(hSource), sourceBefore);
}

// A document copied onto itself is refused and nothing changes: the list
// cannot grow under its own walk. Without annotations there is nothing to
// copy, and the answer is 0 as for any such source.
TEST_F(Copying, OntoItselfIsRefused) {
    const uint32_t hSource = FilledSource();
    const uint32_t hEmpty = AttachDoc();
    const std::vector<ListedNode> before = ListedNodes(hSource);
    EXPECT_EQ(ANCopyAnnos(hSource, hSource), ANERR_BADPARAM);
    EXPECT_EQ(ANCopyAnnos(hEmpty, hEmpty), 0u);
    ExpectNothingHeld();
    ExpectSameNodes(ListedNodes(hSource), before);
    EXPECT_EQ(ListHandle(hEmpty), 0u);
}

// Every allocation of a copy fails in turn (list block, growths, text
// blocks, the style array): the copy still answers 0, nothing stays locked,
// both lists stay sound and the source keeps every node; the fixture checks
// that nothing leaks.
TEST_F(Copying, RunningOutOfMemoryLeavesBothListsSound) {
    const uint32_t hSource = AttachDoc();
    for (uint32_t id = 1; id <= 10; ++id) ASSERT_EQ(AddHilite(hSource, id, DocPos(0, id), DocPos(2, 12)), 0u);
    ASSERT_EQ(AddText(hSource, 11, DocPos(2, 12), u"xyz"), 0u);
    HiliteStyle style{sizeof(HiliteStyle), 9, ANHS_COLOR1ON, 1, 0, 0, 0, 0};
    ASSERT_EQ(ANAddHiliteStyle(hSource, &style), 0u);
    const std::vector<ListedNode> sourceBefore = ListedNodes(hSource);
    bool reachedTheEnd = false;
    for (int32_t n = 0; n < 40 && !reachedTheEnd; ++n) {
        SCOPED_TRACE(n);
        const uint32_t hDest = AttachDoc();
        ENFailAllocAfter(n);
        EXPECT_EQ(ANCopyAnnos(hDest, hSource), 0u);
        reachedTheEnd = ENFailPending() != 0;
        ENFailAllocAfter(-1);
        ExpectNothingHeld();
        EXPECT_TRUE(ListIsSound(hDest));
        EXPECT_TRUE(ListIsSound(hSource));
        ExpectSameNodes(ListedNodes(hSource), sourceBefore);
        if (reachedTheEnd) {
            EXPECT_EQ(UserIds(hDest).size(), 11u);
            EXPECT_EQ(NodeOf(hDest, 11).text, u"xyz");
            EXPECT_TRUE(HasStyle9(hDest));
        }
        DetachDoc(hDest);
    }
    EXPECT_TRUE(reachedTheEnd);
}

}  // namespace
