// Where the sphere stands, how it is turned, its semi-axes, the opening about the pivot and
// the control layer that can drive all of it.
#include "assembly_support.h"

using namespace asmtest;

namespace {

using Axes = std::array<Vec3d, 3>;

double determinant(const Axes& a)
{
    return a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) - a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
           a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
}

Axes axesOf(const Matrix4& m) { return {row(m, 0), row(m, 1), row(m, 2)}; }

struct TurnCase {
    std::string name;
    double x, y, z;   // "Rotation X", "Rotation Y", "Rotation Z" in degrees
    Axes axes;        // where the sphere's x, y and z axes point in the composition
};

void PrintTo(const TurnCase& c, std::ostream* os) { *os << c.name; }

class SphereTurn : public AssemblyParamTest<TurnCase> {};

} // namespace

// A quarter turn about one axis keeps that axis and swaps the other two; turns combine
// about Z first, then Y, then X. The centre is ("Position XY", "Position Z").
TEST_P(SphereTurn, TurnsTheSpheresAxesAboutItsCentre)
{
    const TurnCase& c = GetParam();
    const Rendered r = renderScene(sceneWith({{"Rotation X", num(c.x)},
                                              {"Rotation Y", num(c.y)},
                                              {"Rotation Z", num(c.z)},
                                              {"Position XY", "[50, 70]"},
                                              {"Position Z", "-30"}}));
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    for (int i = 0; i < 3; ++i)
        expectNear(row(x.sphereToWorld, i), c.axes[i], c.name + ": sphere axis " + std::to_string(i), 1e-5);
    expectNear(row(x.sphereToWorld, 3), {50, 70, -30}, c.name + ": centre");
    expectInversePair(x, c.name);
    const Vec3d origin = intoFrame({80, 60, -160 * 50.0 / 36}, c.axes, {50, 70, -30});
    expectNear(x.cameraOrigin, origin, c.name + ": camera in the sphere's frame");
}

INSTANTIATE_TEST_SUITE_P(
    Assembly, SphereTurn,
    testing::Values(TurnCase{"None", 0, 0, 0, {Vec3d{1, 0, 0}, Vec3d{0, 1, 0}, Vec3d{0, 0, 1}}},
                    TurnCase{"QuarterAboutX", 90, 0, 0, {Vec3d{1, 0, 0}, Vec3d{0, 0, 1}, Vec3d{0, -1, 0}}},
                    TurnCase{"QuarterAboutY", 0, 90, 0, {Vec3d{0, 0, -1}, Vec3d{0, 1, 0}, Vec3d{1, 0, 0}}},
                    TurnCase{"QuarterAboutZ", 0, 0, 90, {Vec3d{0, 1, 0}, Vec3d{-1, 0, 0}, Vec3d{0, 0, 1}}},
                    TurnCase{"AboutZThenX", 90, 0, 90, {Vec3d{0, 0, 1}, Vec3d{-1, 0, 0}, Vec3d{0, -1, 0}}}),
    [](const auto& info) { return info.param.name; });

namespace {

struct ShapeCase {
    std::string name;
    double radius, zOverXY, xOverY;   // "Radius", "Ellipse Z/XY", "Ellipse X/Y"
};

void PrintTo(const ShapeCase& c, std::ostream* os) { *os << c.name; }

class SphereShape : public AssemblyParamTest<ShapeCase> {};

// The sliders' end, 0.999 as 16.16 fixed point.
constexpr double kEllipseLimit = 65470.0 / 65536.0;

int sign(double v, double eps) { return v > eps ? 1 : v < -eps ? -1 : 0; }

} // namespace

