// annotation.hpp: a header-only C++ layer over the module's C interface.
//
// Owners that release what they hold (a global style table, a document's
// annotation state, a text track), annotations added from typed values, and
// a layout pass as a range: for every position of a document in reading
// order, inserted text included, the character there and what tracking
// reported.
//
// Misuse fails loudly in debug builds (assert): using an owner that was
// moved from, or a layout pass after its document's state was taken down.
// Failures of the module are thrown as annotation::cxx::Error, which names
// the result code by its constant.
#ifndef ANNOTATION_ANNOTATION_HPP
#define ANNOTATION_ANNOTATION_HPP

#include <cassert>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "annotation/annotation.h"
#include "platform/chunker.h"
#include "platform/content_access.h"
#include "platform/data_access.h"

namespace annotation::cxx {

// The name of a result code's constant ("ANERR_NOMEMORY"), "0" for success,
// or "" for a value that is none of them (a callback's answer passed on).
inline const char* ResultName(uint32_t code) noexcept {
    switch (code) {
        case 0: return "0";
        case ANERR_NOMEMORY: return "ANERR_NOMEMORY";
        case ANERR_BADPARAM: return "ANERR_BADPARAM";
        case ANERR_NOANNODATA: return "ANERR_NOANNODATA";
        case ANERR_NOTFOUND: return "ANERR_NOTFOUND";
        default: return "";
    }
}

// A call of the module that did not succeed.
class Error : public std::runtime_error {
public:
    Error(const char* call, uint32_t code)
        : std::runtime_error(std::string(call) + ": " + Describe(code)), code_(code) {}
    uint32_t code() const noexcept { return code_; }

private:
    static std::string Describe(uint32_t code) {
        const char* name = ResultName(code);
        return *name != '\0' ? name : "result " + std::to_string(code);
    }
    uint32_t code_;
};

inline void Check(uint32_t result, const char* call) {
    if (result != 0) throw Error(call, result);
}

constexpr AnnoPos DocumentPosition(uint32_t itemId, uint32_t subItemId) { return AnnoPos{itemId, subItemId, 0, 0}; }
constexpr bool IsInserted(const AnnoPos& pos) { return pos.posType == ANPOS_ANNOTEXT; }
inline bool Before(const AnnoPos& a, const AnnoPos& b) { return ANCompPos(&a, &b) < 0; }

// A global hilite style table, shared by the documents attached with it. It
// must outlive them.
class GlobalStyles {
public:
    GlobalStyles() { Check(ANInitGlobalHiliteStyles(&handle_), "ANInitGlobalHiliteStyles"); }
    ~GlobalStyles() {
        if (handle_ != 0) ANDeInitGlobalHiliteStyles(handle_);
    }
    GlobalStyles(GlobalStyles&& other) noexcept : handle_(std::exchange(other.handle_, 0)) {}
    GlobalStyles& operator=(GlobalStyles&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }

    void Add(const HiliteStyle& style) { Check(ANAddGlobalHiliteStyle(handle(), &style), "ANAddGlobalHiliteStyle"); }
    uint32_t handle() const {
        assert(handle_ != 0 && "GlobalStyles used after it was moved from");
        return handle_;
    }

private:
    uint32_t handle_ = 0;
};

// A hilite style: colours as 0xBBGGRR, a switch flag for each that applies.
inline HiliteStyle Style(uint32_t id, std::optional<uint32_t> color1, std::optional<uint32_t> color2 = std::nullopt) {
    HiliteStyle style{};
    style.size = sizeof style;
    style.id = id;
    if (color1) {
        style.flags |= ANHS_COLOR1ON;
        style.color1 = *color1;
    }
    if (color2) {
        style.flags |= ANHS_COLOR2ON;
        style.color2 = *color2;
    }
    return style;
}

// The annotations, as typed values. Point annotations take one position.
struct Who {
    uint32_t userId = 0;
    uint32_t userData = 0;
    uint32_t eventMask = 0;
};
struct Hilite {
    AnnoPos start, end;
    uint32_t styleWord;  // ANHILITE_BYSTYLE | style id, or colour indexes
    Who who = {};
};
struct Icon {
    AnnoPos at;
    uint32_t icon;
    Who who = {};
};
struct Bitmap {
    AnnoPos at;
    uint32_t bitmap;
    Who who = {};
};
struct HiddenText {
    AnnoPos start, end;
    Who who = {};
};
struct HiddenParaBreak {
    AnnoPos at;
    Who who = {};
};
struct InsertedText {
    AnnoPos at;
    std::u16string_view text;
    Who who = {};
};
struct InsertedParaBreak {
    AnnoPos at;
    Who who = {};
};

// What ANFindAnno reports.
struct Found {
    uint32_t userId;
    AnnoPos start, end;
    uint32_t userData;
};

// A document's annotation state, from ANInit to ANDeInit. The document
// itself belongs to the caller and must outlive it.
class Document {
public:
    explicit Document(uint32_t hDoc, uint32_t hGlobalStyles = 0, AnnoCallback callback = nullptr,
                      uint32_t callbackData = 0)
        : hDoc_(hDoc), alive_(std::make_shared<bool>(true)) {
        Check(ANInit(hDoc, hGlobalStyles, callback, callbackData), "ANInit");
    }
    ~Document() { Release(); }
    Document(Document&& other) noexcept
        : hDoc_(std::exchange(other.hDoc_, 0)), alive_(std::move(other.alive_)) {}
    Document& operator=(Document&& other) noexcept {
        if (this != &other) {
            Release();
            hDoc_ = std::exchange(other.hDoc_, 0);
            alive_ = std::move(other.alive_);
        }
        return *this;
    }

