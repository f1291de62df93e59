// Building hilites from the ranges the document marks: one per known range
// type with its userId, style word and event mask; each range examined once,
// later ones on a later call; built hilites and removal by prefix; what it
// does where the chunker fails or ids run out (failing count, indexes
// that would run into the userId prefix, a callback that builds again).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"

namespace {

using namespace testing_support;

constexpr uint32_t kWhole = 0xFFFFFFFF;

class Building : public AnnotationTest {
protected:
    static void Append(uint32_t hDoc, const std::string& more) {
        ASSERT_EQ(ENAppendDocument(DocInfo(hDoc).hDoc, more.data(), static_cast<uint32_t>(more.size())), 0u)
            << ENLastError();
    }
    static void SetNextBuildItem(uint32_t hDoc, uint32_t index) {
        annotation::DocInfoLock info(DocInfoHandle(hDoc));
        ASSERT_TRUE(info);
        info->nextBuildItem = index;
    }
};

TEST_F(Building, EachKnownRangeTypeBecomesItsHilite) {
    // Items: 0 "a"; 1 "b" (range 0 begins), 2 end marker, 3 "c" (range 1),
    // 4 marker, 5 "d" (range 2), 6 marker, 7 "e" (range 3), 8 marker,
    // 9 "f" (range 4), 10 marker, 11 "g" (range 5, an unknown type), 12 its
    // marker, 13 "h" (range 6 has no end marker), 14 paragraph end.
    const uint32_t hDoc = AttachDoc(
        "a{mark 0x8003000C}b{/mark 0x8003000C}{mark 0x80020008}c{/mark 0x80020008}"
        "{mark 0x81000000}d{/mark 0x81000000}{mark 0x82000000}e{/mark 0x82000000}"
        "{mark 0x84000010}f{/mark 0x84000010}{mark 0x7}g{/mark 0x7}{mark 0x84000010}h\n");
    CallbackLog log;
    log.InstallOn(hDoc);
    ASSERT_EQ(ANBuildAnnos(hDoc), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    struct Expected {
        uint32_t userId, style, eventMask, startItem;
    };
    const std::vector<Expected> expected = {{0x80200000, 0x40001002, 15, 1}, {0x80100001, 0x40001004, 15, 3},
                                            {0x81000002, 0x40001000, 0, 5},  {0x82000003, 0x30000000, 12, 7},
                                            {0x84000004, 0x40001001, 15, 9}};
    const std::vector<ListedNode> nodes = ListedNodes(hDoc);
    ASSERT_EQ(nodes.size(), expected.size());
    for (size_t i = 0; i < nodes.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(nodes[i].kind, ANNO_HILITETEXT);
        EXPECT_EQ(nodes[i].anno.size, 60u);
        EXPECT_EQ(nodes[i].anno.userId, expected[i].userId);
        EXPECT_EQ(nodes[i].anno.displayData, expected[i].style);
        EXPECT_EQ(nodes[i].anno.eventMask, expected[i].eventMask);
        EXPECT_EQ(nodes[i].anno.userData, expected[i].startItem);
        EXPECT_EQ(nodes[i].anno.start, DocPos(expected[i].startItem, kWhole));
        // The item after the marker as a whole, so the marker is covered;
        // 0x80020008 (i == 1) ends the same way: no extra words.
        EXPECT_EQ(nodes[i].anno.end, DocPos(expected[i].startItem + 2, kWhole));
    }
    ASSERT_EQ(log.heard.size(), 5u);  // each build is heard as an add
    EXPECT_EQ(log.heard[3].code, 1u);
    EXPECT_EQ(log.heard[3].record.userId, 0x82000003u);
    // The unknown type and the range without end marker are passed over.
    EXPECT_EQ(DocInfo(hDoc).nextBuildItem, 7u);

    // Built hilites have the top bit: a plain clear leaves them; a prefix
    // takes exactly its type.
    ASSERT_EQ(AddHilite(hDoc, 5, DocPos(0, 0), DocPos(0, 1)), 0u);
    ASSERT_EQ(AddHilite(hDoc, 0x81000000 | 0x70000, DocPos(0, 0), DocPos(0, 1)), 0u);  // has the bits too
    EXPECT_EQ(ANClearAnnos(hDoc, 0, 0), 0u);
    EXPECT_EQ(ListedNodes(hDoc).size(), 6u);
    EXPECT_EQ(ANClearAnnos(hDoc, ANMATCH_ALLBITS, 0x81000000), 0u);
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{0x80200000, 0x80100001, 0x82000003, 0x84000004}));
    EXPECT_TRUE(ListIsSound(hDoc));
}

