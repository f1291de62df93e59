// Removing annotations: which nodes a selection picks, what the callback
// hears, how slots go back to the free list, and how removing inserted text
// or a paragraph break renumbers, drops, widens and joins what is left.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "annotation/store/anno_list.h"
#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"

namespace {

using namespace testing_support;
using annotation::kNoSlot;

// The anchor of the inserted text: the first 'l' of "Hello".
constexpr AnnoPos P = DocPos(0, 2);
constexpr AnnoPos AtP(uint32_t offset) { return TextPos(0, 2, offset); }

uint16_t SlotOf(uint32_t hDoc, uint32_t userId) { return ByUserId(ListedNodes(hDoc), userId).slot; }

class Removal : public AnnotationTest {
protected:
    // What a pointer move leaves behind: the node it was over.
    static void Track(uint32_t hDoc, uint16_t slot) {
        annotation::DocInfoLock info(DocInfoHandle(hDoc));
        ASSERT_TRUE(info);
        info->trackNode = slot;
        info->trackPos = DocPos(0, 1);
    }
};

TEST_F(Removal, FlagsSelectByUserId) {
    const std::vector<uint32_t> all = {5, 0x8000000C, 0x1C, 0x08, 0x0C};
    struct Case {
        uint16_t flags;
        uint32_t value;
        std::vector<uint32_t> kept;
    };
    const Case cases[] = {
        {0, 0, {0x8000000C}},                          // built annotations stay
        {ANMATCH_ALLBITS, 0x0C, {5, 0x08}},            // the top bit protects nothing here
        {ANMATCH_USERID, 0x0C, {5, 0x8000000C, 0x1C, 0x08}},
        {ANMATCH_USERID | ANMATCH_ALLBITS, 0x08, {5, 0x8000000C, 0x1C, 0x0C}},
        {ANMATCH_USERID | 0x0400, 5, {0x8000000C, 0x1C, 0x08, 0x0C}},
        {0x0400, 0, all},
        {0x0001, 5, all},
        {0x4000, 0x0C, all},
    };
    CallbackLog log;
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "flags " << c.flags << " value " << c.value);
        const uint32_t hDoc = AttachDoc();
        for (uint32_t i = 0; i < all.size(); ++i) ASSERT_EQ(AddHilite(hDoc, all[i], DocPos(0, i), DocPos(0, i + 1)), 0u);
        log.heard.clear();
        log.InstallOn(hDoc);
        EXPECT_EQ(ANClearAnnos(hDoc, c.flags, c.value), 0u);
        EXPECT_TRUE(ListIsSound(hDoc));
        EXPECT_EQ(UserIds(hDoc), c.kept);
        EXPECT_EQ(log.heard.size(), all.size() - c.kept.size());
    }
}

TEST_F(Removal, CallbackHearsEachRemovedNodeAndItsLastAnswerIsTheResult) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(0, 0), DocPos(0, 4)), 0u);
    ASSERT_EQ(AddIcon(hDoc, 2, DocPos(0, 6)), 0u);
    ASSERT_EQ(AddText(hDoc, 3, DocPos(2, 0xC), u"abc", 0x77), 0u);
    ASSERT_EQ(AddHilite(hDoc, 4, DocPos(2, 0xD), DocPos(2, 0xE)), 0u);
    log.InstallOn(hDoc);

    log.reply = 7;
    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 4), 7u);
    EXPECT_TRUE(ListIsSound(hDoc));
    ASSERT_EQ(log.heard.size(), 1u);

    // Earlier nonzero answers are overwritten by the last one.
    log.heard.clear();
    log.during = [](CallbackLog& self, uint32_t) { self.reply = self.heard.size() < 3 ? 40 : 0; };
    EXPECT_EQ(ANClearAnnos(hDoc, 0, 0), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    ASSERT_EQ(log.heard.size(), 3u);
    const uint32_t kinds[] = {ANNO_HILITETEXT, ANNO_INSERTICON, ANNO_INSERTTEXT};
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(log.heard[i].code, 2u);
        EXPECT_EQ(log.heard[i].arg, kinds[i]);
        EXPECT_EQ(log.heard[i].record.userId, i + 1);
    }
    EXPECT_EQ(log.heard[0].record.end, DocPos(0, 4));
    EXPECT_EQ(log.heard[2].record.hText, 0u);
    EXPECT_EQ(log.heard[2].record.textLen, 3u);
    EXPECT_EQ(log.heard[2].record.userData, 0x77u);
}

