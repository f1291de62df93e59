// Laying an annotation list out by hand, for tests of the calls that walk or
// free a list.
#ifndef TESTS_SUPPORT_LIST_LAYOUT_H
#define TESTS_SUPPORT_LIST_LAYOUT_H

#include <cstdint>
#include <string>
#include <vector>

#include "annotation/annotation.h"

namespace testing_support {

// One node to lay out: its kind and annotation; for kind 5, `text` becomes
// its own text block.
struct NodeSpec {
    uint16_t kind = ANNO_HILITETEXT;
    InternalAnno anno{};
    std::u16string text;
};

// Replaces the document's list (which must not exist yet) by a list that
// holds `nodes` in the order given, in slots 0, 1, ..., with the free slots
// after them, as the list's own adds leave it. Returns the list handle.
uint32_t LayOutList(uint32_t hAnnoDocInfo, const std::vector<NodeSpec>& nodes);

// A node spec with just a kind, a userId, a start and an end.
NodeSpec Node(uint16_t kind, uint32_t userId, AnnoPos start, AnnoPos end, uint32_t userData = 0);

// An insert-text node at `start` holding `text`.
NodeSpec TextNode(uint32_t userId, AnnoPos start, std::u16string text, uint32_t userData = 0);

}  // namespace testing_support

#endif
