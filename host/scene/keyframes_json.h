// Values that may change over composition time: written directly (constant) or as
// {"keys": [[time_seconds, value], ...]} with times strictly increasing inside the composition.
#pragma once

#include "host/comp/composition_model.h"
#include "host/scene/scene_json.h"

#include <nlohmann/json.hpp>

#include <array>
#include <functional>

namespace orbhost {

using KeyVisitor = std::function<void(double seconds, const nlohmann::json& value, const JsonPlace& valuePlace)>;

// Checks the keyframe object at place (only "keys", a non-empty array of [time, value] pairs with
// times increasing within 0..duration) and hands each key to visit in order.
void forEachKeyframe(const nlohmann::json& object, const JsonPlace& place, double duration, const KeyVisitor& visit);

// A constant or keyframed property whose values readValue(json, place) checks and converts.
template <class T, class ReadValue>
Animated<T> readAnimated(const nlohmann::json& value, const JsonPlace& place, double duration, ReadValue readValue)
{
    if (!value.is_object()) {
        return Animated<T>(readValue(value, place));
    }
    Animated<T> property;
    forEachKeyframe(value, place, duration, [&](double seconds, const nlohmann::json& v, const JsonPlace& at) {
        property.keys.emplace_back(seconds, readValue(v, at));
    });
    return property;
}

// [x, y] or [x, y, z], finite numbers; z is missingZ when left out.
Vec3 readVec3(const nlohmann::json& value, const JsonPlace& place, double missingZ = 0);
// [r, g, b], each in 0..1.
std::array<double, 3> readRgb(const nlohmann::json& value, const JsonPlace& place);

}  // namespace orbhost
