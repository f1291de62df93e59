/* Chunker: the engine's view of a document as items, characters, runs and
 * sections.
 *
 * Item ids hold the chunk number in their high 16 bits and the item's index
 * within the chunk in their low 16 bits; character ids likewise hold the chunk
 * and the character's offset in the chunk. A call that fails (nonzero result)
 * leaves its outputs untouched. */
#ifndef PLATFORM_CHUNKER_H
#define PLATFORM_CHUNKER_H

#include "platform/platform_types.h"

PLATFORM_BEGIN_DECLS

/* Kinds of chunker element. */
#define CH_KIND_ITEM 0u      /* items, by item id */
#define CH_KIND_SECTION 1u   /* sections, by number */
#define CH_KIND_CHAR 2u      /* characters: by ACC, by character id, counts */
#define CH_KIND_MARKED 16u   /* marked ranges, by index */

/* Item types (word 0 of an item record). */
#define CH_ITEM_PARAEND 0u   /* word 1 = 1: paragraph end */
#define CH_ITEM_TEXT 7u      /* word 1 = first character id, word 2 = count */
#define CH_ITEM_RANGEEND 68u /* word 1 = the type of the marked range it ends */

/* Words of an item or section record, and of a run record. */
#define CH_ITEM_WORDS 7u
#define CH_RUN_WORDS 3u

/* Fills the 7-word record of an element of `kind`; *pNextId (when not null)
 * receives the id of the following element of that kind (0xFFFFFFFF after the
 * last item). */
PLATFORM_API uint32_t CHGetItem(uint32_t hChunker, uint32_t kind, uint32_t id, uint32_t* pItem, uint32_t* pNextId);
/* Number of elements of `kind` reported so far. */
PLATFORM_API uint32_t CHGetItemCount(uint32_t hChunker, uint32_t kind, uint32_t* pCount);
/* Id of the element of `kind` at `index` (for characters: by ACC). */
PLATFORM_API uint32_t CHGetItemId(uint32_t hChunker, uint32_t kind, uint32_t index, uint32_t* pId);
/* Id of the element of `kind` that follows `id`. */
PLATFORM_API uint32_t CHNextItemId(uint32_t hChunker, uint32_t kind, uint32_t id, uint32_t* pNextId);
/* Elements of `kind` before the item `itemId` (kind 2: its first ACC). */
PLATFORM_API uint32_t CHGetItemCountById(uint32_t hChunker, uint32_t kind, uint32_t itemId, uint32_t* pCount);
/* The run that holds an item. */
PLATFORM_API uint32_t CHGetRunFromItemId(uint32_t hChunker, uint32_t itemId, uint32_t* pRun);
/* Fills a 3-word run record: words 1 and 2 are the run's first and last
 * element in the units of `kind` (0 item ids, 2 ACCs). */
PLATFORM_API uint32_t CHGetRunInfo(uint32_t hChunker, uint32_t run, uint32_t kind, uint32_t* pRunRecord);
/* Fills a 7-word section record; word 2 is the id of the section's last item. */
PLATFORM_API uint32_t CHGetSectionInfo(uint32_t hChunker, uint32_t section, uint32_t* pSectionRecord);

PLATFORM_END_DECLS

#endif
