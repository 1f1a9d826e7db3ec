// Which layers show at a time, which camera views the composition, and the default camera.
#include "host/comp/composition_model.h"

#include <cstddef>

namespace orbhost {

namespace {
// A new camera's preset is a 50 mm lens on 35 mm film, whose frame is 36 mm wide; the zoom that
// makes a layer at that distance appear at 100 % is then width · 50 / 36.
constexpr double defaultLensMillimetres = 50.0;
constexpr double filmWidthMillimetres = 36.0;
}  // namespace

bool isActiveAt(const LayerModel& layer, double seconds) {
    return layer.videoOn && layer.inPoint <= seconds && seconds < layer.inPoint + layer.duration;
}

double defaultCameraDistance(const CompositionModel& comp) {
    if (comp.defaultCameraDistance > 0) return comp.defaultCameraDistance;
    return comp.width * defaultLensMillimetres / filmWidthMillimetres;
}

int effectCamera(const CompositionModel& comp, double seconds) {
    for (std::size_t i = 0; i < comp.layers.size(); ++i)
        if (comp.layers[i].kind == LayerKind::Camera && isActiveAt(comp.layers[i], seconds))
            return static_cast<int>(i);
    return -1;
}

}  // namespace orbhost
