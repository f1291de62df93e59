// Every exported function, with each of its allocations failing in turn:
// each time the result is the one the function gives for that failure,
// nothing leaks or stays locked, the annotations read as before (or as that
// failure leaves them), and the document takes an add afterwards. A function
// that never allocates must succeed with a failure of both kinds armed, which
// then is still pending. The adds of hilites and inserted text (with their
// joins and splits) and the removal that joins two texts are swept in
// out_of_memory_test.cpp.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "annotation/annotation.h"
#include "annotation/positions/list_queries.h"
#include "annotation/store/doc_state.h"
#include "platform/memory.h"
#include "support/adding.h"
#include "support/list_invariants.h"
#include "support/memory_sweep.h"

namespace {

using namespace testing_support;

// The default document: "Hello world" (item 0, characters 0-10), a
// paragraph end (item 1), "Second" (item 2, characters 11-16), a paragraph
// end (item 3).
constexpr uint32_t kWhole = 0xFFFFFFFF;
constexpr AnnoPos kAnchor = DocPos(0, 5);

// Two ranges marked by the document itself.
constexpr const char* kMarkedRanges = "{mark 0x81000000}ab{/mark 0x81000000} {mark 0x81000000}cd{/mark 0x81000000}\n";

// What one run works with, fresh for each run.
struct Scene {
    uint32_t hDoc = 0;
    uint32_t hOther = 0;         // a second document: the source of a copy
    CallbackLog* log = nullptr;  // installed by the setups that listen
    uint32_t hStyles = 0;        // a global style table; freed after the run
    AnnoTextTrack text{};        // ended after the run
    AnnoTrackInfo track{};
    AnnoFindInfo find{};
    AnnoMapPosition map{};
    AnnoPos pos{};
    uint16_t character = 0;
    std::vector<ListedNode> otherBefore;
};

// What a call may do to the document's list.
enum class Listed { kNothing, kChangesOnSuccess, kAsChecked };

struct Row {
    const char* name;
    uint32_t allocations;  // swept in turn; kAnyMemory for a call that never allocates
    const char* document;  // null: the fixture's default
    void (*setup)(Scene&);
    uint32_t (*call)(Scene&);
    std::vector<uint32_t> failures;  // the result of each run that reaches its failure, in order
    uint32_t success;                // the result when nothing fails
    Listed listed;
    void (*check)(Scene&, const SweepRun&);
};

HiliteStyle Style(uint32_t id) { return HiliteStyle{sizeof(HiliteStyle), id, ANHS_COLOR1ON, 0xFF, 0, 0, 0, 0}; }

// `count` hilites behind every position the rows use.
void AddHilites(uint32_t hDoc, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) ASSERT_EQ(AddHilite(hDoc, 100 + i, DocPos(2, 0xE), DocPos(2, 0xF)), 0u);
}

void GlobalTableWithStyle3(Scene& s) {
    ASSERT_EQ(ANInitGlobalHiliteStyles(&s.hStyles), 0u);
    const HiliteStyle style = Style(3);
    ASSERT_EQ(ANAddGlobalHiliteStyle(s.hStyles, &style), 0u);
}

void TextAtAnchor(Scene& s) { ASSERT_EQ(AddText(s.hDoc, 1, kAnchor, u"ab"), 0u); }

void HiliteListened(Scene& s) {
    ASSERT_EQ(AddHilite(s.hDoc, 4, DocPos(0, 2), DocPos(0, 6)), 0u);
    s.log->InstallOn(s.hDoc);
}

void HiliteTracked(Scene& s) {
    HiliteListened(s);
    const AnnoPos from = DocPos(0, 0);
    ASSERT_EQ(ANStartAnnoTrack(s.hDoc, &from, &s.track), 2u);
}

std::u16string Texts(uint32_t hDoc) {
    std::u16string all;
    for (const ListedNode& node : ListedNodes(hDoc)) all += node.text;
    return all;
}

