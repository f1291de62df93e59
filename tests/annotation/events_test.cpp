// Pointer events: hits reported to every annotation at the position, moves
// reported as leaves then enters, the callback's last answer as the result,
// and the events and slots that do nothing.
#include <gtest/gtest.h>

#include <vector>

#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"

namespace {

using namespace testing_support;
constexpr uint16_t kNone = 0xFFFF;
using Reports = std::vector<std::vector<uint32_t>>;

class Events : public AnnotationTest {
protected:
    // A (userId 1) over (0, 0)..(0, 4) and B (2) over (0, 2)..(0, 8); the log
    // answers the number of reports it has heard, times 10.
    uint32_t TwoHilites(uint32_t maskA, uint32_t maskB) {
        const uint32_t hDoc = AttachDoc();
        const HiliteTextAnno a{sizeof a, 1, DocPos(0, 0), DocPos(0, 4), maskA, 0xA1, 0, 0, 0x12};
        const HiliteTextAnno b{sizeof b, 2, DocPos(0, 2), DocPos(0, 8), maskB, 0xA2, 0, 0, 0x12};
        EXPECT_EQ(ANAddAnno(hDoc, ANNO_HILITETEXT, &a) + ANAddAnno(hDoc, ANNO_HILITETEXT, &b), 0u);
        log.InstallOn(hDoc);
        log.during = [](CallbackLog& self, uint32_t) { self.reply = 10 * static_cast<uint32_t>(self.heard.size()); };
        head = ListHeader(hDoc).head;
        return hDoc;
    }
    static uint32_t Send(uint32_t hDoc, uint32_t event, uint16_t startNode, AnnoPos pos) {
        return ANAnnoEvent(hDoc, event, startNode, &pos);
    }
    // {event, userId, wanted} of each report since the last call.
    Reports Heard() {
        Reports reports;
        for (const auto& h : log.heard) {
            EXPECT_EQ(h.code, 3u);
            EXPECT_EQ(h.event.size, 16u);
            EXPECT_EQ(h.event.userData, 0xA0 + h.event.userId);
            reports.push_back({h.event.event, h.event.userId, h.arg});
        }
        log.heard.clear();
        return reports;
    }
    CallbackLog log;
    uint16_t head = kNone;
};

TEST_F(Events, HitReportsEveryCoveringAnnotationAndReturnsTheLastAnswer) {
    const uint32_t hDoc = TwoHilites(ANEVENT_HIT2, 0);
    EXPECT_EQ(Send(hDoc, ANEVENT_HIT2, head, DocPos(0, 3)), 20u);
    EXPECT_EQ(Heard(), (Reports{{2, 1, 1}, {2, 2, 0}}));
    EXPECT_EQ(Send(hDoc, ANEVENT_HIT32, head, DocPos(0, 4)), 10u);  // A ends there
    EXPECT_EQ(Heard(), (Reports{{32, 2, 0}}));
    EXPECT_EQ(DocInfo(hDoc).trackNode, kNone);

    // The list stays as it is while the callback runs.
    log.hDoc = hDoc;
    log.reply = 0;
    log.during = [](CallbackLog& self, uint32_t) {
        self.results = {ANClearAnnos(self.hDoc, 0, 0), AddIcon(self.hDoc, 3, DocPos(0, 1)), ANDeInit(self.hDoc)};
    };
    EXPECT_EQ(Send(hDoc, ANEVENT_HIT1, head, DocPos(0, 0)), 0u);
    EXPECT_EQ(log.results, (std::vector<uint32_t>{ANERR_NOMEMORY, ANERR_NOMEMORY, ANERR_NOMEMORY}));
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{1, 2}));
}

TEST_F(Events, MovesReportLeavesBeforeEntersAndKeepThePosition) {
    const uint32_t hDoc = TwoHilites(ANEVENT_ENTER, ANEVENT_LEAVE);
    EXPECT_EQ(Send(hDoc, ANEVENT_MOVE, head, DocPos(0, 1)), 10u);  // the first move enters
    EXPECT_EQ(Send(hDoc, ANEVENT_MOVE, head, DocPos(0, 3)), 20u);
    EXPECT_EQ(Send(hDoc, ANEVENT_MOVE, head, DocPos(0, 2)), 0u);  // within both
    EXPECT_EQ(Heard(), (Reports{{4, 1, 1}, {4, 2, 0}}));
    EXPECT_EQ(Send(hDoc, ANEVENT_MOVE, head, DocPos(0, 5)), 10u);
    EXPECT_EQ(Send(hDoc, ANEVENT_MOVE, head, DocPos(0, 0)), 30u);
    EXPECT_EQ(Heard(), (Reports{{8, 1, 0}, {8, 2, 1}, {4, 1, 1}}));
    EXPECT_EQ(Send(hDoc, ANEVENT_MOVE, kNone, DocPos(2, 0xC)), 10u);
    EXPECT_EQ(Send(hDoc, ANEVENT_MOVE, kNone, DocPos(0, 1)), 0u);  // nowhere to nowhere
    EXPECT_EQ(Heard(), (Reports{{8, 1, 0}}));
    EXPECT_EQ(DocInfo(hDoc).trackPos, DocPos(2, 0xC));

    ANSetCallback(hDoc, nullptr, 0);  // without a callback the state still follows
    EXPECT_EQ(Send(hDoc, ANEVENT_MOVE, head, DocPos(0, 3)), 0u);
    EXPECT_EQ(DocInfo(hDoc).trackNode, head);
    EXPECT_EQ(DocInfo(hDoc).trackPos, DocPos(0, 3));
}

TEST_F(Events, IgnoredEventsAndStaleSlotsCallNothingAndKeepTheMoveState) {
    const uint32_t hDoc = TwoHilites(0xFF, 0xFF);
    ASSERT_EQ(Send(hDoc, ANEVENT_MOVE, head, DocPos(0, 3)), 20u);
    ASSERT_EQ(AddIcon(hDoc, 3, DocPos(0, 1)), 0u);
    const uint16_t freed = ByUserId(ListedNodes(hDoc), 3).slot;
    ANClearAnnos(hDoc, ANMATCH_USERID, 3);
    log.heard.clear();

    for (const uint32_t event : {0u, 3u, 4u, 8u, 64u, 17u}) EXPECT_EQ(Send(hDoc, event, head, DocPos(0, 6)), 0u);
    EXPECT_EQ(ANAnnoEvent(hDoc, ANEVENT_MOVE, head, nullptr), 0u);
    EXPECT_EQ(Send(0, ANEVENT_MOVE, head, DocPos(0, 6)), 0u);
    EXPECT_EQ(Send(0xBAD, ANEVENT_HIT1, head, DocPos(0, 6)), 0u);
    EXPECT_EQ(Send(AttachDoc(), ANEVENT_MOVE, 0, DocPos(0, 6)), 0u);  // no list
    EXPECT_EQ(Send(hDoc, ANEVENT_HIT1, freed, DocPos(0, 1)), 0u);     // where the icon was
    EXPECT_EQ(Send(hDoc, ANEVENT_HIT1, 0xFFFE, DocPos(0, 3)), 0u);
    EXPECT_TRUE(Heard().empty());
    EXPECT_EQ(DocInfo(hDoc).trackPos, DocPos(0, 3));

    // A freed slot names no annotation: B is left, the icon is not entered.
    EXPECT_EQ(Send(hDoc, ANEVENT_MOVE, freed, DocPos(0, 1)), 10u);
    EXPECT_EQ(Heard(), (Reports{{8, 2, 1}}));
    EXPECT_EQ(DocInfo(hDoc).trackNode, kNone);
}

}  // namespace
