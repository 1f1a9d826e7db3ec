// The lit sphere: emission, ambient, diffuse and specular light, falloff, spot cones, self
// shadow, transmission and the depth composite ("Fog" blends the fog colour over each wall by
// its distance, alpha kept; "Fade Out" lowers alpha by the same ramp), at float depth against
// the model all over the sphere's face.
#include "renderer/renderer_model.h"

using namespace asmtest;
using namespace rtest;

namespace {

struct LightingCase {
    std::string name;
    Surface surface;
    std::vector<SceneLight> lights;
    double tolerance = 1e-3;
    DepthComposite depth{};
    const char* side = "Full";
};

void PrintTo(const LightingCase& c, std::ostream* os) { *os << c.name; }

class LitSphere : public AssemblyParamTest<LightingCase> {};

SceneLight light(std::string type, Vec3d position, double intensity = 100, Vec3d color = {1, 1, 1}, Vec3d aim = {80, 60, 0},
                 bool castsShadows = false, double shadowDarkness = 100)
{
    return {std::move(type), position, aim, intensity, color, 90, 50, castsShadows, shadowDarkness};
}

SceneLight spot(Vec3d position, Vec3d aim, double coneAngle, double coneFeather, Vec3d color = {1, 0.9, 0.7}, double rigScale = 0)
{
    return {"spot", position, aim, 100, color, coneAngle, coneFeather, false, 100, rigScale};
}

// A white spot 200 pixels in front of the sphere, aimed at its centre, on a rig of this scale.
SceneLight onRig(double scale, double coneAngle, double coneFeather)
{
    return spot({80, 60, -200}, {80, 60, 0}, coneAngle, coneFeather, {1, 1, 1}, scale);
}

const Vec3d kFront{80, 60, -500}, kBehind{80, 60, 500}, kUpperLeft{-220, -140, -300}, kWarm{1, 0.5, 0.25};
const Surface kDiffuse{.emit = 0, .diffuse = 100};
const std::array<double, 4> kOrange{0.9, 0.5, 0.2, 1}, kHalfClear{0.8, 0.6, 0.4, 0.5};

// The middle pixels' front wall lies about 182 pixels from the default camera and the outline
// about 222, so a ramp from 170 to 230 crosses the whole face.
LightingCase depthCase(std::string name, DepthComposite depth, double alpha = 1, const char* side = "Full")
{
    Surface s{.texture = {0.8, 0.6, 0.4, alpha}, .emit = alpha < 1 ? 100.0 : 30.0, .diffuse = alpha < 1 ? 50.0 : 100.0};
    if (depth.mode == 2)
        depth.fog = {0.2, 0.4, 1};
    return {std::move(name), s, {light("parallel", {-100, -60, -300})}, 1e-3, depth, side};
}

} // namespace

TEST_P(LitSphere, MatchesTheLightingWorkedOutFromTheScene)
{
    const LightingCase& c = GetParam();
    const char* modes[] = {"", R"("Off")", R"("Fog")", R"("Fade Out")"};
    const Rendered r = renderScene(litScene(c.surface, c.lights,
                                            {{"Mode", modes[c.depth.mode]}, {"Start depth", num(c.depth.start)},
                                             {"End depth", num(c.depth.end)}, {"Fog Color", jsonPoint(c.depth.fog)},
                                             {"Render Side", std::string("\"") + c.side + "\""}}),
                                   kFloat);
    ASSERT_EQ(r.result, PF_Err_NONE);
    compareWithModel(
        r.image, c.tolerance, [&](int x, int y) { return expectedPixel(r.ctx(), c.surface, c.lights, c.depth, x, y); }, c.name,
        facingPixels(r.ctx()));
}

