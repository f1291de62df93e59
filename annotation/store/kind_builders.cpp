// The six simple kind builders: hilites keep the caller's range, point
// annotations get an end one position after their start, and inserted text
// and paragraph breaks are moved out of hidden text.
#include "annotation/store/kind_builders.h"

#include <cstddef>
#include <cstring>

#include "annotation/handle_lock.h"
#include "annotation/positions/list_queries.h"
#include "annotation/store/anno_doc_info.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/doc_state.h"

namespace annotation {
namespace {

// Copies the record's fields from `size` through `last` (inclusive).
void CopyFieldsThrough(const InternalAnno& from, InternalAnno& to, size_t lastFieldOffset) {
    std::memcpy(&to, &from, lastFieldOffset + sizeof(uint32_t));
}

constexpr size_t kThroughReserved2 = offsetof(InternalAnno, reserved2);
constexpr size_t kThroughDisplayData = offsetof(InternalAnno, displayData);

// Moves `start` to the start of the hide-text node that the position walk
// meets first at it. The walk passes over nodes of other kinds; when it runs
// out, the start stays.
void MoveStartOutOfHiddenText(uint32_t hAnnoDocInfo, AnnoPos& start) {
    LockedBlock<AnnoDocInfo> info(hAnnoDocInfo);
    if (!info || info->hAnnoList == 0) return;
    LockedBlock<AnnoList> list(info->hAnnoList);
    if (!list) return;
    uint16_t slot = kNoSlot;
    for (uint32_t steps = 0; steps <= list->capacity; ++steps) {
        slot = FindNextAnnoByPos(*list, slot, &start);
        if (slot == kNoSlot) return;
        if (list->Node(slot).kind == ANNO_HIDETEXT) {
            start = list->Node(slot).anno.start;
            return;
        }
    }
}

// The common steps of the two builders whose start may move.
uint32_t BuildInsertion(uint32_t hDoc, const AnnoRecord& anno, AnnoRecord& built, uint16_t& addToList,
                        size_t lastFieldOffset) {
    CopyFieldsThrough(anno.anno, built.anno, lastFieldOffset);
    addToList = 1;
    uint32_t hInfo = 0;
    const uint32_t result = GetAnnoFromDoc(hDoc, &hInfo);
    if (result != 0) return result;
    if (IsPositionHidden(hInfo, &built.anno.start) != 0) MoveStartOutOfHiddenText(hInfo, built.anno.start);
    DerivePointEnd(built.anno);
    return 0;
}

uint32_t BuildPoint(const AnnoRecord& anno, AnnoRecord& built, uint16_t& addToList, size_t lastFieldOffset) {
    CopyFieldsThrough(anno.anno, built.anno, lastFieldOffset);
    addToList = 1;
    DerivePointEnd(built.anno);
    return 0;
}

}  // namespace

void DerivePointEnd(InternalAnno& anno) noexcept {
    anno.end = anno.start;
    if (IsTextPosition(anno.start)) {
        ++anno.end.textOffset;
    } else {
        ++anno.end.subItemId;
    }
}

uint32_t MakeHiliteTextAnno(const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList) {
    CopyFieldsThrough(anno->anno, built->anno, kThroughDisplayData);
    *addToList = 1;
    return 0;
}

uint32_t MakeInsertIconAnno(const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList) {
    return BuildPoint(*anno, *built, *addToList, kThroughDisplayData);
}

uint32_t MakeInsertBitmapAnno(const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList) {
    return BuildPoint(*anno, *built, *addToList, kThroughDisplayData);
}

uint32_t MakeHideParaBreakAnno(const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList) {
    return BuildPoint(*anno, *built, *addToList, kThroughReserved2);
}

uint32_t MakeInsertTextAnno(uint32_t hDoc, const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList) {
    built->text = anno->text;
    return BuildInsertion(hDoc, *anno, *built, *addToList, offsetof(InternalAnno, textCap));
}

uint32_t MakeInsertParaBreakAnno(uint32_t hDoc, const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList) {
    return BuildInsertion(hDoc, *anno, *built, *addToList, kThroughReserved2);
}

}  // namespace annotation
