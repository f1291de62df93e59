// The list index changes nothing a caller sees. For each seed a random
// sequence of calls runs on two documents: adds of every kind (inserted text
// at document positions and inside existing inserted text), removals that
// join and split texts and renumber their positions, copies, building,
// finding in every mode, stepping, tracking, reading inserted text, position
// mapping, pointer events and the hidden-text questions, with engine
// allocations failing now and then. The sequence runs twice: first with every
// question walking the list (the reference), then with the index answering
// and its heap refusing memory now and then. Both runs must record the same
// trace (support/api_trace.h): every result, every filled record, what the
// callback heard and, after each call, both list blocks byte for byte; every
// few calls two whole layout passes over a document are recorded as well.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "annotation/handle_lock.h"
#include "annotation/heap.h"
#include "annotation/index/list_index.h"
#include "annotation/positions/list_queries.h"
#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/api_trace.h"
#include "support/list_invariants.h"

namespace {

using namespace testing_support;

const char* const kDocuments[2] = {
    "The first paragraph has {mark 0x81000000}some marked{/mark 0x81000000} words in it\n"
    "A second{item 8} paragraph with an object{item 240} and more text\n"
    "{chunk}Chunk two starts {mark 0x82000000}here, and the mark{/mark 0x82000000} ends there\n"
    "{section}A section of its own{item 241}, short\n\nLast line of the text\n",
    "Other document\n{mark 0x84000010}x{/mark 0x84000010}y{item 241}z and a tail\n{chunk}Second chunk, one line\n",
};

constexpr uint32_t kUserIds[] = {1, 2, 3, 6, 0x11, 0x80000001};
constexpr uint32_t kStyles[] = {0x12, 0x3A, ANHILITE_BYSTYLE | 1, ANHILITE_BYSTYLE | 2, ANHILITE_NOCOLOR1 | 0x05};
constexpr uint32_t kSeeds = 40;
constexpr int kCalls = 150;
constexpr int kLayoutPassEvery = 30;

// The index switch back on and every failure disarmed, however the test ends.
struct IndexSwitchGuard {
    IndexSwitchGuard() = default;
    IndexSwitchGuard(const IndexSwitchGuard&) = delete;
    IndexSwitchGuard& operator=(const IndexSwitchGuard&) = delete;
    ~IndexSwitchGuard() {
        annotation::SetListIndexEnabled(true);
        annotation::SetIndexHeapFailAfter(-1);
        ENFailAllocAfter(-1);
    }
};

// The document's positions in reading order from the first, inserted text
// left out, at most `most` of them.
std::vector<AnnoPos> DocumentPositions(uint32_t hDoc, size_t most) {
    std::vector<AnnoPos> positions;
    for (AnnoPos pos{0, 0, 0, 0}, next{}; positions.size() < most; pos = next) {
        positions.push_back(pos);
        if (ANNextChunkerPos(hDoc, &pos, &next) != 0) break;
    }
    return positions;
}

// ANFindAnno at pos (ANFIND_AT, any userId): a question that builds the
// index when it is not current.
uint32_t FindAt(uint32_t hDoc, const AnnoPos& pos) {
    AnnoFindInfo found{};
    found.size = sizeof found;
    found.searchFlags = ANFIND_AT | ANMATCH_ALLBITS;
    found.pos = pos;
    return ANFindAnno(hDoc, 0, &found);
}

class IndexDifferential : public AnnotationTest {
protected:
    // Runs the seed's sequence once, recording it in `trace`.
    void Run(uint32_t seed, bool indexed, ApiTrace& trace) {
        annotation::SetListIndexEnabled(indexed);
        rng_.seed(seed);
        trace_ = &trace;
        log_.reply = 7;  // what ANClearAnnos and ANAnnoEvent give after a callback
        for (uint32_t d = 0; d < 2; ++d) {
            docs_[d] = AttachDoc(kDocuments[d], 0, &CallbackLog::Callback, log_.data());
            positions_[d] = DocumentPositions(docs_[d], 1000);
            // Inserted text gathers at a few anchors, so that texts join,
            // split and are added to at their text positions.
            anchors_[d].clear();
            for (int i = 0; i < 4; ++i) anchors_[d].push_back(positions_[d][1 + Below(positions_[d].size() - 1)]);
        }
        for (const HiliteStyle& style :
             {HiliteStyle{28, 1, ANHS_COLOR1ON, 0xFF, 0, 3, 4, 0},
              HiliteStyle{28, 2, ANHS_COLOR1ON | ANHS_COLOR2ON | ANHS_EXTRAON, 0xFF00, 0xFF, 1, 2, 9}}) {
            EXPECT_EQ(ANAddHiliteStyle(docs_[0], &style), 0u);
        }
        for (int call = 1; call <= kCalls; ++call) {
            const uint32_t doc = Below(4) == 0 ? 1 : 0;
            // Engine failures hit both runs alike; the index's heap fails in
            // the indexed run only, and stays armed until it fires.
            const bool failEngine = Below(8) == 0;
            const int32_t engineAfter = static_cast<int32_t>(Below(4));
            const bool failIndex = Below(4) == 0;
            const int32_t indexAfter = static_cast<int32_t>(Below(3));
            if (indexed && failIndex) annotation::SetIndexHeapFailAfter(indexAfter);
            if (failEngine) ENFailAllocAfter(engineAfter);
            OneCall(doc);
            ENFailAllocAfter(-1);
            for (const Heard& heard : log_.heard) {
                const void* record = heard.code == 3 ? static_cast<const void*>(&heard.event) : &heard.record;
                trace.Callback(heard.code, heard.arg, record);
            }
            log_.heard.clear();
            trace.ListBlock("the list block of document 0", docs_[0]);
            trace.ListBlock("the list block of document 1", docs_[1]);
            if (call % kLayoutPassEvery == 0) {
                // Twice: the second pass replays what the first worked out.
                LayoutPass(docs_[(call / kLayoutPassEvery) % 2]);
                LayoutPass(docs_[(call / kLayoutPassEvery) % 2]);
            }
        }
        for (const uint32_t hDoc : docs_) {
            DetachDoc(hDoc);
            CloseDoc(hDoc);
        }
    }

private:
    uint32_t Below(size_t bound) { return static_cast<uint32_t>(rng_() % bound); }
    template <typename T, size_t N>
    T Among(const T (&values)[N]) {
        return values[Below(N)];
    }

