// Questions about the annotation list at one position, none of which changes
// anything: is the position hidden, is it hidden by hidden text, and which
// node after a given one still matters there. The list index answers them
// where it can; they answer the same either way.
#ifndef ANNOTATION_POSITIONS_LIST_QUERIES_H
#define ANNOTATION_POSITIONS_LIST_QUERIES_H

#include <cstdint>

#include "annotation/annotation.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_pos.h"

namespace annotation {

// 1 when a hide-text or hide-paragraph-break annotation covers `pos`
// (start <= pos < end), else 0. Takes the AnnoDocInfo handle; locks nest.
// A zero handle, a null position, a state without list or a block that cannot
// be locked answer 0, the harmless "not hidden".
uint16_t IsPositionHidden(uint32_t hAnnoDocInfo, const AnnoPos* pos);

// As IsPositionHidden, counting hide-text annotations only.
uint16_t IsTextHidden(uint32_t hAnnoDocInfo, const AnnoPos* pos);

// The first node after `from` (kNoSlot: from the head), in list order, that
// does not lie wholly before `pos`: it starts after `pos`, or its end is at or
// after `pos` (so a node ending exactly at `pos` is returned). kNoSlot when
// there is none, or when `from` names no slot of the list. `list` is locked
// by the caller. With `steps`, adds the number of nodes visited to it.
uint16_t FindNextAnnoByPos(AnnoList& list, uint16_t from, const AnnoPos* pos, uint32_t* steps = nullptr);

struct AnnoDocInfo;

// FindNextAnnoByPos from the head of the document's list (`list`, locked by
// the caller), through the index where it can answer.
uint16_t FindFirstAnnoByPos(AnnoDocInfo& info, AnnoList& list, const AnnoPos& pos);

// The walk over the annotations at one position: calls visit(slot, node) for
// every node from `first` on, in list order, that covers `pos` (start <= pos
// < end), and stops at the first node that starts after `pos`. It meets the
// nodes that examining `first` and then following FindNextAnnoByPos from
// node to node meets. `first` may be kNoSlot (nothing is visited); `list` is
// locked by the caller.
template <typename Visit>
void ForEachNodeCovering(AnnoList& list, uint16_t first, const AnnoPos& pos, Visit&& visit) {
    ForEachNodeFrom(list, first, [&](uint16_t slot, AnnoNode& node) {
        if (ComparePositions(pos, node.anno.start) < 0) return false;
        if (ComparePositions(pos, node.anno.end) < 0) visit(slot, node);
        return true;
    });
}

}  // namespace annotation

#endif
