// The chunker (CH*): items, characters, runs and sections of a document, by
// the numbering of document_model.h.
//
// Kinds: 0 items (by item id, or by ordinal in CHGetItemId), 1 sections (a
// section's id is its number), 2 characters (by ACC in CHGetItemId, by
// character id in CHNextItemId), 16 marked ranges (a range's id is its
// index). Every call answers 15 for an unknown chunker handle, a null output
// pointer or a kind it does not know, and 25 for an id, index, run or section
// that names nothing; a failing call writes nothing.
//
// Records: item and section records are 7 words, run records 3, every word
// that has nothing to say is 0. "Following" ids of CHGetItem are 0xFFFFFFFF
// after the last element of their kind.
#include <array>
#include <cstddef>
#include <optional>

#include "engine/document_registry.h"
#include "engine/fault_injection.h"
#include "engine/results.h"
#include "platform/chunker.h"

namespace {

using engine::DocumentModel;
using engine::kNoItem;
using engine::kResultBadParam;
using engine::kResultNotFound;
using engine::kResultOk;
using engine::PlatformCall;
using engine::RunGuarded;

using ItemRecord = std::array<uint32_t, CH_ITEM_WORDS>;
using RunRecord = std::array<uint32_t, CH_RUN_WORDS>;

const DocumentModel* FindModel(uint32_t hChunker) { return engine::Documents().FindChunker(hChunker); }

template <std::size_t N>
void Store(const std::array<uint32_t, N>& words, uint32_t* out) noexcept {
    for (std::size_t i = 0; i < N; ++i) out[i] = words[i];
}

// The number after `index` among `count` elements numbered from 0.
std::optional<uint32_t> NextIndex(uint32_t index, uint32_t count) noexcept {
    if (index >= count || index + 1 >= count) return std::nullopt;
    return index + 1;
}

uint32_t ItemRecordOf(const DocumentModel& model, uint32_t itemId, ItemRecord& record, uint32_t& next) {
    const engine::Item* item = model.FindItem(itemId);
    if (item == nullptr) return kResultNotFound;
    record[0] = item->type;
    record[1] = item->word1;
    record[2] = item->word2;
    next = model.NextItemId(itemId);
    return kResultOk;
}

uint32_t SectionRecordOf(const DocumentModel& model, uint32_t section, uint32_t& next) {
    if (section >= model.SectionCount()) return kResultNotFound;
    next = NextIndex(section, model.SectionCount()).value_or(kNoItem);
    return kResultOk;
}

uint32_t RangeRecordOf(const DocumentModel& model, uint32_t index, ItemRecord& record, uint32_t& next) {
    const engine::MarkedRange* range = model.FindMarkedRange(index);
    if (range == nullptr) return kResultNotFound;
    record[0] = range->startItemId;
    record[1] = range->type;
    next = NextIndex(index, model.MarkedRangeCount()).value_or(kNoItem);
    return kResultOk;
}

uint32_t RecordOf(const DocumentModel& model, uint32_t kind, uint32_t id, ItemRecord& record, uint32_t& next) {
    switch (kind) {
        case CH_KIND_ITEM: return ItemRecordOf(model, id, record, next);
        case CH_KIND_SECTION: return SectionRecordOf(model, id, next);
        case CH_KIND_MARKED: return RangeRecordOf(model, id, record, next);
        default: return kResultBadParam;
    }
}

std::optional<uint32_t> CountOf(const DocumentModel& model, uint32_t kind) {
    switch (kind) {
        case CH_KIND_ITEM: return model.ItemCount();
        case CH_KIND_SECTION: return model.SectionCount();
        case CH_KIND_CHAR: return model.CharCount();
        case CH_KIND_MARKED: return model.MarkedRangeCount();
        default: return std::nullopt;
    }
}

// The id of an element by its index; nullopt past the last.
std::optional<uint32_t> IdOf(const DocumentModel& model, uint32_t kind, uint32_t index) {
    switch (kind) {
        case CH_KIND_ITEM: return model.ItemIdByOrdinal(index);
        case CH_KIND_CHAR: return model.CharIdByAcc(index);
        case CH_KIND_SECTION: return index < model.SectionCount() ? std::optional<uint32_t>(index) : std::nullopt;
        default: return index < model.MarkedRangeCount() ? std::optional<uint32_t>(index) : std::nullopt;
    }
}

// The element after `id`: the next item across chunks, the next character of
// the same chunk, the next section or range. nullopt after the last.
std::optional<uint32_t> NextIdOf(const DocumentModel& model, uint32_t kind, uint32_t id) {
    switch (kind) {
        case CH_KIND_ITEM: {
            if (model.FindItem(id) == nullptr) return std::nullopt;
            const uint32_t next = model.NextItemId(id);
            return next == kNoItem ? std::nullopt : std::optional<uint32_t>(next);
        }
        case CH_KIND_CHAR:
            return model.HasChar(id) && model.HasChar(id + 1) ? std::optional<uint32_t>(id + 1) : std::nullopt;
        case CH_KIND_SECTION: return NextIndex(id, model.SectionCount());
        default: return NextIndex(id, model.MarkedRangeCount());
    }
}

bool IsKnownKind(uint32_t kind) noexcept {
    return kind == CH_KIND_ITEM || kind == CH_KIND_SECTION || kind == CH_KIND_CHAR || kind == CH_KIND_MARKED;
}

}  // namespace

