// Where the sphere stands, how it is turned and shaped, the opening and the control layer.
#include "assembly_support.h"

using namespace asmtest;

namespace {

using Axes = std::array<Vec3d, 3>;
const Axes kUnturned{Vec3d{1, 0, 0}, Vec3d{0, 1, 0}, Vec3d{0, 0, 1}};

void expectAxes(const ContextSnapshot& x, const Axes& axes)
{
    for (int i = 0; i < 3; ++i)
        expectNear(row(x.sphereToWorld, i), axes[i], "sphere axis " + std::to_string(i), 1e-5);
}

} // namespace

// Turns combine about Z first, then Y, then X.
TEST_F(AssemblyTest, RotationTurnsTheSpheresAxesAboutItsCentre)
{
    struct Case {
        const char* name;
        double x, y, z;   // "Rotation X", "Rotation Y", "Rotation Z" in degrees
        Axes axes;        // where the sphere's x, y and z axes point in the composition
    };
    const Case cases[] = {{"none", 0, 0, 0, kUnturned},
                          {"quarter about x", 90, 0, 0, {Vec3d{1, 0, 0}, Vec3d{0, 0, 1}, Vec3d{0, -1, 0}}},
                          {"quarter about y", 0, 90, 0, {Vec3d{0, 0, -1}, Vec3d{0, 1, 0}, Vec3d{1, 0, 0}}},
                          {"quarter about z", 0, 0, 90, {Vec3d{0, 1, 0}, Vec3d{-1, 0, 0}, Vec3d{0, 0, 1}}},
                          {"about z then x", 90, 0, 90, {Vec3d{0, 0, 1}, Vec3d{-1, 0, 0}, Vec3d{0, -1, 0}}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Rendered r = renderScene(sceneWith({{"Rotation X", num(c.x)}, {"Rotation Y", num(c.y)},
                                                  {"Rotation Z", num(c.z)}, {"Position XY", "[50, 70]"},
                                                  {"Position Z", "-30"}}));
        ASSERT_EQ(r.result, PF_Err_NONE);
        const ContextSnapshot& x = r.ctx();
        expectAxes(x, c.axes);
        expectNear(row(x.sphereToWorld, 3), {50, 70, -30}, "centre");
        expectInversePair(x, c.name);
        const Vec3d camera = intoFrame({80, 60, -160 * 50.0 / 36}, c.axes, {50, 70, -30});
        expectNear(x.cameraOrigin, camera, "cameraOrigin");
        expectNear(row(x.cameraToSphere, 3), camera, "cameraToSphere position");
    }
}

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
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR(xyz(x.radiusSq)[i], a[i] * a[i], tol(a[i] * a[i])) << "axis " << i;
            EXPECT_NEAR(xyz(x.invRadius)[i], 1 / a[i], tol(1 / a[i])) << "axis " << i;
            EXPECT_NEAR(xyz(x.invRadiusSq)[i], 1 / (a[i] * a[i]), tol(1 / (a[i] * a[i]))) << "axis " << i;
        }
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

