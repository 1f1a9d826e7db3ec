// The check made before the first frame renders: its estimated peak memory against
// --max-memory and the memory the system has available.
#pragma once
#include "host/core/effect_host.h"
#include "host/scene/scene.h"

#include <string>

namespace orbcli {

// 0 when the frames may render; otherwise the exit code, after printing why (the estimate and
// what drives it) on stderr. A --max-memory that does not read as a size is a usage error.
int refuseOversizedFrames(const orbhost::Scene& scene, const orbhost::FrameRequest& request,
                          const std::string& maxMemory);

}  // namespace orbcli
