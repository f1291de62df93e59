// Splitting script lines into tokens, and reading them back as words,
// strings, numbers and colours.
#include "script.h"

#include <cctype>

namespace annoview {

std::vector<Token> Tokenize(const std::string& line, int lineNumber) {
    std::vector<Token> tokens;
    size_t i = 0;
    while (i < line.size()) {
        const char c = line[i];
        if (std::isspace(static_cast<unsigned char>(c))) {
            ++i;
            continue;
        }
        // A comment: '#' at the start of a line or followed by a space.
        // "#rrggbb" is a colour.
        const bool lastChar = i + 1 >= line.size();
        if (c == '#' && (tokens.empty() || lastChar || std::isspace(static_cast<unsigned char>(line[i + 1])))) break;
        Token token;
        token.column = static_cast<int>(i) + 1;
        if (c == '"') {
            token.quoted = true;
            ++i;
            for (;;) {
                if (i >= line.size()) throw InputError(lineNumber, token.column, "unterminated string");
                if (line[i] == '"') break;
                if (line[i] == '\\' && i + 1 < line.size()) ++i;
                token.text += line[i++];
            }
            ++i;
        } else {
            while (i < line.size() && !std::isspace(static_cast<unsigned char>(line[i])) && line[i] != '"') {
                token.text += line[i++];
            }
        }
        tokens.push_back(token);
    }
    return tokens;
}

const Token& TokenReader::Peek() const {
    static const Token kNone;
    return AtEnd() ? kNone : tokens_[next_];
}

const Token& TokenReader::Take(const char* what) {
    if (AtEnd()) FailAtEnd(std::string("expected ") + what);
    return tokens_[next_++];
}

bool TokenReader::Accept(const char* word) {
    if (AtEnd() || tokens_[next_].quoted || tokens_[next_].text != word) return false;
    ++next_;
    return true;
}

const Token& TokenReader::Word(const char* what) {
    const Token& token = Take(what);
    if (token.quoted) Fail(token, std::string("expected ") + what);
    return token;
}

const Token& TokenReader::Quoted(const char* what) {
    const Token& token = Take(what);
    if (!token.quoted) Fail(token, std::string("expected ") + what + " in quotes");
    return token;
}

uint32_t TokenReader::Number(const char* what) {
    const Token& token = Word(what);
    try {
        size_t used = 0;
        const unsigned long long value = std::stoull(token.text, &used, 0);
        if (used != token.text.size() || value > 0xFFFFFFFFull || token.text[0] == '-') throw std::invalid_argument("");
        return static_cast<uint32_t>(value);
    } catch (const std::exception&) {
        Fail(token, std::string("expected ") + what + ", a number");
    }
}

uint32_t TokenReader::Color() {
    const Token& token = Word("a colour #rrggbb");
    const std::string& t = token.text;
    if (t.size() != 7 || t[0] != '#') Fail(token, "expected a colour #rrggbb");
    for (size_t i = 1; i < 7; ++i) {
        if (!std::isxdigit(static_cast<unsigned char>(t[i]))) Fail(token, "expected a colour #rrggbb");
    }
    const uint32_t rgb = static_cast<uint32_t>(std::stoul(t.substr(1), nullptr, 16));
    return ((rgb >> 16) & 0xFF) | (rgb & 0xFF00) | ((rgb & 0xFF) << 16);
}

void TokenReader::ExpectEnd() const {
    if (!AtEnd()) Fail(tokens_[next_], "unexpected '" + tokens_[next_].text + "'");
}

void TokenReader::Fail(const Token& at, const std::string& message) const {
    throw InputError(line_, at.column, message);
}

void TokenReader::FailAtEnd(const std::string& message) const { throw InputError(line_, endColumn_, message); }

}  // namespace annoview
