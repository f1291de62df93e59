// Appends parsed descriptions to a document model: places items and
// characters into chunks and sections by the chunk rules, and resolves marked
// ranges to the item they begin at.
//
// Chunk rules: a chunk ends at {chunk} or {section}, at the first paragraph
// end at which it holds 4096 or more characters, and before an item or
// character that would give it more than 65535 items or characters (a text
// run is then split into two text items, one in each chunk). Chunks and
// sections open lazily, with the next item, so {chunk} and {section} never
// leave an empty chunk behind; on a chunk that holds no item yet (the start
// of the document) they do nothing, and repeating them adds nothing.
#ifndef ENGINE_DOCUMENT_BUILDER_H
#define ENGINE_DOCUMENT_BUILDER_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "engine/description_parser.h"
#include "engine/document_model.h"

namespace engine {

class DocumentBuilder {
public:
    explicit DocumentBuilder(DocumentModel& model) noexcept : model_(model) {}

    // Adds the paragraphs of `parsed` at the end of the model, as if its
    // description had been longer from the start.
    void Append(const ParsedDescription& parsed);

private:
    void AddText(std::u16string_view text, std::uint32_t flags);
    void AddItem(std::uint32_t type, std::uint32_t word1);
    void AddParagraphEnd();
    void AddBreak(PendingBreak requested);
    void AddRegionRecord(ContentKind kind, std::uint32_t id);

    // The chunk the next item goes into (and, when `withChar`, its first
    // character too): the last one, or a new one when a break is pending or
    // the last one is full.
    Chunk& ChunkFor(bool withChar);
    // Adds `item` to `chunk`, the last one, and gives its index there; its id
    // begins every marked range that waits for an item. A {item 7} is not a
    // text item: only text runs get content records.
    std::uint32_t PushItem(Chunk& chunk, const Item& item);

    DocumentModel& model_;
    // Range types of {mark}s seen since the last item.
    std::vector<std::uint32_t> waitingRanges_;
    // Region records seen after a chunk ended, for the chunk that opens next.
    std::vector<ContentEntry> waitingRecords_;
};

}  // namespace engine

#endif