    AnnoPos Position(uint32_t doc) {
        const AnnoPos& anchor = anchors_[doc][Below(anchors_[doc].size())];
        switch (Below(8)) {
            case 0:
            case 1: return TextPos(anchor.itemId, anchor.subItemId, Below(10));
            case 2: return anchor;
            case 3: return AnnoPos{positions_[doc][Below(positions_[doc].size())].itemId, 0xFFFFFFFF, 0, 0};
            default: return positions_[doc][Below(positions_[doc].size())];
        }
    }

    // Mostly in order and at most a few lines long; now and then backwards,
    // which the module puts right.
    void Range(uint32_t doc, AnnoPos& start, AnnoPos& end) {
        const std::vector<AnnoPos>& positions = positions_[doc];
        const size_t first = Below(positions.size());
        start = Below(4) == 0 ? Position(doc) : positions[first];
        end = Below(4) == 0 ? Position(doc) : positions[std::min(positions.size() - 1, first + Below(80))];
        if (ANCompPos(&start, &end) > 0 && Below(8) != 0) std::swap(start, end);
    }

    void OneCall(uint32_t doc) {
        const uint32_t hDoc = docs_[doc];
        ApiTrace& trace = *trace_;
        const uint32_t userId = Among(kUserIds);
        AnnoPos start{}, end{};
        switch (Below(20)) {
            case 0:
            case 1: {
                trace.BeginCall("ANAddAnno hilite");
                Range(doc, start, end);
                const HiliteTextAnno anno{sizeof anno, userId, start, end, Below(64), Below(3), 0, 0, Among(kStyles)};
                trace.Word("result", ANAddAnno(hDoc, ANNO_HILITETEXT, &anno));
                break;
            }
            case 2: {
                trace.BeginCall("ANAddAnno icon or bitmap");
                start = Position(doc);
                const uint16_t kind = Below(2) == 0 ? ANNO_INSERTICON : ANNO_INSERTBITMAP;
                const InsertIconAnno anno{sizeof anno, userId, start, start, Below(64), 0, 0, 0, Below(100)};
                trace.Word("result", ANAddAnno(hDoc, kind, &anno));
                break;
            }
            case 3:
                trace.BeginCall("ANAddAnno hidden text");
                Range(doc, start, end);
                trace.Word("result", AddHide(hDoc, userId, start, end, Below(3)));
                break;
            case 4:
            case 5:
            case 6: {
                trace.BeginCall("ANAddAnno inserted text");
                const std::u16string text(1 + Below(6), static_cast<char16_t>(u'a' + Below(26)));
                trace.Word("result", AddText(hDoc, userId, Position(doc), text, Below(3)));
                break;
            }
            case 7:
                trace.BeginCall("ANAddAnno paragraph break");
                trace.Word("result", AddBreak(hDoc, userId, Position(doc),
                                              Below(3) == 0 ? ANNO_HIDEPARABREAK : ANNO_INSERTPARABREAK));
                break;
            case 8:
            case 9: {
                trace.BeginCall("ANClearAnnos");
                constexpr uint16_t kFlags[] = {0, ANMATCH_ALLBITS, ANMATCH_USERID, ANMATCH_ALLBITS | ANMATCH_USERID,
                                               0x4000};
                trace.Word("result", ANClearAnnos(hDoc, Among(kFlags), Below(3) == 0 ? Below(3) : userId));
                break;
            }
            case 10:
                if (Below(2) == 0) {
                    trace.BeginCall("ANCopyAnnos");
                    trace.Word("result", ANCopyAnnos(hDoc, docs_[Below(2)]));
                } else {
                    trace.BeginCall("ANBuildAnnos");
                    trace.Word("result", ANBuildAnnos(hDoc));
                }
                break;
            case 11:
            case 12: {
                trace.BeginCall("ANFindAnno");
                constexpr uint32_t kMatch[] = {0, ANMATCH_ALLBITS, ANMATCH_USERID, ANMATCH_ALLBITS | ANMATCH_USERID};
                AnnoFindInfo info{};
                info.size = sizeof info;
                info.searchFlags = Below(8) | Among(kMatch);
                info.matchId = Below(3) == 0 ? Below(3) : userId;
                info.pos = Position(doc);
                info.foundEnd = Position(doc);
                trace.Word("result", ANFindAnno(hDoc, static_cast<uint16_t>(Below(2) * ANFIND_AFTERFOUND), &info));
                trace.Bytes("the filled AnnoFindInfo", &info, sizeof info);
                break;
            }
            case 13: {
                trace.BeginCall("ANNextPos, ANNextAnnoTextPos, ANNextChunkerPos");
                const AnnoPos pos = Position(doc);
                AnnoPos next{};
                trace.Word("ANNextPos", ANNextPos(hDoc, &pos, &next));
                trace.Pos("the position ANNextPos gave", next);
                trace.Word("ANNextAnnoTextPos", ANNextAnnoTextPos(hDoc, &pos, &next));
                trace.Pos("the position ANNextAnnoTextPos gave", next);
                trace.Word("ANNextChunkerPos", ANNextChunkerPos(hDoc, &pos, &next));
                trace.Pos("the position ANNextChunkerPos gave", next);
                break;
            }
            case 14: {
                // Part of a layout pass, from anywhere.
                trace.BeginCall("ANStartAnnoTrack, ANTrackAnno, ANEndAnnoTrack");
                AnnoPos pos = Position(doc);
                AnnoTrackInfo info{};
                trace.Word("ANStartAnnoTrack", ANStartAnnoTrack(hDoc, &pos, &info));
                trace.Track("the record after ANStartAnnoTrack", info);
                for (uint32_t steps = Below(12); steps > 0; --steps) {
                    trace.Word("ANTrackAnno", ANTrackAnno(hDoc, &pos, &info));
                    trace.Track("the record after ANTrackAnno", info);
                    const uint32_t stepped = ANNextPos(hDoc, &pos, &pos);
                    trace.Word("ANNextPos", stepped);
                    trace.Pos("the position ANNextPos gave", pos);
                    if (stepped != 0) break;
                }
                trace.Word("ANEndAnnoTrack", ANEndAnnoTrack(hDoc, &info));
                trace.Track("the record after ANEndAnnoTrack", info);
                break;
            }
            case 15: {
                trace.BeginCall("ANStartAnnoTextTrack, ANGetAnnoText, ANEndAnnoTextTrack");
                AnnoTextTrack track{};
                trace.Word("ANStartAnnoTextTrack", ANStartAnnoTextTrack(hDoc, &track));
                trace.TextTrack("the record after ANStartAnnoTextTrack", track);
                for (uint32_t reads = 1 + Below(5); reads > 0; --reads) {
                    const AnnoPos pos = Position(doc);
                    uint16_t c = 0xFFFF;
                    trace.Word("ANGetAnnoText", ANGetAnnoText(hDoc, &track, &pos, &c));
                    trace.Word("the character ANGetAnnoText gave", c);
                    trace.TextTrack("the record after ANGetAnnoText", track);
                }
                trace.Word("ANEndAnnoTextTrack", ANEndAnnoTextTrack(hDoc, &track));
                trace.TextTrack("the record after ANEndAnnoTextTrack", track);
                break;
            }
            case 16: {
                trace.BeginCall("ANMapPosition");
                AnnoMapPosition request{sizeof request, Below(4), Position(doc), Below(350)};
                trace.Word("result", ANMapPosition(hDoc, &request));
                trace.Bytes("the filled AnnoMapPosition", &request, sizeof request);
                break;
            }
            case 17:
            case 18: {
                trace.BeginCall("ANAnnoEvent");
                constexpr uint32_t kEvents[] = {ANEVENT_HIT1,  ANEVENT_HIT2,  ANEVENT_MOVE,
                                                ANEVENT_MOVE,  ANEVENT_HIT32, ANEVENT_ENTER};
                const AnnoPos pos = Position(doc);
                const auto startNode = static_cast<uint16_t>(Below(3) == 0 ? 0xFFFF : Below(24));
                trace.Word("result", ANAnnoEvent(hDoc, Among(kEvents), startNode, &pos));
                break;
            }
            default: {
                trace.BeginCall("IsPositionHidden, IsTextHidden");
                const AnnoPos pos = Position(doc);
                trace.Word("IsPositionHidden", annotation::IsPositionHidden(DocInfoHandle(hDoc), &pos));
                trace.Word("IsTextHidden", annotation::IsTextHidden(DocInfoHandle(hDoc), &pos));
                break;
            }
        }
    }

