// Releasing a whole annotation list with the text blocks its nodes own.
#include "annotation/store/anno_list.h"

#include "annotation/handle_lock.h"
#include "platform/memory.h"

namespace annotation {

void FreeAnnoList(uint32_t& hAnnoList) {
    if (hAnnoList == 0) return;
    {
        LockedBlock<AnnoList> list(hAnnoList);
        if (list) {
            ForEachNode(*list, [](uint16_t, AnnoNode& node) {
                if (node.kind == ANNO_INSERTTEXT && node.anno.hText != 0) {
                    SYSNativeFree(node.anno.hText);
                    node.anno.hText = 0;
                }
                return true;
            });
        }
    }
    SYSNativeFree(hAnnoList);
    hAnnoList = 0;
}

}  // namespace annotation
