// One effect parameter's value over composition time, as a scene file gives it.
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace orbhost {

struct ParamKey {
    double time = 0;  // seconds of composition time
    nlohmann::json value;
};

struct ParamTrack {
    std::string name;             // the parameter's name as the user sees it, e.g. "Radius"
    std::string jsonPath;         // where the value sits in the scene file, e.g. /effect/params/Radius
    std::vector<ParamKey> keys;   // sorted by time, at least one
};

// Numbers and equally long arrays of numbers interpolate linearly between neighbouring keys;
// anything else holds the earlier key's value. Before the first key: the first value; after
// the last: the last value.
nlohmann::json valueAt(const ParamTrack& track, double seconds);

// The earlier key's value, never interpolated: for parameters that only take whole choices
// (popups, checkboxes, layers) even when they are written as numbers.
nlohmann::json heldValueAt(const ParamTrack& track, double seconds);

}  // namespace orbhost
