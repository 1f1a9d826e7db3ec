// What the ellipse sliders mean, and a sphere of radius 0. Where the sphere stands, how it is
// turned, opened and driven by a control layer is compared bit for bit with the precision tests.
#include "assembly_support.h"

using namespace asmtest;

// The semi-axes' product stays Radius³. At radius 0 x and y are divided without a test after the
// opening, while z keeps 0 for "no extent".
TEST_F(AssemblyTest, EllipseSlidersReshapeTheSphereAtConstantVolume)
{
    const double limit = 65470.0 / 65536.0;   // the sliders' end, 0.999 as 16.16 fixed point
    const auto sign = [](double v, double eps) { return v > eps ? 1 : v < -eps ? -1 : 0; };
    const std::array<double, 3> cases[] = {{40, 0, 0},     {40, limit, 0},  {40, -limit, 0},
                                           {40, 0, limit}, {40, 0, -limit}, {25, 0.5, -0.5}};
    for (const auto& [radius, zOverXY, xOverY] : cases) {
        SCOPED_TRACE("radius " + num(radius) + ", z/xy " + num(zOverXY) + ", x/y " + num(xOverY));
        const Rendered r = renderScene(
            sceneWith({{"Radius", num(radius)}, {"Ellipse Z/XY", num(zOverXY)}, {"Ellipse X/Y", num(xOverY)}}));
        ASSERT_EQ(r.result, PF_Err_NONE);
        const ContextSnapshot& x = r.ctx();
        const Vec3d a = xyz(x.radius);
        const double cube = radius * radius * radius;
        EXPECT_NEAR(a[0] * a[1] * a[2], cube, 1e-3 * cube) << str(a);
        EXPECT_EQ(sign(a[2] - std::sqrt(a[0] * a[1]), 1e-3), sign(zOverXY, 0)) << str(a);
        EXPECT_EQ(sign(a[0] - a[1], 1e-3), sign(xOverY, 0)) << str(a);
        if (zOverXY == 0 && xOverY == 0)
            expectNear(a, {radius, radius, radius}, "a round sphere");
        EXPECT_EQ(x.invRadius.w, 0.0f);
        EXPECT_EQ(x.invRadiusSq.w, 0.0f);
        expectInversePair(x, "shape");
    }
    const Rendered r = renderScene(sceneWith({{"Radius", "0"}}));
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    expectNear(xyz(x.radius), {0, 0, 0}, "radius 0");
    expectNear(xyz(x.radiusSq), {0, 0, 0}, "radiusSq at radius 0");
    EXPECT_TRUE(std::isinf(x.invRadius.x) && std::isinf(x.invRadius.y)) << str(xyz(x.invRadius));
    EXPECT_EQ(x.invRadius.z, 0.0f);
    EXPECT_EQ(x.invRadiusSq.z, 0.0f);
    expectInversePair(x, "radius 0");
}
