// Copying one document's annotations into another: ANCopyAnnos.
//
// Every node of the source is stored in the destination as it is: no
// builder runs and no callback is called. Inserted text gets its own text
// block in the destination, so either document can later drop its copy
// without touching the other's. The source's own hilite styles go with the
// annotations. Failed single adds do not stop the copy and are not
// reported; the source is never changed.
#include "annotation/annotation.h"
#include "annotation/handle_lock.h"
#include "annotation/store/adding.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/doc_state.h"
#include "annotation/styles/hilite_styles.h"

namespace annotation {
namespace {

// Stores a copy of every source node in the destination, in list order.
void CopyNodes(AnnoList& source, uint32_t hDestInfo) {
    ForEachNode(source, [&](uint16_t, const AnnoNode& node) {
        AnnoRecord copy;
        copy.anno = node.anno;  // a text handle here is lent: the destination copies the text
        AddAnnotationToList(hDestInfo, node.kind, &copy, 1);
        return true;
    });
}

}  // namespace
}  // namespace annotation

using namespace annotation;

// A document copied onto itself is refused with ANERR_BADPARAM, nothing
// changed: its list would grow, and move, under the walk that reads it.
extern "C" AN_API uint32_t ANCopyAnnos(uint32_t hDestDoc, uint32_t hSrcDoc) {
    DocInfoLock source(0);
    const uint32_t sourceResult = LockDocState(hSrcDoc, source);
    if (sourceResult != 0) return sourceResult;
    if (source->hAnnoList == 0) return 0;

    {
        LockedBlock<AnnoList> sourceList(source->hAnnoList);
        uint32_t hDestInfo = 0;
        const uint32_t destResult = GetAnnoFromDoc(hDestDoc, &hDestInfo);
        if (destResult != 0) return destResult;
        if (hDestInfo == source.handle() || hDestDoc == hSrcDoc) return ANERR_BADPARAM;
        if (sourceList) CopyNodes(*sourceList, hDestInfo);
    }

    if (source->hHiliteStyles != 0) {
        DocInfoLock dest(0);
        const uint32_t destResult = LockDocState(hDestDoc, dest);
        if (destResult != 0) return destResult;
        if (dest->hHiliteStyles != 0) CopyGlobalHiliteStyles(dest->hHiliteStyles, source->hHiliteStyles);
    }
    return 0;
}
