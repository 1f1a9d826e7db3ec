// One layer of a scene file: what kind it is, which keys that kind takes, its names, times,
// switches and source. Transforms, cameras and lights have their own readers.
#include "host/scene/layer_parser.h"

#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

namespace orbhost {
namespace {

using nlohmann::json;

// Null layers stand on a square source of this size; their default anchor is its top-left corner.
constexpr int kNullLayerSide = 100;

struct KindName {
    std::string_view name;
    LayerKind kind;
};
constexpr KindName kKindNames[] = {{"solid", LayerKind::Solid},
                                   {"image", LayerKind::Image},
                                   {"null", LayerKind::Null},
                                   {"camera", LayerKind::Camera},
                                   {"light", LayerKind::Light}};

LayerKind readKind(const json& value, const JsonPlace& place)
{
    const std::string type = readNonEmptyString(requireKey(value, place, "type"), child(place, "type"));
    for (const KindName& k : kKindNames) {
        if (k.name == type) {
            return k.kind;
        }
    }
    fail(child(place, "type"),
         "unknown layer type '" + type + "' (expected 'solid', 'image', 'null', 'camera' or 'light')");
}

bool isAV(LayerKind kind)
{
    return kind == LayerKind::Solid || kind == LayerKind::Image || kind == LayerKind::Null;
}

// The keys a layer of this kind may have.
std::vector<std::string_view> allowedKeys(LayerKind kind)
{
    std::vector<std::string_view> keys{"name",     "type",        "in",        "duration",  "video",    "parent",
                                       "position", "orientation", "rotationX", "rotationY", "rotationZ"};
    switch (kind) {
    case LayerKind::Solid: keys.insert(keys.end(), {"threeD", "anchorPoint", "scale", "width", "height", "color"}); break;
    case LayerKind::Image: keys.insert(keys.end(), {"threeD", "anchorPoint", "scale", "file"}); break;
    case LayerKind::Null: keys.insert(keys.end(), {"threeD", "anchorPoint", "scale"}); break;
    case LayerKind::Camera: keys.insert(keys.end(), {"pointOfInterest", "camera"}); break;
    case LayerKind::Light: keys.insert(keys.end(), {"pointOfInterest", "light"}); break;
    }
    return keys;
}

// In point, duration and the video and 3-D switches.
void parseTimesAndSwitches(const json& value, const JsonPlace& place, const Scene& scene, Layer& layer)
{
    if (const json* v = findKey(value, "in")) {
        layer.inPoint = readNumber(*v, child(place, "in"));
    }
    layer.duration = scene.duration;
    if (const json* v = findKey(value, "duration")) {
        layer.duration = readNumberIn(*v, child(place, "duration"), 0, kInfinity);
    }
    if (const json* v = findKey(value, "video")) {
        layer.videoOn = readBool(*v, child(place, "video"));
    }
    // Cameras and lights live in 3-D space whatever the switch would say.
    layer.threeD = !isAV(layer.kind);
    if (const json* v = findKey(value, "threeD")) {
        layer.threeD = readBool(*v, child(place, "threeD"));
    }
}

// The source: a solid's size and colour, an image's file, a null's square.
void parseSource(const json& value, const JsonPlace& place, const Scene& scene, Layer& layer)
{
    layer.pixelAspect = scene.pixelAspect;
    switch (layer.kind) {
    case LayerKind::Solid:
        layer.width = scene.width;
        layer.height = scene.height;
        layer.color = {0, 0, 0, 1};
        if (const json* v = findKey(value, "width")) {
            layer.width = readInt(*v, child(place, "width"), 1, kMaxImageSide);
        }
        if (const json* v = findKey(value, "height")) {
            layer.height = readInt(*v, child(place, "height"), 1, kMaxImageSide);
        }
        if (const json* v = findKey(value, "color")) {
            layer.color = readColor(*v, child(place, "color"));
        }
        break;
    case LayerKind::Image:
        // Image files carry square pixels; their size is known once they are read.
        layer.pixelAspect = 1.0;
        layer.file = readNonEmptyString(requireKey(value, place, "file"), child(place, "file"));
        layer.sourceName = std::filesystem::path(layer.file).filename().string();
        if (layer.sourceName.empty()) {
            layer.sourceName = layer.file;  // a path ending in a separator; reading it will fail
        }
        break;
    case LayerKind::Null:
        layer.width = layer.height = kNullLayerSide;
        break;
    case LayerKind::Camera:
    case LayerKind::Light: break;
    }
}

}  // namespace

Layer parseLayer(const json& value, const JsonPlace& place, const Scene& scene)
{
    expectObject(value, place);
    Layer layer;
    layer.jsonPath = place.pointer;
    layer.kind = readKind(value, place);
    rejectUnknownKeys(value, place, allowedKeys(layer.kind));

    // Image layers are known by their file's name until the user names them.
    const json* name = findKey(value, "name");
    if (name != nullptr || layer.kind != LayerKind::Image) {
        layer.name = readNonEmptyString(requireKey(value, place, "name"), child(place, "name"));
    }
    if (layer.kind == LayerKind::Solid || layer.kind == LayerKind::Null) {
        layer.sourceName = layer.name;
    }

    parseTimesAndSwitches(value, place, scene, layer);
    parseSource(value, place, scene, layer);
    parseTransform(value, place, scene, layer);
    if (layer.kind == LayerKind::Camera) {
        parseCamera(findKey(value, "camera"), child(place, "camera"), scene, layer.camera);
    } else if (layer.kind == LayerKind::Light) {
        parseLight(findKey(value, "light"), child(place, "light"), scene, layer.light);
    }
    return layer;
}

}  // namespace orbhost
