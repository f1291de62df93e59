// Adding annotations: the caller's structures of every accepted size and
// what they become in the list, refused structures, ordering of start and
// end, point ends, insertions kept out of hidden text, the added-callback,
// hidden ranges merging into their neighbours, and the list's growth.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "annotation/store/adding.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_record.h"
#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"

namespace {

using namespace testing_support;
using annotation::AnnoRecord;

constexpr uint32_t kWhole = 0xFFFFFFFF;

void ExpectRecord(const InternalAnno& got, const InternalAnno& want) {
    EXPECT_EQ(got.size, want.size);
    EXPECT_EQ(got.userId, want.userId);
    EXPECT_EQ(got.start, want.start);
    EXPECT_EQ(got.end, want.end);
    EXPECT_EQ(got.eventMask, want.eventMask);
    EXPECT_EQ(got.userData, want.userData);
    EXPECT_EQ(got.reserved1, want.reserved1);
    EXPECT_EQ(got.reserved2, want.reserved2);
    EXPECT_EQ(got.displayData, want.displayData);
    EXPECT_EQ(got.textLen, want.textLen);
    EXPECT_EQ(got.hText, want.hText);
    EXPECT_EQ(got.textCap, want.textCap);
}

AnnoRecord HideRecord(uint32_t userId, uint32_t from, uint32_t to) {
    AnnoRecord record;
    record.anno.size = 56;
    record.anno.userId = userId;
    record.anno.start = DocPos(3, from);
    record.anno.end = DocPos(3, to);
    record.anno.reserved2 = kWhole;
    return record;
}

class Adding : public AnnotationTest {
protected:
    // Adds one structure to a document of its own; the one node stored.
    ListedNode AddAlone(uint16_t kind, const void* structure) {
        const uint32_t hDoc = AttachDoc();
        EXPECT_EQ(ANAddAnno(hDoc, kind, structure), 0u);
        EXPECT_TRUE(ListIsSound(hDoc));
        const std::vector<ListedNode> nodes = ListedNodes(hDoc);
        EXPECT_EQ(nodes.size(), 1u);
        return nodes.empty() ? ListedNode{} : nodes.front();
    }

    // Stores a record straight into the list, as the add path does.
    static uint32_t Store(uint32_t hDoc, uint16_t kind, AnnoRecord record, uint16_t asIs = 0) {
        return annotation::AddAnnotationToList(DocInfoHandle(hDoc), kind, &record, asIs);
    }

