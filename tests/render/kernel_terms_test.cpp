// The per-pixel terms that do not need the host: the (U, V) deformation and pivot marks,
// light falloff and spot cones, the blur radius and the depth composite, each on a render
// context built by hand.
#include "render/depth_effects.h"
#include "render/popup_values.h"
#include "render/shading.h"
#include "render/sphere_uv.h"
#include "scene/render_context.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

struct HandContext : testing::Test {
    RenderContext ctx{nullptr};
    void SetUp() override
    {
        ctx.radius = {100, 100, 100, 0};
        ctx.invRadius = {0.01f, 0.01f, 0.01f, 0};
        ctx.invRadiusSq = {1e-4f, 1e-4f, 1e-4f, 0};
    }
};

using UVMapping = HandContext;

TEST_F(UVMapping, PolesAndTheEquatorOfTheUnitSphere)
{
    const TextureCoord north = sphereUV(ctx, {0, 0, 100, 1});
    EXPECT_DOUBLE_EQ(north.u, 0.0);   // x = y = 0: U is 0 by definition
    EXPECT_NEAR(north.v, 1.0, 1e-6);
    EXPECT_NEAR(sphereUV(ctx, {0, 0, -100, 1}).v, 0.0, 1e-6);
    // U runs against the angle from +x toward +y.
    EXPECT_NEAR(sphereUV(ctx, {100, 0, 0, 1}).u, 0.0, 1e-6);
    EXPECT_NEAR(sphereUV(ctx, {0, 100, 0, 1}).u, 0.75, 1e-6);
    EXPECT_NEAR(sphereUV(ctx, {0, -100, 0, 1}).u, 0.25, 1e-6);
    EXPECT_NEAR(sphereUV(ctx, {-100, 0, 0, 1}).u, 0.5, 1e-6);
    EXPECT_NEAR(sphereUV(ctx, {100, 0, 0, 1}).v, 0.5, 1e-6);
}

TEST_F(UVMapping, ClosedSphereOnlySlidesAndCorrectsRows)
{
    ctx.slideTurns = 0.25;
    TextureCoord uv = transformUV(ctx, {0.9, 0.3});
    EXPECT_NEAR(uv.u, 0.15, 1e-12);   // wrapped into [0, 1)
    EXPECT_DOUBLE_EQ(uv.v, 0.3);
    ctx.slideTurns = 1.0;             // a whole turn changes nothing
    EXPECT_NEAR(transformUV(ctx, {0.4, 0.3}).u, 0.4, 1e-12);
    ctx.textureWorld.height = 4;      // the last row's centre is reached at V just below 1
    EXPECT_DOUBLE_EQ(transformUV(ctx, {0.4, 0.8}).v, 0.8 * 0.75);
}

TEST_F(UVMapping, OpeningStretchesAboutTheFixedPointStrongestAtTheEquator)
{
    ctx.openScale = 3.0;
    ctx.fixedPointU = 0.5;
    ctx.fixedPointV = 0.5;
    // At the equator w = k: U stretches by 3 about 0.5 and wraps into [0, 3).
    TextureCoord uv = transformUV(ctx, {0.6, 0.5});
    EXPECT_NEAR(uv.u, 0.8, 1e-9);
    EXPECT_NEAR(uv.v, 0.5, 1e-12);
    uv = transformUV(ctx, {0.1, 0.5});
    EXPECT_NEAR(uv.u, 3.0 - 0.7, 1e-9);   // outside the texture: the opening
    // V stretches by k about V0 whatever the latitude.
    EXPECT_NEAR(transformUV(ctx, {0.5, 0.6}).v, 0.8, 1e-12);
    // At the pole the stretch of U vanishes.
    EXPECT_NEAR(transformUV(ctx, {0.7, 1.0}).u, 0.7, 1e-9);
}

