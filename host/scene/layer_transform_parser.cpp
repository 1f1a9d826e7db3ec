// A layer's transform keys and the defaults each kind of layer starts from: solids, images and
// nulls sit at the composition's centre, cameras where the composition's default camera is,
// lights above and to the left of it, both aimed at the composition's centre.
#include "host/scene/layer_parser.h"

#include "host/scene/keyframes_json.h"

namespace orbhost {
namespace {

using nlohmann::json;

// Default light position as fractions of the default camera distance D, relative to the
// composition's centre: up and to the left by D/3, towards the viewer by D/2.
constexpr double kLightOffsetXY = -1.0 / 3.0;
constexpr double kLightOffsetZ = -1.0 / 2.0;

Animated<Vec3> readPoint(const json& value, const JsonPlace& place, double duration)
{
    return readAnimated<Vec3>(value, place, duration, [](const json& v, const JsonPlace& at) { return readVec3(v, at); });
}

// Scale given as [x, y] keeps z at 100 %, so that 2-D values do not flatten a layer's children.
Animated<Vec3> readScale(const json& value, const JsonPlace& place, double duration)
{
    return readAnimated<Vec3>(value, place, duration,
                              [](const json& v, const JsonPlace& at) { return readVec3(v, at, 100.0); });
}

Animated<double> readAngle(const json& value, const JsonPlace& place, double duration)
{
    return readAnimated<double>(value, place, duration, readNumber);
}

}  // namespace

void parseTransform(const json& value, const JsonPlace& place, const Scene& scene, Layer& layer)
{
    LayerTransform& t = layer.transform;
    const double d = scene.duration;
    const Vec3 centre{scene.width / 2.0, scene.height / 2.0, 0};

    // Only 3-D layers turn out of the composition's plane.
    if (!layer.threeD) {
        for (const char* key : {"orientation", "rotationX", "rotationY"}) {
            if (findKey(value, key) != nullptr) {
                fail(child(place, key), std::string("'") + key + "' needs a 3-D layer (\"threeD\": true)");
            }
        }
    }

    t.anchorPoint.keys.clear();
    t.position = Animated<Vec3>(centre);
    t.scale = Animated<Vec3>(Vec3{100, 100, 100});
    t.orientation = Animated<Vec3>(Vec3{});
    t.rotationX = t.rotationY = t.rotationZ = Animated<double>(0.0);
    t.pointOfInterest = Animated<Vec3>(centre);
    t.hasPointOfInterest = layer.kind == LayerKind::Camera || layer.kind == LayerKind::Light;
    if (layer.kind != LayerKind::Image) {
        setDefaultAnchor(layer);  // an image's waits for its size
    }
    const double distance = sceneCameraDistance(scene);
    if (layer.kind == LayerKind::Camera) {
        t.position = Animated<Vec3>(Vec3{centre.x, centre.y, -distance});
    } else if (layer.kind == LayerKind::Light) {
        t.position = Animated<Vec3>(Vec3{centre.x + kLightOffsetXY * distance, centre.y + kLightOffsetXY * distance,
                                         kLightOffsetZ * distance});
    }

    if (const json* v = findKey(value, "anchorPoint")) {
        t.anchorPoint = readPoint(*v, child(place, "anchorPoint"), d);
    }
    if (const json* v = findKey(value, "position")) {
        t.position = readPoint(*v, child(place, "position"), d);
    }
    if (const json* v = findKey(value, "scale")) {
        t.scale = readScale(*v, child(place, "scale"), d);
    }
    if (const json* v = findKey(value, "orientation")) {
        t.orientation = readPoint(*v, child(place, "orientation"), d);
    }
    if (const json* v = findKey(value, "rotationX")) {
        t.rotationX = readAngle(*v, child(place, "rotationX"), d);
    }
    if (const json* v = findKey(value, "rotationY")) {
        t.rotationY = readAngle(*v, child(place, "rotationY"), d);
    }
    if (const json* v = findKey(value, "rotationZ")) {
        t.rotationZ = readAngle(*v, child(place, "rotationZ"), d);
    }
    if (const json* v = findKey(value, "pointOfInterest")) {
        t.pointOfInterest = readPoint(*v, child(place, "pointOfInterest"), d);
    }
}

void setDefaultAnchor(Layer& layer)
{
    // Solids and images turn about their centre. A new null's anchor is its top-left corner, its
    // layer-space origin, as After Effects makes it: what is parented to the null, or driven by
    // it as a control layer, lands on the null's position. Cameras and lights have no source,
    // so theirs is their origin too.
    const bool centred = layer.kind == LayerKind::Solid || layer.kind == LayerKind::Image;
    if (layer.transform.anchorPoint.keys.empty()) {
        layer.transform.anchorPoint = Animated<Vec3>(centred ? Vec3{layer.width / 2.0, layer.height / 2.0, 0} : Vec3{});
    }
}

}  // namespace orbhost
