// Layer-to-world matrices against values worked out by hand from each scene's numbers.
#include "host/comp/composition_model.h"
#include "host/comp/matrix4.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <sstream>

namespace orbhost {
namespace {

const double r2 = std::sqrt(0.5);
const Vec3 X{1, 0, 0}, Y{0, 1, 0}, Z{0, 0, 1}, O{0, 0, 0};

// Rows 0–2 (the images of the axes) and row 3 (the translation).
Matrix4 rows(Vec3 x, Vec3 y, Vec3 z, Vec3 t) {
    return {{{x.x, x.y, x.z, 0}, {y.x, y.y, y.z, 0}, {z.x, z.y, z.z, 0}, {t.x, t.y, t.z, 1}}};
}

// One layer alone in a composition.
struct Case {
    const char* name = "";
    Matrix4 expected{};
    LayerKind kind = LayerKind::Solid;
    bool threeD = true;
    Vec3 anchor{}, scale{100, 100, 100}, position{}, rotation{}, orientation{};
    std::optional<Vec3> pointOfInterest = std::nullopt;
    double layerAspect = 1, compAspect = 1;
};

CompositionModel compOf(const Case& c) {
    LayerModel l;
    l.kind = c.pointOfInterest ? LayerKind::Camera : c.kind;
    l.threeD = c.threeD;
    l.pixelAspect = c.layerAspect;
    LayerTransform& t = l.transform;
    t.anchorPoint = c.anchor;
    t.scale = c.scale;
    t.position = c.position;
    t.rotationX = c.rotation.x;
    t.rotationY = c.rotation.y;
    t.rotationZ = c.rotation.z;
    t.orientation = c.orientation;
    t.hasPointOfInterest = c.pointOfInterest.has_value();
    t.pointOfInterest = c.pointOfInterest.value_or(Vec3{});
    CompositionModel comp;
    comp.width = 1920;
    comp.height = 1080;
    comp.pixelAspect = c.compAspect;
    comp.layers = {l};
    return comp;
}

std::string print(const Matrix4& m) {
    std::ostringstream out;
    for (const auto& r : m) out << "  [" << r[0] << ", " << r[1] << ", " << r[2] << ", " << r[3] << "]\n";
    return out.str();
}

bool near(const Matrix4& a, const Matrix4& b) {
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            if (!(std::abs(a[i][j] - b[i][j]) <= 1e-9)) return false;   // NaN fails too
    return true;
}

void PrintTo(const Case& c, std::ostream* out) { *out << c.name; }

class LayerToWorld : public testing::TestWithParam<Case> {};

TEST_P(LayerToWorld, MatchesHandWorkedMatrix) {
    const Case& c = GetParam();
    const Matrix4 actual = layerToWorld(compOf(c), 0, 0);
    EXPECT_TRUE(near(actual, c.expected)) << c.name << "\nexpected\n" << print(c.expected) << "actual\n" << print(actual);
}

INSTANTIATE_TEST_SUITE_P(Transforms, LayerToWorld, testing::Values(
    Case{.name = "identity", .expected = rows(X, Y, Z, O), .threeD = false},
    Case{.name = "anchor, scale, position", .expected = rows({2, 0, 0}, {0, 0.5, 0}, Z, {200, 187.5, 10}),
         .anchor = {50, 25, 0}, .scale = {200, 50, 100}, .position = {300, 200, 10}},
    // +x turns to +y about Z, +y to +z about X, +z to +x about Y.
    Case{.name = "Z 90", .expected = rows(Y, {-1, 0, 0}, Z, O), .threeD = false, .rotation = {0, 0, 90}},
    Case{.name = "X 90", .expected = rows(X, Z, {0, -1, 0}, O), .rotation = {90, 0, 0}},
    Case{.name = "Y 90", .expected = rows({0, 0, -1}, Y, X, O), .rotation = {0, 90, 0}},
    // Z first, then Y, then X: x → y → y → z; y → −x → z → −y; z → z → x → x.
    Case{.name = "rotation order Z, Y, X", .expected = rows(Z, {0, -1, 0}, X, O), .rotation = {90, 90, 90}},
    Case{.name = "orientation order Z, Y, X", .expected = rows(Z, {0, -1, 0}, X, O), .orientation = {90, 90, 90}},
    // Rotation Y first, then orientation Z: x → −z → −z; y → y → −x; z → x → y.
    Case{.name = "rotation before orientation", .expected = rows({0, 0, -1}, {-1, 0, 0}, Y, O),
         .rotation = {0, 90, 0}, .orientation = {0, 0, 90}},
    Case{.name = "2-D layer: no X/Y turns, no z terms", .expected = rows(X, Y, Z, {10, 20, 0}), .threeD = false,
         .anchor = {0, 0, 5}, .scale = {100, 100, 300}, .position = {10, 20, 30}, .rotation = {90, 0, 0},
         .orientation = {0, 90, 0}},
    // Cameras: the default one looks straight ahead; anchor and scale do not apply to them.
    Case{.name = "default camera", .expected = rows(X, Y, Z, {960, 540, -2666.67}), .anchor = {50, 50, 0},
         .scale = {200, 200, 200}, .position = {960, 540, -2666.67}, .pointOfInterest = Vec3{960, 540, 0}},
    // Looking along +x: the camera's right is −z (towards the viewer), down stays +y.
    Case{.name = "camera looking right", .expected = rows({0, 0, -1}, Y, X, {0, 0, -100}),
         .position = {0, 0, -100}, .pointOfInterest = Vec3{100, 0, -100}},
    Case{.name = "camera yawed 45", .expected = rows({r2, 0, -r2}, Y, {r2, 0, r2}, O),
         .pointOfInterest = Vec3{100, 0, 100}},
    Case{.name = "camera looking down", .expected = rows(X, {0, 0, -1}, Y, O), .pointOfInterest = Vec3{0, 100, 0}},
    Case{.name = "camera looking up", .expected = rows(X, Z, {0, -1, 0}, O), .pointOfInterest = Vec3{0, -100, 0}},
    Case{.name = "camera at its point of interest", .expected = rows(X, Y, Z, {5, 6, 7}), .position = {5, 6, 7},
         .pointOfInterest = Vec3{5, 6, 7}},
    // Composition pixels twice as wide as tall: a square pixel is half a composition pixel wide;
    // a wide layer pixel turned upright is two rows tall, a row turned flat half a pixel wide.
    Case{.name = "square layer, wide comp pixels", .expected = rows({0.5, 0, 0}, Y, Z, O), .compAspect = 2},
    Case{.name = "wide layer and comp pixels", .expected = rows(X, Y, Z, {100, 50, 0}), .position = {100, 50, 0},
         .layerAspect = 2, .compAspect = 2},
    Case{.name = "wide pixels, Z 90", .expected = rows({0, 2, 0}, {-0.5, 0, 0}, Z, {100, 50, 0}),
         .position = {100, 50, 0}, .rotation = {0, 0, 90}, .layerAspect = 2, .compAspect = 2},
    // The aim is taken in square units (45° there); the view direction still points at the
    // point of interest in composition pixels.
    Case{.name = "wide pixels, aimed camera", .expected = rows({r2 / 2, 0, -r2}, Y, {r2 / 2, 0, r2}, O),
         .pointOfInterest = Vec3{50, 0, 100}, .compAspect = 2}));

// What an effect does to get square units (row 0 ÷ layer aspect, x column × comp aspect) must
// leave orthonormal axes, whatever the turn.
TEST(LayerToWorldAspect, EffectCorrectionLeavesPureRotation) {
    Matrix4 m = layerToWorld(compOf({.rotation = {0, 50, 30}, .orientation = {20, 0, 0},
                                     .layerAspect = 1.5, .compAspect = 0.9}), 0, 0);
    for (int j = 0; j < 3; ++j) m[0][j] /= 1.5;
    for (int i = 0; i < 3; ++i) m[i][0] *= 0.9;
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(m[i][0] * m[k][0] + m[i][1] * m[k][1] + m[i][2] * m[k][2], i == k ? 1 : 0, 1e-9)
                << "rows " << i << " and " << k;
}

TEST(LayerToWorld, KeyframedPositionBetweenKeys) {
    CompositionModel comp = compOf({});
    comp.layers[0].transform.position.keys = {{0.0, Vec3{0, 0, 0}}, {2.0, Vec3{100, 200, -50}}};
    EXPECT_TRUE(near(layerToWorld(comp, 0, 0.5), rows(X, Y, Z, {25, 50, -12.5})));
}

TEST(LayerToWorldParents, TwoLevelsPlaceChildPoint) {
    // Grandparent at (100, 0, 0) turned 90° about Z; parent at (10, 0, 0) in it, scaled 200 %;
    // child at (0, 5, 0) in the parent. Child point (1, 0, 0): (1, 5) → ×2 → (2, 10) → +10 →
    // (12, 10) → turned → (−10, 12) → +100 → (90, 12).
    CompositionModel comp = compOf({.position = {0, 5, 0}});
    comp.layers.push_back(compOf({.scale = {200, 200, 200}, .position = {10, 0, 0}}).layers[0]);
    comp.layers.push_back(compOf({.position = {100, 0, 0}, .rotation = {0, 0, 90}}).layers[0]);
    comp.layers[0].parent = 1;
    comp.layers[1].parent = 2;
    const Matrix4 m = layerToWorld(comp, 0, 0);
    EXPECT_TRUE(near(m, rows({0, 2, 0}, {-2, 0, 0}, {0, 0, 2}, {90, 10, 0}))) << print(m);
    const Vec3 p = transformPoint({1, 0, 0}, m);
    EXPECT_NEAR(p.x, 90, 1e-9);
    EXPECT_NEAR(p.y, 12, 1e-9);
}

TEST(LayerToWorldParents, BadIndicesAndCyclesStillAnswer) {
    CompositionModel comp = compOf({.position = {10, 0, 0}});
    comp.layers.push_back(compOf({.position = {0, 20, 0}}).layers[0]);
    comp.layers[0].parent = 1;
    comp.layers[1].parent = 0;
    EXPECT_TRUE(near(layerToWorld(comp, 0, 0), rows(X, Y, Z, {10, 20, 0}))) << "each layer once";
    EXPECT_EQ(layerToWorld(comp, 7, 0), identityMatrix());
    EXPECT_EQ(layerToWorld(comp, -1, 0), identityMatrix());
    comp.layers[1].parent = 42;
    EXPECT_TRUE(near(layerToWorld(comp, 0, 0), rows(X, Y, Z, {10, 20, 0}))) << "missing parent ignored";
}

}  // namespace
}  // namespace orbhost
