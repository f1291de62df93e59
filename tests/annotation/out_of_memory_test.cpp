// Running out of memory while annotations are added or removed: every
// allocation of the call fails in turn, and each time the list must stay
// sound, nothing may leak or stay locked, and the document must go on
// answering and taking annotations. Also the list's 16-bit limit.
#include <gtest/gtest.h>

#include <chrono>
#include <ostream>
#include <string>
#include <vector>

#include "annotation/store/anno_list.h"
#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"
#include "support/list_layout.h"
#include "support/memory_sweep.h"

namespace {

using namespace testing_support;

constexpr AnnoPos kAnchor = DocPos(0, 2);

// The inserted text at the one anchor these tests use, in list order, with
// '|' for each inserted paragraph break.
std::u16string Combined(uint32_t hDoc) {
    std::u16string all;
    for (const ListedNode& node : ListedNodes(hDoc)) {
        if (node.kind == ANNO_INSERTTEXT) all += node.text;
        if (node.kind == ANNO_INSERTPARABREAK) all += u'|';
    }
    return all;
}

std::vector<uint16_t> Kinds(uint32_t hDoc) {
    std::vector<uint16_t> kinds;
    for (const ListedNode& node : ListedNodes(hDoc)) kinds.push_back(node.kind);
    return kinds;
}

const ListedNode* FindNode(const std::vector<ListedNode>& nodes, uint32_t userId) {
    for (const ListedNode& node : nodes) {
        if (node.anno.userId == userId) return &node;
    }
    return nullptr;
}

class OutOfMemory : public MemorySweepTest {};

TEST_F(OutOfMemory, FirstAddLeavesNoListBehindWhenItFails) {
    const int hiliteFailures = Sweep([](uint32_t) {},
                                     [](uint32_t hDoc) { return AddHilite(hDoc, 1, DocPos(0, 1), DocPos(0, 4)); },
                                     [](uint32_t hDoc, bool failed) {
                                         EXPECT_EQ(ListHandle(hDoc) == 0, failed);
                                         EXPECT_EQ(ListedNodes(hDoc).size(), failed ? 0u : 1u);
                                     });
    EXPECT_EQ(hiliteFailures, 1);

    // The list block, the text block, and its growth past 64 characters.
    const std::u16string text(70, u't');
    const int textFailures =
        Sweep([](uint32_t) {}, [&](uint32_t hDoc) { return AddText(hDoc, 1, kAnchor, text); },
              [&](uint32_t hDoc, bool failed) {
                  EXPECT_EQ(ListHandle(hDoc) == 0, failed);
                  EXPECT_EQ(Combined(hDoc), failed ? u"" : text);
                  if (!failed) {
                      EXPECT_EQ(ListedNodes(hDoc)[0].anno.textCap, 128u);
                  }
              });
    EXPECT_EQ(textFailures, 3);
}

TEST_F(OutOfMemory, TheAddThatGrowsTheListKeepsItsNodeWhenGrowthFails) {
    const auto eight = [](uint32_t hDoc) {
        for (uint32_t i = 0; i < 8; ++i) ASSERT_EQ(AddHilite(hDoc, i, DocPos(1, i), DocPos(1, i + 1)), 0u);
    };
    // The ninth node is an insert text: its own text block, then the growth.
    const int failures = Sweep(
        eight, [](uint32_t hDoc) { return AddText(hDoc, 8, kAnchor, u"abc"); },
        [](uint32_t hDoc, bool failed) {
            const bool stored = !failed || ListHeader(hDoc).count == 9;
            EXPECT_EQ(Combined(hDoc), stored ? u"abc" : u"");
            EXPECT_EQ(ListHeader(hDoc).capacity, failed ? 10 : 20);
            if (failed && stored) {
                EXPECT_EQ(FreeSlots(hDoc), (std::vector<uint16_t>{9}));
            }
        });
    EXPECT_EQ(failures, 2);

    // The grown block cannot be locked again: it goes back to the size its
    // header describes (block and header disagreed before; found by the
    // fuzzer). Every lock of the add fails in turn.
    for (int32_t n = 0; n < 12; ++n) {
        SCOPED_TRACE(n);
        const uint32_t hDoc = AttachDoc();
        eight(hDoc);
        ENFailCallAfter("SYSNativeLock", n, 0);
        const uint32_t result = AddHilite(hDoc, 8, DocPos(2, 12), DocPos(2, 13));
        ENFailCallAfter(nullptr, -1, 0);
        EXPECT_TRUE(result == 0 || result == ANERR_NOMEMORY || result == ANERR_NOANNODATA) << result;
        EXPECT_TRUE(ListIsSound(hDoc));
        DetachDoc(hDoc);
    }
}

TEST_F(OutOfMemory, JoiningTextBeforeKeepsTheOldTextWhenItCannotGrow) {
    const std::u16string old(60, u'o');
    const int failures = Sweep(
        [&](uint32_t hDoc) {
            ASSERT_EQ(AddText(hDoc, 1, kAnchor, old), 0u);
            ASSERT_EQ(AddHilite(hDoc, 2, DocPos(0, 0), kAnchor), 0u);
        },
        [](uint32_t hDoc) { return AddText(hDoc, 3, kAnchor, u"0123456789"); },
        [&](uint32_t hDoc, bool failed) {
            const std::vector<ListedNode> nodes = ListedNodes(hDoc);
            ASSERT_EQ(nodes.size(), 2u);
            const ListedNode* text = FindNode(nodes, 1);
            ASSERT_NE(text, nullptr);
            EXPECT_EQ(text->text, failed ? old : old + u"0123456789");
            EXPECT_EQ(text->anno.textCap, failed ? 64u : 128u);
            EXPECT_EQ(ENMemBlockSize(text->anno.hText), failed ? 128u : 256u);
            // The hilite that ended at the anchor stops in front of the new
            // text, whether or not it could be joined.
            ASSERT_NE(FindNode(nodes, 2), nullptr);
            EXPECT_EQ(FindNode(nodes, 2)->anno.end, TextPos(0, 2, 60));
        });
    EXPECT_EQ(failures, 1);
}

TEST_F(OutOfMemory, JoiningTextAfterKeepsTheOldTextWhenItCannotGrow) {
    std::u16string old;
    for (int i = 0; i < 62; ++i) old += static_cast<char16_t>(u'A' + i % 26);
    const int failures = Sweep(
        [&](uint32_t hDoc) {
            ASSERT_EQ(AddText(hDoc, 1, kAnchor, old), 0u);
            ASSERT_EQ(AddIcon(hDoc, 2, TextPos(0, 2, 3)), 0u);
        },
        [](uint32_t hDoc) { return AddText(hDoc, 3, TextPos(0, 2, 1), u"xyz"); },
        [&](uint32_t hDoc, bool failed) {
            const std::vector<ListedNode> nodes = ListedNodes(hDoc);
            ASSERT_EQ(nodes.size(), 2u);
            EXPECT_EQ(Combined(hDoc), failed ? old : old.substr(0, 1) + u"xyz" + old.substr(1));
            const ListedNode* text = FindNode(nodes, 1);
            ASSERT_NE(text, nullptr);
            EXPECT_EQ(text->anno.textCap, failed ? 64u : 128u);
            // The icon behind the insertion point was renumbered before the join.
            ASSERT_NE(FindNode(nodes, 2), nullptr);
            EXPECT_EQ(FindNode(nodes, 2)->anno.start, TextPos(0, 2, 6));
            EXPECT_EQ(FindNode(nodes, 2)->anno.end, TextPos(0, 2, 7));
        });
    EXPECT_EQ(failures, 1);
}

TEST_F(OutOfMemory, ABreakThatCannotSplitItsTextLeavesTheTextWhole) {
    const std::u16string text(70, u's');
    const std::u16string broken = text.substr(0, 66) + u"|" + text.substr(66);
    const std::vector<uint16_t> whole{ANNO_INSERTTEXT};
    const std::vector<uint16_t> split{ANNO_INSERTTEXT, ANNO_INSERTPARABREAK, ANNO_INSERTTEXT};
    const int failures = Sweep([&](uint32_t hDoc) { ASSERT_EQ(AddText(hDoc, 1, kAnchor, text), 0u); },
                               [](uint32_t hDoc) { return AddBreak(hDoc, 2, TextPos(0, 2, 66)); },
                               [&](uint32_t hDoc, bool failed) {
                                   EXPECT_EQ(Combined(hDoc), failed ? text : broken);
                                   EXPECT_EQ(Kinds(hDoc), failed ? whole : split);
                               });
    EXPECT_EQ(failures, 2);

    // Seven nodes besides the text: the split piece is the ninth node, and
    // when the growth it triggers fails, the piece stays and the break does
    // not come in.
    const int growthFailures = Sweep(
        [&](uint32_t hDoc) {
            ASSERT_EQ(AddText(hDoc, 1, kAnchor, text), 0u);
            for (uint32_t i = 0; i < 7; ++i) ASSERT_EQ(AddHilite(hDoc, 10 + i, DocPos(2, i), DocPos(2, i + 1)), 0u);
        },
        [](uint32_t hDoc) { return AddBreak(hDoc, 2, TextPos(0, 2, 66)); },
        [&](uint32_t hDoc, bool failed) {
            EXPECT_EQ(Combined(hDoc), failed ? text : broken);
            EXPECT_EQ(ListHeader(hDoc).capacity, failed ? 10 : 20);
        });
    EXPECT_EQ(growthFailures, 3);
}

TEST_F(OutOfMemory, RemovingABreakKeepsBothTextsWhenTheyCannotBeJoined) {
    const std::u16string left(40, u'l');
    const std::u16string right(40, u'r');
    const int failures = Sweep(
        [&](uint32_t hDoc) {
            ASSERT_EQ(AddText(hDoc, 1, kAnchor, left), 0u);
            ASSERT_EQ(AddBreak(hDoc, 2, kAnchor), 0u);
            ASSERT_EQ(AddText(hDoc, 3, kAnchor, right), 0u);
            ASSERT_EQ(Combined(hDoc), left + u"|" + right);
        },
        [](uint32_t hDoc) { return ANClearAnnos(hDoc, ANMATCH_USERID, 2); },
        [&](uint32_t hDoc, bool failed) {
            EXPECT_EQ(Combined(hDoc), left + right);
            EXPECT_EQ(ListedNodes(hDoc).size(), failed ? 2u : 1u);
        });
    EXPECT_EQ(failures, 1);
}

// The list's slot indexes are 16-bit: at capacity 65530 the next growth would
// pass 65535, so the list turns busy instead, until a node goes.
TEST_F(OutOfMemory, AFullListIsBusyUntilANodeIsRemoved) {
    const auto begin = std::chrono::steady_clock::now();
    const uint32_t hDoc = AttachDoc();
    std::vector<NodeSpec> nodes;
    nodes.reserve(65528);
    for (uint32_t i = 0; i < 65528; ++i) nodes.push_back(Node(ANNO_HILITETEXT, i, DocPos(1, i), DocPos(1, i + 1)));
    LayOutList(DocInfoHandle(hDoc), nodes);
    nodes.clear();
    ASSERT_EQ(ListHeader(hDoc).capacity, 65530);
    ASSERT_EQ(ListHeader(hDoc).count, 65528);
    EXPECT_TRUE(ListIsSound(hDoc));
    const uint32_t hList = ListHandle(hDoc);

    EXPECT_EQ(AddHilite(hDoc, 70000, DocPos(2, 0), DocPos(2, 1)), ANERR_NOMEMORY);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(ListHeader(hDoc).count, 65529);
    EXPECT_EQ(ListHeader(hDoc).capacity, 65530);
    EXPECT_NE(ListHeader(hDoc).busy, 0);
    EXPECT_EQ(ListedNodes(hDoc).back().anno.userId, 70000u) << "the node that filled the list is stored";

    EXPECT_EQ(AddHilite(hDoc, 70001, DocPos(2, 1), DocPos(2, 2)), ANERR_NOMEMORY);
    EXPECT_EQ(AddText(hDoc, 70002, DocPos(2, 3), u"ab"), ANERR_NOMEMORY);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(ListHeader(hDoc).count, 65529);
    EXPECT_EQ(ListHandle(hDoc), hList);

    ASSERT_EQ(ANClearAnnos(hDoc, ANMATCH_USERID, 100), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(ListHeader(hDoc).count, 65528);
    EXPECT_EQ(ListHeader(hDoc).busy, 0);

    EXPECT_EQ(AddHilite(hDoc, 70003, DocPos(2, 4), DocPos(2, 5)), ANERR_NOMEMORY);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(ListHeader(hDoc).count, 65529);
    EXPECT_NE(ListHeader(hDoc).busy, 0);
    EXPECT_EQ(ListedNodes(hDoc).back().anno.userId, 70003u);

    const auto elapsed = std::chrono::steady_clock::now() - begin;
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count(), 2000);
}

}  // namespace
