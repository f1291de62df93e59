// A document's view of hilite styles: its own table first, then the global
// table it was given at ANInit.
#include "annotation/annotation.h"
#include "annotation/handle_lock.h"
#include "annotation/store/doc_state.h"

using namespace annotation;

extern "C" AN_API uint32_t ANAddHiliteStyle(uint32_t hDoc, const HiliteStyle* pStyle) {
    uint32_t hInfo = 0;
    const uint32_t result = GetAnnoFromDoc(hDoc, &hInfo);
    if (result != 0) return result;
    DocInfoLock info(hInfo);
    if (!info) return ANERR_NOANNODATA;
    return ANAddGlobalHiliteStyle(info->hHiliteStyles, pStyle);
}

extern "C" AN_API uint32_t ANGetHiliteStyle(uint32_t hDoc, uint32_t id, HiliteStyle* pStyle) {
    uint32_t hInfo = 0;
    if (GetAnnoFromDoc(hDoc, &hInfo) != 0) return 0;
    DocInfoLock info(hInfo);
    if (!info || info->hHiliteStyles == 0) return 0;
    uint32_t result = ANGetGlobalHiliteStyle(info->hHiliteStyles, id, pStyle);
    if (result == ANERR_NOTFOUND) result = ANGetGlobalHiliteStyle(info->hGlobalHiliteStyles, id, pStyle);
    return result == 0 ? 1 : 0;
}