// The ellipse sliders reshape the sphere without changing its volume: the semi-axes'
// product stays Radius³, z grows against the mean of x and y with "Ellipse Z/XY", and x
// against y with "Ellipse X/Y".
TEST_P(SphereShape, KeepsItsVolumeWhileTheEllipseSlidersReshapeIt)
{
    const ShapeCase& c = GetParam();
    const Rendered r = renderScene(sceneWith({{"Radius", num(c.radius)},
                                              {"Ellipse Z/XY", num(c.zOverXY)},
                                              {"Ellipse X/Y", num(c.xOverY)}}));
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    const Vec3d rad = xyz(x.radius);
    const double cube = c.radius * c.radius * c.radius;
    EXPECT_NEAR(rad[0] * rad[1] * rad[2], cube, 1e-3 * cube) << c.name << ": " << str(rad);
    EXPECT_EQ(sign(rad[2] - std::sqrt(rad[0] * rad[1]), 1e-3), sign(c.zOverXY, 0)) << c.name << ": " << str(rad);
    EXPECT_EQ(sign(rad[0] - rad[1], 1e-3), sign(c.xOverY, 0)) << c.name << ": " << str(rad);
    if (c.zOverXY == 0 && c.xOverY == 0)
        expectNear(rad, {c.radius, c.radius, c.radius}, c.name + ": a round sphere");
    for (int i = 0; i < 3; ++i) {
        const double a = rad[i];
        const double sq[] = {x.radiusSq.x, x.radiusSq.y, x.radiusSq.z};
        const double inv[] = {x.invRadius.x, x.invRadius.y, x.invRadius.z};
        const double invSq[] = {x.invRadiusSq.x, x.invRadiusSq.y, x.invRadiusSq.z};
        EXPECT_NEAR(sq[i], a * a, tol(a * a)) << c.name << " axis " << i;
        EXPECT_NEAR(inv[i], 1 / a, tol(1 / a)) << c.name << " axis " << i;
        EXPECT_NEAR(invSq[i], 1 / (a * a), tol(1 / (a * a))) << c.name << " axis " << i;
    }
    EXPECT_EQ(x.invRadius.w, 0.0f);
    EXPECT_EQ(x.invRadiusSq.w, 0.0f);
    expectInversePair(x, c.name);
}

INSTANTIATE_TEST_SUITE_P(Assembly, SphereShape,
                         testing::Values(ShapeCase{"Round", 40, 0, 0}, ShapeCase{"TallestZ", 40, kEllipseLimit, 0},
                                         ShapeCase{"FlattestZ", 40, -kEllipseLimit, 0}, ShapeCase{"WidestX", 40, 0, kEllipseLimit},
                                         ShapeCase{"NarrowestX", 40, 0, -kEllipseLimit}, ShapeCase{"Mixed", 25, 0.5, -0.5}),
                         [](const auto& info) { return info.param.name; });

TEST_F(AssemblyTest, RadiusZeroLeavesNoSurface)
{
    const Rendered r = renderScene(sceneWith({{"Radius", "0"}}));
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    expectNear(xyz(x.radius), {0, 0, 0}, "radius");
    expectNear(xyz(x.radiusSq), {0, 0, 0}, "radiusSq");
    // After the opening x and y are divided without a test; z keeps 0 for "no extent".
    EXPECT_TRUE(std::isinf(x.invRadius.x) && std::isinf(x.invRadius.y)) << str(xyz(x.invRadius));
    EXPECT_EQ(x.invRadius.z, 0.0f);
    EXPECT_EQ(x.invRadiusSq.z, 0.0f);
    expectInversePair(x, "radius 0");
}

namespace {

struct OpenCase {
    double open;      // "Open Parameter"
    double scale;     // growth about the pivot
    bool inverted;
};

void PrintTo(const OpenCase& c, std::ostream* os) { *os << "Open Parameter " << c.open; }

class SphereOpening : public AssemblyParamTest<OpenCase> {};

} // namespace

// Opening grows the sphere about the pivot, the surface point at ("Fixed Point U",
// "Fixed Point V"), which stays where it is; above 1 the sphere bulges to the other side
// (a mirrored frame) and "Inside" and "Outside" trade places.
TEST_P(SphereOpening, GrowsAboutAPivotThatStaysPut)
{
    const OpenCase& c = GetParam();
    const std::string what = "Open Parameter " + std::to_string(c.open) + ": ";
    const Rendered r = renderScene(sceneWith({{"Open Parameter", num(c.open)},
                                              {"Rotation Y", "30"},
                                              {"Position XY", "[70, 50]"},
                                              {"Position Z", "10"},
                                              {"Fixed Point U", "0.25"},
                                              {"Fixed Point V", "0.75"},
                                              {"Render Side", R"("Inside")"}}));
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    EXPECT_NEAR(x.openScale, c.scale, 1e-6 * c.scale) << what;
    EXPECT_EQ(x.openInverted, c.inverted) << what;
    EXPECT_EQ(x.renderSide, c.inverted ? 3u : 2u) << what << "render side";
    EXPECT_DOUBLE_EQ(x.fixedPointU, 0.25) << what;
    EXPECT_DOUBLE_EQ(x.fixedPointV, 0.75) << what;
    expectNear(xyz(x.radius), Vec3d{40, 40, 40} * c.scale, what + "radius", 1e-4);
    EXPECT_NEAR(determinant(axesOf(x.sphereToWorld)), c.inverted ? -1.0 : 1.0, 1e-4) << what << "handedness";
    expectInversePair(x, what);

    // The pivot of the unopened sphere turned 30° about Y: its rows are (cos, 0, −sin),
    // (0, 1, 0), (sin, 0, cos).
    const double cy = std::cos(kPi / 6), sy = std::sin(kPi / 6);
    const Vec3d local = surfacePoint({40, 40, 40}, 0.25, 0.75);
    const Vec3d pivot = Vec3d{70, 50, 10} + Vec3d{cy, 0, -sy} * local[0] + Vec3d{0, 1, 0} * local[1] +
                        Vec3d{sy, 0, cy} * local[2];
    const Vec3d opened = mapPoint(surfacePoint(xyz(x.radius), 0.25, 0.75), x.sphereToWorld);
    const double slack = 1e-3 + 1e-6 * c.scale * 40;
    for (int i = 0; i < 3; ++i)
        EXPECT_NEAR(opened[i], pivot[i], slack) << what << "pivot " << str(opened) << " should stay at " << str(pivot);
}

