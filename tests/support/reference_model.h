// A plain reading of a document's annotations by brute force: what covers a
// position, which hilite a layout pass shows there, whether it is hidden,
// the combined inserted text of an anchor and the reading order of a walk.
// Each answer looks at every listed node, in list order, with no shortcut,
// so that the module's own walks (which stop early, keep a next-change
// position or cache text) can be checked against it.
//
// The nodes read are the module's own list. Which nodes an add makes is the
// business of the store's rules (pieces of hidden text, joined and split
// inserted text, renumbering), which the store tests pin down case by case;
// the model only answers from whatever nodes are there.
#ifndef TESTS_SUPPORT_REFERENCE_MODEL_H
#define TESTS_SUPPORT_REFERENCE_MODEL_H

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "annotation/annotation.h"
#include "support/list_invariants.h"

namespace testing_support {

// The character that stands for an inserted paragraph break in a combined
// text.
constexpr char16_t kBreakChar = u'\u2029';

// Whether a node of `kind` inserts text (kinds 5 and 6), and how many
// characters of its anchor's combined text it holds.
bool IsInsert(uint16_t kind);
uint32_t InsertedLength(uint16_t kind, const InternalAnno& anno);

// start <= pos < end.
bool Covers(const InternalAnno& anno, const AnnoPos& pos);

// Whether every node starts at or after the one before it. The module's
// position queries stop at the first node that starts after the position,
// which is exact only for a list in this order; inserted text can rewrite
// positions so that it no longer is.
bool InStartOrder(const std::vector<ListedNode>& nodes);

// Whether a node of one of `kinds` covers `pos`.
bool CoveredByKind(const std::vector<ListedNode>& nodes, const AnnoPos& pos, std::initializer_list<uint16_t> kinds);

// Of the hilites covering `pos`, the one a layout pass shows: met in list
// order, a later one takes over when it ends first, when it ends at the same
// place but starts elsewhere, or when it ends later from a higher slot.
// Null when none covers `pos`.
const ListedNode* ShownHilite(const std::vector<ListedNode>& nodes, const AnnoPos& pos);

// The first node in list order that covers `pos` and passes `accepts`, or
// the last such node (a layout pass meets them all, and the last one met
// fills the record).
template <typename Accepts>
const ListedNode* FirstCovering(const std::vector<ListedNode>& nodes, const AnnoPos& pos, Accepts accepts) {
    for (const ListedNode& node : nodes) {
        if (Covers(node.anno, pos) && accepts(node)) return &node;
    }
    return nullptr;
}
template <typename Accepts>
const ListedNode* LastCovering(const std::vector<ListedNode>& nodes, const AnnoPos& pos, Accepts accepts) {
    const ListedNode* last = nullptr;
    for (const ListedNode& node : nodes) {
        if (Covers(node.anno, pos) && accepts(node)) last = &node;
    }
    return last;
}

// Whether any insert node (text or paragraph break) is anchored at
// (itemId, subItemId).
bool HasInsertAt(const std::vector<ListedNode>& nodes, uint32_t itemId, uint32_t subItemId);

// The combined inserted text of an anchor: the insert nodes there in list
// order, a paragraph break as kBreakChar.
std::u16string CombinedText(const std::vector<ListedNode>& nodes, uint32_t itemId, uint32_t subItemId);

// The reading order of a walk over `documentPositions` (the chunker's
// positions in order): before each position that anchors inserted text,
// its text positions, at least one.
std::vector<AnnoPos> ReadingOrder(const std::vector<ListedNode>& nodes, const std::vector<AnnoPos>& documentPositions);

// Whether the tracking record after the processing call at `pos` (which
// gave `bits`, `before` being the record before it) shows what the listed
// annotations give at `pos`.
::testing::AssertionResult TrackedStateAgrees(uint32_t hDoc, const std::vector<ListedNode>& nodes, const AnnoPos& pos,
                                              uint32_t bits, const AnnoTrackInfo& before, const AnnoTrackInfo& after);

}  // namespace testing_support

#endif