TEST_F(Removal, RemovingTheLastNodeFreesTheListAndTheNextAddStartsAfresh) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    for (uint32_t i = 0; i < 9; ++i) ASSERT_EQ(AddHilite(hDoc, i, DocPos(0, i), DocPos(0, i + 1)), 0u);
    ASSERT_EQ(AddText(hDoc, 9, DocPos(2, 0xB), u"abc"), 0u);
    ASSERT_EQ(ListHeader(hDoc).capacity, 20);
    log.InstallOn(hDoc);
    const uint32_t liveBefore = ENMemLiveBlocks();

    EXPECT_EQ(ANClearAnnos(hDoc, 0, 0), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(ListHandle(hDoc), 0u);
    EXPECT_EQ(log.heard.size(), 10u);
    EXPECT_EQ(ENMemLiveBlocks(), liveBefore - 2);  // the list and the text block

    ASSERT_EQ(AddIcon(hDoc, 20, DocPos(0, 3)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(ENMemBlockSize(ListHandle(hDoc)), 896u);
    const annotation::AnnoList header = ListHeader(hDoc);
    EXPECT_EQ(header.count, 1);
    EXPECT_EQ(header.capacity, 10);
    EXPECT_EQ(header.head, 0);
    EXPECT_EQ(FreeSlots(hDoc), (std::vector<uint16_t>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(Removal, ReleasedSlotsGoToTheFrontOfTheFreeList) {
    const uint32_t hDoc = AttachDoc();
    for (uint32_t i = 0; i < 4; ++i) ASSERT_EQ(AddHilite(hDoc, i, DocPos(0, i), DocPos(0, i + 1)), 0u);
    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 1), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    std::vector<uint16_t> expected = {1, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(FreeSlots(hDoc), expected);
    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 0), 0u);
    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 3), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    expected.insert(expected.begin(), {3, 0});
    EXPECT_EQ(FreeSlots(hDoc), expected);
    ASSERT_EQ(AddHilite(hDoc, 5, DocPos(0, 5), DocPos(0, 6)), 0u);
    EXPECT_EQ(SlotOf(hDoc, 5), 3);

    // A full list (its growth failed): the released slot is the whole free list.
    const uint32_t hFull = AttachDoc();
    for (uint32_t i = 0; i < 8; ++i) ASSERT_EQ(AddHilite(hFull, i, DocPos(0, i), DocPos(0, i + 1)), 0u);
    ENFailAllocAfter(0);
    EXPECT_EQ(AddHilite(hFull, 8, DocPos(0, 8), DocPos(0, 9)), ANERR_NOMEMORY);
    ENFailAllocAfter(-1);
    ASSERT_EQ(AddHilite(hFull, 9, DocPos(0, 9), DocPos(0, 10)), 0u);
    ASSERT_EQ(ListHeader(hFull).freeHead, kNoSlot);
    EXPECT_EQ(ANClearAnnos(hFull, ANMATCH_USERID, 4), 0u);
    EXPECT_TRUE(ListIsSound(hFull));
    const annotation::AnnoList header = ListHeader(hFull);
    EXPECT_EQ(header.freeHead, 4);
    EXPECT_EQ(header.freeTail, 4);
}

// a b | c d at P with a hilite over c: removing the break leaves one text
// a b c d, and the hilite's offset follows the break out.
TEST_F(Removal, RemovingABreakJoinsTheTextsAroundIt) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddText(hDoc, 1, P, u"ab"), 0u);
    ASSERT_EQ(AddBreak(hDoc, 20, P), 0u);
    ASSERT_EQ(AddText(hDoc, 2, P, u"cd"), 0u);
    ASSERT_EQ(AddHilite(hDoc, 10, AtP(3), AtP(4)), 0u);
    ASSERT_EQ(ListedNodes(hDoc).size(), 4u);
    const uint16_t breakSlot = SlotOf(hDoc, 20);
    const uint16_t rightSlot = SlotOf(hDoc, 2);
    Track(hDoc, rightSlot);
    log.InstallOn(hDoc);

    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 20), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    const std::vector<ListedNode> nodes = ListedNodes(hDoc);
    ASSERT_EQ(nodes.size(), 2u);
    EXPECT_EQ(nodes[0].anno.userId, 10u);
    EXPECT_EQ(nodes[0].anno.start, AtP(2));
    EXPECT_EQ(nodes[0].anno.end, AtP(3));
    EXPECT_EQ(nodes[1].anno.userId, 1u);
    EXPECT_EQ(nodes[1].text, u"abcd");
    EXPECT_EQ(nodes[1].anno.textLen, 4u);
    ASSERT_EQ(log.heard.size(), 1u);
    EXPECT_EQ(log.heard[0].arg, ANNO_INSERTPARABREAK);
    EXPECT_EQ(log.heard[0].record.userId, 20u);
    const std::vector<uint16_t> freeSlots = FreeSlots(hDoc);
    ASSERT_GE(freeSlots.size(), 2u);
    EXPECT_EQ(freeSlots[0], breakSlot);
    EXPECT_EQ(freeSlots[1], rightSlot);
    EXPECT_EQ(DocInfo(hDoc).trackNode, kNoSlot);
}

