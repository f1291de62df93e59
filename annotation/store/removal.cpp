// ANClearAnnos: removing the annotations that a user-id rule selects.
//
// Removing inserted text or an inserted paragraph break changes the combined
// inserted text of its anchor, so the removal renumbers the text positions
// that other annotations hold there, drops ranges that become empty, widens
// point annotations that become empty, and joins the two texts that a removed
// break separated. The client hears of every selected node (code 2); nodes
// that the removal drops on its own account are not reported.
#include <cstdint>
#include <cstring>

#include "annotation/annotation.h"
#include "annotation/handle_lock.h"
#include "annotation/index/list_index.h"
#include "annotation/store/anno_doc_info.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/doc_state.h"
#include "annotation/store/text_block.h"
#include "platform/memory.h"

namespace annotation {
namespace {

bool IsSelected(uint32_t userId, uint16_t flags, uint32_t value) {
    if (flags == 0) return static_cast<int32_t>(userId) >= 0;
    if ((flags & ANMATCH_USERID) != 0) return userId == value;
    if ((flags & ANMATCH_ALLBITS) != 0) return (value & userId) == value;
    return false;
}

// One ANClearAnnos call: the locked state and list, the node the selection
// walk visits next, and the result so far.
struct Removal {
    AnnoDocInfo& info;
    AnnoList& list;
    uint16_t continuation = kNoSlot;
    uint32_t result = 0;
    bool renumbers = true;  // false: no renumbering walk can change a node
};

// A released slot is never left named by trackNode, whoever released it.
void ForgetTrackNode(AnnoDocInfo& info, uint16_t slot) {
    if (info.trackNode != slot) return;
    info.trackNode = kNoSlot;
    info.trackPos.itemId = kWholeItem;
    info.trackPos.subItemId = kWholeItem;
}

// Drops a listed node that the removal empties or absorbs; it is not
// reported. When it is the node the walk visits next, the walk goes on with
// the node after it, which is still listed, so it never steps into the free
// list.
void DropNode(Removal& removal, uint16_t slot) {
    if (removal.continuation == slot) removal.continuation = removal.list.Node(slot).next;
    UnlinkNode(removal.list, slot);
    ReleaseSlot(removal.list, slot);
    ForgetTrackNode(removal.info, slot);
}

// The inserted text around a removed node R at its anchor.
struct RemovedText {
    AnnoPos anchor{};
    uint32_t offset = 0;       // where R's share of the combined text begins
    uint32_t length = 0;       // characters R took: textLen, or 1 for a break
    bool startInText = false;  // R started at a text position
    uint16_t left = kNoSlot;   // text node before R with no break between
    uint16_t right = kNoSlot;  // text node after R with no break between
};

RemovedText LookAround(AnnoList& list, const AnnoNode& removed) {
    RemovedText text;
    text.anchor = removed.anno.start;
    text.length = removed.kind == ANNO_INSERTTEXT ? removed.anno.textLen : 1;
    text.startInText = IsTextPosition(removed.anno.start);
    bool metInsert = false;
    ForEachNodeBackFrom(list, removed.prev, [&](uint16_t slot, const AnnoNode& node) {
        if (!SameAnchor(node.anno.start, text.anchor)) return false;
        if (node.kind == ANNO_INSERTTEXT) text.offset += node.anno.textLen;
        if (node.kind == ANNO_INSERTPARABREAK) text.offset += 1;
        if (IsInsertKind(node.kind) && !metInsert) {
            metInsert = true;
            if (node.kind == ANNO_INSERTTEXT) text.left = slot;
        }
        return true;
    });
    ForEachNodeFrom(list, removed.next, [&](uint16_t slot, const AnnoNode& node) {
        if (!SameAnchor(node.anno.start, text.anchor) || node.kind == ANNO_INSERTPARABREAK) return false;
        if (node.kind != ANNO_INSERTTEXT) return true;
        text.right = slot;
        return false;
    });
    return text;
}

// A position that pointed behind the removed text moves back by its length;
// one that pointed into it moves behind it when R started in inserted text,
// and otherwise onto the anchor itself.
void ApplyOffsetRule(AnnoPos& pos, const RemovedText& text) {
    if (!SameAnchor(pos, text.anchor) || !IsTextPosition(pos)) return;
    const uint64_t t = pos.textOffset;
    const uint64_t removedEnd = uint64_t{text.offset} + text.length;
    if (t >= removedEnd) {
        pos.textOffset -= text.length;
    } else if (t >= text.offset) {
        if (text.startInText) {
            pos.textOffset = static_cast<uint32_t>(removedEnd);
        } else {
            pos.posType = 0;
            pos.textOffset = 0;
        }
    }
}

// Whether a renumbering walk can change anything in the list: it changes
// only positions in inserted text, and drops or widens only nodes whose
// start equals their end once it has changed them, so it cannot without a
// node that holds a text position or whose start already equals its end.
// A removal only ever takes such nodes away or turns their text positions
// into document positions, never makes new ones, so one look before the
// first removal serves the whole call, and a list without inserted-text
// positions is cleared without walking it once per inserted text.
bool RenumberingCanChange(AnnoList& list) {
    bool can = false;
    ForEachNode(list, [&](uint16_t, const AnnoNode& node) {
        can = IsTextPosition(node.anno.start) || IsTextPosition(node.anno.end) ||
              ComparePositions(node.anno.start, node.anno.end) == 0;
        return !can;
    });
    return can;
}

void Renumber(Removal& removal, const RemovedText& text) {
    if (!removal.renumbers) return;
    ForEachNode(removal.list, [&](uint16_t slot, AnnoNode& node) {
        InternalAnno& n = node.anno;
        if (AnchorBeyond(n.start, text.anchor)) return false;
        ApplyOffsetRule(n.start, text);
        ApplyOffsetRule(n.end, text);
        if (ComparePositions(n.start, n.end) != 0) return true;
        if (IsRangeKind(node.kind)) {
            DropNode(removal, slot);
        } else if (IsTextPosition(n.end)) {
            ++n.end.textOffset;
        } else {
            ++n.end.subItemId;
        }
        return true;
    });
}

// Joins the text of `right` behind the text of `left` once the break between
// them is gone, drops `right`, and moves in front of `left` the nodes that
// follow it and start in what was the right text. When the left text block
// cannot grow, the two texts stay apart and the result is ANERR_NOMEMORY.
void JoinTexts(Removal& removal, const RemovedText& text) {
    AnnoList& list = removal.list;
    InternalAnno& left = list.Node(text.left).anno;
    InternalAnno& right = list.Node(text.right).anno;
    const uint32_t total = left.textLen + right.textLen;
    if (total < left.textLen || GrowTextBlock(left, total) != 0) {
        removal.result = ANERR_NOMEMORY;
        return;
    }
    if (right.textLen > 0) {
        LockedBlock<uint16_t> to(left.hText);
        LockedBlock<const uint16_t> from(right.hText);
        if (!to || !from) {
            removal.result = ANERR_NOMEMORY;
            return;
        }
        std::memcpy(to.get() + left.textLen, from.get(), size_t{right.textLen} * 2);
    }
    const uint32_t rightLength = right.textLen;
    SYSNativeFree(right.hText);
    right.hText = 0;
    left.textLen = total;
    DropNode(removal, text.right);

    // Moving nodes in front of `left` never skips one the walk has not yet
    // visited: the walk's next node stays listed and is visited where it now
    // stands; `left` itself may then be visited twice, which changes nothing
    // since it was not selected the first time.
    const uint64_t limit = uint64_t{text.offset} + rightLength;
    for (uint16_t follower = list.Node(text.left).next; follower != kNoSlot; follower = list.Node(text.left).next) {
        const AnnoPos& start = list.Node(follower).anno.start;
        if (!SameAnchor(start, text.anchor) || !IsTextPosition(start) || start.textOffset >= limit) break;
        MoveNodeBefore(list, follower, text.left);
    }
}

// Takes a selected node out of the list, undoes what its inserted text did,
// releases its slot and tells the client.
void RemoveNode(Removal& removal, uint16_t slot) {
    AnnoList& list = removal.list;
    AnnoNode& node = list.Node(slot);
    UnlinkNode(list, slot);
    if (IsInsertKind(node.kind)) {
        const RemovedText text = LookAround(list, node);
        Renumber(removal, text);
        if (node.kind == ANNO_INSERTTEXT) {
            if (node.anno.hText != 0) SYSNativeFree(node.anno.hText);
            node.anno.hText = 0;
        } else if (text.left != kNoSlot && text.right != kNoSlot) {
            JoinTexts(removal, text);
        }
    }
    ReleaseSlot(list, slot);
    ForgetTrackNode(removal.info, slot);
    if (removal.info.callback != nullptr) {
        removal.result = removal.info.callback(2, node.kind, &node.anno, removal.info.callbackData);
    }
}

}  // namespace
}  // namespace annotation

