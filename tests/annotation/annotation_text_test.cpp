// Reading inserted text through a text-track record: the combined text of an
// anchor answered from the record's cache, the cache's refills and growth,
// records without cache, and running out of memory while the cache is made
// or filled.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_layout.h"

namespace {

using namespace testing_support;

class AnnotationText : public AnnotationTest {};

constexpr AnnoPos P = DocPos(0, 2);
constexpr AnnoPos AtP(uint32_t offset) { return TextPos(0, 2, offset); }
constexpr AnnoPos Q = DocPos(2, 0xC);  // the "e" of "Second"

uint32_t CacheCapacity(const AnnoTextTrack& track) { return (ENMemBlockSize(track.hCache) - 12) / 16; }

bool IsZero(const AnnoTextTrack& track) {
    return track.hCache == 0 && track.first == AnnoPos{} && track.last == AnnoPos{};
}

// Nodes to lay out as a list.
using Nodes = std::vector<decltype(TextNode(0, AnnoPos{}, u""))>;

// Appends the insert nodes of `text` at `anchor`, one per character, '|' a
// break.
void AppendOnePerCharacter(Nodes& nodes, AnnoPos anchor, const std::u16string& text, uint32_t userId) {
    for (char16_t c : text) {
        nodes.push_back(c == u'|' ? Node(ANNO_INSERTPARABREAK, userId++, anchor, anchor)
                                  : TextNode(userId++, anchor, std::u16string(1, c)));
    }
}

// Expects every offset of `text`, inserted at `anchor`, to read back, and
// (with `endsThere`) the offset after it to be 25.
void ExpectReads(uint32_t hDoc, AnnoTextTrack& track, AnnoPos anchor, const std::u16string& text,
                 bool endsThere = true) {
    for (uint32_t k = 0; k < text.size() + (endsThere ? 1 : 0); ++k) {
        SCOPED_TRACE(testing::Message() << "offset " << k);
        const AnnoPos pos = TextPos(anchor.itemId, anchor.subItemId, k);
        uint16_t ch = 0xEEEE;
        const uint32_t result = ANGetAnnoText(hDoc, &track, &pos, &ch);
        if (k == text.size()) {
            EXPECT_EQ(result, ANERR_NOTFOUND);
            EXPECT_EQ(ch, 0xEEEE);
        } else if (text[k] == u'|') {
            EXPECT_EQ(result, ANNO_INSERTPARABREAK);
            EXPECT_EQ(ch, 0u);
        } else {
            EXPECT_EQ(result, ANNO_INSERTTEXT);
            EXPECT_EQ(ch, text[k]);
        }
    }
}

TEST_F(AnnotationText, InsertsAtOneAnchorFormOneText) {
    const uint32_t hDoc = AttachDoc();
    LayOutList(DocInfoHandle(hDoc), {TextNode(1, P, u"ab"), Node(ANNO_HILITETEXT, 2, P, DocPos(0, 4)),
                                     TextNode(3, P, u"cde"), Node(ANNO_INSERTPARABREAK, 4, P, P)});
    AnnoTextTrack track{};
    ASSERT_EQ(ANStartAnnoTextTrack(hDoc, &track), 0u);
    ExpectReads(hDoc, track, P, u"abcde|");
    EXPECT_EQ(track.first, AtP(0));
    EXPECT_EQ(track.last, AtP(5));
    EXPECT_EQ(ANEndAnnoTextTrack(hDoc, &track), 0u);
    EXPECT_TRUE(IsZero(track));
}

TEST_F(AnnotationText, CacheGrowsByFiveWhenTheCountReachesItsCapacity) {
    const uint32_t hDoc = AttachDoc();
    const AnnoPos a = DocPos(0, 1), b = DocPos(0, 2), c = DocPos(0, 3);
    Nodes nodes;
    AppendOnePerCharacter(nodes, a, u"abc|", 1);
    AppendOnePerCharacter(nodes, b, u"fg|hi", 10);
    AppendOnePerCharacter(nodes, c, u"klm|opqrs|", 20);
    LayOutList(DocInfoHandle(hDoc), nodes);
    AnnoTextTrack track{};
    ASSERT_EQ(ANStartAnnoTextTrack(hDoc, &track), 0u);
    EXPECT_EQ(CacheCapacity(track), 5u);
    ExpectReads(hDoc, track, a, u"abc|");
    EXPECT_EQ(CacheCapacity(track), 5u);
    ExpectReads(hDoc, track, b, u"fg|hi");
    EXPECT_EQ(CacheCapacity(track), 10u);
    ExpectReads(hDoc, track, c, u"klm|opqrs|");
    EXPECT_EQ(CacheCapacity(track), 15u);
    EXPECT_EQ(ANEndAnnoTextTrack(hDoc, &track), 0u);
}

// A request outside the cached range refills it, even for a document
// position (answered 25); until then the copies answer, also after the
// annotations are removed.
TEST_F(AnnotationText, CacheHoldsTheAnchorLastAskedFor) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddText(hDoc, 1, P, u"ab"), 0u);
    ASSERT_EQ(AddText(hDoc, 2, Q, u"z"), 0u);
    AnnoTextTrack track{};
    ASSERT_EQ(ANStartAnnoTextTrack(hDoc, &track), 0u);
    ExpectReads(hDoc, track, Q, u"z");
    uint16_t ch = 0xEEEE;
    EXPECT_EQ(ANGetAnnoText(hDoc, &track, &P, &ch), ANERR_NOTFOUND);
    EXPECT_EQ(ch, 0xEEEE);
    EXPECT_EQ(track.first, AtP(0));
    EXPECT_EQ(track.last, AtP(1));

    ASSERT_EQ(ANClearAnnos(hDoc, 0, 0), 0u);
    ExpectReads(hDoc, track, P, u"ab");
    const AnnoPos cached = AtP(1);
    EXPECT_EQ(ANGetAnnoText(0, &track, &cached, &ch), ANERR_BADPARAM);
    EXPECT_EQ(ch, 0xEEEE);
    ExpectReads(hDoc, track, Q, u"");
    EXPECT_TRUE(track.first == AnnoPos{} && track.last == AnnoPos{});
    ExpectReads(hDoc, track, P, u"");
    EXPECT_EQ(ANEndAnnoTextTrack(hDoc, &track), 0u);
}

