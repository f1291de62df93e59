// Decoding UTF-8 one code point at a time, strictly: overlong forms,
// surrogates and values past U+10FFFF are errors, so a description that is
// not valid UTF-8 is reported instead of being guessed at.
#ifndef ENGINE_UTF8_H
#define ENGINE_UTF8_H

#include <cstddef>
#include <string>
#include <string_view>

namespace engine {

// Decodes the code point at text[pos] into `codePoint` and advances `pos`
// past it. False (pos and codePoint untouched) when the bytes there are not
// valid UTF-8. Requires pos < text.size().
bool DecodeUtf8(std::string_view text, std::size_t& pos, char32_t& codePoint) noexcept;

// Appends `codePoint` as UTF-16 code units: one inside the BMP, a surrogate
// pair outside it.
void AppendUtf16(std::u16string& out, char32_t codePoint);

}  // namespace engine

#endif
