// Writing a text record's characters into a reader's buffer in the
// character set of the document the stream reads.
#ifndef ENGINE_TEXT_DELIVERY_H
#define ENGINE_TEXT_DELIVERY_H

#include <cstdint>
#include <string_view>

namespace engine {

// Writes `text` at `buffer`: in the Unicode character set (0x14B00000) two
// bytes a character, UTF-16LE; in any other set one byte a character, '?'
// for a character above 0xFF. Writes whole characters only and never more
// than `bytesFree` bytes; nothing when `buffer` is null. Gives the bytes
// written.
std::uint32_t DeliverText(std::u16string_view text, std::uint32_t charSet, void* buffer,
                          std::uint32_t bytesFree) noexcept;

}  // namespace engine

#endif
