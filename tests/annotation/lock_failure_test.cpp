// Platform calls that fail, and arguments that are not there.
//
// Locks: SYSNativeLock yields null at the first, second, third ... lock of a
// call, until the call no longer reaches the failure. Each time, the call
// gives its normal answer with its normal effect, or one of the answers it
// documents for a failure with nothing changed; nothing stays locked and
// nothing leaks. Engine calls that nothing else makes fail, and null
// pointers, give their documented answers and change nothing either.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "annotation/styles/hilite_styles.h"
#include "engine/engine.h"
#include "platform/memory.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"

namespace {

using namespace testing_support;

// Chunk 0: "Hello world" (item 0), end (1), "Second" (2), end (3); chunk 1:
// "Third" (0x10000) in a marked range, its end marker (0x10001), end
// (0x10002).
constexpr const char* kDocument = "Hello world\nSecond\n{chunk}{mark 0x81000000}Third{/mark 0x81000000}\n";
// Anchors of inserted text.
constexpr AnnoPos kA = DocPos(2, 0xC);
constexpr AnnoPos kB = DocPos(0x10000, 0x10002);
constexpr AnnoPos kInB1 = TextPos(kB.itemId, kB.subItemId, 1);
constexpr AnnoPos kInB2 = TextPos(kB.itemId, kB.subItemId, 2);
constexpr uint32_t kStyleId = 3;

HiliteStyle Style(uint32_t id, uint32_t color1) { return HiliteStyle{28, id, ANHS_COLOR1ON, color1, 0, 1, 2, 0}; }

std::string Narrow(const std::u16string& text) { return std::string(text.begin(), text.end()); }

std::string Describe(const AnnoPos& pos) {
    std::ostringstream out;
    out << pos;
    return out.str();
}

// Whether the failure armed last fired. The first Disarm() after arming
// notes it, so that a call under test may disarm to clean up after itself.
bool gArmed = false;
bool gFired = false;

void Arm(const char* call, int32_t after, uint32_t code) {
    gArmed = true;
    gFired = false;
    ENFailCallAfter(call, after, code);
}

void Disarm() {
    if (gArmed) gFired = ENFailPending() == 0;
    gArmed = false;
    ENFailCallAfter(nullptr, -1, 0);
}

// Makes the lock after `n` more successful ones fail, once.
void FailLockAfter(int32_t n) { Arm("SYSNativeLock", n, 0); }

// What a call answered: its result, then whatever it wrote for the caller.
struct Answer {
    uint32_t result = 0;
    std::vector<std::string> outputs;
};

using Call = std::function<Answer(uint32_t hDoc, int32_t n)>;

// A call that needs nothing prepared and answers with its result alone.
Call Plain(std::function<uint32_t(uint32_t hDoc)> call) {
    return [call = std::move(call)](uint32_t hDoc, int32_t n) {
        FailLockAfter(n);
        return Answer{call(hDoc), {}};
    };
}

// One call under test. `call` arms the failure with FailLockAfter(n) once it
// has prepared what it needs. `failures` lists every result a lock failure
// gives instead of the normal one, each with nothing changed (a failure that
// is answered like success, with nothing done, lists the normal result too);
// `degraded` lists the outputs that come with the normal result when a
// look-up the call depends on could not be made, as it documents.
struct Case {
    const char* what;
    Call call;
    uint32_t answer;
    std::set<uint32_t> failures;
    std::set<std::vector<std::string>> degraded = {};
};

// The inserted texts in list order, '|' for a break.
std::string Inserted(uint32_t hDoc) {
    std::string all;
    for (const ListedNode& node : ListedNodes(hDoc)) {
        if (node.kind == ANNO_INSERTTEXT) all += Narrow(node.text) + ",";
        if (node.kind == ANNO_INSERTPARABREAK) all += "|,";
    }
    return all;
}

using Outcome = std::pair<uint32_t, std::string>;

class LockFailure : public AnnotationTest {
protected:
    // The document's annotations and own styles as lines that compare across
    // documents (text handles are left out).
    static std::vector<std::string> Contents(uint32_t hDoc) {
        std::vector<std::string> lines;
        for (const ListedNode& node : ListedNodes(hDoc)) {
            std::ostringstream line;
            line << "kind " << node.kind << " #" << node.anno.userId << " " << node.anno.start << "-" << node.anno.end
                 << " data " << node.anno.userData << "/" << node.anno.displayData << " '" << Narrow(node.text) << "' "
                 << node.anno.textLen << "/" << node.anno.textCap;
            lines.push_back(line.str());
        }
        annotation::LockedBlock<annotation::HiliteStyleTable> table(DocInfo(hDoc).hHiliteStyles);
        annotation::LockedBlock<HiliteStyle> records(table ? table->hRecords : 0);
        for (uint16_t i = 0; records && i < table->count; ++i) {
            const HiliteStyle& style = records.get()[i];
            std::ostringstream line;
            line << "style " << style.id << " " << style.flags << " " << style.color1 << " " << style.attr2;
            lines.push_back(line.str());
        }
        return lines;
    }

