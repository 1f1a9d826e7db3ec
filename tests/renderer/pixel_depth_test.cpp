// The same picture at every pixel depth, and in every order the host may run the per-pixel
// calls: 8- and 16-bit frames are the float frame scaled to their full scale (255, 32768),
// clamped and truncated, and a frame does not depend on how the host spreads its pixels over
// threads.
#include "renderer/renderer_support.h"

#include <cstring>

using namespace rtest;
using asmtest::renderScene;

namespace {

// An ambient light that adds the texture's colour once more on top of its emission.
const char* kAmbientLight = R"({ "name": "Amb", "type": "light", "light": { "type": "ambient", "intensity": 100 } },)";

struct DepthCase {
    const char* name;
    asmtest::SceneSetup scene;
};

class PixelDepth : public asmtest::AssemblyParamTest<DepthCase> {};

// Every channel of an integer frame is the float frame's value times the full scale, clamped
// to 0 .. full scale and truncated (either product, in single or double precision, counts).
TEST_P(PixelDepth, IntegerFramesAreTheFloatFrameTruncated)
{
    const DepthCase& c = GetParam();
    const auto f = renderScene(c.scene, {0, 32});
    ASSERT_EQ(f.result, PF_Err_NONE);
    for (int depth : {8, 16}) {
        const auto r = renderScene(c.scene, {0, depth});
        ASSERT_EQ(r.result, PF_Err_NONE);
        ASSERT_EQ(r.image.rgba.size(), f.image.rgba.size());
        const double full = fullScale(depth);
        int bad = 0, partial = 0;
        std::ostringstream detail;
        for (std::size_t i = 0; i < f.image.rgba.size(); ++i) {
            const float v = f.image.rgba[i];
            const double a = std::floor(std::clamp(double(v) * full, 0.0, full));
            const double b = std::floor(std::clamp(double(float(v * float(full))), 0.0, full));
            const double got = double(r.image.rgba[i]) * full;
            if (i % 4 == 3 && v > 0 && v < 1)
                ++partial;
            if (std::abs(got - a) > 1e-3 && std::abs(got - b) > 1e-3 && ++bad <= 6)
                detail << "\n  pixel " << (i / 4) % std::size_t(asmtest::kWidth) << ", "
                       << (i / 4) / std::size_t(asmtest::kWidth) << " channel " << i % 4 << ": float " << v
                       << ", " << depth << "-bit code " << got << ", expected " << a;
        }
        EXPECT_EQ(bad, 0) << depth << "-bit frame" << detail.str();
        EXPECT_GT(partial, 50) << "silhouette pixels with partial alpha";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Scenes, PixelDepth,
    testing::Values(DepthCase{"Gradient", geometryScene({40, {80, 60, 0}, {-90, 0, -90}})},
                    DepthCase{"OpenedFarWall", geometryScene({36, {80, 60, 0}, {-60, 20, -90}, 0.5}, {{"Render Side", "2"}})},
                    DepthCase{"TexturedOverbright",
                              geometryScene({40, {80, 60, 0}, {-90, 0, -90}}, {{"Texture", "\"Tex\""}}, kAmbientLight)}),
    [](const testing::TestParamInfo<DepthCase>& i) { return std::string(i.param.name); });

class PixelDepthScale : public asmtest::AssemblyTest {};

// The red texture lit by its own emission and once more by an ambient light is twice as
// bright as full red: the float frame keeps 2.0, the integer frames clamp it to full scale,
// which at 16 bits is 32768 (exactly 1.0), not 32767. Without the light it is exactly 1.0,
// and 16 bits still give 32768.
TEST_F(PixelDepthScale, FloatIsUnclampedAndFullScaleIsExact)
{
    const Placement p{40, {80, 60, 0}, {-90, 0, -90}};
    const auto lit = [&](int depth) {
        return renderScene(geometryScene(p, {{"Texture", "\"Tex\""}}, kAmbientLight), {0, depth});
    };
    const auto plain = [&](int depth) { return renderScene(geometryScene(p, {{"Texture", "\"Tex\""}}), {0, depth}); };
    const auto f = lit(32), s = lit(16), e = lit(8), p16 = plain(16), p32 = plain(32);
    for (const auto* r : {&f, &s, &e, &p16, &p32})
        ASSERT_EQ(r->result, PF_Err_NONE);

    // Pixel (79, 59) lies well inside the disc.
    const Rgba bright = pixelAt(f.image, 79, 59);
    EXPECT_NEAR(bright.r, 2.0, 1e-5);
    EXPECT_EQ(bright.g, 0.0);
    EXPECT_EQ(bright.a, 1.0);
    EXPECT_EQ(pixelAt(s.image, 79, 59).r * 32768, 32768);
    EXPECT_EQ(pixelAt(e.image, 79, 59).r * 255, 255);
    EXPECT_EQ(pixelAt(p32.image, 79, 59).r, 1.0);
    EXPECT_EQ(pixelAt(p16.image, 79, 59).r * 32768, 32768);
    EXPECT_EQ(pixelAt(p16.image, 79, 59).a * 32768, 32768);

    int above = 0, covered = 0;
    for (int y = 0; y < asmtest::kHeight; ++y)
        for (int x = 0; x < asmtest::kWidth; ++x)
            if (pixelAt(f.image, x, y).a == 1) {
                ++covered;
                above += pixelAt(f.image, x, y).r > 1.99 ? 1 : 0;
            }
    EXPECT_GT(covered, 4000);
    EXPECT_EQ(above, covered) << "every opaque float pixel keeps its value above 1";
}

// --- Iterate order -------------------------------------------------------------------------------

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

// Renders with a chosen iterate order, counting the iterate runs.
orbhost::Image renderWithIterate(const asmtest::SceneSetup& setup, orbhost::FrameRequest request,
                                 const orbhost::IterateOptions& iterate, int* passes = nullptr)
{
    orbhost::HostConfig config;
    config.iterate = iterate;
    if (passes) {
        *passes = 0;
        config.iterateObserver = [passes](const void*, A_long) { ++*passes; };
    }
    orbhost::EffectHost host(asmtest::modulePath(), config);
    orbhost::Image image;
    if (host.start() != PF_Err_NONE) {
        ADD_FAILURE() << "the module did not start";
        return image;
    }
    orbhost::Scene scene = orbhost::parseSceneText(asmtest::sceneJson(setup), "geometry.json", ".");
    if (setup.edit)
        setup.edit(scene);
    orbhost::bindScene(host, scene);
    EXPECT_EQ(host.renderFrame(request, &image), PF_Err_NONE);
    return image;
}

class IterateOrder : public asmtest::AssemblyParamTest<OrderCase> {};

// The host may hand pixels to its threads in any order, and several at once; the frame must
// be identical, bit for bit, to the one made pixel by pixel in row order on one thread.
TEST_P(IterateOrder, ShuffledThreadsGiveTheSameFrame)
{
    const OrderCase& c = GetParam();
    int passes = 0;
    const orbhost::Image rows = renderWithIterate(c.scene(), {0, c.bitDepth}, {1, false, 1}, &passes);
    EXPECT_EQ(passes, c.passes);
    double alpha = 0;
    for (std::size_t i = 3; i < rows.rgba.size(); i += 4)
        alpha += rows.rgba[i];
    EXPECT_GT(alpha, 1000) << "the frame shows the sphere";
    for (const orbhost::IterateOptions& o :
         {orbhost::IterateOptions{3, true, 7}, orbhost::IterateOptions{2, true, 12345},
          orbhost::IterateOptions{4, false, 1}}) {
        const orbhost::Image other = renderWithIterate(c.scene(), {0, c.bitDepth}, o);
        ASSERT_EQ(other.rgba.size(), rows.rgba.size());
        std::size_t differ = 0, first = rows.rgba.size();
        for (std::size_t i = 0; i < rows.rgba.size(); ++i)
            if (std::memcmp(&rows.rgba[i], &other.rgba[i], sizeof(float)) != 0)
                first = std::min(first, i), ++differ;
        EXPECT_EQ(differ, 0u) << o.threads << " threads, shuffle " << o.shuffle << " seed " << o.seed
                              << ": first difference at pixel " << first / 4;
    }
}

INSTANTIATE_TEST_SUITE_P(Scenes, IterateOrder,
                         testing::Values(OrderCase{"LitTextured8", litTexturedScene, 8, 1},
                                         OrderCase{"LitTexturedFloat", litTexturedScene, 32, 1},
                                         OrderCase{"DepthOfField16", blurredScene, 16, 2}),
                         [](const testing::TestParamInfo<OrderCase>& i) { return std::string(i.param.name); });

} // namespace
