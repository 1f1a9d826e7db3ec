// Per-pixel terms a rendered scene does not reach, on a hand-built context: the (U, V) pole,
// lights without a direction, the parallel light's axis, the blur radius (in double) at the focus.
#include "render/depth_effects.h"
#include "render/popup_values.h"
#include "render/shading.h"
#include "render/sphere_uv.h"
#include "scene/render_context.h"

#include <gtest/gtest.h>

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

TEST_F(HandContext, UIsZeroAtThePoleAndVRunsFromSouthToNorth)
{
    const TextureCoord north = sphereUV(ctx, {0, 0, 100, 1});
    EXPECT_DOUBLE_EQ(north.u, 0.0);
    EXPECT_NEAR(north.v, 1.0, 1e-6);
    EXPECT_NEAR(sphereUV(ctx, {0, 0, -100, 1}).v, 0.0, 1e-6);
}

TEST_F(HandContext, LightsWithoutADirectionAndTheParallelAxis)
{
    LightRecord light{};
    light.lightToSphere = identityMatrix();
    light.lightType = AEGP_LightType_PARALLEL;
    light.lightToSphere.m[2][2] = 4.0f;   // the axis is normalised for a parallel light
    EXPECT_NEAR(lightVector(ctx, light, {0, 30, 40, 1}).direction.z, 1.0, 1e-6);
    ctx.falloffMode = kFalloffInverseSquareClamped;   // no falloff for either
    for (AEGP_LightType type : {AEGP_LightType_AMBIENT, AEGP_LightType_NONE}) {
        light.lightType = type;
        const LightAtPoint q = lightVector(ctx, light, {0, 3000, 4000, 1});
        EXPECT_EQ(q.attenuation, 1.0);
        EXPECT_EQ(dot3(q.direction, q.direction), 0.0f);
    }
}

TEST_F(HandContext, BlurRadiusAtTheFocusIsTinyButNotZero)
{
    ctx.focusDistance = 500;
    ctx.blurScale = 20;
    EXPECT_EQ(blurRadius(ctx, 500), 20 / (500 / 0.00001 + 1));
    EXPECT_EQ(blurRadius(ctx, 800), 20 / (500.0 / 300.0 + 1)) << "in double: in float 5/3 + 1 rounds otherwise";
}

} // namespace
