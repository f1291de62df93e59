// ConvertToInternalAnnoStruct: the caller's versioned structures, widened to
// the internal record.
//
// A structure is read as the little-endian 32-bit words its layout lists, and
// never past the size its first word gives. The 60-byte forms of hilites,
// icons and bitmaps are, word for word, the first fifteen words of the
// internal record.
#include <cstddef>
#include <cstring>

#include "annotation/store/adding.h"

namespace annotation {
namespace {

// Internal sizes by kind.
constexpr uint32_t kLongSize = 60;   // hilite, icon, bitmap
constexpr uint32_t kShortSize = 56;  // hide text, paragraph breaks
constexpr uint32_t kTextSize = 72;   // insert text

// Word indexes of the internal record.
constexpr size_t kWordUserId = 1;
constexpr size_t kWordStart = 2;
constexpr size_t kWordEventMask = 10;
constexpr size_t kWordUserData = 11;
constexpr size_t kWordDisplayData = 14;

uint32_t Word(const void* structure, size_t index) {
    uint32_t word = 0;
    std::memcpy(&word, static_cast<const unsigned char*>(structure) + index * 4, sizeof word);
    return word;
}

// Copies `count` words from `from` of the structure into the record's words
// from `to` on.
void CopyWords(InternalAnno& out, size_t to, const void* structure, size_t from, size_t count) {
    std::memcpy(reinterpret_cast<unsigned char*>(&out) + to * 4,
                static_cast<const unsigned char*>(structure) + from * 4, count * 4);
}

void ReadStart(InternalAnno& out, const void* structure) { CopyWords(out, kWordStart, structure, 2, 4); }

uint32_t ConvertHilite(InternalAnno& out, const void* structure, uint32_t size) {
    if (size == 60) {
        CopyWords(out, kWordUserId, structure, 1, 14);
    } else if (size == 48) {
        CopyWords(out, kWordUserId, structure, 1, 10);  // userId, start, end, eventMask
        out.displayData = Word(structure, 11);
    } else {
        return ANERR_BADPARAM;
    }
    return 0;
}

uint32_t ConvertIcon(InternalAnno& out, const void* structure, uint32_t size) {
    if (size == 60) {
        CopyWords(out, kWordUserId, structure, 1, 14);
    } else if (size == 24) {
        out.userId = Word(structure, 1);
        out.start.itemId = Word(structure, 2);
        out.eventMask = Word(structure, 4);
        out.displayData = Word(structure, 5);
    } else {
        return ANERR_BADPARAM;
    }
    return 0;
}

uint32_t ConvertHideText(InternalAnno& out, const void* structure, uint32_t size) {
    if (size != 44 && size != 48 && size != 40) return ANERR_BADPARAM;
    CopyWords(out, kWordUserId, structure, 1, 9);  // userId, start, end
    if (size == 44) out.userData = Word(structure, 10);
    if (size == 48) out.userData = Word(structure, 11);
    return 0;
}

uint32_t ConvertInsertText(AnnoRecord& out, const void* structure, uint32_t size) {
    if (size != sizeof(InsertTextAnno)) return ANERR_BADPARAM;
    InsertTextAnno caller;
    std::memcpy(&caller, structure, sizeof caller);
    if (caller.text == nullptr && caller.textLen != 0) return ANERR_BADPARAM;
    out.anno.userId = caller.userId;
    out.anno.start = caller.start;
    out.anno.userData = caller.userData;
    out.anno.textLen = caller.textLen;
    SetRecordText(out, caller.text);
    return 0;
}

uint32_t ConvertParaBreak(InternalAnno& out, const void* structure, uint32_t size) {
    if (size != sizeof(ParaBreakAnno)) return ANERR_BADPARAM;
    out.userId = Word(structure, 1);
    ReadStart(out, structure);
    out.userData = Word(structure, 6);
    return 0;
}

}  // namespace

static_assert(offsetof(InternalAnno, eventMask) == kWordEventMask * 4);
static_assert(offsetof(InternalAnno, userData) == kWordUserData * 4);
static_assert(offsetof(InternalAnno, displayData) == kWordDisplayData * 4);

uint32_t ConvertToInternalAnnoStruct(AnnoRecord* out, const void* annoStruct, uint16_t kind) {
    if (kind < ANNO_HILITETEXT || kind > ANNO_HIDEPARABREAK || out == nullptr || annoStruct == nullptr) {
        return ANERR_BADPARAM;
    }
    *out = AnnoRecord{};
    InternalAnno& anno = out->anno;
    const uint32_t size = Word(annoStruct, 0);
    uint32_t result = 0;
    switch (kind) {
        case ANNO_HILITETEXT:
            anno.size = kLongSize;
            result = ConvertHilite(anno, annoStruct, size);
            break;
        case ANNO_INSERTICON:
            anno.size = kLongSize;
            result = ConvertIcon(anno, annoStruct, size);
            anno.end = anno.start;
            break;
        case ANNO_HIDETEXT:
            anno.size = kShortSize;
            result = ConvertHideText(anno, annoStruct, size);
            anno.reserved2 = 0xFFFFFFFF;
            break;
        case ANNO_INSERTBITMAP:
            anno.size = kLongSize;
            result = size == 60 ? ConvertIcon(anno, annoStruct, size) : ANERR_BADPARAM;
            anno.end = anno.start;
            break;
        case ANNO_INSERTTEXT:
            anno.size = kTextSize;
            result = ConvertInsertText(*out, annoStruct, size);
            anno.end = anno.start;
            break;
        default:  // ANNO_INSERTPARABREAK, ANNO_HIDEPARABREAK
            anno.size = kShortSize;
            result = ConvertParaBreak(anno, annoStruct, size);
            anno.end = anno.start;
            break;
    }
    return result;
}

}  // namespace annotation
