// The lit sphere: emission, ambient, diffuse and specular light from the composition's lights,
// their falloff and cones, the sphere's own shadow and the light it lets through, and the depth
// composite ("Fog" blends the fog colour over each wall by its distance along the ray, leaving
// alpha alone; "Fade Out" lowers alpha by the same ramp). Each case renders a solid-textured
// sphere at float depth and compares pixels all over its face with the model.
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

Surface surface(std::function<void(Surface&)> change)
{
    Surface s;
    change(s);
    return s;
}

SceneLight light(std::string type, Vec3d position, double intensity = 100, Vec3d color = {1, 1, 1},
                Vec3d aim = {80, 60, 0})
{
    SceneLight l;
    l.type = std::move(type);
    l.position = position;
    l.intensity = intensity;
    l.color = color;
    l.aim = aim;
    return l;
}

SceneLight spot(Vec3d position, Vec3d aim, double coneAngle, double coneFeather)
{
    SceneLight l = light("spot", position, 100, {1, 0.9, 0.7}, aim);
    l.coneAngle = coneAngle;
    l.coneFeather = coneFeather;
    return l;
}

SceneLight shadowing(SceneLight l, bool casts, double darkness)
{
    l.castsShadows = casts;
    l.shadowDarkness = darkness;
    return l;
}

// A white spot 200 pixels in front of the sphere, aimed at its centre, on a rig of this scale.
SceneLight onRig(double scale, double coneAngle, double coneFeather)
{
    SceneLight l = spot({80, 60, -200}, {80, 60, 0}, coneAngle, coneFeather);
    l.color = {1, 1, 1};
    l.rigScale = scale;
    return l;
}

const Vec3d kFront{80, 60, -500};       // straight in front of the sphere, on the camera's side
const Vec3d kBehind{80, 60, 500};       // straight behind it
const Vec3d kUpperLeft{-220, -140, -300};
const Vec3d kWarm{1, 0.5, 0.25};

// The front wall of the middle pixels lies about 182 pixels from the default camera and the
// outline about 222, so a ramp from 170 to 230 crosses the whole face.
LightingCase depthCase(std::string name, DepthComposite depth, double alpha = 1, const char* side = "Full")
{
    Surface s;
    s.texture[3] = alpha;
    s.emit = alpha < 1 ? 100 : 30, s.diffuse = alpha < 1 ? 50 : 100;
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
    expectPixels(
        r.image, facingPixels(r.ctx()), [&](int x, int y) { return expectedPixel(r.ctx(), c.surface, c.lights, c.depth, x, y); },
        c.tolerance, c.name);
}

