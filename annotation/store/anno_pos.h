// The total order of document positions, shared by every list walk.
//
// Within one item, the item as a whole (subItemId 0xFFFFFFFF) sorts before
// its characters, and at one anchor the text positions of inserted text
// (posType ANPOS_ANNOTEXT, ordered by textOffset) sort before the document
// position. The comparison looks at text positions before it separates
// 0xFFFFFFFF from 0, so a text position anchored at subItemId 0 sorts before
// the document position (item, 0xFFFFFFFF).
#ifndef ANNOTATION_STORE_ANNO_POS_H
#define ANNOTATION_STORE_ANNO_POS_H

#include <cstdint>

#include "annotation/annotation.h"

namespace annotation {

inline constexpr uint32_t kWholeItem = 0xFFFFFFFF;

// A position's anchor as one number: its itemId, then its subItemId with a
// whole item's taken as 0. Positions of different keys are ordered as their
// keys are.
constexpr uint64_t AnchorKey(const AnnoPos& pos) noexcept {
    return uint64_t{pos.itemId} << 32 | (pos.subItemId == kWholeItem ? 0u : pos.subItemId);
}

// -1, 0 or 1 as a is before, equal to or after b: by the anchor key, then a
// text position before the document position of its anchor, text positions
// by their offset, and a whole item before its first subitem.
constexpr int ComparePositions(const AnnoPos& a, const AnnoPos& b) noexcept {
    const uint64_t ka = AnchorKey(a);
    const uint64_t kb = AnchorKey(b);
    if (ka != kb) return ka < kb ? -1 : 1;
    if (a.posType == ANPOS_ANNOTEXT) {
        if (b.posType != ANPOS_ANNOTEXT) return -1;
        if (a.textOffset == b.textOffset) return 0;
        return a.textOffset < b.textOffset ? -1 : 1;
    }
    if (b.posType == ANPOS_ANNOTEXT) return 1;
    if (a.subItemId == b.subItemId) return 0;
    return a.subItemId == kWholeItem ? -1 : 1;
}

// A position as two numbers that order as ComparePositions orders
// positions: its anchor key, then its place at the anchor (a text position's
// offset, below every document position; of the document positions the
// whole item first). A question that compares one position with many takes
// its key once.
struct PositionKey {
    uint64_t anchor;
    uint64_t within;

    constexpr bool operator==(const PositionKey&) const noexcept = default;
    constexpr bool operator<(const PositionKey& other) const noexcept {
        return anchor != other.anchor ? anchor < other.anchor : within < other.within;
    }
    constexpr bool operator<=(const PositionKey& other) const noexcept { return !(other < *this); }
};

constexpr PositionKey KeyOf(const AnnoPos& pos) noexcept {
    const uint64_t within =
        pos.posType == ANPOS_ANNOTEXT ? pos.textOffset : (uint64_t{1} << 32) + (pos.subItemId != kWholeItem ? 1 : 0);
    return PositionKey{AnchorKey(pos), within};
}

constexpr bool IsTextPosition(const AnnoPos& pos) noexcept { return pos.posType == ANPOS_ANNOTEXT; }

// Whether two positions share their anchor (itemId, subItemId): the place
// that inserted text is anchored at. posType and textOffset are not looked at.
constexpr bool SameAnchor(const AnnoPos& a, const AnnoPos& b) noexcept {
    return a.itemId == b.itemId && a.subItemId == b.subItemId;
}

// Whether pos's anchor lies beyond `anchor`, the two words compared as plain
// unsigned numbers, itemId first. Unlike ComparePositions this counts
// subItemId 0xFFFFFFFF as the greatest value; the walks that renumber inserted
// text stop there.
constexpr bool AnchorBeyond(const AnnoPos& pos, const AnnoPos& anchor) noexcept {
    if (pos.itemId != anchor.itemId) return pos.itemId > anchor.itemId;
    return pos.subItemId > anchor.subItemId;
}

}  // namespace annotation

#endif