TEST_F(UVMapping, PivotMarksPaintDotMeridianAndParallel)
{
    ctx.showPivot = true;
    ctx.fixedPointU = 0.5;
    ctx.fixedPointV = 0.5;
    const Colour grey{1, 0.5f, 0.5f, 0.5f};
    const auto mark = [&](double u, double v) { return pivotMarks(ctx, {u, v}, grey); };
    EXPECT_EQ(mark(0.5, 0.5).blue, 1.0f);
    EXPECT_EQ(mark(0.504, 0.5).blue, 1.0f);     // the dot is narrower in U: 4·dU² + dV² < 1e-4
    EXPECT_EQ(mark(0.5, 0.509).blue, 1.0f);
    EXPECT_EQ(mark(0.5, 0.7).green, 1.0f);      // meridian: |dU| < 0.001
    EXPECT_EQ(mark(0.5015, 0.7).green, 0.5f);
    EXPECT_EQ(mark(0.8, 0.5015).red, 1.0f);     // parallel: |dV| < 0.002, twice as wide
    EXPECT_EQ(mark(0.8, 0.7).red, 0.5f);
    EXPECT_EQ(pivotMarks(ctx, {1.0, 0.5}, grey).blue, 0.5f);   // outside the texture: no marks
    ctx.showPivot = false;
    EXPECT_EQ(mark(0.5, 0.5).blue, 0.5f);
}

struct LightAt : HandContext {
    LightRecord light{};
    void SetUp() override
    {
        HandContext::SetUp();
        light.lightToSphere = identityMatrix();   // at the origin, shining along +z
        light.lightType = AEGP_LightType_POINT;
    }
    double at(double distance) { return lightVector(ctx, light, {0, 0, float(distance), 1}).attenuation; }
};

TEST_F(LightAt, FalloffModes)
{
    ctx.falloffRadius = 100;
    ctx.falloffDistance = 200;
    EXPECT_DOUBLE_EQ(at(500), 1.0);   // "None"
    ctx.falloffMode = kFalloffSmooth;
    EXPECT_DOUBLE_EQ(at(80), 1.0);
    EXPECT_DOUBLE_EQ(at(100), 1.0);
    EXPECT_NEAR(at(200), 0.5, 1e-7);
    EXPECT_NEAR(at(150), 1.0 - (3.0 - 0.5) * 0.0625, 1e-7);
    EXPECT_DOUBLE_EQ(at(300), 0.0);
    EXPECT_DOUBLE_EQ(at(900), 0.0);
    ctx.falloffMode = kFalloffInverseSquareClamped;
    EXPECT_DOUBLE_EQ(at(50), 1.0);
    EXPECT_NEAR(at(200), 0.25, 1e-7);
    EXPECT_NEAR(at(400), 1.0 / 16, 1e-7);
}

TEST_F(LightAt, DirectionPointsFromTheLightAndAmbientHasNone)
{
    const LightAtPoint p = lightVector(ctx, light, {0, 30, 40, 1});
    EXPECT_NEAR(p.direction.y, 0.6, 1e-6);
    EXPECT_NEAR(p.direction.z, 0.8, 1e-6);
    light.lightType = AEGP_LightType_PARALLEL;
    light.lightToSphere.m[2][2] = 4.0f;   // the axis is normalised for a parallel light
    EXPECT_NEAR(lightVector(ctx, light, {0, 30, 40, 1}).direction.z, 1.0, 1e-6);
    for (AEGP_LightType type : {AEGP_LightType_AMBIENT, AEGP_LightType_NONE}) {
        light.lightType = type;
        ctx.falloffMode = kFalloffInverseSquareClamped;   // no falloff for either
        const LightAtPoint q = lightVector(ctx, light, {0, 3000, 4000, 1});
        EXPECT_EQ(q.attenuation, 1.0);
        EXPECT_EQ(dot3(q.direction, q.direction), 0.0f);
    }
}