INSTANTIATE_TEST_SUITE_P(
    Lights, LitSphere,
    testing::Values(
        // Without lights only emission shows; alpha is the texture's, and a half-transparent
        // near wall lets the far wall through (alpha 1 − (1 − 0.5)²).
        LightingCase{"NoLightsFullEmission", {}, {}},
        LightingCase{"NoLightsPartEmissionHalfAlpha", surface([](Surface& s) { s.emit = 37.5, s.texture[3] = 0.5; }), {}},

        // Diffuse light falls off with the cosine between the normal and the light; the face
        // turned away from it gets nothing (no transmission).
        LightingCase{"ParallelFromTheFront", surface([](Surface& s) { s.emit = 20, s.diffuse = 100; }),
                     {light("parallel", kFront, 80, kWarm)}},
        LightingCase{"PointLightCloseToTheSurface", surface([](Surface& s) { s.emit = 0, s.diffuse = 100; }),
                     {light("point", {40, 30, -90}, 120, {0.5, 1, 1})}},
        LightingCase{"HalfTransparentTextureShowsTheLitFarWall",
                     surface([](Surface& s) { s.emit = 10, s.diffuse = 100, s.texture[3] = 0.5; }),
                     {light("point", {120, 20, -150}, 100)}},
        LightingCase{"TwoLightsAddAndANegativeOneTakesAway", surface([](Surface& s) { s.emit = 50, s.diffuse = 100; }),
                     {light("point", {20, 60, -120}, 100, kWarm), light("parallel", kUpperLeft, -40)}},

        // Ambient lights: "Ambient" × intensity × colour × texture, the same everywhere, never a
        // highlight; "Ambient" does not scale the other lights.
        LightingCase{"AmbientLightEverywhereWithoutHighlight",
                     surface([](Surface& s) { s.emit = 0, s.ambient = 75, s.specular = 100; }),
                     {light("ambient", kFront, 60, {1, 0.8, 0.6})}},
        LightingCase{"AmbientZeroLeavesDiffuseAlone", surface([](Surface& s) { s.emit = 0, s.ambient = 0, s.diffuse = 100; }),
                     {light("ambient", kFront, 100), light("parallel", kFront, 50)}},

        // Phong highlights: broad (exponent 1 and 2.414), sharp (default roughness), white at
        // "Metal" 0 and the texture's colour at 100.
        LightingCase{"SpecularBroad", surface([](Surface& s) { s.emit = 0, s.diffuse = 0, s.specular = 80; }),
                     {light("parallel", kUpperLeft, 100)}},
        LightingCase{"SpecularSharp",
                     surface([](Surface& s) { s.emit = 0, s.diffuse = 0, s.specular = 100, s.roughness = 655 / 65536.0; }),
                     {light("parallel", kUpperLeft, 100)}, 5e-3},
        LightingCase{"SpecularHalfMetal",
                     surface([](Surface& s) { s.emit = 0, s.diffuse = 0, s.specular = 90, s.metal = 50; }),
                     {light("point", {140, 10, -120}, 100)}},

        // Falloff by the distance from the light's position: a point light 60 pixels in front
        // of the sphere, then a parallel light whose falloff counts from its position as well.
        LightingCase{"FalloffNone", surface([](Surface& s) { s.emit = 0, s.diffuse = 100, s.falloff = 1, s.falloffRadius = 1; }),
                     {light("point", {80, 60, -100})}},
        LightingCase{"FalloffSmoothRamp",
                     surface([](Surface& s) { s.emit = 0, s.diffuse = 100, s.falloff = 2, s.falloffRadius = 50, s.falloffDistance = 40; }),
                     {light("point", {80, 60, -100})}},
        LightingCase{"FalloffSmoothAllWithinRadius",
                     surface([](Surface& s) { s.emit = 0, s.diffuse = 100, s.falloff = 2, s.falloffRadius = 1000, s.falloffDistance = 10; }),
                     {light("point", {80, 60, -100})}},
        LightingCase{"FalloffSmoothAllBeyond",
                     surface([](Surface& s) { s.emit = 25, s.diffuse = 100, s.falloff = 2, s.falloffRadius = 1, s.falloffDistance = 1; }),
                     {light("point", {80, 60, -100})}},
        LightingCase{"FalloffInverseSquareClamped",
                     surface([](Surface& s) { s.emit = 0, s.diffuse = 100, s.falloff = 3, s.falloffRadius = 30; }),
                     {light("point", {80, 60, -100})}},
        LightingCase{"FalloffInverseSquareOfAParallelLight",
                     surface([](Surface& s) { s.emit = 0, s.diffuse = 100, s.falloff = 3, s.falloffRadius = 150; }),
                     {light("parallel", {-100, 60, -300})}},

        // Spot cones: dark outside the cone, full within cone + feather, a smooth ramp between.
        LightingCase{"SpotOnAxis", surface([](Surface& s) { s.emit = 0, s.diffuse = 100; }),
                     {spot({80, 60, -200}, {80, 60, 0}, 16, 50)}},
        LightingCase{"SpotAimedAside", surface([](Surface& s) { s.emit = 5, s.diffuse = 100, s.specular = 30; }),
                     {spot({40, 90, -180}, {100, 50, 0}, 20, 25)}},
        LightingCase{"SpotFeatheredAcrossTheWholeCone", surface([](Surface& s) { s.emit = 0, s.diffuse = 100; }),
                     {spot({80, 60, -200}, {70, 60, 0}, 12, 100)}},

        // A light behind the surface passes only "Light Transmission": none at 0, all at 100,
        // with its highlight weighted the same way.
        LightingCase{"BehindWithoutTransmission", surface([](Surface& s) { s.emit = 20, s.diffuse = 100, s.specular = 50; }),
                     {light("parallel", kBehind, 100)}},
        LightingCase{"BehindHalfTransmitted",
                     surface([](Surface& s) { s.emit = 20, s.diffuse = 100, s.specular = 50, s.transmission = 50; }),
                     {light("parallel", kBehind, 100, kWarm)}},
        LightingCase{"BehindFullyTransmitted", surface([](Surface& s) { s.emit = 0, s.diffuse = 100, s.transmission = 100; }),
                     {light("point", {100, 70, 300}, 100)}},

        // Self shadow: light reaching the surface through the sphere is filtered by the far
        // side's texel (its colour × "Light Transmission"), by the light's shadow darkness;
        // a light that casts no shadows, or one on the near side, is not filtered.
        LightingCase{"SelfShadowFullDarkness",
                     surface([](Surface& s) { s.emit = 10, s.diffuse = 100, s.transmission = 50, s.selfShadow = true; }),
                     {shadowing(light("parallel", kBehind, 100), true, 100)}},
        LightingCase{"SelfShadowPartDarkness",
                     surface([](Surface& s) { s.emit = 10, s.diffuse = 100, s.transmission = 80, s.selfShadow = true; }),
                     {shadowing(light("point", {60, 40, 250}, 100, kWarm), true, 40)}},
        LightingCase{"SelfShadowLightCastsNone",
                     surface([](Surface& s) { s.emit = 10, s.diffuse = 100, s.transmission = 50, s.selfShadow = true; }),
                     {shadowing(light("parallel", kBehind, 100), false, 100)}},
        LightingCase{"SelfShadowNearSideUnfiltered",
                     surface([](Surface& s) { s.emit = 0, s.diffuse = 100, s.specular = 40, s.selfShadow = true; }),
                     {shadowing(light("point", {50, 40, -150}, 100), true, 100)}},

        // A parallel light shines from everywhere along its direction; where its layer stands
        // does not decide whether the sphere lies between it and a surface point. Shining
        // towards the camera from behind, with its position inside the sphere or in front of
        // it, it lights the front face only through the far side.
        LightingCase{"ParallelShadowFromInsideTheSphere",
                     surface([](Surface& s) { s.emit = 10, s.diffuse = 100, s.transmission = 50, s.selfShadow = true, s.texture = {0.9, 0.5, 0.2, 1}; }),
                     {shadowing(light("parallel", {80, 60, 10}, 100, {1, 1, 1}, {80, 60, -500}), true, 100)}},
        LightingCase{"ParallelShadowFromInFrontOfTheSphere",
                     surface([](Surface& s) { s.emit = 10, s.diffuse = 100, s.transmission = 50, s.selfShadow = true, s.texture = {0.9, 0.5, 0.2, 1}; }),
                     {shadowing(light("parallel", {80, 60, -100}, 100, {1, 1, 1}, {80, 60, -600}), true, 100)}},
        LightingCase{"ParallelShadowObliqueWithPartDarkness",
                     surface([](Surface& s) { s.emit = 10, s.diffuse = 100, s.transmission = 80, s.selfShadow = true, s.texture = {0.9, 0.5, 0.2, 1}; }),
                     {shadowing(light("parallel", {90, 50, 5}, 100, {1, 0.8, 0.6}, {30, 110, -300}), true, 60)}},

        // A spot light parented to a scaled null carries the scale in its axis; the cone test
        // takes the axis as it is, so a rig at 90 % narrows the lit cone and one at 125 %
        // widens it.
        LightingCase{"SpotOnAShrunkRigDims", surface([](Surface& s) { s.emit = 10, s.diffuse = 100; }), {onRig(90, 60, 100)}},
        LightingCase{"SpotOnAnEnlargedRigWidens", surface([](Surface& s) { s.emit = 10, s.diffuse = 100; }), {onRig(125, 60, 100)}},
        LightingCase{"SpotOnASlightlyShrunkRig", surface([](Surface& s) { s.emit = 10, s.diffuse = 100; }), {onRig(97, 40, 50)}},
        // Fog: opaque walls stay opaque; a half-transparent sphere keeps alpha 0.75 while both
        // walls take on fog, the far one more. Fade Out: alpha × (1 − ramp); the faded near wall
        // lets the more faded far wall show.
        depthCase("FogAcrossTheFace", {2, 170, 230}), depthCase("FogOverAHalfTransparentSphere", {2, 170, 230}, 0.5),
        depthCase("FogStartsBehindTheSphere", {2, 500, 900}), depthCase("FogFullInFrontOfTheSphere", {2, 0, 100}),
        depthCase("FogReversedRamp", {2, 230, 170}), depthCase("FogZeroRangeIsAStep", {2, 200, 200}),
        depthCase("FadeOutBothWalls", {3, 150, 300}), depthCase("FadeOutNearWallOnly", {3, 150, 300}, 1, "Outside"),
        depthCase("FadeOutStartsBehindTheSphere", {3, 400, 800}), depthCase("FadeOutHalfTransparent", {3, 100, 400}, 0.5),
        depthCase("FadeOutZeroRangeHidesAllBehindTheStart", {3, 200, 200}, 1, "Outside")),
    [](const auto& info) { return info.param.name; });
