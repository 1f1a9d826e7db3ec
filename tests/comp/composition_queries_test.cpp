// Keyframe interpolation and camera choice (and so layer activity).
#include "host/comp/composition_model.h"

#include <gtest/gtest.h>

#include <string>

namespace orbhost {
namespace {

TEST(Animated, InterpolatesLinearlyAndHoldsOutsideKeys) {
    Animated<double> a;
    a.keys = {{1.0, 10.0}, {3.0, 30.0}, {3.0, -5.0}};   // the last two: a jump at 3 s
    const std::pair<double, double> expected[] = {{0, 10}, {1, 10}, {1.5, 15}, {2.9, 29}, {3, -5}, {9, -5}};
    for (auto [t, v] : expected) EXPECT_DOUBLE_EQ(a.at(t), v) << "at " << t << " s";
    EXPECT_DOUBLE_EQ(Animated<double>(7.0).at(-3), 7.0) << "one key is a constant";
    EXPECT_DOUBLE_EQ(Animated<double>().at(1), 0.0) << "no keys";

    Animated<Vec3> v;
    v.keys = {{0.0, Vec3{0, 10, -4}}, {4.0, Vec3{8, 30, 4}}};
    const Vec3 mid = v.at(1);
    EXPECT_DOUBLE_EQ(mid.x, 2);
    EXPECT_DOUBLE_EQ(mid.y, 15);
    EXPECT_DOUBLE_EQ(mid.z, -2);

    Animated<std::array<double, 3>> color;
    color.keys = {{0.0, {1, 0, 0}}, {2.0, {0, 1, 0.5}}};
    EXPECT_EQ(color.at(1), (std::array<double, 3>{0.5, 0.5, 0.25}));
}

LayerModel timed(LayerKind kind, double in, double duration, bool videoOn = true) {
    LayerModel l;
    l.kind = kind;
    l.inPoint = in;
    l.duration = duration;
    l.videoOn = videoOn;
    return l;
}

// In point included, out point excluded, video switch honoured, topmost first.
TEST(EffectCamera, TopmostActiveCameraWins) {
    CompositionModel c;
    c.layers = {
        timed(LayerKind::Solid, 0, 10),
        timed(LayerKind::Camera, 0, 10, false),   // 1: video off, never used
        timed(LayerKind::Camera, 2, 2),           // 2: on [2, 4)
        timed(LayerKind::Light, 0, 10),
        timed(LayerKind::Camera, 1, 9),           // 4: on [1, 10)
    };
    const std::pair<double, int> expected[] = {{0, -1}, {1, 4}, {2, 2}, {3.99, 2}, {4, 4}, {10, -1}};
    for (auto [t, index] : expected) EXPECT_EQ(effectCamera(c, t), index) << "at " << t << " s";
    EXPECT_EQ(effectCamera(CompositionModel{}, 0), -1) << "no layers";
}

}  // namespace
}  // namespace orbhost
