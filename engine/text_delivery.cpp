// Encoding delivered text into one-byte or two-byte character sets.
#include "engine/text_delivery.h"

#include <algorithm>

#include "platform/content_access.h"

namespace engine {
namespace {

std::uint32_t WriteUtf16Le(std::u16string_view text, unsigned char* out, std::uint32_t bytesFree) noexcept {
    const std::size_t count = std::min<std::size_t>(text.size(), bytesFree / 2);
    for (std::size_t i = 0; i < count; ++i) {
        out[2 * i] = static_cast<unsigned char>(text[i] & 0xFF);
        out[2 * i + 1] = static_cast<unsigned char>(text[i] >> 8);
    }
    return static_cast<std::uint32_t>(count * 2);
}

std::uint32_t WriteOneByte(std::u16string_view text, unsigned char* out, std::uint32_t bytesFree) noexcept {
    const std::size_t count = std::min<std::size_t>(text.size(), bytesFree);
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = text[i] > 0xFF ? static_cast<unsigned char>('?') : static_cast<unsigned char>(text[i]);
    }
    return static_cast<std::uint32_t>(count);
}

}  // namespace

std::uint32_t DeliverText(std::u16string_view text, std::uint32_t charSet, void* buffer,
                          std::uint32_t bytesFree) noexcept {
    if (buffer == nullptr) return 0;
    auto* out = static_cast<unsigned char*>(buffer);
    return charSet == CA_CHARSET_UNICODE ? WriteUtf16Le(text, out, bytesFree) : WriteOneByte(text, out, bytesFree);
}

}  // namespace engine
