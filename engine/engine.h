/* The stand-in engine's own functions: creating documents from their text
 * description, and inspecting and failing the engine in tests.
 *
 * The platform functions themselves (DA*, CH*, CA*, UT*, SYSNative*) are
 * declared in platform/ and implemented by this library too. */
#ifndef ENGINE_ENGINE_H
#define ENGINE_ENGINE_H

#include "platform/platform_types.h"

PLATFORM_BEGIN_DECLS

/* Flag of ENOpenDocument: the document has no chunker. */
#define EN_NOCHUNKER 0x1u

/* Results: 0 success; 15 null pointer, unknown handle or a description that
 * does not parse (ENLastError says where); 13 out of memory. */
PLATFORM_API uint32_t ENOpenDocument(const char* description, uint32_t length, uint32_t flags, uint32_t* phDoc);
PLATFORM_API uint32_t ENAppendDocument(uint32_t hDoc, const char* description, uint32_t length);
PLATFORM_API uint32_t ENCloseDocument(uint32_t hDoc);
PLATFORM_API uint32_t ENSetDocOption(uint32_t hDoc, uint32_t option, uint32_t value);
PLATFORM_API void ENSetOSCharSet(uint32_t charSet);
/* A static, human-readable message on the last parse error, with line and
 * column; "" when there was none. */
PLATFORM_API const char* ENLastError(void);

/* Inspection and fault injection of movable memory and platform calls. */
PLATFORM_API uint32_t ENMemLiveBlocks(void);
/* Bytes of a live movable block; 0 for a dead handle (not counted as misuse). */
PLATFORM_API uint32_t ENMemBlockSize(uint32_t hBlock);
PLATFORM_API uint32_t ENMemLockedBlocks(void);
PLATFORM_API uint32_t ENMemMisuse(void);
PLATFORM_API void ENMemSetStrict(uint32_t on);
/* ENFailAllocAfter(n): after n more successful SYSNativeAlloc/ReAlloc calls
 * the next one fails, once; -1 disarms. ENFailCallAfter(name, n, code): the
 * named platform call (DA*, CH*, CA*, or SYSNativeLock, which then yields
 * null) fails with `code` after n more successful calls, once; n = -1
 * disarms that name, and a null name with -1 disarms every name. */
PLATFORM_API void ENFailAllocAfter(int32_t n);
PLATFORM_API uint32_t ENFailPending(void);
PLATFORM_API void ENFailCallAfter(const char* name, int32_t n, uint32_t code);

/* Extensions for this project's tests. */
/* Documents (first and second openings) whose module data is locked now. */
PLATFORM_API uint32_t ENModuleDataLocked(void);
/* Content streams and second openings (DAOpenDocument) open now. */
PLATFORM_API uint32_t ENOpenSecondDocs(void);
PLATFORM_API uint32_t ENOpenContents(void);

PLATFORM_END_DECLS

#endif