    uint32_t handle() const {
        assert(hDoc_ != 0 && "Document used after it was moved from");
        return hDoc_;
    }
    // Watched by the passes over this document: expires with the state.
    std::weak_ptr<bool> lifetime() const { return alive_; }

    void Add(const Hilite& a) {
        HiliteTextAnno r{60, a.who.userId, a.start, a.end, a.who.eventMask, a.who.userData, 0, 0, a.styleWord};
        Check(ANAddAnno(handle(), ANNO_HILITETEXT, &r), "ANAddAnno");
    }
    void Add(const Icon& a) {
        InsertIconAnno r{60, a.who.userId, a.at, a.at, a.who.eventMask, a.who.userData, 0, 0, a.icon};
        Check(ANAddAnno(handle(), ANNO_INSERTICON, &r), "ANAddAnno");
    }
    void Add(const Bitmap& a) {
        InsertBitmapAnno r{60, a.who.userId, a.at, a.at, a.who.eventMask, a.who.userData, 0, 0, a.bitmap};
        Check(ANAddAnno(handle(), ANNO_INSERTBITMAP, &r), "ANAddAnno");
    }
    void Add(const HiddenText& a) {
        HideTextAnno r{44, a.who.userId, a.start, a.end, a.who.userData};
        Check(ANAddAnno(handle(), ANNO_HIDETEXT, &r), "ANAddAnno");
    }
    void Add(const HiddenParaBreak& a) {
        ParaBreakAnno r{28, a.who.userId, a.at, a.who.userData};
        Check(ANAddAnno(handle(), ANNO_HIDEPARABREAK, &r), "ANAddAnno");
    }
    void Add(const InsertedText& a) {
        InsertTextAnno r{};
        r.size = sizeof r;
        r.userId = a.who.userId;
        r.start = a.at;
        r.userData = a.who.userData;
        r.text = a.text.data();
        r.textLen = static_cast<uint32_t>(a.text.size());
        Check(ANAddAnno(handle(), ANNO_INSERTTEXT, &r), "ANAddAnno");
    }
    void Add(const InsertedParaBreak& a) {
        ParaBreakAnno r{28, a.who.userId, a.at, a.who.userData};
        Check(ANAddAnno(handle(), ANNO_INSERTPARABREAK, &r), "ANAddAnno");
    }

    void AddStyle(const HiliteStyle& style) { Check(ANAddHiliteStyle(handle(), &style), "ANAddHiliteStyle"); }

    // ANClearAnnos: its result as it comes (a removal callback's answer may
    // be passed on).
    uint32_t Clear(uint16_t flags, uint32_t value) { return ANClearAnnos(handle(), flags, value); }
    void CopyFrom(const Document& source) { Check(ANCopyAnnos(handle(), source.handle()), "ANCopyAnnos"); }
    void Build() { Check(ANBuildAnnos(handle()), "ANBuildAnnos"); }

    // One ANFindAnno query; nothing when no annotation qualifies.
    std::optional<Found> Find(uint32_t searchFlags, uint32_t matchId, const AnnoPos& pos = {}, uint16_t options = 0) const {
        AnnoFindInfo info{};
        info.size = sizeof info;
        info.searchFlags = searchFlags;
        info.matchId = matchId;
        info.pos = pos;
        const uint32_t result = ANFindAnno(handle(), options, &info);
        if (result == ANERR_NOTFOUND) return std::nullopt;
        Check(result, "ANFindAnno");
        return Found{info.foundUserId, info.foundStart, info.foundEnd, info.foundUserData};
    }