::testing::AssertionResult SameNodes(const std::vector<ListedNode>& now, const std::vector<ListedNode>& before) {
    if (now.size() != before.size()) {
        return ::testing::AssertionFailure() << now.size() << " nodes listed, " << before.size() << " before";
    }
    for (size_t i = 0; i < now.size(); ++i) {
        const ListedNode& a = now[i];
        const ListedNode& b = before[i];
        if (a.slot != b.slot || a.kind != b.kind || a.text != b.text ||
            std::memcmp(&a.anno, &b.anno, sizeof a.anno) != 0) {
            return ::testing::AssertionFailure() << "node " << i << " (userId " << b.anno.userId << ") changed";
        }
    }
    return ::testing::AssertionSuccess();
}

const std::u16string kLeft(40, u'l'), kRight(40, u'r'), kDestText(62, u'd');

const Row kRows[] = {
    // Hilite style tables.
    {"ANInitGlobalHiliteStyles", kMovableBlocks, nullptr, nullptr,
     [](Scene& s) { return ANInitGlobalHiliteStyles(&s.hStyles); }, {ANERR_NOMEMORY}, 0, Listed::kNothing,
     [](Scene& s, const SweepRun& run) { EXPECT_EQ(s.hStyles == 0, run.failed); }},
    {"ANDeInitGlobalHiliteStyles (never allocates)", kAnyMemory, nullptr, GlobalTableWithStyle3,
     [](Scene& s) {
         const uint32_t result = ANDeInitGlobalHiliteStyles(s.hStyles);
         s.hStyles = 0;
         return result;
     },
     {}, 0, Listed::kNothing, nullptr},
    // A short form into an empty table: its widened copy, then the array.
    {"ANAddGlobalHiliteStyle", kMovableBlocks, nullptr,
     [](Scene& s) { ASSERT_EQ(ANInitGlobalHiliteStyles(&s.hStyles), 0u); },
     [](Scene& s) {
         HiliteStyle shortForm = Style(10);
         shortForm.size = 24;
         return ANAddGlobalHiliteStyle(s.hStyles, &shortForm);
     },
     {ANERR_NOMEMORY, ANERR_NOMEMORY}, 0, Listed::kNothing,
     [](Scene& s, const SweepRun& run) {
         EXPECT_EQ(ANGetGlobalHiliteStyle(s.hStyles, 10, nullptr), run.failed ? ANERR_NOTFOUND : 0u);
     }},
    {"ANGetGlobalHiliteStyle (never allocates)", kAnyMemory, nullptr, GlobalTableWithStyle3,
     [](Scene& s) {
         HiliteStyle style{};
         return ANGetGlobalHiliteStyle(s.hStyles, 3, &style);
     },
     {}, 0, Listed::kNothing, nullptr},
    // The tenth style of the document's table grows its array.
    {"ANAddHiliteStyle", kMovableBlocks, nullptr,
     [](Scene& s) {
         for (uint32_t id = 1; id <= 9; ++id) {
             const HiliteStyle style = Style(id);
             ASSERT_EQ(ANAddHiliteStyle(s.hDoc, &style), 0u);
         }
     },
     [](Scene& s) {
         const HiliteStyle style = Style(10);
         return ANAddHiliteStyle(s.hDoc, &style);
     },
     {ANERR_NOMEMORY}, 0, Listed::kNothing,
     [](Scene& s, const SweepRun& run) {
         EXPECT_EQ(ANGetHiliteStyle(s.hDoc, 10, nullptr), run.failed ? 0u : 1u);
         EXPECT_EQ(ANGetHiliteStyle(s.hDoc, 9, nullptr), 1u);
     }},
    {"ANGetHiliteStyle (never allocates)", kAnyMemory, nullptr,
     [](Scene& s) {
         const HiliteStyle style = Style(5);
         ASSERT_EQ(ANAddHiliteStyle(s.hDoc, &style), 0u);
     },
     [](Scene& s) {
         HiliteStyle style{};
         return ANGetHiliteStyle(s.hDoc, 5, &style);
     },
     {}, 1, Listed::kNothing, nullptr},

    // Attachment. The state block failing fails ANInit; the document's own
    // style table failing does not: the document goes on without one.
    {"ANInit", kMovableBlocks, nullptr, [](Scene& s) { ASSERT_EQ(ANDeInit(s.hDoc), 0u); },
     [](Scene& s) { return ANInit(s.hDoc, 0, nullptr, 0); }, {ANERR_NOMEMORY, 0}, 0, Listed::kNothing,
     [](Scene& s, const SweepRun& run) {
         if (run.result != 0) {
             uint32_t hInfo = 0;
             EXPECT_EQ(annotation::GetAnnoFromDoc(s.hDoc, &hInfo), ANERR_NOANNODATA);
             EXPECT_EQ(ANInit(s.hDoc, 0, nullptr, 0), 0u);
             return;
         }
         const HiliteStyle style = Style(5);
         EXPECT_EQ(ANAddHiliteStyle(s.hDoc, &style), run.failed ? ANERR_BADPARAM : 0u);
     }},
    // With a list, inserted text, a style and an ACC map (heap memory and
    // the second opening) to take down.
    {"ANDeInit (never allocates)", kAnyMemory, nullptr,
     [](Scene& s) {
         TextAtAnchor(s);
         const HiliteStyle style = Style(5);
         ASSERT_EQ(ANAddHiliteStyle(s.hDoc, &style), 0u);
         AnnoMapPosition request{sizeof request, ANMAP_ACCTOPOS, {}, 12};
         ASSERT_EQ(ANMapPosition(s.hDoc, &request), 0u);
     },
     [](Scene& s) { return ANDeInit(s.hDoc); }, {}, 0, Listed::kAsChecked,
     [](Scene& s, const SweepRun&) {
         uint32_t hInfo = 0;
         EXPECT_EQ(annotation::GetAnnoFromDoc(s.hDoc, &hInfo), ANERR_NOANNODATA);
         EXPECT_EQ(ENOpenSecondDocs(), 0u);
         EXPECT_EQ(ENOpenContents(), 0u);
         EXPECT_EQ(ANInit(s.hDoc, 0, nullptr, 0), 0u);
     }},
    {"ANSetCallback (never allocates)", kAnyMemory, nullptr, nullptr,
     [](Scene& s) { return ANSetCallback(s.hDoc, &CallbackLog::Callback, s.log->data()); }, {}, 0,
     Listed::kNothing, nullptr},
    {"ANClearUserData (never allocates)", kAnyMemory, nullptr,
     [](Scene& s) {
         const uint32_t hUserData = SYSNativeAlloc(8);
         ASSERT_NE(hUserData, 0u);
         ASSERT_EQ(AddHilite(s.hDoc, 1, DocPos(0, 1), DocPos(0, 3), 0x12, hUserData), 0u);
     },
     [](Scene& s) { return ANClearUserData(s.hDoc); }, {}, 0, Listed::kAsChecked,
     [](Scene& s, const SweepRun&) { EXPECT_EQ(NodeOf(s.hDoc, 1).anno.userData, 0u); }},

    // Adding, by kind (hilites and inserted text: out_of_memory_test.cpp).
    {"ANAddAnno icon, the list's first node", kMovableBlocks, nullptr, nullptr,
     [](Scene& s) { return AddIcon(s.hDoc, 1, kAnchor); }, {ANERR_NOMEMORY}, 0, Listed::kChangesOnSuccess,
     [](Scene& s, const SweepRun& run) {
         if (!run.failed) {
             EXPECT_EQ(UserIds(s.hDoc), std::vector<uint32_t>{1});
         }
     }},
    // The ninth node grows the list; when that fails it is stored all the same.
    {"ANAddAnno bitmap, growing the list", kMovableBlocks, nullptr, [](Scene& s) { AddHilites(s.hDoc, 8); },
     [](Scene& s) {
         const InsertBitmapAnno bitmap{sizeof bitmap, 1, kAnchor, kAnchor, 0, 0, 0, 0, 33};
         return ANAddAnno(s.hDoc, ANNO_INSERTBITMAP, &bitmap);
     },
     {ANERR_NOMEMORY}, 0, Listed::kAsChecked,
     [](Scene& s, const SweepRun& run) {
         EXPECT_EQ(NodeOf(s.hDoc, 1).kind, ANNO_INSERTBITMAP);
         EXPECT_EQ(ListHeader(s.hDoc).capacity, run.failed ? 10 : 20);
     }},
    // A break that grows the list: stored, and the icon it shares its anchor
    // with has moved in front of it, whether or not the growth worked.
    {"ANAddAnno break, growing the list", kMovableBlocks, nullptr,
     [](Scene& s) {
         ASSERT_EQ(AddIcon(s.hDoc, 2, kAnchor), 0u);
         AddHilites(s.hDoc, 7);
     },
     [](Scene& s) { return AddBreak(s.hDoc, 1, kAnchor); }, {ANERR_NOMEMORY}, 0, Listed::kAsChecked,
     [](Scene& s, const SweepRun& run) {
         EXPECT_EQ(NodeOf(s.hDoc, 1).kind, ANNO_INSERTPARABREAK);
         EXPECT_EQ(NodeOf(s.hDoc, 2).anno.start, TextPos(0, 5, 0));
         EXPECT_EQ(ListHeader(s.hDoc).capacity, run.failed ? 10 : 20);
     }},
    {"ANAddAnno hidden break, the list's first node", kMovableBlocks, nullptr, nullptr,
     [](Scene& s) { return AddBreak(s.hDoc, 1, DocPos(1, kWhole), ANNO_HIDEPARABREAK); }, {ANERR_NOMEMORY}, 0,
     Listed::kChangesOnSuccess, nullptr},
    // The walk's text cache first: without it the walk goes on (no inserted
    // text in the range), and the range is still listed.
    {"ANAddAnno hidden text", kMovableBlocks, nullptr, nullptr,
     [](Scene& s) { return AddHide(s.hDoc, 1, DocPos(0, 2), DocPos(0, 6)); }, {0, ANERR_NOMEMORY}, 0,
     Listed::kAsChecked,
     [](Scene& s, const SweepRun& run) { EXPECT_EQ(UserIds(s.hDoc).size(), run.result == 0 ? 1u : 0u); }},
    // Over an inserted break and a paragraph end. The walk's text cache, then
    // those of the two hide-text pieces' own walks (a piece comes through the
    // add path again): a failed cache only keeps that walk from seeing the
    // inserted break, where the piece's walk then cuts, so the add still
    // hides the whole range. Then the list's growth at the ninth node, the
    // second hidden break: the piece add fails, and so does the add (the
    // pieces before it stay), unheard by the client.
    {"ANAddAnno hidden text in pieces", kMovableBlocks, nullptr,
     [](Scene& s) {
         ASSERT_EQ(AddBreak(s.hDoc, 2, kAnchor), 0u);
         AddHilites(s.hDoc, 4);
         s.log->InstallOn(s.hDoc);
     },
     [](Scene& s) { return AddHide(s.hDoc, 1, DocPos(0, 2), DocPos(2, 0xD)); },
     {0, 0, 0, ANERR_NOMEMORY}, 0, Listed::kAsChecked,
     [](Scene& s, const SweepRun& run) {
         EXPECT_EQ(s.log->heard.size(), run.result == 0 ? 1u : 0u);
         if (run.result != 0) {
             EXPECT_EQ(ListHeader(s.hDoc).count, 9);
             return;
         }
         uint32_t hInfo = 0;
         ASSERT_EQ(annotation::GetAnnoFromDoc(s.hDoc, &hInfo), 0u);
         const AnnoPos end = DocPos(2, 0xD);
         for (AnnoPos pos = DocPos(0, 2); ANCompPos(&pos, &end) < 0;) {
             EXPECT_EQ(annotation::IsPositionHidden(hInfo, &pos), 1) << pos;
             if (ANNextPos(s.hDoc, &pos, &pos) != 0) break;
         }
     }},

    // Removing a break between two texts that cannot be joined: the texts
    // stay apart, and the callback's answer for the break replaces the
    // ANERR_NOMEMORY of the join.
    {"ANClearAnnos", kMovableBlocks, nullptr,
     [](Scene& s) {
         ASSERT_EQ(AddText(s.hDoc, 1, kAnchor, kLeft), 0u);
         ASSERT_EQ(AddBreak(s.hDoc, 2, kAnchor), 0u);
         ASSERT_EQ(AddText(s.hDoc, 3, kAnchor, kRight), 0u);
         s.log->InstallOn(s.hDoc);
     },
     [](Scene& s) { return ANClearAnnos(s.hDoc, ANMATCH_USERID, 2); }, {0}, 0, Listed::kAsChecked,
     [](Scene& s, const SweepRun& run) {
         EXPECT_EQ(s.log->heard.size(), 1u);
         EXPECT_EQ(Texts(s.hDoc), kLeft + kRight);
         EXPECT_EQ(ListedNodes(s.hDoc).size(), run.failed ? 2u : 1u);
     }},
    // Into a text at the same anchor, which grows to take the copy (the
    // first allocation), then the source's styles (the second). Failed adds
    // are not reported; the rest is copied.
    {"ANCopyAnnos", kMovableBlocks, nullptr,
     [](Scene& s) {
         ASSERT_EQ(AddText(s.hDoc, 1, kAnchor, kDestText), 0u);
         ASSERT_EQ(AddHilite(s.hOther, 2, DocPos(0, 1), DocPos(0, 3)), 0u);
         ASSERT_EQ(AddText(s.hOther, 3, kAnchor, u"xyz"), 0u);
         const HiliteStyle style = Style(5);
         ASSERT_EQ(ANAddHiliteStyle(s.hOther, &style), 0u);
         s.otherBefore = ListedNodes(s.hOther);
     },
     [](Scene& s) { return ANCopyAnnos(s.hDoc, s.hOther); }, {0, 0}, 0, Listed::kAsChecked,
     [](Scene& s, const SweepRun& run) {
         EXPECT_TRUE(SameNodes(ListedNodes(s.hOther), s.otherBefore));
         EXPECT_EQ(NodeOf(s.hDoc, 2).kind, ANNO_HILITETEXT);
         EXPECT_EQ(NodeOf(s.hDoc, 1).text, run.failed && run.n == 0 ? kDestText : kDestText + u"xyz");
         EXPECT_EQ(ANGetHiliteStyle(s.hDoc, 5, nullptr), run.failed && run.n == 1 ? 0u : 1u);
     }},
    // The first range's add cannot make the list: that range is passed over
    // for good, the second is built.
    {"ANBuildAnnos", kMovableBlocks, kMarkedRanges, nullptr, [](Scene& s) { return ANBuildAnnos(s.hDoc); }, {0}, 0,
     Listed::kAsChecked,
     [](Scene& s, const SweepRun& run) {
         const std::vector<uint32_t> built =
             run.failed ? std::vector<uint32_t>{0x81000001} : std::vector<uint32_t>{0x81000000, 0x81000001};
         EXPECT_EQ(UserIds(s.hDoc), built);
         EXPECT_EQ(ANBuildAnnos(s.hDoc), 0u);
         EXPECT_EQ(UserIds(s.hDoc), built);
     }},

    // Positions.
    {"ANCompPos (never allocates)", kAnyMemory, nullptr, nullptr,
     [](Scene&) {
         const AnnoPos a = DocPos(7, 5), b = DocPos(7, kWhole);
         return static_cast<uint32_t>(ANCompPos(&a, &b));
     },
     {}, 1, Listed::kNothing, nullptr},
    {"ANIsAnnoTextPos (never allocates)", kAnyMemory, nullptr, nullptr,
     [](Scene&) {
         const AnnoPos pos = TextPos(0, 5, 1);
         return ANIsAnnoTextPos(&pos);
     },
     {}, 1, Listed::kNothing, nullptr},
    {"ANNextChunkerPos (never allocates)", kAnyMemory, nullptr, TextAtAnchor,
     [](Scene& s) {
         const AnnoPos from = DocPos(0, 4);
         return ANNextChunkerPos(s.hDoc, &from, &s.pos);
     },
     {}, 0, Listed::kNothing, [](Scene& s, const SweepRun&) { EXPECT_EQ(s.pos, kAnchor); }},
    {"ANNextAnnoTextPos (never allocates)", kAnyMemory, nullptr, TextAtAnchor,
     [](Scene& s) {
         const AnnoPos from = DocPos(0, 4);
         return ANNextAnnoTextPos(s.hDoc, &from, &s.pos);
     },
     {}, 0, Listed::kNothing, [](Scene& s, const SweepRun&) { EXPECT_EQ(s.pos, TextPos(0, 5, 0)); }},
    {"ANNextPos (never allocates)", kAnyMemory, nullptr, TextAtAnchor,
     [](Scene& s) {
         s.pos = TextPos(0, 5, 1);
         return ANNextPos(s.hDoc, &s.pos, &s.pos);
     },
     {}, 0, Listed::kNothing, [](Scene& s, const SweepRun&) { EXPECT_EQ(s.pos, kAnchor); }},
    // The chunk's map: its item array, then its text buffer. A map that
    // could not be built stays empty: its ACCs map to nothing.
    {"ANMapPosition, ACC to position", kHeapMemory, nullptr, nullptr,
     [](Scene& s) {
         s.map = AnnoMapPosition{sizeof s.map, ANMAP_ACCTOPOS, {}, 12};
         return ANMapPosition(s.hDoc, &s.map);
     },
     {ANERR_NOMEMORY, ANERR_NOMEMORY}, 0, Listed::kNothing,
     [](Scene& s, const SweepRun& run) {
         EXPECT_EQ(s.map.pos, run.failed ? AnnoPos{} : DocPos(2, 0xC));
         AnnoMapPosition again = s.map;
         EXPECT_EQ(ANMapPosition(s.hDoc, &again), 0u);
         EXPECT_EQ(again.pos, s.map.pos);
     }},
    // From a position, a map that cannot be built answers ANERR_BADPARAM.
    {"ANMapPosition, position to ACC", kHeapMemory, nullptr, nullptr,
     [](Scene& s) {
         s.map = AnnoMapPosition{sizeof s.map, ANMAP_POSTOACC, DocPos(2, 0xC), 0xABC};
         return ANMapPosition(s.hDoc, &s.map);
     },
     {ANERR_BADPARAM, ANERR_BADPARAM}, 0, Listed::kNothing,
     [](Scene& s, const SweepRun& run) { EXPECT_EQ(s.map.acc, run.failed ? 0xABCu : 12u); }},

    // Display services.
    {"ANFindAnno (never allocates)", kAnyMemory, nullptr, TextAtAnchor,
     [](Scene& s) {
         s.find = AnnoFindInfo{sizeof s.find, ANFIND_FIRST | ANMATCH_USERID, 1, {}, 0, {}, {}, 0};
         return ANFindAnno(s.hDoc, 0, &s.find);
     },
     {}, 0, Listed::kNothing,
     [](Scene& s, const SweepRun&) {
         EXPECT_EQ(s.find.foundStart, TextPos(0, 5, 0));
         EXPECT_EQ(s.find.foundEnd, kAnchor);
     }},
    {"ANAnnoEvent (never allocates)", kAnyMemory, nullptr,
     [](Scene& s) {
         HiliteListened(s);
         s.log->reply = 7;
     },
     [](Scene& s) {
         const AnnoPos at = DocPos(0, 3);
         return ANAnnoEvent(s.hDoc, ANEVENT_HIT1, 0, &at);
     },
     {}, 7, Listed::kNothing, [](Scene& s, const SweepRun&) { EXPECT_EQ(s.log->heard.size(), 1u); }},
    {"ANStartAnnoTrack (never allocates)", kAnyMemory, nullptr, HiliteListened,
     [](Scene& s) {
         const AnnoPos from = DocPos(0, 0);
         return ANStartAnnoTrack(s.hDoc, &from, &s.track);
     },
     {}, 2, Listed::kNothing, nullptr},
    {"ANTrackAnno (never allocates)", kAnyMemory, nullptr, HiliteTracked,
     [](Scene& s) {
         const AnnoPos at = DocPos(0, 2);
         return ANTrackAnno(s.hDoc, &at, &s.track);
     },
     {}, ANTRACK_HILITE, Listed::kNothing, [](Scene& s, const SweepRun&) { EXPECT_EQ(s.track.color1On, 1); }},
    {"ANEndAnnoTrack (never allocates)", kAnyMemory, nullptr, HiliteTracked,
     [](Scene& s) { return ANEndAnnoTrack(s.hDoc, &s.track); }, {}, 0, Listed::kNothing, nullptr},
    // The cache block.
    {"ANStartAnnoTextTrack", kMovableBlocks, nullptr, nullptr,
     [](Scene& s) { return ANStartAnnoTextTrack(s.hDoc, &s.text); }, {ANERR_NOMEMORY}, 0, Listed::kNothing,
     [](Scene& s, const SweepRun& run) {
         const AnnoTextTrack zero{};
         EXPECT_EQ(std::memcmp(&s.text, &zero, sizeof zero) == 0, run.failed);
     }},
    // A refill for another anchor than the cached one: the copy of its text.
    // After a failure the record still reads the text.
    {"ANGetAnnoText", kMovableBlocks, nullptr,
     [](Scene& s) {
         TextAtAnchor(s);
         ASSERT_EQ(AddText(s.hDoc, 2, DocPos(2, 0xC), u"z"), 0u);
         ASSERT_EQ(ANStartAnnoTextTrack(s.hDoc, &s.text), 0u);
         const AnnoPos cached = TextPos(2, 0xC, 0);
         ASSERT_EQ(ANGetAnnoText(s.hDoc, &s.text, &cached, &s.character), ANNO_INSERTTEXT);
     },
     [](Scene& s) {
         const AnnoPos at = TextPos(0, 5, 1);
         return ANGetAnnoText(s.hDoc, &s.text, &at, &s.character);
     },
     {ANERR_NOMEMORY}, ANNO_INSERTTEXT, Listed::kNothing,
     [](Scene& s, const SweepRun& run) {
         if (run.failed) {
             EXPECT_EQ(s.text.last, AnnoPos{});
         }
         const AnnoPos at = TextPos(0, 5, 1);
         uint16_t character = 0;
         EXPECT_EQ(ANGetAnnoText(s.hDoc, &s.text, &at, &character), ANNO_INSERTTEXT);
         EXPECT_EQ(character, u'b');
     }},
    {"ANEndAnnoTextTrack (never allocates)", kAnyMemory, nullptr,
     [](Scene& s) {
         TextAtAnchor(s);
         ASSERT_EQ(ANStartAnnoTextTrack(s.hDoc, &s.text), 0u);
         const AnnoPos at = TextPos(0, 5, 0);
         ASSERT_EQ(ANGetAnnoText(s.hDoc, &s.text, &at, &s.character), ANNO_INSERTTEXT);
     },
     [](Scene& s) { return ANEndAnnoTextTrack(s.hDoc, &s.text); }, {}, 0, Listed::kNothing,
     [](Scene& s, const SweepRun&) { EXPECT_EQ(s.text.hCache, 0u); }},
};

