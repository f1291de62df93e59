/* Movable memory handles of the engine.
 *
 * A block is reached only through its 32-bit handle. Locking pins it and
 * yields its address; the address is valid until the matching unlock, since
 * the engine may move an unlocked block (and always moves it on
 * reallocation). Locks nest: a block is pinned while its lock count is
 * above 0. Fresh and grown memory is not zeroed. Handles are nonzero and never
 * reused. */
#ifndef PLATFORM_MEMORY_H
#define PLATFORM_MEMORY_H

#include "platform/platform_types.h"

PLATFORM_BEGIN_DECLS

/* A new block of `bytes` bytes (0 is allowed); 0 when memory runs out. */
PLATFORM_API uint32_t SYSNativeAlloc(uint32_t bytes);
/* Resizes the block; returns its handle afterwards, or 0 when memory runs out
 * (the old block is then untouched and still valid). */
PLATFORM_API uint32_t SYSNativeReAlloc(uint32_t hBlock, uint32_t bytes);
/* Pins the block and returns its address; null for a handle that names no
 * live block. */
PLATFORM_API void* SYSNativeLock(uint32_t hBlock);
/* Undoes one lock. 0, or nonzero for a dead handle or a block not locked. */
PLATFORM_API uint32_t SYSNativeUnlock(uint32_t hBlock);
/* Releases the block. 0, or nonzero for 0 or a dead handle. */
PLATFORM_API uint32_t SYSNativeFree(uint32_t hBlock);

PLATFORM_END_DECLS

#endif