// The text that a join absorbs followed the break directly and is selected
// too: it is not reported, and the walk goes on behind it.
TEST_F(Removal, TheWalkGoesOnBehindTheAbsorbedText) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddText(hDoc, 1, P, u"ab"), 0u);
    ASSERT_EQ(AddBreak(hDoc, 0x11, P), 0u);
    ASSERT_EQ(AddText(hDoc, 0x12, P, u"cd"), 0u);
    ASSERT_EQ(AddHilite(hDoc, 0x13, DocPos(2, 0xC), DocPos(2, 0xD)), 0u);
    log.InstallOn(hDoc);
    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_ALLBITS, 0x10), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    const std::vector<ListedNode> nodes = ListedNodes(hDoc);
    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_EQ(nodes[0].text, u"abcd");
    ASSERT_EQ(log.heard.size(), 2u);
    EXPECT_EQ(log.heard[0].record.userId, 0x11u);
    EXPECT_EQ(log.heard[1].record.userId, 0x13u);
}

TEST_F(Removal, AJoinWhoseLeftTextCannotGrowKeepsTheTextsApart) {
    const std::u16string left(60, u'l');
    const std::u16string right(10, u'r');
    CallbackLog log;
    for (const bool withCallback : {false, true}) {
        SCOPED_TRACE(withCallback ? "with callback" : "without callback");
        const uint32_t hDoc = AttachDoc();
        ASSERT_EQ(AddText(hDoc, 1, P, left), 0u);
        ASSERT_EQ(AddBreak(hDoc, 20, P), 0u);
        ASSERT_EQ(AddText(hDoc, 2, P, right), 0u);
        if (withCallback) log.InstallOn(hDoc);
        ENFailAllocAfter(0);
        // The answer of the break's own callback comes after the failed join.
        EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 20), withCallback ? 0u : ANERR_NOMEMORY);
        ENFailAllocAfter(-1);
        EXPECT_TRUE(ListIsSound(hDoc));
        const std::vector<ListedNode> nodes = ListedNodes(hDoc);
        ASSERT_EQ(nodes.size(), 2u);
        EXPECT_EQ(nodes[0].text, left);
        EXPECT_EQ(nodes[0].anno.textCap, 64u);
        EXPECT_EQ(nodes[1].text, right);
    }
    EXPECT_EQ(log.heard.size(), 1u);
}

