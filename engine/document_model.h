// The in-memory form of a document as the chunker and the content stream see
// it: chunks of items and characters, sections, and marked ranges.
//
// Numbering callers rely on:
//   item id      = chunk x 65536 + the item's index in its chunk
//   character id = chunk x 65536 + the character's offset among the
//                  characters of the chunk's text items
//   ACC          = characters in all earlier chunks + offset in the chunk
// A chunk holds at most 65535 items and 65535 characters. The document
// always has chunk 0 and section 0, even when it holds nothing; every other
// chunk holds at least one item.
//
// Lookups by id are O(1); by ACC or item ordinal O(log chunks). Tuned for
// descriptions of a million characters walked position by position.
#ifndef ENGINE_DOCUMENT_MODEL_H
#define ENGINE_DOCUMENT_MODEL_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace engine {

// Item types (word 0 of an item record).
inline constexpr std::uint32_t kItemParagraphEnd = 0;  // word 1 = 1
inline constexpr std::uint32_t kItemText = 7;          // word 1 first character id, word 2 count
inline constexpr std::uint32_t kItemRangeEnd = 68;     // word 1 = range type

// "No item": the following id after the last item.
inline constexpr std::uint32_t kNoItem = 0xFFFFFFFF;

// Most items, and most characters, one chunk may hold.
inline constexpr std::uint32_t kChunkCapacity = 65535;
// A chunk ends at the first paragraph end at which it holds this many characters.
inline constexpr std::uint32_t kChunkTargetChars = 4096;

constexpr std::uint32_t MakeId(std::uint32_t chunk, std::uint32_t index) noexcept {
    return (chunk << 16) | index;
}
constexpr std::uint32_t ChunkOfId(std::uint32_t id) noexcept { return id >> 16; }
constexpr std::uint32_t IndexOfId(std::uint32_t id) noexcept { return id & 0xFFFF; }

struct Item {
    std::uint32_t type = 0;
    std::uint32_t word1 = 0;
    std::uint32_t word2 = 0;
    std::uint32_t charsBefore = 0;  // characters of the chunk before the item (text: its first offset)
    std::uint32_t textFlags = 0;    // text items: kText* flags of description_parser.h
};

// One record of a chunk's content stream, apart from its closing chunk-end
// record.
enum class ContentKind : std::uint8_t { Text, RegionStart, RegionEnd };

struct ContentEntry {
    ContentKind kind = ContentKind::Text;
    std::uint32_t value = 0;  // Text: item index in the chunk; regions: the region id
};

struct Chunk {
    std::uint32_t section = 0;
    std::uint32_t firstAcc = 0;      // characters in earlier chunks
    std::uint32_t firstOrdinal = 0;  // items in earlier chunks
    std::vector<Item> items;
    std::u16string text;  // the characters of the chunk's text items, in order
    std::vector<ContentEntry> content;
};

struct MarkedRange {
    std::uint32_t startItemId = 0;
    std::uint32_t type = 0;
};

// What ends the last chunk before the next item arrives.
enum class PendingBreak : std::uint8_t { None, Chunk, Section };

class DocumentModel {
public:
    DocumentModel();

    std::uint32_t ChunkCount() const noexcept { return static_cast<std::uint32_t>(chunks_.size()); }
    std::uint32_t SectionCount() const noexcept {
        return static_cast<std::uint32_t>(sectionFirstChunk_.size());
    }
    std::uint32_t MarkedRangeCount() const noexcept { return static_cast<std::uint32_t>(ranges_.size()); }
    std::uint32_t ItemCount() const noexcept;
    std::uint32_t CharCount() const noexcept;

    // Null when nothing has that number.
    const Chunk* FindChunk(std::uint32_t chunk) const noexcept;
    const Item* FindItem(std::uint32_t itemId) const noexcept;
    const MarkedRange* FindMarkedRange(std::uint32_t index) const noexcept;

    // The item after `itemId` (which must name an item), across chunks;
    // kNoItem after the last.
    std::uint32_t NextItemId(std::uint32_t itemId) const noexcept;
    // The item with that 0-based number in document order.
    std::optional<std::uint32_t> ItemIdByOrdinal(std::uint32_t ordinal) const noexcept;
    // The character id of the character with that ACC.
    std::optional<std::uint32_t> CharIdByAcc(std::uint32_t acc) const noexcept;
    // True when `charId` names a character.
    bool HasChar(std::uint32_t charId) const noexcept;
    // The id of the last item of a section (its first chunk's id - 1 when the
    // section holds no item, which only the empty document's section 0 does).
    std::optional<std::uint32_t> SectionLastItemId(std::uint32_t section) const noexcept;

    // Building, used by DocumentBuilder only.
    Chunk& LastChunk() noexcept { return chunks_.back(); }
    // Appends a chunk after the last one, in a new section when asked. Throws
    // std::length_error when chunk numbers would not fit in 16 bits.
    Chunk& OpenChunk(bool newSection);
    void AddMarkedRange(const MarkedRange& range) { ranges_.push_back(range); }
    PendingBreak Pending() const noexcept { return pending_; }
    void SetPending(PendingBreak pending) noexcept { pending_ = pending; }

private:
    std::vector<Chunk> chunks_;
    std::vector<std::uint32_t> sectionFirstChunk_;
    std::vector<MarkedRange> ranges_;
    PendingBreak pending_ = PendingBreak::None;
};

}  // namespace engine

#endif