    // A whole layout pass from the document's start: the tracking record,
    // the inserted character and the hidden-text answers at each position.
    void LayoutPass(uint32_t hDoc) {
        ApiTrace& trace = *trace_;
        trace.BeginCall("a whole layout pass");
        const uint32_t hInfo = DocInfoHandle(hDoc);
        AnnoPos pos{0, 0, 0, 0};
        AnnoTrackInfo info{};
        AnnoTextTrack text{};
        trace.Word("ANStartAnnoTextTrack", ANStartAnnoTextTrack(hDoc, &text));
        const uint32_t started = ANStartAnnoTrack(hDoc, &pos, &info);
        trace.Word("ANStartAnnoTrack", started);
        for (int steps = 0; steps < 2000; ++steps) {
            struct {
                AnnoPos pos;
                uint32_t bits, textResult, character, hidden, textHidden;
            } at{pos, 0, 0, 0xFFFF, annotation::IsPositionHidden(hInfo, &pos), annotation::IsTextHidden(hInfo, &pos)};
            if (started == 2) at.bits = ANTrackAnno(hDoc, &pos, &info);
            if (pos.posType == ANPOS_ANNOTEXT) {
                uint16_t c = 0xFFFF;
                at.textResult = ANGetAnnoText(hDoc, &text, &pos, &c);
                at.character = c;
            }
            trace.Bytes("the answers at a position", &at, sizeof at);
            trace.Track("the tracking record there", info);
            if (ANNextPos(hDoc, &pos, &pos) != 0) break;
        }
        trace.Word("ANEndAnnoTrack", ANEndAnnoTrack(hDoc, &info));
        trace.Word("ANEndAnnoTextTrack", ANEndAnnoTextTrack(hDoc, &text));
    }

