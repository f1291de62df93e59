// Copying one document's annotations into another: ANCopyAnnos.
//
// Every node of the source is stored in the destination as it is: no
// builder runs and no callback is called. Inserted text gets its own text
// block in the destination, so either document can later drop its copy
// without touching the other's. The source's own hilite styles go with the
// annotations. Failed single adds do not stop the copy and are not
// reported; the source is never changed.
//
// A document copied onto itself is refused with ANERR_BADPARAM and nothing
// changes: its list would grow, and move, under the walk that reads it. (A
// source without annotations gives 0 before that is asked, as always.) As a
// second guard the walk marks the source's list as held for its length, so
// that an add that still reached it would be refused with ANERR_NOMEMORY
// instead of growing it: the walk always ends.
#include "annotation/annotation.h"
#include "annotation/handle_lock.h"
#include "annotation/store/adding.h"
#include "annotation/store/anno_list.h"
#include "annotation/store/doc_state.h"
#include "annotation/styles/hilite_styles.h"

namespace annotation {
namespace {

// Stores a copy of every source node in the destination, in list order. A
// node's text handle is lent to the add (AddAnnotationToList makes the
// destination's own copy of the text and hands the handle back), so the
// source node is only read.
void CopyNodes(AnnoList& source, uint32_t hDestInfo) {
    ForEachNode(source, [&](uint16_t, const AnnoNode& node) {
        AnnoRecord copy;
        copy.anno = node.anno;
        AddAnnotationToList(hDestInfo, node.kind, &copy, 1);
        return true;
    });
}

}  // namespace
}  // namespace annotation

using namespace annotation;

extern "C" AN_API uint32_t ANCopyAnnos(uint32_t hDestDoc, uint32_t hSrcDoc) {
    // The source's state; a source without list gives nothing, not even
    // its styles.
    DocInfoLock source(0);
    const uint32_t sourceResult = LockDocState(hSrcDoc, source);
    if (sourceResult != 0) return sourceResult;
    if (source->hAnnoList == 0) return 0;

    {
        // The source list stays locked for the walk; the destination's
        // state is looked up (every early return unlocks through the
        // guards).
        LockedBlock<AnnoList> sourceList(source->hAnnoList);
        uint32_t hDestInfo = 0;
        const uint32_t destResult = GetAnnoFromDoc(hDestDoc, &hDestInfo);
        if (destResult != 0) return destResult;
        if (hDestInfo == source.handle() || hDestDoc == hSrcDoc) return ANERR_BADPARAM;
        // Every node, as it is stored.
        ReentryScope held(*source, kReentryListHeld);
        if (sourceList) CopyNodes(*sourceList, hDestInfo);
    }

    // The source's own styles; their copy's result is not looked at.
    if (source->hHiliteStyles != 0) {
        DocInfoLock dest(0);
        const uint32_t destResult = LockDocState(hDestDoc, dest);
        if (destResult != 0) return destResult;
        if (dest->hHiliteStyles != 0) CopyGlobalHiliteStyles(dest->hHiliteStyles, source->hHiliteStyles);
    }
    return 0;
}
