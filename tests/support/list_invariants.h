// The soundness of a document's annotation list, checked by the tests after
// every call that changes it, and a readable copy of the list in order.
#ifndef TESTS_SUPPORT_LIST_INVARIANTS_H
#define TESTS_SUPPORT_LIST_INVARIANTS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "annotation/annotation.h"
#include "annotation/store/anno_list.h"

namespace testing_support {

// Success when the document's list (or its absence) is sound:
// - `count` nodes run from `head` along `next` to `tail`, and back along
//   `prev`; every link names a slot below `capacity`;
// - the free list runs from `freeHead` to `freeTail` the same way and holds
//   exactly the other capacity - count slots; no slot is on both lists;
// - every node's kind is 1..7, and every insert-text node owns a live text
//   block of textCap characters, textCap a multiple of 64 and > textLen;
// - hasInsertText is set when a node of kind 5 or 6 is listed;
// - the block is 96 + 80 x capacity bytes.
// A state without list is sound.
::testing::AssertionResult ListIsSound(uint32_t hDoc);

// One listed node, read out of the list.
struct ListedNode {
    uint16_t slot = 0;
    uint16_t kind = 0;
    InternalAnno anno{};
    std::u16string text;  // kind 5: the node's text
};

// The document's nodes in list order (empty without list).
std::vector<ListedNode> ListedNodes(uint32_t hDoc);

// The userId of every listed node, in list order.
std::vector<uint32_t> UserIds(uint32_t hDoc);

// The first node of `nodes` with `userId`; a test failure and an empty node
// when there is none.
const ListedNode& ByUserId(const std::vector<ListedNode>& nodes, uint32_t userId);

// A copy of the document's first listed node with `userId`.
ListedNode NodeOf(uint32_t hDoc, uint32_t userId);

// The list header; all kNoSlot/0 fields as an empty list when there is none.
annotation::AnnoList ListHeader(uint32_t hDoc);

// The slots of the free list, from freeHead along next.
std::vector<uint16_t> FreeSlots(uint32_t hDoc);

// The document's list handle, 0 for none.
uint32_t ListHandle(uint32_t hDoc);

}  // namespace testing_support

#endif
