// The "camera" object of a camera layer and the "light" object of a light layer. Their
// numeric settings may be keyframed; the on/off switches hold one value for the whole
// composition.
#include "host/scene/layer_parser.h"

#include "host/scene/keyframes_json.h"

#include <string_view>

namespace orbhost {
namespace {

using nlohmann::json;

// Lens opening of a new camera, in pixels.
constexpr double kDefaultAperture = 25.3;

template <class Enum>
struct TypeName {
    std::string_view name;
    Enum type;
};
constexpr TypeName<CameraType> kCameraTypes[] = {{"perspective", CameraType::Perspective},
                                                  {"orthographic", CameraType::Orthographic}};
constexpr TypeName<LightType> kLightTypes[] = {{"parallel", LightType::Parallel},
                                                {"spot", LightType::Spot},
                                                {"point", LightType::Point},
                                                {"ambient", LightType::Ambient}};

template <class Enum, size_t N>
Enum readType(const json& value, const JsonPlace& place, const TypeName<Enum> (&names)[N], const char* what)
{
    const std::string type = readNonEmptyString(value, place);
    std::string list;
    for (const TypeName<Enum>& n : names) {
        if (n.name == type) {
            return n.type;
        }
        list += (list.empty() ? "'" : ", '") + std::string(n.name) + "'";
    }
    fail(place, "unknown " + std::string(what) + " type '" + type + "' (expected " + list + ")");
}

// A constant or keyframed number in lo..hi, when the key is there.
void readSetting(const json& object, const JsonPlace& place, std::string_view key, double duration, double lo,
                 double hi, Animated<double>& setting)
{
    if (const json* v = findKey(object, key)) {
        setting = readAnimated<double>(*v, child(place, key), duration, [&](const json& x, const JsonPlace& at) {
            return readNumberIn(x, at, lo, hi);
        });
    }
}

// A switch: true or false for the whole composition, served as 1 or 0.
void readSwitch(const json& object, const JsonPlace& place, std::string_view key, Animated<double>& setting)
{
    if (const json* v = findKey(object, key)) {
        setting = Animated<double>(readBool(*v, child(place, key)) ? 1.0 : 0.0);
    }
}

}  // namespace

void parseCamera(const json* value, const JsonPlace& place, const Scene& scene, CameraSettings& camera)
{
    const double distance = sceneCameraDistance(scene);
    camera = CameraSettings{};
    camera.zoom = Animated<double>(distance);
    camera.focusDistance = Animated<double>(distance);
    camera.aperture = Animated<double>(kDefaultAperture);
    if (value == nullptr) {
        return;
    }
    expectObject(*value, place);
    rejectUnknownKeys(*value, place, {"type", "zoom", "depthOfField", "focusDistance", "aperture", "blurLevel"});
    const double d = scene.duration;
    if (const json* v = findKey(*value, "type")) {
        camera.type = readType(*v, child(place, "type"), kCameraTypes, "camera");
    }
    if (const json* v = findKey(*value, "zoom")) {
        camera.zoom = readAnimated<double>(*v, child(place, "zoom"), d, readPositive);
    }
    readSwitch(*value, place, "depthOfField", camera.depthOfField);
    readSetting(*value, place, "focusDistance", d, 0, kInfinity, camera.focusDistance);
    readSetting(*value, place, "aperture", d, 0, kInfinity, camera.aperture);
    readSetting(*value, place, "blurLevel", d, 0, kInfinity, camera.blurLevel);
}

void parseLight(const json* value, const JsonPlace& place, const Scene& scene, LightSettings& light)
{
    light = LightSettings{};
    if (value == nullptr) {
        return;
    }
    expectObject(*value, place);
    rejectUnknownKeys(*value, place,
                      {"type", "intensity", "color", "coneAngle", "coneFeather", "castsShadows", "shadowDarkness",
                       "shadowDiffusion"});
    const double d = scene.duration;
    if (const json* v = findKey(*value, "type")) {
        light.type = readType(*v, child(place, "type"), kLightTypes, "light");
    }
    // Negative intensities are allowed: such lights take light away.
    readSetting(*value, place, "intensity", d, -kInfinity, kInfinity, light.intensity);
    if (const json* v = findKey(*value, "color")) {
        light.color = readAnimated<std::array<double, 3>>(*v, child(place, "color"), d, readRgb);
    }
    readSetting(*value, place, "coneAngle", d, 0, 180, light.coneAngle);
    readSetting(*value, place, "coneFeather", d, 0, 100, light.coneFeather);
    readSwitch(*value, place, "castsShadows", light.castsShadows);
    readSetting(*value, place, "shadowDarkness", d, 0, 100, light.shadowDarkness);
    readSetting(*value, place, "shadowDiffusion", d, 0, kInfinity, light.shadowDiffusion);
}

}  // namespace orbhost
