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

// A growth that fails keeps the node and the one free slot; the next add
// takes that slot, the one after finds none. After removals the free slots
// lie anywhere, and the next growth must keep them all on the free list.
TEST_F(ListInsertion, GrowthAfterAFailedGrowthKeepsEveryFreeSlot) {
    const uint32_t hDoc = AttachDoc();
    for (uint32_t i = 0; i < 8; ++i) ASSERT_EQ(AddHilite(hDoc, i, DocPos(1, i), DocPos(1, i + 1)), 0u);
    ENFailAllocAfter(0);
    EXPECT_EQ(AddHilite(hDoc, 8, DocPos(1, 8), DocPos(1, 9)), ANERR_NOMEMORY);
    ENFailAllocAfter(-1);
    EXPECT_EQ(ListHeader(hDoc).count, 9);
    EXPECT_EQ(ListHeader(hDoc).capacity, 10);
    EXPECT_TRUE(ListIsSound(hDoc));

    EXPECT_EQ(AddHilite(hDoc, 9, DocPos(1, 9), DocPos(1, 10)), 0u);
    EXPECT_EQ(ListHeader(hDoc).count, 10);
    EXPECT_EQ(AddHilite(hDoc, 10, DocPos(1, 10), DocPos(1, 11)), ANERR_NOMEMORY);
    EXPECT_EQ(ListHeader(hDoc).count, 10);
    EXPECT_TRUE(ListIsSound(hDoc));

    // Slots 2 and 5 go back to the front of the free list. The next add
    // takes slot 5 and makes count 9 = capacity - 1: the new slots go behind
    // slot 2, which the add after it takes.
    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 2), 0u);
    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 5), 0u);
    EXPECT_EQ(FreeSlots(hDoc), (std::vector<uint16_t>{5, 2}));
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(AddHilite(hDoc, 11, DocPos(2, 0), DocPos(2, 1)), 0u);
    EXPECT_EQ(AddHilite(hDoc, 12, DocPos(2, 1), DocPos(2, 2)), 0u);
    EXPECT_EQ(ListHeader(hDoc).capacity, 20);
    EXPECT_EQ(FreeSlots(hDoc), (std::vector<uint16_t>{10, 11, 12, 13, 14, 15, 16, 17, 18, 19}));
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{0, 1, 3, 4, 6, 7, 8, 9, 11, 12}));
}

// A callback may read the document, but a call that would change the list
// the module is walking, or take the state down, is refused.
TEST_F(ListInsertion, CallbacksCannotChangeTheListUnderARunningCall) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    log.hDoc = hDoc;
    log.InstallOn(hDoc);
    log.during = [](CallbackLog& self, uint32_t code) {
        if (code == 1) self.results.push_back(ANDeInit(self.hDoc));
        if (code == 2) {
            self.results.push_back(AddHilite(self.hDoc, 99, DocPos(5, 0), DocPos(5, 1)));
            self.results.push_back(ANClearAnnos(self.hDoc, 0, 0));
        }
    };
    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(1, 0), DocPos(1, 1)), 0u);
    ASSERT_EQ(AddHilite(hDoc, 2, DocPos(1, 1), DocPos(1, 2)), 0u);
    EXPECT_EQ(log.results, (std::vector<uint32_t>{ANERR_NOMEMORY, ANERR_NOMEMORY}));
    log.results.clear();
    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 1), 0u);
    EXPECT_EQ(log.results, (std::vector<uint32_t>{ANERR_NOMEMORY, ANERR_NOMEMORY}));
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{2}));
    EXPECT_TRUE(ListIsSound(hDoc));
}

}  // namespace
