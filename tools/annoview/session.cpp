// Carrying out annoview's script on a document.
//
// Offsets in the script are ACCs, characters counted from the start of the
// document, mapped to positions with ANMapPosition. A quoted string stands
// for every place where it occurs. Every annotation the script adds gets the
// script line as its userId unless `id N` says otherwise.
#include "session.h"

#include <cctype>
#include <cstdio>
#include <sstream>

#include "engine/engine.h"

namespace annoview {

namespace cxx = annotation::cxx;

namespace {

// The module calls back with a number; annoview runs one session at a time.
Session* gActiveSession = nullptr;

// The userData of a script annotation: its userId with a tag, so that it
// differs from the userData of built hilites (the id of an item).
constexpr uint32_t kScriptDataTag = 0x40000000;

std::u16string Utf16(const std::string& utf8) {
    std::u16string out;
    for (size_t i = 0; i < utf8.size();) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        uint32_t code = c;
        size_t length = 1;
        if (c >= 0xF0) {
            code = c & 0x07, length = 4;
        } else if (c >= 0xE0) {
            code = c & 0x0F, length = 3;
        } else if (c >= 0xC0) {
            code = c & 0x1F, length = 2;
        }
        for (size_t k = 1; k < length && i + k < utf8.size(); ++k) code = (code << 6) | (utf8[i + k] & 0x3F);
        i += length;
        if (code >= 0x10000) {
            code -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (code >> 10));
            out += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
        } else {
            out += static_cast<char16_t>(code);
        }
    }
    return out;
}

const char* EventName(uint32_t event) {
    switch (event) {
        case ANEVENT_ENTER: return "enter";
        case ANEVENT_LEAVE: return "leave";
        case ANEVENT_HIT1: return "hit";
        default: return "event";
    }
}

}  // namespace

struct Session::Target {
    AnnoPos start;
    AnnoPos end;
};

Session::Session(const std::string& description) : description_(description) {
    if (ENOpenDocument(description.data(), static_cast<uint32_t>(description.size()), 0, &hDoc_) != 0) {
        hDoc_ = 0;
        int line = 0, column = 0;
        const std::string message = ENLastError();
        char what[256] = {};
        if (std::sscanf(message.c_str(), "line %d, column %d: %255[^\n]", &line, &column, what) == 3) {
            throw InputError(line, column, what);
        }
        throw InputError(1, 1, message.empty() ? "the description cannot be read" : message);
    }
    gActiveSession = this;
    document_.emplace(hDoc_, globalStyles_.handle(), &Session::Callback, 0);
    text_ = cxx::DocumentText(hDoc_).AllText();
}

Session::~Session() {
    copy_.reset();
    document_.reset();
    if (hCopyDoc_ != 0) ENCloseDocument(hCopyDoc_);
    if (hDoc_ != 0) ENCloseDocument(hDoc_);
    gActiveSession = nullptr;
}

uint32_t Session::Callback(uint32_t code, uint32_t arg, void* record, uint32_t) {
    Session* session = gActiveSession;
    if (session == nullptr || record == nullptr) return 0;
    if (code == 1) {
        const auto* added = static_cast<const InternalAnno*>(record);
        session->userIdOfData_[added->userData] = added->userId;
        ++session->added_;
    } else if (code == 2) {
        ++session->removed_;
    } else if (code == 3) {
        const auto* event = static_cast<const AnnoEventInfo*>(record);
        session->Log("  " + std::string(EventName(event->event)) + " id " + IdText(event->userId) +
                     (arg != 0 ? " (asked for)" : ""));
    }
    return 0;
}

void Session::Log(const std::string& line) {
    if (blocks_.empty() || blocks_.back().isPage) {
        blocks_.emplace_back();
        blocks_.back().title = "notes";
    }
    blocks_.back().log.push_back(line);
}

void Session::Report(const char* call, uint32_t result) {
    Log("line " + std::to_string(line_) + ": " + call + " gave " + cxx::ResultName(result));
}

void Session::Run(const std::string& script) {
    std::istringstream lines(script);
    std::string text;
    while (std::getline(lines, text)) {
        ++line_;
        if (!text.empty() && text.back() == '\r') text.pop_back();
        const std::vector<Token> tokens = Tokenize(text, line_);
        if (tokens.empty()) continue;
        TokenReader in(tokens, line_, static_cast<int>(text.size()) + 1);
        const Token& command = in.Word("a command");
        try {
            RunLine(in, command);
        } catch (const cxx::Error& error) {
            // The module refused: said in the output, the script goes on.
            Log("line " + std::to_string(line_) + ": " + error.what());
        }
    }
    if (!shown_) {
        static const std::vector<Token> kNoTokens;
        TokenReader none(kNoTokens, line_, 1);
        Show(none);
    }
}

