// The effect's 49 controls in registration order. Disk ids 13 and 32 are each used twice and
// 18, 33 and 44-52 are unused: saved projects depend on exactly these numbers.
#pragma once
#include "shell/param_row.h"

#include <array>
#include <limits>
#include <string_view>

namespace param_values {
// Limits written as decimals and truncated to 16.16.
inline constexpr PF_Fixed k0_999 = 65470;   // 0.999 -> 0.998992919921875
inline constexpr PF_Fixed k0_001 = 65;      // 0.001 -> 0.0009918212890625
inline constexpr PF_Fixed k0_01 = 655;      // 0.01  -> 0.0099945068359375
inline constexpr PF_Fixed kHalf = 32768;
inline constexpr FixedRange kPercent{0, fixed(100), 0, fixed(100)};
inline constexpr FixedRange kUnit{0, fixed(1), 0, fixed(1)};
inline constexpr FixedRange kEllipse{-k0_999, k0_999, -k0_999, k0_999};
inline constexpr FixedRange kFalloff{fixed(1), fixed(32767), fixed(1), fixed(1000)};
inline constexpr FixedRange kDepth{0, fixed(32767), 0, fixed(1000)};
inline constexpr PF_ParamFlags kTwirl = PF_ParamFlag_COLLAPSE_TWIRLY;
} // namespace param_values