    static std::vector<std::pair<uint32_t, uint32_t>> Ranges(uint32_t hDoc) {
        std::vector<std::pair<uint32_t, uint32_t>> ranges;
        for (const ListedNode& node : ListedNodes(hDoc)) {
            ranges.emplace_back(node.anno.start.subItemId, node.anno.end.subItemId);
        }
        return ranges;
    }
};

TEST_F(Adding, EveryAcceptedSizeIsStoredInItsInternalForm) {
    {
        SCOPED_TRACE("hilite, 60 bytes");
        const HiliteTextAnno hilite{60, 1, DocPos(0, 1), DocPos(0, 4), 0x11, 0x22, 0x33, 0x44, 0x55};
        ExpectRecord(AddAlone(ANNO_HILITETEXT, &hilite).anno,
                     {60, 1, DocPos(0, 1), DocPos(0, 4), 0x11, 0x22, 0x33, 0x44, 0x55, 0, 0, 0});
    }
    {
        SCOPED_TRACE("hilite, 48 bytes: word 11 is the style word");
        const uint32_t hilite[12] = {48, 2, 0, 1, 0, 0, 0, 4, 0, 0, 0x11, 0x55};
        ExpectRecord(AddAlone(ANNO_HILITETEXT, hilite).anno,
                     {60, 2, DocPos(0, 1), DocPos(0, 4), 0x11, 0, 0, 0, 0x55, 0, 0, 0});
    }
    {
        SCOPED_TRACE("icon, 60 bytes: the caller's end is discarded");
        const InsertIconAnno icon{60, 3, DocPos(0, 3), DocPos(0, 9), 0x11, 0x22, 0x33, 0x44, 0x66};
        ExpectRecord(AddAlone(ANNO_INSERTICON, &icon).anno,
                     {60, 3, DocPos(0, 3), DocPos(0, 4), 0x11, 0x22, 0x33, 0x44, 0x66, 0, 0, 0});
    }
    {
        SCOPED_TRACE("icon, 24 bytes: only start.itemId, word 3 has no effect");
        const uint32_t icon[6] = {24, 4, 9, 0x77, 0x11, 0x66};
        ExpectRecord(AddAlone(ANNO_INSERTICON, icon).anno,
                     {60, 4, DocPos(9, 0), DocPos(9, 1), 0x11, 0, 0, 0, 0x66, 0, 0, 0});
    }
    {
        SCOPED_TRACE("hide text, 44, 48 and 40 bytes");
        const uint32_t hide44[11] = {44, 5, 0, 1, 0, 0, 0, 4, 0, 0, 0x99};
        const uint32_t hide48[12] = {48, 5, 0, 1, 0, 0, 0, 4, 0, 0, 0xAA, 0x99};
        const uint32_t hide40[10] = {40, 5, 0, 1, 0, 0, 0, 4, 0, 0};
        const InternalAnno want{56, 5, DocPos(0, 1), DocPos(0, 4), 0, 0x99, 0, kWhole, 0, 0, 0, 0};
        ExpectRecord(AddAlone(ANNO_HIDETEXT, hide44).anno, want);
        ExpectRecord(AddAlone(ANNO_HIDETEXT, hide48).anno, want);
        InternalAnno noUserData = want;
        noUserData.userData = 0;
        ExpectRecord(AddAlone(ANNO_HIDETEXT, hide40).anno, noUserData);
    }
    {
        SCOPED_TRACE("bitmap, 60 bytes");
        const InsertBitmapAnno bitmap{60, 6, DocPos(0, 3), DocPos(0, 1), 0x11, 0x22, 0x33, 0x44, 0x88};
        ExpectRecord(AddAlone(ANNO_INSERTBITMAP, &bitmap).anno,
                     {60, 6, DocPos(0, 3), DocPos(0, 4), 0x11, 0x22, 0x33, 0x44, 0x88, 0, 0, 0});
    }
    {
        SCOPED_TRACE("insert text: its own block of 64 characters, or 128 once 64 are held");
        for (const std::u16string& text : {std::u16string(u"abc"), std::u16string(64, u'x')}) {
            const InsertTextAnno insert{sizeof(InsertTextAnno), 7, DocPos(0, 2), 0x12, text.data(),
                                        static_cast<uint32_t>(text.size())};
            const ListedNode node = AddAlone(ANNO_INSERTTEXT, &insert);
            const uint32_t cap = text.size() < 64 ? 64 : 128;
            EXPECT_NE(node.anno.hText, 0u);
            ExpectRecord(node.anno, {72, 7, DocPos(0, 2), DocPos(0, 3), 0, 0x12, 0, 0, 0,
                                     static_cast<uint32_t>(text.size()), node.anno.hText, cap});
            EXPECT_EQ(ENMemBlockSize(node.anno.hText), cap * 2);
            EXPECT_EQ(node.text, text);
        }
    }
    for (const uint16_t kind : {ANNO_INSERTPARABREAK, ANNO_HIDEPARABREAK}) {
        SCOPED_TRACE(testing::Message() << "paragraph break of kind " << kind);
        const ParaBreakAnno paraBreak{28, 8, DocPos(0, 5), 0x31};
        ExpectRecord(AddAlone(kind, &paraBreak).anno, {56, 8, DocPos(0, 5), DocPos(0, 6), 0, 0x31, 0, 0, 0, 0, 0, 0});
    }
}

TEST_F(Adding, RefusedStructuresChangeNothingAndTellNobody) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    log.InstallOn(hDoc);
    ASSERT_EQ(AddHilite(hDoc, 1, DocPos(0, 1), DocPos(0, 4)), 0u);
    log.heard.clear();
    const uint32_t hList = ListHandle(hDoc);
    const uint32_t hBare = OpenDoc("Plain\n");  // no annotation state