using namespace annotation;

// While the callback runs, the list stays locked and the walk keeps its place
// in it, so calls back into the module that would change this document's list
// or take its state down are refused (see kReentryListHeld).
extern "C" AN_API uint32_t ANClearAnnos(uint32_t hDoc, uint16_t flags, uint32_t value) {
    DocInfoLock info(0);
    const uint32_t stateResult = LockDocState(hDoc, info);
    if (stateResult != 0) return stateResult;
    if (info->hAnnoList == 0) return 0;
    if ((info->reentry & kReentryListHeld) != 0) return ANERR_NOMEMORY;
    LockedBlock<AnnoList> list(info->hAnnoList);
    if (!list) return ANERR_NOMEMORY;

    // The index does not follow removals; it is dropped before the first
    // and again at the end, in case a callback had it rebuilt meanwhile.
    DropListIndex(*info);
    Removal removal{*info, *list};
    removal.renumbers = RenumberingCanChange(*list);
    {
        ReentryScope scope(*info, kReentryCallback | kReentryListHeld);
        WalkNodes(*list, list->head, &AnnoNode::next, [&](uint16_t slot, AnnoNode& node, uint16_t& follower) {
            if (IsSelected(node.anno.userId, flags, value)) {
                removal.continuation = follower;
                RemoveNode(removal, slot);
                follower = removal.continuation;
            }
            return true;
        });
    }
    DropListIndex(*info);
    const bool emptied = list->count == 0;
    list.Unlock();
    if (emptied) FreeAnnoList(info->hAnnoList);
    return removal.result;
}
