// GetAnnoFromDoc and the module-data guard: how every call reaches the
// annotation state that ANInit stored in the document's module data.
#include "annotation/store/doc_state.h"

#include <cstring>

#include "platform/data_access.h"

namespace annotation {

uint32_t GetAnnoFromDoc(uint32_t hDoc, uint32_t* phAnnoDocInfo) {
    if (hDoc == 0 || phAnnoDocInfo == nullptr) return ANERR_BADPARAM;
    uint32_t hInfo = 0;
    const uint32_t result = DAGetAnno(hDoc, &hInfo);
    if (result != 0) return result;
    if (hInfo == 0) return ANERR_NOANNODATA;
    *phAnnoDocInfo = hInfo;
    return 0;
}

uint32_t LockDocState(uint32_t hDoc, DocInfoLock& info) {
    uint32_t hInfo = 0;
    const uint32_t result = GetAnnoFromDoc(hDoc, &hInfo);
    if (result != 0) return result;
    info.Relock(hInfo);
    return info ? 0 : ANERR_NOANNODATA;
}

ModuleDataLock::ModuleDataLock(uint32_t hDocData, UnlockAfterFailure unlockAfterFailure) noexcept
    : hDocData_(hDocData) {
    result_ = DALockModuleData(hDocData, &data_);
    if (result_ != 0) data_ = nullptr;
    unlock_ = result_ == 0 || unlockAfterFailure == UnlockAfterFailure::kYes;
}

ModuleDataLock::~ModuleDataLock() {
    if (unlock_) DAUnlockModuleData(hDocData_);
}

uint32_t ModuleDataLock::ReadAnnoSlot() const noexcept {
    uint32_t hAnnoDocInfo = 0;
    std::memcpy(&hAnnoDocInfo, static_cast<const unsigned char*>(data_) + DA_ANNO_SLOT_OFFSET, sizeof hAnnoDocInfo);
    return hAnnoDocInfo;
}

void ModuleDataLock::WriteAnnoSlot(uint32_t hAnnoDocInfo) const noexcept {
    std::memcpy(static_cast<unsigned char*>(data_) + DA_ANNO_SLOT_OFFSET, &hAnnoDocInfo, sizeof hAnnoDocInfo);
}

}  // namespace annotation
