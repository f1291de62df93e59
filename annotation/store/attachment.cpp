// Attaching annotation state to a document and taking it away again:
// ANInit, ANDeInit, ANClearUserData, ANSetCallback.
#include <cstdint>

#include "annotation/annotation.h"
#include "annotation/handle_lock.h"
#include "annotation/index/list_index.h"
#include "annotation/positions/acc_map_cache.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/doc_state.h"
#include "annotation/styles/hilite_styles.h"
#include "platform/data_access.h"
#include "platform/memory.h"
#include "platform/utility.h"

namespace annotation {
namespace {

// The state as ANInit leaves it; every field not named here starts at 0
// (no list, no build progress, no second opening).
void FillNewDocInfo(AnnoDocInfo& info, uint32_t hSelf, uint32_t hDoc, uint32_t hChunker,
                    uint32_t hGlobalHiliteStyles, AnnoCallback callback, uint32_t callbackData) {
    info = AnnoDocInfo{};
    info.hSelf = hSelf;
    info.hDoc = hDoc;
    info.hChunker = hChunker;
    // Without a table of its own the document still works: its style
    // lookups then find nothing (see ANAddHiliteStyle).
    ANInitGlobalHiliteStyles(&info.hHiliteStyles);
    info.hGlobalHiliteStyles = hGlobalHiliteStyles;
    info.trackNode = kNoSlot;
    info.trackPos = AnnoPos{kWholeItem, kWholeItem, 0, 0};
    info.callback = callback;
    info.callbackData = callbackData;
    ResetACCMap(info.accMap);
    ResetACCMap(info.accMapPrev);
}

uint32_t DocumentCharSet(uint32_t hDocData) {
    uint32_t option = 0;
    DAGetOption(hDocData, kCharSetOption, 0, &option);  // its result is not looked at
    return (option & kCharSetOptionUnicodeBit) != 0 ? kUnicodeCharSet : UTGetOSCharSet();
}

// Frees everything the state owns, and the state block itself. The list
// (for its text blocks) and the style table (for its records) are locked
// before anything is freed: when either cannot be, nothing is, and the
// state stays attached, whole, for a later ANDeInit (ANERR_NOMEMORY).
uint32_t TearDown(LockedBlock<AnnoDocInfo>& info) {
    LockedBlock<AnnoList> list(info->hAnnoList);
    LockedBlock<HiliteStyleTable> styles(info->hHiliteStyles);
    if ((info->hAnnoList != 0 && !list) || (info->hHiliteStyles != 0 && !styles)) return ANERR_NOMEMORY;
    FreeLockedAnnoList(list, info->hAnnoList);
    FreeListIndex(*info);
    ReleaseACCMaps(*info);
    FreeLockedStyleTable(styles);
    info->hHiliteStyles = 0;
    CloseSecondDocument(*info);
    const uint32_t hSelf = info.handle();
    info.Unlock();
    SYSNativeFree(hSelf);
    return 0;
}

// Frees the userData handle of the node in `ownerSlot` once: every later
// node that holds the same handle loses it, whatever its kind, and so does
// the owner, so that a second ANClearUserData frees nothing twice.
void FreeUserDataOnce(AnnoList& list, uint16_t ownerSlot) {
    AnnoNode& owner = list.Node(ownerSlot);
    const uint32_t handle = owner.anno.userData;
    ForEachNodeFrom(list, owner.next, [handle](uint16_t, AnnoNode& node) {
        if (node.anno.userData == handle) node.anno.userData = 0;
        return true;
    });
    SYSNativeFree(handle);
    owner.anno.userData = 0;
}

// The handle of the document's module data; ANERR_BADPARAM for hDoc 0.
uint32_t RetrieveDocData(uint32_t hDoc, uint32_t* phDocData) {
    if (hDoc == 0) return ANERR_BADPARAM;
    return DARetrieveDocHandle(hDoc, phDocData);
}

bool OwnsUserData(uint16_t kind) {
    return kind == ANNO_HILITETEXT || kind == ANNO_HIDETEXT || kind == ANNO_INSERTTEXT;
}

}  // namespace
}  // namespace annotation