// Above 1 the sphere bulges to the other side (a mirrored frame): "Inside" and "Outside" swap.
TEST_F(AssemblyTest, OpeningGrowsTheSphereAboutAPivotThatStaysPut)
{
    const std::array<double, 2> cases[] = {{0, 1}, {0.5, 2}, {1, 10000}, {1.5, 2}, {2, 1}};   // open, scale
    for (const auto& [open, scale] : cases) {
        SCOPED_TRACE("Open Parameter " + num(open));
        const bool inverted = open > 1;
        const Rendered r = renderScene(sceneWith({{"Open Parameter", num(open)}, {"Rotation Y", "30"},
                                                  {"Position XY", "[70, 50]"}, {"Position Z", "10"},
                                                  {"Fixed Point U", "0.25"}, {"Fixed Point V", "0.75"},
                                                  {"Render Side", R"("Inside")"}}));
        ASSERT_EQ(r.result, PF_Err_NONE);
        const ContextSnapshot& x = r.ctx();
        EXPECT_NEAR(x.openScale, scale, 1e-6 * scale);
        EXPECT_EQ(x.openInverted, inverted);
        EXPECT_EQ(x.renderSide, inverted ? 3u : 2u) << "render side";
        EXPECT_DOUBLE_EQ(x.fixedPointU, 0.25);
        EXPECT_DOUBLE_EQ(x.fixedPointV, 0.75);
        expectNear(xyz(x.radius), Vec3d{40, 40, 40} * scale, "radius");
        const Vec3d ax = row(x.sphereToWorld, 0), ay = row(x.sphereToWorld, 1), az = row(x.sphereToWorld, 2);
        const Vec3d yz{ay[1] * az[2] - ay[2] * az[1], ay[2] * az[0] - ay[0] * az[2], ay[0] * az[1] - ay[1] * az[0]};
        EXPECT_NEAR(dot(ax, yz), inverted ? -1.0 : 1.0, 1e-4) << "handedness";
        expectInversePair(x, "opening");
        // The pivot of the unopened sphere turned 30° about Y: its rows are (cos, 0, −sin),
        // (0, 1, 0), (sin, 0, cos).
        const double cy = std::cos(kPi / 6), sy = std::sin(kPi / 6);
        const Vec3d local = surfacePoint({40, 40, 40}, 0.25, 0.75);
        const Vec3d pivot = Vec3d{70, 50, 10} + Vec3d{cy, 0, -sy} * local[0] + Vec3d{0, 1, 0} * local[1] +
                            Vec3d{sy, 0, cy} * local[2];
        const Vec3d opened = mapPoint(surfacePoint(xyz(x.radius), 0.25, 0.75), x.sphereToWorld);
        for (int i = 0; i < 3; ++i)
            EXPECT_NEAR(opened[i], pivot[i], 1e-3 + 1e-6 * scale * 40) << str(opened) << " should stay at " << str(pivot);
    }
}

// Semi-axes are 100 × the control layer's scale per axis.
TEST_F(AssemblyTest, ControlLayerDrivesCentreOrientationAndSemiAxes)
{
    struct Case {
        const char* name;
        std::string layer;   // the null's transform keys
        Vec3d semiAxes;
        Axes axes;
    };
    const Case cases[] = {
        {"unscaled", R"("scale": [100, 100, 100])", {100, 100, 100}, kUnturned},
        // Turned 20° about z, then 30° about y; the scale leaves the directions alone.
        // x: (cos 20°, sin 20°, 0), then (cos 20° cos 30°, sin 20°, −cos 20° sin 30°);
        // y: (−sin 20°, cos 20°, 0), then (−sin 20° cos 30°, cos 20°, sin 20° sin 30°);
        // z: (sin 30°, 0, cos 30°).
        {"scaled and turned", R"("scale": [150, 80, 120], "rotationY": 30, "rotationZ": 20)", {150, 80, 120},
         {Vec3d{0.81379768, 0.34202014, -0.46984631}, Vec3d{-0.29619813, 0.93969262, 0.17101007},
          Vec3d{0.5, 0, 0.86602540}}},
        // No y extent: the mean scale is 0, so the size falls back to radius 1 with the z
        // proportion alone: (0.1, 0.1, 100). The y axis scaled to nothing stays as it is.
        {"flat on y", R"("scale": [100, 0, 100])", {0.1, 0.1, 100}, {Vec3d{1, 0, 0}, Vec3d{0, 0, 0}, Vec3d{0, 0, 1}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Rendered r = renderScene(sceneWith(
            {{"Control Layer", R"("Ctl")"}, {"Position XY", "[10, 10]"}, {"Radius", "7"}},
            R"({ "name": "Ctl", "type": "null", "threeD": true, "anchorPoint": [0, 0, 0], "position": [70, 50, 20], )" +
                c.layer + " },"));
        ASSERT_EQ(r.result, PF_Err_NONE);
        expectNear(row(r.ctx().sphereToWorld, 3), {70, 50, 20}, "centre");
        expectNear(xyz(r.ctx().radius), c.semiAxes, "semi-axes");
        expectAxes(r.ctx(), c.axes);
    }
}
