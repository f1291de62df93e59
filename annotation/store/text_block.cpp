// Making and growing the text blocks of insert-text nodes.
#include "annotation/store/text_block.h"

#include <cstring>

#include "annotation/handle_lock.h"
#include "platform/memory.h"

namespace annotation {

uint32_t TextCapacityFor(uint32_t length) noexcept {
    constexpr uint32_t kLargest = 0x7FFFFFFFu / kTextStep * kTextStep;  // in characters: under 4 GiB
    if (length >= kLargest) return 0;
    return (length / kTextStep + 1) * kTextStep;
}

// A block starts at 64 characters and grows in steps of 64 characters; a
// length past the first step is reached with one reallocation rather than one
// per step, which gives the same capacity without copying a long text over
// and over.
uint32_t AllocTextBlock(uint32_t length, uint32_t* phText, uint32_t* pCap) {
    const uint32_t capacity = TextCapacityFor(length);
    if (capacity == 0) return ANERR_NOMEMORY;
    uint32_t hText = SYSNativeAlloc(kTextStep * 2);
    if (hText == 0) return ANERR_NOMEMORY;
    if (capacity > kTextStep) {
        const uint32_t hGrown = SYSNativeReAlloc(hText, capacity * 2);
        if (hGrown == 0) {
            SYSNativeFree(hText);
            return ANERR_NOMEMORY;
        }
        hText = hGrown;
    }
    *phText = hText;
    *pCap = capacity;
    return 0;
}

uint32_t MakeOwnTextCopy(InternalAnno& anno, const void* text) {
    uint32_t hText = 0;
    uint32_t capacity = 0;
    const uint32_t result = AllocTextBlock(anno.textLen, &hText, &capacity);
    if (result != 0) return result;
    if (anno.textLen > 0) {
        LockedBlock<uint16_t> block(hText);
        if (!block) {
            SYSNativeFree(hText);
            return ANERR_NOMEMORY;
        }
        std::memcpy(block.get(), text, size_t{anno.textLen} * 2);
    }
    anno.hText = hText;
    anno.textCap = capacity;
    anno.displayData = 0;
    return 0;
}

uint32_t GrowTextBlock(InternalAnno& node, uint32_t length) {
    if (node.textCap > length) return 0;
    const uint32_t capacity = TextCapacityFor(length);
    if (capacity == 0) return ANERR_NOMEMORY;
    const uint32_t hGrown = SYSNativeReAlloc(node.hText, capacity * 2);
    if (hGrown == 0) return ANERR_NOMEMORY;
    node.hText = hGrown;
    node.textCap = capacity;
    return 0;
}

}  // namespace annotation