inline constexpr std::array<ParamRow, PARAM_NUM_PARAMS - 1> kParamTable = [] {
    using namespace param_values;
    return std::array<ParamRow, PARAM_NUM_PARAMS - 1>{
        layerParam(PARAM_TEXTURE, "Texture", 1),
        groupStart(PARAM_TRANSFORM_GROUP, "Transform", 2),
        angleParam(PARAM_SLIDE_TEXTURE, "Slide Texture", 43, 0),
        layerParam(PARAM_CONTROL_LAYER, "Control Layer", 3, PF_ParamFlag_SUPERVISE),
        fixSlider(PARAM_ELLIPSE_Z_XY, "Ellipse Z/XY", 4, kEllipse, 0, 2, kTwirl),
        fixSlider(PARAM_ELLIPSE_X_Y, "Ellipse X/Y", 5, kEllipse, 0, 2, kTwirl),
        floatSlider(PARAM_RADIUS, "Radius", 6, 0.0f, std::numeric_limits<float>::max(), 0.0f,
                    1000.0f, 200.0f, 1, 0.05f, kTwirl),
        pointParam(PARAM_POSITION_XY, "Position XY", 7, fixed(50), fixed(50)),
        fixSlider(PARAM_POSITION_Z, "Position Z", 8,
                  {fixed(-32767), fixed(32767), fixed(-1000), fixed(1000)}, 0, 1, kTwirl),
        angleParam(PARAM_ROTATION_X, "Rotation X", 9, -90),
        angleParam(PARAM_ROTATION_Y, "Rotation Y", 10, 0),
        angleParam(PARAM_ROTATION_Z, "Rotation Z", 11, -90),
        groupEnd(PARAM_TRANSFORM_GROUP_END, 12),

        groupStart(PARAM_OPEN_SPHERE_GROUP, "Open Sphere", 13),
        checkbox(PARAM_SHOW_PIVOT, "Show Pivot", 14, false),
        fixSlider(PARAM_FIXED_POINT_U, "Fixed Point U", 15, kUnit, kHalf, 2, kTwirl),
        fixSlider(PARAM_FIXED_POINT_V, "Fixed Point V", 16, {k0_001, k0_999, k0_001, k0_999}, kHalf,
                  2, kTwirl),
        fixSlider(PARAM_OPEN_PARAMETER, "Open Parameter", 17, {0, fixed(2), 0, fixed(2)}, 0, 2),
        groupEnd(PARAM_OPEN_SPHERE_GROUP_END, 13),

        groupStart(PARAM_SHADING_GROUP, "Shading", 19),
        popup(PARAM_FALLOFF, "Falloff", 20, "None|Smooth|Inverse Square Clamped", 3, 1,
              PF_ParamFlag_SUPERVISE),
        fixSlider(PARAM_FALLOFF_RADIUS, "Falloff Radius", 21, kFalloff, fixed(200), 1, kTwirl,
                  PF_PUI_DISABLED),
        fixSlider(PARAM_FALLOFF_DISTANCE, "Falloff Distance", 22, kFalloff, fixed(200), 1, kTwirl,
                  PF_PUI_DISABLED),
        checkbox(PARAM_SELF_SHADOW, "Self Shadow", 23, false),
        fixSlider(PARAM_LIGHT_TRANSMISSION, "Light Transmission", 24, kPercent, 0, 1),
        fixSlider(PARAM_EMIT, "Emit", 25, kPercent, fixed(100), 1),
        fixSlider(PARAM_AMBIENT, "Ambient", 26, kPercent, fixed(100), 1),
        fixSlider(PARAM_DIFFUSE, "Diffuse", 27, kPercent, fixed(50), 1),
        fixSlider(PARAM_SPECULAR, "Specular", 28, kPercent, fixed(50), 1),
        fixSlider(PARAM_ROUGHNESS, "Roughness", 29, {0, k0_999, 0, k0_999}, k0_01, 3),
        fixSlider(PARAM_METAL, "Metal", 30, kPercent, 0, 1),
        layerParam(PARAM_REFLECTION_MAP, "Reflection Map", 31),
        fixSlider(PARAM_REFLECTION_INTENSITY, "Reflection Intensity", 32, kPercent, fixed(100), 1),
        fixSlider(PARAM_REFLECTION_ROLLOFF, "Reflection Rolloff", 32, kPercent, fixed(10), 1),
        groupEnd(PARAM_SHADING_GROUP_END, 34),

        groupStart(PARAM_RENDERING_GROUP, "Rendering", 35),
        popup(PARAM_RENDER_SIDE, "Render Side", 36, "Full|Inside|Outside", 3, 1),
        checkbox(PARAM_USE_COMP_CAMERA, "Use Composition Camera", 37, true),
        popup(PARAM_DEPTH_OF_FIELD, "Depth Of Field", 38, "Off|Camera Settings|On", 3, 1),
        fixSlider(PARAM_BOOST_DOF_BLUR, "Boost DOF Blur", 39, {0, fixed(2000), 0, fixed(1000)},
                  fixed(100), 1),
        fixSlider(PARAM_SHARPNESS, "Sharpness", 40, kUnit, kHalf, 2),
        groupStart(PARAM_DEPTH_COMPOSITE_GROUP, "Depth Composite", 53),
        popup(PARAM_DEPTH_COMPOSITE_MODE, "Mode", 54, "Off|Fog|Fade Out", 3, 1),
        fixSlider(PARAM_START_DEPTH, "Start depth", 55, kDepth, 0, 1),
        fixSlider(PARAM_END_DEPTH, "End depth", 56, kDepth, fixed(1000), 1),
        colorParam(PARAM_FOG_COLOR, "Fog Color", 57, PF_Pixel{255, 255, 255, 255}),
        groupEnd(PARAM_DEPTH_COMPOSITE_GROUP_END, 58),
        groupEnd(PARAM_RENDERING_GROUP_END, 41),

        fixSlider(PARAM_DAMMY, "dammy", 42, {fixed(-32767), fixed(32767), fixed(-32767), fixed(32767)},
                  0, 1, PF_ParamFlag_NONE, PF_PUI_INVISIBLE),
    };
}();

// Row i registers parameter i + 1, and every name fits the host's name field.
static_assert([] {
    for (std::size_t i = 0; i < kParamTable.size(); ++i) {
        const ParamRow& row = kParamTable[i];
        if (row.index != static_cast<EffectParamId>(i + 1)) return false;
        if (row.name && std::string_view(row.name).size() > PF_MAX_EFFECT_PARAM_NAME_LEN) return false;
    }
    return true;
}());
