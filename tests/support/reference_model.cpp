// The brute-force reading of a document's annotations; see the header.
#include "support/reference_model.h"

#include <algorithm>

#include "annotation/styles/hilite_look.h"
#include "support/adding.h"

namespace testing_support {

namespace {

bool AtAnchor(const InternalAnno& anno, uint32_t itemId, uint32_t subItemId) {
    return anno.start.itemId == itemId && anno.start.subItemId == subItemId;
}

}  // namespace

bool IsInsert(uint16_t kind) { return kind == ANNO_INSERTTEXT || kind == ANNO_INSERTPARABREAK; }

uint32_t InsertedLength(uint16_t kind, const InternalAnno& anno) { return kind == ANNO_INSERTTEXT ? anno.textLen : 1; }

bool Covers(const InternalAnno& anno, const AnnoPos& pos) {
    return ANCompPos(&anno.start, &pos) <= 0 && ANCompPos(&pos, &anno.end) < 0;
}

bool InStartOrder(const std::vector<ListedNode>& nodes) {
    for (size_t i = 1; i < nodes.size(); ++i) {
        if (ANCompPos(&nodes[i - 1].anno.start, &nodes[i].anno.start) > 0) return false;
    }
    return true;
}

bool CoveredByKind(const std::vector<ListedNode>& nodes, const AnnoPos& pos, std::initializer_list<uint16_t> kinds) {
    return FirstCovering(nodes, pos, [&](const ListedNode& node) {
               return std::find(kinds.begin(), kinds.end(), node.kind) != kinds.end();
           }) != nullptr;
}

const ListedNode* ShownHilite(const std::vector<ListedNode>& nodes, const AnnoPos& pos) {
    const ListedNode* shown = nullptr;
    for (const ListedNode& node : nodes) {
        if (node.kind != ANNO_HILITETEXT || !Covers(node.anno, pos)) continue;
        if (shown == nullptr) {
            shown = &node;
            continue;
        }
        const int ends = ANCompPos(&node.anno.end, &shown->anno.end);
        if (ends < 0 || (ends == 0 && ANCompPos(&node.anno.start, &shown->anno.start) != 0) ||
            (ends > 0 && node.slot > shown->slot)) {
            shown = &node;
        }
    }
    return shown;
}

bool HasInsertAt(const std::vector<ListedNode>& nodes, uint32_t itemId, uint32_t subItemId) {
    return std::any_of(nodes.begin(), nodes.end(), [&](const ListedNode& node) {
        return IsInsert(node.kind) && AtAnchor(node.anno, itemId, subItemId);
    });
}

std::u16string CombinedText(const std::vector<ListedNode>& nodes, uint32_t itemId, uint32_t subItemId) {
    std::u16string text;
    for (const ListedNode& node : nodes) {
        if (!IsInsert(node.kind) || !AtAnchor(node.anno, itemId, subItemId)) continue;
        if (node.kind == ANNO_INSERTTEXT) text += node.text;
        if (node.kind == ANNO_INSERTPARABREAK) text += kBreakChar;
    }
    return text;
}

std::vector<AnnoPos> ReadingOrder(const std::vector<ListedNode>& nodes, const std::vector<AnnoPos>& documentPositions) {
    std::vector<AnnoPos> order;
    for (const AnnoPos& pos : documentPositions) {
        if (HasInsertAt(nodes, pos.itemId, pos.subItemId)) {
            // An anchor whose texts are all empty still has its one text
            // position.
            const size_t length = std::max<size_t>(1, CombinedText(nodes, pos.itemId, pos.subItemId).size());
            for (uint32_t offset = 0; offset < length; ++offset) {
                order.push_back(AnnoPos{pos.itemId, pos.subItemId, ANPOS_ANNOTEXT, offset});
            }
        }
        order.push_back(pos);
    }
    return order;
}

::testing::AssertionResult TrackedStateAgrees(uint32_t hDoc, const std::vector<ListedNode>& nodes, const AnnoPos& pos,
                                              uint32_t bits, const AnnoTrackInfo& before, const AnnoTrackInfo& after) {
    const ListedNode* object = LastCovering(nodes, pos, [](const ListedNode& node) {
        return node.kind == ANNO_INSERTICON || node.kind == ANNO_INSERTBITMAP;
    });
    const ListedNode* text = LastCovering(nodes, pos, [](const ListedNode& node) { return node.kind == ANNO_INSERTTEXT; });
    const uint32_t objectBits = bits & (ANTRACK_ICON | ANTRACK_BITMAP);
    uint32_t coveringBits = 0;  // every icon and bitmap there is reported, the last one met fills objectData
    for (const ListedNode& node : nodes) {
        if (node.kind == ANNO_INSERTICON && Covers(node.anno, pos)) coveringBits |= ANTRACK_ICON;
        if (node.kind == ANNO_INSERTBITMAP && Covers(node.anno, pos)) coveringBits |= ANTRACK_BITMAP;
    }

    AnnoTrackInfo look{};
    const ListedNode* hilite = ShownHilite(nodes, pos);
    if (hilite != nullptr) annotation::SwitchHiliteLookOn(hDoc, hilite->anno.displayData, hilite->anno.userData, look);

    const char* wrong = nullptr;
    if (after.hidden != (CoveredByKind(nodes, pos, {ANNO_HIDETEXT}) ? 1 : 0)) wrong = "hidden";
    else if (after.paraBreakHidden != (CoveredByKind(nodes, pos, {ANNO_HIDEPARABREAK}) ? 1 : 0)) wrong = "paraBreakHidden";
    else if (after.hidden != before.hidden && (bits & ANTRACK_HIDE) == 0) wrong = "hidden changed unreported";
    else if (after.paraBreakHidden != before.paraBreakHidden && (bits & ANTRACK_HIDEPARABREAK) == 0)
        wrong = "paraBreakHidden changed unreported";
    else if (after.color1On != look.color1On || after.color2On != look.color2On) wrong = "hilite switches";
    else if (look.color1On != 0 && after.color1 != look.color1) wrong = "color1";
    else if (look.color2On != 0 && after.color2 != look.color2) wrong = "color2";
    else if (hilite != nullptr && after.hiliteNode != hilite->slot) wrong = "hiliteNode";
    // A point annotation is reported at the processing call at its start.
    // Text positions inserted before the next document position sort before
    // it too, so a point annotation covers them as well, but with no change
    // there no call processes them.
    else if (object == nullptr && objectBits != 0) wrong = "object reported where none is";
    else if (object != nullptr && objectBits != 0 &&
             (objectBits != coveringBits ||
              after.objectData != object->anno.displayData))
        wrong = "object";
    else if (object != nullptr && object->anno.start == pos && objectBits == 0) wrong = "object not reported";
    else if (text == nullptr && (bits & ANTRACK_INSERTTEXT) != 0) wrong = "text reported where none is";
    else if (text != nullptr && text->anno.start == pos && (bits & ANTRACK_INSERTTEXT) == 0) wrong = "text not reported";
    else if (text != nullptr && (bits & ANTRACK_INSERTTEXT) != 0 &&
             (after.hText != text->anno.hText || after.textLen != text->anno.textLen))
        wrong = "text";
    if (wrong == nullptr) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "tracking at " << pos << " with bits " << bits << ": " << wrong;
}

}  // namespace testing_support
