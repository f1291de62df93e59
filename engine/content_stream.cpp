// CAOpenContent, CAReadFirst, CASeek, CAReadNext, CACloseContent and
// ENOpenContents.
//
// A record a read delivers fills the words the library writes (type,
// idOrFlags, count, charSet, itemIndex, bytesWritten; 0 where a record type
// has nothing to say). The caller's words (size, zero, bytesFree, buffer) and
// the unused ones are left as they are; in particular the buffer address and
// bytes free are not advanced, which is the reader's business. The size word
// is not checked, so a reader that writes 44 on a 64-bit target is served
// like one that writes sizeof(CAReadRecord).
#include "engine/content_stream.h"

#include <string_view>
#include <unordered_map>

#include "engine/document_registry.h"
#include "engine/engine.h"
#include "engine/fault_injection.h"
#include "engine/handles.h"
#include "engine/results.h"
#include "engine/text_delivery.h"
#include "platform/content_access.h"

namespace engine {
namespace {

struct ContentStream {
    std::uint32_t document = 0;
    std::uint32_t firstOpening = 0;  // of the document, which outlives a second opening
    std::uint32_t chunk = 0;  // the chunk the next record comes from
    std::uint32_t entry = 0;  // its next content entry; past the last: the chunk-end record
};

// The words of a read record that the library writes.
struct RecordWords {
    std::uint32_t type = 0;
    std::uint32_t idOrFlags = 0;
    std::uint32_t count = 0;
    std::uint32_t charSet = 0;
    std::uint32_t itemIndex = 0;
    std::uint32_t bytesWritten = 0;
};

void Store(const RecordWords& words, CAReadRecord& record) noexcept {
    record.type = words.type;
    record.idOrFlags = words.idOrFlags;
    record.count = words.count;
    record.charSet = words.charSet;
    record.itemIndex = static_cast<std::uint16_t>(words.itemIndex);
    record.bytesWritten = words.bytesWritten;
}

RecordWords TextRecord(const Chunk& chunk, std::uint32_t itemIndex, std::uint32_t charSet,
                       const CAReadRecord& record) {
    const Item& item = chunk.items[itemIndex];
    RecordWords words;
    words.type = CA_RECORD_TEXT;
    words.idOrFlags = (item.textFlags & kTextUndelivered) != 0 ? CA_TEXT_UNDELIVERED : 0;
    words.count = item.word2;
    words.charSet = charSet;
    words.itemIndex = itemIndex;
    if ((item.textFlags & (kTextUndelivered | kTextWithheld)) == 0) {
        const std::u16string_view text = std::u16string_view(chunk.text).substr(item.charsBefore, item.word2);
        words.bytesWritten = DeliverText(text, charSet, record.buffer, record.bytesFree);
    }
    return words;
}

RecordWords RegionRecord(const ContentEntry& entry) {
    RecordWords words;
    words.type = entry.kind == ContentKind::RegionStart ? CA_RECORD_REGIONSTART : CA_RECORD_REGIONEND;
    words.idOrFlags = entry.value;
    return words;
}

class ContentStreams {
public:
    std::uint32_t Open(std::uint32_t hDoc, std::uint32_t* phContent) {
        const OpenDocument* document = Documents().FindDocument(hDoc);
        if (phContent == nullptr || document == nullptr) return kResultBadParam;
        const std::uint32_t handle = NewHandle();
        streams_[handle] = ContentStream{hDoc, document->firstOpening, 0, 0};
        *phContent = handle;
        return kResultOk;
    }

    std::uint32_t Seek(std::uint32_t hContent, std::uint32_t chunk) {
        ContentStream* stream = Find(hContent);
        const OpenDocument* document = stream == nullptr ? nullptr : DocumentOf(*stream);
        if (document == nullptr) return kResultBadParam;
        if (chunk >= Documents().DescriptionOf(*document).model.ChunkCount()) return kResultNotFound;
        stream->chunk = chunk;
        stream->entry = 0;
        return kResultOk;
    }

