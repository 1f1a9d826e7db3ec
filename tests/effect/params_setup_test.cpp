// PF_Cmd_PARAMS_SETUP through the fake host: every definition the host receives.
#include "fake_host.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <string>
#include <vector>

namespace {

constexpr PF_ParamFlags kTwirl = PF_ParamFlag_COLLAPSE_TWIRLY;
constexpr PF_ParamFlags kSupervise = PF_ParamFlag_SUPERVISE;

struct Expected {
    const char* name;
    PF_ParamType type;
    A_long diskId;
    PF_ParamFlags flags;
    PF_ParamUIFlags uiFlags;
    std::vector<double> numbers;   // as numbers() lists them, 16.16 raw where the host stores fixed point
    const char* text;              // popup choices or checkbox label
};

const Expected kExpected[] = {
    {"Texture", PF_Param_LAYER, 1, 0, 0, {PF_LayerDefault_NONE}, nullptr},
    {"Transform", PF_Param_GROUP_START, 2, 0, 0, {}, nullptr},
    {"Slide Texture", PF_Param_ANGLE, 43, 0, 0, {0, 0}, nullptr},
    {"Control Layer", PF_Param_LAYER, 3, kSupervise, 0, {PF_LayerDefault_NONE}, nullptr},
    {"Ellipse Z/XY", PF_Param_FIX_SLIDER, 4, kTwirl, 0, {-65470, 65470, -65470, 65470, 0, 0, 2, 0}, nullptr},
    {"Ellipse X/Y", PF_Param_FIX_SLIDER, 5, kTwirl, 0, {-65470, 65470, -65470, 65470, 0, 0, 2, 0}, nullptr},
    {"Radius", PF_Param_FLOAT_SLIDER, 6, kTwirl, 0, {0, FLT_MAX, 0, 1000, 200, 200, 1, 0, 0.05f}, nullptr},
    {"Position XY", PF_Param_POINT, 7, 0, 0, {3276800, 3276800, 3276800, 3276800, 0}, nullptr},
    {"Position Z", PF_Param_FIX_SLIDER, 8, kTwirl, 0, {-2147418112, 2147418112, -65536000, 65536000, 0, 0, 1, 0}, nullptr},
    {"Rotation X", PF_Param_ANGLE, 9, 0, 0, {-5898240, -5898240}, nullptr},
    {"Rotation Y", PF_Param_ANGLE, 10, 0, 0, {0, 0}, nullptr},
    {"Rotation Z", PF_Param_ANGLE, 11, 0, 0, {-5898240, -5898240}, nullptr},
    {"", PF_Param_GROUP_END, 12, 0, 0, {}, nullptr},
    {"Open Sphere", PF_Param_GROUP_START, 13, 0, 0, {}, nullptr},
    {"Show Pivot", PF_Param_CHECKBOX, 14, 0, 0, {0, 0}, ""},
    {"Fixed Point U", PF_Param_FIX_SLIDER, 15, kTwirl, 0, {0, 65536, 0, 65536, 32768, 32768, 2, 0}, nullptr},
    {"Fixed Point V", PF_Param_FIX_SLIDER, 16, kTwirl, 0, {65, 65470, 65, 65470, 32768, 32768, 2, 0}, nullptr},
    {"Open Parameter", PF_Param_FIX_SLIDER, 17, 0, 0, {0, 131072, 0, 131072, 0, 0, 2, 0}, nullptr},
    {"", PF_Param_GROUP_END, 13, 0, 0, {}, nullptr},
    {"Shading", PF_Param_GROUP_START, 19, 0, 0, {}, nullptr},
    {"Falloff", PF_Param_POPUP, 20, kSupervise, 0, {1, 1, 3}, "None|Smooth|Inverse Square Clamped"},
    {"Falloff Radius", PF_Param_FIX_SLIDER, 21, kTwirl, PF_PUI_DISABLED, {65536, 2147418112, 65536, 65536000, 13107200, 13107200, 1, 0}, nullptr},
    {"Falloff Distance", PF_Param_FIX_SLIDER, 22, kTwirl, PF_PUI_DISABLED, {65536, 2147418112, 65536, 65536000, 13107200, 13107200, 1, 0}, nullptr},
    {"Self Shadow", PF_Param_CHECKBOX, 23, 0, 0, {0, 0}, ""},
    {"Light Transmission", PF_Param_FIX_SLIDER, 24, 0, 0, {0, 6553600, 0, 6553600, 0, 0, 1, 0}, nullptr},
    {"Emit", PF_Param_FIX_SLIDER, 25, 0, 0, {0, 6553600, 0, 6553600, 6553600, 6553600, 1, 0}, nullptr},
    {"Ambient", PF_Param_FIX_SLIDER, 26, 0, 0, {0, 6553600, 0, 6553600, 6553600, 6553600, 1, 0}, nullptr},
    {"Diffuse", PF_Param_FIX_SLIDER, 27, 0, 0, {0, 6553600, 0, 6553600, 3276800, 3276800, 1, 0}, nullptr},
    {"Specular", PF_Param_FIX_SLIDER, 28, 0, 0, {0, 6553600, 0, 6553600, 3276800, 3276800, 1, 0}, nullptr},
    {"Roughness", PF_Param_FIX_SLIDER, 29, 0, 0, {0, 65470, 0, 65470, 655, 655, 3, 0}, nullptr},
    {"Metal", PF_Param_FIX_SLIDER, 30, 0, 0, {0, 6553600, 0, 6553600, 0, 0, 1, 0}, nullptr},
    {"Reflection Map", PF_Param_LAYER, 31, 0, 0, {PF_LayerDefault_NONE}, nullptr},
    {"Reflection Intensity", PF_Param_FIX_SLIDER, 32, 0, 0, {0, 6553600, 0, 6553600, 6553600, 6553600, 1, 0}, nullptr},
    {"Reflection Rolloff", PF_Param_FIX_SLIDER, 32, 0, 0, {0, 6553600, 0, 6553600, 655360, 655360, 1, 0}, nullptr},
    {"", PF_Param_GROUP_END, 34, 0, 0, {}, nullptr},
    {"Rendering", PF_Param_GROUP_START, 35, 0, 0, {}, nullptr},
    {"Render Side", PF_Param_POPUP, 36, 0, 0, {1, 1, 3}, "Full|Inside|Outside"},
    {"Use Composition Camera", PF_Param_CHECKBOX, 37, 0, 0, {1, 1}, ""},
    {"Depth Of Field", PF_Param_POPUP, 38, 0, 0, {1, 1, 3}, "Off|Camera Settings|On"},
    {"Boost DOF Blur", PF_Param_FIX_SLIDER, 39, 0, 0, {0, 131072000, 0, 65536000, 6553600, 6553600, 1, 0}, nullptr},
    {"Sharpness", PF_Param_FIX_SLIDER, 40, 0, 0, {0, 65536, 0, 65536, 32768, 32768, 2, 0}, nullptr},
    {"Depth Composite", PF_Param_GROUP_START, 53, 0, 0, {}, nullptr},
    {"Mode", PF_Param_POPUP, 54, 0, 0, {1, 1, 3}, "Off|Fog|Fade Out"},
    {"Start depth", PF_Param_FIX_SLIDER, 55, 0, 0, {0, 2147418112, 0, 65536000, 0, 0, 1, 0}, nullptr},
    {"End depth", PF_Param_FIX_SLIDER, 56, 0, 0, {0, 2147418112, 0, 65536000, 65536000, 65536000, 1, 0}, nullptr},
    {"Fog Color", PF_Param_COLOR, 57, 0, 0, {255, 255, 255, 255, 255, 255, 255, 255}, nullptr},
    {"", PF_Param_GROUP_END, 58, 0, 0, {}, nullptr},
    {"", PF_Param_GROUP_END, 41, 0, 0, {}, nullptr},
    {"dammy", PF_Param_FIX_SLIDER, 42, 0, PF_PUI_INVISIBLE, {-2147418112, 2147418112, -2147418112, 2147418112, 0, 0, 1, 0}, nullptr},
};

// The numbers of a definition, by type; value and default both, so that each is checked.
std::vector<double> numbers(const PF_ParamDef& def)
{
    const PF_FixedSliderDef& f = def.u.fd;
    const PF_FloatSliderDef& fs = def.u.fs_d;
    const PF_PointDef& t = def.u.td;
    const PF_Pixel &c = def.u.cd.value, &cd = def.u.cd.dephault;
    switch (def.param_type) {
    case PF_Param_FIX_SLIDER:
        return {double(f.valid_min), double(f.valid_max), double(f.slider_min), double(f.slider_max),
                double(f.dephault), double(f.value), double(f.precision), double(f.display_flags)};
    case PF_Param_ANGLE: return {double(def.u.ad.dephault), double(def.u.ad.value)};
    case PF_Param_LAYER: return {double(def.u.ld.dephault)};
    case PF_Param_CHECKBOX: return {double(def.u.bd.dephault), double(def.u.bd.value)};
    case PF_Param_POPUP: return {double(def.u.pd.dephault), double(def.u.pd.value), double(def.u.pd.num_choices)};
    case PF_Param_POINT:
        return {double(t.x_dephault), double(t.y_dephault), double(t.x_value), double(t.y_value), double(t.restrict_bounds)};
    case PF_Param_COLOR:
        return {double(c.alpha), double(c.red), double(c.green), double(c.blue),
                double(cd.alpha), double(cd.red), double(cd.green), double(cd.blue)};
    case PF_Param_FLOAT_SLIDER:
        return {fs.valid_min, fs.valid_max, fs.slider_min, fs.slider_max, fs.dephault, fs.value, double(fs.precision),
                double(fs.display_flags), fs.curve_tolerance};
    default: return {};
    }
}

} // namespace