    const uint32_t hide56[14] = {56, 2, 0, 1, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0};
    const uint32_t break36[9] = {36, 3, 0, 2, 0, 0, 0, 0, 0};
    const uint32_t bitmap24[6] = {24, 4, 0, 2, 0, 5};
    const HiliteTextAnno hilite{60, 5, DocPos(0, 1), DocPos(0, 2), 0, 0, 0, 0, 0x12};
    const InsertTextAnno noText{sizeof(InsertTextAnno), 6, DocPos(0, 2), 0, nullptr, 3};
    struct Refused {
        uint16_t kind;
        const void* structure;
    };
    std::vector<Refused> refused = {{ANNO_HIDETEXT, hide56},       {ANNO_INSERTPARABREAK, break36},
                                    {ANNO_HIDEPARABREAK, break36}, {ANNO_INSERTBITMAP, bitmap24},
                                    {ANNO_HILITETEXT, bitmap24},   {ANNO_INSERTICON, hide56},
                                    {0, &hilite},                  {8, &hilite},
                                    {ANNO_HILITETEXT, nullptr},    {ANNO_INSERTTEXT, &noText}};
    uint32_t text36[12] = {};  // on a 64-bit target the 36-byte form has no room for the pointer
    if constexpr (sizeof(InsertTextAnno) != 36) {
        std::memcpy(text36, &noText, sizeof noText);
        text36[0] = 36;
        refused.push_back({ANNO_INSERTTEXT, text36});
    }
    for (const Refused& r : refused) {
        const uint32_t size = r.structure ? *static_cast<const uint32_t*>(r.structure) : 0;
        SCOPED_TRACE(testing::Message() << "kind " << r.kind << ", size " << size);
        for (const uint32_t h : {hDoc, 0u, hBare}) EXPECT_EQ(ANAddAnno(h, r.kind, r.structure), ANERR_BADPARAM);
    }
    EXPECT_EQ(ListHandle(hDoc), hList);
    EXPECT_EQ(ListHeader(hDoc).count, 1);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_TRUE(log.heard.empty());

    // A good structure meets the document only then.
    EXPECT_EQ(ANAddAnno(hBare, ANNO_HILITETEXT, &hilite), ANERR_NOANNODATA);
    EXPECT_EQ(ANAddAnno(0, ANNO_HILITETEXT, &hilite), ANERR_BADPARAM);
    EXPECT_EQ(ListHeader(hDoc).count, 1);
    EXPECT_TRUE(log.heard.empty());

    // A null text without characters is an empty text, not a refusal.
    const InsertTextAnno empty{sizeof(InsertTextAnno), 6, DocPos(0, 2), 0, nullptr, 0};
    EXPECT_EQ(ANAddAnno(hDoc, ANNO_INSERTTEXT, &empty), 0u);
    EXPECT_EQ(NodeOf(hDoc, 6).anno.textLen, 0u);
}

