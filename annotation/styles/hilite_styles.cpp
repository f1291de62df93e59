// The operations on one hilite style table, global or per document.
#include "annotation/styles/hilite_styles.h"

#include <cstring>

#include "annotation/handle_lock.h"
#include "platform/memory.h"

namespace annotation {
namespace {

inline constexpr uint32_t kStyleSize = sizeof(HiliteStyle);
inline constexpr uint32_t kShortStyleSize = 24;
inline constexpr uint16_t kShortFormAttr2 = 0xFFFF;

// Index of the record with `id` among the first `count`, or -1.
int32_t FindStyle(const HiliteStyle* records, uint16_t count, uint32_t id) {
    for (uint16_t i = 0; i < count; ++i) {
        if (records[i].id == id) return i;
    }
    return -1;
}

// Makes sure the array has a slot for one more record: allocates it for the
// first record, grows it while the add would leave no slot free. The table is
// unchanged when memory runs out.
uint32_t ReserveStyleSlot(HiliteStyleTable& table) {
    if (table.hRecords == 0) {
        const uint32_t hRecords = SYSNativeAlloc(kStyleTableGrowth * kStyleSize);
        if (hRecords == 0) return ANERR_NOMEMORY;
        table.hRecords = hRecords;
        table.count = 0;
        table.capacity = kStyleTableGrowth;
        return 0;
    }
    if (table.capacity > table.count + 1) return 0;
    const uint32_t newCapacity = uint32_t{table.capacity} + kStyleTableGrowth;
    if (newCapacity > 0xFFFF) return ANERR_NOMEMORY;  // the u16 capacity is full
    const uint32_t hGrown = SYSNativeReAlloc(table.hRecords, newCapacity * kStyleSize);
    if (hGrown == 0) return ANERR_NOMEMORY;
    table.hRecords = hGrown;
    table.capacity = static_cast<uint16_t>(newCapacity);
    return 0;
}

uint32_t AppendStyle(uint32_t hStyles, const HiliteStyle& style) {
    LockedBlock<HiliteStyleTable> table(hStyles);
    if (!table) return ANERR_BADPARAM;
    const uint32_t reserved = ReserveStyleSlot(*table);
    if (reserved != 0) return reserved;
    LockedBlock<HiliteStyle> records(table->hRecords);
    if (!records) return ANERR_NOMEMORY;
    std::memcpy(records.get() + table->count, &style, kStyleSize);
    ++table->count;
    return 0;
}

// The 28-byte record that a short-form record stands for: attr2 is 0xFFFF,
// and `reserved`, which the short form lacks, is 0.
void WidenShortStyle(const HiliteStyle* shortForm, HiliteStyle& wide) {
    std::memset(&wide, 0, kStyleSize);
    std::memcpy(&wide, shortForm, kShortStyleSize - sizeof(uint16_t));
    wide.size = kStyleSize;
    wide.attr2 = kShortFormAttr2;
}

// A record is appended only when the look-up found no record with its id: a
// table that could not be read may hold the id, and a second record with it
// would never be found (the first one wins every look-up).
uint32_t AddStyle(uint32_t hStyles, const HiliteStyle& style) {
    const uint32_t replaced = SetGlobalHiliteStyle(hStyles, &style);
    if (replaced != ANERR_NOTFOUND) return replaced;
    return AppendStyle(hStyles, style);
}

}  // namespace

uint32_t SetGlobalHiliteStyle(uint32_t hStyles, const HiliteStyle* pStyle) {
    if (hStyles == 0 || pStyle == nullptr) return ANERR_BADPARAM;
    LockedBlock<HiliteStyleTable> table(hStyles);
    if (!table) return ANERR_BADPARAM;
    if (table->hRecords == 0) return ANERR_NOTFOUND;
    LockedBlock<HiliteStyle> records(table->hRecords);
    if (!records) return ANERR_NOMEMORY;
    const int32_t slot = FindStyle(records.get(), table->count, pStyle->id);
    if (slot < 0) return ANERR_NOTFOUND;
    std::memcpy(records.get() + slot, pStyle, kStyleSize);
    return 0;
}

uint32_t CopyGlobalHiliteStyles(uint32_t hDest, uint32_t hSrc) {
    if (hDest == 0 || hSrc == 0) return ANERR_BADPARAM;
    // Each record is copied out before it is added, so that an add that
    // grows the destination (which may be the source itself) never reads
    // from a block that moved.
    for (uint16_t slot = 0;; ++slot) {
        HiliteStyle style{};
        {
            LockedBlock<HiliteStyleTable> source(hSrc);
            if (!source || source->hRecords == 0 || slot >= source->count) break;
            LockedBlock<HiliteStyle> records(source->hRecords);
            if (!records) break;
            std::memcpy(&style, records.get() + slot, kStyleSize);
        }
        AddStyle(hDest, style);
    }
    return 0;
}

void FreeLockedStyleTable(LockedBlock<HiliteStyleTable>& table) {
    const uint32_t hTable = table.handle();
    if (table && table->hRecords != 0) SYSNativeFree(table->hRecords);
    table.Unlock();
    if (hTable != 0) SYSNativeFree(hTable);
}

}  // namespace annotation

