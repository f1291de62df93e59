// The list walks at one position: IsPositionHidden, IsTextHidden and
// FindNextAnnoByPos.
#include "annotation/positions/list_queries.h"

#include "annotation/handle_lock.h"
#include "annotation/index/list_index.h"
#include "annotation/store/anno_doc_info.h"
#include "annotation/store/anno_pos.h"

namespace annotation {
namespace {

// The walk of both hidden-text questions: nodes are in start order, so the
// walk ends at the first node that starts after `pos`. Where they truly are
// in order around pos, the index answers for the same nodes.
uint16_t IsHiddenBy(uint32_t hAnnoDocInfo, const AnnoPos* pos, bool hideParaBreaksCount) {
    if (hAnnoDocInfo == 0 || pos == nullptr) return 0;
    LockedBlock<AnnoDocInfo> info(hAnnoDocInfo);
    if (!info || info->hAnnoList == 0) return 0;
    LockedBlock<AnnoList> list(info->hAnnoList);
    if (!list) return 0;
    ListIndex* index = ReadyIndex(*info, *list, IndexUse::kAddsKept);
    if (bool hidden = false; index && HiddenAt(*index, *pos, hideParaBreaksCount, hidden)) return hidden ? 1 : 0;
    uint16_t hidden = 0;
    uint32_t steps = 0;
    ForEachNode(*list, [&](uint16_t, const AnnoNode& node) {
        ++steps;
        const bool counts = node.kind == ANNO_HIDETEXT || (hideParaBreaksCount && node.kind == ANNO_HIDEPARABREAK);
        const int startVsPos = ComparePositions(node.anno.start, *pos);
        if (counts && startVsPos <= 0 && ComparePositions(*pos, node.anno.end) < 0) {
            hidden = 1;
            return false;
        }
        return startVsPos <= 0;
    });
    NoteListWalked(*info, steps);
    return hidden;
}

}  // namespace

uint16_t IsPositionHidden(uint32_t hAnnoDocInfo, const AnnoPos* pos) {
    return IsHiddenBy(hAnnoDocInfo, pos, true);
}

uint16_t IsTextHidden(uint32_t hAnnoDocInfo, const AnnoPos* pos) {
    return IsHiddenBy(hAnnoDocInfo, pos, false);
}

uint16_t FindFirstAnnoByPos(AnnoDocInfo& info, AnnoList& list, const AnnoPos& pos) {
    ListIndex* index = ReadyIndex(info, list, IndexUse::kAddsKept);
    if (uint16_t first = kNoSlot; index && FirstNotBefore(*index, list, pos, first)) return first;
    uint32_t steps = 0;
    const uint16_t first = FindNextAnnoByPos(list, kNoSlot, &pos, &steps);
    NoteListWalked(info, steps);
    return first;
}

uint16_t FindNextAnnoByPos(AnnoList& list, uint16_t from, const AnnoPos* pos, uint32_t* steps) {
    if (pos == nullptr) return kNoSlot;
    uint16_t first = list.head;
    if (from != kNoSlot) {
        if (from >= list.capacity) return kNoSlot;
        first = list.Node(from).next;
    }
    uint16_t found = kNoSlot;
    ForEachNodeFrom(list, first, [&](uint16_t slot, const AnnoNode& node) {
        if (steps != nullptr) ++*steps;
        if (ComparePositions(node.anno.start, *pos) > 0 || ComparePositions(node.anno.end, *pos) >= 0) {
            found = slot;
            return false;
        }
        return true;
    });
    return found;
}

}  // namespace annotation
