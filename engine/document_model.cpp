// Queries on the document model.
#include "engine/document_model.h"

#include <algorithm>
#include <stdexcept>

namespace engine {
namespace {

// The last chunk whose `key` is at most `value`: with chunks ordered by their
// first ACC (or first ordinal), the chunk that holds that ACC (or ordinal)
// when it lies inside the document. Empty chunks share their key with the
// next chunk and are passed over by taking the last match.
template <typename Key>
std::size_t LastChunkStartingAtOrBefore(const std::vector<Chunk>& chunks, std::uint32_t value, Key key) {
    auto after = std::upper_bound(chunks.begin(), chunks.end(), value,
                                  [&](std::uint32_t v, const Chunk& chunk) { return v < key(chunk); });
    return static_cast<std::size_t>(after - chunks.begin()) - 1;
}

}  // namespace

DocumentModel::DocumentModel() : chunks_(1), sectionFirstChunk_(1, 0) {}

std::uint32_t DocumentModel::ItemCount() const noexcept {
    const Chunk& last = chunks_.back();
    return last.firstOrdinal + static_cast<std::uint32_t>(last.items.size());
}

std::uint32_t DocumentModel::CharCount() const noexcept {
    const Chunk& last = chunks_.back();
    return last.firstAcc + static_cast<std::uint32_t>(last.text.size());
}

const Chunk* DocumentModel::FindChunk(std::uint32_t chunk) const noexcept {
    return chunk < chunks_.size() ? &chunks_[chunk] : nullptr;
}

const Item* DocumentModel::FindItem(std::uint32_t itemId) const noexcept {
    const Chunk* chunk = FindChunk(ChunkOfId(itemId));
    if (chunk == nullptr || IndexOfId(itemId) >= chunk->items.size()) return nullptr;
    return &chunk->items[IndexOfId(itemId)];
}

const MarkedRange* DocumentModel::FindMarkedRange(std::uint32_t index) const noexcept {
    return index < ranges_.size() ? &ranges_[index] : nullptr;
}

std::uint32_t DocumentModel::NextItemId(std::uint32_t itemId) const noexcept {
    const std::uint32_t chunk = ChunkOfId(itemId);
    if (IndexOfId(itemId) + 1u < chunks_[chunk].items.size()) return itemId + 1;
    for (std::uint32_t next = chunk + 1; next < chunks_.size(); ++next) {
        if (!chunks_[next].items.empty()) return MakeId(next, 0);
    }
    return kNoItem;
}

std::optional<std::uint32_t> DocumentModel::ItemIdByOrdinal(std::uint32_t ordinal) const noexcept {
    if (ordinal >= ItemCount()) return std::nullopt;
    const std::size_t chunk = LastChunkStartingAtOrBefore(
        chunks_, ordinal, [](const Chunk& c) { return c.firstOrdinal; });
    return MakeId(static_cast<std::uint32_t>(chunk), ordinal - chunks_[chunk].firstOrdinal);
}

std::optional<std::uint32_t> DocumentModel::CharIdByAcc(std::uint32_t acc) const noexcept {
    if (acc >= CharCount()) return std::nullopt;
    const std::size_t chunk =
        LastChunkStartingAtOrBefore(chunks_, acc, [](const Chunk& c) { return c.firstAcc; });
    return MakeId(static_cast<std::uint32_t>(chunk), acc - chunks_[chunk].firstAcc);
}

bool DocumentModel::HasChar(std::uint32_t charId) const noexcept {
    const Chunk* chunk = FindChunk(ChunkOfId(charId));
    return chunk != nullptr && IndexOfId(charId) < chunk->text.size();
}

std::optional<std::uint32_t> DocumentModel::SectionLastItemId(std::uint32_t section) const noexcept {
    if (section >= sectionFirstChunk_.size()) return std::nullopt;
    const std::size_t lastChunk =
        section + 1 < sectionFirstChunk_.size() ? sectionFirstChunk_[section + 1] - 1 : chunks_.size() - 1;
    const auto itemsInLast = static_cast<std::uint32_t>(chunks_[lastChunk].items.size());
    return MakeId(static_cast<std::uint32_t>(lastChunk), 0) + itemsInLast - 1;
}

Chunk& DocumentModel::OpenChunk(bool newSection) {
    // Chunk numbers are the high 16 bits of every id.
    if (chunks_.size() > 0xFFFF) throw std::length_error("the document would need more than 65536 chunks");
    const Chunk& last = chunks_.back();
    Chunk next;
    next.section = last.section;
    next.firstAcc = last.firstAcc + static_cast<std::uint32_t>(last.text.size());
    next.firstOrdinal = last.firstOrdinal + static_cast<std::uint32_t>(last.items.size());
    if (newSection) {
        sectionFirstChunk_.push_back(static_cast<std::uint32_t>(chunks_.size()));
        next.section = static_cast<std::uint32_t>(sectionFirstChunk_.size() - 1);
    }
    chunks_.push_back(std::move(next));
    return chunks_.back();
}

}  // namespace engine
