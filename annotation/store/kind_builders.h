// The kind builders: from the converted record (start and end already in
// order) each derives the record to store in `built` and sets *addToList to 1
// when it is to be listed. `built` arrives cleared, with reserved2
// 0xFFFFFFFF; the fields a builder does not copy keep those values. The
// builders never allocate, never change the list and never notify.
#ifndef ANNOTATION_STORE_KIND_BUILDERS_H
#define ANNOTATION_STORE_KIND_BUILDERS_H

#include <cstdint>

#include "annotation/store/anno_record.h"

namespace annotation {

uint32_t MakeHiliteTextAnno(const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList);
uint32_t MakeInsertIconAnno(const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList);
uint32_t MakeInsertBitmapAnno(const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList);
uint32_t MakeHideParaBreakAnno(const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList);

// Inserted text and paragraph breaks are never anchored inside hidden text:
// a start that a hide annotation covers moves to the start of the first
// hide-text node (in list order) that the position walk meets there. When the
// start is hidden only by a hide-paragraph-break annotation and no hide-text
// node follows, the start stays where the caller put it. 0, or the error of
// GetAnnoFromDoc.
uint32_t MakeInsertTextAnno(uint32_t hDoc, const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList);
uint32_t MakeInsertParaBreakAnno(uint32_t hDoc, const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList);

// Hidden text: derives the range to hide and stores it.
uint32_t MakeHideTextAnno(uint32_t hDoc, const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList);

// Point annotations cover one position: end = start with textOffset + 1 for
// a text position, else with subItemId + 1 (0xFFFFFFFF wraps to 0, which
// still sorts after it).
void DerivePointEnd(InternalAnno& anno) noexcept;

}  // namespace annotation

#endif
