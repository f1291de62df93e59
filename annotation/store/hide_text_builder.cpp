// The hide-text builder. A request to hide a range is reshaped before it is
// listed: the range is trimmed to what is not hidden already (and not in the
// items of types 0xF0 and 0xF1, which neither begin nor end hidden text),
// and it is cut at every paragraph end inside it, the document's own and the
// inserted ones. Each run before a paragraph end is added at once as a
// hide-text annotation of its own, each such paragraph end gets a
// hide-paragraph-break annotation unless one is on there already, and the
// run after the last paragraph end is handed back to be listed. The pieces
// are added silently: the client hears of the request once, as it asked it.
//
// Every walk steps with ANNextPos, which does not move at the document's last
// position. Each walk therefore also ends when a step fails; the comments at
// the walks say where the range ends then.
#include <cstddef>
#include <cstring>

#include "annotation/annotation.h"
#include "annotation/positions/list_queries.h"
#include "annotation/store/adding.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/doc_state.h"
#include "annotation/store/kind_builders.h"
#include "platform/chunker.h"

namespace annotation {
namespace {

constexpr uint32_t kSkippedItemType = 0xF0;
constexpr uint32_t kSkippedItemType2 = 0xF1;
constexpr uint32_t kPieceSize = 56;

bool Before(const AnnoPos& a, const AnnoPos& b) { return ComparePositions(a, b) < 0; }

// One builder call: the document, its state and its chunker.
struct HideWalk {
    uint32_t hDoc;
    uint32_t hInfo;
    uint32_t hChunker;

    // An item the chunker cannot describe counts as an ordinary one: neither
    // passed over nor a paragraph end.
    bool ReadItem(const AnnoPos& pos, uint32_t (&item)[CH_ITEM_WORDS]) const {
        return CHGetItem(hChunker, CH_KIND_ITEM, pos.itemId, item, nullptr) == 0;
    }
    bool InSkippedItem(const AnnoPos& pos) const {
        uint32_t item[CH_ITEM_WORDS] = {};
        return ReadItem(pos, item) && (item[0] == kSkippedItemType || item[0] == kSkippedItemType2);
    }
    bool AtDocumentParagraphEnd(const AnnoPos& pos) const {
        uint32_t item[CH_ITEM_WORDS] = {};
        return ReadItem(pos, item) && item[0] == CH_ITEM_PARAEND && item[1] == 1;
    }
    bool Hidden(const AnnoPos& pos) const { return IsPositionHidden(hInfo, &pos) != 0; }
    bool TextHidden(const AnnoPos& pos) const { return IsTextHidden(hInfo, &pos) != 0; }
    // Neither hidden nor in a passed-over item: where hidden text can begin.
    bool Visible(const AnnoPos& pos) const { return !InSkippedItem(pos) && !Hidden(pos); }

    // One step forward in reading order, in place. false, with `pos`
    // unchanged, at the document's last position (or if the step would not
    // move forward).
    bool Step(AnnoPos& pos) const {
        AnnoPos next = pos;
        if (ANNextPos(hDoc, &next, &next) != 0 || !Before(pos, next)) return false;
        pos = next;
        return true;
    }

    // Adds one piece of the request silently, through the whole add path.
    uint32_t AddPiece(uint16_t kind, const InternalAnno& request, const AnnoPos& start, const AnnoPos& end) const {
        AnnoRecord piece;
        piece.anno.size = kPieceSize;
        piece.anno.userId = request.userId;
        piece.anno.userData = request.userData;
        piece.anno.start = start;
        piece.anno.end = end;
        return AddAnnoP(hDoc, kind, &piece, 1);
    }
};

// The start moves to the first position of the range that can begin hidden
// text; when there is none, to the last position examined. A failed step
// (the document ends inside the range) counts as running into the end.
void TrimStart(const HideWalk& walk, InternalAnno& range) {
    AnnoPos probe = range.start;
    AnnoPos last = range.start;
    for (;;) {
        if (!Before(probe, range.end)) {
            range.start = last;
            return;
        }
        last = probe;
        if (walk.Visible(probe)) {
            range.start = probe;
            return;
        }
        if (!walk.Step(probe)) probe = range.end;
    }
}

// The end moves back to just after the last position, the end position
// included, that can begin hidden text. When that position is the
// document's last one there is no position after it, and the end stays
// where the request put it.
void TrimEnd(const HideWalk& walk, InternalAnno& range) {
    AnnoPos probe = range.start;
    AnnoPos last = range.start;
    while (!Before(range.end, probe)) {
        if (walk.Visible(probe)) last = probe;
        if (!walk.Step(probe)) break;
    }
    if (walk.Step(last) && Before(last, range.end)) range.end = last;
}

// The two trackings of the splitting walk: annotation tracking, which tells
// whether a hide-paragraph-break annotation is on, and the text track, which
// reads inserted paragraph breaks. Both end on every way out of the walk.
class SplitTracking {
public:
    SplitTracking(uint32_t hDoc, const AnnoPos& start) : hDoc_(hDoc) {
        trackResult_ = ANStartAnnoTrack(hDoc_, &start, &track_);
        // Without a cache ANGetAnnoText answers no character, so inserted
        // text then holds no paragraph end: the walk goes on without it.
        ANStartAnnoTextTrack(hDoc_, &text_);
    }
    ~SplitTracking() {
        ANEndAnnoTextTrack(hDoc_, &text_);
        ANEndAnnoTrack(hDoc_, &track_);
    }
    SplitTracking(const SplitTracking&) = delete;
    SplitTracking& operator=(const SplitTracking&) = delete;

