// Finding a document's annotation state, and the module data that holds it.
#ifndef ANNOTATION_STORE_DOC_STATE_H
#define ANNOTATION_STORE_DOC_STATE_H

#include <cstdint>

#include "annotation/handle_lock.h"
#include "annotation/store/anno_doc_info.h"

namespace annotation {

// The handle of the document's AnnoDocInfo, not locked.
// 0; ANERR_BADPARAM when hDoc is 0 or phAnnoDocInfo null; the error of
// DAGetAnno; ANERR_NOANNODATA when the document has no state.
uint32_t GetAnnoFromDoc(uint32_t hDoc, uint32_t* phAnnoDocInfo);

using DocInfoLock = LockedBlock<AnnoDocInfo>;

// Finds the document's state and locks it into `info` (an empty guard):
// 0; the error of GetAnnoFromDoc; ANERR_NOANNODATA when the state block
// cannot be locked.
uint32_t LockDocState(uint32_t hDoc, DocInfoLock& info);

// The document's module data, pinned for a scope. DAUnlockModuleData is
// called at the end of the scope when the lock succeeded, and also after a
// failed lock when the guard is asked to (ANInit and ANDeInit release the
// module data on every path).
class ModuleDataLock {
public:
    enum class UnlockAfterFailure { kNo, kYes };

    ModuleDataLock(uint32_t hDocData, UnlockAfterFailure unlockAfterFailure) noexcept;
    ~ModuleDataLock();
    ModuleDataLock(const ModuleDataLock&) = delete;
    ModuleDataLock& operator=(const ModuleDataLock&) = delete;

    // The result of DALockModuleData.
    uint32_t result() const noexcept { return result_; }
    // Whether the lock gave module data to read and write.
    bool HasData() const noexcept { return data_ != nullptr; }
    // The annotation module's slot: the AnnoDocInfo handle, 0 for none.
    // Only with HasData().
    uint32_t ReadAnnoSlot() const noexcept;
    void WriteAnnoSlot(uint32_t hAnnoDocInfo) const noexcept;
    // The state the slot names: 0 when the lock failed, gave no data, or the
    // slot is empty.
    uint32_t AttachedState() const noexcept { return HasData() ? ReadAnnoSlot() : 0; }

private:
    uint32_t hDocData_;
    uint32_t result_ = 0;
    void* data_ = nullptr;
    bool unlock_ = false;
};

}  // namespace annotation

#endif
