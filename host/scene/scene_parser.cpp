// parseScene: the scene file's structure, section by section. Structure and ranges are all
// checked before any image is read, so a typo costs no loading time.
#include "host/scene/scene.h"

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
    rejectUnknownKeys(comp, place, {"width", "height", "pixelAspect", "frameRate", "duration"});
    scene.width = readInt(requireKey(comp, place, "width"), child(place, "width"), 1, kMaxImageSide);
    scene.height = readInt(requireKey(comp, place, "height"), child(place, "height"), 1, kMaxImageSide);
    if (const json* v = findKey(comp, "pixelAspect")) {
        scene.pixelAspect = readPositive(*v, child(place, "pixelAspect"));
    }
    if (const json* v = findKey(comp, "frameRate")) {
        scene.frameRate = readPositive(*v, child(place, "frameRate"));
    }
    if (const json* v = findKey(comp, "duration")) {
        scene.duration = readPositive(*v, child(place, "duration"));
    }
    if (scene.duration * scene.frameRate > double(std::numeric_limits<int>::max())) {
        fail(findKey(comp, "duration") ? child(place, "duration") : place, "the composition has too many frames");
    }
}

Layer parseLayer(const json& value, const JsonPlace& place, const Scene& scene)
{
    expectObject(value, place);
    Layer layer;
    layer.jsonPath = place.pointer;
    const std::string type = readNonEmptyString(requireKey(value, place, "type"), child(place, "type"));
    if (type == "solid") {
        layer.kind = Layer::Kind::Solid;
        rejectUnknownKeys(value, place, {"name", "type", "width", "height", "color"});
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
    } else if (type == "image") {
        layer.kind = Layer::Kind::Image;
        rejectUnknownKeys(value, place, {"name", "type", "file"});
        layer.file = readNonEmptyString(requireKey(value, place, "file"), child(place, "file"));
    } else {
        fail(child(place, "type"), "unknown layer type '" + type + "' (expected 'solid' or 'image')");
    }
    layer.name = readNonEmptyString(requireKey(value, place, "name"), child(place, "name"));
    return layer;
}

void parseLayers(const json& doc, const JsonPlace& root, Scene& scene)
{
    const JsonPlace place = child(root, "layers");
    const json& layers = expectArray(requireKey(doc, root, "layers"), place);
    if (layers.empty()) {
        fail(place, "a scene needs at least one layer");
    }
    std::map<std::string, std::string> seen;  // name -> pointer of its first layer
    for (size_t i = 0; i < layers.size(); ++i) {
        Layer layer = parseLayer(layers[i], child(place, i), scene);
        const auto [it, inserted] = seen.emplace(layer.name, layer.jsonPath);
        if (!inserted) {
            fail(child(child(place, i), "name"),
                 "duplicate layer name '" + layer.name + "' (also at " + it->second + ")");
        }
        scene.layers.push_back(std::move(layer));
    }
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
    rejectUnknownKeys(value, place, {"keys"});
    const JsonPlace keysPlace = child(place, "keys");
    const json& keys = expectArray(requireKey(value, place, "keys"), keysPlace);
    if (keys.empty()) {
        fail(keysPlace, "needs at least one keyframe");
    }
    for (size_t i = 0; i < keys.size(); ++i) {
        const JsonPlace keyPlace = child(keysPlace, i);
        if (!keys[i].is_array() || keys[i].size() != 2) {
            fail(keyPlace, "expected a keyframe [time_seconds, value], got " + describeType(keys[i]) +
                               (keys[i].is_array() ? " of " + std::to_string(keys[i].size()) + " values" : ""));
        }
        const JsonPlace timePlace = child(keyPlace, size_t{0});
        const double time = readNumber(keys[i][0], timePlace);
        if (time < 0 || time > scene.duration) {
            fail(timePlace, "keyframe time " + keys[i][0].dump() + " is outside the composition (0.." +
                                json(scene.duration).dump() + " seconds)");
        }
        if (!track.keys.empty() && !(time > track.keys.back().time)) {
            fail(timePlace, "keyframe times must increase (" + keys[i][0].dump() + " follows " +
                                json(track.keys.back().time).dump() + ")");
        }
        if (keys[i][1].is_object()) {
            fail(child(keyPlace, 1), "a keyframe value cannot be an object");
        }
        track.keys.push_back({time, keys[i][1]});
    }
    return track;
}

void parseEffect(const json& doc, const JsonPlace& root, Scene& scene)
{
    const JsonPlace place = child(root, "effect");
    const json& effect = expectObject(requireKey(doc, root, "effect"), place);
    rejectUnknownKeys(effect, place, {"layer", "params"});
    const JsonPlace layerPlace = child(place, "layer");
    scene.effectLayer = readNonEmptyString(requireKey(effect, place, "layer"), layerPlace);
    if (findLayer(scene, scene.effectLayer) == nullptr) {
        fail(layerPlace, "no layer is named '" + scene.effectLayer + "'");
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
        if (layer.kind == Layer::Kind::Solid) {
            layer.image = solidImage(layer.width, layer.height, layer.color[0], layer.color[1], layer.color[2],
                                     layer.color[3]);
            return;
        }
        const std::string written = layer.file;
        const std::filesystem::path path(written);
        layer.file = (path.is_absolute() || baseDir.empty()) ? written : (std::filesystem::path(baseDir) / path).string();
        try {
            layer.image = readImage(layer.file);
        } catch (const ImageError& e) {
            fail(child(place, "file"), "cannot read image '" + written + "': " + (e.problem.empty() ? e.what() : e.problem));
        }
        layer.width = layer.image.width;
        layer.height = layer.image.height;
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
