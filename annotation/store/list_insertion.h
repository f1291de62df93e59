// Internal steps of AddAnnotationToList shared with the inserted-text rules.
#ifndef ANNOTATION_STORE_LIST_INSERTION_H
#define ANNOTATION_STORE_LIST_INSERTION_H

#include <cstdint>

#include "annotation/handle_lock.h"
#include "annotation/store/anno_doc_info.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_record.h"

namespace annotation {

// Where a new node goes: between `prev` and `next` (kNoSlot: that end).
struct InsertionPoint {
    uint16_t prev;
    uint16_t next;
};

// Links `anno` as a new node at the insertion point, counts it, tells the
// index (which keeps it aside if the index still follows the list) and runs
// the growth rule. A slot must be free. 0, or ANERR_NOMEMORY from the growth
// (the node is stored either way).
uint32_t InsertNode(AnnoDocInfo& info, LockedBlock<AnnoList>& list, uint16_t kind, const InternalAnno& anno,
                    InsertionPoint at);

// The rules for inserted text and paragraph breaks (kinds 5 and 6), run with
// the list locked and a slot free: renumbering of text positions, joining new
// text into a neighbouring text node, splitting a text node at a new break.
// They finish the add: 0 or ANERR_NOMEMORY.
uint32_t AddInsertedText(AnnoDocInfo& info, LockedBlock<AnnoList>& list, uint16_t kind, AnnoRecord& record,
                         InsertionPoint at, uint16_t asIs);

}  // namespace annotation

#endif