void Session::RunLine(TokenReader& in, const Token& command) {
    const std::string& name = command.text;
    if (name == "style") return Style(in);
    if (name == "hilite") return Hilite(in);
    if (name == "hide" || name == "hidebreak" || name == "icon" || name == "bitmap" || name == "insert" ||
        name == "break") {
        return Add(in, command);
    }
    if (name == "clear") return Clear(in);
    if (name == "copy") return Copy(in);
    if (name == "build") return Build(in);
    if (name == "find") return Find(in);
    if (name == "event") return Event(in);
    if (name == "show") return Show(in);
    in.Fail(command, "unknown command '" + name + "'");
}

// --- Places -----------------------------------------------------------------

AnnoPos Session::PositionOf(TokenReader& in, const Token& at, uint32_t acc) const {
    if (acc >= text_.size()) {
        in.Fail(at, "offset " + std::to_string(acc) + " is past the end (the document has " +
                        std::to_string(text_.size()) + " characters)");
    }
    return document_->PositionOf(acc);
}

// The position just after the character at `acc`: the next character, or
// the item that follows (a paragraph end, an object).
AnnoPos Session::PositionAfter(TokenReader& in, const Token& at, uint32_t acc) const {
    AnnoPos pos = PositionOf(in, at, acc);
    AnnoPos next{};
    if (ANNextChunkerPos(hDoc_, &pos, &next) == 0) return next;
    return AnnoPos{pos.itemId, pos.subItemId + 1, 0, 0};
}

// A range: ACCs A..B (B not included), or "text" for every match.
std::vector<Session::Target> Session::Ranges(TokenReader& in) {
    const Token& token = in.Peek();
    std::vector<Target> targets;
    if (in.AtEnd()) in.FailAtEnd("expected a range: A..B or \"text\"");
    if (token.quoted) {
        in.Quoted("text");
        const std::u16string needle = Utf16(token.text);
        if (needle.empty()) in.Fail(token, "empty search text");
        for (size_t at = text_.find(needle); at != std::u16string::npos; at = text_.find(needle, at + needle.size())) {
            const auto first = static_cast<uint32_t>(at);
            const auto last = static_cast<uint32_t>(at + needle.size() - 1);
            targets.push_back({PositionOf(in, token, first), PositionAfter(in, token, last)});
        }
        return targets;
    }
    in.Word("a range");
    const size_t dots = token.text.find("..");
    uint32_t from = 0, to = 0;
    try {
        size_t used = 0;
        if (dots == std::string::npos) throw std::invalid_argument("");
        from = static_cast<uint32_t>(std::stoul(token.text.substr(0, dots), &used, 0));
        if (used != dots) throw std::invalid_argument("");
        to = static_cast<uint32_t>(std::stoul(token.text.substr(dots + 2), &used, 0));
        if (used != token.text.size() - dots - 2) throw std::invalid_argument("");
    } catch (const std::exception&) {
        in.Fail(token, "expected a range: A..B or \"text\"");
    }
    if (to <= from) in.Fail(token, "a range must end after it starts");
    if (to > text_.size()) PositionOf(in, token, to);  // names the offset past the end
    targets.push_back({PositionOf(in, token, from), PositionAfter(in, token, to - 1)});
    return targets;
}

// A point: an ACC, "text" (where each match starts) or end "text" (just
// after each match).
std::vector<Session::Target> Session::Points(TokenReader& in) {
    const bool atEnd = in.Accept("end");
    const Token& token = in.Peek();
    std::vector<Target> targets;
    if (token.quoted) {
        in.Quoted("text");
        const std::u16string needle = Utf16(token.text);
        if (needle.empty()) in.Fail(token, "empty search text");
        for (size_t at = text_.find(needle); at != std::u16string::npos; at = text_.find(needle, at + needle.size())) {
            const auto acc = static_cast<uint32_t>(atEnd ? at + needle.size() - 1 : at);
            const AnnoPos pos = atEnd ? PositionAfter(in, token, acc) : PositionOf(in, token, acc);
            targets.push_back({pos, pos});
        }
        return targets;
    }
    if (atEnd) in.Fail(token, "expected \"text\" after end");
    const AnnoPos pos = PositionOf(in, token, in.Number("an offset or \"text\""));
    targets.push_back({pos, pos});
    return targets;
}

