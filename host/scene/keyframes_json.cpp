#include "host/scene/keyframes_json.h"

#include <string>

namespace orbhost {

using nlohmann::json;

void forEachKeyframe(const json& object, const JsonPlace& place, double duration, const KeyVisitor& visit)
{
    rejectUnknownKeys(object, place, {"keys"});
    const JsonPlace keysPlace = child(place, "keys");
    const json& keys = expectArray(requireKey(object, place, "keys"), keysPlace);
    if (keys.empty()) {
        fail(keysPlace, "needs at least one keyframe");
    }
    double previous = 0;
    for (size_t i = 0; i < keys.size(); ++i) {
        const JsonPlace keyPlace = child(keysPlace, i);
        if (!keys[i].is_array() || keys[i].size() != 2) {
            fail(keyPlace, "expected a keyframe [time_seconds, value], got " + describeType(keys[i]) +
                               (keys[i].is_array() ? " of " + std::to_string(keys[i].size()) + " values" : ""));
        }
        const JsonPlace timePlace = child(keyPlace, size_t{0});
        const double time = readNumber(keys[i][0], timePlace);
        if (time < 0 || time > duration) {
            fail(timePlace, "keyframe time " + keys[i][0].dump() + " is outside the composition (0.." +
                                json(duration).dump() + " seconds)");
        }
        if (i > 0 && !(time > previous)) {
            fail(timePlace, "keyframe times must increase (" + keys[i][0].dump() + " follows " +
                                json(previous).dump() + ")");
        }
        previous = time;
        visit(time, keys[i][1], child(keyPlace, 1));
    }
}

Vec3 readVec3(const json& value, const JsonPlace& place, double missingZ)
{
    if (!value.is_array() || (value.size() != 2 && value.size() != 3)) {
        fail(place, "expected [x, y] or [x, y, z], got " + describeType(value) +
                        (value.is_array() ? " of " + std::to_string(value.size()) + " values" : ""));
    }
    Vec3 v{0, 0, missingZ};
    v.x = readNumber(value[0], child(place, size_t{0}));
    v.y = readNumber(value[1], child(place, 1));
    if (value.size() == 3) {
        v.z = readNumber(value[2], child(place, 2));
    }
    return v;
}

std::array<double, 3> readRgb(const json& value, const JsonPlace& place)
{
    if (!value.is_array() || value.size() != 3) {
        fail(place, "expected a colour [r, g, b], got " + describeType(value) +
                        (value.is_array() ? " of " + std::to_string(value.size()) + " values" : ""));
    }
    std::array<double, 3> rgb{};
    for (size_t i = 0; i < 3; ++i) {
        rgb[i] = readNumberIn(value[i], child(place, i), 0, 1);
    }
    return rgb;
}

}  // namespace orbhost
