// Whole-feature scenes against reference renders in tests/renderer/golden/. The reciprocal
// square root estimate differs between processor makers in its last bits, so 99.9 % of samples
// must lie within one 8-bit code value and none beyond four. ORBULON_UPDATE_GOLDEN=1 writes the
// references anew (look at them before committing).
#include "assembly/assembly_support.h"
#include "host/scene/image.h"

#include <cstdlib>

namespace {

struct GoldenCase {
    const char* scene;   // under tests/wine/scenes
    int bitDepth;
};

class GoldenImage : public asmtest::AssemblyParamTest<GoldenCase> {};

TEST_P(GoldenImage, MatchesTheReferenceRender)
{
    const GoldenCase& c = GetParam();
    const std::string dir = std::string(ORBULON_SOURCE_DIR) + "/tests/";
    const std::string path = dir + "renderer/golden/" + c.scene + "_" + std::to_string(c.bitDepth) + ".png";
    orbhost::EffectHost host(asmtest::modulePath());
    ASSERT_EQ(host.start(), PF_Err_NONE);
    orbhost::bindScene(host, orbhost::loadScene(dir + "wine/scenes/" + c.scene + ".json"));
    orbhost::Image image;
    ASSERT_EQ(host.renderFrame({0, c.bitDepth}, &image), PF_Err_NONE);
    if (std::getenv("ORBULON_UPDATE_GOLDEN")) {
        orbhost::writeImage(path, image, 16);
        GTEST_SKIP() << "wrote " << path;
    }
    const orbhost::Image golden = orbhost::readImage(path);
    ASSERT_EQ(golden.width, image.width);
    ASSERT_EQ(golden.height, image.height);
    std::size_t near = 0, worstIndex = 0;
    double worst = 0;
    for (std::size_t i = 0; i < image.rgba.size(); ++i) {
        // Float renders may exceed 1; the references hold what a 16-bit PNG can.
        const double got = std::clamp(double(image.rgba[i]), 0.0, 1.0);
        const double diff = std::abs(got - golden.rgba[i]);
        near += diff <= 1.0 / 255 + 1e-6;
        if (diff > worst)
            worst = diff, worstIndex = i;
    }
    EXPECT_GE(double(near), 0.999 * image.rgba.size()) << "samples within 1/255: " << near;
    EXPECT_LE(worst, 4.0 / 255) << "worst at pixel " << worstIndex / 4 % image.width << ", "
                                << worstIndex / 4 / image.width << " channel " << worstIndex % 4;
}

INSTANTIATE_TEST_SUITE_P(Scenes, GoldenImage,
                         testing::Values(GoldenCase{"lit_reflective", 8}, GoldenCase{"lit_reflective", 32},
                                         GoldenCase{"depth_of_field", 16}),
                         [](const testing::TestParamInfo<GoldenCase>& info) {
                             return std::string(info.param.scene) + "_" + std::to_string(info.param.bitDepth);
                         });

} // namespace