uint32_t Session::ReadId(TokenReader& in) const {
    const uint32_t id = in.Accept("id") ? in.Number("an id") : static_cast<uint32_t>(line_);
    in.ExpectEnd();
    return id;
}

std::string Session::AccText(const AnnoPos& pos) const {
    try {
        const std::string acc = std::to_string(document_->AccOf(pos));
        return ANIsAnnoTextPos(&pos) != 0 ? acc + "+" + std::to_string(pos.textOffset) : acc;
    } catch (const cxx::Error&) {
        return "?";
    }
}

// --- Commands ---------------------------------------------------------------

// style global|doc ID [color1 #rrggbb] [color2 #rrggbb]
void Session::Style(TokenReader& in) {
    const Token& table = in.Word("global or doc");
    if (table.text != "global" && table.text != "doc") in.Fail(table, "expected global or doc");
    const uint32_t id = in.Number("a style id");
    std::optional<uint32_t> color1, color2;
    while (!in.AtEnd()) {
        const Token& which = in.Word("color1 or color2");
        if (which.text == "color1") {
            color1 = in.Color();
        } else if (which.text == "color2") {
            color2 = in.Color();
        } else {
            in.Fail(which, "expected color1 or color2");
        }
    }
    const HiliteStyle style = cxx::Style(id, color1, color2);
    if (table.text == "global") {
        globalStyles_.Add(style);
    } else {
        document_->AddStyle(style);
    }
}

// hilite RANGE style ID | color I1 [I2]   [id N]
void Session::Hilite(TokenReader& in) {
    const std::vector<Target> targets = Ranges(in);
    uint32_t styleWord = 0;
    const Token& how = in.Word("style or color");
    if (how.text == "style") {
        styleWord = ANHILITE_BYSTYLE | in.Number("a style id");
    } else if (how.text == "color") {
        const uint32_t first = in.Number("a colour index");
        const bool second = !in.AtEnd() && in.Peek().text != "id";
        const uint32_t other = second ? in.Number("a colour index") : 0;
        if (first > 15 || other > 15) in.Fail(how, "colour indexes go from 0 to 15");
        styleWord = (first << 4) | other | (second ? 0 : ANHILITE_NOCOLOR2);
    } else {
        in.Fail(how, "expected style or color");
    }
    const uint32_t id = ReadId(in);
    for (const Target& target : targets) {
        document_->Add(cxx::Hilite{target.start, target.end, styleWord, {id, id | kScriptDataTag, 0xF}});
    }
}

// hide RANGE | hidebreak POINT | icon POINT V | bitmap POINT V |
// insert POINT "text" | break POINT, each with [id N]
void Session::Add(TokenReader& in, const Token& command) {
    const std::string& kind = command.text;
    const std::vector<Target> targets = kind == "hide" ? Ranges(in) : Points(in);
    uint32_t value = 0;
    std::u16string text;
    if (kind == "icon" || kind == "bitmap") value = in.Number("a value");
    if (kind == "insert") text = Utf16(in.Quoted("the text to insert").text);
    const uint32_t id = ReadId(in);
    const cxx::Who who{id, id | kScriptDataTag, 0xF};
    for (const Target& t : targets) {
        if (kind == "hide") document_->Add(cxx::HiddenText{t.start, t.end, who});
        if (kind == "hidebreak") document_->Add(cxx::HiddenParaBreak{t.start, who});
        if (kind == "icon") document_->Add(cxx::Icon{t.start, value, who});
        if (kind == "bitmap") document_->Add(cxx::Bitmap{t.start, value, who});
        if (kind == "insert") document_->Add(cxx::InsertedText{t.start, text, who});
        if (kind == "break") document_->Add(cxx::InsertedParaBreak{t.start, who});
    }
}