INSTANTIATE_TEST_SUITE_P(Assembly, SphereOpening,
                         testing::Values(OpenCase{0, 1, false}, OpenCase{0.5, 2, false}, OpenCase{1, 10000, false},
                                         OpenCase{1.5, 2, true}, OpenCase{2, 1, true}));

namespace {

struct ControlCase {
    std::string name;
    std::string layer;    // the null's transform keys
    Vec3d semiAxes;
    Axes axes;            // where the sphere's x, y and z axes point in the composition
};

void PrintTo(const ControlCase& c, std::ostream* os) { *os << c.name; }

class ControlLayer : public AssemblyParamTest<ControlCase> {};

} // namespace

// A control layer replaces the transform parameters: its world position is the centre,
// its turned axes the sphere's, and 100 × its scale per axis the semi-axes.
TEST_P(ControlLayer, DrivesCentreOrientationAndSemiAxes)
{
    const ControlCase& c = GetParam();
    const Rendered r = renderScene(
        sceneWith({{"Control Layer", R"("Ctl")"}, {"Position XY", "[10, 10]"}, {"Radius", "7"}},
                  R"({ "name": "Ctl", "type": "null", "threeD": true, "anchorPoint": [0, 0, 0], "position": [70, 50, 20], )" +
                      c.layer + " },"));
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    expectNear(row(x.sphereToWorld, 3), {70, 50, 20}, c.name + ": centre");
    expectNear(xyz(x.radius), c.semiAxes, c.name + ": semi-axes");
    for (int i = 0; i < 3; ++i)
        expectNear(row(x.sphereToWorld, i), c.axes[i], c.name + ": axis " + std::to_string(i), 1e-5);
}

INSTANTIATE_TEST_SUITE_P(
    Assembly, ControlLayer,
    testing::Values(ControlCase{"Unscaled", R"("scale": [100, 100, 100])", {100, 100, 100},
                                {Vec3d{1, 0, 0}, Vec3d{0, 1, 0}, Vec3d{0, 0, 1}}},
                    // Turned 20° about z, then 30° about y; the scale leaves the directions alone.
                    // x: (cos 20°, sin 20°, 0), then (cos 20° cos 30°, sin 20°, −cos 20° sin 30°);
                    // y: (−sin 20°, cos 20°, 0), then (−sin 20° cos 30°, cos 20°, sin 20° sin 30°);
                    // z: (sin 30°, 0, cos 30°).
                    ControlCase{"ScaledAndTurned", R"("scale": [150, 80, 120], "rotationY": 30, "rotationZ": 20)",
                                {150, 80, 120},
                                {Vec3d{0.81379768, 0.34202014, -0.46984631}, Vec3d{-0.29619813, 0.93969262, 0.17101007},
                                 Vec3d{0.5, 0, 0.86602540}}},
                    // No y extent: the mean scale is 0, so the size falls back to radius 1 with
                    // the z proportion alone: (0.1, 0.1, 100). The y axis scaled to nothing stays
                    // as it is: there is no direction to keep.
                    ControlCase{"FlatOnY", R"("scale": [100, 0, 100])", {0.1, 0.1, 100},
                                {Vec3d{1, 0, 0}, Vec3d{0, 0, 0}, Vec3d{0, 0, 1}}}),
    [](const auto& info) { return info.param.name; });