TEST_F(Building, LaterCallsExamineOnlyNewRanges) {
    const uint32_t hDoc = AttachDoc("{mark 0x81000000}ab{/mark 0x81000000}\n{mark 0x81000000}cd\n");
    ASSERT_EQ(ANBuildAnnos(hDoc), 0u);
    EXPECT_EQ(DocInfo(hDoc).nextBuildItem, 2u);
    ASSERT_EQ(ANBuildAnnos(hDoc), 0u);  // nothing new: nothing added
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{0x81000000}));

    // The appended line closes range 1, which would now find its end marker:
    // it was examined once and is not looked at again. Only the new range 2
    // is built.
    Append(hDoc, "x{/mark 0x81000000}{mark 0x82000000}y{/mark 0x82000000}\n");
    ASSERT_EQ(ANBuildAnnos(hDoc), 0u);
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{0x81000000, 0x82000002}));
    EXPECT_EQ(DocInfo(hDoc).nextBuildItem, 3u);
    Append(hDoc, "{mark 0x84000010}z{/mark 0x84000010}\n");
    ASSERT_EQ(ANBuildAnnos(hDoc), 0u);
    ASSERT_EQ(ANBuildAnnos(hDoc), 0u);
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{0x81000000, 0x82000002, 0x84000003}));
    EXPECT_TRUE(ListIsSound(hDoc));

    // A chunker that cannot count its ranges builds nothing and keeps the
    // place; bad handles give their codes.
    Append(hDoc, "{mark 0x81000000}w{/mark 0x81000000}\n");
    ENFailCallAfter("CHGetItemCount", 0, 25);
    EXPECT_EQ(ANBuildAnnos(hDoc), 0u);
    EXPECT_EQ(DocInfo(hDoc).nextBuildItem, 4u);
    EXPECT_EQ(UserIds(hDoc).size(), 3u);
    ENFailCallAfter(nullptr, -1, 0);
    EXPECT_EQ(ANBuildAnnos(hDoc), 0u);  // the place was kept: built now
    EXPECT_EQ(UserIds(hDoc).size(), 4u);
    EXPECT_EQ(ANBuildAnnos(0), ANERR_BADPARAM);
    EXPECT_EQ(ANBuildAnnos(OpenDoc("x\n")), ANERR_NOANNODATA);
    EXPECT_EQ(ENMemLockedBlocks(), 0u);
}

// Indexes from 0x100000 on would run into the type prefix of the userId
// (index 0x100000 | 0x81000000 would read as index 0 of type 0x81100000...):
// such ranges are passed over. The place is set just before the boundary so
// that only the two ranges around it are examined.
TEST_F(Building, IndexesThatWouldReachThePrefixArePassedOver) {
    std::string description;
    description.reserve(0x100000 * 8 + 64);
    for (uint32_t i = 0; i < 0xFFFFF; ++i) description += "{mark 7}";
    description += "{mark 0x81000000}{mark 0x81000000}a{/mark 0x81000000}\n";
    const uint32_t hDoc = AttachDoc(description);
    SetNextBuildItem(hDoc, 0xFFFFF);
    ASSERT_EQ(ANBuildAnnos(hDoc), 0u);
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{0x810FFFFF}));
    EXPECT_EQ(DocInfo(hDoc).nextBuildItem, 0x100001u);
}

// A callback that builds again while a build is under way continues from
// the next range: every range is built once and both calls end.
TEST_F(Building, ACallbackThatBuildsAgainBuildsEachRangeOnce) {
    const uint32_t hDoc = AttachDoc(
        "{mark 0x81000000}a{/mark 0x81000000}{mark 0x82000000}b{/mark 0x82000000}"
        "{mark 0x84000010}c{/mark 0x84000010}\n");
    CallbackLog log;
    log.hDoc = hDoc;
    log.InstallOn(hDoc);
    log.during = [](CallbackLog& self, uint32_t code) {
        if (code == 1) self.results.push_back(ANBuildAnnos(self.hDoc));
    };
    ASSERT_EQ(ANBuildAnnos(hDoc), 0u);
    EXPECT_EQ(UserIds(hDoc), (std::vector<uint32_t>{0x81000000, 0x82000001, 0x84000002}));
    EXPECT_EQ(log.heard.size(), 3u);
    EXPECT_EQ(log.results, (std::vector<uint32_t>{0, 0, 0}));
    EXPECT_EQ(DocInfo(hDoc).nextBuildItem, 3u);
}

}  // namespace