// x y z is inserted at offset 2 of the anchor (behind a and a break) at the
// document position itself; removing it pulls positions into it back to the
// anchor and later ones back by three.
TEST_F(Removal, RemovingTextRenumbersDropsAndWidens) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddText(hDoc, 1, P, u"a"), 0u);
    ASSERT_EQ(AddBreak(hDoc, 2, P), 0u);
    ASSERT_EQ(AddText(hDoc, 30, P, u"xyz"), 0u);
    ASSERT_EQ(AddHilite(hDoc, 10, AtP(3), DocPos(0, 5)), 0u);
    ASSERT_EQ(AddHilite(hDoc, 11, AtP(2), AtP(4)), 0u);
    ASSERT_EQ(AddIcon(hDoc, 12, AtP(6)), 0u);
    ASSERT_EQ(AddIcon(hDoc, 13, AtP(3)), 0u);
    ASSERT_EQ(ListedNodes(hDoc).size(), 7u);
    Track(hDoc, SlotOf(hDoc, 11));
    log.InstallOn(hDoc);

    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 30), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{1, 2, 10, 13, 12}));
    const std::vector<ListedNode> nodes = ListedNodes(hDoc);
    EXPECT_EQ(ByUserId(nodes, 1).text, u"a");
    EXPECT_EQ(ByUserId(nodes, 10).anno.start, P);
    EXPECT_EQ(ByUserId(nodes, 10).anno.end, DocPos(0, 5));
    EXPECT_EQ(ByUserId(nodes, 13).anno.start, P);
    EXPECT_EQ(ByUserId(nodes, 13).anno.end, DocPos(0, 3));
    EXPECT_EQ(ByUserId(nodes, 12).anno.start, AtP(3));
    EXPECT_EQ(ByUserId(nodes, 12).anno.end, AtP(4));
    // Only the text itself is reported; the collapsed hilite goes silently.
    ASSERT_EQ(log.heard.size(), 1u);
    EXPECT_EQ(log.heard[0].arg, ANNO_INSERTTEXT);
    EXPECT_EQ(log.heard[0].record.userId, 30u);
    EXPECT_EQ(log.heard[0].record.hText, 0u);
    EXPECT_EQ(DocInfo(hDoc).trackNode, kNoSlot);
}

TEST_F(Removal, TrackedNodeIsForgottenWhenItGoes) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(0, 1), DocPos(0, 2)), 0u);
    ASSERT_EQ(AddText(hDoc, 2, DocPos(2, 0xB), u"abc"), 0u);
    ASSERT_EQ(AddHilite(hDoc, 3, DocPos(2, 0xC), DocPos(2, 0xD)), 0u);
    const uint16_t tracked = SlotOf(hDoc, 2);
    Track(hDoc, tracked);
    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 1), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(DocInfo(hDoc).trackNode, tracked);

    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 2), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    const annotation::AnnoDocInfo info = DocInfo(hDoc);
    EXPECT_EQ(info.trackNode, kNoSlot);
    EXPECT_EQ(info.trackPos.itemId, 0xFFFFFFFFu);
    EXPECT_EQ(info.trackPos.subItemId, 0xFFFFFFFFu);
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{3}));
}

TEST_F(Removal, BadDocumentsChangeNothing) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(0, 0), DocPos(0, 1)), 0u);
    log.InstallOn(hDoc);
    const uint32_t hBare = OpenDoc("No state here\n");
    EXPECT_EQ(ANClearAnnos(0, 0, 0), ANERR_BADPARAM);
    EXPECT_EQ(ANClearAnnos(hBare, 0, 0), ANERR_NOANNODATA);
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{1}));
    EXPECT_TRUE(ListIsSound(hDoc));

    // State without a list: nothing to do.
    const uint32_t hEmpty = AttachDoc();
    log.InstallOn(hEmpty);
    EXPECT_EQ(ANClearAnnos(hEmpty, 0, 0), 0u);
    EXPECT_EQ(ListHandle(hEmpty), 0u);
    EXPECT_TRUE(log.heard.empty());
}

// While the removal walks the list, the callback may not change it nor take
// the document's state down; once the call is over both work again.
TEST_F(Removal, CallbackCannotChangeTheListOrTakeTheStateDown) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    log.hDoc = hDoc;
    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(0, 0), DocPos(0, 1)), 0u);
    log.InstallOn(hDoc);
    log.during = [](CallbackLog& self, uint32_t code) {
        if (code != 2) return;
        self.results.push_back(ANDeInit(self.hDoc));
        self.results.push_back(AddIcon(self.hDoc, 9, DocPos(0, 4)));
        self.results.push_back(ANClearAnnos(self.hDoc, 0, 0));
    };
    EXPECT_EQ(ANClearAnnos(hDoc, 0, 0), 0u);
    EXPECT_EQ(log.results, (std::vector<uint32_t>{ANERR_NOMEMORY, ANERR_NOMEMORY, ANERR_NOMEMORY}));
    EXPECT_NE(DocInfoHandle(hDoc), 0u);
    EXPECT_EQ(ListHandle(hDoc), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(AddIcon(hDoc, 9, DocPos(0, 4)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
}

}  // namespace
