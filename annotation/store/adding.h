// The road of an add: converting the caller's structure, building the record
// to store, and storing it in the document's list.
#ifndef ANNOTATION_STORE_ADDING_H
#define ANNOTATION_STORE_ADDING_H

#include <cstdint>

#include "annotation/store/anno_record.h"

namespace annotation {

// Widens the caller's structure of `kind` into `out`. The whole record is
// cleared first, so words that the kind does not use are 0 (also in the
// record the added-callback receives). ANERR_BADPARAM for an unknown kind, a
// size the kind does not accept, a null structure, or an insert text with
// characters but no text pointer. The structure is only read, and no more
// than its size word says.
uint32_t ConvertToInternalAnnoStruct(AnnoRecord* out, const void* annoStruct, uint16_t kind);

// Puts start and end of `anno` in order (in place), lets the kind's builder
// derive the record to store, stores it, and tells the callback (code 1)
// unless `silent`. 0; the error of GetAnnoFromDoc; the builder's result; the
// result of AddAnnotationToList.
uint32_t AddAnnoP(uint32_t hDoc, uint16_t kind, AnnoRecord* anno, uint16_t silent);

// Stores `anno` in the document's list (created on first use): in position
// order, merged into a neighbouring hidden range, or joined into inserted
// text. `asIs` 1 keeps the record's positions and every other node's as they
// are (copies). For kinds 5 and 6 the record's positions, and for kind 5 its
// text fields, may change in place; a nonzero hText given on entry (a stored
// node's text, lent for the copy) is back in place on return.
// 0; ANERR_BADPARAM (no state handle, null record, kind outside 1..7);
// ANERR_NOMEMORY (busy or full list, out of memory, a running callback holds
// the list); ANERR_NOANNODATA (the state cannot be locked).
uint32_t AddAnnotationToList(uint32_t hAnnoDocInfo, uint16_t kind, AnnoRecord* anno, uint16_t asIs);

}  // namespace annotation

#endif
