// Annotation tracking along a layout pass.
#include "annotation/annotation.h"

// The tracking record holds no resources, so ending a pass has nothing to
// release.
extern "C" AN_API uint32_t ANEndAnnoTrack(uint32_t /*hDoc*/, AnnoTrackInfo* /*info*/) { return 0; }
