// Questions about the list at one position: hidden at all, hidden by hidden
// text, and the next node that still matters there.
#include <gtest/gtest.h>

#include <vector>

#include "annotation/handle_lock.h"
#include "annotation/positions/list_queries.h"
#include "annotation/store/anno_list.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"
#include "support/list_layout.h"

namespace {

using namespace testing_support;
using annotation::FindNextAnnoByPos;
using annotation::IsPositionHidden;
using annotation::IsTextHidden;
using annotation::kNoSlot;

class ListQueries : public AnnotationTest {
protected:
    // A document whose list is laid out as given; its state handle.
    uint32_t StateWith(const std::vector<NodeSpec>& nodes) {
        const uint32_t hDoc = AttachDoc();
        const uint32_t hInfo = DocInfoHandle(hDoc);
        LayOutList(hInfo, nodes);
        EXPECT_TRUE(ListIsSound(hDoc));
        return hInfo;
    }

    // {IsPositionHidden, IsTextHidden} at pos.
    static std::pair<int, int> Hidden(uint32_t hInfo, AnnoPos pos) {
        return {IsPositionHidden(hInfo, &pos), IsTextHidden(hInfo, &pos)};
    }
};

using Answer = std::pair<int, int>;

TEST_F(ListQueries, AHiddenRangeHidesItsStartButNotItsEnd) {
    const uint32_t hInfo = StateWith({Node(ANNO_HIDETEXT, 1, DocPos(2, 5), DocPos(2, 9))});
    EXPECT_EQ(Hidden(hInfo, DocPos(2, 4)), Answer(0, 0));
    EXPECT_EQ(Hidden(hInfo, DocPos(2, 5)), Answer(1, 1));
    EXPECT_EQ(Hidden(hInfo, DocPos(2, 8)), Answer(1, 1));
    EXPECT_EQ(Hidden(hInfo, DocPos(2, 9)), Answer(0, 0));
    // Text inserted at the range's start is read before it; text inserted
    // further in lies inside it.
    EXPECT_EQ(Hidden(hInfo, TextPos(2, 5, 0)), Answer(0, 0));
    EXPECT_EQ(Hidden(hInfo, TextPos(2, 5, 3)), Answer(0, 0));
    EXPECT_EQ(Hidden(hInfo, TextPos(2, 7, 0)), Answer(1, 1));
}

TEST_F(ListQueries, OnlyHiddenTextAndHiddenBreaksHide) {
    // Nodes that cover the position without hiding it come first; the walk
    // goes past them to the hidden range behind.
    const uint32_t hInfo = StateWith({
        Node(ANNO_HILITETEXT, 1, DocPos(1, 0), DocPos(3, 0)),
        Node(ANNO_HIDETEXT, 2, DocPos(2, 0), DocPos(2, 0)),
        Node(ANNO_INSERTICON, 3, DocPos(2, 0), DocPos(2, 1)),
        TextNode(4, DocPos(2, 0), u"ab"),
        Node(ANNO_HIDEPARABREAK, 5, DocPos(2, 2), DocPos(2, 3)),
        Node(ANNO_HIDETEXT, 6, DocPos(2, 4), DocPos(2, 6)),
    });
    EXPECT_EQ(Hidden(hInfo, DocPos(2, 0)), Answer(0, 0)) << "an empty range hides nothing";
    EXPECT_EQ(Hidden(hInfo, DocPos(2, 2)), Answer(1, 0)) << "a hidden break is not hidden text";
    EXPECT_EQ(Hidden(hInfo, DocPos(2, 3)), Answer(0, 0));
    EXPECT_EQ(Hidden(hInfo, DocPos(2, 5)), Answer(1, 1));
}

TEST_F(ListQueries, NoStateOrNoListHidesNothing) {
    const AnnoPos pos = DocPos(0, 1);
    EXPECT_EQ(IsPositionHidden(0, &pos), 0);
    EXPECT_EQ(IsTextHidden(0, &pos), 0);
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(ListHandle(hDoc), 0u);
    EXPECT_EQ(Hidden(DocInfoHandle(hDoc), pos), Answer(0, 0));

    // A list that was emptied again is gone, and hides nothing either.
    ASSERT_EQ(AddHide(hDoc, 1, DocPos(0, 0), DocPos(0, 4)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(Hidden(DocInfoHandle(hDoc), pos), Answer(1, 1));
    ASSERT_EQ(ANClearAnnos(hDoc, 0, 0), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(Hidden(DocInfoHandle(hDoc), pos), Answer(0, 0));
}

TEST_F(ListQueries, FindNextSkipsOnlyNodesWhollyBeforeThePosition) {
    const uint32_t hInfo = StateWith({
        Node(ANNO_HILITETEXT, 1, DocPos(1, 0), DocPos(1, 5)),
        Node(ANNO_HIDETEXT, 2, DocPos(2, 0), DocPos(2, 4)),
        Node(ANNO_INSERTICON, 3, DocPos(2, 4), DocPos(2, 5)),
        Node(ANNO_HILITETEXT, 4, DocPos(3, 0), DocPos(3, 2)),
    });
    const uint32_t hList = annotation::LockedBlock<annotation::AnnoDocInfo>(hInfo)->hAnnoList;
    annotation::LockedBlock<annotation::AnnoList> list(hList);
    ASSERT_TRUE(list);

    const AnnoPos at = DocPos(2, 4);
    EXPECT_EQ(FindNextAnnoByPos(*list, kNoSlot, &at), 1) << "a node ending exactly there is returned";
    EXPECT_EQ(FindNextAnnoByPos(*list, 1, &at), 2);
    EXPECT_EQ(FindNextAnnoByPos(*list, 2, &at), 3) << "a node starting after it is returned";
    EXPECT_EQ(FindNextAnnoByPos(*list, 3, &at), kNoSlot) << "nothing follows the last node";

    const AnnoPos before = DocPos(0, 0);
    EXPECT_EQ(FindNextAnnoByPos(*list, kNoSlot, &before), 0);
    const AnnoPos past = DocPos(9, 0);
    EXPECT_EQ(FindNextAnnoByPos(*list, kNoSlot, &past), kNoSlot);
    const AnnoPos inside = DocPos(1, 2);
    EXPECT_EQ(FindNextAnnoByPos(*list, kNoSlot, &inside), 0);
    EXPECT_EQ(FindNextAnnoByPos(*list, 0, &inside), 1);
    EXPECT_EQ(FindNextAnnoByPos(*list, 500, &inside), kNoSlot) << "a slot outside the list";
}

}  // namespace