    std::mt19937 rng_;
    ApiTrace* trace_ = nullptr;
    CallbackLog log_;
    uint32_t docs_[2] = {};
    std::vector<AnnoPos> positions_[2];
    std::vector<AnnoPos> anchors_[2];
};

TEST_F(IndexDifferential, RandomCallSequencesSeeTheSameWithAndWithoutTheIndex) {
    const IndexSwitchGuard guard;
    for (uint32_t seed = 1; seed <= kSeeds; ++seed) {
        ApiTrace walks;
        Run(seed, false, walks);
        ApiTrace indexed(&walks);
        Run(seed, true, indexed);
        ASSERT_TRUE(indexed.Finish().empty()) << "seed " << seed << ": with the index, " << indexed.difference();
    }
}

}  // namespace

// A tracking record carried across jumps: forwards past many starts at once,
// backwards, and through anchors where inserted text has put a text
// position behind a document position. The index keeps the nodes alive from
// one change position to the next; after a jump it gathers them afresh.
TEST_F(IndexDifferential, TrackingThatJumpsAnswersAsTheWalksDo) {
    const IndexSwitchGuard guard;
    const uint32_t hDoc = AttachDoc(std::string(600, 'x') + "\n" + std::string(200, 'y') + "\n");
    const std::vector<AnnoPos> positions = DocumentPositions(hDoc, 2000);
    ASSERT_GT(positions.size(), 700u);
    for (uint32_t i = 0; i + 30 < positions.size(); ++i) {
        ASSERT_EQ(AddHilite(hDoc, i, positions[i], positions[i + 1 + (i * 7) % 29]), 0u);
        if (i % 5 == 0) {
            ASSERT_EQ(AddIcon(hDoc, i, positions[i + 3]), 0u);
        }
    }
    for (const uint32_t at : {100u, 250u, 251u, 640u}) {
        ASSERT_EQ(AddText(hDoc, 9, positions[at], u"ab"), 0u);
        ASSERT_EQ(AddHide(hDoc, 9, TextPos(positions[at].itemId, positions[at].subItemId, 1), positions[at + 2]), 0u);
    }
    const uint32_t stops[] = {10, 11, 12, 13, 400, 401, 402, 40, 41, 249, 250, 251, 252, 640, 641, 700, 5};
    auto run = [&](bool indexed) {
        annotation::SetListIndexEnabled(indexed);
        std::string seen;
        AnnoTrackInfo info{};
        AnnoPos pos = positions[stops[0]];
        seen += std::to_string(ANStartAnnoTrack(hDoc, &pos, &info));
        for (const uint32_t stop : stops) {
            // Each stop, and the positions up to three steps on, text
            // positions included.
            pos = positions[stop];
            for (int step = 0; step < 4; ++step) {
                seen += "," + std::to_string(ANTrackAnno(hDoc, &pos, &info));
                seen.append(reinterpret_cast<const char*>(&info), sizeof info);
                if (ANNextPos(hDoc, &pos, &pos) != 0) break;
            }
        }
        return seen;
    };
    const std::string walks = run(false);
    EXPECT_EQ(run(true), walks);
}

