// Turning the ranges that the document marks itself (the chunker's kind-16
// items) into hilites: ANBuildAnnos.
//
// Each call examines the marked ranges the chunker has reported since the
// previous call (AnnoDocInfo.nextBuildItem keeps the place), so a viewer can
// call it again as a document loads. A range that cannot be built (unknown
// id, unknown type, no end marker, a failed add, an index too large for its
// userId) is passed over for good.
//
// What it does where a caller could not otherwise tell:
// - CHGetItemCount failing: nothing is built, nextBuildItem is kept.
// - The end-marker search stops when the chunker has no next item, and also
//   when a next id does not grow, so a chunker that keeps answering cannot
//   hold it forever.
// - Indexes of 0x100000 and above are passed over (not masked: a masked
//   index would repeat the userId of an earlier range of the same type).
// - Ranges of type 0x80020008 end like the others: end = (item after the end
//   marker, 0xFFFFFFFF, 0, 0); no extra lookup, no extra words.
// - nextBuildItem is advanced before each range is built, so a callback that
//   builds again continues with the following ranges.
#include "annotation/annotation.h"
#include "annotation/store/adding.h"
#include "annotation/store/doc_state.h"
#include "platform/chunker.h"

namespace annotation {
namespace {

constexpr uint32_t kMarkedRangeKind = CH_KIND_MARKED;
constexpr uint32_t kRangeEndType = 0x44;
constexpr uint32_t kBuiltHiliteSize = 60;

// The userId of a built hilite is the range's index ORed into a prefix that
// names its type. The prefixes use bits 20 and up, so an index from
// kFirstIndexIntoPrefix on would change the type its userId names; such
// ranges are passed over rather than masked (a masked index would give the
// userId of an earlier range of the same type).
constexpr uint32_t kFirstIndexIntoPrefix = 0x100000;

struct RangeType {
    uint32_t type;
    uint32_t userIdPrefix;
    uint32_t styleWord;
    uint32_t eventMask;
};

constexpr RangeType kRangeTypes[] = {
    {0x8003000C, 0x80200000, 0x40001002, 15}, {0x80020008, 0x80100000, 0x40001004, 15},
    {0x81000000, 0x81000000, 0x40001000, 0},  {0x82000000, 0x82000000, 0x30000000, 12},
    {0x84000010, 0x84000000, 0x40001001, 15},
};

const RangeType* FindRangeType(uint32_t type) {
    for (const RangeType& known : kRangeTypes) {
        if (known.type == type) return &known;
    }
    return nullptr;
}

// The id of the item after the range's end marker, searched from the start
// item on (which may itself be the marker). false when the chunker runs out
// first. Item ids only grow along the chunker's order, so a next id that does
// not grow ends the search too: a chunker that kept answering could not hold
// it forever.
bool FindItemAfterEndMarker(uint32_t hChunker, uint32_t startItem, uint32_t rangeType, uint32_t& afterMarker) {
    uint32_t item[CH_ITEM_WORDS] = {};
    uint32_t current = startItem;
    uint32_t nextId = 0;
    if (CHGetItem(hChunker, CH_KIND_ITEM, current, item, &nextId) != 0) return false;
    while (!(item[0] == kRangeEndType && item[1] == rangeType)) {
        if (nextId <= current) return false;
        current = nextId;
        if (CHGetItem(hChunker, CH_KIND_ITEM, current, item, &nextId) != 0) return false;
    }
    afterMarker = nextId;
    return true;
}

// Builds the hilite of the marked range with this index, if it can be built.
// Ranges of type 0x80020008 end like the others, at the item after the end
// marker as a whole.
void BuildRange(uint32_t hDoc, uint32_t hChunker, uint32_t index) {
    if (index >= kFirstIndexIntoPrefix) return;
    uint32_t rangeId = 0;
    uint32_t range[CH_ITEM_WORDS] = {};
    if (CHGetItemId(hChunker, kMarkedRangeKind, index, &rangeId) != 0) return;
    if (CHGetItem(hChunker, kMarkedRangeKind, rangeId, range, nullptr) != 0) return;
    const RangeType* type = FindRangeType(range[1]);
    if (type == nullptr) return;
    const uint32_t startItem = range[0];
    uint32_t afterMarker = 0;
    if (!FindItemAfterEndMarker(hChunker, startItem, type->type, afterMarker)) return;

    AnnoRecord record;
    record.anno.size = kBuiltHiliteSize;
    record.anno.userId = index | type->userIdPrefix;
    record.anno.displayData = type->styleWord;
    record.anno.eventMask = type->eventMask;
    record.anno.userData = startItem;
    record.anno.start = AnnoPos{startItem, 0xFFFFFFFF, 0, 0};
    record.anno.end = AnnoPos{afterMarker, 0xFFFFFFFF, 0, 0};
    AddAnnoP(hDoc, ANNO_HILITETEXT, &record, 0);
}

}  // namespace
}  // namespace annotation

using namespace annotation;

// When the chunker cannot say how many ranges it knows, nothing is built and
// the place is kept for the next call.
//
// The place is advanced before a range is built, not after: the add calls the
// client back with the state locked, and a callback that calls ANBuildAnnos
// again then goes on with the following ranges instead of building the same
// one again (and again, from its own callback, without end). Each range is
// examined once either way, and nextBuildItem ends at count.
extern "C" AN_API uint32_t ANBuildAnnos(uint32_t hDoc) {
    DocInfoLock info(0);
    const uint32_t result = LockDocState(hDoc, info);
    if (result != 0) return result;
    uint32_t count = 0;
    if (CHGetItemCount(info->hChunker, kMarkedRangeKind, &count) != 0) return 0;
    while (info->nextBuildItem < count) {
        const uint32_t index = info->nextBuildItem++;
        BuildRange(hDoc, info->hChunker, index);
    }
    return 0;
}
