// Storing annotations in the list: the first block, position order, growth,
// and the merging of hidden ranges.
#include <gtest/gtest.h>

#include "annotation/store/adding.h"
#include "annotation/store/anno_list.h"
#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"

namespace {

using namespace testing_support;

class ListInsertion : public AnnotationTest {};

std::vector<uint32_t> UserIds(uint32_t hDoc) {
    std::vector<uint32_t> ids;
    for (const ListedNode& node : ListedNodes(hDoc)) ids.push_back(node.anno.userId);
    return ids;
}

TEST_F(ListInsertion, FirstAddMakesTenSlotsWithTheNodeInSlotZero) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(1, 2), DocPos(1, 5)), 0u);
    const uint32_t hList = ListHandle(hDoc);
    EXPECT_EQ(ENMemBlockSize(hList), 896u);
    const annotation::AnnoList header = ListHeader(hDoc);
    EXPECT_EQ(header.count, 1);
    EXPECT_EQ(header.capacity, 10);
    EXPECT_EQ(header.head, 0);
    EXPECT_EQ(header.tail, 0);
    EXPECT_EQ(header.busy, 0);
    EXPECT_EQ(header.hasInsertText, 0);
    EXPECT_EQ(FreeSlots(hDoc), (std::vector<uint16_t>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_TRUE(ListIsSound(hDoc));

    const uint32_t hOther = AttachDoc();
    ASSERT_EQ(AddBreak(hOther, 2, DocPos(1, 2)), 0u);
    EXPECT_EQ(ListHeader(hOther).hasInsertText, 1);
}

TEST_F(ListInsertion, NodesKeepStartOrderAndEqualStartsKeepTheirAddOrder) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(2, 0), DocPos(2, 4)), 0u);
    ASSERT_EQ(AddHilite(hDoc, 2, DocPos(1, 0), DocPos(1, 4)), 0u);
    ASSERT_EQ(AddHilite(hDoc, 3, DocPos(2, 0), DocPos(2, 1)), 0u);
    ASSERT_EQ(AddHilite(hDoc, 4, DocPos(1, 0xFFFFFFFF), DocPos(1, 4)), 0u);
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{4, 2, 1, 3}));
    EXPECT_TRUE(ListIsSound(hDoc));
}

}  // namespace