// A removal tells the callback of each node it takes out while it holds the
// list, and does not tell the index of each: a layout pass made from the
// callback, which may have the index built for the list as it stands then,
// must not trust that index at the next node's callback.
TEST_F(IndexDifferential, TrackingFromARemovalsCallbackAnswersAsTheWalksDo) {
    const IndexSwitchGuard guard;
    auto run = [&](bool indexed) {
        annotation::SetListIndexEnabled(indexed);
        const uint32_t hDoc = AttachDoc(std::string(120, 'x') + "\n");
        const std::vector<AnnoPos> positions = DocumentPositions(hDoc, 100);
        for (uint32_t i = 10; i < 90; i += 10) {
            EXPECT_EQ(AddHilite(hDoc, i % 20 == 0 ? 1 : 2, positions[i], positions[i + 5 + i % 20]), 0u);
        }
        CallbackLog log;
        log.hDoc = hDoc;
        log.InstallOn(hDoc);
        log.during = [](CallbackLog& self, uint32_t code) {
            if (code != 2) return;
            // A record set up by hand, as a pass that began before the
            // removal would carry it: ANStartAnnoTrack would have the index
            // checked against the list.
            AnnoPos pos{0, 0, 0, 0};
            AnnoTrackInfo info{};
            info.nextNode = 0xFFFF;
            info.hiliteNode = 0xFFFF;
            do {
                self.results.push_back(ANTrackAnno(self.hDoc, &pos, &info));
                self.results.insert(self.results.end(), {info.hiliteNode, info.color1On, info.color1, info.userData,
                                                         info.nextChange.itemId, info.nextChange.subItemId});
            } while (ANNextPos(self.hDoc, &pos, &pos) == 0);
        };
        EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 1), 0u);
        DetachDoc(hDoc);
        CloseDoc(hDoc);
        return log.results;
    };
    const std::vector<uint32_t> walks = run(false);
    EXPECT_GT(walks.size(), 400u);
    EXPECT_EQ(run(true), walks);
}

// Nodes added after the index was built are known to it only aside; a track
// that starts among them, where they share starts with listed nodes and
// with each other, must meet the node the walk from the head meets.
TEST_F(IndexDifferential, TrackStartsAmongNodesAddedSinceTheBuild) {
    const IndexSwitchGuard guard;
    const uint32_t hDoc = AttachDoc(std::string(300, 'x') + "\n");
    const std::vector<AnnoPos> positions = DocumentPositions(hDoc, 200);
    ASSERT_EQ(positions.size(), 200u);
    for (uint32_t i = 10; i < 150; i += 10) ASSERT_EQ(AddHilite(hDoc, 1, positions[i], positions[i + 5]), 0u);
    ASSERT_EQ(FindAt(hDoc, positions[12]), 0u);  // builds the index
    // At listed starts, ending before, with and after the listed node; and
    // at starts of their own, before the first node and after the last.
    for (uint32_t i = 20; i < 150; i += 30) {
        for (const uint32_t length : {2u, 5u, 12u}) ASSERT_EQ(AddHilite(hDoc, 2, positions[i], positions[i + length]), 0u);
        ASSERT_EQ(AddHilite(hDoc, 3, positions[i + 3], positions[i + 4]), 0u);
    }
    ASSERT_EQ(AddHilite(hDoc, 4, positions[2], positions[4]), 0u);
    ASSERT_EQ(AddHilite(hDoc, 4, positions[170], positions[180]), 0u);
    for (uint32_t at = 0; at < 190; ++at) {
        std::string answers[2];
        for (const bool indexed : {false, true}) {
            annotation::SetListIndexEnabled(indexed);
            AnnoTrackInfo info{};
            answers[indexed ? 1 : 0] = std::to_string(ANStartAnnoTrack(hDoc, &positions[at], &info));
            answers[indexed ? 1 : 0].append(reinterpret_cast<const char*>(&info), sizeof info);
        }
        EXPECT_EQ(answers[1], answers[0]) << "at position " << at;
    }
}

