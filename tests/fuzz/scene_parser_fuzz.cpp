// The scene reader on arbitrary text. A scene it rejects must be rejected with a SceneError
// (which names the file and place); anything else thrown, a crash or a sanitizer report is a
// fault. A scene it accepts must keep the promises the host builds on, and the composition it
// describes must be placeable at any time without faults.
#include "host/comp/composition_model.h"
#include "host/scene/param_track.h"
#include "host/scene/scene.h"
#include "json_mutator.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

namespace {

void require(bool holds, const char* promise)
{
    if (!holds) {
        std::fprintf(stderr, "accepted scene breaks a promise: %s\n", promise);
        std::abort();
    }
}

void checkAccepted(const orbhost::Scene& scene)
{
    using orbhost::LayerKind;
    const int count = int(scene.layers.size());
    require(scene.width >= 1 && scene.width <= orbhost::kMaxImageSide, "composition width in range");
    require(scene.height >= 1 && scene.height <= orbhost::kMaxImageSide, "composition height in range");
    require(scene.pixelAspect > 0 && scene.frameRate > 0 && scene.duration > 0, "positive composition settings");
    require(count >= 1, "at least one layer");

    const orbhost::Layer& effect = orbhost::effectLayer(scene);
    require(effect.kind == LayerKind::Solid || effect.kind == LayerKind::Image, "effect on a solid or image");

    const orbhost::RenderSettings& r = scene.render;
    require(r.bitDepth == 8 || r.bitDepth == 16 || r.bitDepth == 32, "bit depth 8, 16 or 32");
    require(r.downsampleX >= 1 && r.downsampleX <= orbhost::kMaxDownsample && r.downsampleY >= 1 &&
                r.downsampleY <= orbhost::kMaxDownsample,
            "downsample in range");
    require(r.firstFrame >= 0 && r.firstFrame <= r.lastFrame && r.lastFrame < orbhost::frameCount(scene),
            "frames inside the composition");

    for (const orbhost::Layer& layer : scene.layers) {
        require(layer.parent >= -1 && layer.parent < count, "parent index in range");
        if (layer.kind == LayerKind::Solid || layer.kind == LayerKind::Image)
            require(layer.width >= 1 && layer.width <= orbhost::kMaxImageSide && layer.height >= 1 &&
                        layer.height <= orbhost::kMaxImageSide,
                    "layer size in range");
        require(orbhost::findLayer(scene, layer.displayName()) == &layer, "layer names unique");
    }
    // Parent chains end: following one for more steps than there are layers means a circle.
    for (const orbhost::Layer& layer : scene.layers) {
        int at = layer.parent;
        for (int steps = 0; at >= 0; ++steps) {
            require(steps < count, "no parent cycles");
            at = scene.layers[std::size_t(at)].parent;
        }
    }
    for (const orbhost::ParamTrack& track : scene.params) {
        require(!track.name.empty() && !track.keys.empty(), "parameter tracks named and keyed");
        for (std::size_t k = 1; k < track.keys.size(); ++k)
            require(track.keys[k - 1].time < track.keys[k].time, "keyframe times increasing");
    }
}

// Places every layer and reads every parameter before, on and between the keys.
void evaluate(const orbhost::Scene& scene)
{
    const orbhost::CompositionModel comp = orbhost::compositionModel(scene);
    const double times[] = {-1.0, 0.0, scene.duration * 0.37, scene.duration, scene.duration * 2};
    for (double t : times) {
        orbhost::effectCamera(comp, t);
        for (int i = 0; i < int(comp.layers.size()); ++i)
            orbhost::layerToWorld(comp, i, t);
        for (const orbhost::ParamTrack& track : scene.params) {
            orbhost::valueAt(track, t);
            orbhost::heldValueAt(track, t);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    orbhost::Scene scene;
    try {
        // Relative image paths resolve against the example scenes, so that their seeds load.
        scene = orbhost::parseSceneText(text, "fuzz.json", ORBULON_SOURCE_DIR "/scenes");
    } catch (const orbhost::SceneError&) {
        return 0;
    }
    checkAccepted(scene);
    evaluate(scene);
    return 0;
}

#if defined(ORBULON_LIBFUZZER)
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

// Half of the mutations change the parsed scene's structure (json_mutator.h), the others are
// libFuzzer's own byte changes, which keep finding faults in the reading of the text itself.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed)
{
    std::mt19937 random(seed);
    if (random() % 2 == 0) {
        nlohmann::json document = nlohmann::json::parse(data, data + size, nullptr, false, true);
        if (!document.is_discarded()) {
            for (unsigned n = 1 + random() % 3; n > 0; --n)
                fuzz::mutateStructure(document, random);
            const std::string text = document.dump();
            if (text.size() <= maxSize) {
                std::memcpy(data, text.data(), text.size());
                return text.size();
            }
        }
    }
    return LLVMFuzzerMutate(data, size, maxSize);
}
#endif
