// The fuzzer's reference model; see the header for what it checks.
#include "model_checks.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <utility>

#include "annotation/positions/list_queries.h"
#include "annotation/store/doc_state.h"
#include "support/adding.h"
#include "support/reference_model.h"

namespace fuzz_model {

namespace {

using testing_support::InsertedLength;
using testing_support::IsInsert;
using testing_support::ListedNode;
using ::testing::AssertionFailure;
using ::testing::AssertionResult;
using ::testing::AssertionSuccess;
using Anchor = std::pair<uint32_t, uint32_t>;
using Who = std::pair<uint16_t, uint32_t>;  // kind, userId

Anchor AnchorOf(const AnnoPos& pos) { return {pos.itemId, pos.subItemId}; }

const ListedNode* AtSlot(const Nodes& nodes, uint16_t slot) {
    for (const ListedNode& node : nodes) {
        if (node.slot == slot) return &node;
    }
    return nullptr;
}

bool SameNode(const ListedNode& a, const ListedNode& b) {
    return a.slot == b.slot && a.kind == b.kind && std::memcmp(&a.anno, &b.anno, sizeof a.anno) == 0 && a.text == b.text;
}

// The same node in the sense an add of inserted text keeps: positions and
// the text's storage may change, who it is may not.
bool SameIdentity(const ListedNode& a, const ListedNode& b) {
    return a.kind == b.kind && a.anno.userId == b.anno.userId && a.anno.userData == b.anno.userData;
}

// A hidden range that a new one merged into: the same node, grown.
bool Widened(const ListedNode& old, const ListedNode& now) {
    ListedNode same = now;
    same.anno.start = old.anno.start;
    same.anno.end = old.anno.end;
    return old.kind == ANNO_HIDETEXT && SameNode(old, same) && ANCompPos(&now.anno.start, &old.anno.start) <= 0 &&
           ANCompPos(&now.anno.end, &old.anno.end) >= 0;
}

std::set<Anchor> InsertAnchors(const Nodes& before, const Nodes& after) {
    std::set<Anchor> anchors;
    for (const Nodes* nodes : {&before, &after}) {
        for (const ListedNode& node : *nodes) {
            if (IsInsert(node.kind)) anchors.insert(AnchorOf(node.anno.start));
        }
    }
    return anchors;
}

std::u16string TextAt(const Nodes& nodes, const Anchor& anchor) {
    return testing_support::CombinedText(nodes, anchor.first, anchor.second);
}

std::multiset<Who> Identities(const Nodes& nodes) {
    std::multiset<Who> all;
    for (const ListedNode& node : nodes) all.insert({node.kind, node.anno.userId});
    return all;
}

// Where an add of inserted text at `start` is anchored: a start inside
// hidden text moves to the start of the first hide-text node in list order
// that does not lie wholly before it.
AnnoPos EffectiveStart(const Nodes& before, const AnnoPos& start) {
    if (!testing_support::CoveredByKind(before, start, {ANNO_HIDETEXT, ANNO_HIDEPARABREAK})) return start;
    for (const ListedNode& node : before) {
        if (node.kind == ANNO_HIDETEXT &&
            (ANCompPos(&node.anno.start, &start) > 0 || ANCompPos(&node.anno.end, &start) >= 0)) {
            return node.anno.start;
        }
    }
    return start;
}

// Whether the insert nodes at `anchor` hold the offsets that the adds give
// them: a node at a text position has there the offset just past its own
// characters, and only the last one may sit at the document position.
// Copies keep the offsets of their source document, and a failed add keeps
// the offsets it shifted, so a list need not be in this state.
bool OffsetsConsistent(const Nodes& nodes, const Anchor& anchor) {
    uint64_t total = 0;
    bool atDocument = false;
    for (const ListedNode& node : nodes) {
        if (!IsInsert(node.kind) || AnchorOf(node.anno.start) != anchor) continue;
        if (atDocument) return false;
        total += InsertedLength(node.kind, node.anno);
        if (node.anno.start.posType != ANPOS_ANNOTEXT) atDocument = true;
        else if (node.anno.start.textOffset != total) return false;
    }
    return true;
}

// The characters of the insert node at `anchor` that sits at the document
// position itself (0 when none). Its start sorts after every text position
// of the anchor, so a new node at a text position is always listed in front
// of it: the new text can go in no later than in front of that node's share.
size_t ShareAtDocumentPosition(const Nodes& nodes, const Anchor& anchor) {
    for (const ListedNode& node : nodes) {
        if (IsInsert(node.kind) && AnchorOf(node.anno.start) == anchor && node.anno.start.posType != ANPOS_ANNOTEXT) {
            return InsertedLength(node.kind, node.anno);
        }
    }
    return 0;
}

// The combined text of at most one anchor changed, by `inserted` put in at
// one offset; at the anchor asked for, at the offset the request gives.
AssertionResult TextGrewByOneInsertion(const Nodes& before, const Nodes& after, const AddRequest& add,
                                       const std::u16string& inserted, uint32_t result) {
    std::vector<Anchor> changed;
    for (const Anchor& anchor : InsertAnchors(before, after)) {
        if (TextAt(before, anchor) != TextAt(after, anchor)) changed.push_back(anchor);
    }
    if (changed.empty()) {
        if (result == 0 && !inserted.empty()) return AssertionFailure() << "an add of inserted text changed no text";
        return AssertionSuccess();
    }
    if (changed.size() > 1) return AssertionFailure() << "an add changed the inserted text of " << changed.size() << " anchors";
    const std::u16string old = TextAt(before, changed[0]);
    const std::u16string now = TextAt(after, changed[0]);
    if (now.size() != old.size() + inserted.size()) return AssertionFailure() << "inserted text grew by the wrong length";
    std::vector<size_t> offsets;  // where the new characters can have gone in
    for (size_t k = 0; k <= old.size(); ++k) {
        if (now.compare(k, inserted.size(), inserted) == 0 && now.substr(0, k) == old.substr(0, k) &&
            now.substr(k + inserted.size()) == old.substr(k)) {
            offsets.push_back(k);
        }
    }
    if (offsets.empty()) return AssertionFailure() << "inserted text changed other than by one insertion";
    if (!testing_support::InStartOrder(before)) return AssertionSuccess();
    const AnnoPos start = EffectiveStart(before, add.start);
    if (changed[0] != AnchorOf(start) || !OffsetsConsistent(before, changed[0])) return AssertionSuccess();
    size_t expected = old.size();
    if (start.posType == ANPOS_ANNOTEXT) {
        // Beyond the text, or behind a node at the document position: the
        // store's choice.
        if (start.textOffset > old.size() - ShareAtDocumentPosition(before, changed[0])) return AssertionSuccess();
        expected = start.textOffset;
    }
    if (std::find(offsets.begin(), offsets.end(), expected) == offsets.end()) {
        return AssertionFailure() << "inserted text went in at offset " << offsets.front() << ", not " << expected;
    }
    return AssertionSuccess();
}

bool Selected(uint16_t flags, uint32_t value, uint32_t userId) {
    if ((flags & ANMATCH_USERID) != 0) return userId == value;
    if ((flags & ANMATCH_ALLBITS) != 0) return (value & userId) == value;
    return flags == 0 && static_cast<int32_t>(userId) >= 0;
}

// What ANFindAnno in mode 6 must give at `pos`: the first node in list order
// that covers it.
AssertionResult FindAgrees(uint32_t hDoc, const Nodes& nodes, const AnnoPos& pos) {
    AnnoFindInfo info{};
    info.size = sizeof info;
    info.searchFlags = ANFIND_AT | ANMATCH_ALLBITS;
    info.pos = pos;
    const uint32_t result = ANFindAnno(hDoc, 0, &info);
    const ListedNode* first = testing_support::FirstCovering(nodes, pos, [](const ListedNode&) { return true; });
    if (first == nullptr) {
        if (result == ANERR_NOTFOUND) return AssertionSuccess();
        return AssertionFailure() << "ANFindAnno found " << info.foundUserId << " where nothing covers " << pos;
    }
    if (result != 0 || info.foundUserId != first->anno.userId || info.foundUserData != first->anno.userData ||
        (!IsInsert(first->kind) && !(info.foundStart == first->anno.start && info.foundEnd == first->anno.end))) {
        return AssertionFailure() << "ANFindAnno at " << pos << " gave " << result << " and user id " << info.foundUserId
                                  << ", not " << first->anno.userId;
    }
    return AssertionSuccess();
}

AssertionResult CharacterAgrees(uint32_t hDoc, const Nodes& nodes, AnnoTextTrack& track, const AnnoPos& pos) {
    const std::u16string text = TextAt(nodes, AnchorOf(pos));
    uint16_t c = 0xFFFF;
    const uint32_t result = ANGetAnnoText(hDoc, &track, &pos, &c);
    if (pos.textOffset >= text.size()) {
        if (result == ANERR_NOTFOUND) return AssertionSuccess();
    } else if (text[pos.textOffset] == testing_support::kBreakChar) {
        if (result == ANNO_INSERTPARABREAK && c == 0) return AssertionSuccess();
    } else if (result == ANNO_INSERTTEXT && c == text[pos.textOffset]) {
        return AssertionSuccess();
    }
    return AssertionFailure() << "ANGetAnnoText at " << pos << " gave " << result << " and " << c;
}

// A layout pass in reading order: every step, every inserted character and
// the tracking record at every position.
AssertionResult WalkAgrees(uint32_t hDoc, const Nodes& nodes, const std::vector<AnnoPos>& order, bool walkEnds) {
    AnnoPos pos = order.front();
    AnnoTrackInfo track{};
    AnnoTextTrack text{};
    if (ANStartAnnoTextTrack(hDoc, &text) != 0) return AssertionFailure() << "ANStartAnnoTextTrack";
    const uint32_t started = ANStartAnnoTrack(hDoc, &pos, &track);
    const bool anyAhead = std::any_of(nodes.begin(), nodes.end(), [&](const ListedNode& node) {
        return ANCompPos(&node.anno.end, &pos) >= 0;
    });
    AssertionResult agrees = AssertionSuccess();
    if (started != (nodes.empty() ? 0u : anyAhead ? 2u : 1u)) agrees = AssertionFailure() << "ANStartAnnoTrack gave " << started;
    for (size_t i = 0; agrees && i < order.size(); ++i) {
        if (!(pos == order[i])) {
            agrees = AssertionFailure() << "the walk reached " << pos << " where " << order[i] << " comes";
            break;
        }
        if (started == 2) {
            const AnnoTrackInfo before = track;
            const uint32_t bits = ANTrackAnno(hDoc, &pos, &track);
            agrees = testing_support::TrackedStateAgrees(hDoc, nodes, pos, bits, before, track);
        }
        if (agrees && pos.posType == ANPOS_ANNOTEXT) agrees = CharacterAgrees(hDoc, nodes, text, pos);
        const uint32_t stepped = ANNextPos(hDoc, &pos, &pos);
        if (agrees && i + 1 < order.size() && stepped != 0) agrees = AssertionFailure() << "the walk ended at " << pos;
        if (agrees && i + 1 == order.size() && walkEnds && stepped != ANERR_NOTFOUND) {
            agrees = AssertionFailure() << "the walk went on past the end to " << pos;
        }
    }
    ANEndAnnoTrack(hDoc, &track);
    ANEndAnnoTextTrack(hDoc, &text);
    return agrees;
}

}  // namespace

AssertionResult Unchanged(const Nodes& before, const Nodes& after) {
    if (before.size() != after.size()) return AssertionFailure() << "the list went from " << before.size() << " to " << after.size() << " nodes";
    for (size_t i = 0; i < before.size(); ++i) {
        if (!SameNode(before[i], after[i])) return AssertionFailure() << "the node in slot " << before[i].slot << " changed";
    }
    return AssertionSuccess();
}

AssertionResult Kept(const Nodes& before, const Nodes& after) {
    for (const ListedNode& old : before) {
        const ListedNode* now = AtSlot(after, old.slot);
        if (now == nullptr || !SameIdentity(old, *now)) return AssertionFailure() << "the node in slot " << old.slot << " went";
    }
    return AssertionSuccess();
}

AssertionResult AddAgrees(const Nodes& before, const Nodes& after, const AddRequest& add, uint32_t result) {
    if (result == ANERR_BADPARAM || result == ANERR_NOANNODATA) return Unchanged(before, after);
    if (IsInsert(add.kind)) {
        AssertionResult kept = Kept(before, after);
        if (!kept) return kept;
    } else {
        for (const ListedNode& old : before) {
            const ListedNode* now = AtSlot(after, old.slot);
            const bool merged = add.kind == ANNO_HIDETEXT && now != nullptr && Widened(old, *now);
            if (now == nullptr || (!SameNode(old, *now) && !merged)) return AssertionFailure() << "an add of kind " << add.kind << " changed slot " << old.slot;
        }
    }
    std::vector<const ListedNode*> added;
    for (const ListedNode& node : after) {
        if (AtSlot(before, node.slot) == nullptr) added.push_back(&node);
    }
    const auto own = [&](const ListedNode* node, uint16_t kind) { return node->kind == kind && node->anno.userId == add.userId; };
    switch (add.kind) {
        case ANNO_HIDETEXT:
            for (const ListedNode* node : added) {
                if (!own(node, ANNO_HIDETEXT) && !own(node, ANNO_HIDEPARABREAK)) return AssertionFailure() << "a hide add listed a stranger";
            }
            return AssertionSuccess();
        case ANNO_INSERTTEXT:
            if (added.size() > 1 || (added.size() == 1 && !own(added[0], ANNO_INSERTTEXT))) {
                return AssertionFailure() << "an add of inserted text listed " << added.size() << " nodes";
            }
            return TextGrewByOneInsertion(before, after, add, add.text, result);
        case ANNO_INSERTPARABREAK: {
            // The break, and the piece of text it split off.
            const auto breaks = std::count_if(added.begin(), added.end(), [&](const ListedNode* node) { return own(node, ANNO_INSERTPARABREAK); });
            const auto pieces = std::count_if(added.begin(), added.end(), [](const ListedNode* node) { return node->kind == ANNO_INSERTTEXT; });
            if (breaks + pieces != static_cast<long>(added.size()) || breaks > 1 || pieces > 1 || (result == 0 && breaks != 1)) {
                return AssertionFailure() << "an add of a paragraph break listed " << added.size() << " nodes";
            }
            return TextGrewByOneInsertion(before, after, add, breaks == 1 ? std::u16string(1, testing_support::kBreakChar) : u"",
                                          result);
        }
        default:
            if (added.size() == 1 && own(added[0], add.kind)) return AssertionSuccess();
            if (added.empty() && result != 0) return AssertionSuccess();
            return AssertionFailure() << "an add of kind " << add.kind << " giving " << result << " listed " << added.size() << " nodes";
    }
}

AssertionResult ClearAgrees(const Nodes& before, const Nodes& after, uint16_t flags, uint32_t value,
                            const std::vector<Reported>& reported, bool heard) {
    if (reported.empty() && Unchanged(before, after)) return AssertionSuccess();  // refused, or nothing selected
    for (const ListedNode& node : after) {
        const ListedNode* old = AtSlot(before, node.slot);
        if (old == nullptr || old->kind != node.kind || old->anno.userId != node.anno.userId) {
            return AssertionFailure() << "a removal listed a node in slot " << node.slot;
        }
        if (Selected(flags, value, node.anno.userId)) return AssertionFailure() << "a selected node stayed: " << node.anno.userId;
    }
    std::multiset<Who> gone = Identities(before);
    for (const Who& who : Identities(after)) gone.erase(gone.find(who));
    std::map<Anchor, size_t> lost;  // characters of inserted text each anchor lost
    for (const Reported& r : reported) {
        const auto it = gone.find({r.kind, r.anno.userId});
        if (it == gone.end() || !Selected(flags, value, r.anno.userId)) {
            return AssertionFailure() << "the callback heard of " << r.anno.userId << ", which was not removed by the rule";
        }
        gone.erase(it);
        if (IsInsert(r.kind)) lost[AnchorOf(r.anno.start)] += InsertedLength(r.kind, r.anno);
    }
    for (const Who& who : gone) {
        // Emptied ranges go silently, and so does text joined into its left
        // neighbour; without a callback every removal does.
        if (heard && who.first != ANNO_HILITETEXT && who.first != ANNO_HIDETEXT && who.first != ANNO_HIDEPARABREAK &&
            who.first != ANNO_INSERTTEXT) {
            return AssertionFailure() << "a node of kind " << who.first << " went unreported";
        }
    }
    for (const Anchor& anchor : InsertAnchors(before, after)) {
        if (heard && TextAt(after, anchor).size() + lost[anchor] != TextAt(before, anchor).size()) {
            return AssertionFailure() << "inserted text at an anchor lost other than the removed characters";
        }
    }
    return AssertionSuccess();
}

AssertionResult QueriesAgree(uint32_t hDoc, const Nodes& nodes, const std::vector<AnnoPos>& documentPositions,
                             bool complete) {
    if (!testing_support::InStartOrder(nodes) || documentPositions.empty()) return AssertionSuccess();
    uint32_t hAnnoDocInfo = 0;
    if (annotation::GetAnnoFromDoc(hDoc, &hAnnoDocInfo) != 0) return AssertionSuccess();
    const bool anchorsOnPositions = std::all_of(nodes.begin(), nodes.end(), [&](const ListedNode& node) {
        return !IsInsert(node.kind) || std::any_of(documentPositions.begin(), documentPositions.end(), [&](const AnnoPos& pos) {
                   return AnchorOf(pos) == AnchorOf(node.anno.start);
               });
    });
    const std::vector<AnnoPos> order =
        anchorsOnPositions ? testing_support::ReadingOrder(nodes, documentPositions) : documentPositions;
    for (const AnnoPos& pos : order) {
        if (annotation::IsPositionHidden(hAnnoDocInfo, &pos) !=
                testing_support::CoveredByKind(nodes, pos, {ANNO_HIDETEXT, ANNO_HIDEPARABREAK}) ||
            annotation::IsTextHidden(hAnnoDocInfo, &pos) != testing_support::CoveredByKind(nodes, pos, {ANNO_HIDETEXT})) {
            return AssertionFailure() << "hidden or not at " << pos;
        }
        AssertionResult found = FindAgrees(hDoc, nodes, pos);
        if (!found) return found;
    }
    if (!anchorsOnPositions) return AssertionSuccess();
    return WalkAgrees(hDoc, nodes, order, complete);
}

}  // namespace fuzz_model
