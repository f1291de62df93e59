// Bookkeeping of open documents, their chunkers and their module data.
#include "engine/document_registry.h"

#include "engine/handles.h"

namespace engine {

std::uint32_t OpenDocument::CharSet() const {
    auto it = options.find(kOptionCharSet);
    return it == options.end() ? defaultCharSet : it->second;
}

std::uint32_t OpenDocument::Option(std::uint32_t option) const {
    auto it = options.find(option);
    return it == options.end() ? 0 : it->second;
}

std::uint32_t DocumentRegistry::OpenFirst(std::unique_ptr<DescribedDocument> described, bool withChunker,
                                          std::uint32_t charSet) {
    const std::uint32_t chunker = withChunker ? NewHandle() : 0;
    const std::uint32_t handle = Register(0, chunker, charSet).handle;
    if (chunker != 0) chunkers_[chunker] = ChunkerEntry{handle, described.get()};
    descriptions_[handle] = std::move(described);
    return handle;
}

std::optional<std::uint32_t> DocumentRegistry::OpenSecond(std::uint32_t hChunker, std::uint32_t charSet) {
    auto it = chunkers_.find(hChunker);
    if (it == chunkers_.end()) return std::nullopt;
    return Register(it->second.firstOpening, hChunker, charSet).handle;
}

void DocumentRegistry::CloseFirst(std::uint32_t hDoc) {
    std::vector<std::uint32_t> closed;
    for (const auto& [handle, document] : documents_) {
        if (document.firstOpening == hDoc) closed.push_back(handle);
    }
    const std::uint32_t chunker = documents_.at(hDoc).chunker;
    for (std::uint32_t handle : closed) Forget(handle);
    chunkers_.erase(chunker);
    descriptions_.erase(hDoc);
}

void DocumentRegistry::CloseSecond(std::uint32_t hDoc) { Forget(hDoc); }

OpenDocument* DocumentRegistry::FindDocument(std::uint32_t hDoc) {
    auto it = documents_.find(hDoc);
    return it == documents_.end() ? nullptr : &it->second;
}

OpenDocument* DocumentRegistry::FindByModuleData(std::uint32_t hDocData) {
    auto it = moduleDataOwners_.find(hDocData);
    return it == moduleDataOwners_.end() ? nullptr : FindDocument(it->second);
}

DescribedDocument& DocumentRegistry::DescriptionOf(const OpenDocument& document) {
    return *descriptions_.at(document.firstOpening);
}

const DocumentModel* DocumentRegistry::FindChunker(std::uint32_t hChunker) const {
    auto it = chunkers_.find(hChunker);
    return it == chunkers_.end() ? nullptr : &it->second.described->model;
}

std::uint32_t DocumentRegistry::CountModuleDataLocked() const {
    std::uint32_t count = 0;
    for (const auto& entry : documents_) {
        if (entry.second.moduleData.Locked()) ++count;
    }
    return count;
}

std::uint32_t DocumentRegistry::CountSecondOpenings() const {
    std::uint32_t count = 0;
    for (const auto& entry : documents_) {
        if (entry.second.IsSecondOpening()) ++count;
    }
    return count;
}

OpenDocument& DocumentRegistry::Register(std::uint32_t firstOpening, std::uint32_t chunker,
                                         std::uint32_t charSet) {
    const std::uint32_t handle = NewHandle();
    OpenDocument& document = documents_[handle];
    document.handle = handle;
    document.firstOpening = firstOpening == 0 ? handle : firstOpening;
    document.chunker = chunker;
    document.moduleDataHandle = NewHandle();
    document.defaultCharSet = charSet;
    moduleDataOwners_[document.moduleDataHandle] = handle;
    return document;
}

void DocumentRegistry::Forget(std::uint32_t hDoc) {
    auto it = documents_.find(hDoc);
    if (it == documents_.end()) return;
    moduleDataOwners_.erase(it->second.moduleDataHandle);
    documents_.erase(it);
}

DocumentRegistry& Documents() {
    static DocumentRegistry registry;
    return registry;
}

}  // namespace engine
