// Laying a document out the way a display engine does (a layout pass over
// every position in reading order) into styled spans, and writing those as
// ANSI-coloured text, plain text with visible markers, or an HTML page.
#ifndef TOOLS_ANNOVIEW_RENDER_H
#define TOOLS_ANNOVIEW_RENDER_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "annotation/annotation.hpp"

namespace annoview {

// A run of characters that look the same.
struct Span {
    enum class Kind { kText, kInserted, kObject };
    Kind kind = Kind::kText;
    std::u16string text;
    bool hilited = false;
    bool hasBackground = false;  // colour 1 of the hilite look
    bool hasForeground = false;  // colour 2
    uint32_t background = 0;     // 0xBBGGRR
    uint32_t foreground = 0;
    uint32_t userId = 0;         // of the hilite shown, when known
    bool hasUserId = false;

    bool LooksLike(const Span& other) const;
};

using Paragraph = std::vector<Span>;

// One rendering: the document's paragraphs as laid out at one point of the
// script.
struct Page {
    std::vector<Paragraph> paragraphs;
};

// What the output holds, in script order: renderings and log lines (what
// find and event commands report).
struct Block {
    std::string title;
    bool isPage = false;
    Page page;
    std::vector<std::string> log;
};

// The userId of the hilite whose userData is given, if known.
using UserIdOf = std::function<bool(uint32_t userData, uint32_t& userId)>;

Page LayOut(const annotation::cxx::Document& document, const UserIdOf& userIdOf);

enum class Format { kAnsi, kText, kHtml };

std::string Render(const std::vector<Block>& blocks, Format format);

std::string Utf8(const std::u16string& text);

// A user id as annoview shows it: small ids in decimal, tagged ones (built
// hilites) in hex.
std::string IdText(uint32_t id);

}  // namespace annoview

#endif
