// Turns a document's text description into a sequence of tokens for the
// document builder, or into a parse error with line and column.
//
// The description is UTF-8; every line (ended by LF, a CR before the LF
// dropped; a last line without LF counts) is a paragraph, and a trailing LF
// does not start another. Plain characters form text runs; markup in braces
// interrupts a run:
//
//   {{                      a literal '{' (a '}' outside markup is literal)
//   {item T}                a non-text item of type T
//   {mark T} / {/mark T}    a marked range of type T begins / its end marker
//   {region ID} / {/region ID}   region start / end records in the content
//   {undelivered} / {/undelivered}   text between is counted, not delivered
//   {chunk} / {section}     the current chunk / section and chunk end
//
// Numbers are decimal or 0x-hex and fit in 32 bits. Unknown markup, an
// unterminated brace, a malformed number, a closing tag without its opening
// and bytes that are not UTF-8 are parse errors. Opening tags need not be
// closed; what is open at the end carries over into text appended later.
#ifndef ENGINE_DESCRIPTION_PARSER_H
#define ENGINE_DESCRIPTION_PARSER_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace engine {

enum class TokenKind : std::uint8_t {
    Text,
    Item,
    MarkStart,
    MarkEnd,
    RegionStart,
    RegionEnd,
    ChunkBreak,
    SectionBreak,
    ParagraphEnd
};

// Flags of a text run.
inline constexpr std::uint32_t kTextUndelivered = 0x1;  // inside {undelivered}
inline constexpr std::uint32_t kTextWithheld = 0x2;     // inside a region whose text is never written

struct Token {
    TokenKind kind = TokenKind::ParagraphEnd;
    std::uint32_t value = 0;      // Item: type; MarkStart, MarkEnd: range type; regions: id
    std::uint32_t textFlags = 0;  // Text: kText* flags
    std::size_t textBegin = 0;    // Text: where the run starts in ParsedDescription::text
    std::size_t textLength = 0;   // Text: UTF-16 code units, never 0
};

// Which marks, regions and undelivered spans are open. Closing one that is
// not open is what makes a closing tag an error.
class NestingState {
public:
    void OpenMark(std::uint32_t type);
    bool CloseMark(std::uint32_t type);
    void OpenRegion(std::uint32_t id);
    bool CloseRegion(std::uint32_t id);
    void OpenUndelivered() noexcept;
    bool CloseUndelivered() noexcept;
    // The kText* flags of text written now.
    std::uint32_t TextFlags() const;

private:
    std::map<std::uint32_t, std::uint32_t> openMarks_;    // range type -> how many are open
    std::map<std::uint32_t, std::uint32_t> openRegions_;  // region id -> how many are open
    std::uint32_t undeliveredDepth_ = 0;
};

struct ParsedDescription {
    std::vector<Token> tokens;
    std::u16string text;   // every text run, back to back
    NestingState nesting;  // what is open after the description
};

struct ParseError {
    std::uint32_t line = 0;    // 1-based, within the description parsed
    std::uint32_t column = 0;  // 1-based, in characters of the line
    std::string what;
};

// Parses `description`, which continues a document whose open tags are
// `before`. True with `parsed` filled, or false with `error` filled (and
// `parsed` in an unspecified state).
bool ParseDescription(std::string_view description, const NestingState& before,
                      ParsedDescription& parsed, ParseError& error);

}  // namespace engine

#endif
