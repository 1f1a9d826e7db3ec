// The silhouette bounds let the passes skip pixels the ellipsoid cannot touch and cast one
// corner ray where it surely covers the pixel. That must never change a bit: each scene renders
// the same with Orbulon.so and OrbulonReference.so (the effect without the bounds).
#include "renderer/renderer_model.h"

#include <cstring>
#include <cstdlib>
#include <random>

using namespace rtest;
using asmtest::renderScene;
using asmtest::SceneSetup;

namespace {

std::string referencePath() { return std::string(ORBULON_BUILD_DIR) + "/OrbulonReference.so"; }

struct ExactCase {
    const char* name;
    std::map<std::string, std::string> params;
    std::string layers;
    orbhost::FrameRequest request;
    bool bounded = true;   // whether the frame can be bounded at all (else both take the full path)
    double pixelAspect = 1;
};

const std::string kPerspective = R"({ "name": "Cam", "type": "camera", "position": [80, 60, -300], "camera": { "zoom": 300 } },)";
const std::string kParallel =
    R"({ "name": "Cam", "type": "camera", "position": [80, 60, -300], "camera": { "type": "orthographic", "zoom": 300 } },)";
const std::string kLit = R"({ "name": "Key", "type": "light", "position": [20, -10, -200], "light": { "type": "point", "intensity": 120 } },
                            { "name": "Fill", "type": "light", "light": { "type": "ambient", "intensity": 20 } },)";
std::string focused(double focus, double aperture, const std::string& type = "perspective")
{
    return R"({ "name": "Cam", "type": "camera", "position": [80, 60, -300], "camera": { "type": ")" + type +
           R"(", "zoom": 300, "depthOfField": true, "focusDistance": )" + num(focus) + R"(, "aperture": )" +
           num(aperture) + " } },";
}
const std::string kControl = R"({ "name": "Control", "type": "null", "threeD": true, "anchorPoint": [0, 0, 0],
                                  "position": [70, 55, 20], "scale": [60, 25, 45], "rotationX": -70, "rotationY": 35 },)";

std::map<std::string, std::string> sphere(double radius, double x, double y, double z,
                                          std::map<std::string, std::string> more = {})
{
    std::map<std::string, std::string> p = placementParams({radius, {x, y, z}, {35, -20, 60}});
    p["Texture"] = R"("Tex")";
    for (auto& [k, v] : more)
        p[k] = v;
    return p;
}

const std::map<std::string, std::string> kDof{{"Depth Of Field", R"("On")"}};

const ExactCase kCases[] = {
    {"Silhouette8", sphere(40, 80, 60, 0), kPerspective, {0, 8}},
    {"DefaultCameraLitFloat", sphere(33, 60, 70, 40, {{"Self Shadow", "true"}, {"Light Transmission", "40"}}), kLit, {0, 32}},
    {"SmallerThanAPixelFloat", sphere(0.3, 80.4, 60.6, 0), kPerspective, {0, 32}},
    {"SmallerThanAPixelParallel8", sphere(0.45, 80.5, 60.5, 0), kParallel, {0, 8}},
    {"LargerThanTheFrame16", sphere(250, 80, 60, 150), kPerspective, {0, 16}},
    {"CameraInside8", sphere(320, 80, 60, 0), kPerspective, {0, 8}, false},
    {"CameraJustOutsideFloat", sphere(297, 80, 60, 0), kPerspective, {0, 32}},
    {"StraddlesTheEyesPlaneFloat", sphere(120, 80, 60, -300), kPerspective, {0, 32}, false},
    {"BehindTheEye8", sphere(60, 80, 60, -500), kPerspective, {0, 8}},
    {"OffScreen8", sphere(40, 400, 60, 0), kPerspective, {0, 8}},
    {"Open0.5Float", sphere(40, 80, 60, 0, {{"Open Parameter", "0.5"}}), kPerspective, {0, 32}},
    {"Open1Float", sphere(40, 80, 60, 0, {{"Open Parameter", "1"}}), kPerspective, {0, 32}, false},
    {"Open2_16", sphere(40, 80, 60, 0, {{"Open Parameter", "2"}, {"Render Side", R"("Outside")"}}), kPerspective, {0, 16}},
    {"ParallelEllipsoid8", sphere(45, 90, 55, 0, {{"Ellipse Z/XY", "0.7"}, {"Ellipse X/Y", "-0.4"}}), kParallel, {0, 8}},
    {"SteepEllipsoidFloat",
     [] { auto p = placementParams({30, {80, 60, 0}, {85, 80, -5}}); p["Ellipse Z/XY"] = p["Ellipse X/Y"] = "0.6"; return p; }(),
     kPerspective, {0, 32}},
    {"ControlLayerFloat", {{"Control Layer", R"("Control")"}, {"Texture", R"("Tex")"}}, kControl + kPerspective, {0, 32}},
    {"Downsampled3x2Float", sphere(40, 80, 60, 0), kPerspective, {0, 32, 3, 2}},
    {"ParallelDownsampled4x1_16", sphere(44, 80, 60, 0), kParallel, {0, 16, 4, 1}},
    {"WidePixelsFloat", sphere(40, 80, 60, 0), kPerspective, {0, 32}, true, 2},
    {"NarrowPixels8", sphere(40, 80, 60, 0), kParallel, {0, 8, 2, 1}, true, 0.9},
    {"BlurOverTheBorder8", sphere(45, 20, 100, -60, kDof), focused(400, 60), {0, 8}},
    {"BlurFarPastTheSilhouetteFloat", sphere(20, 80, 60, 150, kDof), focused(150, 400), {0, 32}},
    {"BlurDownsampled3x2_16", sphere(35, 100, 50, 0, kDof), focused(200, 150), {0, 16, 3, 2}},
    {"BlurParallelFloat", sphere(35, 70, 60, 0, kDof), focused(250, 120, "orthographic"), {0, 32}},
    {"BlurCameraInside8", sphere(320, 80, 60, 0, kDof), focused(200, 120), {0, 8}, false},
    {"BlurWidePixels16", sphere(30, 80, 60, 0, kDof), focused(260, 200), {0, 16}, true, 1.5},
    {"FadeOut8", sphere(40, 80, 60, 0, {{"Mode", R"("Fade Out")"}, {"Start depth", "260"}, {"End depth", "320"}}), kParallel, {0, 8}},
};

