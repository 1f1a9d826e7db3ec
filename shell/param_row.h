// One row of the parameter table: what PARAMS_SETUP hands to add_param for a parameter,
// as a constexpr value. The builders below fill the fields that their parameter type uses.
#pragma once
#include "hostapi/host_api.h"
#include "shell/effect_param_id.h"

struct ParamRow {
    EffectParamId index;
    PF_ParamType type;
    const char* name;   // null for group ends, which have no name
    A_long diskId;      // uu.id: how saved projects find the control
    PF_ParamFlags flags = PF_ParamFlag_NONE;
    PF_ParamUIFlags uiFlags = 0;
    // FIX_SLIDER limits (16.16); the default of FIX_SLIDER and ANGLE (16.16), LAYER,
    // CHECKBOX and POPUP (whole numbers) and POINT x (16.16, y in defaultY).
    A_long validMin = 0;
    A_long validMax = 0;
    A_long sliderMin = 0;
    A_long sliderMax = 0;
    A_long dflt = 0;
    A_long defaultY = 0;
    PF_Precision precision = 0;
    // FLOAT_SLIDER
    float floatValidMin = 0;
    float floatValidMax = 0;
    float floatSliderMin = 0;
    float floatSliderMax = 0;
    float floatDefault = 0;
    float curveTolerance = 0;
    // POPUP choices ("A|B|C") or CHECKBOX label
    const char* text = nullptr;
    A_short numChoices = 0;
    PF_Pixel color{};   // COLOR default
};

// Whole units to 16.16.
constexpr PF_Fixed fixed(A_long units) { return units * 65536; }

constexpr ParamRow layerParam(EffectParamId index, const char* name, A_long diskId,
                               PF_ParamFlags flags = PF_ParamFlag_NONE)
{
    return {.index = index, .type = PF_Param_LAYER, .name = name, .diskId = diskId,
            .flags = flags, .dflt = PF_LayerDefault_NONE};
}

constexpr ParamRow groupStart(EffectParamId index, const char* name, A_long diskId)
{
    return {.index = index, .type = PF_Param_GROUP_START, .name = name, .diskId = diskId};
}

constexpr ParamRow groupEnd(EffectParamId index, A_long diskId)
{
    return {.index = index, .type = PF_Param_GROUP_END, .name = nullptr, .diskId = diskId};
}

constexpr ParamRow angleParam(EffectParamId index, const char* name, A_long diskId, A_long degrees)
{
    return {.index = index, .type = PF_Param_ANGLE, .name = name, .diskId = diskId,
            .dflt = fixed(degrees)};
}

struct FixedRange {
    PF_Fixed validMin, validMax, sliderMin, sliderMax;
};

constexpr ParamRow fixSlider(EffectParamId index, const char* name, A_long diskId, FixedRange range,
                              PF_Fixed dflt, PF_Precision precision,
                              PF_ParamFlags flags = PF_ParamFlag_NONE, PF_ParamUIFlags uiFlags = 0)
{
    return {.index = index, .type = PF_Param_FIX_SLIDER, .name = name, .diskId = diskId,
            .flags = flags, .uiFlags = uiFlags, .validMin = range.validMin,
            .validMax = range.validMax, .sliderMin = range.sliderMin, .sliderMax = range.sliderMax,
            .dflt = dflt, .precision = precision};
}

constexpr ParamRow floatSlider(EffectParamId index, const char* name, A_long diskId, float validMin,
                                float validMax, float sliderMin, float sliderMax, float dflt,
                                PF_Precision precision, float curveTolerance, PF_ParamFlags flags)
{
    return {.index = index, .type = PF_Param_FLOAT_SLIDER, .name = name, .diskId = diskId,
            .flags = flags, .precision = precision, .floatValidMin = validMin,
            .floatValidMax = validMax, .floatSliderMin = sliderMin, .floatSliderMax = sliderMax,
            .floatDefault = dflt, .curveTolerance = curveTolerance};
}

constexpr ParamRow pointParam(EffectParamId index, const char* name, A_long diskId, PF_Fixed x, PF_Fixed y)
{
    return {.index = index, .type = PF_Param_POINT, .name = name, .diskId = diskId,
            .dflt = x, .defaultY = y};
}

constexpr ParamRow checkbox(EffectParamId index, const char* name, A_long diskId, bool on)
{
    return {.index = index, .type = PF_Param_CHECKBOX, .name = name, .diskId = diskId,
            .dflt = on ? 1 : 0, .text = ""};
}

constexpr ParamRow popup(EffectParamId index, const char* name, A_long diskId, const char* choices,
                          A_short numChoices, A_short dflt, PF_ParamFlags flags = PF_ParamFlag_NONE)
{
    return {.index = index, .type = PF_Param_POPUP, .name = name, .diskId = diskId, .flags = flags,
            .dflt = dflt, .text = choices, .numChoices = numChoices};
}

constexpr ParamRow colorParam(EffectParamId index, const char* name, A_long diskId, PF_Pixel color)
{
    return {.index = index, .type = PF_Param_COLOR, .name = name, .diskId = diskId, .color = color};
}
