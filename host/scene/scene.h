// A render request: the composition, its layers, the effect's layer and parameter values, and
// what to render. Read from a JSON scene file (docs/scene-format.md) and checked completely
// before anything renders.
#pragma once

#include "host/comp/composition_model.h"
#include "host/scene/image.h"
#include "host/scene/param_track.h"

#include <nlohmann/json.hpp>

#include <array>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace orbhost {

// Largest downsample factor a scene may ask for, per axis.
inline constexpr int kMaxDownsample = 16;

// The pixel aspects a composition may have. The host hands them to effects in thousandths
// (PF_RationalScale), which cannot hold much less or much more.
inline constexpr double kMinPixelAspect = 0.01, kMaxPixelAspect = 100.0;

// Message "FILE: /json/pointer: problem"; the pointer (RFC 6901) is left out for problems of
// the file as a whole, and malformed JSON gives "FILE: line L, column C: problem".
struct SceneError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A composition layer as the scene file describes it: the model's view of it (kind, names,
// times, switches, transform, camera and light settings; width and height are the source size)
// plus what the host needs to serve its pixels.
struct Layer : LayerModel {
    std::string jsonPath;        // e.g. /layers/1
    std::string file;            // image layers: the path resolved against the scene file's folder
    Image image;                 // pixels a caller gives the layer directly; empty otherwise: the host
                                 // decodes an image layer's file, or makes a solid's or null's pixels
                                 // from its size and colour, when the effect checks the layer out
    std::array<float, 4> color{0, 0, 0, 0};  // solids: r, g, b, a in 0..1
};

struct RenderSettings {
    int bitDepth = 8;
    int downsampleX = 1, downsampleY = 1;
    int firstFrame = 0, lastFrame = 0;  // inclusive, in composition frames from 0
};

struct Scene {
    std::string file;                  // the scene file's path as given, for messages
    int width = 0, height = 0;         // composition size in pixels
    double pixelAspect = 1.0, frameRate = 25.0, duration = 1.0;  // duration in seconds
    double defaultCameraDistance = 0;  // pixels; 0: the composition model's default rule
    std::string effectLayer;           // display name of the layer the effect is applied to: a solid or image
    std::vector<Layer> layers;         // top to bottom
    std::vector<ParamTrack> params;    // effect parameter values, sorted by name; the host core binds
                                       // the names and reports problems with each track's jsonPath
    RenderSettings render;
};

// Reads and validates (unknown keys, wrong types, bad ranges, unreadable images); throws SceneError.
Scene loadScene(const std::string& path);
Scene parseScene(const nlohmann::json& doc, const std::string& fileForMessages, const std::string& baseDir);
// As parseScene, from JSON text (comments allowed); malformed text gives line and column.
Scene parseSceneText(const std::string& text, const std::string& fileForMessages, const std::string& baseDir);

// Number of frames in the composition: those whose start time lies before its duration.
int frameCount(const Scene& scene);
// The layer whose displayName() is that name, or nullptr.
const Layer* findLayer(const Scene& scene, std::string_view name);
// The effect's layer (parseScene guarantees it exists).
const Layer& effectLayer(const Scene& scene);

// The composition as the model sees it: the scene's composition settings and its layers, sliced.
CompositionModel compositionModel(const Scene& scene);

}  // namespace orbhost
