// The layout pass into spans, and the three ways of writing them.
//
// Hidden positions are left out; a hidden paragraph break joins its two
// paragraphs; inserted characters and breaks are marked as inserted; icons
// and bitmaps appear as markers where tracking reports them; hilites take
// their resolved colours (colour 1 as the background, colour 2 as the text).
#include "render.h"

#include <cstdio>

namespace annoview {
namespace {

using annotation::cxx::Cell;

constexpr uint32_t kRangeEndItem = 0x44;
constexpr uint32_t kInvisibleItem1 = 0xF0;
constexpr uint32_t kInvisibleItem2 = 0xF1;

void Append(Paragraph& paragraph, const Span& style, const std::u16string& text) {
    if (!paragraph.empty() && paragraph.back().LooksLike(style)) {
        paragraph.back().text += text;
        return;
    }
    Span span = style;
    span.text = text;
    paragraph.push_back(span);
}

std::u16string Ascii(const std::string& text) { return std::u16string(text.begin(), text.end()); }

Span LookAt(const Cell& cell, const UserIdOf& userIdOf) {
    Span span;
    const AnnoTrackInfo& look = *cell.look;
    span.hasBackground = look.color1On != 0;
    span.hasForeground = look.color2On != 0;
    span.background = look.color1;
    span.foreground = look.color2;
    span.hilited = look.hiliteNode != 0xFFFF;
    if (span.hilited) span.hasUserId = userIdOf(look.userData, span.userId);
    return span;
}

// Icons and bitmaps stand before the character at their position.
void AppendObjects(Paragraph& paragraph, const Cell& cell) {
    Span marker;
    marker.kind = Span::Kind::kObject;
    if ((cell.changed & ANTRACK_ICON) != 0) Append(paragraph, marker, Ascii("[icon " + std::to_string(cell.look->objectData) + "]"));
    if ((cell.changed & ANTRACK_BITMAP) != 0) {
        Append(paragraph, marker, Ascii("[bitmap " + std::to_string(cell.look->objectData) + "]"));
    }
}

}  // namespace

bool Span::LooksLike(const Span& other) const {
    return kind == other.kind && hilited == other.hilited && hasBackground == other.hasBackground &&
           hasForeground == other.hasForeground && (!hasBackground || background == other.background) &&
           (!hasForeground || foreground == other.foreground) && hasUserId == other.hasUserId &&
           (!hasUserId || userId == other.userId);
}

Page LayOut(const annotation::cxx::Document& document, const UserIdOf& userIdOf) {
    Page page;
    page.paragraphs.emplace_back();
    for (const Cell& cell : annotation::cxx::LayoutPass(document)) {
        if (cell.hidden()) continue;
        Paragraph& paragraph = page.paragraphs.back();
        AppendObjects(paragraph, cell);
        Span style = LookAt(cell, userIdOf);
        const bool breakHidden = cell.look->paraBreakHidden != 0;
        switch (cell.what) {
            case Cell::What::kCharacter: Append(paragraph, style, std::u16string(1, cell.character)); break;
            case Cell::What::kInsertedCharacter:
                style.kind = Span::Kind::kInserted;
                Append(paragraph, style, std::u16string(1, cell.character));
                break;
            case Cell::What::kInsertedBreak:
                style.kind = Span::Kind::kInserted;
                Append(paragraph, style, breakHidden ? u" " : u"\u00B6");
                if (!breakHidden) page.paragraphs.emplace_back();
                break;
            case Cell::What::kParagraphEnd:
                // A hidden paragraph break joins the two paragraphs with a space.
                if (breakHidden) {
                    Append(paragraph, style, u" ");
                } else {
                    page.paragraphs.emplace_back();
                }
                break;
            case Cell::What::kObject:
                if (cell.itemType != kRangeEndItem && cell.itemType != kInvisibleItem1 &&
                    cell.itemType != kInvisibleItem2) {
                    style.kind = Span::Kind::kObject;
                    Append(paragraph, style, u"[object]");
                }
                break;
        }
    }
    if (page.paragraphs.back().empty()) page.paragraphs.pop_back();
    return page;
}

std::string IdText(uint32_t id) {
    if (id < 0x100) return std::to_string(id);
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", id);
    return text;
}

std::string Utf8(const std::u16string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        uint32_t c = text[i];
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00);
        }
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

