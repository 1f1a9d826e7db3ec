// Float renders compared bit for bit with the kernels' arithmetic written out at its own
// precision (renderer_model.h). Without a texture or lights the sphere shows its own (U, V) in
// red and green, so every fully covered pixel carries the whole chain in its last bits: the
// sample ray (x' in double, float lanes, the processor's reciprocal square root estimate), the
// quadratic in double, the near wall's point in float, the arc functions rounded to float and
// the division by π and the deformation in double. The scenes cross the seam and the poles;
// one is lit by a point light from the side, whose direction takes a float square root.
#include "renderer/renderer_model.h"

#include <cstdio>
#include <cstring>

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
};

class KernelPrecision : public asmtest::AssemblyParamTest<PrecisionCase> {};

TEST_P(KernelPrecision, UntexturedColourIsTheUVAndLightOfTheStatedPrecision)
{
    const PrecisionCase& c = GetParam();
    const auto r = renderScene(geometryScene(c.placement, c.extra, c.layers), kFloat);
    ASSERT_EQ(r.result, PF_Err_NONE);
    const asmtest::ContextSnapshot& ctx = r.ctx();
    const bool lit = !ctx.lights.empty();
    int compared = 0, mismatches = 0;
    std::ostringstream detail;
    for (int y = 0; y < r.image.height; ++y)
        for (int x = 0; x < r.image.width; ++x) {
            const Shot s = shot(ctx, x, y);
            if (s.n != 9)
                continue;
            const F4 p = pointAt(s.ray, s.tNear);
            const UV uv = textureUV(ctx, p);
            if (!insideTexture(uv))
                continue;   // the opening: transparent there
            ++compared;
            const Rgba got = pixelAt(r.image, x, y);
            const std::array<float, 3> want =
                lit ? pointLit(ctx, s.ray, p, uv) : std::array<float, 3>{float(uv.u), float(uv.v), 0.0f};
            const std::array<float, 3> seen{float(got.r), float(got.g), float(got.b)};
            if (std::memcmp(want.data(), seen.data(), sizeof want) != 0 && ++mismatches <= 4) {
                char text[200];
                std::snprintf(text, sizeof text, "\n  pixel (%d, %d): %.9g, %.9g, %.9g expected, got %.9g, %.9g, %.9g", x,
                              y, want[0], want[1], want[2], seen[0], seen[1], seen[2]);
                detail << text;
            }
        }
    EXPECT_GT(compared, 1000);
    EXPECT_EQ(mismatches, 0) << mismatches << " of " << compared << " pixels" << detail.str();
}

INSTANTIATE_TEST_SUITE_P(Scenes, KernelPrecision, testing::ValuesIn(kPrecisionCases),
                         [](const testing::TestParamInfo<PrecisionCase>& i) { return std::string(i.param.name); });

} // namespace
