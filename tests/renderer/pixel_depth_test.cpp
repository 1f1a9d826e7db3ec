// The same picture at every pixel depth and in every order the host may run the per-pixel
// calls: 8- and 16-bit frames are the float frame scaled to 255 or 32768, clamped, truncated.
#include "renderer/renderer_model.h"

#include <cstring>

using namespace rtest;
using asmtest::renderScene;

namespace {

const char* kAmbientLight = R"({ "name": "Amb", "type": "light", "light": { "type": "ambient", "intensity": 100 } },)";

struct DepthCase {
    const char* name;
    asmtest::SceneSetup scene;
};

class PixelDepth : public asmtest::AssemblyParamTest<DepthCase> {};

// Either product, in single or double precision, counts.
TEST_P(PixelDepth, IntegerFramesAreTheFloatFrameTruncated)
{
    const DepthCase& c = GetParam();
    const auto f = renderScene(c.scene, {0, 32});
    ASSERT_EQ(f.result, PF_Err_NONE);
    // Emission plus an ambient light: the float frame keeps 2.0, the integer frames clamp it.
    EXPECT_EQ(*std::max_element(f.image.rgba.begin(), f.image.rgba.end()) > 1.99f, std::string(c.name) == "TexturedOverbright");
    for (int depth : {8, 16}) {
        const auto r = renderScene(c.scene, {0, depth});
        ASSERT_EQ(r.result, PF_Err_NONE);
        ASSERT_EQ(r.image.rgba.size(), f.image.rgba.size());
        const double full = fullScale(depth);
        std::size_t bad = 0, first = 0, partial = 0;
        for (std::size_t i = 0; i < f.image.rgba.size(); ++i) {
            const float v = f.image.rgba[i];
            const double a = std::floor(std::clamp(double(v) * full, 0.0, full));
            const double b = std::floor(std::clamp(double(float(v * float(full))), 0.0, full));
            const double got = double(r.image.rgba[i]) * full;
            partial += i % 4 == 3 && v > 0 && v < 1;
            if (std::abs(got - a) > 1e-3 && std::abs(got - b) > 1e-3 && bad++ == 0)
                first = i;
        }
        EXPECT_EQ(bad, 0u) << depth << "-bit frame, first at sample " << first << ": float " << f.image.rgba[first]
                           << ", code " << r.image.rgba[first] * full;
        EXPECT_GT(partial, 50u) << "silhouette pixels with partial alpha";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Scenes, PixelDepth,
    testing::Values(DepthCase{"Gradient", geometryScene({40, {80, 60, 0}, {-90, 0, -90}})},
                    DepthCase{"OpenedFarWall", geometryScene({36, {80, 60, 0}, {-60, 20, -90}, 0.5}, {{"Render Side", "2"}})},
                    DepthCase{"TexturedOverbright",
                              geometryScene({40, {80, 60, 0}, {-90, 0, -90}}, {{"Texture", "\"Tex\""}}, kAmbientLight)}),
    [](const testing::TestParamInfo<DepthCase>& i) { return std::string(i.param.name); });

struct OrderCase {
    const char* name;
    asmtest::SceneSetup (*scene)();
    int bitDepth;
    int passes;   // iterate runs the render makes
};

asmtest::SceneSetup litTexturedScene()
{
    const Placement p{40, {78, 62, 10}, {-70, 20, -90}, 0.5, 0.375, 0.5};
    asmtest::SceneSetup s = geometryScene(
        p, {{"Texture", "\"Tex\""}, {"Show Pivot", "true"}, {"Reflection Map", "\"Refl\""}},
        R"({ "name": "Key", "type": "light", "position": [20, 10, -150], "light": { "type": "point" } },)");
    s.edit = replaceLayerImage(imageOf(16, 9, [](int x, int y) {
        return Rgba{x / 15.0, y / 8.0, (x * y) % 3 / 2.0, (x + y) % 5 ? 1.0 : 0.5};
    }));
    return s;
}

asmtest::SceneSetup blurredScene()
{
    const Placement p{40, {80, 60, 0}, {-90, 0, -90}};
    return geometryScene(
        p, {{"Depth Of Field", "3"}, {"Render Side", "1"}},
        R"({ "name": "Cam", "type": "camera", "position": [80, 60, -222.22222222222223],
             "camera": { "depthOfField": true, "focusDistance": 120, "aperture": 60 } },)");
}

asmtest::Rendered renderWithIterate(const OrderCase& c, const orbhost::IterateOptions& iterate)
{
    return asmtest::renderScene(c.scene(), {0, c.bitDepth}, [iterate](orbhost::EffectHost& host) { host.state().config.iterate = iterate; });
}

class IterateOrder : public asmtest::AssemblyParamTest<OrderCase> {};

// Pixels handed to several threads in any order give the frame made in row order on one thread.
TEST_P(IterateOrder, ShuffledThreadsGiveTheSameFrame)
{
    const OrderCase& c = GetParam();
    const asmtest::Rendered first = renderWithIterate(c, {1, false, 1});
    const orbhost::Image& rows = first.image;
    EXPECT_EQ(int(first.passes.size()), c.passes);
    double alpha = 0;
    for (std::size_t i = 3; i < rows.rgba.size(); i += 4)
        alpha += rows.rgba[i];
    EXPECT_GT(alpha, 1000) << "the frame shows the sphere";
    for (const orbhost::IterateOptions o : {orbhost::IterateOptions{3, true, 7}, {2, true, 12345}, {4, false, 1}}) {
        const orbhost::Image other = renderWithIterate(c, o).image;
        ASSERT_EQ(other.rgba.size(), rows.rgba.size());
        EXPECT_EQ(std::memcmp(rows.rgba.data(), other.rgba.data(), rows.rgba.size() * sizeof(float)), 0)
            << o.threads << " threads, shuffle " << o.shuffle << " seed " << o.seed;
    }
}

INSTANTIATE_TEST_SUITE_P(Scenes, IterateOrder,
                         testing::Values(OrderCase{"LitTextured8", litTexturedScene, 8, 1},
                                         OrderCase{"LitTexturedFloat", litTexturedScene, 32, 1},
                                         OrderCase{"DepthOfField16", blurredScene, 16, 2}),
                         [](const testing::TestParamInfo<OrderCase>& i) { return std::string(i.param.name); });

} // namespace
