// Parsing of document descriptions into builder tokens.
#include "engine/description_parser.h"

#include <array>
#include <charconv>
#include <optional>

#include "engine/utf8.h"

namespace engine {
namespace {

// Regions with these ids hold text that the content stream counts but never
// writes into the reader's buffer.
constexpr std::array<std::uint32_t, 3> kWithholdingRegions = {0x10000, 0x100000, 0x120000};

enum class MarkupKind : std::uint8_t {
    Item,
    Mark,
    MarkEnd,
    Region,
    RegionEnd,
    Undelivered,
    UndeliveredEnd,
    Chunk,
    Section
};

struct MarkupName {
    std::string_view name;
    MarkupKind kind;
    bool takesNumber;
};

constexpr std::array<MarkupName, 9> kMarkupNames = {{
    {"item", MarkupKind::Item, true},
    {"mark", MarkupKind::Mark, true},
    {"/mark", MarkupKind::MarkEnd, true},
    {"region", MarkupKind::Region, true},
    {"/region", MarkupKind::RegionEnd, true},
    {"undelivered", MarkupKind::Undelivered, false},
    {"/undelivered", MarkupKind::UndeliveredEnd, false},
    {"chunk", MarkupKind::Chunk, false},
    {"section", MarkupKind::Section, false},
}};

std::optional<MarkupName> FindMarkup(std::string_view name) {
    for (const MarkupName& markup : kMarkupNames) {
        if (markup.name == name) return markup;
    }
    return std::nullopt;
}

bool IsBlank(char c) noexcept { return c == ' ' || c == '\t'; }

// A decimal or 0x-hex number that fits in 32 bits, nothing else around it.
bool ParseNumber(std::string_view text, std::uint32_t& value) {
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    if (text.empty()) return false;
    std::uint32_t parsed = 0;
    const char* end = text.data() + text.size();
    const auto [stop, status] = std::from_chars(text.data(), end, parsed, base);
    if (status != std::errc() || stop != end) return false;
    value = parsed;
    return true;
}

class DescriptionParser {
public:
    DescriptionParser(ParsedDescription& parsed, ParseError& error) : parsed_(parsed), error_(error) {}

    bool Parse(std::string_view description) {
        std::size_t pos = 0;
        while (pos < description.size()) {
            std::size_t end = description.find('\n', pos);
            const bool hasLineFeed = end != std::string_view::npos;
            if (!hasLineFeed) end = description.size();
            std::string_view line = description.substr(pos, end - pos);
            if (hasLineFeed && !line.empty() && line.back() == '\r') line.remove_suffix(1);
            if (!ParseLine(line)) return false;
            pos = hasLineFeed ? end + 1 : end;
            ++line_;
        }
        return true;
    }

private:
    bool ParseLine(std::string_view line) {
        std::size_t pos = 0;
        column_ = 1;
        while (pos < line.size()) {
            const bool ok = line[pos] == '{' ? ParseBrace(line, pos) : ParsePlain(line, pos);
            if (!ok) return false;
        }
        EndRun();
        Emit(TokenKind::ParagraphEnd, 0);
        return true;
    }

    bool ParsePlain(std::string_view line, std::size_t& pos) {
        char32_t codePoint = 0;
        if (!DecodeUtf8(line, pos, codePoint)) return Fail("bytes that are not UTF-8");
        StartRunIfNeeded();
        AppendUtf16(parsed_.text, codePoint);
        ++column_;
        return true;
    }

    // At a '{': a literal brace or one piece of markup.
    bool ParseBrace(std::string_view line, std::size_t& pos) {
        if (pos + 1 < line.size() && line[pos + 1] == '{') {
            StartRunIfNeeded();
            parsed_.text.push_back(u'{');
            pos += 2;
            column_ += 2;
            return true;
        }
        const std::size_t close = line.find('}', pos + 1);
        if (close == std::string_view::npos) return Fail("unterminated '{'");
        EndRun();
        if (!ApplyMarkup(line.substr(pos + 1, close - pos - 1))) return false;
        column_ += static_cast<std::uint32_t>(close + 1 - pos);
        pos = close + 1;
        return true;
    }

    bool ApplyMarkup(std::string_view markup) {
        std::size_t nameEnd = 0;
        while (nameEnd < markup.size() && !IsBlank(markup[nameEnd])) ++nameEnd;
        std::string_view argument = markup.substr(nameEnd);
        while (!argument.empty() && IsBlank(argument.front())) argument.remove_prefix(1);
        while (!argument.empty() && IsBlank(argument.back())) argument.remove_suffix(1);

        const std::optional<MarkupName> found = FindMarkup(markup.substr(0, nameEnd));
        if (!found || (!found->takesNumber && !argument.empty())) {
            return Fail("unknown markup '{" + std::string(markup) + "}'");
        }
        std::uint32_t number = 0;
        if (found->takesNumber && !ParseNumber(argument, number)) {
            return Fail("malformed number '" + std::string(argument) + "' in '{" + std::string(markup) + "}'");
        }
        return ApplyKnownMarkup(found->kind, number, markup);
    }