    // ANAnnoEvent: the last callback's answer, 0 when none was called.
    uint32_t Event(uint32_t event, uint16_t startNode, const AnnoPos& pos) {
        return ANAnnoEvent(handle(), event, startNode, &pos);
    }

    AnnoPos PositionOf(uint32_t acc) const {
        AnnoMapPosition request{sizeof request, ANMAP_ACCTOPOS, {}, acc};
        Check(ANMapPosition(handle(), &request), "ANMapPosition");
        return request.pos;
    }
    uint32_t AccOf(const AnnoPos& pos) const {
        AnnoMapPosition request{sizeof request, ANMAP_POSTOACC, pos, 0};
        Check(ANMapPosition(handle(), &request), "ANMapPosition");
        return request.acc;
    }

private:
    void Release() noexcept {
        if (hDoc_ != 0) ANDeInit(hDoc_);
        hDoc_ = 0;
        alive_.reset();
    }

    uint32_t hDoc_ = 0;
    std::shared_ptr<bool> alive_;
};

// A text-track record, for the characters of inserted text.
class TextTrack {
public:
    explicit TextTrack(const Document& document) : hDoc_(document.handle()) {
        Check(ANStartAnnoTextTrack(hDoc_, &track_), "ANStartAnnoTextTrack");
    }
    ~TextTrack() { ANEndAnnoTextTrack(hDoc_, &track_); }
    TextTrack(const TextTrack&) = delete;
    TextTrack& operator=(const TextTrack&) = delete;

    // ANNO_INSERTTEXT with the character, ANNO_INSERTPARABREAK, or
    // ANERR_NOTFOUND when no text is inserted at pos.
    uint32_t Read(const AnnoPos& pos, char16_t& character) {
        uint16_t value = 0;
        const uint32_t result = ANGetAnnoText(hDoc_, &track_, &pos, &value);
        character = value;
        return result;
    }

private:
    uint32_t hDoc_;
    AnnoTextTrack track_{};
};

// The document's own characters, read once through its content stream (a
// second opening on the document's chunker, in UTF-16). Characters the
// content does not deliver read as U+FFFD.
class DocumentText {
public:
    explicit DocumentText(uint32_t hDoc) {
        if (DAGetHChunker(hDoc, &hChunker_) != 0) return;
        uint32_t hSecond = 0;
        if (DAOpenDocument(&hSecond, 18, &hChunker_, 0) != 0) return;
        uint32_t charSet = CA_CHARSET_UNICODE;
        uint32_t hContent = 0;
        if (DASetOption(hSecond, 1, &charSet, sizeof charSet) == 0 && CAOpenContent(hSecond, &hContent) == 0) {
            ReadChunks(hContent);
            CACloseContent(hContent);
        }
        DACloseDocument(hSecond);
    }

    uint32_t chunker() const { return hChunker_; }

    // Every character of the document in ACC order (the chunks one after
    // the other).
    std::u16string AllText() const {
        std::u16string all;
        for (const std::u16string& chunk : chunks_) all += chunk;
        return all;
    }

    // The character with the chunker's character id `charId`.
    char16_t CharAt(uint32_t charId) const {
        const uint32_t chunk = charId >> 16, offset = charId & 0xFFFF;
        if (chunk >= chunks_.size() || offset >= chunks_[chunk].size()) return u'\uFFFD';
        return chunks_[chunk][offset];
    }

private:
    void ReadChunks(uint32_t hContent) {
        CAReadRecord record{};
        record.size = sizeof record;
        CAReadFirst(hContent, &record);
        CASeekPos start{0, 0xFFFFFFFF, 0, 0};
        CASeek(hContent, &start);
        chunks_.emplace_back();
        // A chunk holds at most 65,535 characters, so one item's text fits.
        std::vector<char16_t> buffer(0x10000);
        for (;;) {
            record = CAReadRecord{};
            record.size = sizeof record;
            record.buffer = buffer.data();
            record.bytesFree = static_cast<uint32_t>(buffer.size() * 2);
            if (CAReadNext(hContent, &record) != 0) break;
            if (record.type == CA_RECORD_CHUNKEND) {
                chunks_.emplace_back();
            } else if (record.type == CA_RECORD_TEXT) {
                const uint32_t delivered = record.bytesWritten / 2;
                for (uint32_t i = 0; i < record.count; ++i) {
                    chunks_.back().push_back(i < delivered && i < buffer.size() ? buffer[i] : u'\uFFFD');
                }
            }
        }
    }