TEST(ParamsSetup, RegistersAllParametersWithTheirExactDefinitions)
{
    FakeHost host;
    ASSERT_EQ(host.run(PF_Cmd_PARAMS_SETUP), PF_Err_NONE);
    EXPECT_EQ(host.out.num_params, 50);
    ASSERT_EQ(host.added.size(), std::size(kExpected));
    int named = 0;
    for (std::size_t i = 0; i < host.added.size(); ++i) {
        const Expected& e = kExpected[i];
        const PF_ParamDef& def = host.added[i];
        SCOPED_TRACE("parameter " + std::to_string(i + 1) + " \"" + e.name + "\"");
        EXPECT_STREQ(def.name_do_not_use_directly, e.name);
        EXPECT_EQ(def.param_type, e.type);
        EXPECT_EQ(def.uu.id, e.diskId);
        EXPECT_EQ(def.flags, e.flags);
        EXPECT_EQ(def.ui_flags, e.uiFlags);
        EXPECT_EQ(numbers(def), e.numbers);
        const bool texts = e.type == PF_Param_CHECKBOX || e.type == PF_Param_POPUP;
        EXPECT_STREQ(!texts ? nullptr : e.type == PF_Param_POPUP ? def.u.pd.u.namesptr : def.u.bd.u.nameptr, e.text);
        named += *e.name ? 1 : 0;
    }
    EXPECT_EQ(host.strcpyCalls, named) << "names go through the host's strcpy";
}

TEST(ParamsSetup, FirstAddParamErrorStopsRegistration)
{
    for (int failAt : {1, 2, 25, 49}) {
        SCOPED_TRACE("add_param fails at call " + std::to_string(failAt));
        FakeHost host;
        host.failAddParamAt = failAt;
        host.addParamError = PF_Err_INTERNAL_STRUCT_DAMAGED;
        EXPECT_EQ(host.run(PF_Cmd_PARAMS_SETUP), PF_Err_INTERNAL_STRUCT_DAMAGED);
        EXPECT_EQ(static_cast<int>(host.added.size()), failAt);
        EXPECT_EQ(host.out.num_params, 1) << "num_params is set only after every parameter";
    }
}
