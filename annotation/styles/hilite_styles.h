// Hilite style tables: an array of 28-byte HiliteStyle records in a movable
// block, reached through an 8-byte table block.
//
// A table is empty until its first record; the array is then allocated for
// 10 records and grows by 10 while the record being added would leave no
// slot free. Records keep their slot for the table's life; adding a record
// whose id is present replaces it in place. Lookups scan the records in slot
// order and compare the whole 32-bit id. Tables are few and small (a handful
// of named looks), so a linear scan is the right tool.
#ifndef ANNOTATION_STYLES_HILITE_STYLES_H
#define ANNOTATION_STYLES_HILITE_STYLES_H

#include <cstdint>

#include "annotation/annotation.h"
#include "annotation/handle_lock.h"

namespace annotation {

struct HiliteStyleTable {
    uint32_t hRecords;  // the record array; 0 until the first record
    uint16_t count;     // records in use, slots 0 .. count - 1
    uint16_t capacity;  // records the array has room for
};

static_assert(sizeof(HiliteStyleTable) == 8, "a style table block is 8 bytes");

inline constexpr uint16_t kStyleTableGrowth = 10;

// Overwrites the record whose id is pStyle->id with all 28 bytes of *pStyle.
// 0; ANERR_BADPARAM for hStyles 0, a null pStyle or a table that cannot be
// locked; ANERR_NOTFOUND when the table has no array or no such id;
// ANERR_NOMEMORY when its records cannot be locked (the id may be there).
uint32_t SetGlobalHiliteStyle(uint32_t hStyles, const HiliteStyle* pStyle);

// Adds every record of hSrc, in slot order, to hDest. ANERR_BADPARAM when
// either handle is 0; otherwise 0, whatever the single adds gave.
uint32_t CopyGlobalHiliteStyles(uint32_t hDest, uint32_t hSrc);

// Frees a style table that is locked in `table` (left empty), its records
// with it.
void FreeLockedStyleTable(LockedBlock<HiliteStyleTable>& table);

}  // namespace annotation

#endif