    // The document every case starts from: a hilite, a hidden range, the
    // inserted text "abc|de|f" at A (five nodes: a text track grows its
    // cache to read it) and "xyz" at B, an icon, one style of its own, and a
    // marked range not built yet. Nine nodes: the list has grown to twenty
    // slots, and no case grows it.
    uint32_t Prepared() {
        const uint32_t hDoc = AttachDoc(kDocument);
        EXPECT_EQ(AddHilite(hDoc, 1, DocPos(0, 1), DocPos(0, 4), 0x12), 0u);
        EXPECT_EQ(AddHide(hDoc, 2, DocPos(0, 6), DocPos(0, 8)), 0u);
        EXPECT_EQ(AddText(hDoc, 3, kA, u"abc"), 0u);
        EXPECT_EQ(AddBreak(hDoc, 4, kA), 0u);
        EXPECT_EQ(AddText(hDoc, 5, kA, u"de"), 0u);
        EXPECT_EQ(AddBreak(hDoc, 6, kA), 0u);
        EXPECT_EQ(AddText(hDoc, 7, kA, u"f"), 0u);
        EXPECT_EQ(AddText(hDoc, 8, kB, u"xyz"), 0u);
        EXPECT_EQ(AddIcon(hDoc, 9, DocPos(1, 0xFFFFFFFF)), 0u);
        const HiliteStyle style = Style(kStyleId, 0xFF);
        EXPECT_EQ(ANAddHiliteStyle(hDoc, &style), 0u);
        return hDoc;
    }

    // For n = 0, 1, ...: `run(hDoc, n)` on a fresh prepared document (it
    // arms the failure and looks at what happened after Disarm()), then
    // what must hold after every run: nothing locked, the list sound,
    // nothing leaked. Ends after the run that met no failure.
    void ForEachLock(const std::function<void(uint32_t hDoc, int32_t n)>& run) {
        for (int32_t n = 0; n < 400; ++n) {
            SCOPED_TRACE(testing::Message() << "lock " << n << " of the call fails");
            const uint32_t liveBefore = ENMemLiveBlocks();
            const uint32_t hDoc = Prepared();
            run(hDoc, n);
            Disarm();
            EXPECT_EQ(ENMemLockedBlocks(), 0u);
            EXPECT_TRUE(ListIsSound(hDoc));
            DetachDoc(hDoc);
            EXPECT_EQ(ENMemLiveBlocks(), liveBefore) << "blocks leaked";
            if (!gFired) return;
        }
        ADD_FAILURE() << "the call never got past its locks";
    }

    // Every answer of `call` as its locks fail in turn, each with what `look`
    // saw afterwards.
    std::set<Outcome> Outcomes(const std::function<uint32_t(uint32_t hDoc)>& call,
                               const std::function<std::string(uint32_t hDoc)>& look) {
        std::set<Outcome> outcomes;
        ForEachLock([&](uint32_t hDoc, int32_t n) {
            FailLockAfter(n);
            const uint32_t result = call(hDoc);
            Disarm();
            outcomes.emplace(result, look(hDoc));
        });
        return outcomes;
    }

