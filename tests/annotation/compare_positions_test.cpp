// The position order: the listed cases, that it is a total order over a
// dense set of positions (antisymmetric, transitive), which every list walk
// relies on, and that the positions' keys order as it does.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "annotation/annotation.h"
#include "annotation/store/anno_pos.h"

namespace {

constexpr uint32_t kWhole = 0xFFFFFFFF;

struct Case {
    AnnoPos a;
    AnnoPos b;
    int expected;
};

TEST(ComparePositions, OrdersAnchorsTextPositionsAndWholeItems) {
    const Case cases[] = {
        // Only itemId, the anchor and text offsets take part.
        {{7, 3, 0, 0}, {7, 3, 0, 9}, 0},
        {{7, 3, 2, 0}, {7, 3, 0, 0}, 0},
        {{6, kWhole, 0, 0}, {7, 0, 0, 0}, -1},
        {{8, 0, 0, 0}, {7, 9, 5, 9}, 1},
        // The item as a whole sorts before its characters.
        {{7, kWhole, 0, 0}, {7, 0, 0, 0}, -1},
        {{7, kWhole, 0, 0}, {7, 5, 0, 0}, -1},
        {{7, 5, 0, 0}, {7, kWhole, 0, 0}, 1},
        {{7, 4, 0, 0}, {7, 5, 0, 0}, -1},
        // Inserted text is read before the position it is anchored at.
        {{7, 3, 5, 4}, {7, 3, 0, 0}, -1},
        {{7, 3, 0, 0}, {7, 3, 5, 0}, 1},
        {{7, 3, 5, 4}, {7, 3, 5, 4}, 0},
        {{7, 3, 5, 4}, {7, 3, 5, 2}, 1},
        // Text positions are looked at before 0xFFFFFFFF is told from 0.
        {{7, 0, 5, 1}, {7, kWhole, 0, 0}, -1},
        {{7, kWhole, 5, 9}, {7, 0, 5, 1}, 1},
        {{7, kWhole, 0, 0}, {7, 0, 5, 0}, 1},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ANCompPos(&c.a, &c.b), c.expected)
            << "(" << c.a.itemId << "," << c.a.subItemId << "," << c.a.posType << "," << c.a.textOffset
            << ") vs (" << c.b.itemId << "," << c.b.subItemId << "," << c.b.posType << "," << c.b.textOffset << ")";
    }
}

// A dense set of document and text positions around the order's corners.
std::vector<AnnoPos> DensePositions() {
    std::vector<AnnoPos> positions;
    for (uint32_t item : {0u, 1u, kWhole}) {
        for (uint32_t sub : {0u, 1u, 2u, 0x10000u, kWhole - 1, kWhole}) {
            positions.push_back({item, sub, 0, 0});
            positions.push_back({item, sub, 3, 7});
            for (uint32_t offset : {0u, 1u, kWhole}) positions.push_back({item, sub, ANPOS_ANNOTEXT, offset});
        }
    }
    return positions;
}

TEST(ComparePositions, IsAntisymmetric) {
    // Swapping the operands negates the answer, for every pair.
    const std::vector<AnnoPos> positions = DensePositions();
    for (const AnnoPos& a : positions) {
        for (const AnnoPos& b : positions) {
            ASSERT_EQ(ANCompPos(&a, &b), -ANCompPos(&b, &a));
        }
    }
}

TEST(ComparePositions, KeysOrderAsTheComparison) {
    // The tracking pass compares precomputed keys in place of positions.
    const std::vector<AnnoPos> positions = DensePositions();
    for (const AnnoPos& a : positions) {
        for (const AnnoPos& b : positions) {
            const annotation::PositionKey ka = annotation::KeyOf(a);
            const annotation::PositionKey kb = annotation::KeyOf(b);
            const int compared = ANCompPos(&a, &b);
            ASSERT_EQ(ka < kb, compared < 0);
            ASSERT_EQ(ka == kb, compared == 0);
            ASSERT_EQ(ka <= kb, compared <= 0);
        }
    }
}

TEST(ComparePositions, SortsWithoutContradictionWithinOneItem) {
    // Sorting a set of positions of one item and comparing neighbours finds
    // no pair out of order, except the documented 0xFFFFFFFF/0 text-position
    // case, which the set leaves out.
    std::vector<AnnoPos> positions;
    for (uint32_t sub : {kWhole, 1u, 2u, 40u}) {
        positions.push_back({3, sub, 0, 0});
        for (uint32_t offset : {0u, 1u, 5u}) positions.push_back({3, sub, ANPOS_ANNOTEXT, offset});
    }
    std::sort(positions.begin(), positions.end(),
              [](const AnnoPos& a, const AnnoPos& b) { return ANCompPos(&a, &b) < 0; });
    for (size_t i = 0; i < positions.size(); ++i) {
        for (size_t j = i + 1; j < positions.size(); ++j) {
            EXPECT_LT(ANCompPos(&positions[i], &positions[j]), 0) << i << " " << j;
        }
    }
}

TEST(ComparePositions, NullRecordsAndTheTextPositionTest) {
    const AnnoPos text{1, 2, ANPOS_ANNOTEXT, 0};
    const AnnoPos six{1, 2, 6, 0};
    EXPECT_EQ(ANIsAnnoTextPos(&text), 1u);
    EXPECT_EQ(ANIsAnnoTextPos(&six), 0u);
    EXPECT_EQ(ANIsAnnoTextPos(nullptr), 0u);
    EXPECT_EQ(ANCompPos(nullptr, &text), 0);
    EXPECT_EQ(ANCompPos(&text, nullptr), 0);
}

}  // namespace
