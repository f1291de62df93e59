/* Content access: reading a document's content stream record by record. */
#ifndef PLATFORM_CONTENT_ACCESS_H
#define PLATFORM_CONTENT_ACCESS_H

#include <stddef.h>

#include "platform/platform_types.h"

PLATFORM_BEGIN_DECLS

/* Record types of the content stream. */
#define CA_RECORD_TEXT 1u
#define CA_RECORD_REGIONSTART 2u
#define CA_RECORD_REGIONEND 3u
#define CA_RECORD_CHUNKEND 5u

/* Flag of a text record: the text is counted but not delivered. */
#define CA_TEXT_UNDELIVERED 0x10000u

/* Character set in which text is delivered as UTF-16LE, two bytes a
 * character; every other set delivers one byte a character. */
#define CA_CHARSET_UNICODE 0x14B00000u

/* The read record exchanged by CAReadFirst and CAReadNext. Its last field is
 * the buffer address, pointer-sized: on a 32-bit target the record is eleven
 * words, 44 bytes; on a 64-bit one the address widens to 8 bytes at the same
 * byte 40, 48 bytes. `size` holds sizeof(CAReadRecord) of the module's
 * target, 44 or 48. */
typedef struct CAReadRecord {
    uint32_t size;         /* written by the caller: sizeof(CAReadRecord) */
    uint32_t zero;         /* written by the caller: 0 */
    uint32_t bytesFree;    /* written by the caller: bytes free at `buffer` */
    uint32_t type;         /* CA_RECORD_* */
    uint32_t idOrFlags;    /* region records: the region id; text: flags */
    uint32_t count;        /* text: characters in the record */
    uint32_t charSet;      /* text: character set of the text */
    uint16_t itemIndex;    /* text: low 16 bits of the item id */
    uint16_t unused1;
    uint32_t unused2;
    uint32_t bytesWritten; /* text: bytes the library wrote at `buffer` */
    void* buffer;          /* written by the caller: where text goes next */
} CAReadRecord;

#ifdef __cplusplus
static_assert(offsetof(CAReadRecord, buffer) == 40, "buffer address at byte 40");
static_assert(sizeof(CAReadRecord) == (sizeof(void*) == 4 ? 44 : 48), "read record: 44 bytes, or 48");
#else
_Static_assert(offsetof(CAReadRecord, buffer) == 40, "buffer address at byte 40");
_Static_assert(sizeof(CAReadRecord) == (sizeof(void*) == 4 ? 44 : 48), "read record: 44 bytes, or 48");
#endif

/* A seek position: (chunk x 65536, 0xFFFFFFFF, 0, 0) names a chunk's start. */
typedef struct CASeekPos {
    uint32_t itemId;
    uint32_t subItemId;
    uint32_t posType;
    uint32_t textOffset;
} CASeekPos;

#ifdef __cplusplus
static_assert(sizeof(CASeekPos) == 16, "a seek position is four words");
#else
_Static_assert(sizeof(CASeekPos) == 16, "a seek position is four words");
#endif

/* Opens the content stream of a document. */
PLATFORM_API uint32_t CAOpenContent(uint32_t hDoc, uint32_t* phContent);
/* Positions at the start of chunk 0 and delivers its first record. */
PLATFORM_API uint32_t CAReadFirst(uint32_t hContent, CAReadRecord* pRecord);
/* Positions at the first record of the chunk of pos->itemId. */
PLATFORM_API uint32_t CASeek(uint32_t hContent, const CASeekPos* pPos);
/* Delivers the next record; nonzero when nothing more can be read. */
PLATFORM_API uint32_t CAReadNext(uint32_t hContent, CAReadRecord* pRecord);
/* Closes a content stream. */
PLATFORM_API uint32_t CACloseContent(uint32_t hContent);

PLATFORM_END_DECLS

#endif
