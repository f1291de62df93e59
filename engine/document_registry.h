// The open documents: first openings made by ENOpenDocument, second openings
// made by DAOpenDocument on a chunker, their chunkers, module data and
// options. Every handle here is looked up in O(1).
//
// A first opening owns its described document; a second opening reads the
// same document through the chunker it was opened on. Closing a first
// opening closes every second opening on it.
#ifndef ENGINE_DOCUMENT_REGISTRY_H
#define ENGINE_DOCUMENT_REGISTRY_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "engine/description_parser.h"
#include "engine/document_model.h"
#include "engine/module_data.h"

namespace engine {

// Option of a document that holds its character set.
inline constexpr std::uint32_t kOptionCharSet = 1;

// A document as described: the model and the tags still open at its end,
// which text appended later continues.
struct DescribedDocument {
    DocumentModel model;
    NestingState nesting;
};

struct OpenDocument {
    std::uint32_t handle = 0;
    std::uint32_t firstOpening = 0;  // the handle itself for a first opening
    std::uint32_t chunker = 0;       // 0: the document has no chunker
    std::uint32_t moduleDataHandle = 0;
    std::uint32_t defaultCharSet = 0;            // the OS character set when it was opened
    std::map<std::uint32_t, std::uint32_t> options;  // only options that were set
    ModuleData moduleData;

    bool IsSecondOpening() const noexcept { return firstOpening != handle; }
    // Option 1 when it was set, else the default.
    std::uint32_t CharSet() const;
    // The value of an option, 0 for one never set.
    std::uint32_t Option(std::uint32_t option) const;
};

class DocumentRegistry {
public:
    // Registers a new first opening and gives its handle.
    std::uint32_t OpenFirst(std::unique_ptr<DescribedDocument> described, bool withChunker,
                            std::uint32_t charSet);
    // A second opening on `hChunker`; nullopt when no chunker has that handle.
    std::optional<std::uint32_t> OpenSecond(std::uint32_t hChunker, std::uint32_t charSet);
    // Closes a first opening, which `hDoc` must be, and every second opening
    // on it.
    void CloseFirst(std::uint32_t hDoc);
    // Closes a second opening, which `hDoc` must be.
    void CloseSecond(std::uint32_t hDoc);

    // Null when no open document has that handle.
    OpenDocument* FindDocument(std::uint32_t hDoc);
    // The document whose module data has that handle, or null.
    OpenDocument* FindByModuleData(std::uint32_t hDocData);
    // The described document an open document reads.
    DescribedDocument& DescriptionOf(const OpenDocument& document);
    // The model behind a chunker handle, or null when it names nothing.
    const DocumentModel* FindChunker(std::uint32_t hChunker) const;

    std::uint32_t CountModuleDataLocked() const;
    std::uint32_t CountSecondOpenings() const;

private:
    struct ChunkerEntry {
        std::uint32_t firstOpening = 0;
        const DescribedDocument* described = nullptr;
    };

    OpenDocument& Register(std::uint32_t firstOpening, std::uint32_t chunker, std::uint32_t charSet);
    void Forget(std::uint32_t hDoc);

    std::unordered_map<std::uint32_t, OpenDocument> documents_;
    std::unordered_map<std::uint32_t, std::unique_ptr<DescribedDocument>> descriptions_;  // by first opening
    std::unordered_map<std::uint32_t, ChunkerEntry> chunkers_;
    std::unordered_map<std::uint32_t, std::uint32_t> moduleDataOwners_;  // module data -> document
};

DocumentRegistry& Documents();

}  // namespace engine

#endif