using namespace annotation;

extern "C" AN_API uint32_t ANInitGlobalHiliteStyles(uint32_t* phStyles) {
    if (phStyles == nullptr) return ANERR_BADPARAM;
    *phStyles = 0;
    LockedBlock<HiliteStyleTable> table(0);
    const uint32_t hStyles = AllocLocked(sizeof(HiliteStyleTable), table);
    if (hStyles == 0) return ANERR_NOMEMORY;
    *table = HiliteStyleTable{};
    *phStyles = hStyles;
    return 0;
}

// A handle that names no table is refused rather than freed: freeing
// whatever it might name could release a block that belongs to someone else.
extern "C" AN_API uint32_t ANDeInitGlobalHiliteStyles(uint32_t hStyles) {
    if (hStyles == 0) return ANERR_BADPARAM;
    LockedBlock<HiliteStyleTable> table(hStyles);
    if (!table) return ANERR_BADPARAM;
    FreeLockedStyleTable(table);
    return 0;
}

extern "C" AN_API uint32_t ANAddGlobalHiliteStyle(uint32_t hStyles, const HiliteStyle* pStyle) {
    if (hStyles == 0 || pStyle == nullptr) return ANERR_BADPARAM;
    if (pStyle->size == kStyleSize) return AddStyle(hStyles, *pStyle);
    if (pStyle->size != kShortStyleSize) return ANERR_BADPARAM;

    // The widened record lives in a temporary block of its own for the
    // length of the add.
    const uint32_t hWide = SYSNativeAlloc(kStyleSize);
    if (hWide == 0) return ANERR_NOMEMORY;
    uint32_t result = ANERR_NOMEMORY;
    {
        LockedBlock<HiliteStyle> wide(hWide);
        if (wide) {
            WidenShortStyle(pStyle, *wide);
            result = AddStyle(hStyles, *wide);
        }
    }
    SYSNativeFree(hWide);
    return result;
}

extern "C" AN_API uint32_t ANGetGlobalHiliteStyle(uint32_t hStyles, uint32_t id, HiliteStyle* pStyle) {
    if (hStyles == 0) return ANERR_BADPARAM;
    LockedBlock<HiliteStyleTable> table(hStyles);
    if (!table) return ANERR_BADPARAM;
    if (table->hRecords == 0) return ANERR_NOTFOUND;
    LockedBlock<HiliteStyle> records(table->hRecords);
    if (!records) return ANERR_NOTFOUND;
    const int32_t slot = FindStyle(records.get(), table->count, id);
    if (slot < 0) return ANERR_NOTFOUND;
    if (pStyle != nullptr) std::memcpy(pStyle, records.get() + slot, kStyleSize);
    return 0;
}
