// The depth composite: "Fog" blends the fog colour over each wall of the sphere by its distance
// from the eye along the ray, leaving alpha alone; "Fade Out" lowers alpha by the same ramp.
// Near and far walls each take their own distance before they are composited.
#include "renderer/renderer_support.h"

using namespace asmtest;
using namespace rtest;

namespace {

struct DepthCase {
    std::string name;
    DepthComposite depth;
    Surface surface;
    std::string renderSide = "Full";
};

void PrintTo(const DepthCase& c, std::ostream* os) { *os << c.name; }

class DepthCompositing : public AssemblyParamTest<DepthCase> {};
class Fog : public AssemblyTest {};

// The front wall of the middle pixels lies about 182 pixels from the default camera and the
// outline about 222, so a ramp from 170 to 230 crosses the whole face.
DepthComposite fog(double start, double end)
{
    return {2, start, end, {0.2, 0.4, 1}};
}

DepthComposite fadeOut(double start, double end) { return {3, start, end}; }

Surface halfTransparent()
{
    Surface s;
    s.texture[3] = 0.5;
    return s;
}

Surface lit()
{
    Surface s;
    s.emit = 30;
    s.diffuse = 100;
    return s;
}

const char* modeName(int mode) { return mode == 2 ? R"("Fog")" : mode == 3 ? R"("Fade Out")" : R"("Off")"; }

} // namespace

TEST_P(DepthCompositing, FogsOrFadesEachWallByItsDistance)
{
    const DepthCase& c = GetParam();
    const std::vector<SceneLight> lights = {SceneLight{"parallel", {-100, -60, -300}}};
    const Rendered r = renderScene(litScene(c.surface, lights,
                                            {{"Mode", modeName(c.depth.mode)},
                                             {"Start depth", num(c.depth.start)},
                                             {"End depth", num(c.depth.end)},
                                             {"Fog Color", jsonPoint(c.depth.fog)},
                                             {"Render Side", "\"" + c.renderSide + "\""}}),
                                   kFloat);
    ASSERT_EQ(r.result, PF_Err_NONE);
    const auto model = [&](int x, int y) {
        if (c.renderSide == "Full")
            return expectedPixel(c.surface, lights, c.depth, x, y);
        // "Outside": the near wall alone.
        const SampleCount v = coverage(defaultView(), litBall(), x, y);
        return wallColour(c.surface, lights, c.depth, v.ray.d, v.hit.tNear);
    };
    expectPixels(r.image, facingPixels(3, 22, 0.2), model, 1e-3, c.name);
}

INSTANTIATE_TEST_SUITE_P(
    Fog, DepthCompositing,
    testing::Values(
        // Fog: opaque walls stay opaque; a half-transparent sphere keeps alpha 0.75 while both of
        // its walls take on fog, the far one more.
        DepthCase{"FogAcrossTheFace", fog(170, 230), lit()},
        DepthCase{"FogOverAHalfTransparentSphere", fog(170, 230), halfTransparent()},
        DepthCase{"FogStartsBehindTheSphere", fog(500, 900), lit()},
        DepthCase{"FogFullInFrontOfTheSphere", fog(0, 100), lit()},
        DepthCase{"FogReversedRamp", fog(230, 170), lit()},
        DepthCase{"FogZeroRangeIsAStep", fog(200, 200), lit()},
        // Fade Out: alpha × (1 − ramp); the faded near wall lets the more faded far wall show.
        DepthCase{"FadeOutBothWalls", fadeOut(150, 300), lit()},
        DepthCase{"FadeOutNearWallOnly", fadeOut(150, 300), lit(), "Outside"},
        DepthCase{"FadeOutStartsBehindTheSphere", fadeOut(400, 800), lit()},
        DepthCase{"FadeOutHalfTransparent", fadeOut(100, 400), halfTransparent()},
        DepthCase{"FadeOutZeroRangeHidesAllBehindTheStart", fadeOut(200, 200), lit(), "Outside"}),
    [](const auto& info) { return info.param.name; });

// A worked number: fog from 0 to 1000 with the middle pixel's front wall at t; fully opaque,
// the pixel stays opaque and takes t/1000 of the fog colour.
TEST_F(Fog, AtAKnownDepth)
{
    Surface s;   // full emission of (0.8, 0.6, 0.4), no lights
    const Rendered r = renderScene(litScene(s, {}, {{"Mode", R"("Fog")"}, {"Fog Color", "[0, 0, 1]"}}), kFloat);
    ASSERT_EQ(r.result, PF_Err_NONE);
    const SampleCount v = coverage(defaultView(), litBall(), 79, 59);
    ASSERT_EQ(v.n, 9);
    const double f = v.hit.tNear / 1000;   // about 0.182
    const Rgba got = pixelAt(r.image, 79, 59);
    EXPECT_NEAR(got.r, 0.8 * (1 - f), 1e-4);
    EXPECT_NEAR(got.g, 0.6 * (1 - f), 1e-4);
    EXPECT_NEAR(got.b, 0.4 * (1 - f) + f, 1e-4);
    EXPECT_EQ(got.a, 1.0f);
}
