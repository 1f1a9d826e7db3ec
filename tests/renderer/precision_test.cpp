// Float renders compared bit for bit with the model. Untextured and unlit, the sphere shows its
// (U, V) in red and green, so every fully covered pixel carries the whole chain (sample ray,
// quadratic, surface point, arc functions, deformation) in its last bits. The scenes cross the
// seam and the poles; one is lit by a point light from the side (a float square root in |L|).
#include "renderer/renderer_model.h"

using namespace rtest;
using asmtest::renderScene;

namespace {

struct PrecisionCase {
    const char* name;
    Placement placement;
    std::map<std::string, std::string> extra;
    std::string layers;
};

const PrecisionCase kPrecisionCases[] = {
    {"PoleFacingTheCamera", {40, {80, 60, 0}, {0, 0, 0}}, {}, ""},
    {"SeamAcrossTheMiddle", {45, {75, 62, 20}, {90, 0, 90}}, {}, ""},
    {"TurnedEllipsoidOpened", {35, {85, 55, 0}, {30, -50, 20}, 0.5, 0.3, 0.7, 40},
     {{"Ellipse Z/XY", "0.4"}, {"Ellipse X/Y", "-0.3"}}, ""},
    {"ParallelCamera", {42, {78, 64, 10}, {60, 20, -30}}, {}, cameraLayerJson(false, 300, 300)},
    {"PointLightGrazing", {40, {80, 60, 0}, {70, 10, 30}}, {{"Emit", "0"}, {"Diffuse", "100"}, {"Specular", "0"}},
     R"({ "name": "Lamp", "type": "light", "position": [260, 40, 10], "light": { "type": "point", "intensity": 130,
          "color": [1, 0.8, 0.6] } },)"},
    {"SpotConeEdgeInSmoothFalloff", {40, {80, 60, 0}, {70, 10, 30}},
     {{"Emit", "0"}, {"Diffuse", "100"}, {"Specular", "0"}, {"Falloff", "2"}, {"Falloff Radius", "100"}, {"Falloff Distance", "100"}},
     R"({ "name": "Lamp", "type": "light", "position": [150, 20, -120], "pointOfInterest": [80, 60, 0],
          "light": { "type": "spot", "intensity": 150, "coneAngle": 30, "coneFeather": 60 } },)"},
};

class KernelPrecision : public asmtest::AssemblyParamTest<PrecisionCase> {};

TEST_P(KernelPrecision, UntexturedColourIsTheUVAndLightOfTheStatedPrecision)
{
    const PrecisionCase& c = GetParam();
    const auto r = renderScene(geometryScene(c.placement, c.extra, c.layers), kFloat);
    ASSERT_EQ(r.result, PF_Err_NONE);
    const asmtest::ContextSnapshot& ctx = r.ctx();
    int compared = 0;
    const auto model = [&](int x, int y) {
        const Shot s = shot(ctx, x, y);
        const F4 p = pointAt(s.ray, s.tNear);
        const UV uv = textureUV(ctx, p);
        if (s.n != 9 || !insideTexture(uv))
            return pixelAt(r.image, x, y);   // the outline and the opening are other tests' concern
        ++compared;
        const auto want = ctx.lights.empty() ? std::array<float, 3>{float(uv.u), float(uv.v), 0.0f} : pointLit(ctx, s.ray, p, uv);
        return Rgba{want[0], want[1], want[2], 1};
    };
    compareWithModel(r.image, 0, model, c.name);
    EXPECT_GT(compared, 1000);
}

INSTANTIATE_TEST_SUITE_P(Scenes, KernelPrecision, testing::ValuesIn(kPrecisionCases),
                         [](const testing::TestParamInfo<PrecisionCase>& i) { return std::string(i.param.name); });

} // namespace
