// The text blocks of insert-text nodes: movable blocks of 16-bit characters
// whose capacity is a multiple of 64 characters, always greater than the
// length they hold.
#ifndef ANNOTATION_STORE_TEXT_BLOCK_H
#define ANNOTATION_STORE_TEXT_BLOCK_H

#include <cstdint>

#include "annotation/annotation.h"

namespace annotation {

inline constexpr uint32_t kTextStep = 64;

// The capacity, in characters, of a block holding `length` characters: the
// smallest multiple of 64 greater than `length`. 0 when such a block would
// not fit in 4 GiB (the caller then answers as for a failed allocation).
uint32_t TextCapacityFor(uint32_t length) noexcept;

// Gives `anno` a text block of its own holding its textLen characters, copied
// from `text`, and sets displayData to 0. ANERR_NOMEMORY when the block
// cannot be made; the text fields are then unchanged and nothing is leaked.
uint32_t MakeOwnTextCopy(InternalAnno& anno, const void* text);

// Makes `length` characters fit in the node's text block. ANERR_NOMEMORY when
// the block cannot grow; the block, textCap and the text are then as they
// were.
uint32_t GrowTextBlock(InternalAnno& node, uint32_t length);

// Makes a block of capacity TextCapacityFor(length), in *phText and *pCap.
uint32_t AllocTextBlock(uint32_t length, uint32_t* phText, uint32_t* pCap);

}  // namespace annotation

#endif
