// ANAddAnno and AddAnnoP: the caller's add, and the shared entry that orders
// the range, runs the kind's builder, stores what it built and notifies the
// client.
#include <utility>

#include "annotation/annotation.h"
#include "annotation/store/adding.h"
#include "annotation/store/anno_doc_info.h"
#include "annotation/store/anno_pos.h"
#include "annotation/store/doc_state.h"
#include "annotation/store/kind_builders.h"

namespace annotation {
namespace {

uint32_t RunKindBuilder(uint32_t hDoc, uint16_t kind, const AnnoRecord& anno, AnnoRecord& built,
                        uint16_t& addToList) {
    switch (kind) {
        case ANNO_HILITETEXT: return MakeHiliteTextAnno(&anno, &built, &addToList);
        case ANNO_INSERTICON: return MakeInsertIconAnno(&anno, &built, &addToList);
        case ANNO_HIDETEXT: return MakeHideTextAnno(hDoc, &anno, &built, &addToList);
        case ANNO_INSERTBITMAP: return MakeInsertBitmapAnno(&anno, &built, &addToList);
        case ANNO_INSERTTEXT: return MakeInsertTextAnno(hDoc, &anno, &built, &addToList);
        case ANNO_INSERTPARABREAK: return MakeInsertParaBreakAnno(hDoc, &anno, &built, &addToList);
        case ANNO_HIDEPARABREAK: return MakeHideParaBreakAnno(&anno, &built, &addToList);
        default: return 0;  // no builder: nothing is listed
    }
}

void OrderRange(InternalAnno& anno) {
    if (ComparePositions(anno.start, anno.end) > 0) std::swap(anno.start, anno.end);
}

}  // namespace

uint32_t AddAnnoP(uint32_t hDoc, uint16_t kind, AnnoRecord* anno, uint16_t silent) {
    DocInfoLock info(0);
    const uint32_t stateResult = LockDocState(hDoc, info);
    if (stateResult != 0) return stateResult;
    if (anno == nullptr) return ANERR_BADPARAM;

    OrderRange(anno->anno);
    AnnoRecord notified = *anno;

    AnnoRecord built;
    built.anno.reserved2 = 0xFFFFFFFF;
    uint16_t addToList = 0;
    uint32_t result = RunKindBuilder(hDoc, kind, *anno, built, addToList);
    if (addToList == 0 && silent != 0) return result;
    if (result != 0) return result;
    if (addToList != 0) {
        OrderRange(built.anno);
        result = AddAnnotationToList(info.handle(), kind, &built, 0);
        if (result != 0) return result;
    }
    if (silent != 0) return 0;
    if (info->callback != nullptr) {
        ReentryScope scope(*info, kReentryCallback);
        info->callback(1, kind, &notified, info->callbackData);
    }
    return 0;
}

}  // namespace annotation

using namespace annotation;

extern "C" AN_API uint32_t ANAddAnno(uint32_t hDoc, uint16_t kind, const void* annoStruct) {
    AnnoRecord local;
    const uint32_t result = ConvertToInternalAnnoStruct(&local, annoStruct, kind);
    if (result != 0) return result;
    return AddAnnoP(hDoc, kind, &local, 0);
}