    bool ApplyKnownMarkup(MarkupKind kind, std::uint32_t number, std::string_view markup) {
        NestingState& nesting = parsed_.nesting;
        switch (kind) {
            case MarkupKind::Item:
                Emit(TokenKind::Item, number);
                return true;
            case MarkupKind::Mark:
                nesting.OpenMark(number);
                Emit(TokenKind::MarkStart, number);
                return true;
            case MarkupKind::MarkEnd:
                if (!nesting.CloseMark(number)) return FailUnopened(markup);
                Emit(TokenKind::MarkEnd, number);
                return true;
            case MarkupKind::Region:
                nesting.OpenRegion(number);
                Emit(TokenKind::RegionStart, number);
                return true;
            case MarkupKind::RegionEnd:
                if (!nesting.CloseRegion(number)) return FailUnopened(markup);
                Emit(TokenKind::RegionEnd, number);
                return true;
            case MarkupKind::Undelivered:
                nesting.OpenUndelivered();
                return true;
            case MarkupKind::UndeliveredEnd:
                if (!nesting.CloseUndelivered()) return FailUnopened(markup);
                return true;
            case MarkupKind::Chunk:
                Emit(TokenKind::ChunkBreak, 0);
                return true;
            case MarkupKind::Section:
                Emit(TokenKind::SectionBreak, 0);
                return true;
        }
        return Fail("unknown markup");
    }

    void StartRunIfNeeded() {
        if (runOpen_) return;
        runOpen_ = true;
        runBegin_ = parsed_.text.size();
        runFlags_ = parsed_.nesting.TextFlags();
    }

    void EndRun() {
        if (!runOpen_) return;
        runOpen_ = false;
        Token token;
        token.kind = TokenKind::Text;
        token.textFlags = runFlags_;
        token.textBegin = runBegin_;
        token.textLength = parsed_.text.size() - runBegin_;
        parsed_.tokens.push_back(token);
    }

    void Emit(TokenKind kind, std::uint32_t value) {
        Token token;
        token.kind = kind;
        token.value = value;
        parsed_.tokens.push_back(token);
    }

    bool FailUnopened(std::string_view markup) {
        return Fail("'{" + std::string(markup) + "}' closes nothing that is open");
    }

    bool Fail(std::string what) {
        error_.line = line_;
        error_.column = column_;
        error_.what = std::move(what);
        return false;
    }

    ParsedDescription& parsed_;
    ParseError& error_;
    std::uint32_t line_ = 1;
    std::uint32_t column_ = 1;
    bool runOpen_ = false;
    std::size_t runBegin_ = 0;
    std::uint32_t runFlags_ = 0;
};

// Counts one more open entry under `key`.
void OpenIn(std::map<std::uint32_t, std::uint32_t>& open, std::uint32_t key) { ++open[key]; }

// Closes one open entry under `key`; false when none is open.
bool CloseIn(std::map<std::uint32_t, std::uint32_t>& open, std::uint32_t key) {
    auto it = open.find(key);
    if (it == open.end()) return false;
    if (--it->second == 0) open.erase(it);
    return true;
}

}  // namespace

void NestingState::OpenMark(std::uint32_t type) { OpenIn(openMarks_, type); }
bool NestingState::CloseMark(std::uint32_t type) { return CloseIn(openMarks_, type); }
void NestingState::OpenRegion(std::uint32_t id) { OpenIn(openRegions_, id); }
bool NestingState::CloseRegion(std::uint32_t id) { return CloseIn(openRegions_, id); }
void NestingState::OpenUndelivered() noexcept { ++undeliveredDepth_; }

bool NestingState::CloseUndelivered() noexcept {
    if (undeliveredDepth_ == 0) return false;
    --undeliveredDepth_;
    return true;
}

std::uint32_t NestingState::TextFlags() const {
    std::uint32_t flags = undeliveredDepth_ > 0 ? kTextUndelivered : 0;
    for (std::uint32_t id : kWithholdingRegions) {
        if (openRegions_.count(id) != 0) flags |= kTextWithheld;
    }
    return flags;
}

bool ParseDescription(std::string_view description, const NestingState& before,
                      ParsedDescription& parsed, ParseError& error) {
    parsed = ParsedDescription{};
    parsed.nesting = before;
    DescriptionParser parser(parsed, error);
    return parser.Parse(description);
}

}  // namespace engine