namespace {

std::string Rgb(uint32_t bgr, const char* separator) {
    char text[32];
    std::snprintf(text, sizeof text, "%u%s%u%s%u", bgr & 0xFF, separator, (bgr >> 8) & 0xFF, separator,
                  (bgr >> 16) & 0xFF);
    return text;
}

std::string HexColor(uint32_t bgr) {
    char text[8];
    std::snprintf(text, sizeof text, "#%02x%02x%02x", bgr & 0xFF, (bgr >> 8) & 0xFF, (bgr >> 16) & 0xFF);
    return text;
}

std::string HtmlEscape(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            default: out += c;
        }
    }
    return out;
}

// Plain text: hilites in «», inserted text in ⟨⟩, objects as they are.
std::string TextSpan(const Span& span) {
    std::string text = Utf8(span.text);
    if (span.kind == Span::Kind::kInserted) text = "\u27E8" + text + "\u27E9";
    if (span.hilited) text = "\u00AB" + text + "\u00BB";
    return text;
}

std::string AnsiSpan(const Span& span) {
    std::string codes;
    if (span.hasBackground) codes += "\x1b[48;2;" + Rgb(span.background, ";") + "m";
    if (span.hasForeground) codes += "\x1b[38;2;" + Rgb(span.foreground, ";") + "m";
    if (span.kind == Span::Kind::kInserted) codes += "\x1b[4m";
    if (span.kind == Span::Kind::kObject) codes += "\x1b[7m";
    if (span.hilited && codes.empty()) codes = "\x1b[1m";
    return codes.empty() ? Utf8(span.text) : codes + Utf8(span.text) + "\x1b[0m";
}

std::string HtmlSpan(const Span& span) {
    std::string text = HtmlEscape(Utf8(span.text));
    if (span.kind == Span::Kind::kInserted) text = "<ins>" + text + "</ins>";
    if (span.kind == Span::Kind::kObject) text = "<span class=\"object\">" + text + "</span>";
    if (!span.hilited) return text;
    std::string style;
    if (span.hasBackground) style += "background:" + HexColor(span.background) + ";";
    if (span.hasForeground) style += "color:" + HexColor(span.foreground) + ";";
    std::string open = "<span class=\"hilite\" style=\"" + style + "\"";
    if (span.hasUserId) open += " title=\"id " + IdText(span.userId) + "\"";
    return open + ">" + text + "</span>";
}

std::string RenderHtml(const std::vector<Block>& blocks) {
    std::string out =
        "<!DOCTYPE html>\n<html>\n<head>\n<meta charset=\"utf-8\">\n<title>annoview</title>\n"
        "<style>\nbody { font-family: sans-serif; }\nins { text-decoration: underline dotted; color: #1a5fb4; }\n"
        ".object { border: 1px solid #888; font-size: smaller; }\npre { background: #f4f4f4; }\n</style>\n"
        "</head>\n<body>\n";
    for (const Block& block : blocks) {
        out += "<section>\n<h2>" + HtmlEscape(block.title) + "</h2>\n";
        if (block.isPage) {
            for (const Paragraph& paragraph : block.page.paragraphs) {
                out += "<p>";
                for (const Span& span : paragraph) out += HtmlSpan(span);
                out += "</p>\n";
            }
        } else {
            out += "<pre>";
            for (const std::string& line : block.log) out += HtmlEscape(line) + "\n";
            out += "</pre>\n";
        }
        out += "</section>\n";
    }
    return out + "</body>\n</html>\n";
}

}  // namespace

std::string Render(const std::vector<Block>& blocks, Format format) {
    if (format == Format::kHtml) return RenderHtml(blocks);
    std::string out;
    for (const Block& block : blocks) {
        if (!block.isPage) {
            for (const std::string& line : block.log) out += line + "\n";
            continue;
        }
        out += "--- " + block.title + " ---\n";
        for (const Paragraph& paragraph : block.page.paragraphs) {
            for (const Span& span : paragraph) out += format == Format::kAnsi ? AnsiSpan(span) : TextSpan(span);
            out += "\n";
        }
    }
    return out;
}

}  // namespace annoview