    void Sweep(const Case& c) {
        SCOPED_TRACE(c.what);
        const uint32_t hReference = Prepared();
        const Answer expected = c.call(hReference, -1);
        EXPECT_EQ(expected.result, c.answer);
        const std::vector<std::string> done = Contents(hReference);
        DetachDoc(hReference);

        std::set<uint32_t> seen;
        std::set<std::vector<std::string>> seenDegraded;
        ForEachLock([&](uint32_t hDoc, int32_t n) {
            const std::vector<std::string> before = Contents(hDoc);
            const Answer got = c.call(hDoc, n);
            Disarm();
            const std::vector<std::string> after = Contents(hDoc);
            if (got.result == c.answer && got.outputs == expected.outputs && after == done) return;
            if (gFired && got.result == c.answer && c.degraded.count(got.outputs) != 0) {
                seenDegraded.insert(got.outputs);
            } else if (gFired && c.failures.count(got.result) != 0) {
                seen.insert(got.result);
            } else {
                ADD_FAILURE() << "answered " << got.result << (gFired ? "" : " without a failure");
            }
            EXPECT_EQ(after, before) << "a failed call changed the list";
        });
        EXPECT_EQ(seen, c.failures) << "not every documented failure was met";
        EXPECT_EQ(seenDegraded, c.degraded) << "not every documented degraded answer was met";
    }
};

// A range that cannot be built, and a node that cannot be copied, are passed
// over without a word: 0 with nothing done.
TEST_F(LockFailure, CallsThatChangeTheListChangeNothingWhenTheyFail) {
    const std::vector<Case> cases = {
        {"a hilite is added", Plain([](uint32_t h) { return AddHilite(h, 10, DocPos(0, 2), DocPos(0, 9)); }), 0,
         {ANERR_NOANNODATA, ANERR_NOMEMORY}},
        {"text joins the text before it", Plain([](uint32_t h) { return AddText(h, 10, kA, u"fg"); }), 0,
         {ANERR_NOANNODATA, ANERR_NOMEMORY}},
        {"text goes into a text", Plain([](uint32_t h) { return AddText(h, 10, kInB1, u"pq"); }), 0,
         {ANERR_NOANNODATA, ANERR_NOMEMORY}},
        {"a break splits a text", Plain([](uint32_t h) { return AddBreak(h, 10, kInB2); }), 0,
         {ANERR_NOANNODATA, ANERR_NOMEMORY}},
        {"inserted text is removed", Plain([](uint32_t h) { return ANClearAnnos(h, ANMATCH_USERID, 3); }), 0,
         {ANERR_NOANNODATA, ANERR_NOMEMORY}},
        {"a style is added",
         Plain([](uint32_t h) {
             const HiliteStyle style = Style(4, 0xFF00);
             return ANAddHiliteStyle(h, &style);
         }),
         0, {ANERR_NOANNODATA, ANERR_BADPARAM, ANERR_NOMEMORY}},
        {"a short style replaces one",
         Plain([](uint32_t h) {
             HiliteStyle style = Style(kStyleId, 0xFF00);
             style.size = 24;
             return ANAddHiliteStyle(h, &style);
         }),
         0, {ANERR_NOANNODATA, ANERR_BADPARAM, ANERR_NOMEMORY}},
        {"the marked ranges are built", Plain(ANBuildAnnos), 0, {0, ANERR_NOANNODATA}},
        {"the annotations are copied",
         [this](uint32_t hDoc, int32_t n) {
             const uint32_t hDest = AttachDoc(kDocument);
             FailLockAfter(n);
             const uint32_t result = ANCopyAnnos(hDest, hDoc);
             Disarm();
             EXPECT_TRUE(ListIsSound(hDest));
             Answer answer{result, Contents(hDest)};
             DetachDoc(hDest);
             return answer;
         },
         0, {0, ANERR_NOANNODATA}},
    };
    for (const Case& c : cases) Sweep(c);
}

// Queries change no list, so only their answers count: the normal answer
// with the normal outputs, or a documented failure answer.
TEST_F(LockFailure, QueriesAnswerAsDocumentedWhenTheyFail) {
    const auto stepFrom = [](uint32_t (*step)(uint32_t, const AnnoPos*, AnnoPos*)) {
        return [step](uint32_t hDoc, int32_t n) {
            const AnnoPos pos = DocPos(2, 0xB);
            AnnoPos next{};
            FailLockAfter(n);
            const uint32_t result = step(hDoc, &pos, &next);
            return Answer{result, {Describe(next)}};
        };
    };
    const auto map = [](AnnoMapPosition request) {
        return [request](uint32_t hDoc, int32_t n) {
            AnnoMapPosition asked = request;
            FailLockAfter(n);
            const uint32_t result = ANMapPosition(hDoc, &asked);
            return Answer{result, {Describe(asked.pos), std::to_string(asked.acc)}};
        };
    };
    const std::vector<Case> cases = {
        {"a hidden range is found",
         [](uint32_t hDoc, int32_t n) {
             AnnoFindInfo info{sizeof info, ANFIND_AT | ANMATCH_USERID, 2, DocPos(0, 7), 0, {}, {}, 0};
             FailLockAfter(n);
             const uint32_t result = ANFindAnno(hDoc, 0, &info);
             return Answer{result, {Describe(info.foundStart), Describe(info.foundEnd)}};
         },
         0, {ANERR_NOANNODATA, ANERR_NOTFOUND}},
        {"a layout pass starts",
         [](uint32_t hDoc, int32_t n) {
             AnnoTrackInfo info{};
             const AnnoPos pos = DocPos(0, 0);
             FailLockAfter(n);
             const uint32_t result = ANStartAnnoTrack(hDoc, &pos, &info);
             return Answer{result, {std::to_string(info.nextNode), Describe(info.nextChange)}};
         },
         2, {0}},
        {"a layout pass goes on",
         [](uint32_t hDoc, int32_t n) {
             AnnoTrackInfo info{};
             const AnnoPos start = DocPos(0, 0), pos = DocPos(0, 1);
             EXPECT_EQ(ANStartAnnoTrack(hDoc, &start, &info), 2u);
             FailLockAfter(n);
             const uint32_t result = ANTrackAnno(hDoc, &pos, &info);
             return Answer{result, {std::to_string(info.color1On), std::to_string(info.color1),
                                    std::to_string(info.nextNode), Describe(info.nextChange)}};
         },
         ANTRACK_HILITE, {0}},
        {"a character of inserted text is read",
         [](uint32_t hDoc, int32_t n) {
             AnnoTextTrack track{};
             EXPECT_EQ(ANStartAnnoTextTrack(hDoc, &track), 0u);
             const AnnoPos pos = TextPos(kA.itemId, kA.subItemId, 4);
             uint16_t ch = 0;
             FailLockAfter(n);
             const uint32_t result = ANGetAnnoText(hDoc, &track, &pos, &ch);
             Disarm();
             EXPECT_EQ(ANEndAnnoTextTrack(hDoc, &track), 0u);
             return Answer{result, {std::to_string(ch)}};
         },
         ANNO_INSERTTEXT, {ANERR_NOMEMORY, ANERR_NOANNODATA, ANERR_NOTFOUND}},
        {"the next inserted text is found", stepFrom(ANNextAnnoTextPos), 0, {ANERR_NOANNODATA, ANERR_NOTFOUND}},
        {"the next document position is found", stepFrom(ANNextChunkerPos), 0, {ANERR_NOANNODATA}},
        // A chunk the build could not size gets an empty map: nothing mapped
        // from an ACC, the chunk's first ACC for a position.
        {"an ACC is mapped to its position", map({28, ANMAP_ACCTOPOS, {}, 19}), 0, {ANERR_NOANNODATA},
         {{Describe(AnnoPos{}), "19"}}},
        {"a position is mapped to its ACC", map({28, ANMAP_POSTOACC, kB, 0}), 0,
         {ANERR_NOANNODATA, ANERR_BADPARAM}, {{Describe(kB), "17"}}},
        {"a style is looked up",
         [](uint32_t hDoc, int32_t n) {
             HiliteStyle style{};
             FailLockAfter(n);
             const uint32_t result = ANGetHiliteStyle(hDoc, kStyleId, &style);
             return Answer{result, {std::to_string(style.color1)}};
         },
         1, {0}},
        {"a hit is reported",
         [](uint32_t hDoc, int32_t n) {
             CallbackLog log;
             log.reply = 7;
             log.InstallOn(hDoc);
             const AnnoPos pos = DocPos(0, 7);
             FailLockAfter(n);
             const uint32_t result = ANAnnoEvent(hDoc, ANEVENT_HIT1, 0, &pos);
             Disarm();
             EXPECT_EQ(ANSetCallback(hDoc, nullptr, 0), 0u);
             return Answer{result, {std::to_string(log.heard.size())}};
         },
         7, {0}},
    };
    for (const Case& c : cases) Sweep(c);
}

// The texts on both sides of a removed break are joined. When either cannot
// be locked they stay apart, as when the left one cannot grow: the break is
// gone and the result is 13.
TEST_F(LockFailure, TextsThatCannotBeLockedStayApartWhenTheBreakBetweenThemGoes) {
    const std::set<Outcome> expected = {{0, "abcde,|,f,xyz,"},
                                        {ANERR_NOANNODATA, "abc,|,de,|,f,xyz,"},
                                        {ANERR_NOMEMORY, "abc,|,de,|,f,xyz,"},
                                        {ANERR_NOMEMORY, "abc,de,|,f,xyz,"}};
    EXPECT_EQ(Outcomes([](uint32_t hDoc) { return ANClearAnnos(hDoc, ANMATCH_USERID, 4); }, Inserted), expected);
}

// Inserted text asked for inside hidden text moves to the hidden range's
// start; when the list cannot be locked to find that start, or to tell that
// the position is hidden, it stays where it was asked for.
TEST_F(LockFailure, InsertedTextThatCannotLeaveHiddenTextStaysWhereItWasAsked) {
    const auto startOfTheNewText = [](uint32_t hDoc) {
        for (const ListedNode& node : ListedNodes(hDoc)) {
            if (node.anno.userId == 10) return Describe(node.anno.start);
        }
        return std::string("none");
    };
    const std::set<Outcome> expected = {{0, Describe(DocPos(0, 6))},
                                        {0, Describe(DocPos(0, 7))},
                                        {ANERR_NOANNODATA, "none"},
                                        {ANERR_NOMEMORY, "none"}};
    EXPECT_EQ(Outcomes([](uint32_t hDoc) { return AddText(hDoc, 10, DocPos(0, 7), u"h"); }, startOfTheNewText),
              expected);
}

// A hide request walks the document position by position, and a step that
// meets a lock failure reads as the document's end: the request may then be
// listed shorter, or not cut at its paragraph end, and answered 0 (the walk
// cannot tell). Any other failure answers 18 or 13 and keeps the pieces
// listed before it. Nothing outside the request is ever hidden.
TEST_F(LockFailure, AHideRequestThatMeetsALockFailureHidesNothingOutsideIt) {
    const AnnoPos start = DocPos(0, 9), end = DocPos(2, 0xB);
    const auto pieces = [&](uint32_t hDoc) {
        std::ostringstream listed;
        for (const ListedNode& node : ListedNodes(hDoc)) {
            if (node.anno.userId != 10) continue;
            listed << node.kind << node.anno.start << "-" << node.anno.end << " ";
            if (ANCompPos(&node.anno.start, &start) < 0 || ANCompPos(&node.anno.end, &end) > 0) listed << "outside ";
        }
        return listed.str();
    };
    const uint32_t hDoc = Prepared();
    ASSERT_EQ(AddHide(hDoc, 10, start, end), 0u);
    const std::string complete = pieces(hDoc);
    EXPECT_EQ(complete, "3(0, 9, 0, 0)-(1, -1, 0, 0) 7(1, -1, 0, 0)-(1, 0, 0, 0) ");
    DetachDoc(hDoc);

    std::set<uint32_t> results;
    for (const auto& [result, listed] : Outcomes([&](uint32_t h) { return AddHide(h, 10, start, end); }, pieces)) {
        SCOPED_TRACE(listed);
        results.insert(result);
        EXPECT_EQ(listed.find("outside"), std::string::npos);
        if (result != 0) {
            EXPECT_EQ(complete.compare(0, listed.size(), listed), 0) << "not the pieces listed before the failure";
        }
    }
    EXPECT_EQ(results, (std::set<uint32_t>{0, ANERR_NOMEMORY, ANERR_NOANNODATA}));
}

// ANClearUserData answers 0 whether or not it could reach the list: a
// handle it could not reach stays with its annotation, and a later call
// frees it.
TEST_F(LockFailure, UserDataThatCannotBeReachedIsFreedByALaterCall) {
    const uint32_t hDoc = AttachDoc(kDocument);
    const uint32_t hData = SYSNativeAlloc(8);
    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(0, 1), DocPos(0, 4), 0x12, hData), 0u);
    for (int32_t n = 0; n < 8; ++n) {
        SCOPED_TRACE(n);
        FailLockAfter(n);
        EXPECT_EQ(ANClearUserData(hDoc), 0u);
        Disarm();
        EXPECT_EQ(NodeOf(hDoc, 1).anno.userData, gFired ? hData : 0u);
        EXPECT_EQ(ENMemBlockSize(hData), gFired ? 8u : 0u);
        if (!gFired) break;
    }
}