TEST_F(Adding, StartAfterEndIsStoredAndHeardSwapped) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    log.InstallOn(hDoc);
    const HiliteTextAnno hilite{60, 1, DocPos(0, 8), DocPos(0, 2), 0, 0, 0, 0, 0x12};
    ASSERT_EQ(ANAddAnno(hDoc, ANNO_HILITETEXT, &hilite), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(NodeOf(hDoc, 1).anno.start, DocPos(0, 2));
    EXPECT_EQ(NodeOf(hDoc, 1).anno.end, DocPos(0, 8));
    EXPECT_EQ(hilite.start, DocPos(0, 8)) << "the caller's structure is only read";
    ASSERT_EQ(log.heard.size(), 1u);
    EXPECT_EQ(log.heard[0].code, 1u);
    EXPECT_EQ(log.heard[0].arg, ANNO_HILITETEXT);
    ExpectRecord(log.heard[0].record, {60, 1, DocPos(0, 2), DocPos(0, 8), 0, 0, 0, 0, 0x12, 0, 0, 0});

    // The record heard is the caller's, before the builder: a point
    // annotation's end is still its start, and nothing past its size is set.
    ASSERT_EQ(AddBreak(hDoc, 2, DocPos(0, 5), ANNO_HIDEPARABREAK), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    ASSERT_EQ(log.heard.size(), 2u);
    EXPECT_EQ(log.heard[1].arg, ANNO_HIDEPARABREAK);
    ExpectRecord(log.heard[1].record, {56, 2, DocPos(0, 5), DocPos(0, 5), 0, 0, 0, 0, 0, 0, 0, 0});

    // Without a callback the add still succeeds.
    ASSERT_EQ(ANSetCallback(hDoc, nullptr, 0), 0u);
    EXPECT_EQ(AddHilite(hDoc, 3, DocPos(1, 0), DocPos(1, 1)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(ListHeader(hDoc).count, 3);
    EXPECT_EQ(log.heard.size(), 2u);
}

TEST_F(Adding, PointAnnotationsEndOnePositionAfterTheirStart) {
    const uint32_t hDoc = AttachDoc();
    const InsertIconAnno icon{60, 1, DocPos(7, 3), DocPos(1, 0), 0, 0, 0, 0, 7};
    ASSERT_EQ(ANAddAnno(hDoc, ANNO_INSERTICON, &icon), 0u);
    const InsertBitmapAnno bitmap{60, 2, TextPos(7, 3, 2), DocPos(9, 9), 0, 0, 0, 0, 8};
    ASSERT_EQ(ANAddAnno(hDoc, ANNO_INSERTBITMAP, &bitmap), 0u);
    ASSERT_EQ(AddIcon(hDoc, 3, DocPos(7, kWhole)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));

    EXPECT_EQ(NodeOf(hDoc, 1).anno.start, DocPos(7, 3));
    EXPECT_EQ(NodeOf(hDoc, 1).anno.end, DocPos(7, 4));
    EXPECT_EQ(NodeOf(hDoc, 2).anno.start, TextPos(7, 3, 2));
    EXPECT_EQ(NodeOf(hDoc, 2).anno.end, TextPos(7, 3, 3));
    EXPECT_EQ(NodeOf(hDoc, 3).anno.start, DocPos(7, kWhole));
    EXPECT_EQ(NodeOf(hDoc, 3).anno.end, DocPos(7, 0));
    const InternalAnno whole = NodeOf(hDoc, 3).anno;
    EXPECT_LT(ANCompPos(&whole.start, &whole.end), 0);
}

TEST_F(Adding, InsertionsInsideHiddenTextMoveToTheHiddenRangeStart) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    log.InstallOn(hDoc);
    ASSERT_EQ(AddHide(hDoc, 1, DocPos(0, 2), DocPos(0, 8)), 0u);
    ASSERT_EQ(NodeOf(hDoc, 1).anno.start, DocPos(0, 2));
    ASSERT_EQ(NodeOf(hDoc, 1).anno.end, DocPos(0, 8));

    ASSERT_EQ(AddText(hDoc, 2, DocPos(0, 5), u"ab"), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(NodeOf(hDoc, 2).anno.start, DocPos(0, 2));
    EXPECT_EQ(NodeOf(hDoc, 2).anno.end, DocPos(0, 3));
    EXPECT_EQ(log.heard.back().record.start, DocPos(0, 5)) << "the callback hears the caller's start";

    ASSERT_EQ(AddBreak(hDoc, 3, DocPos(0, 6)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(NodeOf(hDoc, 3).anno.start, DocPos(0, 2));
    EXPECT_EQ(NodeOf(hDoc, 3).anno.end, DocPos(0, 3));

    // Hidden paragraph breaks stay where they are put.
    ASSERT_EQ(AddBreak(hDoc, 4, DocPos(0, 4), ANNO_HIDEPARABREAK), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(NodeOf(hDoc, 4).anno.start, DocPos(0, 4));

    // The end of the hidden range is not hidden.
    ASSERT_EQ(AddText(hDoc, 5, DocPos(0, 8), u"c"), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(NodeOf(hDoc, 5).anno.start, DocPos(0, 8));
    EXPECT_EQ(NodeOf(hDoc, 5).anno.end, DocPos(0, 9));

    // Hidden only by a hidden paragraph break, with no hidden text to move to.
    const uint32_t hOther = AttachDoc();
    ASSERT_EQ(AddBreak(hOther, 1, DocPos(0, 5), ANNO_HIDEPARABREAK), 0u);
    ASSERT_EQ(AddText(hOther, 2, DocPos(0, 5), u"x"), 0u);
    EXPECT_TRUE(ListIsSound(hOther));
    EXPECT_EQ(NodeOf(hOther, 2).anno.start, DocPos(0, 5));
}

TEST_F(Adding, SilentAddStoresWithoutTellingTheCallback) {
    CallbackLog log;
    const uint32_t hDoc = AttachDoc();
    log.InstallOn(hDoc);
    const HiliteTextAnno hilite{60, 9, DocPos(0, 6), DocPos(0, 1), 0, 0, 0, 0, 0x12};
    AnnoRecord record;
    ASSERT_EQ(annotation::ConvertToInternalAnnoStruct(&record, &hilite, ANNO_HILITETEXT), 0u);
    EXPECT_EQ(annotation::AddAnnoP(hDoc, ANNO_HILITETEXT, &record, 1), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(record.anno.start, DocPos(0, 1)) << "AddAnnoP orders its own argument";
    EXPECT_EQ(NodeOf(hDoc, 9).anno.start, DocPos(0, 1));
    EXPECT_EQ(NodeOf(hDoc, 9).anno.end, DocPos(0, 6));
    EXPECT_TRUE(log.heard.empty());

    EXPECT_EQ(annotation::AddAnnoP(hDoc, ANNO_HILITETEXT, &record, 0), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(ListHeader(hDoc).count, 2);
    EXPECT_EQ(log.heard.size(), 1u);
    EXPECT_EQ(annotation::AddAnnoP(OpenDoc("Bare\n"), ANNO_HILITETEXT, &record, 1), ANERR_NOANNODATA);
}

// What the callback sees of an insert text: the caller's text, reachable
// while it runs.
struct HeardText {
    int calls = 0;
    InternalAnno anno{};
    const void* pointer = nullptr;
    std::u16string chars;
} gHeardText;

uint32_t HearText(uint32_t code, uint32_t arg, void* record, uint32_t) {
    if (code != 1 || arg != ANNO_INSERTTEXT) return 0;
    ++gHeardText.calls;
    std::memcpy(&gHeardText.anno, record, sizeof(InternalAnno));
    if constexpr (sizeof(void*) == 4) {
        gHeardText.pointer = reinterpret_cast<const void*>(static_cast<uintptr_t>(gHeardText.anno.displayData));
    } else {
        std::memcpy(&gHeardText.pointer, static_cast<const char*>(record) + 72, sizeof(void*));
    }
    gHeardText.chars.assign(static_cast<const char16_t*>(gHeardText.pointer), gHeardText.anno.textLen);
    return 0;
}

TEST_F(Adding, TheAddedCallbackHearsTheCallersTextRecord) {
    gHeardText = HeardText{};
    const uint32_t hDoc = AttachDoc("Hello world\nSecond\n", 0, HearText, 0);
    const std::u16string first = u"abc";
    ASSERT_EQ(AddText(hDoc, 4, DocPos(0, 3), first, 0x21), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    ASSERT_EQ(gHeardText.calls, 1);
    EXPECT_EQ(gHeardText.anno.size, 72u);
    EXPECT_EQ(gHeardText.anno.userId, 4u);
    EXPECT_EQ(gHeardText.anno.start, DocPos(0, 3));
    EXPECT_EQ(gHeardText.anno.userData, 0x21u);
    EXPECT_EQ(gHeardText.anno.textLen, 3u);
    EXPECT_EQ(gHeardText.anno.hText, 0u);
    if constexpr (sizeof(void*) != 4) {
        EXPECT_EQ(gHeardText.anno.displayData, 0u);
    }
    EXPECT_EQ(gHeardText.pointer, static_cast<const void*>(first.data()));
    EXPECT_EQ(gHeardText.chars, u"abc");

    // Joined into the text already there: still heard once, with its own text.
    const std::u16string second = u"de";
    ASSERT_EQ(AddText(hDoc, 5, DocPos(0, 3), second), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(gHeardText.calls, 2);
    EXPECT_EQ(gHeardText.pointer, static_cast<const void*>(second.data()));
    EXPECT_EQ(gHeardText.chars, u"de");
    ASSERT_EQ(ListedNodes(hDoc).size(), 1u);
    EXPECT_EQ(ListedNodes(hDoc)[0].text, u"abcde");
}

TEST_F(Adding, HiddenRangesMergeWithTheirNeighbours) {
    const uint32_t hDoc = AttachDoc();
    ASSERT_EQ(Store(hDoc, ANNO_HIDETEXT, HideRecord(1, 15, 30)), 0u);
    ASSERT_EQ(Store(hDoc, ANNO_HIDETEXT, HideRecord(2, 10, 20)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(Ranges(hDoc), (std::vector<std::pair<uint32_t, uint32_t>>{{10, 30}}));

    // Strictly inside a neighbour, or in front of one it does not reach: a
    // node of its own.
    ASSERT_EQ(Store(hDoc, ANNO_HIDETEXT, HideRecord(3, 16, 18)), 0u);
    ASSERT_EQ(Store(hDoc, ANNO_HIDETEXT, HideRecord(5, 2, 9)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(Ranges(hDoc), (std::vector<std::pair<uint32_t, uint32_t>>{{2, 9}, {10, 30}, {16, 18}}));

    // Only hidden ranges merge.
    AnnoRecord hilite = HideRecord(4, 10, 30);
    hilite.anno.size = 60;
    hilite.anno.reserved2 = 0;
    ASSERT_EQ(Store(hDoc, ANNO_HILITETEXT, hilite), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(ListHeader(hDoc).count, 4);

    // Ranges that touch merge, either way round, and also when copied as
    // they are.
    const uint32_t hTouch = AttachDoc();
    ASSERT_EQ(Store(hTouch, ANNO_HIDETEXT, HideRecord(1, 5, 10)), 0u);
    ASSERT_EQ(Store(hTouch, ANNO_HIDETEXT, HideRecord(2, 10, 12)), 0u);
    EXPECT_TRUE(ListIsSound(hTouch));
    EXPECT_EQ(Ranges(hTouch), (std::vector<std::pair<uint32_t, uint32_t>>{{5, 12}}));
    ASSERT_EQ(Store(hTouch, ANNO_HIDETEXT, HideRecord(3, 2, 5), 1), 0u);
    EXPECT_TRUE(ListIsSound(hTouch));
    EXPECT_EQ(Ranges(hTouch), (std::vector<std::pair<uint32_t, uint32_t>>{{2, 12}}));

    // Through ANAddAnno the merge is still heard as an add.
    CallbackLog log;
    const uint32_t hCaller = AttachDoc();
    log.InstallOn(hCaller);
    ASSERT_EQ(AddHide(hCaller, 1, DocPos(0, 1), DocPos(0, 4)), 0u);
    ASSERT_EQ(AddHide(hCaller, 2, DocPos(0, 4), DocPos(0, 7)), 0u);
    EXPECT_TRUE(ListIsSound(hCaller));
    ASSERT_EQ(ListedNodes(hCaller).size(), 1u);
    EXPECT_EQ(ListedNodes(hCaller)[0].anno.start, DocPos(0, 1));
    EXPECT_EQ(ListedNodes(hCaller)[0].anno.end, DocPos(0, 7));
    EXPECT_EQ(log.heard.size(), 2u);
}

TEST_F(Adding, TheNinthNodeGrowsTheListByTenSlots) {
    const uint32_t hDoc = AttachDoc();
    for (uint32_t i = 0; i < 8; ++i) {
        ASSERT_EQ(AddHilite(hDoc, i, DocPos(1, i), DocPos(1, i + 1)), 0u);
        EXPECT_TRUE(ListIsSound(hDoc));
    }
    EXPECT_EQ(ENMemBlockSize(ListHandle(hDoc)), 896u);
    EXPECT_EQ(FreeSlots(hDoc), (std::vector<uint16_t>{8, 9}));

    ASSERT_EQ(AddHilite(hDoc, 8, DocPos(1, 8), DocPos(1, 9)), 0u);
    EXPECT_TRUE(ListIsSound(hDoc));
    EXPECT_EQ(ENMemBlockSize(ListHandle(hDoc)), 1696u);
    EXPECT_EQ(ListHeader(hDoc).capacity, 20);
    EXPECT_EQ(ListHeader(hDoc).count, 9);
    EXPECT_EQ(FreeSlots(hDoc), (std::vector<uint16_t>{9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19}));
    std::vector<uint32_t> ids;
    for (const ListedNode& node : ListedNodes(hDoc)) ids.push_back(node.anno.userId);
    EXPECT_EQ(ids, (std::vector<uint32_t>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
}

}  // namespace
