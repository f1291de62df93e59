// Strict UTF-8 decoding and UTF-16 encoding of code points.
#include "engine/utf8.h"

#include <cstdint>

namespace engine {
namespace {

// Length of the sequence that starts with `lead`, 0 for a byte that cannot
// start one.
std::size_t SequenceLength(unsigned char lead) noexcept {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    if (lead >= 0xF0 && lead <= 0xF4) return 4;
    return 0;
}

// The smallest code point that needs a sequence of `length` bytes; anything
// below it is an overlong form.
char32_t SmallestOfLength(std::size_t length) noexcept {
    switch (length) {
        case 2: return 0x80;
        case 3: return 0x800;
        case 4: return 0x10000;
        default: return 0;
    }
}

}  // namespace

bool DecodeUtf8(std::string_view text, std::size_t& pos, char32_t& codePoint) noexcept {
    const auto lead = static_cast<unsigned char>(text[pos]);
    const std::size_t length = SequenceLength(lead);
    if (length == 0 || text.size() - pos < length) return false;
    if (length == 1) {
        codePoint = lead;
        ++pos;
        return true;
    }
    const unsigned char leadMask = length == 2 ? 0x1F : (length == 3 ? 0x0F : 0x07);
    char32_t value = lead & leadMask;
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[pos + i]);
        if ((next & 0xC0) != 0x80) return false;
        value = (value << 6) | (next & 0x3Fu);
    }
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < SmallestOfLength(length) || value > 0x10FFFF || surrogate) return false;
    codePoint = value;
    pos += length;
    return true;
}

void AppendUtf16(std::u16string& out, char32_t codePoint) {
    if (codePoint < 0x10000) {
        out.push_back(static_cast<char16_t>(codePoint));
        return;
    }
    const char32_t offset = codePoint - 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
}

}  // namespace engine
