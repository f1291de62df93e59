// Hilite style tables: adding and replacing, growth in steps of ten, the
// short form, lookups with the document-then-global fall-back, copying, and
// every allocation failing in turn.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "annotation/styles/hilite_styles.h"
#include "support/annotation_fixture.h"

namespace {

using annotation::HiliteStyleTable;

HiliteStyle Style(uint32_t id, uint32_t color1 = 0x0000FF, uint32_t reserved = 0) {
    return HiliteStyle{28, id, ANHS_COLOR1ON, color1, 0x00FF00, 3, 4, reserved};
}

uint32_t AddStyle(uint32_t hStyles, HiliteStyle style) { return ANAddGlobalHiliteStyle(hStyles, &style); }
uint32_t AddDocStyle(uint32_t hDoc, HiliteStyle style) { return ANAddHiliteStyle(hDoc, &style); }
uint32_t SetStyle(uint32_t hStyles, HiliteStyle style) { return annotation::SetGlobalHiliteStyle(hStyles, &style); }

// The 24-byte short form as a caller passes it: six fields, then two bytes
// that are not read.
struct ShortStyle {
    uint32_t size, id, flags, color1, color2;
    uint16_t attr1, notRead;
};
static_assert(sizeof(ShortStyle) == 24);

class HiliteStyles : public AnnotationTest {
protected:
    void SetUp() override {
        AnnotationTest::SetUp();
        ASSERT_EQ(ANInitGlobalHiliteStyles(&table_), 0u);
    }
    void TearDown() override {
        EXPECT_EQ(ANDeInitGlobalHiliteStyles(table_), 0u);
        AnnotationTest::TearDown();
    }
    HiliteStyleTable Header() const {
        annotation::LockedBlock<HiliteStyleTable> table(table_);
        return *table;
    }
    uint32_t table_ = 0;
};

TEST_F(HiliteStyles, ArrayGrowsWhileTheTenthAndTwentiethRecordsAreAdded) {
    for (uint32_t id = 1; id <= 9; ++id) ASSERT_EQ(AddStyle(table_, Style(id)), 0u);
    EXPECT_EQ(Header().capacity, 10);
    const HiliteStyle tenth = Style(10);
    ASSERT_EQ(ANAddGlobalHiliteStyle(table_, &tenth), 0u);
    EXPECT_EQ(Header().count, 10);
    EXPECT_EQ(Header().capacity, 20);
    for (uint32_t id = 11; id <= 19; ++id) ASSERT_EQ(AddStyle(table_, Style(id)), 0u);
    EXPECT_EQ(Header().capacity, 20);
    ASSERT_EQ(AddStyle(table_, Style(20)), 0u);
    EXPECT_EQ(Header().capacity, 30);
    for (uint32_t id = 1; id <= 20; ++id) {
        HiliteStyle got{};
        ASSERT_EQ(ANGetGlobalHiliteStyle(table_, id, &got), 0u);
        const HiliteStyle expected = Style(id);
        EXPECT_EQ(std::memcmp(&got, &expected, sizeof got), 0);
    }
}

TEST_F(HiliteStyles, SameIdReplacesTheRecordInItsSlot) {
    ASSERT_EQ(AddStyle(table_, Style(7, 1)), 0u);
    ASSERT_EQ(AddStyle(table_, Style(8, 2)), 0u);
    ASSERT_EQ(AddStyle(table_, Style(7, 3, 0xABCD)), 0u);
    EXPECT_EQ(Header().count, 2);
    annotation::LockedBlock<HiliteStyleTable> table(table_);
    annotation::LockedBlock<HiliteStyle> records(table->hRecords);
    EXPECT_EQ(records.get()[0].id, 7u);
    EXPECT_EQ(records.get()[0].color1, 3u);
    EXPECT_EQ(records.get()[0].reserved, 0xABCDu);
    EXPECT_EQ(records.get()[1].id, 8u);
}

// When the look-up for the id cannot lock the table (15) or its records
// (13), the add fails and changes nothing: a second record with the id
// would never be found, the first one winning every look-up.
TEST_F(HiliteStyles, AReplacementThatCannotReadTheTableAppendsNothing) {
    ASSERT_EQ(AddStyle(table_, Style(7, 1)), 0u);
    std::vector<uint32_t> results;
    for (int32_t n = 0; n < 8; ++n) {
        ENFailCallAfter("SYSNativeLock", n, 0);
        const uint32_t result = AddStyle(table_, Style(7, 2));
        const bool failed = ENFailPending() == 0;
        ENFailCallAfter(nullptr, -1, 0);
        results.push_back(result);
        HiliteStyle got{};
        ASSERT_EQ(ANGetGlobalHiliteStyle(table_, 7, &got), 0u);
        EXPECT_EQ(got.color1, failed ? 1u : 2u);
        EXPECT_EQ(Header().count, 1);
        if (!failed) break;
    }
    EXPECT_EQ(results, (std::vector<uint32_t>{ANERR_BADPARAM, ANERR_NOMEMORY, 0}));
}

TEST_F(HiliteStyles, ShortFormIsWidened) {
    const ShortStyle shortForm{24, 9, ANHS_EXTRAON, 0x112233, 0x445566, 0x7788, 0x99AA};
    ASSERT_EQ(ANAddGlobalHiliteStyle(table_, reinterpret_cast<const HiliteStyle*>(&shortForm)), 0u);
    HiliteStyle got{};
    ASSERT_EQ(ANGetGlobalHiliteStyle(table_, 9, &got), 0u);
    EXPECT_EQ(got.size, 28u);
    EXPECT_EQ(got.flags, ANHS_EXTRAON);
    EXPECT_EQ(got.color1, 0x112233u);
    EXPECT_EQ(got.color2, 0x445566u);
    EXPECT_EQ(got.attr1, 0x7788);
    EXPECT_EQ(got.attr2, 0xFFFF);
}

TEST_F(HiliteStyles, RefusedArgumentsChangeNothing) {
    HiliteStyle style = Style(1);
    EXPECT_EQ(ANAddGlobalHiliteStyle(0, &style), ANERR_BADPARAM);
    EXPECT_EQ(ANAddGlobalHiliteStyle(table_, nullptr), ANERR_BADPARAM);
    for (uint32_t size : {0u, 20u, 26u, 32u, 56u}) {
        style.size = size;
        EXPECT_EQ(ANAddGlobalHiliteStyle(table_, &style), ANERR_BADPARAM) << size;
    }
    EXPECT_EQ(Header().hRecords, 0u);
    EXPECT_EQ(ANGetGlobalHiliteStyle(0, 1, &style), ANERR_BADPARAM);
    EXPECT_EQ(ANDeInitGlobalHiliteStyles(0), ANERR_BADPARAM);
    EXPECT_EQ(ANInitGlobalHiliteStyles(nullptr), ANERR_BADPARAM);
    EXPECT_EQ(annotation::SetGlobalHiliteStyle(0, &style), ANERR_BADPARAM);
    EXPECT_EQ(annotation::SetGlobalHiliteStyle(table_, nullptr), ANERR_BADPARAM);
    // A table that cannot be locked is refused, not freed (the fixture frees it).
    ENFailCallAfter("SYSNativeLock", 0, 0);
    EXPECT_EQ(ANDeInitGlobalHiliteStyles(table_), ANERR_BADPARAM);
    EXPECT_EQ(annotation::CopyGlobalHiliteStyles(0, table_), ANERR_BADPARAM);
    EXPECT_EQ(annotation::CopyGlobalHiliteStyles(table_, 0), ANERR_BADPARAM);
}

TEST_F(HiliteStyles, SetReplacesOnlyPresentIds) {
    EXPECT_EQ(SetStyle(table_, Style(4)), ANERR_NOTFOUND);
    ASSERT_EQ(AddStyle(table_, Style(4, 1)), 0u);
    EXPECT_EQ(SetStyle(table_, Style(5)), ANERR_NOTFOUND);
    EXPECT_EQ(SetStyle(table_, Style(4, 9)), 0u);
    HiliteStyle got{};
    ASSERT_EQ(ANGetGlobalHiliteStyle(table_, 4, &got), 0u);
    EXPECT_EQ(got.color1, 9u);
    EXPECT_EQ(Header().count, 1);
}

TEST_F(HiliteStyles, CopyReplacesPresentIdsAndAppendsTheOthers) {
    uint32_t hSource = 0;
    ASSERT_EQ(ANInitGlobalHiliteStyles(&hSource), 0u);
    ASSERT_EQ(AddStyle(table_, Style(1, 100)), 0u);
    ASSERT_EQ(AddStyle(table_, Style(2, 200)), 0u);
    for (uint32_t id = 2; id <= 12; ++id) ASSERT_EQ(AddStyle(hSource, Style(id, id)), 0u);
    EXPECT_EQ(annotation::CopyGlobalHiliteStyles(table_, hSource), 0u);
    EXPECT_EQ(Header().count, 12);
    HiliteStyle got{};
    ASSERT_EQ(ANGetGlobalHiliteStyle(table_, 1, &got), 0u);
    EXPECT_EQ(got.color1, 100u);
    ASSERT_EQ(ANGetGlobalHiliteStyle(table_, 2, &got), 0u);
    EXPECT_EQ(got.color1, 2u);
    // Onto itself: every record replaces itself.
    EXPECT_EQ(annotation::CopyGlobalHiliteStyles(table_, table_), 0u);
    EXPECT_EQ(Header().count, 12);
    EXPECT_EQ(ANDeInitGlobalHiliteStyles(hSource), 0u);
}

TEST_F(HiliteStyles, CopyGoesOnWhenAnAddFails) {
    uint32_t hSource = 0;
    ASSERT_EQ(ANInitGlobalHiliteStyles(&hSource), 0u);
    for (uint32_t id = 1; id <= 3; ++id) ASSERT_EQ(AddStyle(hSource, Style(id)), 0u);
    ENFailAllocAfter(0);  // the destination's first array
    EXPECT_EQ(annotation::CopyGlobalHiliteStyles(table_, hSource), 0u);
    EXPECT_EQ(Header().count, 2);
    EXPECT_EQ(ANGetGlobalHiliteStyle(table_, 1, nullptr), ANERR_NOTFOUND);
    EXPECT_EQ(ANDeInitGlobalHiliteStyles(hSource), 0u);
}

TEST_F(HiliteStyles, EveryAllocationFailureLeavesTheTableUnchanged) {
    // Nine records: the next add grows the array; as a short form it also
    // needs its temporary block.
    for (uint32_t id = 1; id <= 9; ++id) ASSERT_EQ(AddStyle(table_, Style(id)), 0u);
    const ShortStyle shortForm{24, 10, 0, 1, 2, 3, 0};
    for (int32_t n = 0;; ++n) {
        SCOPED_TRACE(n);
        const uint32_t live = ENMemLiveBlocks();
        ENFailAllocAfter(n);
        const uint32_t result = ANAddGlobalHiliteStyle(table_, reinterpret_cast<const HiliteStyle*>(&shortForm));
        if (ENFailPending() != 0) {
            ENFailAllocAfter(-1);
            EXPECT_EQ(result, 0u);
            EXPECT_EQ(Header().capacity, 20);
            break;
        }
        EXPECT_EQ(result, ANERR_NOMEMORY);
        EXPECT_EQ(Header().count, 9);
        EXPECT_EQ(Header().capacity, 10);
        EXPECT_EQ(ENMemLiveBlocks(), live);
        EXPECT_EQ(ANGetGlobalHiliteStyle(table_, 9, nullptr), 0u);
    }
}

TEST_F(HiliteStyles, InitFailureGivesNoTable) {
    ENFailAllocAfter(0);
    uint32_t hStyles = 99;
    EXPECT_EQ(ANInitGlobalHiliteStyles(&hStyles), ANERR_NOMEMORY);
    EXPECT_EQ(hStyles, 0u);
}

TEST_F(HiliteStyles, DocumentTableComesBeforeTheGlobalOne) {
    ASSERT_EQ(AddStyle(table_, Style(1, 0x111)), 0u);
    ASSERT_EQ(AddStyle(table_, Style(2, 0x222)), 0u);
    const uint32_t hDoc = AttachDoc("x\n", table_);
    ASSERT_EQ(AddDocStyle(hDoc, Style(2, 0x999)), 0u);

    HiliteStyle got{};
    EXPECT_EQ(ANGetHiliteStyle(hDoc, 2, &got), 1u);
    EXPECT_EQ(got.color1, 0x999u);
    EXPECT_EQ(ANGetHiliteStyle(hDoc, 1, &got), 1u);
    EXPECT_EQ(got.color1, 0x111u);
    EXPECT_EQ(ANGetHiliteStyle(hDoc, 1, nullptr), 1u);
    EXPECT_EQ(ANGetHiliteStyle(hDoc, 3, &got), 0u);
    // The document's styles stay its own.
    EXPECT_EQ(ANGetGlobalHiliteStyle(table_, 2, &got), 0u);
    EXPECT_EQ(got.color1, 0x222u);
}

TEST_F(HiliteStyles, DocumentStyleCallsWithoutState) {
    const HiliteStyle style = Style(1);
    EXPECT_EQ(ANAddHiliteStyle(0, &style), ANERR_BADPARAM);
    const uint32_t hBare = OpenDoc("x\n");
    EXPECT_EQ(ANAddHiliteStyle(hBare, &style), ANERR_NOANNODATA);
    EXPECT_EQ(ANGetHiliteStyle(hBare, 1, nullptr), 0u);
    EXPECT_EQ(ANGetHiliteStyle(0, 1, nullptr), 0u);
    const uint32_t hDoc = AttachDoc();
    ENFailCallAfter("DAGetAnno", 0, 321);
    EXPECT_EQ(ANAddHiliteStyle(hDoc, &style), 321u);
}

}  // namespace