    bool InsertedParagraphBreak(const AnnoPos& pos) {
        uint16_t character = 0;
        return ANGetAnnoText(hDoc_, &text_, &pos, &character) == ANNO_INSERTPARABREAK;
    }

    // Tracks up to `pos`; when the hide-paragraph-break state changed there,
    // `hiddenBreak` takes it.
    void TrackTo(const AnnoPos& pos, uint16_t& hiddenBreak) {
        if (trackResult_ != 2) return;
        if ((ANTrackAnno(hDoc_, &pos, &track_) & ANTRACK_HIDEPARABREAK) != 0) hiddenBreak = track_.paraBreakHidden;
    }

private:
    uint32_t hDoc_;
    uint32_t trackResult_ = 0;
    AnnoTrackInfo track_{};
    AnnoTextTrack text_{};
};

// Where the splitting walk leaves the last run: its start, and whether the
// walk ran out at the end of the range (then the run start is trimmed still).
struct LastRun {
    AnnoPos start;
    bool ranOut;
};

// Walks the range, adding the run before each paragraph end and the hidden
// break at it. 0, or the failure of a piece add (the pieces added before it
// stay listed).
uint32_t SplitAtParagraphEnds(const HideWalk& walk, const InternalAnno& range, LastRun& run) {
    SplitTracking tracking(walk.hDoc, range.start);
    run = LastRun{range.start, false};
    AnnoPos scan = range.start;
    for (;;) {
        if (!Before(scan, range.end)) {
            run.ranOut = true;
            return 0;
        }
        uint16_t paragraphEnd = 0;
        uint16_t hiddenBreak = 0;
        // Hidden text is passed over; at the document's last position the
        // walk ends as if the range ended there (scan cannot go further).
        while (walk.TextHidden(scan) && !Before(range.end, scan)) {
            if (!walk.Step(scan)) return 0;
        }
        const AnnoPos textEnd = scan;
        while (walk.InSkippedItem(scan)) {
            if (!walk.Step(scan)) return 0;
        }
        if (!Before(scan, range.end)) return 0;
        // No position after the document's last: the run after it is empty.
        AnnoPos following = scan;
        if (!walk.Step(following)) following = range.end;

        if (ANIsAnnoTextPos(&scan) != 0) {
            paragraphEnd = tracking.InsertedParagraphBreak(scan) ? 1 : 0;
        } else {
            paragraphEnd = walk.AtDocumentParagraphEnd(scan) ? 1 : 0;
        }
        tracking.TrackTo(scan, hiddenBreak);

        if (paragraphEnd != 0) {
            while (walk.TextHidden(run.start) && Before(run.start, scan)) {
                if (!walk.Step(run.start)) break;
            }
            if (Before(run.start, scan)) {
                const uint32_t result = walk.AddPiece(ANNO_HIDETEXT, range, run.start, textEnd);
                if (result != 0) return result;
            }
            if (hiddenBreak == 0) {
                const uint32_t result = walk.AddPiece(ANNO_HIDEPARABREAK, range, scan, scan);
                if (result != 0) return result;
            }
            run.start = following;
        }
        scan = following;
    }
}

// After a walk that ran out at the range's end, the last run starts at its
// first position that can begin hidden text. Both walks stop at the range's
// end and at the document's last position.
void TrimLastRun(const HideWalk& walk, const InternalAnno& range, AnnoPos& runStart) {
    while (walk.InSkippedItem(runStart) && Before(runStart, range.end)) {
        if (!walk.Step(runStart)) return;
    }
    while (walk.Hidden(runStart) && Before(runStart, range.end)) {
        if (!walk.Step(runStart)) return;
    }
}

}  // namespace

uint32_t MakeHideTextAnno(uint32_t hDoc, const AnnoRecord* anno, AnnoRecord* built, uint16_t* addToList) {
    DocInfoLock info(0);
    const uint32_t stateResult = LockDocState(hDoc, info);
    if (stateResult != 0) return stateResult;
    const HideWalk walk{hDoc, info.handle(), info->hChunker};

    std::memcpy(&built->anno, &anno->anno, offsetof(InternalAnno, reserved2) + sizeof(uint32_t));
    *addToList = 0;
    InternalAnno& range = built->anno;

    TrimStart(walk, range);
    TrimEnd(walk, range);
    if (ComparePositions(range.start, range.end) == 0) {
        // An empty request hides the one position at its start.
        if (!walk.Step(range.end)) DerivePointEnd(range);
        *addToList = 1;
        return 0;
    }

    LastRun run{};
    const uint32_t result = SplitAtParagraphEnds(walk, range, run);
    if (result != 0) return result;
    if (run.ranOut) TrimLastRun(walk, range, run.start);
    if (Before(run.start, range.end)) {
        range.start = run.start;
        *addToList = 1;
    }
    return 0;
}

}  // namespace annotation