// clear all | clear id N | clear mask M
void Session::Clear(TokenReader& in) {
    uint16_t flags = 0;
    uint32_t value = 0;
    if (in.Accept("id")) {
        flags = ANMATCH_USERID;
        value = in.Number("an id");
    } else if (in.Accept("mask")) {
        flags = ANMATCH_ALLBITS;
        value = in.Number("a mask");
    } else if (!in.Accept("all")) {
        in.FailAtEnd("expected all, id N or mask M");
    }
    in.ExpectEnd();
    removed_ = 0;
    const uint32_t result = document_->Clear(flags, value);
    Log("clear: " + std::to_string(removed_) + " removed" + (result != 0 ? std::string(", ") + cxx::ResultName(result) : ""));
}

// copy: a second opening of the description receives every annotation.
void Session::Copy(TokenReader& in) {
    in.ExpectEnd();
    if (!copy_) {
        if (ENOpenDocument(description_.data(), static_cast<uint32_t>(description_.size()), 0, &hCopyDoc_) != 0) {
            hCopyDoc_ = 0;
            return Report("ENOpenDocument", ANERR_BADPARAM);
        }
        copy_.emplace(hCopyDoc_, globalStyles_.handle());
    }
    copy_->CopyFrom(*document_);
    Log("copy: done");
}

void Session::Build(TokenReader& in) {
    in.ExpectEnd();
    added_ = 0;
    document_->Build();
    Log("build: " + std::to_string(added_) + " hilites from marked ranges");
}

// find first|last|prev|next|from|at [POINT] [id N | mask M]
void Session::Find(TokenReader& in) {
    static const char* const kModes[] = {"first", "last", "prev", "next", "from", "at"};
    const Token& mode = in.Word("a search mode");
    uint32_t flags = 0;
    for (uint32_t i = 0; i < 6; ++i) {
        if (mode.text == kModes[i]) flags = i + 1;
    }
    if (flags == 0) in.Fail(mode, "expected first, last, prev, next, from or at");
    uint32_t matchId = 0;
    AnnoPos pos{};
    std::string where;
    const Token& next = in.Peek();
    if (!in.AtEnd() && (next.quoted || next.text == "end" || std::isdigit(static_cast<unsigned char>(next.text[0])))) {
        const std::vector<Target> points = Points(in);
        if (points.empty()) in.Fail(next, "no such text in the document");
        pos = points.front().start;
        where = " " + AccText(pos);
    }
    if (in.Accept("id")) {
        flags |= ANMATCH_USERID;
        matchId = in.Number("an id");
    } else {
        flags |= ANMATCH_ALLBITS;
        if (in.Accept("mask")) matchId = in.Number("a mask");
    }
    in.ExpectEnd();
    const std::optional<cxx::Found> found = document_->Find(flags, matchId, pos);
    const std::string query = "find " + mode.text + where + ": ";
    if (!found) return Log(query + cxx::ResultName(ANERR_NOTFOUND));
    Log(query + "id " + IdText(found->userId) + " from " + AccText(found->start) + " to " + AccText(found->end));
}

// event hit|move POINT
void Session::Event(TokenReader& in) {
    const Token& kind = in.Word("hit or move");
    if (kind.text != "hit" && kind.text != "move") in.Fail(kind, "expected hit or move");
    const std::vector<Target> points = Points(in);
    in.ExpectEnd();
    if (points.empty()) in.FailAtEnd("no such text in the document");
    AnnoPos pos = points.front().start;
    // The walk over the annotations at pos starts where tracking would.
    AnnoTrackInfo track{};
    const uint16_t startNode = ANStartAnnoTrack(hDoc_, &pos, &track) == 2 ? track.nextNode : uint16_t{0xFFFF};
    ANEndAnnoTrack(hDoc_, &track);
    Log("event " + kind.text + " at " + AccText(pos) + ":");
    document_->Event(kind.text == "hit" ? ANEVENT_HIT1 : ANEVENT_MOVE, startNode, pos);
}

// show [copy]
void Session::Show(TokenReader& in) {
    const bool ofCopy = in.Accept("copy");
    in.ExpectEnd();
    if (ofCopy && !copy_) in.FailAtEnd("nothing was copied yet");
    shown_ = true;
    Block block;
    block.isPage = true;
    block.title = (ofCopy ? "the copy" : "the document") + std::string(line_ > 0 ? " at line " + std::to_string(line_) : "");
    block.page = LayOut(ofCopy ? *copy_ : *document_, [this](uint32_t userData, uint32_t& userId) {
        const auto known = userIdOfData_.find(userData);
        if (known == userIdOfData_.end()) return false;
        userId = known->second;
        return true;
    });
    blocks_.push_back(block);
}

}  // namespace annoview