TEST_F(LightAt, SpotConeWithFeather)
{
    light.lightType = AEGP_LightType_SPOT;
    light.cosHalfCone = std::cos(30 * kDegreesToRadians);
    light.coneFeather = 0.5;
    const auto spot = [&](double degrees) {
        const double a = degrees * kDegreesToRadians;
        return lightVector(ctx, light, {0, float(100 * std::sin(a)), float(100 * std::cos(a)), 1}).attenuation;
    };
    EXPECT_DOUBLE_EQ(spot(31), 0.0);    // outside the cone
    EXPECT_NEAR(spot(0), 1.0, 1e-6);    // on the axis
    // Full strength from cos + (1 − cos)·feather inwards, a linear ramp before it.
    const double inner = std::acos(light.cosHalfCone + (1 - light.cosHalfCone) * 0.5) / kDegreesToRadians;
    EXPECT_NEAR(spot(inner - 0.5), 1.0, 1e-6);
    const double mid = std::acos(light.cosHalfCone + (1 - light.cosHalfCone) * 0.25) / kDegreesToRadians;
    EXPECT_NEAR(spot(mid), 0.5, 1e-4);
}

using DepthTerms = HandContext;

TEST_F(DepthTerms, BlurRadiusFromFocus)
{
    ctx.focusDistance = 500;
    ctx.blurScale = 20;
    EXPECT_NEAR(blurRadius(ctx, 500), 20 / (500 / 0.00001 + 1), 1e-12);
    EXPECT_NEAR(blurRadius(ctx, 1000), 10, 1e-12);
    EXPECT_NEAR(blurRadius(ctx, 0), 10, 1e-12);
    EXPECT_NEAR(blurRadius(ctx, 1e9), 20, 1e-4);
}

TEST_F(DepthTerms, FogTintsButKeepsAlpha)
{
    ctx.depthCompositeMode = kCompositeFog;
    ctx.startDepth = 0;
    ctx.depthRange = 1000;
    ctx.fogColor = {1, 1, 0, 0};
    const Colour surface{1, 0, 0, 1};
    Colour c = depthComposite(ctx, surface, 500);
    EXPECT_FLOAT_EQ(c.alpha, 1.0f);
    EXPECT_FLOAT_EQ(c.red, 0.5f);
    EXPECT_FLOAT_EQ(c.blue, 0.5f);
    EXPECT_FLOAT_EQ(depthComposite(ctx, surface, -10).blue, 1.0f);   // in front of the start
    EXPECT_FLOAT_EQ(depthComposite(ctx, surface, 5000).red, 1.0f);   // fully fogged
    // A half-transparent surface takes more of the fog, and keeps its alpha.
    c = depthComposite(ctx, {0.5f, 0, 0, 1}, 500);
    EXPECT_FLOAT_EQ(c.alpha, 0.5f);
    EXPECT_FLOAT_EQ(c.red, 0.5f / 0.75f);
    ctx.depthRange = 0;   // a zero range: full fog behind the start, none in front
    EXPECT_FLOAT_EQ(depthComposite(ctx, surface, 1).red, 1.0f);
    EXPECT_FLOAT_EQ(depthComposite(ctx, surface, -1).red, 0.0f);
}

TEST_F(DepthTerms, FadeOutScalesAlphaOnly)
{
    ctx.depthCompositeMode = kCompositeFadeOut;
    ctx.startDepth = 100;
    ctx.depthRange = 400;
    const Colour surface{0.8f, 0.2f, 0.4f, 0.6f};
    EXPECT_FLOAT_EQ(depthComposite(ctx, surface, 50).alpha, 0.8f);
    EXPECT_FLOAT_EQ(depthComposite(ctx, surface, 200).alpha, 0.8f * 0.75f);
    const Colour gone = depthComposite(ctx, surface, 600);
    EXPECT_FLOAT_EQ(gone.alpha, 0.0f);
    EXPECT_FLOAT_EQ(gone.green, 0.4f);
    ctx.depthCompositeMode = kCompositeOff;
    EXPECT_FLOAT_EQ(depthComposite(ctx, surface, 600).alpha, 0.8f);
}

} // namespace
