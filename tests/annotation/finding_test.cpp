// Finding one annotation: the search modes with their position and user-id
// tests, iterating with ANFIND_AFTERFOUND, the annotation-text range of
// inserted text, and the answers to bad queries.
#include <gtest/gtest.h>

#include <cstring>

#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_layout.h"

namespace {

using namespace testing_support;

class Finding : public AnnotationTest {
protected:
    // The userId found, or 1000 + the result code. The found fields stay in
    // `info` between calls, as in a caller's record.
    uint32_t Find(uint32_t hDoc, uint32_t flags, uint32_t matchId, AnnoPos pos = DocPos(0, 0), uint16_t options = 0) {
        info.size = sizeof info;
        info.searchFlags = flags;
        info.matchId = matchId;
        info.pos = pos;
        const uint32_t result = ANFindAnno(hDoc, options, &info);
        return result == 0 ? info.foundUserId : 1000 + result;
    }
    AnnoFindInfo info{};
};

TEST_F(Finding, ModesApplyThePositionTestThenTheIdTest) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(0, 0), DocPos(0, 9)), 0u);
    ASSERT_EQ(AddHilite(hDoc, 2, DocPos(0, 2), DocPos(0, 6)), 0u);
    ASSERT_EQ(AddHilite(hDoc, 0x12, DocPos(0, 8), DocPos(2, 0xC)), 0u);
    ASSERT_EQ(AddHilite(hDoc, 0x80000005, DocPos(2, 0xD), DocPos(3, 0xFFFFFFFF)), 0u);
    const uint32_t all = ANMATCH_ALLBITS, id = ANMATCH_USERID;
    EXPECT_EQ(Find(hDoc, ANFIND_AT | id, 2, DocPos(0, 2)), 2u);
    EXPECT_EQ(Find(hDoc, ANFIND_AT | id, 2, DocPos(0, 6)), 1025u);  // its end
    EXPECT_EQ(Find(hDoc, ANFIND_FROM | all, 0, DocPos(0, 2)), 2u);
    EXPECT_EQ(Find(hDoc, ANFIND_NEXT | all, 0, DocPos(0, 2)), 0x12u);
    EXPECT_EQ(Find(hDoc, ANFIND_LAST | id | all, 2), 0x12u);  // ALLBITS wins
    EXPECT_EQ(Find(hDoc, ANFIND_FIRST, 1), 1025u);            // no id-test bit
    // Past the first position match only the id test counts: 1 ends after (0, 6).
    EXPECT_EQ(Find(hDoc, ANFIND_PREV | id, 1, DocPos(0, 6)), 1u);
    // A positive matchId refuses ends at an item as a whole; a negative one not.
    EXPECT_EQ(Find(hDoc, ANFIND_NEXT | all, 5, DocPos(0, 9)), 1025u);
    EXPECT_EQ(Find(hDoc, ANFIND_NEXT | all, 0x80000005, DocPos(0, 9)), 0x80000005u);
    EXPECT_EQ(Find(hDoc, ANFIND_PREV | all, 1, DocPos(4, 0)), 1u);
    EXPECT_EQ(Find(hDoc, ANFIND_PREV | all, 0x80000001, DocPos(4, 0)), 0x80000005u);

    // ANFIND_AFTERFOUND goes on after the end left in the record.
    info.foundEnd = DocPos(0, 0);
    EXPECT_EQ(Find(hDoc, ANFIND_NEXT | all, 0, DocPos(0, 0), ANFIND_AFTERFOUND), 2u);
    EXPECT_EQ(info.foundEnd, DocPos(0, 6));
    EXPECT_EQ(Find(hDoc, ANFIND_NEXT | all, 0, DocPos(0, 0), ANFIND_AFTERFOUND), 0x12u);
    EXPECT_EQ(Find(hDoc, ANFIND_NEXT | all, 0, DocPos(0, 0), ANFIND_AFTERFOUND), 0x80000005u);
    const AnnoFindInfo last = info;
    EXPECT_EQ(Find(hDoc, ANFIND_NEXT | all, 0, DocPos(0, 0), ANFIND_AFTERFOUND), 1025u);
    EXPECT_EQ(std::memcmp(&info, &last, sizeof info), 0);
}

