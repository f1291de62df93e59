// AnnoDocInfo: the annotation state of one document, in one movable block.
//
// ANInit creates it and stores its handle in the annotation module's slot of
// the document's module data; every other call finds it with GetAnnoFromDoc.
// It owns the annotation list (and through it the text blocks of inserted
// text), the document's hilite style table, the two ACC maps and the second
// opening of the document, and the list index (annotation/index), a cache in
// ordinary heap memory. It does not own the global style table nor the
// userData handles of the annotations.
#ifndef ANNOTATION_STORE_ANNO_DOC_INFO_H
#define ANNOTATION_STORE_ANNO_DOC_INFO_H

#include <cstddef>
#include <cstdint>

#include "annotation/annotation.h"

namespace annotation {

// The map from the characters of one chunk to the items that hold them.
struct ACCMap {
    uint16_t chunk;       // the chunk described; kNoChunk = none
    uint16_t unused;
    uint32_t* pCharItem;  // malloc'ed: item index of each character, or null
    uint32_t charCount;   // entries filled
    uint32_t charSet;     // character set at the time of the build
    uint32_t textBytes;   // bytes of the chunk's text in that character set
    uint32_t firstACC;    // ACC of the chunk's first character
};

static_assert(sizeof(ACCMap) == (sizeof(void*) == 4 ? 24 : 32), "an ACC map is six words, one pointer-sized");

inline constexpr uint16_t kNoChunk = 0xFFFF;

// accFlags: opening the second document or its content failed once.
inline constexpr uint32_t ACCF_OPENFAILED = 0x1;

struct ListIndex;

struct AnnoDocInfo {
    uint32_t hSelf;               // this block's own handle
    uint32_t hDoc;                // the document
    uint32_t hChunker;            // its chunker, for every chunker call
    uint32_t hAnnoList;           // the AnnoList; 0 while there is no annotation
    uint32_t hHiliteStyles;       // the document's own style table (owned)
    uint32_t hGlobalHiliteStyles; // the caller's global table (not owned)
    uint16_t trackNode;           // slot of the last pointer move; kNoSlot = none
    uint16_t reentry;             // kReentry* bits: what a running callback may not do
    AnnoPos trackPos;             // position of the last pointer move
    AnnoCallback callback;        // the client callback, or null
    uint32_t callbackData;        // passed back as the callback's last argument
    uint32_t nextBuildItem;       // next marked range ANBuildAnnos examines
    uint32_t charSet;             // character set of the document's text
    ACCMap accMap;                // most recently used ACC map
    ACCMap accMapPrev;            // the one used before it
    uint32_t hSecondDoc;          // second opening of the document; 0 = none
    uint32_t hContent;            // content stream on hSecondDoc; 0 = none
    uint32_t accFlags;            // ACCF_*
    ListIndex* index;             // the list index, or null; owned, freed by ANDeInit
};

// Thirty-one words on a 32-bit target: the seventeen fields every state
// has, then the pointer to the list index. On a 64-bit one the callback, the
// character arrays of the maps and the index pointer widen, each aligned to
// 8 bytes.
static_assert(offsetof(AnnoDocInfo, callback) == (sizeof(void*) == 4 ? 44 : 48), "the callback follows trackPos");
static_assert(offsetof(AnnoDocInfo, index) == (sizeof(void*) == 4 ? 120 : 152), "the index pointer comes last");
static_assert(sizeof(AnnoDocInfo) == (sizeof(void*) == 4 ? 124 : 160), "the state block is 124 bytes, or 160");

// A callback runs inside a call on the document, with the state locked.
// While kReentryCallback is set the state must not be taken down; while
// kReentryListHeld is set a walk holds the list locked and keeps slot
// indexes, so the list must not change. Calls back into the module that
// would break either are refused with ANERR_NOMEMORY ("the list is busy")
// and change nothing.
inline constexpr uint16_t kReentryCallback = 0x1;
inline constexpr uint16_t kReentryListHeld = 0x2;

// Sets reentry bits for a scope and restores the previous ones at its end.
class ReentryScope {
public:
    ReentryScope(AnnoDocInfo& info, uint16_t bits) noexcept : info_(info), saved_(info.reentry) {
        info_.reentry = static_cast<uint16_t>(saved_ | bits);
    }
    ~ReentryScope() { info_.reentry = saved_; }
    ReentryScope(const ReentryScope&) = delete;
    ReentryScope& operator=(const ReentryScope&) = delete;

private:
    AnnoDocInfo& info_;
    uint16_t saved_;
};

// Character set fixed by bit 0x10 of the document option kCharSetOption.
inline constexpr uint32_t kUnicodeCharSet = 0x14B00000;
inline constexpr uint32_t kCharSetOption = 0x52A32;
inline constexpr uint32_t kCharSetOptionUnicodeBit = 0x10;

}  // namespace annotation

#endif