    uint32_t hChunker_ = 0;
    std::vector<std::u16string> chunks_;
};

// One position of a layout pass.
struct Cell {
    enum class What { kCharacter, kParagraphEnd, kObject, kInsertedCharacter, kInsertedBreak };
    AnnoPos pos;
    What what;
    char16_t character;      // kCharacter and kInsertedCharacter
    uint32_t itemType;       // the chunker's item type at a document position
    uint32_t changed;        // ANTRACK_* bits that ANTrackAnno reported here
    const AnnoTrackInfo* look;  // the tracking record after the call

    bool hidden() const { return look->hidden != 0; }
};

// A layout pass over a whole document: ANNextPos from its first position,
// ANTrackAnno at every position, ANGetAnnoText at inserted ones.
//
//     for (const Cell& cell : LayoutPass(document)) ...
//
// The pass holds slot indexes of the list: do not add or remove annotations
// while it runs.
class LayoutPass {
public:
    explicit LayoutPass(const Document& document)
        : hDoc_(document.handle()), lifetime_(document.lifetime()), text_(hDoc_), inserted_(document) {
        // No hilite is on until tracking says so, also when there is nothing
        // to track.
        track_.nextNode = 0xFFFF;
        track_.hiliteNode = 0xFFFF;
    }

    class Iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = Cell;
        using difference_type = std::ptrdiff_t;

        const Cell& operator*() const { return cell_; }
        const Cell* operator->() const { return &cell_; }
        Iterator& operator++() {
            pass_->CheckAlive();
            if (ANNextPos(pass_->hDoc_, &cell_.pos, &cell_.pos) != 0) {
                pass_ = nullptr;
            } else {
                pass_->Fill(cell_);
            }
            return *this;
        }
        bool operator==(const Iterator& other) const { return pass_ == other.pass_; }

    private:
        friend class LayoutPass;
        LayoutPass* pass_ = nullptr;
        Cell cell_{};
    };

    Iterator begin() {
        CheckAlive();
        Iterator it;
        it.cell_.pos = DocumentPosition(0, 0);
        it.cell_.look = &track_;
        uint32_t item[CH_ITEM_WORDS] = {};
        if (CHGetItem(text_.chunker(), 0, 0, item, nullptr) != 0) return it;
        it.cell_.pos.subItemId = item[0] == CH_ITEM_TEXT ? item[1] : 0xFFFFFFFF;
        // Text inserted at the first document position comes before it.
        const AnnoPos firstInserted{0, it.cell_.pos.subItemId, ANPOS_ANNOTEXT, 0};
        char16_t unused = 0;
        if (inserted_.Read(firstInserted, unused) != ANERR_NOTFOUND) it.cell_.pos = firstInserted;
        tracking_ = ANStartAnnoTrack(hDoc_, &it.cell_.pos, &track_) == 2;
        it.pass_ = this;
        Fill(it.cell_);
        return it;
    }
    Iterator end() { return Iterator{}; }

    ~LayoutPass() {
        if (!lifetime_.expired()) ANEndAnnoTrack(hDoc_, &track_);
    }
    LayoutPass(const LayoutPass&) = delete;
    LayoutPass& operator=(const LayoutPass&) = delete;

private:
    void CheckAlive() const { assert(!lifetime_.expired() && "LayoutPass used after its Document was released"); }

    void Fill(Cell& cell) {
        cell.look = &track_;
        cell.changed = tracking_ ? ANTrackAnno(hDoc_, &cell.pos, &track_) : 0;
        cell.character = 0;
        cell.itemType = 0;
        if (IsInserted(cell.pos)) {
            char16_t c = 0;
            const uint32_t kind = inserted_.Read(cell.pos, c);
            cell.what = kind == ANNO_INSERTPARABREAK ? Cell::What::kInsertedBreak : Cell::What::kInsertedCharacter;
            cell.character = kind == ANNO_INSERTTEXT ? c : 0;
            return;
        }
        uint32_t item[CH_ITEM_WORDS] = {};
        CHGetItem(text_.chunker(), 0, cell.pos.itemId, item, nullptr);
        cell.itemType = item[0];
        if (item[0] == CH_ITEM_TEXT) {
            cell.what = Cell::What::kCharacter;
            cell.character = text_.CharAt(cell.pos.subItemId == 0xFFFFFFFF ? item[1] : cell.pos.subItemId);
        } else if (item[0] == CH_ITEM_PARAEND && item[1] == 1) {
            cell.what = Cell::What::kParagraphEnd;
        } else {
            cell.what = Cell::What::kObject;
        }
    }

    uint32_t hDoc_;
    std::weak_ptr<bool> lifetime_;
    DocumentText text_;
    TextTrack inserted_;
    AnnoTrackInfo track_{};
    bool tracking_ = false;
};

}  // namespace annotation::cxx

#endif
