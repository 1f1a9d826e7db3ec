// The host's copy of one registered effect parameter, and parameter values in the units a
// user sees (slider numbers, degrees, layer pixels, 0..1 colours, 1-based popups).
#pragma once
#include "hostapi/host_api.h"

#include <array>
#include <string>
#include <vector>

namespace orbhost {

struct ParamDefinition {
    int index = 0;
    PF_ParamDef def{};            // as added; string pointers point into the members below
    std::string name;
    std::string popupNames;       // "A|B|C" for popups
    std::string checkboxLabel;
    int groupDepth = 0;           // number of open groups around the parameter
    PF_ParamUIFlags uiFlags = 0;  // current UI flags, changed by PF_UpdateParamUI
    std::vector<std::string> choices() const;   // popup entries, 1-based order
};

// Copies a definition handed to add_param (the effect's strings are read now).
ParamDefinition copyDefinition(const PF_ParamDef& def, int index, int groupDepth);

// The record the effect sees for this parameter (checkouts, params[]): the definition with
// the current UI flags, pointers to the host's copies of its strings, and uu = 0.
PF_ParamDef recordFor(const ParamDefinition& param);

const char* paramTypeName(PF_ParamType type);

// A value as the user sees it. Which members count depends on the type: number (sliders,
// angles in degrees, checkbox 0/1, popup 1-based), x/y (points, full-resolution layer
// pixels), color (r, g, b, a in 0..1), layer (index into the composition's layers, -1 none).
struct ParamValue {
    double number = 0;
    double x = 0, y = 0;
    std::array<float, 4> color{0, 0, 0, 1};
    int layer = -1;
    bool operator==(const ParamValue&) const = default;
};

// The default value of a parameter; points are placed on a layer of the given size.
ParamValue defaultValue(const ParamDefinition& param, int layerWidth, int layerHeight);

// Writes value into the value fields of out (which already holds the definition), as the
// effect reads them: 16.16 for fixed sliders, angles and points (points scaled by the
// downsample factors), doubles for float sliders, PF_Pixel for colours. Layer records are
// not touched.
void writeParamValue(const ParamDefinition& param, const ParamValue& value, double downsampleX,
                     double downsampleY, PF_ParamDef* out);

// The smallest and largest values a user may set for sliders (valid range), in user units;
// false for types without a range.
bool validRange(const ParamDefinition& param, double* low, double* high);

// 16.16 from a double, rounded to nearest, saturated; NaN gives 0.
PF_Fixed toFixed(double value);

} // namespace orbhost