class EngineFailure : public LockFailure {};

// Engine calls that nothing else makes fail, each as the call that depends on
// it documents: the answer, and the list unchanged.
TEST_F(EngineFailure, CallsGiveTheirDocumentedAnswers) {
    // The nodes after one build and after the next: a range that could not
    // be built is passed over for good.
    const auto buildTwiceWith = [](const char* failing, int32_t after) {
        return [=](uint32_t hDoc) {
            Arm(failing, after, 77);
            const uint32_t result = ANBuildAnnos(hDoc);
            Disarm();
            const size_t once = ListedNodes(hDoc).size();
            EXPECT_EQ(ANBuildAnnos(hDoc), 0u);
            return Answer{result, {std::to_string(once), std::to_string(ListedNodes(hDoc).size())}};
        };
    };
    const std::vector<std::pair<std::function<Answer(uint32_t hDoc)>, Answer>> cases = {
        // The item stepped into cannot be described: the item as a whole.
        {[](uint32_t hDoc) {
             const AnnoPos pos = DocPos(1, 0xFFFFFFFF);
             AnnoPos next{};
             Arm("CHGetItem", 1, 77);
             return Answer{ANNextChunkerPos(hDoc, &pos, &next), {Describe(next)}};
         },
         {0, {Describe(DocPos(2, 0xFFFFFFFF))}}},
        // The builder of inserted text cannot find the state.
        {[](uint32_t hDoc) {
             Arm("DAGetAnno", 1, 77);
             return Answer{AddText(hDoc, 10, DocPos(0, 2), u"q"), {}};
         },
         {77, {}}},
        // The item of a mapped ACC cannot be described: it is taken as text.
        {[](uint32_t hDoc) {
             AnnoMapPosition request{sizeof request, ANMAP_ACCTOPOS, {}, 19};
             EXPECT_EQ(ANMapPosition(hDoc, &request), 0u);  // the map, read once
             request.acc = 20;
             Arm("CHGetItem", 0, 77);
             return Answer{ANMapPosition(hDoc, &request), {Describe(request.pos)}};
         },
         {0, {Describe(DocPos(0x10000, 0x10003))}}},
        // A marked range without id, one that cannot be read, one whose
        // start cannot be read.
        {buildTwiceWith("CHGetItemId", 0), {0, {"9", "9"}}},
        {buildTwiceWith("CHGetItem", 0), {0, {"9", "9"}}},
        {buildTwiceWith("CHGetItem", 1), {0, {"9", "9"}}},
        // Without a failure the range is built.
        {buildTwiceWith("CHGetItem", -1), {0, {"10", "10"}}},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        const uint32_t hDoc = Prepared();
        const std::vector<std::string> before = Contents(hDoc);
        const Answer got = cases[i].first(hDoc);
        Disarm();
        EXPECT_EQ(got.result, cases[i].second.result);
        EXPECT_EQ(got.outputs, cases[i].second.outputs);
        if (i + 1 < cases.size()) {
            EXPECT_TRUE(gFired) << "the engine call did not fail";
            EXPECT_EQ(Contents(hDoc), before);
        }
        DetachDoc(hDoc);
    }
}