uint32_t CHGetItem(uint32_t hChunker, uint32_t kind, uint32_t id, uint32_t* pItem, uint32_t* pNextId) {
    return RunGuarded(PlatformCall::CHGetItem, [&] {
        const DocumentModel* model = FindModel(hChunker);
        if (model == nullptr || pItem == nullptr) return kResultBadParam;
        ItemRecord record{};
        uint32_t next = kNoItem;
        const uint32_t result = RecordOf(*model, kind, id, record, next);
        if (result != kResultOk) return result;
        Store(record, pItem);
        if (pNextId != nullptr) *pNextId = next;
        return kResultOk;
    });
}

uint32_t CHGetItemCount(uint32_t hChunker, uint32_t kind, uint32_t* pCount) {
    return RunGuarded(PlatformCall::CHGetItemCount, [&] {
        const DocumentModel* model = FindModel(hChunker);
        if (model == nullptr || pCount == nullptr) return kResultBadParam;
        const std::optional<uint32_t> count = CountOf(*model, kind);
        if (!count) return kResultBadParam;
        *pCount = *count;
        return kResultOk;
    });
}

uint32_t CHGetItemId(uint32_t hChunker, uint32_t kind, uint32_t index, uint32_t* pId) {
    return RunGuarded(PlatformCall::CHGetItemId, [&] {
        const DocumentModel* model = FindModel(hChunker);
        if (model == nullptr || pId == nullptr || !IsKnownKind(kind)) return kResultBadParam;
        const std::optional<uint32_t> id = IdOf(*model, kind, index);
        if (!id) return kResultNotFound;
        *pId = *id;
        return kResultOk;
    });
}

uint32_t CHNextItemId(uint32_t hChunker, uint32_t kind, uint32_t id, uint32_t* pNextId) {
    return RunGuarded(PlatformCall::CHNextItemId, [&] {
        const DocumentModel* model = FindModel(hChunker);
        if (model == nullptr || pNextId == nullptr || !IsKnownKind(kind)) return kResultBadParam;
        const std::optional<uint32_t> next = NextIdOf(*model, kind, id);
        if (!next) return kResultNotFound;
        *pNextId = *next;
        return kResultOk;
    });
}

// Kind 2: the ACC of the item's first character, or of the first character
// after it (the document's character count when none follows). Kind 0: the
// item's ordinal, the items before it.
uint32_t CHGetItemCountById(uint32_t hChunker, uint32_t kind, uint32_t itemId, uint32_t* pCount) {
    return RunGuarded(PlatformCall::CHGetItemCountById, [&] {
        const DocumentModel* model = FindModel(hChunker);
        if (model == nullptr || pCount == nullptr) return kResultBadParam;
        if (kind != CH_KIND_CHAR && kind != CH_KIND_ITEM) return kResultBadParam;
        const engine::Item* item = model->FindItem(itemId);
        if (item == nullptr) return kResultNotFound;
        const engine::Chunk& chunk = *model->FindChunk(engine::ChunkOfId(itemId));
        *pCount = kind == CH_KIND_CHAR ? chunk.firstAcc + item->charsBefore
                                       : chunk.firstOrdinal + engine::IndexOfId(itemId);
        return kResultOk;
    });
}

uint32_t CHGetRunFromItemId(uint32_t hChunker, uint32_t itemId, uint32_t* pRun) {
    return RunGuarded(PlatformCall::CHGetRunFromItemId, [&] {
        const DocumentModel* model = FindModel(hChunker);
        if (model == nullptr || pRun == nullptr) return kResultBadParam;
        if (model->FindItem(itemId) == nullptr) return kResultNotFound;
        *pRun = engine::ChunkOfId(itemId);
        return kResultOk;
    });
}

// Words 1 and 2: the run's first and last item id (kind 0) or ACC (kind 2);
// a run without characters has word 2 = word 1 - 1.
uint32_t CHGetRunInfo(uint32_t hChunker, uint32_t run, uint32_t kind, uint32_t* pRunRecord) {
    return RunGuarded(PlatformCall::CHGetRunInfo, [&] {
        const DocumentModel* model = FindModel(hChunker);
        if (model == nullptr || pRunRecord == nullptr) return kResultBadParam;
        if (kind != CH_KIND_ITEM && kind != CH_KIND_CHAR) return kResultBadParam;
        const engine::Chunk* chunk = model->FindChunk(run);
        if (chunk == nullptr) return kResultNotFound;
        const bool byItem = kind == CH_KIND_ITEM;
        const uint32_t first = byItem ? engine::MakeId(run, 0) : chunk->firstAcc;
        const auto size = static_cast<uint32_t>(byItem ? chunk->items.size() : chunk->text.size());
        Store(RunRecord{0, first, first + size - 1}, pRunRecord);
        return kResultOk;
    });
}

// Word 2: the id of the section's last item.
uint32_t CHGetSectionInfo(uint32_t hChunker, uint32_t section, uint32_t* pSectionRecord) {
    return RunGuarded(PlatformCall::CHGetSectionInfo, [&] {
        const DocumentModel* model = FindModel(hChunker);
        if (model == nullptr || pSectionRecord == nullptr) return kResultBadParam;
        const std::optional<uint32_t> lastItem = model->SectionLastItemId(section);
        if (!lastItem) return kResultNotFound;
        ItemRecord record{};
        record[2] = *lastItem;
        Store(record, pSectionRecord);
        return kResultOk;
    });
}
