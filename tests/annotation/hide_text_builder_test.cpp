// Hiding text: the request is trimmed to what is not hidden yet, cut at
// every paragraph end (the document's and inserted ones) into silent pieces
// with hidden paragraph breaks, and its last run is listed; the walks end at
// the document's end; running out of memory keeps the pieces added so far.
#include <gtest/gtest.h>

#include <ostream>
#include <vector>

#include "annotation/positions/list_queries.h"
#include "annotation/store/kind_builders.h"
#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"

namespace {

using namespace testing_support;

constexpr uint32_t kWhole = 0xFFFFFFFF;
// "aaa\nbbb\nccc\n": items 0, 2, 4 hold characters 0-2, 3-5, 6-8; items 1,
// 3, 5 are paragraph ends.
constexpr const char* kThreeParagraphs = "aaa\nbbb\nccc\n";

class HideTextBuilder : public AnnotationTest {
protected:
    // Runs the builder on [start, end) and returns what it built.
    InternalAnno Build(uint32_t hDoc, AnnoPos start, AnnoPos end, uint16_t* addToList) {
        annotation::AnnoRecord request;
        request.anno.size = 44;
        request.anno.userId = 1;
        request.anno.start = start;
        request.anno.end = end;
        annotation::AnnoRecord built;
        *addToList = 7;
        EXPECT_EQ(annotation::MakeHideTextAnno(hDoc, &request, &built, addToList), 0u);
        return built.anno;
    }
};

struct Piece {
    uint16_t kind;
    AnnoPos start;
    AnnoPos end;
    bool operator==(const Piece&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Piece& piece) {
    return out << piece.kind << " " << piece.start << "-" << piece.end;
}

std::vector<Piece> Pieces(uint32_t hDoc) {
    std::vector<Piece> pieces;
    for (const ListedNode& node : ListedNodes(hDoc)) pieces.push_back({node.kind, node.anno.start, node.anno.end});
    return pieces;
}

TEST_F(HideTextBuilder, ParagraphEndsInsideTheRangeCutItIntoSilentPieces) {
    const uint32_t hDoc = AttachDoc(kThreeParagraphs);
    CallbackLog log;
    log.InstallOn(hDoc);
    ASSERT_EQ(AddHide(hDoc, 9, DocPos(0, 1), DocPos(4, 7), 5), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(Pieces(hDoc), (std::vector<Piece>{{ANNO_HIDETEXT, DocPos(0, 1), DocPos(1, kWhole)},
                                                {ANNO_HIDEPARABREAK, DocPos(1, kWhole), DocPos(1, 0)},
                                                {ANNO_HIDETEXT, DocPos(2, 3), DocPos(3, kWhole)},
                                                {ANNO_HIDEPARABREAK, DocPos(3, kWhole), DocPos(3, 0)},
                                                {ANNO_HIDETEXT, DocPos(4, 6), DocPos(4, 7)}}));
    for (const ListedNode& node : ListedNodes(hDoc)) {
        EXPECT_EQ(node.anno.userId, 9u);
        EXPECT_EQ(node.anno.userData, 5u);
    }
    // The client hears of the request once, with the range it asked for.
    ASSERT_EQ(log.heard.size(), 1u);
    EXPECT_EQ(log.heard[0].record.start, DocPos(0, 1));
    EXPECT_EQ(log.heard[0].record.end, DocPos(4, 7));
}

TEST_F(HideTextBuilder, HiddenBreaksAreNotDoubledAndInsertedBreaksCount) {
    const uint32_t hDoc = AttachDoc(kThreeParagraphs);
    ASSERT_EQ(AddBreak(hDoc, 1, DocPos(1, kWhole), ANNO_HIDEPARABREAK), 0u);
    ASSERT_EQ(AddBreak(hDoc, 2, DocPos(4, 7)), 0u);  // an inserted break inside "ccc"
    ASSERT_EQ(AddHide(hDoc, 3, DocPos(0, 2), DocPos(5, kWhole)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(Pieces(hDoc),
              (std::vector<Piece>{{ANNO_HIDETEXT, DocPos(0, 2), DocPos(1, kWhole)},
                                  {ANNO_HIDEPARABREAK, DocPos(1, kWhole), DocPos(1, 0)},
                                  {ANNO_HIDETEXT, DocPos(2, 3), DocPos(3, kWhole)},
                                  {ANNO_HIDEPARABREAK, DocPos(3, kWhole), DocPos(3, 0)},
                                  {ANNO_HIDETEXT, DocPos(4, 6), TextPos(4, 7, 0)},
                                  {ANNO_HIDEPARABREAK, TextPos(4, 7, 0), TextPos(4, 7, 1)},
                                  {ANNO_INSERTPARABREAK, DocPos(4, 7), DocPos(4, 8)},
                                  {ANNO_HIDETEXT, DocPos(4, 7), DocPos(5, kWhole)}}));
}

TEST_F(HideTextBuilder, RangeIsTrimmedToWhatIsNotHiddenYet) {
    // Items: 0 "abcdef" (0-5), 1 a passed-over item, 2 "gh" (6-7), 3 end.
    const uint32_t hDoc = AttachDoc("abcdef{item 240}gh\n");
    ASSERT_EQ(AddHide(hDoc, 1, DocPos(0, 0), DocPos(0, 2)), 0u);
    ASSERT_EQ(AddHide(hDoc, 2, DocPos(0, 4), DocPos(0, 6)), 0u);  // to the end of "abcdef"
    uint16_t addToList = 0;

    InternalAnno built = Build(hDoc, DocPos(0, 0), DocPos(0, 3), &addToList);
    EXPECT_EQ(built.start, DocPos(0, 2));  // the hidden start is passed over
    EXPECT_EQ(built.end, DocPos(0, 3));
    EXPECT_EQ(addToList, 1);

    built = Build(hDoc, DocPos(0, 2), DocPos(0, 5), &addToList);
    EXPECT_EQ(built.end, DocPos(0, 4));  // hidden up to the end: back to the last visible
    built = Build(hDoc, DocPos(0, 2), DocPos(2, 6), &addToList);
    EXPECT_EQ(built.end, DocPos(2, 6));  // the end position itself is visible

    built = Build(hDoc, DocPos(1, kWhole), DocPos(2, 7), &addToList);
    EXPECT_EQ(built.start, DocPos(2, 6));  // the passed-over item never begins hidden text

    built = Build(hDoc, DocPos(0, 3), DocPos(0, 3), &addToList);
    EXPECT_EQ(built.start, DocPos(0, 3));  // empty: one position
    EXPECT_EQ(built.end, DocPos(0, 4));
    EXPECT_EQ(addToList, 1);

    built = Build(hDoc, DocPos(0, 0), DocPos(0, 2), &addToList);
    EXPECT_EQ(addToList, 1);  // all hidden already: the last position examined
    EXPECT_EQ(built.start, DocPos(0, 1));
}

TEST_F(HideTextBuilder, WalksEndAtTheRangeAndAtTheDocumentsEnd) {
    const uint32_t hDoc = AttachDoc("aaa\nbbb\n");
    uint16_t addToList = 7;
    // A range that ends just after a paragraph end leaves nothing to list.
    Build(hDoc, DocPos(0, 1), DocPos(2, 3), &addToList);
    EXPECT_EQ(addToList, 0);
    EXPECT_EQ(Pieces(hDoc), (std::vector<Piece>{{ANNO_HIDETEXT, DocPos(0, 1), DocPos(1, kWhole)},
                                                {ANNO_HIDEPARABREAK, DocPos(1, kWhole), DocPos(1, 0)}}));

    // An end beyond the document's last position: the walks stop there.
    ASSERT_EQ(AddHide(hDoc, 2, DocPos(2, 4), DocPos(99, 0)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    const std::vector<Piece> pieces = Pieces(hDoc);
    ASSERT_EQ(pieces.size(), 4u);
    EXPECT_EQ(pieces[2], (Piece{ANNO_HIDETEXT, DocPos(2, 4), DocPos(3, kWhole)}));
    EXPECT_EQ(pieces[3], (Piece{ANNO_HIDEPARABREAK, DocPos(3, kWhole), DocPos(3, 0)}));
    const AnnoPos lastPos = DocPos(3, kWhole);
    EXPECT_EQ(Build(hDoc, lastPos, DocPos(99, 0), &addToList).start, lastPos);
}

// Every allocation of a hide add that makes pieces fails in turn (text
// caches, the list's growth): the add fails with 13 or succeeds, the pieces
// added before a failure stay, the client hears nothing of a failed add, and
// the request added again hides exactly the text of the range.
TEST_F(HideTextBuilder, RunningOutOfMemoryKeepsThePiecesAddedSoFar) {
    bool reachedTheEnd = false;
    for (int32_t n = 0; n < 40 && !reachedTheEnd; ++n) {
        SCOPED_TRACE(::testing::Message() << "allocation " << n << " fails");
        const uint32_t liveBefore = ENMemLiveBlocks();
        const uint32_t hDoc = AttachDoc(kThreeParagraphs);
        // Seven hilites, so that the pieces make the list grow.
        for (uint32_t id = 0x100; id < 0x107; ++id) {
            ASSERT_EQ(AddHilite(hDoc, id, DocPos(4, 8), DocPos(5, kWhole)), 0u);
        }
        CallbackLog log;
        log.InstallOn(hDoc);

        ENFailAllocAfter(n);
        const uint32_t result = AddHide(hDoc, 9, DocPos(0, 1), DocPos(4, 7));
        reachedTheEnd = ENFailPending() != 0;
        ENFailAllocAfter(-1);
        EXPECT_TRUE(result == 0 || result == ANERR_NOMEMORY) << result;
        if (result != 0) { EXPECT_TRUE(log.heard.empty()); }
        EXPECT_EQ(ENMemLockedBlocks(), 0u);
        EXPECT_TRUE(ListIsSound(hDoc));

        // After a failed growth the list takes one more node and then no
        // more until nodes are released: the hilites make room.
        ASSERT_EQ(ANClearAnnos(hDoc, ANMATCH_ALLBITS, 0x100), 0u);
        ASSERT_EQ(AddHide(hDoc, 9, DocPos(0, 1), DocPos(4, 7)), 0u);
        EXPECT_TRUE(ListIsSound(hDoc));
        const uint32_t hInfo = DocInfoHandle(hDoc);
        int hiddenBreaks = 0;
        const AnnoPos from = DocPos(0, 1), to = DocPos(4, 7);
        AnnoPos pos = DocPos(0, 0);
        do {
            const bool paragraphEnd = pos.subItemId == kWhole;
            const bool inRange = ANCompPos(&pos, &from) >= 0 && ANCompPos(&pos, &to) < 0;
            EXPECT_EQ(annotation::IsTextHidden(hInfo, &pos), inRange && !paragraphEnd ? 1 : 0) << pos;
            hiddenBreaks += paragraphEnd && annotation::IsPositionHidden(hInfo, &pos) ? 1 : 0;
        } while (ANNextPos(hDoc, &pos, &pos) == 0);
        EXPECT_EQ(hiddenBreaks, 2);
        DetachDoc(hDoc);
        CloseDoc(hDoc);
        EXPECT_EQ(ENMemLiveBlocks(), liveBefore) << "blocks leaked";
    }
    EXPECT_TRUE(reachedTheEnd);
}

}  // namespace