using namespace annotation;

// A failed ANInit frees the state it made (block and style table): nothing
// refers to them once the document's slot was not written.
extern "C" AN_API uint32_t ANInit(uint32_t hDoc, uint32_t hGlobalHiliteStyles, AnnoCallback callback,
                                  uint32_t callbackData) {
    if (hDoc == 0) return 0;
    uint32_t hChunker = 0;
    const uint32_t chunkerResult = DAGetHChunker(hDoc, &hChunker);
    if (chunkerResult != 0) return chunkerResult;
    if (hChunker == 0) return 0;

    LockedBlock<AnnoDocInfo> info(0);
    const uint32_t hInfo = AllocLocked(sizeof(AnnoDocInfo), info);
    if (hInfo == 0) return ANERR_NOMEMORY;
    FillNewDocInfo(*info, hInfo, hDoc, hChunker, hGlobalHiliteStyles, callback, callbackData);

    uint32_t hDocData = 0;
    const uint32_t retrieveResult = DARetrieveDocHandle(hDoc, &hDocData);
    if (retrieveResult != 0) {
        TearDown(info);
        return retrieveResult;
    }
    info->charSet = DocumentCharSet(hDocData);

    bool attached = false;
    uint32_t lockResult = 0;
    {
        ModuleDataLock moduleData(hDocData, ModuleDataLock::UnlockAfterFailure::kYes);
        lockResult = moduleData.result();
        if (lockResult != 0) {
            DADestroyModuleData(hDocData);
        } else if (moduleData.HasData()) {
            moduleData.WriteAnnoSlot(hInfo);
            attached = true;
        }
    }
    if (!attached) TearDown(info);
    return lockResult;
}

// When the state block cannot be locked, it is left attached and nothing is
// freed, so that a later ANDeInit can still free it. Called from a callback of
// the same document (whose call holds the state), it is refused with
// ANERR_NOMEMORY and changes nothing.
extern "C" AN_API uint32_t ANDeInit(uint32_t hDoc) {
    uint32_t hDocData = 0;
    const uint32_t retrieveResult = RetrieveDocData(hDoc, &hDocData);
    if (retrieveResult != 0) return retrieveResult;

    ModuleDataLock moduleData(hDocData, ModuleDataLock::UnlockAfterFailure::kYes);
    if (moduleData.AttachedState() != 0) {
        LockedBlock<AnnoDocInfo> info(moduleData.AttachedState());
        if (info && info->reentry != 0) return ANERR_NOMEMORY;
        if (info) {
            const uint32_t result = TearDown(info);
            if (result != 0) return result;
            moduleData.WriteAnnoSlot(0);
        }
    }
    return moduleData.result();
}

extern "C" AN_API uint32_t ANClearUserData(uint32_t hDoc) {
    uint32_t hDocData = 0;
    const uint32_t retrieveResult = RetrieveDocData(hDoc, &hDocData);
    if (retrieveResult != 0) return retrieveResult;

    ModuleDataLock moduleData(hDocData, ModuleDataLock::UnlockAfterFailure::kNo);
    LockedBlock<AnnoDocInfo> info(moduleData.AttachedState());
    if (!info || info->hAnnoList == 0) return 0;
    LockedBlock<AnnoList> list(info->hAnnoList);
    if (!list) return 0;
    // The index keeps copies of the userData that a layout pass reports.
    DropListIndex(*info);
    ForEachNode(*list, [&](uint16_t slot, AnnoNode& node) {
        if (OwnsUserData(node.kind) && node.anno.userData != 0) FreeUserDataOnce(*list, slot);
        return true;
    });
    return 0;
}

extern "C" AN_API uint32_t ANSetCallback(uint32_t hDoc, AnnoCallback callback, uint32_t callbackData) {
    DocInfoLock info(0);
    const uint32_t result = LockDocState(hDoc, info);
    if (result != 0) return result;
    info->callback = callback;
    info->callbackData = callbackData;
    return 0;
}