// A hidden range added where it touches a hide-text neighbour grows that
// neighbour instead; the index follows the grown range, whether the
// neighbour is listed in the copies or was added since the build. Random
// short ranges merge often, move starts back onto and past other starts,
// and grow ends over later nodes. The adds come in pairs, the second near
// the first, before or after it, so that ranges added since the build merge
// too. After each pair the questions that take added nodes into account are
// asked at every position, then the finds, which rebuild the index first.
// Hilites beyond the adds' reach make the list long beside the few adds
// kept, so that the questions' looks through those adds do not rebuild the
// index before the positions the pair changed are asked. A tracking pass
// over the document comes first.
TEST_F(IndexDifferential, HiddenRangesThatMergeAnswerAsTheWalksDo) {
    const IndexSwitchGuard guard;
    auto run = [&](bool indexed, uint32_t seed) {
        annotation::SetListIndexEnabled(indexed);
        std::mt19937 rng(seed);
        const uint32_t hDoc = AttachDoc(std::string(250, 'x') + "\n" + std::string(150, 'y') + "\n");
        const std::vector<AnnoPos> positions = DocumentPositions(hDoc, 400);
        const uint32_t hInfo = DocInfoHandle(hDoc);
        std::string seen;
        auto find = [&](const AnnoPos& pos) {
            AnnoFindInfo found{};
            found.size = sizeof found;
            found.searchFlags = ANFIND_AT | ANMATCH_ALLBITS;
            found.pos = pos;
            seen += "," + std::to_string(ANFindAnno(hDoc, 0, &found));
            seen.append(reinterpret_cast<const char*>(&found), sizeof found);
        };
        // From `from` on, then the rest: the questions' looks through the
        // kept adds soon rebuild the index, so the positions the last adds
        // changed are asked before that.
        auto askEverywhere = [&](size_t from) {
            for (size_t i = 0; i < positions.size(); ++i) {
                const AnnoPos& pos = positions[(from + i) % positions.size()];
                AnnoTrackInfo info{};
                seen += std::to_string(annotation::IsPositionHidden(hInfo, &pos)) +
                        std::to_string(annotation::IsTextHidden(hInfo, &pos)) +
                        std::to_string(ANStartAnnoTrack(hDoc, &pos, &info));
                seen.append(reinterpret_cast<const char*>(&info), sizeof info);
                ANEndAnnoTrack(hDoc, &info);
            }
        };
        // A layout pass's tracking, which reads the grown ends from the
        // copies while no add is kept aside.
        auto trackEverywhere = [&] {
            AnnoTrackInfo info{};
            seen += std::to_string(ANStartAnnoTrack(hDoc, &positions[0], &info));
            for (const AnnoPos& pos : positions) {
                seen += std::to_string(ANTrackAnno(hDoc, &pos, &info));
                seen.append(reinterpret_cast<const char*>(&info), sizeof info);
            }
        };
        constexpr uint32_t kReach = 240;
        for (uint32_t i = kReach + 20; i + 2 < positions.size(); ++i) {
            EXPECT_EQ(AddHilite(hDoc, 3, positions[i], positions[i + 2]), 0u);
        }
        // First a listed hidden range whose start moves back onto the start
        // of a hilite added since the build: the hilite comes first in the
        // list, though the copies would put the listed node first.
        EXPECT_EQ(AddHilite(hDoc, 1, positions[40], positions[41]), 0u);
        EXPECT_EQ(AddHide(hDoc, 2, positions[45], positions[50]), 0u);
        find(positions[0]);
        EXPECT_EQ(AddHilite(hDoc, 1, positions[42], positions[49]), 0u);
        EXPECT_EQ(AddHide(hDoc, 2, positions[42], positions[46]), 0u);
        askEverywhere(40);
        for (int pair = 0; pair < 60; ++pair) {
            const auto first = static_cast<uint32_t>(8 + rng() % (kReach - 16));
            for (const uint32_t from : {first, first + static_cast<uint32_t>(rng() % 16) - 8}) {
                const AnnoPos& start = positions[from];
                const AnnoPos& end = positions[from + 1 + rng() % 10];
                const uint32_t result = rng() % 3 == 0 ? AddHilite(hDoc, 1, start, end) : AddHide(hDoc, 2, start, end);
                seen += "add " + std::to_string(result) + ":";
            }
            trackEverywhere();
            askEverywhere(first - 8);
            for (const AnnoPos& pos : positions) find(pos);
        }
        const uint32_t hList = ListHandle(hDoc);
        annotation::LockedBlock<const char> list(hList);
        seen.append(list.get(), ENMemBlockSize(hList));
        list.Unlock();
        DetachDoc(hDoc);
        CloseDoc(hDoc);
        return seen;
    };
    for (uint32_t seed = 1; seed <= 6; ++seed) {
        const std::string walks = run(false, seed);
        EXPECT_EQ(run(true, seed), walks) << "seed " << seed;
    }
}