// Returns whether the frame was bounded: the bounds take one host handle more.
bool expectIdentical(const SceneSetup& setup, orbhost::FrameRequest request, const std::string& what)
{
    const auto fast = renderScene(setup, request);
    const auto full = renderScene(setup, request, {}, referencePath());
    EXPECT_EQ(fast.result, full.result) << what;
    if (fast.image.rgba.size() != full.image.rgba.size() || fast.image.width != full.image.width) {
        ADD_FAILURE() << what << ": frames of different sizes";
        return false;
    }
    std::size_t differing = 0, first = 0;
    for (std::size_t i = 0; i < fast.image.rgba.size(); ++i)
        if (std::memcmp(&fast.image.rgba[i], &full.image.rgba[i], sizeof(float)) != 0 && differing++ == 0)
            first = i / 4;
    EXPECT_EQ(differing, 0u) << what << ": first difference at pixel " << first % std::size_t(fast.image.width) << ", "
                             << first / std::size_t(fast.image.width);
    return fast.handleAttempts == full.handleAttempts + 1;
}

class ShortcutExactness : public asmtest::AssemblyParamTest<ExactCase> {
protected:
    void SetUp() override
    {
        asmtest::AssemblyParamTest<ExactCase>::SetUp();
        if (!std::filesystem::exists(referencePath()))
            GTEST_SKIP() << referencePath() << " not built";
    }
};

TEST_P(ShortcutExactness, SameBytesWithAndWithoutTheSilhouetteBounds)
{
    const ExactCase& c = GetParam();
    SceneSetup setup = asmtest::sceneWith(c.params, c.layers);
    setup.composition = R"("width": 160, "height": 120, "frameRate": 10, "duration": 2, "pixelAspect": )" + num(c.pixelAspect);
    EXPECT_EQ(expectIdentical(setup, c.request, c.name), c.bounded)
        << (c.bounded ? "the frame should have been bounded" : "the frame cannot be bounded safely");
}

INSTANTIATE_TEST_SUITE_P(Scenes, ShortcutExactness, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<ExactCase>& i) {
                             std::string name = i.param.name;
                             std::replace(name.begin(), name.end(), '.', '_');
                             return name;
                         });

// Random spheres, ellipsoids, cameras and depths of field; the seed is printed for replay.
TEST(ShortcutExactnessSweep, RandomScenesRenderTheSameBytes)
{
    if (!std::filesystem::exists(asmtest::modulePath()) || !std::filesystem::exists(referencePath()))
        GTEST_SKIP() << "the modules are not built";
    const char* given = std::getenv("ORBULON_TEST_SEED");
    const unsigned seed = given ? unsigned(std::strtoul(given, nullptr, 10)) : std::random_device{}();
    std::printf("seed %u (set ORBULON_TEST_SEED to repeat)\n", seed);
    std::mt19937 rng(seed);
    const auto uniform = [&](double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); };
    for (int i = 0; i < 12; ++i) {
        const bool parallel = rng() % 3 == 0, blur = rng() % 2 == 0;
        const double distance = uniform(150, 900);
        std::map<std::string, std::string> p = placementParams(
            {uniform(0.2, 90), {uniform(-40, 200), uniform(-40, 160), uniform(-200, 300)},
             {uniform(-180, 180), uniform(-180, 180), uniform(-180, 180)}, rng() % 4 == 0 ? uniform(0, 2) : 0});
        p["Ellipse Z/XY"] = num(uniform(-0.95, 0.95));
        p["Ellipse X/Y"] = num(uniform(-0.95, 0.95));
        p["Texture"] = R"("Tex")";
        if (blur)
            p["Depth Of Field"] = R"("On")";
        const std::string camera = R"({ "name": "Cam", "type": "camera", "position": [80, 60, )" + num(-distance) +
                                   R"(], "camera": { "type": ")" + (parallel ? "orthographic" : "perspective") +
                                   R"(", "zoom": )" + num(uniform(100, 1200)) + R"(, "depthOfField": true, "focusDistance": )" +
                                   num(uniform(50, 1000)) + R"(, "aperture": )" + num(uniform(5, 300)) + " } },";
        const int depths[] = {8, 16, 32};
        const orbhost::FrameRequest request{0, depths[rng() % 3], int(1 + rng() % 3), int(1 + rng() % 3)};
        expectIdentical(asmtest::sceneWith(p, camera), request, "random scene " + std::to_string(i) + " of seed " + std::to_string(seed));
    }
}

} // namespace
