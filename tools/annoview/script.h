// annoview's script: one command a line, split into tokens that remember
// their column, so that every error can name its line and column.
#ifndef TOOLS_ANNOVIEW_SCRIPT_H
#define TOOLS_ANNOVIEW_SCRIPT_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace annoview {

// Bad input: a message for "file:line:column: message" and exit status 2.
struct InputError : std::runtime_error {
    InputError(int lineNumber, int columnNumber, const std::string& message)
        : std::runtime_error(message), line(lineNumber), column(columnNumber) {}
    int line;
    int column;
};

struct Token {
    std::string text;  // a quoted string without its quotes and escapes
    bool quoted = false;
    int column = 1;
};

// The tokens of one line; a comment starts with '#' at the start of the line
// or with '#' and a space. Throws
// InputError for an unterminated string.
std::vector<Token> Tokenize(const std::string& line, int lineNumber);

// Reads the tokens of one command in order; every read that finds
// something else throws InputError at that token.
class TokenReader {
public:
    TokenReader(const std::vector<Token>& tokens, int lineNumber, int endColumn)
        : tokens_(tokens), line_(lineNumber), endColumn_(endColumn) {}

    bool AtEnd() const { return next_ >= tokens_.size(); }
    // The next token if it is this word (and takes it).
    bool Accept(const char* word);
    const Token& Word(const char* what);
    const Token& Quoted(const char* what);
    uint32_t Number(const char* what);
    // An #rrggbb colour as 0xBBGGRR, the order of the module's colours.
    uint32_t Color();
    const Token& Peek() const;
    void ExpectEnd() const;
    [[noreturn]] void Fail(const Token& at, const std::string& message) const;
    [[noreturn]] void FailAtEnd(const std::string& message) const;
    int line() const { return line_; }

private:
    const Token& Take(const char* what);

    const std::vector<Token>& tokens_;
    size_t next_ = 0;
    int line_;
    int endColumn_;
};

}  // namespace annoview

#endif
