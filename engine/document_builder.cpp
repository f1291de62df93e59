// Placing parsed items and characters into chunks.
#include "engine/document_builder.h"

#include <algorithm>

namespace engine {

void DocumentBuilder::Append(const ParsedDescription& parsed) {
    const std::u16string_view text = parsed.text;
    for (const Token& token : parsed.tokens) {
        switch (token.kind) {
            case TokenKind::Text:
                AddText(text.substr(token.textBegin, token.textLength), token.textFlags);
                break;
            case TokenKind::Item: AddItem(token.value, 0); break;
            case TokenKind::MarkStart: waitingRanges_.push_back(token.value); break;
            case TokenKind::MarkEnd: AddItem(kItemRangeEnd, token.value); break;
            case TokenKind::RegionStart: AddRegionRecord(ContentKind::RegionStart, token.value); break;
            case TokenKind::RegionEnd: AddRegionRecord(ContentKind::RegionEnd, token.value); break;
            case TokenKind::ChunkBreak: AddBreak(PendingBreak::Chunk); break;
            case TokenKind::SectionBreak: AddBreak(PendingBreak::Section); break;
            case TokenKind::ParagraphEnd: AddParagraphEnd(); break;
        }
    }
    // Every line ends with a paragraph end, so nothing waits here any more.
}

void DocumentBuilder::AddText(std::u16string_view text, std::uint32_t flags) {
    while (!text.empty()) {
        Chunk& chunk = ChunkFor(true);
        const auto offset = static_cast<std::uint32_t>(chunk.text.size());
        const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(kChunkCapacity - offset, text.size()));
        const std::uint32_t chunkNumber = model_.ChunkCount() - 1;
        const std::uint32_t index = PushItem(chunk, Item{kItemText, MakeId(chunkNumber, offset), count, offset, flags});
        chunk.content.push_back(ContentEntry{ContentKind::Text, index});
        chunk.text.append(text.substr(0, count));
        text.remove_prefix(count);
    }
}

void DocumentBuilder::AddItem(std::uint32_t type, std::uint32_t word1) {
    Chunk& chunk = ChunkFor(false);
    PushItem(chunk, Item{type, word1, 0, static_cast<std::uint32_t>(chunk.text.size()), 0});
}

void DocumentBuilder::AddParagraphEnd() {
    AddItem(kItemParagraphEnd, 1);
    if (model_.LastChunk().text.size() >= kChunkTargetChars) AddBreak(PendingBreak::Chunk);
}

void DocumentBuilder::AddBreak(PendingBreak requested) {
    if (model_.LastChunk().items.empty()) return;
    model_.SetPending(std::max(model_.Pending(), requested));
}

void DocumentBuilder::AddRegionRecord(ContentKind kind, std::uint32_t id) {
    const ContentEntry record{kind, id};
    if (model_.Pending() == PendingBreak::None) {
        model_.LastChunk().content.push_back(record);
    } else {
        waitingRecords_.push_back(record);
    }
}

Chunk& DocumentBuilder::ChunkFor(bool withChar) {
    const Chunk& last = model_.LastChunk();
    const bool full = last.items.size() >= kChunkCapacity || (withChar && last.text.size() >= kChunkCapacity);
    if (model_.Pending() == PendingBreak::None && !full) return model_.LastChunk();
    Chunk& opened = model_.OpenChunk(model_.Pending() == PendingBreak::Section);
    model_.SetPending(PendingBreak::None);
    opened.content = std::move(waitingRecords_);
    waitingRecords_.clear();
    return opened;
}

std::uint32_t DocumentBuilder::PushItem(Chunk& chunk, const Item& item) {
    const auto index = static_cast<std::uint32_t>(chunk.items.size());
    const std::uint32_t id = MakeId(model_.ChunkCount() - 1, index);
    chunk.items.push_back(item);
    for (std::uint32_t type : waitingRanges_) model_.AddMarkedRange(MarkedRange{id, type});
    waitingRanges_.clear();
    return index;
}

}  // namespace engine
