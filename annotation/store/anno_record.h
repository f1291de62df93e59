// AnnoRecord: an annotation on its way into the list.
//
// While an add runs, an insert-text annotation carries a pointer to the text
// it brings (the caller's, or the text block of a stored node being copied).
// A pointer does not fit the 32-bit displayData word of a 64-bit target, so it
// travels beside the InternalAnno, which stays 72 bytes. On a 32-bit target
// displayData holds the same pointer as well, so the record handed to the
// added-callback reads as the caller gave it; on a 64-bit target displayData
// is 0 there and the pointer is the pointer-sized word right after the 72
// bytes (byte 72 of the record, 8-byte aligned). Stored nodes never keep it.
#ifndef ANNOTATION_STORE_ANNO_RECORD_H
#define ANNOTATION_STORE_ANNO_RECORD_H

#include <cstddef>
#include <cstdint>

#include "annotation/annotation.h"

namespace annotation {

struct AnnoRecord {
    InternalAnno anno{};
    const void* text = nullptr;  // kind 5: textLen 16-bit characters, read during the add only
};

static_assert(offsetof(AnnoRecord, text) == sizeof(InternalAnno),
              "the text pointer follows the 72-byte record directly");
static_assert(sizeof(AnnoRecord) == (sizeof(void*) == 4 ? 76 : 80), "the record and one pointer");

// Points the record at `text` (null: no text).
inline void SetRecordText(AnnoRecord& record, const void* text) noexcept {
    record.text = text;
    if constexpr (sizeof(void*) == sizeof(uint32_t)) {
        record.anno.displayData = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(text));
    } else {
        record.anno.displayData = 0;
    }
}

}  // namespace annotation

#endif
