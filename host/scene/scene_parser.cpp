// parseScene: the scene file's structure, section by section. Structure and ranges are all
// checked before any image is read, so a typo costs no loading time.
#include "host/scene/scene.h"

#include "host/scene/keyframes_json.h"
#include "host/scene/layer_parser.h"
#include "host/scene/scene_json.h"

#include <cmath>
#include <filesystem>
#include <limits>
#include <map>
#include <new>
#include <tuple>
#include <utility>

namespace orbhost {
namespace {

using nlohmann::json;

void parseComposition(const json& doc, const JsonPlace& root, Scene& scene)
{
    const JsonPlace place = child(root, "composition");
    const json& comp = expectObject(requireKey(doc, root, "composition"), place);
    rejectUnknownKeys(comp, place, {"width", "height", "pixelAspect", "frameRate", "duration", "defaultCameraDistance"});
    scene.width = readInt(requireKey(comp, place, "width"), child(place, "width"), 1, kMaxImageSide);
    scene.height = readInt(requireKey(comp, place, "height"), child(place, "height"), 1, kMaxImageSide);
    if (const json* v = findKey(comp, "pixelAspect")) {
        scene.pixelAspect = readPositive(*v, child(place, "pixelAspect"));
        readNumberIn(*v, child(place, "pixelAspect"), kMinPixelAspect, kMaxPixelAspect);
    }
    if (const json* v = findKey(comp, "frameRate")) {
        scene.frameRate = readPositive(*v, child(place, "frameRate"));
    }
    if (const json* v = findKey(comp, "duration")) {
        scene.duration = readPositive(*v, child(place, "duration"));
    }
    if (const json* v = findKey(comp, "defaultCameraDistance")) {
        scene.defaultCameraDistance = readPositive(*v, child(place, "defaultCameraDistance"));
    }
    if (scene.duration * scene.frameRate > double(std::numeric_limits<int>::max())) {
        fail(findKey(comp, "duration") ? child(place, "duration") : place, "the composition has too many frames");
    }
}

void parseLayers(const json& doc, const JsonPlace& root, Scene& scene)
{
    const JsonPlace place = child(root, "layers");
    const json& layers = expectArray(requireKey(doc, root, "layers"), place);
    if (layers.empty()) {
        fail(place, "a scene needs at least one layer");
    }
    std::map<std::string, std::string> seen;  // display name -> pointer of its first layer
    for (size_t i = 0; i < layers.size(); ++i) {
        Layer layer = parseLayer(layers[i], child(place, i), scene);
        const auto [it, inserted] = seen.emplace(layer.displayName(), layer.jsonPath);
        if (!inserted) {
            // An unnamed image layer goes by its file's name, so the remedy is a name.
            const bool named = !layer.name.empty();
            fail(named ? child(child(place, i), "name") : child(place, i),
                 "duplicate layer name '" + layer.displayName() + "' (also at " + it->second + ")" +
                     (named ? "" : "; give the layer a \"name\""));
        }
        scene.layers.push_back(std::move(layer));
    }
    resolveParents(layers, place, scene);
}

const char* kindName(LayerKind kind)
{
    switch (kind) {
    case LayerKind::Solid: return "a solid";
    case LayerKind::Image: return "an image";
    case LayerKind::Null: return "a null";
    case LayerKind::Camera: return "a camera";
    case LayerKind::Light: return "a light";
    }
    return "a layer";
}

ParamTrack parseTrack(const std::string& name, const json& value, const JsonPlace& place, const Scene& scene)
{
    ParamTrack track;
    track.name = name;
    track.jsonPath = place.pointer;
    if (name.empty()) {
        fail(place, "a parameter name must not be empty");
    }
    if (!value.is_object()) {
        track.keys.push_back({0.0, value});
        return track;
    }
    forEachKeyframe(value, place, scene.duration, [&](double time, const json& v, const JsonPlace& at) {
        if (v.is_object()) {
            fail(at, "a keyframe value cannot be an object");
        }
        track.keys.push_back({time, v});
    });
    return track;
}

void parseEffect(const json& doc, const JsonPlace& root, Scene& scene)
{
    const JsonPlace place = child(root, "effect");
    const json& effect = expectObject(requireKey(doc, root, "effect"), place);
    rejectUnknownKeys(effect, place, {"layer", "params"});
    const JsonPlace layerPlace = child(place, "layer");
    scene.effectLayer = readNonEmptyString(requireKey(effect, place, "layer"), layerPlace);
    const Layer* layer = findLayer(scene, scene.effectLayer);
    if (layer == nullptr) {
        fail(layerPlace, "no layer is named '" + scene.effectLayer + "'");
    }
    if (layer->kind != LayerKind::Solid && layer->kind != LayerKind::Image) {
        fail(layerPlace, "the effect needs a solid or image layer; '" + scene.effectLayer + "' is " +
                             kindName(layer->kind));
    }
    if (const json* params = findKey(effect, "params")) {
        const JsonPlace paramsPlace = child(place, "params");
        expectObject(*params, paramsPlace);
        for (const auto& item : params->items()) {
            scene.params.push_back(parseTrack(item.key(), item.value(), child(paramsPlace, item.key()), scene));
        }
    }
}

// A single whole number or a pair [a, b] of them.
std::pair<int, int> readOneOrPair(const json& value, const JsonPlace& place, int lo, int hi, const char* what)
{
    if (value.is_array()) {
        if (value.size() != 2) {
            fail(place, std::string("expected ") + what + " or a pair of them, got an array of " +
                            std::to_string(value.size()) + " values");
        }
        return {readInt(value[0], child(place, size_t{0}), lo, hi), readInt(value[1], child(place, 1), lo, hi)};
    }
    if (!value.is_number()) {
        fail(place, std::string("expected ") + what + " or a pair of them, got " + describeType(value));
    }
    const int single = readInt(value, place, lo, hi);
    return {single, single};
}

void parseRender(const json& doc, const JsonPlace& root, Scene& scene)
{
    const json* render = findKey(doc, "render");
    if (render == nullptr) {
        return;
    }
    const JsonPlace place = child(root, "render");
    expectObject(*render, place);
    rejectUnknownKeys(*render, place, {"bitDepth", "downsample", "frames"});
    RenderSettings& settings = scene.render;
    if (const json* v = findKey(*render, "bitDepth")) {
        settings.bitDepth = readInt(*v, child(place, "bitDepth"), 8, 32);
        if (settings.bitDepth != 8 && settings.bitDepth != 16 && settings.bitDepth != 32) {
            fail(child(place, "bitDepth"), "must be 8, 16 or 32, got " + v->dump());
        }
    }
    if (const json* v = findKey(*render, "downsample")) {
        std::tie(settings.downsampleX, settings.downsampleY) =
            readOneOrPair(*v, child(place, "downsample"), 1, kMaxDownsample, "a factor");
    }
    if (const json* v = findKey(*render, "frames")) {
        const JsonPlace framesPlace = child(place, "frames");
        std::tie(settings.firstFrame, settings.lastFrame) =
            readOneOrPair(*v, framesPlace, 0, frameCount(scene) - 1, "a frame number");
        if (settings.firstFrame > settings.lastFrame) {
            fail(framesPlace, "the first frame " + std::to_string(settings.firstFrame) + " comes after the last " +
                                  std::to_string(settings.lastFrame));
        }
    }
}

void loadLayerPixels(Layer& layer, const std::string& file, const std::string& baseDir)
{
    const JsonPlace place{file, layer.jsonPath};
    try {
        switch (layer.kind) {
        // Solids and nulls are a size and a colour: the host makes their pixels when the effect
        // checks them out, at the size the render needs.
        case LayerKind::Solid:
        case LayerKind::Null:
        case LayerKind::Camera:
        case LayerKind::Light: return;
        case LayerKind::Image: break;
        }
        const std::string written = layer.file;
        const std::filesystem::path path(written);
        layer.file = (path.is_absolute() || baseDir.empty()) ? written : (std::filesystem::path(baseDir) / path).string();
        // Only the header now: the host decodes the pixels when the effect first checks the
        // layer out, so layers the effect never uses cost no memory.
        ImageSize size;
        try {
            size = readImageSize(layer.file);
        } catch (const ImageError& e) {
            fail(child(place, "file"), "cannot read image '" + written + "' of layer \"" + layer.displayName() +
                                           "\": " + (e.problem.empty() ? e.what() : e.problem));
        }
        layer.width = size.width;
        layer.height = size.height;
        setDefaultAnchor(layer);
    } catch (const std::bad_alloc&) {
        fail(place, "not enough memory for a " + std::to_string(layer.width) + "x" + std::to_string(layer.height) +
                        " layer");
    }
}

}  // namespace

Scene parseScene(const nlohmann::json& doc, const std::string& fileForMessages, const std::string& baseDir)
{
    const JsonPlace root{fileForMessages, ""};
    expectObject(doc, root);
    rejectUnknownKeys(doc, root, {"composition", "layers", "effect", "render"});
    Scene scene;
    scene.file = fileForMessages;
    parseComposition(doc, root, scene);
    parseLayers(doc, root, scene);
    parseEffect(doc, root, scene);
    parseRender(doc, root, scene);
    for (Layer& layer : scene.layers) {
        loadLayerPixels(layer, fileForMessages, baseDir);
    }
    return scene;
}

}  // namespace orbhost
