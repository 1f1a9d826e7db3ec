// PF_Cmd_PARAMS_SETUP through the fake host: every definition the host receives.
#include "fake_host.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <string>
#include <vector>

namespace {

constexpr PF_ParamFlags kTwirl = PF_ParamFlag_COLLAPSE_TWIRLY;
constexpr PF_ParamFlags kSupervise = PF_ParamFlag_SUPERVISE;

// Raw numbers as the host stores them (16.16 for fixed sliders, angles and points).
// FIX_SLIDER: valid min/max, slider min/max, default. ANGLE, LAYER, CHECKBOX: default.
// POPUP: default, number of choices. POINT: x, y.
struct Expected {
    const char* name;
    PF_ParamType type;
    A_long diskId;
    PF_ParamFlags flags;
    PF_ParamUIFlags uiFlags;
    A_long v[5];
    int precision;
    const char* text;   // popup choices or checkbox label
};

const Expected kExpected[] = {
    {"Texture", PF_Param_LAYER, 1, 0, 0, {0}, 0, nullptr},
    {"Transform", PF_Param_GROUP_START, 2, 0, 0, {0}, 0, nullptr},
    {"Slide Texture", PF_Param_ANGLE, 43, 0, 0, {0}, 0, nullptr},
    {"Control Layer", PF_Param_LAYER, 3, kSupervise, 0, {0}, 0, nullptr},
    {"Ellipse Z/XY", PF_Param_FIX_SLIDER, 4, kTwirl, 0, {-65470, 65470, -65470, 65470, 0}, 2, nullptr},
    {"Ellipse X/Y", PF_Param_FIX_SLIDER, 5, kTwirl, 0, {-65470, 65470, -65470, 65470, 0}, 2, nullptr},
    {"Radius", PF_Param_FLOAT_SLIDER, 6, kTwirl, 0, {0}, 1, nullptr},
    {"Position XY", PF_Param_POINT, 7, 0, 0, {3276800, 3276800}, 0, nullptr},
    {"Position Z", PF_Param_FIX_SLIDER, 8, kTwirl, 0, {-2147418112, 2147418112, -65536000, 65536000, 0}, 1, nullptr},
    {"Rotation X", PF_Param_ANGLE, 9, 0, 0, {-5898240}, 0, nullptr},
    {"Rotation Y", PF_Param_ANGLE, 10, 0, 0, {0}, 0, nullptr},
    {"Rotation Z", PF_Param_ANGLE, 11, 0, 0, {-5898240}, 0, nullptr},
    {"", PF_Param_GROUP_END, 12, 0, 0, {0}, 0, nullptr},
    {"Open Sphere", PF_Param_GROUP_START, 13, 0, 0, {0}, 0, nullptr},
    {"Show Pivot", PF_Param_CHECKBOX, 14, 0, 0, {0}, 0, ""},
    {"Fixed Point U", PF_Param_FIX_SLIDER, 15, kTwirl, 0, {0, 65536, 0, 65536, 32768}, 2, nullptr},
    {"Fixed Point V", PF_Param_FIX_SLIDER, 16, kTwirl, 0, {65, 65470, 65, 65470, 32768}, 2, nullptr},
    {"Open Parameter", PF_Param_FIX_SLIDER, 17, 0, 0, {0, 131072, 0, 131072, 0}, 2, nullptr},
    {"", PF_Param_GROUP_END, 13, 0, 0, {0}, 0, nullptr},
    {"Shading", PF_Param_GROUP_START, 19, 0, 0, {0}, 0, nullptr},
    {"Falloff", PF_Param_POPUP, 20, kSupervise, 0, {1, 3}, 0, "None|Smooth|Inverse Square Clamped"},
    {"Falloff Radius", PF_Param_FIX_SLIDER, 21, kTwirl, PF_PUI_DISABLED, {65536, 2147418112, 65536, 65536000, 13107200}, 1, nullptr},
    {"Falloff Distance", PF_Param_FIX_SLIDER, 22, kTwirl, PF_PUI_DISABLED, {65536, 2147418112, 65536, 65536000, 13107200}, 1, nullptr},
    {"Self Shadow", PF_Param_CHECKBOX, 23, 0, 0, {0}, 0, ""},
    {"Light Transmission", PF_Param_FIX_SLIDER, 24, 0, 0, {0, 6553600, 0, 6553600, 0}, 1, nullptr},
    {"Emit", PF_Param_FIX_SLIDER, 25, 0, 0, {0, 6553600, 0, 6553600, 6553600}, 1, nullptr},
    {"Ambient", PF_Param_FIX_SLIDER, 26, 0, 0, {0, 6553600, 0, 6553600, 6553600}, 1, nullptr},
    {"Diffuse", PF_Param_FIX_SLIDER, 27, 0, 0, {0, 6553600, 0, 6553600, 3276800}, 1, nullptr},
    {"Specular", PF_Param_FIX_SLIDER, 28, 0, 0, {0, 6553600, 0, 6553600, 3276800}, 1, nullptr},
    {"Roughness", PF_Param_FIX_SLIDER, 29, 0, 0, {0, 65470, 0, 65470, 655}, 3, nullptr},
    {"Metal", PF_Param_FIX_SLIDER, 30, 0, 0, {0, 6553600, 0, 6553600, 0}, 1, nullptr},
    {"Reflection Map", PF_Param_LAYER, 31, 0, 0, {0}, 0, nullptr},
    {"Reflection Intensity", PF_Param_FIX_SLIDER, 32, 0, 0, {0, 6553600, 0, 6553600, 6553600}, 1, nullptr},
    {"Reflection Rolloff", PF_Param_FIX_SLIDER, 32, 0, 0, {0, 6553600, 0, 6553600, 655360}, 1, nullptr},
    {"", PF_Param_GROUP_END, 34, 0, 0, {0}, 0, nullptr},
    {"Rendering", PF_Param_GROUP_START, 35, 0, 0, {0}, 0, nullptr},
    {"Render Side", PF_Param_POPUP, 36, 0, 0, {1, 3}, 0, "Full|Inside|Outside"},
    {"Use Composition Camera", PF_Param_CHECKBOX, 37, 0, 0, {1}, 0, ""},
    {"Depth Of Field", PF_Param_POPUP, 38, 0, 0, {1, 3}, 0, "Off|Camera Settings|On"},
    {"Boost DOF Blur", PF_Param_FIX_SLIDER, 39, 0, 0, {0, 131072000, 0, 65536000, 6553600}, 1, nullptr},
    {"Sharpness", PF_Param_FIX_SLIDER, 40, 0, 0, {0, 65536, 0, 65536, 32768}, 2, nullptr},
    {"Depth Composite", PF_Param_GROUP_START, 53, 0, 0, {0}, 0, nullptr},
    {"Mode", PF_Param_POPUP, 54, 0, 0, {1, 3}, 0, "Off|Fog|Fade Out"},
    {"Start depth", PF_Param_FIX_SLIDER, 55, 0, 0, {0, 2147418112, 0, 65536000, 0}, 1, nullptr},
    {"End depth", PF_Param_FIX_SLIDER, 56, 0, 0, {0, 2147418112, 0, 65536000, 65536000}, 1, nullptr},
    {"Fog Color", PF_Param_COLOR, 57, 0, 0, {0}, 0, nullptr},
    {"", PF_Param_GROUP_END, 58, 0, 0, {0}, 0, nullptr},
    {"", PF_Param_GROUP_END, 41, 0, 0, {0}, 0, nullptr},
    {"dammy", PF_Param_FIX_SLIDER, 42, 0, PF_PUI_INVISIBLE, {-2147418112, 2147418112, -2147418112, 2147418112, 0}, 1, nullptr},
};
static_assert(std::size(kExpected) == 49);

void expectValues(const Expected& e, const PF_ParamDef& def)
{
    using V = std::vector<double>;
    const A_long* v = e.v;
    switch (e.type) {
    case PF_Param_FIX_SLIDER: {
        const PF_FixedSliderDef& d = def.u.fd;
        EXPECT_EQ((V{double(d.valid_min), double(d.valid_max), double(d.slider_min), double(d.slider_max),
                     double(d.dephault), double(d.value), double(d.precision), double(d.display_flags)}),
                  (V{double(v[0]), double(v[1]), double(v[2]), double(v[3]), double(v[4]), double(v[4]),
                     double(e.precision), 0}));
        break;
    }
    case PF_Param_ANGLE:
        EXPECT_EQ((V{double(def.u.ad.dephault), double(def.u.ad.value)}), (V{double(v[0]), double(v[0])}));
        break;
    case PF_Param_LAYER:
        EXPECT_EQ(def.u.ld.dephault, PF_LayerDefault_NONE);
        break;
    case PF_Param_CHECKBOX:
        EXPECT_EQ((V{double(def.u.bd.value), double(def.u.bd.dephault)}), (V{double(v[0]), double(v[0])}));
        ASSERT_NE(def.u.bd.u.nameptr, nullptr);
        EXPECT_STREQ(def.u.bd.u.nameptr, e.text);
        break;
    case PF_Param_POPUP:
        EXPECT_EQ((V{double(def.u.pd.value), double(def.u.pd.dephault), double(def.u.pd.num_choices)}),
                  (V{double(v[0]), double(v[0]), double(v[1])}));
        ASSERT_NE(def.u.pd.u.namesptr, nullptr);
        EXPECT_STREQ(def.u.pd.u.namesptr, e.text);
        break;
    case PF_Param_POINT: {
        const PF_PointDef& d = def.u.td;
        EXPECT_EQ((V{double(d.x_dephault), double(d.y_dephault), double(d.x_value), double(d.y_value),
                     double(d.restrict_bounds)}),
                  (V{double(v[0]), double(v[1]), double(v[0]), double(v[1]), 0}));
        break;
    }
    case PF_Param_COLOR:
        for (const PF_Pixel& p : {def.u.cd.value, def.u.cd.dephault})
            EXPECT_EQ((V{double(p.alpha), double(p.red), double(p.green), double(p.blue)}), (V{255, 255, 255, 255}));
        break;
    case PF_Param_FLOAT_SLIDER: {
        const PF_FloatSliderDef& d = def.u.fs_d;
        EXPECT_EQ((V{d.valid_min, d.valid_max, d.slider_min, d.slider_max, d.dephault, d.value, double(d.precision),
                     double(d.display_flags), d.curve_tolerance}),
                  (V{0, FLT_MAX, 0, 1000, 200, 200, 1, 0, double(0.05f)}));
        break;
    }
    default:
        break;
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
        expectValues(e, def);
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