// Inserted text and paragraph breaks added at document positions that hold
// none yet keep the index: the renumbering walk begins where the index says
// and the kept adds are renumbered one by one, and the new anchor joins the
// copies of the insert anchors. The adds come in random order among ranges
// and icons that end or stand exactly at later anchors (so that those are
// renumbered and the index dropped), with anchors at the whole item of a
// text item (where the walk ends early), and with finds that rebuild the
// index between them. After every add the list block, a track start at the
// add's anchor and a step through the positions the adds reach, reading the
// inserted text, are compared.
TEST_F(IndexDifferential, InsertsAtNewAnchorsAnswerAsTheWalksDo) {
    const IndexSwitchGuard guard;
    auto run = [&](bool indexed, uint32_t seed, ApiTrace& trace) {
        annotation::SetListIndexEnabled(indexed);
        std::mt19937 rng(seed);
        const uint32_t hDoc = AttachDoc(std::string(90, 'x') + "{item 8}" + std::string(60, 'y') + "\n" +
                                        std::string(70, 'z') + "\n" + std::string(300, 'w') + "\n");
        const std::vector<AnnoPos> positions = DocumentPositions(hDoc, 600);
        auto below = [&](size_t bound) { return static_cast<uint32_t>(rng() % bound); };
        // The adds stay in the first three paragraphs. Hilites in the last
        // make the list long beside the adds kept since a build, so that the
        // questions' looks through those do not rebuild the index at once.
        constexpr size_t kReach = 224;
        for (size_t i = kReach + 4; i + 3 < positions.size(); i += 2) {
            EXPECT_EQ(AddHilite(hDoc, 8, positions[i], positions[i + 2]), 0u);
        }
        // Anchors: mostly document positions, some the whole item of one,
        // a few the subitem just below the whole item, where a point
        // annotation's end (one subitem on) wraps to the whole item.
        std::vector<AnnoPos> anchors;
        for (int i = 0; i < 24; ++i) {
            AnnoPos anchor = positions[1 + below(kReach - 1)];
            if (below(5) == 0) anchor.subItemId = 0xFFFFFFFF;
            if (below(8) == 0) anchor.subItemId = 0xFFFFFFFE;
            anchors.push_back(anchor);
        }
        auto record = [&](uint32_t result) {
            trace.BeginCall("ANAddAnno");
            trace.Word("result", result);
            trace.ListBlock("the list block", hDoc);
        };
        auto trackFrom = [&](const AnnoPos& pos) {
            trace.BeginCall("ANStartAnnoTrack");
            AnnoTrackInfo track{};
            trace.Word("result", ANStartAnnoTrack(hDoc, &pos, &track));
            trace.Track("record", track);
        };
        auto findAt = [&](const AnnoPos& pos) {
            trace.BeginCall("ANFindAnno");
            trace.Word("result", FindAt(hDoc, pos));
        };
        // First, with the index built: text added where a listed hilite
        // starts goes in front of it, and a track starting there meets the
        // text first.
        record(AddHilite(hDoc, 7, positions[5], positions[9]));
        findAt(positions[0]);
        record(AddText(hDoc, 7, positions[5], u"c"));
        trackFrom(positions[5]);
        for (int add = 0; add < 120; ++add) {
            const AnnoPos& anchor = anchors[below(anchors.size())];
            const AnnoPos& somewhere = positions[below(kReach)];
            switch (below(6)) {
                case 0: record(AddText(hDoc, 1, anchor, std::u16string(1 + below(3), u'a'))); break;
                case 1: record(AddBreak(hDoc, 2, anchor)); break;
                case 2:
                    // Ending at the anchor, or starting there, so that inserted text
                    // added there later goes in front of it.
                    record(below(2) == 0 ? AddHilite(hDoc, 3, positions[below(kReach / 2)], anchor)
                                         : AddHilite(hDoc, 3, anchor, positions[kReach]));
                    break;
                case 3: record(AddIcon(hDoc, 4, below(2) == 0 ? anchor : somewhere)); break;
                case 4: record(AddHilite(hDoc, 5, somewhere, positions[below(kReach)])); break;
                default: record(AddText(hDoc, 6, somewhere, u"b")); break;
            }
            trackFrom(anchor);
            trace.BeginCall("ANNextPos through the adds' reach, and ANGetAnnoText in inserted text");
            AnnoPos pos{0, 0, 0, 0};
            AnnoTextTrack text{};
            ANStartAnnoTextTrack(hDoc, &text);
            for (size_t step = 0; step < 2 * kReach && ANNextPos(hDoc, &pos, &pos) == 0; ++step) {
                trace.Pos("next", pos);
                if (ANIsAnnoTextPos(&pos) == 0) continue;
                uint16_t character = 0;
                trace.Word("kind", ANGetAnnoText(hDoc, &text, &pos, &character));
                trace.Word("character", character);
            }
            ANEndAnnoTextTrack(hDoc, &text);
            if (below(8) == 0) findAt(somewhere);
        }
        DetachDoc(hDoc);
        CloseDoc(hDoc);
    };
    for (uint32_t seed = 1; seed <= 8; ++seed) {
        ApiTrace walks;
        run(false, seed, walks);
        ApiTrace indexed(&walks);
        run(true, seed, indexed);
        ASSERT_TRUE(indexed.Finish().empty()) << "seed " << seed << ": with the index, " << indexed.difference();
    }
}

// A paragraph break added where an icon and a hilite start goes in front of
// both, and the icon moves into the inserted text behind them: the list's
// starts now decrease there. A hilite added after that, from inside the
// inserted text, is kept aside by the index; a track starting past the
// anchor must meet the listed hilite first, as the walk does, though the
// kept one starts earlier. (A question at the anchor itself walks, and its
// walk soon has the index rebuilt: the positions asked come after it.)
TEST_F(IndexDifferential, TrackStartsWhereInsertedTextBrokeTheStartOrder) {
    const IndexSwitchGuard guard;
    const uint32_t hDoc = AttachDoc(std::string(1000, 'x') + "\n");
    const std::vector<AnnoPos> positions = DocumentPositions(hDoc, 1000);
    ASSERT_EQ(positions.size(), 1000u);
    // Hilites before the anchor keep the list long beside the one add kept,
    // so that neither that add's walk from the tail nor the questions' looks
    // through it rebuild the index.
    for (uint32_t i = 10; i < 900; i += 2) ASSERT_EQ(AddHilite(hDoc, 1, positions[i], positions[i + 1]), 0u);
    const AnnoPos& anchor = positions[920];
    ASSERT_EQ(AddHilite(hDoc, 2, anchor, positions[960]), 0u);
    ASSERT_EQ(AddIcon(hDoc, 3, anchor), 0u);
    ASSERT_EQ(AddBreak(hDoc, 4, anchor), 0u);
    ASSERT_EQ(FindAt(hDoc, positions[0]), ANERR_NOTFOUND);  // builds the index
    ASSERT_EQ(AddHilite(hDoc, 5, TextPos(anchor.itemId, anchor.subItemId, 0), positions[950]), 0u);
    std::vector<std::string> answers[2];
    for (const bool indexed : {true, false}) {
        annotation::SetListIndexEnabled(indexed);
        for (uint32_t at = 921; at < 970; ++at) {
            AnnoTrackInfo info{};
            std::string& answer = answers[indexed ? 1 : 0].emplace_back();
            answer = std::to_string(ANStartAnnoTrack(hDoc, &positions[at], &info));
            answer.append(reinterpret_cast<const char*>(&info), sizeof info);
        }
    }
    for (size_t i = 0; i < answers[0].size(); ++i) EXPECT_EQ(answers[1][i], answers[0][i]) << "at position " << 921 + i;
}