class MissingArgument : public LockFailure {};

// Null pointers: the documented result, nothing written, nothing changed.
TEST_F(MissingArgument, IsRefusedAndChangesNothing) {
    const uint32_t hDoc = Prepared();
    const std::vector<std::string> before = Contents(hDoc);
    AnnoTextTrack track{};
    ASSERT_EQ(ANStartAnnoTextTrack(hDoc, &track), 0u);
    const AnnoTextTrack started = track;
    const AnnoPos pos = TextPos(kA.itemId, kA.subItemId, 0);
    const AnnoPos untouched{9, 9, 9, 9};
    AnnoPos next{};
    uint16_t ch = 0;
    struct Refused {
        std::function<uint32_t()> call;
        uint32_t result;
        bool clearsNext = false;  // the chunker step clears `next` first
    };
    const std::vector<Refused> refused = {
        {[&] { return ANNextPos(hDoc, nullptr, &next); }, ANERR_NOTFOUND},
        {[&] { return ANNextPos(hDoc, &pos, nullptr); }, ANERR_NOTFOUND},
        {[&] { return ANNextChunkerPos(hDoc, nullptr, &next); }, ANERR_BADPARAM, true},
        {[&] { return ANNextChunkerPos(hDoc, &pos, nullptr); }, ANERR_BADPARAM},
        {[&] { return ANNextAnnoTextPos(hDoc, nullptr, &next); }, ANERR_BADPARAM},
        {[&] { return ANNextAnnoTextPos(hDoc, &pos, nullptr); }, ANERR_BADPARAM},
        {[&] { return ANGetAnnoText(hDoc, nullptr, &pos, &ch); }, ANERR_BADPARAM},
        {[&] { return ANGetAnnoText(hDoc, &track, nullptr, &ch); }, ANERR_BADPARAM},
        {[&] { return ANGetAnnoText(hDoc, &track, &pos, nullptr); }, ANERR_BADPARAM},
        {[&] { return ANStartAnnoTextTrack(hDoc, nullptr); }, ANERR_BADPARAM},
        {[&] { return ANEndAnnoTextTrack(hDoc, nullptr); }, 0},
    };
    for (size_t i = 0; i < refused.size(); ++i) {
        SCOPED_TRACE(i);
        next = untouched;
        ch = 0xEEEE;
        EXPECT_EQ(refused[i].call(), refused[i].result);
        EXPECT_EQ(next, refused[i].clearsNext ? AnnoPos{} : untouched);
        EXPECT_EQ(ch, 0xEEEE);
    }
    EXPECT_EQ(std::memcmp(&track, &started, sizeof track), 0);
    EXPECT_EQ(Contents(hDoc), before);
    EXPECT_EQ(ANEndAnnoTextTrack(hDoc, &track), 0u);
}

}  // namespace
