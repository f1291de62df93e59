// Entry points declared in annotation.h whose behaviour is not built yet.
//
// They exist so that every exported function links from the first release.
// Each answers as for a document without annotations, touching nothing:
// result-code functions give ANERR_NOTFOUND or ANERR_BADPARAM, value
// functions give 0. Each is replaced by its real implementation in its
// subsystem's folder.
#include "annotation/annotation.h"

extern "C" {

AN_API uint32_t ANCopyAnnos(uint32_t, uint32_t) { return ANERR_BADPARAM; }
AN_API uint32_t ANBuildAnnos(uint32_t) { return ANERR_BADPARAM; }
AN_API uint32_t ANMapPosition(uint32_t, AnnoMapPosition*) { return ANERR_BADPARAM; }

}  // extern "C"
