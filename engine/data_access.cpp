// Data access (DA*): document handles, module data, options and second
// openings.
//
// Choices callers may rely on:
// - DARetrieveDocHandle gives a module-data handle of its own numbering; the
//   DAGetOption and DA*ModuleData calls take that handle, never a document
//   handle.
// - Options are u32 values; every option reads 0 until ENSetDocOption or
//   DASetOption sets it. Option 1 is the character set of the document's
//   content; while it is unset the document uses the OS character set of
//   the time it was opened.
// - DASetOption takes exactly 4 bytes; any other size is refused with 15.
// - DACloseDocument closes only second openings; a first opening is closed
//   with ENCloseDocument, and DACloseDocument refuses it with 15.
#include <cstring>
#include <optional>

#include "engine/document_registry.h"
#include "engine/fault_injection.h"
#include "engine/results.h"
#include "engine/utility.h"
#include "platform/data_access.h"

namespace {

using engine::Documents;
using engine::kResultBadParam;
using engine::kResultOk;
using engine::OpenDocument;
using engine::PlatformCall;
using engine::RunGuarded;

// A u32 that a caller handed by address; the address need not be aligned.
std::uint32_t ReadWord(const void* p) noexcept {
    std::uint32_t value = 0;
    std::memcpy(&value, p, sizeof value);
    return value;
}

}  // namespace

uint32_t DAGetHChunker(uint32_t hDoc, uint32_t* phChunker) {
    return RunGuarded(PlatformCall::DAGetHChunker, [&] {
        const OpenDocument* document = Documents().FindDocument(hDoc);
        if (document == nullptr || phChunker == nullptr) return kResultBadParam;
        *phChunker = document->chunker;
        return kResultOk;
    });
}

uint32_t DARetrieveDocHandle(uint32_t hDoc, uint32_t* phDocData) {
    return RunGuarded(PlatformCall::DARetrieveDocHandle, [&] {
        const OpenDocument* document = Documents().FindDocument(hDoc);
        if (document == nullptr || phDocData == nullptr) return kResultBadParam;
        *phDocData = document->moduleDataHandle;
        return kResultOk;
    });
}

uint32_t DAGetOption(uint32_t hDocData, uint32_t option, uint32_t /*zero*/, uint32_t* pValue) {
    return RunGuarded(PlatformCall::DAGetOption, [&] {
        const OpenDocument* document = Documents().FindByModuleData(hDocData);
        if (document == nullptr || pValue == nullptr) return kResultBadParam;
        *pValue = document->Option(option);
        return kResultOk;
    });
}

uint32_t DALockModuleData(uint32_t hDocData, void** ppModuleData) {
    return RunGuarded(PlatformCall::DALockModuleData, [&] {
        OpenDocument* document = Documents().FindByModuleData(hDocData);
        if (document == nullptr || ppModuleData == nullptr) return kResultBadParam;
        *ppModuleData = document->moduleData.Lock();
        return kResultOk;
    });
}

uint32_t DAUnlockModuleData(uint32_t hDocData) {
    return RunGuarded(PlatformCall::DAUnlockModuleData, [&] {
        OpenDocument* document = Documents().FindByModuleData(hDocData);
        if (document == nullptr) return kResultBadParam;
        document->moduleData.Unlock();
        return kResultOk;
    });
}

uint32_t DADestroyModuleData(uint32_t hDocData) {
    return RunGuarded(PlatformCall::DADestroyModuleData, [&] {
        OpenDocument* document = Documents().FindByModuleData(hDocData);
        if (document == nullptr) return kResultBadParam;
        document->moduleData.Discard();
        return kResultOk;
    });
}

uint32_t DAGetAnno(uint32_t hDoc, uint32_t* phAnnoDocInfo) {
    return RunGuarded(PlatformCall::DAGetAnno, [&] {
        const OpenDocument* document = Documents().FindDocument(hDoc);
        if (document == nullptr || phAnnoDocInfo == nullptr) return kResultBadParam;
        *phAnnoDocInfo = document->moduleData.WordAt(DA_ANNO_SLOT_OFFSET);
        return kResultOk;
    });
}

// Only the open kind DA_OPEN_ON_CHUNKER exists in this engine.
uint32_t DAOpenDocument(uint32_t* phDoc, uint32_t kind, const void* spec, uint32_t /*zero*/) {
    return RunGuarded(PlatformCall::DAOpenDocument, [&] {
        if (phDoc == nullptr || spec == nullptr || kind != DA_OPEN_ON_CHUNKER) return kResultBadParam;
        const std::optional<uint32_t> opened = Documents().OpenSecond(ReadWord(spec), engine::OsCharSet());
        if (!opened) return kResultBadParam;
        *phDoc = *opened;
        return kResultOk;
    });
}

uint32_t DASetOption(uint32_t hDoc, uint32_t option, const void* pValue, uint32_t size) {
    return RunGuarded(PlatformCall::DASetOption, [&] {
        OpenDocument* document = Documents().FindDocument(hDoc);
        if (document == nullptr || pValue == nullptr || size != sizeof(uint32_t)) return kResultBadParam;
        document->options[option] = ReadWord(pValue);
        return kResultOk;
    });
}

uint32_t DACloseDocument(uint32_t hDoc) {
    return RunGuarded(PlatformCall::DACloseDocument, [&] {
        const OpenDocument* document = Documents().FindDocument(hDoc);
        if (document == nullptr || !document->IsSecondOpening()) return kResultBadParam;
        Documents().CloseSecond(hDoc);
        return kResultOk;
    });
}