    std::uint32_t ReadNext(std::uint32_t hContent, CAReadRecord* pRecord) {
        ContentStream* stream = Find(hContent);
        const OpenDocument* document = stream == nullptr ? nullptr : DocumentOf(*stream);
        if (document == nullptr || pRecord == nullptr) return kResultBadParam;
        const DocumentModel& model = Documents().DescriptionOf(*document).model;
        const Chunk* chunk = model.FindChunk(stream->chunk);
        if (chunk == nullptr) return kResultNotFound;
        Store(NextRecord(*stream, *chunk, document->CharSet(), *pRecord), *pRecord);
        return kResultOk;
    }

    std::uint32_t Close(std::uint32_t hContent) {
        return streams_.erase(hContent) == 0 ? kResultBadParam : kResultOk;
    }

    void CloseAllOf(std::uint32_t hFirstOpening) {
        std::erase_if(streams_, [&](const auto& entry) { return entry.second.firstOpening == hFirstOpening; });
    }

    std::uint32_t Count() const noexcept { return static_cast<std::uint32_t>(streams_.size()); }

private:
    ContentStream* Find(std::uint32_t hContent) {
        auto it = streams_.find(hContent);
        return it == streams_.end() ? nullptr : &it->second;
    }

    static const OpenDocument* DocumentOf(const ContentStream& stream) {
        return Documents().FindDocument(stream.document);
    }

    // The record at the stream's position, which then moves past it.
    static RecordWords NextRecord(ContentStream& stream, const Chunk& chunk, std::uint32_t charSet,
                                  const CAReadRecord& record) {
        if (stream.entry >= chunk.content.size()) {
            ++stream.chunk;
            stream.entry = 0;
            RecordWords chunkEnd;
            chunkEnd.type = CA_RECORD_CHUNKEND;
            return chunkEnd;
        }
        const ContentEntry& entry = chunk.content[stream.entry];
        ++stream.entry;
        return entry.kind == ContentKind::Text ? TextRecord(chunk, entry.value, charSet, record)
                                               : RegionRecord(entry);
    }

    std::unordered_map<std::uint32_t, ContentStream> streams_;
};

ContentStreams& Streams() {
    static ContentStreams streams;
    return streams;
}

}  // namespace

void CloseContentsOf(std::uint32_t hFirstOpening) { Streams().CloseAllOf(hFirstOpening); }

}  // namespace engine

using engine::PlatformCall;
using engine::RunGuarded;
using engine::Streams;

uint32_t CAOpenContent(uint32_t hDoc, uint32_t* phContent) {
    return RunGuarded(PlatformCall::CAOpenContent, [&] { return Streams().Open(hDoc, phContent); });
}

uint32_t CAReadFirst(uint32_t hContent, CAReadRecord* pRecord) {
    return RunGuarded(PlatformCall::CAReadFirst, [&] {
        if (pRecord == nullptr) return engine::kResultBadParam;
        const uint32_t sought = Streams().Seek(hContent, 0);
        return sought != 0 ? sought : Streams().ReadNext(hContent, pRecord);
    });
}

uint32_t CASeek(uint32_t hContent, const CASeekPos* pPos) {
    return RunGuarded(PlatformCall::CASeek, [&] {
        if (pPos == nullptr) return engine::kResultBadParam;
        return Streams().Seek(hContent, engine::ChunkOfId(pPos->itemId));
    });
}

uint32_t CAReadNext(uint32_t hContent, CAReadRecord* pRecord) {
    return RunGuarded(PlatformCall::CAReadNext, [&] { return Streams().ReadNext(hContent, pRecord); });
}

uint32_t CACloseContent(uint32_t hContent) {
    return RunGuarded(PlatformCall::CACloseContent, [&] { return Streams().Close(hContent); });
}

uint32_t ENOpenContents(void) { return Streams().Count(); }