// A layout pass replays what the pass before it worked out at each change
// position, until the copies change. Passes run twice after every kind of
// change the index follows without a rebuild (an add kept aside, a hidden
// range that grows its neighbour) and after those that rebuild it; a pass
// from the middle of the document, and one that asks twice at each change
// position, or one that forgets its scan start now and then, take other
// ways through the recorded changes; and the index's
// heap refuses the log's memory at each of its first allocations.
TEST_F(IndexDifferential, RepeatedLayoutPassesAnswerAsTheWalksDo) {
    const IndexSwitchGuard guard;
    auto run = [&](bool indexed) {
        annotation::SetListIndexEnabled(indexed);
        const uint32_t hDoc = AttachDoc(std::string(300, 'x') + "\n" + std::string(100, 'y') + "\n");
        const std::vector<AnnoPos> positions = DocumentPositions(hDoc, 500);
        for (uint32_t i = 5; i + 40 < positions.size(); i += 3) {
            EXPECT_EQ(AddHilite(hDoc, 1, positions[i], positions[i + 2 + (i * 11) % 37], kStyles[i % 5]), 0u);
            const uint32_t hidden = i % 7 == 0 ? AddHide(hDoc, 2, positions[i + 1], positions[i + 4], i) : 0;
            const uint32_t icon = i % 13 == 0 ? AddIcon(hDoc, 3, positions[i + 2]) : 0;
            const uint32_t text = i % 31 == 0 ? AddText(hDoc, 4, positions[i], u"abc") : 0;
            EXPECT_EQ(hidden | icon | text, 0u);
        }
        std::string seen;
        // kTwice asks twice at every position; kForget forgets the scan
        // start (nextNode) at every other change position, as a record
        // carried over from elsewhere would.
        enum Way { kOnce, kTwice, kForget };
        auto pass = [&](size_t from, Way way) {
            AnnoPos pos = positions[from];
            AnnoTrackInfo info{};
            seen += "|" + std::to_string(ANStartAnnoTrack(hDoc, &pos, &info));
            uint32_t changes = 0;
            do {
                if (way == kForget && ANCompPos(&pos, &info.nextChange) >= 0 && ++changes % 2 == 0) {
                    info.nextNode = 0xFFFF;
                }
                for (int ask = way == kTwice ? 2 : 1; ask > 0; --ask) {
                    seen += "," + std::to_string(ANTrackAnno(hDoc, &pos, &info));
                    // The two runs' documents hold their texts in blocks of
                    // different handles.
                    AnnoTrackInfo shown = info;
                    shown.hText = shown.hText != 0 ? 1 : 0;
                    seen.append(reinterpret_cast<const char*>(&shown), sizeof shown);
                }
            } while (ANNextPos(hDoc, &pos, &pos) == 0);
        };
        auto twoPasses = [&] {
            pass(0, kOnce);
            pass(0, kOnce);
        };
        twoPasses();
        pass(150, kOnce);
        twoPasses();
        pass(0, kTwice);
        pass(0, kForget);
        pass(0, kForget);
        pass(0, kOnce);
        EXPECT_EQ(AddHilite(hDoc, 5, positions[60], positions[90], 0x3A), 0u);  // kept aside
        twoPasses();
        EXPECT_EQ(AddHide(hDoc, 5, positions[65], positions[120], 77), 0u);  // grows a neighbour
        twoPasses();
        EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 3), 0u);
        twoPasses();
        for (int32_t failAfter = 0; failAfter < 6; ++failAfter) {
            EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 5), 0u);  // the next pass rebuilds the index and the log
            if (indexed) annotation::SetIndexHeapFailAfter(failAfter);
            twoPasses();
            annotation::SetIndexHeapFailAfter(-1);
        }
        DetachDoc(hDoc);
        CloseDoc(hDoc);
        return seen;
    };
    const std::string walks = run(false);
    EXPECT_GT(walks.size(), 100000u);
    EXPECT_EQ(run(true), walks);
}
