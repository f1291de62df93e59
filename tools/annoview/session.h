// One run of annoview: a document with annotation state, the script's
// commands carried out on it in order, and what they produced (renderings
// and log lines).
#ifndef TOOLS_ANNOVIEW_SESSION_H
#define TOOLS_ANNOVIEW_SESSION_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "annotation/annotation.hpp"
#include "render.h"
#include "script.h"

namespace annoview {

class Session {
public:
    // Opens the document. Throws InputError when its description does not
    // parse.
    explicit Session(const std::string& description);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Carries the script out. Throws InputError at the first line that does
    // not parse or names an offset past the document's end. A script
    // without `show` shows the document at its end.
    void Run(const std::string& script);

    const std::vector<Block>& blocks() const { return blocks_; }

private:
    struct Target;  // one annotation's place: start (and end of a range)

    void RunLine(TokenReader& in, const Token& command);
    void Style(TokenReader& in);
    void Hilite(TokenReader& in);
    void Add(TokenReader& in, const Token& command);
    void Clear(TokenReader& in);
    void Copy(TokenReader& in);
    void Build(TokenReader& in);
    void Find(TokenReader& in);
    void Event(TokenReader& in);
    void Show(TokenReader& in);

    std::vector<Target> Ranges(TokenReader& in);
    std::vector<Target> Points(TokenReader& in);
    AnnoPos PositionOf(TokenReader& in, const Token& at, uint32_t acc) const;
    AnnoPos PositionAfter(TokenReader& in, const Token& at, uint32_t acc) const;
    uint32_t ReadId(TokenReader& in) const;
    std::string AccText(const AnnoPos& pos) const;

    void Log(const std::string& line);
    void Report(const char* call, uint32_t result);
    static uint32_t Callback(uint32_t code, uint32_t arg, void* record, uint32_t callbackData);

    std::string description_;
    uint32_t hDoc_ = 0;
    uint32_t hCopyDoc_ = 0;
    annotation::cxx::GlobalStyles globalStyles_;
    std::optional<annotation::cxx::Document> document_;
    std::optional<annotation::cxx::Document> copy_;
    std::u16string text_;  // the document's characters in ACC order
    std::map<uint32_t, uint32_t> userIdOfData_;
    std::vector<Block> blocks_;
    int line_ = 0;
    bool shown_ = false;
    uint32_t removed_ = 0;
    uint32_t added_ = 0;
};

}  // namespace annoview

#endif
