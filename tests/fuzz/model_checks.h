// The API fuzzer's reference model: what a call may have done to a
// document's list, judged from the list before and after it, and what the
// module's queries must answer, judged against the brute-force reading of
// tests/support/reference_model.h.
//
// Where the store's rules decide exactly which nodes an add makes (pieces of
// hidden text, joining and splitting of inserted text, renumbering on
// removal), the model checks what those rules keep invariant instead of
// exact nodes:
// - an add of a hilite, icon, bitmap or hidden paragraph break adds exactly
//   that one node and changes no other;
// - copying and building take no node away;
// - an add of hidden text adds only hide nodes of its own user id, and
//   changes no other node but hidden ranges it merged into, which grow;
// - an add of inserted text or a paragraph break changes the combined text of
//   one anchor only, by putting its characters in at one offset (the end of
//   the text for a document position, the given offset for a text position
//   within the text, after a start in hidden text has moved to the start of
//   the hidden range; predicted where the offsets of the anchor's nodes are
//   those that adds give), and takes no node away;
// - a removal takes away every node its rule selects and tells the callback
//   of each it takes, except hilites and hidden ranges that became empty and
//   inserted text joined into its left neighbour; it adds none; and each
//   anchor's combined text loses exactly the characters of the insert nodes
//   reported;
// - a call that fails at once (bad argument, no annotation state) and every
//   call that only reads leaves the list byte for byte as it was.
#ifndef TESTS_FUZZ_MODEL_CHECKS_H
#define TESTS_FUZZ_MODEL_CHECKS_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "annotation/annotation.h"
#include "support/list_invariants.h"

namespace fuzz_model {

using Nodes = std::vector<testing_support::ListedNode>;

// An add as the caller asked for it.
struct AddRequest {
    uint16_t kind = 0;
    uint32_t userId = 0;
    AnnoPos start{};
    std::u16string text;  // kind 5: the text
};

// A removal reported to the callback (code 2).
struct Reported {
    uint16_t kind = 0;
    InternalAnno anno{};
};

::testing::AssertionResult Unchanged(const Nodes& before, const Nodes& after);

::testing::AssertionResult AddAgrees(const Nodes& before, const Nodes& after, const AddRequest& add, uint32_t result);

// `heard`: whether a callback was set to hear the removals (`reported`).
::testing::AssertionResult ClearAgrees(const Nodes& before, const Nodes& after, uint16_t flags, uint32_t value,
                                       const std::vector<Reported>& reported, bool heard);

// Copying and building only add: every node listed before is still listed,
// the same annotation in the same slot (its positions and text may have
// changed as inserted text joined it).
::testing::AssertionResult Kept(const Nodes& before, const Nodes& after);

// The module's position queries on `hDoc` (hidden text, a whole walk in
// reading order with the inserted characters, the tracking record and
// finding at every position of it) against the brute-force reading of
// `nodes`, the document's list. `documentPositions` are the chunker's
// positions of the document in order; `complete` says whether they run to
// the document's end, where the walk must then end too. Lists that are not in start order,
// and walks over anchors that are not among the document positions, are
// left out: there the module's early-stopping walks answer by its list
// order, not by coverage.
::testing::AssertionResult QueriesAgree(uint32_t hDoc, const Nodes& nodes, const std::vector<AnnoPos>& documentPositions,
                                        bool complete);

}  // namespace fuzz_model

#endif
