// Creating, extending and closing documents from their description
// (ENOpenDocument, ENAppendDocument, ENCloseDocument), document options, the
// last parse error, and the counts of open documents tests look at.
//
// A description that does not parse creates or appends nothing and answers
// 15; ENLastError then says what and where ("line L, column C: ..."). Each
// ENOpenDocument or ENAppendDocument call clears the message first, so it
// always describes the latest call. Running out of memory answers 13; an
// append that runs out of memory, or that would need more than 65536 chunks,
// may have appended part of the description.
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>

#include "engine/content_stream.h"
#include "engine/description_parser.h"
#include "engine/document_builder.h"
#include "engine/document_registry.h"
#include "engine/engine.h"
#include "engine/results.h"
#include "engine/utility.h"

namespace {

using engine::Documents;
using engine::kResultBadParam;
using engine::kResultNoMemory;
using engine::kResultOk;
using engine::OpenDocument;

std::string& LastErrorText() {
    static std::string text;
    return text;
}

// Parses a description that continues `described`; on a parse error records
// the message and answers false.
bool Parse(const char* description, uint32_t length, const engine::DescribedDocument& described,
           engine::ParsedDescription& parsed) {
    engine::ParseError error;
    if (engine::ParseDescription(std::string_view(description, length), described.nesting, parsed, error)) {
        return true;
    }
    LastErrorText() = "line " + std::to_string(error.line) + ", column " + std::to_string(error.column) + ": " +
                      error.what;
    return false;
}

// Parses and adds a description to `described`.
uint32_t Extend(engine::DescribedDocument& described, const char* description, uint32_t length) {
    engine::ParsedDescription parsed;
    if (!Parse(description, length, described, parsed)) return kResultBadParam;
    engine::DocumentBuilder(described.model).Append(parsed);
    described.nesting = std::move(parsed.nesting);
    return kResultOk;
}

// Runs `body`, turning the engine's own allocation failures into 13 and a
// document too large to number into 15.
template <typename Body>
uint32_t AnswerFailures(Body&& body) {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return kResultNoMemory;
    } catch (const std::length_error& tooLarge) {
        LastErrorText() = tooLarge.what();
        return kResultBadParam;
    }
}

}  // namespace

uint32_t ENOpenDocument(const char* description, uint32_t length, uint32_t flags, uint32_t* phDoc) {
    LastErrorText().clear();
    if (description == nullptr || phDoc == nullptr) return kResultBadParam;
    return AnswerFailures([&] {
        auto described = std::make_unique<engine::DescribedDocument>();
        const uint32_t result = Extend(*described, description, length);
        if (result != kResultOk) return result;
        const bool withChunker = (flags & EN_NOCHUNKER) == 0;
        *phDoc = Documents().OpenFirst(std::move(described), withChunker, engine::OsCharSet());
        return kResultOk;
    });
}

uint32_t ENAppendDocument(uint32_t hDoc, const char* description, uint32_t length) {
    LastErrorText().clear();
    const OpenDocument* document = Documents().FindDocument(hDoc);
    if (document == nullptr || description == nullptr) return kResultBadParam;
    return AnswerFailures([&] { return Extend(Documents().DescriptionOf(*document), description, length); });
}

uint32_t ENCloseDocument(uint32_t hDoc) {
    const OpenDocument* document = Documents().FindDocument(hDoc);
    if (document == nullptr || document->IsSecondOpening()) return kResultBadParam;
    Documents().CloseFirst(hDoc);
    engine::CloseContentsOf(hDoc);
    return kResultOk;
}

uint32_t ENSetDocOption(uint32_t hDoc, uint32_t option, uint32_t value) {
    OpenDocument* document = Documents().FindDocument(hDoc);
    if (document == nullptr) return kResultBadParam;
    document->options[option] = value;
    return kResultOk;
}

const char* ENLastError(void) { return LastErrorText().c_str(); }

uint32_t ENModuleDataLocked(void) { return Documents().CountModuleDataLocked(); }

uint32_t ENOpenSecondDocs(void) { return Documents().CountSecondOpenings(); }
