// The effect's parameter values as numbers, read through one ParamCheckout at the current
// time. A value whose checkout fails reads as zeros (popups as 0, which every reader takes
// as its first choice); the checkout's error goes no further, and the next value is checked
// out as usual.
#pragma once
#include "scene/param_checkout.h"
#include "shell/effect_param_id.h"

// 16.16 fixed point to a real number, in double and (for the single-precision angles) float.
inline constexpr double kFixedToReal = 1.52587890625e-5;
inline constexpr float kFixedToRealF = 1.5258789e-5f;

class ParamValues {
public:
    explicit ParamValues(PF_InData* inData) : checkout_(inData) {}

    // Fixed sliders and angles: the 16.16 value as a real number.
    double fixed(EffectParamId index) { return rawFixed(index) * kFixedToReal; }
    PF_Fixed rawFixed(EffectParamId index)
    {
        const PF_ParamDef& p = read(index);
        return p.param_type == PF_Param_ANGLE ? p.u.ad.value : p.u.fd.value;
    }
    // Percent sliders as fractions.
    double percent(EffectParamId index) { return fixed(index) / 100.0; }
    double floatSlider(EffectParamId index) { return read(index).u.fs_d.value; }
    // Popups are 1-based; checkboxes give their raw value.
    A_long popup(EffectParamId index) { return read(index).u.pd.value; }
    A_long checkbox(EffectParamId index) { return read(index).u.bd.value; }
    PF_Pixel color(EffectParamId index) { return read(index).u.cd.value; }
    // The point in 16.16 pixels of the layer as currently buffered (downsampled).
    PF_PointDef point(EffectParamId index) { return read(index).u.td; }
    PF_LayerDef layer(EffectParamId index) { return read(index).u.ld; }

private:
    const PF_ParamDef& read(EffectParamId index) { return checkout_.get(index, &copy_); }

    ParamCheckout checkout_;
    PF_ParamDef copy_{};
};
