// Laying annotation lists out by hand for tests.
#include "support/list_layout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "annotation/handle_lock.h"
#include "annotation/store/anno_doc_info.h"
#include "annotation/store/anno_list.h"
#include "engine/engine.h"

namespace testing_support {

using annotation::AnnoList;
using annotation::AnnoNode;
using annotation::kNoSlot;

namespace {

constexpr uint32_t kTextStep = 64;

}  // namespace

NodeSpec Node(uint16_t kind, uint32_t userId, AnnoPos start, AnnoPos end, uint32_t userData) {
    NodeSpec spec;
    spec.kind = kind;
    spec.anno.size = kind == ANNO_INSERTTEXT ? 72 : 60;
    spec.anno.userId = userId;
    spec.anno.start = start;
    spec.anno.end = end;
    spec.anno.userData = userData;
    return spec;
}

NodeSpec TextNode(uint32_t userId, AnnoPos start, std::u16string text, uint32_t userData) {
    AnnoPos end = start;
    ++end.subItemId;
    NodeSpec spec = Node(ANNO_INSERTTEXT, userId, start, end, userData);
    spec.text = std::move(text);
    return spec;
}

uint32_t LayOutList(uint32_t hAnnoDocInfo, const std::vector<NodeSpec>& nodes) {
    annotation::LockedBlock<annotation::AnnoDocInfo> info(hAnnoDocInfo);
    EXPECT_TRUE(info);
    EXPECT_EQ(info->hAnnoList, 0u);
    // Room for every node with at least one free slot, in the list's steps.
    const auto capacity =
        static_cast<uint16_t>((nodes.size() / annotation::kListSlotStep + 1) * annotation::kListSlotStep);
    const uint32_t hList = SYSNativeAlloc(annotation::ListBlockBytes(capacity));
    EXPECT_NE(hList, 0u);
    annotation::LockedBlock<AnnoList> list(hList);
    const auto count = static_cast<uint16_t>(nodes.size());
    *list = AnnoList{count, capacity, kNoSlot, kNoSlot, kNoSlot, kNoSlot, 0, 0};
    for (uint16_t slot = 0; slot < capacity; ++slot) {
        AnnoNode& node = list->Node(slot);
        node = AnnoNode{};
        const bool listed = slot < count;
        const uint16_t first = listed ? 0 : count;
        const uint16_t last = listed ? static_cast<uint16_t>(count - 1) : static_cast<uint16_t>(capacity - 1);
        node.prev = slot == first ? kNoSlot : static_cast<uint16_t>(slot - 1);
        node.next = slot == last ? kNoSlot : static_cast<uint16_t>(slot + 1);
        if (!listed) continue;
        node.kind = nodes[slot].kind;
        node.anno = nodes[slot].anno;
        if (node.kind == ANNO_INSERTTEXT || node.kind == ANNO_INSERTPARABREAK) list->hasInsertText = 1;
        if (node.kind == ANNO_INSERTTEXT) {
            const std::u16string& text = nodes[slot].text;
            node.anno.textLen = static_cast<uint32_t>(text.size());
            node.anno.textCap = (node.anno.textLen / kTextStep + 1) * kTextStep;
            node.anno.hText = SYSNativeAlloc(node.anno.textCap * 2);
            annotation::LockedBlock<char16_t> block(node.anno.hText);
            std::copy(text.begin(), text.end(), block.get());
        }
    }
    if (count > 0) {
        list->head = 0;
        list->tail = static_cast<uint16_t>(count - 1);
    }
    list->freeHead = count;
    list->freeTail = static_cast<uint16_t>(capacity - 1);
    info->hAnnoList = hList;
    return hList;
}

}  // namespace testing_support
