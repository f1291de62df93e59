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

// -1, 0 or 1 as a is before, equal to or after b.
constexpr int ComparePositions(const AnnoPos& a, const AnnoPos& b) noexcept {
    if (a.itemId != b.itemId) return a.itemId < b.itemId ? -1 : 1;
    const uint32_t na = a.subItemId == kWholeItem ? 0 : a.subItemId;
    const uint32_t nb = b.subItemId == kWholeItem ? 0 : b.subItemId;
    if (na != nb) {
        if (a.subItemId == kWholeItem) return -1;
        if (b.subItemId == kWholeItem) return 1;
        return a.subItemId < b.subItemId ? -1 : 1;
    }
    if (a.posType == ANPOS_ANNOTEXT) {
        if (b.posType != ANPOS_ANNOTEXT) return -1;
        if (a.textOffset == b.textOffset) return 0;
        return a.textOffset < b.textOffset ? -1 : 1;
    }
    if (b.posType == ANPOS_ANNOTEXT) return 1;
    if (a.subItemId == b.subItemId) return 0;
    return a.subItemId == kWholeItem ? -1 : 1;
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
