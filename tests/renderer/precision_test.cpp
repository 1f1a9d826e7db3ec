// Float renders compared bit for bit with the model. Untextured and unlit, the sphere shows its
// (U, V) in red and green, so every fully covered pixel carries the whole chain (sample ray,
// quadratic, surface point, arc functions, deformation) in its last bits. The scenes cross the
// seam and the poles; one is lit by a point light from the side (a float square root in |L|).
#include "host/comp/composition_model.h"
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


// Scene assembly's placement, worked from the scene's own values at each step's precision: the
// turn in float from 16.16 degrees, the shape factors and the pivot's surface point in double,
// a control layer's axes measured and divided in float, the frame inverted by cofactors in float.
namespace placement {

struct Frame {
    std::array<F4, 3> rows;
    F4 origin, radius;
};

float dot3(F4 a, F4 b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

Matrix4 product(const Matrix4& a, const Matrix4& b)
{
    Matrix4 r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j] + a.m[i][3] * b.m[3][j];
    return r;
}

Frame fromControls(const Placement& p, double zOverXY, double xOverY)
{
    float c[3], s[3];
    for (int i = 0; i < 3; ++i) {
        const float angle = float(std::lround(p.rotationDeg[i] * 65536)) * 1.5258789e-5f * 0.017453292f;
        c[i] = std::cos(angle), s[i] = std::sin(angle);
    }
    const Matrix4 rx{{{1, 0, 0, 0}, {0, c[0], s[0], 0}, {0, -s[0], c[0], 0}, {0, 0, 0, 1}}};
    const Matrix4 ry{{{c[1], 0, -s[1], 0}, {0, 1, 0, 0}, {s[1], 0, c[1], 0}, {0, 0, 0, 1}}};
    const Matrix4 rz{{{c[2], s[2], 0, 0}, {-s[2], c[2], 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
    const Matrix4 turn = product(product(rz, ry), rx);
    const double t5 = std::tan((zOverXY + 1.0) * kPiD * 0.25), t6 = std::tan((xOverY + 1.0) * kPiD * 0.25);
    const double q = std::sqrt(t5);
    return {{rowOf(turn, 0), rowOf(turn, 1), rowOf(turn, 2)},
            {float(p.position[0]), float(p.position[1]), float(p.position[2])},
            {float(p.radius / q * t6), float(p.radius / q / t6), float(p.radius * t5)}};
}

Frame fromLayer(const orbhost::Scene& scene, const std::string& name)
{
    const orbhost::CompositionModel comp = orbhost::compositionModel(scene);
    const auto layer = std::find_if(comp.layers.begin(), comp.layers.end(), [&](const auto& l) { return l.displayName() == name; });
    orbhost::Matrix4 m = orbhost::layerToWorld(comp, int(layer - comp.layers.begin()), 0.0);
    m[3][0] = (m[3][0] - comp.width / 2.0) * 1.0 + comp.width / 2.0;   // square pixels: x about W/2
    Frame f;
    float s[3];
    for (int i = 0; i < 3; ++i) {
        float r[4] = {float(m[i][0]), float(m[i][1]), float(m[i][2]), float(m[i][3])};
        s[i] = std::sqrt(r[0] * r[0] + r[1] * r[1] + r[2] * r[2] + r[3] * r[3]);
        for (float& v : r)
            v = s[i] > 0 ? v / s[i] : v;
        f.rows[i] = {r[0], r[1], r[2]};
    }
    f.origin = {float(m[3][0]), float(m[3][1]), float(m[3][2])};
    const double g = std::pow(double(s[0]) * s[1] * s[2], 1.0 / 3.0);
    const double r = 100.0 * g > 1.0 ? 100.0 * g : 1.0;
    const double zr = s[2] / (r / 100.0), q = std::sqrt(zr);
    const double a = s[1] == 0.0f ? 1.0 : std::sqrt(double(s[0]) / s[1]);
    f.radius = {float(r / q * a), float(r / q / a), float(r * zr)};
    return f;
}

// 2 × 2 minors of rows 0–1 and 2–3, as the renderer's cofactor inverse pairs them.
Matrix4 inverse(const Matrix4& M)
{
    const auto& a = M.m;
    const auto minor = [&](int r, int i, int j) { return a[r][i] * a[r + 1][j] - a[r + 1][i] * a[r][j]; };
    const float s0 = minor(0, 0, 1), s1 = minor(0, 0, 2), s2 = minor(0, 0, 3), s3 = minor(0, 1, 2), s4 = minor(0, 1, 3),
                s5 = minor(0, 2, 3);
    const float c5 = a[2][2] * a[3][3] - a[3][2] * a[2][3], c4 = a[2][1] * a[3][3] - a[3][1] * a[2][3],
                c3 = a[2][1] * a[3][2] - a[3][1] * a[2][2], c2 = a[2][0] * a[3][3] - a[3][0] * a[2][3],
                c1 = a[2][0] * a[3][2] - a[3][0] * a[2][2], c0 = a[2][0] * a[3][1] - a[3][0] * a[2][1];
    const float k = 1.0f / (s0 * c5 - s1 * c4 + s2 * c3 + s3 * c2 - s4 * c1 + s5 * c0);
    const float e[4][4] = {
        {a[1][1] * c5 - a[1][2] * c4 + a[1][3] * c3, -a[0][1] * c5 + a[0][2] * c4 - a[0][3] * c3,
         a[3][1] * s5 - a[3][2] * s4 + a[3][3] * s3, -a[2][1] * s5 + a[2][2] * s4 - a[2][3] * s3},
        {-a[1][0] * c5 + a[1][2] * c2 - a[1][3] * c1, a[0][0] * c5 - a[0][2] * c2 + a[0][3] * c1,
         -a[3][0] * s5 + a[3][2] * s2 - a[3][3] * s1, a[2][0] * s5 - a[2][2] * s2 + a[2][3] * s1},
        {a[1][0] * c4 - a[1][1] * c2 + a[1][3] * c0, -a[0][0] * c4 + a[0][1] * c2 - a[0][3] * c0,
         a[3][0] * s4 - a[3][1] * s2 + a[3][3] * s0, -a[2][0] * s4 + a[2][1] * s2 - a[2][3] * s0},
        {-a[1][0] * c3 + a[1][1] * c1 - a[1][2] * c0, a[0][0] * c3 - a[0][1] * c1 + a[0][2] * c0,
         -a[3][0] * s3 + a[3][1] * s1 - a[3][2] * s0, a[2][0] * s3 - a[2][1] * s1 + a[2][2] * s0}};
    Matrix4 r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.m[i][j] = e[i][j] * k;
    return r;
}

struct Placed {
    Matrix4 toWorld;
    F4 radius;   // after the opening
    double scale;
};

// The pivot keeps its place while the frame is mirrored (above 1) and grown by the open scale.
Placed opened(Frame f, double open, double u0, double v0)
{
    const double t = std::tan(open == 1 ? 1.5707723583450859 : open * kPiD * 0.5);   // 1: just short of π/2
    const bool inverted = open > 1;
    const double scale = std::clamp(inverted ? std::abs(t - 1) : t + 1, -10000.0, 10000.0);
    F4 invSq;
    for (int i = 0; i < 3; ++i) {
        const float inv = f.radius[i] != 0 ? 1.0f / f.radius[i] : 0.0f;
        invSq[i] = inv * inv;
    }
    const double theta = (1.0 - v0) * kPiD, phi = (1.0 - u0) * 2.0 * kPiD;
    const F4 local{float(f.radius[0] * std::sin(theta) * std::cos(phi)),
                   float(f.radius[1] * std::sin(theta) * std::sin(phi)), float(f.radius[2] * std::cos(theta))};
    const auto turned = [&f](F4 v) {
        F4 r;
        for (int j = 0; j < 3; ++j)
            r[j] = f.rows[0][j] * v[0] + f.rows[1][j] * v[1] + f.rows[2][j] * v[2];
        return r;
    };
    const F4 n = normalise(turned({local[0] * invSq[0], local[1] * invSq[1], local[2] * invSq[2]}));
    F4 pivot = turned(local);
    if (inverted) {
        for (F4& r : f.rows) {
            const float k = 2.0f * dot3(r, n);
            for (int j = 0; j < 3; ++j)
                r[j] = r[j] - n[j] * k;
        }
        const float along = 2.0f * dot3(pivot, n);
        for (int j = 0; j < 3; ++j)
            f.origin[j] = f.origin[j] + n[j] * along, pivot[j] = pivot[j] - n[j] * along;
    }
    const float toPivot = float(1.0 - scale);
    Placed out{Matrix4{}, F4{}, scale};
    for (int j = 0; j < 3; ++j) {
        for (int i = 0; i < 3; ++i)
            out.toWorld.m[i][j] = f.rows[i][j];
        out.toWorld.m[j][3] = 0.0f;
        out.toWorld.m[3][j] = f.origin[j] + pivot[j] * toPivot;
        out.radius[j] = f.radius[j] * float(scale);
    }
    out.toWorld.m[3][3] = 1.0f;
    return out;
}

struct Case {
    const char* name;
    Placement placement;
    double zOverXY = 0, xOverY = 0;   // exact in 16.16
    std::string controlLayer;         // a null's transform keys; empty: the effect's own controls
};

const Case kCases[] = {
    {"TurnedShapedOpened", {35, {85, 55, 0}, {27, -50, 20}, 0.5, 0.3125, 0.6875}, 0.375, -0.3125, ""},
    {"SteepTurnMirrored", {40, {70, 64, 12}, {-117, 37, 161}, 1.5, 0.25, 0.8125}, 0, 0, ""},
    {"NearlyFlatSheet", {30, {80, 60, -5}, {13, 77, -41}, 1, 0.6875, 0.4375}, -0.5, 0.25, ""},
    {"SlidersAtTheirEnds", {40, {80, 60, 0}, {30, -50, 20}}, 0.998992919921875, -0.998992919921875, ""},
    {"RadiusZero", {0, {80, 60, 0}, {0, 0, 0}}, 0, 0, ""},   // x and y inverted without a test, z kept 0
    {"ControlLayerTurned", {7, {10, 10, 0}, {0, 0, 0}, 0.25, 0.5, 0.5}, 0, 0,
     R"("scale": [150, 80, 120], "rotationX": 25, "rotationY": 30, "rotationZ": 20)"},
    {"ControlLayerStretchedMirrored", {7, {10, 10, 0}, {0, 0, 0}, 1.75, 0.125, 0.5625}, 0, 0,
     R"("scale": [37, 212, 93], "rotationX": -70, "rotationZ": 110)"},
};

class PlacementPrecision : public asmtest::AssemblyParamTest<Case> {};

TEST_P(PlacementPrecision, FrameAndSemiAxesMatchBitForBit)
{
    const Case& c = GetParam();
    std::map<std::string, std::string> extra{{"Ellipse Z/XY", num(c.zOverXY)}, {"Ellipse X/Y", num(c.xOverY)}};
    std::string layers;
    if (!c.controlLayer.empty()) {
        extra["Control Layer"] = R"("Ctl")";
        layers = R"({ "name": "Ctl", "type": "null", "threeD": true, "anchorPoint": [0, 0, 0], "position": [70, 50, 20], )" +
                 c.controlLayer + " },";
    }
    const asmtest::SceneSetup setup = geometryScene(c.placement, extra, layers);
    const auto r = renderScene(setup, {0, 8, 1, 1});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& ctx = r.ctx();
    const Frame frame = c.controlLayer.empty()
                            ? fromControls(c.placement, c.zOverXY, c.xOverY)
                            : fromLayer(orbhost::parseSceneText(asmtest::sceneJson(setup), "placement.json", "."), "Ctl");
    const Placed want = opened(frame, c.placement.open, c.placement.u0, c.placement.v0);
    EXPECT_EQ(ctx.openScale, want.scale);
    const Matrix4 wantInverse = inverse(want.toWorld);
    const Matrix4 wantCamera = product(ctx.cameraToWorld, wantInverse);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            EXPECT_EQ(ctx.sphereToWorld.m[i][j], want.toWorld.m[i][j]) << "sphereToWorld[" << i << "][" << j << "]";
            EXPECT_EQ(ctx.worldToSphere.m[i][j], wantInverse.m[i][j]) << "worldToSphere[" << i << "][" << j << "]";
            EXPECT_EQ(ctx.cameraToSphere.m[i][j], wantCamera.m[i][j]) << "cameraToSphere[" << i << "][" << j << "]";
        }
    const F4 got = lanes(ctx.radius), gotSq = lanes(ctx.radiusSq), gotInv = lanes(ctx.invRadius);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(got[i], want.radius[i]) << "radius " << i;
        EXPECT_EQ(gotSq[i], want.radius[i] * want.radius[i]) << "radiusSq " << i;
        const float inv = i < 2 || want.radius[i] > 0 ? 1.0f / want.radius[i] : 0.0f;
        EXPECT_EQ(gotInv[i], inv) << "invRadius " << i;
        EXPECT_EQ(lanes(ctx.invRadiusSq)[i], inv * inv) << "invRadiusSq " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Scenes, PlacementPrecision, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<Case>& i) { return std::string(i.param.name); });

} // namespace placement

} // namespace
