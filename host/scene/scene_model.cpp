// The scene's composition handed to the model: the same settings and layers without the
// pixels and file paths the host keeps beside them.
#include "host/scene/layer_parser.h"
#include "host/scene/scene.h"

namespace orbhost {

namespace {

// The composition's settings without its layers.
CompositionModel compositionSettings(const Scene& scene)
{
    CompositionModel model;
    model.width = scene.width;
    model.height = scene.height;
    model.pixelAspect = scene.pixelAspect;
    model.frameRate = scene.frameRate;
    model.duration = scene.duration;
    model.defaultCameraDistance = scene.defaultCameraDistance;
    return model;
}

} // namespace

CompositionModel compositionModel(const Scene& scene)
{
    CompositionModel model = compositionSettings(scene);
    model.layers.reserve(scene.layers.size());
    for (const Layer& layer : scene.layers) {
        model.layers.push_back(static_cast<const LayerModel&>(layer));
    }
    return model;
}

double sceneCameraDistance(const Scene& scene) { return defaultCameraDistance(compositionSettings(scene)); }

}  // namespace orbhost