TEST_F(AnnotationText, RecordWithoutCacheAnswersNoMemory) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(AddText(hDoc, 1, P, u"ab"), 0u);
    const AnnoPos pos = AtP(0);
    uint16_t ch = 0xEEEE;
    AnnoTextTrack never{};
    EXPECT_EQ(ANGetAnnoText(hDoc, &never, &pos, &ch), ANERR_NOMEMORY);
    EXPECT_EQ(ANGetAnnoText(0, &never, &pos, &ch), ANERR_BADPARAM);
    EXPECT_EQ(ch, 0xEEEE);
    EXPECT_EQ(ANEndAnnoTextTrack(hDoc, &never), 0u);
    EXPECT_TRUE(IsZero(never));
}

// Every allocation of `call` fails in turn; each time the result is the
// answer or 13, the record ends without leaks, and a record that has a cache
// reads the text right, from what it holds and after refills (one without
// cache answers 13).
class AnnotationTextMemory : public AnnotationText {
protected:
    static inline const std::u16string kCombined = u"abc|defg";

    template <typename Call>
    void Sweep(Call call, uint32_t answer) {
        const uint32_t hDoc = AttachDoc();
        LayOutList(DocInfoHandle(hDoc), {TextNode(1, P, u"ab"), TextNode(2, P, u"c"),
                                         Node(ANNO_INSERTPARABREAK, 3, P, P), TextNode(4, P, u"d"),
                                         TextNode(5, P, u"ef"), TextNode(6, P, u"g"), TextNode(7, Q, u"z")});
        for (int32_t n = 0; n < 16; ++n) {
            SCOPED_TRACE(testing::Message() << "allocation " << n << " fails");
            const uint32_t liveBefore = ENMemLiveBlocks();
            AnnoTextTrack track{};
            const uint32_t result = call(hDoc, track, n);
            const bool failed = ENFailPending() == 0;
            ENFailAllocAfter(-1);
            EXPECT_EQ(result, failed ? ANERR_NOMEMORY : answer);
            EXPECT_EQ(ENMemLockedBlocks(), 0u);
            if (track.hCache != 0) {
                // Whatever the cache holds answers from it as the text is.
                if (!(track.first == AnnoPos{})) {
                    EXPECT_EQ(track.first, AtP(0));
                    EXPECT_LT(track.last.textOffset, kCombined.size());
                    ExpectReads(hDoc, track, P,
                                kCombined.substr(0, static_cast<size_t>(track.last.textOffset) + 1), false);
                }
                ExpectReads(hDoc, track, Q, u"z");
                ExpectReads(hDoc, track, P, kCombined);
            } else {
                uint16_t ch = 0;
                EXPECT_EQ(ANGetAnnoText(hDoc, &track, &Q, &ch), ANERR_NOMEMORY);
            }
            EXPECT_EQ(ANEndAnnoTextTrack(hDoc, &track), 0u);
            EXPECT_TRUE(IsZero(track));
            EXPECT_EQ(ENMemLiveBlocks(), liveBefore) << "blocks leaked";
            if (!failed) return;
        }
        ADD_FAILURE() << "the call never got past its allocations";
    }
};

TEST_F(AnnotationTextMemory, StartingTheRecord) {
    Sweep(
        [](uint32_t hDoc, AnnoTextTrack& track, int32_t n) {
            track = AnnoTextTrack{7, AtP(3), AtP(4)};
            ENFailAllocAfter(n);
            const uint32_t result = ANStartAnnoTextTrack(hDoc, &track);
            if (result != 0) { EXPECT_TRUE(IsZero(track)); }
            return result;
        },
        0u);
}

// Six insert nodes: five text copies, and the cache grows at the fifth.
TEST_F(AnnotationTextMemory, RefillingTheCache) {
    Sweep(
        [](uint32_t hDoc, AnnoTextTrack& track, int32_t n) {
            EXPECT_EQ(ANStartAnnoTextTrack(hDoc, &track), 0u);
            ENFailAllocAfter(n);
            const AnnoPos last = AtP(7);
            uint16_t ch = 0;
            const uint32_t result = ANGetAnnoText(hDoc, &track, &last, &ch);
            if (result == ANNO_INSERTTEXT) { EXPECT_EQ(ch, u'g'); }
            // Past the first copy, a failure keeps the entries already taken.
            if (result == ANERR_NOMEMORY && n > 0) { EXPECT_EQ(track.first, AtP(0)); }
            return result;
        },
        ANNO_INSERTTEXT);
}

}  // namespace