// ANFIND_PREV with a matchId that is not positive passes over a node whose
// end's posType and textOffset equal pos's itemId and subItemId: here the
// hilite ending at offset 1 of the inserted text at (2, 0xC), asked from
// (5, 1); from (5, 2) it is found.
TEST_F(Finding, PrevPassesOverAnEndWhoseLastWordsArePosFirstWords) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(0, 1), DocPos(0, 3)), 0u);
    ASSERT_EQ(AddHilite(hDoc, 2, DocPos(0, 1), TextPos(2, 0xC, 1)), 0u);
    EXPECT_EQ(Find(hDoc, ANFIND_PREV | ANMATCH_ALLBITS, 0, DocPos(5, 1)), 1u);
    EXPECT_EQ(Find(hDoc, ANFIND_PREV | ANMATCH_ALLBITS, 0, DocPos(5, 2)), 2u);
    EXPECT_EQ(Find(hDoc, ANFIND_PREV | ANMATCH_ALLBITS, 2, DocPos(5, 1)), 2u);  // a positive matchId
}

TEST_F(Finding, InsertedTextReportsItsAnnotationTextRange) {
    const uint32_t hDoc = AttachDoc();
    // At (0, 3): "abc" up to offset 3, then "de" at the document position,
    // which holds the last run; a lone break at (2, 0xD).
    LayOutList(DocInfoHandle(hDoc), {TextNode(1, TextPos(0, 3, 3), u"abc", 0x51), TextNode(2, DocPos(0, 3), u"de"),
                                     Node(ANNO_INSERTPARABREAK, 3, DocPos(2, 0xD), DocPos(2, 0xE))});
    const AnnoPos expected[][2] = {
        {TextPos(0, 3, 0), TextPos(0, 3, 3)}, {TextPos(0, 3, 3), DocPos(0, 3)}, {TextPos(2, 0xD, 0), DocPos(2, 0xD)}};
    for (uint32_t userId = 1; userId <= 3; ++userId) {
        ASSERT_EQ(Find(hDoc, ANFIND_FIRST | ANMATCH_USERID, userId), userId);
        EXPECT_EQ(info.foundStart, expected[userId - 1][0]) << userId;
        EXPECT_EQ(info.foundEnd, expected[userId - 1][1]) << userId;
        EXPECT_EQ(info.foundUserData, userId == 1 ? 0x51u : 0u);
    }
}

TEST_F(Finding, BadQueriesAnswerTheirCodeAndLeaveTheRecord) {
    const uint32_t hDoc = AttachDoc();
    uint32_t hNone = 0;
    EXPECT_EQ(Find(0, ANFIND_FIRST | ANMATCH_ALLBITS, 0), 1000 + ANERR_BADPARAM);
    EXPECT_EQ(Find(0xBAD, ANFIND_FIRST | ANMATCH_ALLBITS, 0), 1000 + annotation::GetAnnoFromDoc(0xBAD, &hNone));
    EXPECT_EQ(Find(OpenDoc("Bare\n"), ANFIND_FIRST | ANMATCH_ALLBITS, 0), 1000 + ANERR_NOANNODATA);
    EXPECT_EQ(Find(hDoc, ANFIND_FIRST | ANMATCH_ALLBITS, 0), 1025u);  // no list yet
    EXPECT_EQ(ANFindAnno(hDoc, 0, nullptr), ANERR_BADPARAM);
    ASSERT_EQ(AddIcon(hDoc, 1, DocPos(0, 1)), 0u);
    info.size = 64;
    EXPECT_EQ(ANFindAnno(hDoc, 0, &info), ANERR_BADPARAM);
    std::memset(&info, 0xEE, sizeof info);
    const AnnoFindInfo before = info;
    for (const uint32_t mode : {0u, 7u, 255u}) EXPECT_EQ(Find(hDoc, mode | ANMATCH_ALLBITS, 0), 1025u) << mode;
    EXPECT_EQ(std::memcmp(&info.foundUserId, &before.foundUserId, 40), 0);
}

}  // namespace