class OomSweep : public MemorySweepTest {};

TEST_F(OomSweep, EveryExportedFunction) {
    CallbackLog log;
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        Scene scene;
        std::vector<ListedNode> before;
        size_t failedRuns = 0;
        SweepAllocations(
            row.allocations, row.document,
            [&](uint32_t hDoc) {
                log.heard.clear();
                log.reply = 0;
                scene = Scene{};
                scene.hDoc = hDoc;
                scene.hOther = AttachDoc();
                scene.log = &log;
                if (row.setup != nullptr) row.setup(scene);
                before = ListedNodes(hDoc);
            },
            [&](uint32_t) { return row.call(scene); },
            [&](uint32_t hDoc, const SweepRun& run) {
                // A failing run beyond those the row lists expects ~0u, which
                // no call returns.
                uint32_t expected = row.success;
                if (run.failed) expected = failedRuns < row.failures.size() ? row.failures[failedRuns] : ~0u;
                if (run.failed) ++failedRuns;
                EXPECT_EQ(run.result, expected);
                if (row.listed == Listed::kNothing || (row.listed == Listed::kChangesOnSuccess && run.failed)) {
                    EXPECT_TRUE(SameNodes(ListedNodes(hDoc), before));
                }
                if (row.check != nullptr) row.check(scene, run);
                EXPECT_EQ(ANEndAnnoTextTrack(hDoc, &scene.text), 0u);
                if (scene.hStyles != 0) {
                    EXPECT_EQ(ANDeInitGlobalHiliteStyles(scene.hStyles), 0u);
                }
                DetachDoc(scene.hOther);
                CloseDoc(scene.hOther);
            });
        EXPECT_EQ(failedRuns, row.failures.size()) << "runs that reached their failure";
    }
}

}  // namespace