INSTANTIATE_TEST_SUITE_P(
    Lights, LitSphere,
    testing::Values(
        // Without lights only emission shows; a half-transparent near wall lets the far wall
        // through (alpha 1 − (1 − 0.5)²).
        LightingCase{"NoLightsPartEmissionHalfAlpha", Surface{.texture = kHalfClear, .emit = 37.5}, {}},
        // Diffuse light follows the cosine to the light; the face turned away gets nothing.
        LightingCase{"ParallelFromTheFront", Surface{.emit = 20, .diffuse = 100}, {light("parallel", kFront, 80, kWarm)}},
        LightingCase{"PointLightCloseToTheSurface", kDiffuse, {light("point", {40, 30, -90}, 120, {0.5, 1, 1})}},
        LightingCase{"HalfTransparentTextureShowsTheLitFarWall", Surface{.texture = kHalfClear, .emit = 10, .diffuse = 100},
                     {light("point", {120, 20, -150}, 100)}},
        LightingCase{"TwoLightsAddAndANegativeOneTakesAway", Surface{.emit = 50, .diffuse = 100},
                     {light("point", {20, 60, -120}, 100, kWarm), light("parallel", kUpperLeft, -40)}},
        // Ambient: "Ambient" × intensity × colour × texture everywhere, no highlight; "Ambient"
        // does not scale the other lights.
        LightingCase{"AmbientLightEverywhereWithoutHighlight", Surface{.emit = 0, .ambient = 75, .specular = 100},
                     {light("ambient", kFront, 60, {1, 0.8, 0.6})}},
        LightingCase{"AmbientZeroLeavesDiffuseAlone", Surface{.emit = 0, .ambient = 0, .diffuse = 100},
                     {light("ambient", kFront, 100), light("parallel", kFront, 50)}},
        // Phong highlights, broad and sharp, white at "Metal" 0, tinted by the texture with it.
        LightingCase{"SpecularBroad", Surface{.emit = 0, .diffuse = 0, .specular = 80}, {light("parallel", kUpperLeft, 100)}},
        LightingCase{"SpecularSharp", Surface{.emit = 0, .diffuse = 0, .specular = 100, .roughness = 655 / 65536.0},
                     {light("parallel", kUpperLeft, 100)}, 5e-3},
        LightingCase{"SpecularHalfMetal", Surface{.emit = 0, .diffuse = 0, .specular = 90, .metal = 50},
                     {light("point", {140, 10, -120}, 100)}},
        // Falloff by the distance from the light's position, a parallel light's too.
        LightingCase{"FalloffNone", Surface{.emit = 0, .diffuse = 100, .falloff = 1, .falloffRadius = 1}, {light("point", {80, 60, -100})}},
        LightingCase{"FalloffSmoothRamp", Surface{.emit = 0, .diffuse = 100, .falloff = 2, .falloffRadius = 50, .falloffDistance = 40},
                     {light("point", {80, 60, -100})}},
        LightingCase{"FalloffSmoothAllWithinRadius",
                     Surface{.emit = 0, .diffuse = 100, .falloff = 2, .falloffRadius = 1000, .falloffDistance = 10},
                     {light("point", {80, 60, -100})}},
        LightingCase{"FalloffSmoothAllBeyond", Surface{.emit = 25, .diffuse = 100, .falloff = 2, .falloffRadius = 1, .falloffDistance = 1},
                     {light("point", {80, 60, -100})}},
        LightingCase{"FalloffInverseSquareClamped", Surface{.emit = 0, .diffuse = 100, .falloff = 3, .falloffRadius = 30},
                     {light("point", {80, 60, -100})}},
        LightingCase{"FalloffInverseSquareOfAParallelLight", Surface{.emit = 0, .diffuse = 100, .falloff = 3, .falloffRadius = 150},
                     {light("parallel", {-100, 60, -300})}},
        // Spot cones: dark outside, full within cone + feather, a smooth ramp between.
        LightingCase{"SpotOnAxis", kDiffuse, {spot({80, 60, -200}, {80, 60, 0}, 16, 50)}},
        LightingCase{"SpotAimedAside", Surface{.emit = 5, .diffuse = 100, .specular = 30}, {spot({40, 90, -180}, {100, 50, 0}, 20, 25)}},
        LightingCase{"SpotFeatheredAcrossTheWholeCone", kDiffuse, {spot({80, 60, -200}, {70, 60, 0}, 12, 100)}},
        // Light from behind passes only "Light Transmission", its highlight weighted alike.
        LightingCase{"BehindWithoutTransmission", Surface{.emit = 20, .diffuse = 100, .specular = 50}, {light("parallel", kBehind, 100)}},
        LightingCase{"BehindHalfTransmitted", Surface{.emit = 20, .diffuse = 100, .specular = 50, .transmission = 50},
                     {light("parallel", kBehind, 100, kWarm)}},
        LightingCase{"BehindFullyTransmitted", Surface{.emit = 0, .diffuse = 100, .transmission = 100},
                     {light("point", {100, 70, 300}, 100)}},
        // Self shadow: light through the sphere is filtered by the far side's texel (colour ×
        // "Light Transmission") by the light's shadow darkness; a light that casts no shadows,
        // or one on the near side, is not.
        LightingCase{"SelfShadowFullDarkness", Surface{.emit = 10, .diffuse = 100, .transmission = 50, .selfShadow = true},
                     {light("parallel", kBehind, 100, {1, 1, 1}, {80, 60, 0}, true, 100)}},
        LightingCase{"SelfShadowPartDarkness", Surface{.emit = 10, .diffuse = 100, .transmission = 80, .selfShadow = true},
                     {light("point", {60, 40, 250}, 100, kWarm, {80, 60, 0}, true, 40)}},
        LightingCase{"SelfShadowLightCastsNone", Surface{.emit = 10, .diffuse = 100, .transmission = 50, .selfShadow = true},
                     {light("parallel", kBehind, 100)}},
        LightingCase{"SelfShadowNearSideUnfiltered", Surface{.emit = 0, .diffuse = 100, .specular = 40, .selfShadow = true},
                     {light("point", {50, 40, -150}, 100, {1, 1, 1}, {80, 60, 0}, true, 100)}},
        // A parallel light shines from everywhere along its direction: from behind, with its
        // layer inside the sphere or in front of it, it reaches the front face only through it.
        LightingCase{"ParallelShadowFromInsideTheSphere",
                     Surface{.texture = kOrange, .emit = 10, .diffuse = 100, .transmission = 50, .selfShadow = true},
                     {light("parallel", {80, 60, 10}, 100, {1, 1, 1}, {80, 60, -500}, true)}},
        LightingCase{"ParallelShadowFromInFrontOfTheSphere",
                     Surface{.texture = kOrange, .emit = 10, .diffuse = 100, .transmission = 50, .selfShadow = true},
                     {light("parallel", {80, 60, -100}, 100, {1, 1, 1}, {80, 60, -600}, true)}},
        LightingCase{"ParallelShadowObliqueWithPartDarkness",
                     Surface{.texture = kOrange, .emit = 10, .diffuse = 100, .transmission = 80, .selfShadow = true},
                     {light("parallel", {90, 50, 5}, 100, {1, 0.8, 0.6}, {30, 110, -300}, true, 60)}},
        // A spot on a scaled null carries the scale in its axis, which the cone test takes as it
        // is: a rig at 90 % narrows the lit cone, one at 125 % widens it.
        LightingCase{"SpotOnAShrunkRigDims", Surface{.emit = 10, .diffuse = 100}, {onRig(90, 60, 100)}},
        LightingCase{"SpotOnAnEnlargedRigWidens", Surface{.emit = 10, .diffuse = 100}, {onRig(125, 60, 100)}},
        // Fog keeps opaque walls opaque and a half-transparent sphere at alpha 0.75, the far
        // wall fogged more. Fade Out: alpha × (1 − ramp), the more faded far wall showing through.
        depthCase("FogAcrossTheFace", {2, 170, 230}), depthCase("FogOverAHalfTransparentSphere", {2, 170, 230}, 0.5),
        depthCase("FogStartsBehindTheSphere", {2, 500, 900}), depthCase("FogFullInFrontOfTheSphere", {2, 0, 100}),
        depthCase("FogReversedRamp", {2, 230, 170}), depthCase("FogZeroRangeIsAStep", {2, 200, 200}),
        depthCase("FadeOutBothWalls", {3, 150, 300}), depthCase("FadeOutNearWallOnly", {3, 150, 300}, 1, "Outside"),
        depthCase("FadeOutStartsBehindTheSphere", {3, 400, 800}), depthCase("FadeOutHalfTransparent", {3, 100, 400}, 0.5),
        depthCase("FadeOutZeroRangeHidesAllBehindTheStart", {3, 200, 200}, 1, "Outside")),
    [](const auto& info) { return info.param.name; });
