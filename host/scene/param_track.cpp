#include "host/scene/param_track.h"

#include <algorithm>

namespace orbhost {
namespace {

bool isNumberArray(const nlohmann::json& value)
{
    return value.is_array() && std::all_of(value.begin(), value.end(), [](const auto& v) { return v.is_number(); });
}

// Index of the last key at or before `seconds`, or -1 when `seconds` is before every key.
std::ptrdiff_t keyAtOrBefore(const ParamTrack& track, double seconds)
{
    const auto after = std::upper_bound(track.keys.begin(), track.keys.end(), seconds,
                                        [](double t, const ParamKey& key) { return t < key.time; });
    return (after - track.keys.begin()) - 1;
}

double lerp(const nlohmann::json& a, const nlohmann::json& b, double f)
{
    const double x = a.get<double>(), y = b.get<double>();
    return x + (y - x) * f;
}

}  // namespace

nlohmann::json heldValueAt(const ParamTrack& track, double seconds)
{
    if (track.keys.empty()) {
        return nullptr;
    }
    const std::ptrdiff_t i = keyAtOrBefore(track, seconds);
    return track.keys[size_t(std::max<std::ptrdiff_t>(i, 0))].value;
}

nlohmann::json valueAt(const ParamTrack& track, double seconds)
{
    const std::ptrdiff_t i = keyAtOrBefore(track, seconds);
    if (track.keys.empty() || i < 0 || size_t(i) + 1 >= track.keys.size()) {
        return heldValueAt(track, seconds);
    }
    const ParamKey& from = track.keys[size_t(i)];
    const ParamKey& to = track.keys[size_t(i) + 1];
    if (seconds == from.time) {
        return from.value;  // exactly on a key: the value as written, integers staying integers
    }
    const double f = (seconds - from.time) / (to.time - from.time);
    if (from.value.is_number() && to.value.is_number()) {
        return lerp(from.value, to.value, f);
    }
    if (isNumberArray(from.value) && isNumberArray(to.value) && from.value.size() == to.value.size()) {
        nlohmann::json out = nlohmann::json::array();
        for (size_t k = 0; k < from.value.size(); ++k) {
            out.push_back(lerp(from.value[k], to.value[k], f));
        }
        return out;
    }
    return from.value;
}

}  // namespace orbhost
