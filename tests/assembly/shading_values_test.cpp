// Shading, rendering and depth-composite values, the chosen layers and the pixel format as
// the kernels read them from the context.
#include "assembly_support.h"

using namespace asmtest;

TEST_F(AssemblyTest, ParameterValuesArriveAsFractionsAndFactors)
{
    const Rendered r = renderScene(sceneWith({{"Falloff", R"("Smooth")"},
                                              {"Falloff Radius", "150"},
                                              {"Falloff Distance", "300"},
                                              {"Self Shadow", "true"},
                                              {"Light Transmission", "25"},
                                              {"Emit", "12.5"},
                                              {"Ambient", "37.5"},
                                              {"Diffuse", "62.5"},
                                              {"Specular", "75"},
                                              {"Roughness", "0.25"},
                                              {"Metal", "50"},
                                              {"Reflection Intensity", "80"},
                                              {"Reflection Rolloff", "20"},
                                              {"Render Side", R"("Outside")"},
                                              {"Depth Of Field", R"("Camera Settings")"},
                                              {"Sharpness", "0.25"},
                                              {"Mode", R"("Fog")"},
                                              {"Start depth", "100"},
                                              {"End depth", "350"},
                                              {"Fog Color", "[0.2, 0.4, 0.8]"},
                                              {"Slide Texture", "90"},
                                              {"Show Pivot", "true"}}));
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    EXPECT_EQ(x.falloffMode, 2u);
    EXPECT_DOUBLE_EQ(x.falloffRadius, 150);
    EXPECT_DOUBLE_EQ(x.falloffDistance, 300);
    EXPECT_TRUE(x.selfShadow);
    const std::pair<float, double> fractions[] = {{x.lightTransmission, 0.25}, {x.emit, 0.125},
                                                  {x.ambient, 0.375},          {x.diffuse, 0.625},
                                                  {x.specular, 0.75},          {x.metal, 0.5},
                                                  {x.reflectionIntensity, 0.8}, {x.reflectionRolloff, 0.2}};
    for (std::size_t i = 0; i < std::size(fractions); ++i)
        EXPECT_NEAR(fractions[i].first, fractions[i].second, 1e-6) << "percent value " << i;
    EXPECT_NEAR(x.shininess, std::tan(0.75 * kPi / 2), 1e-5);
    EXPECT_EQ(x.renderSide, 3u);
    EXPECT_EQ(x.depthOfFieldMode, 2u);
    EXPECT_DOUBLE_EQ(x.sharpnessFactor, 0.75);
    EXPECT_EQ(x.depthCompositeMode, 2u);
    EXPECT_DOUBLE_EQ(x.startDepth, 100);
    EXPECT_DOUBLE_EQ(x.depthRange, 250);
    EXPECT_FLOAT_EQ(x.fogColor.alpha, 1.0f);
    EXPECT_NEAR(x.fogColor.red, 0.2, 1e-6);
    EXPECT_NEAR(x.fogColor.green, 0.4, 1e-6);
    EXPECT_NEAR(x.fogColor.blue, 0.8, 1e-6);
    EXPECT_DOUBLE_EQ(x.slideTurns, 0.25);
    EXPECT_TRUE(x.showPivot);
}

TEST_F(AssemblyTest, DefaultsOfAnUntouchedEffect)
{
    const Rendered r = renderScene(sceneWith({}));
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    EXPECT_EQ(x.falloffMode, 1u);
    EXPECT_FALSE(x.selfShadow);
    EXPECT_EQ(x.renderSide, 1u);
    EXPECT_EQ(x.depthOfFieldMode, 1u);
    EXPECT_EQ(x.depthCompositeMode, 1u);
    EXPECT_DOUBLE_EQ(x.openScale, 1.0);
    EXPECT_FALSE(x.openInverted);
    EXPECT_FALSE(x.showPivot);
    EXPECT_DOUBLE_EQ(x.slideTurns, 0);
    EXPECT_NEAR(x.fogColor.red, 1.0, 1e-6);
}

namespace {
class RoughnessToShininess : public AssemblyParamTest<std::pair<double, double>> {};
}

// A rough surface spreads its highlight: the exponent falls from practically infinite at
// 0 through 1 at 0.5 to nearly nothing at the slider's end.
TEST_P(RoughnessToShininess, FollowsTheTangentOfTheSmoothness)
{
    const auto [roughness, shininess] = GetParam();
    const Rendered r = renderScene(sceneWith({{"Roughness", num(roughness)}}));
    ASSERT_EQ(r.result, PF_Err_NONE);
    EXPECT_NEAR(r.ctx().shininess, shininess, 1e-4 * shininess) << "roughness " << roughness;
}

INSTANTIATE_TEST_SUITE_P(Assembly, RoughnessToShininess,
                         testing::Values(std::pair{0.0, 1.633123935319537e16}, std::pair{0.5, 1.0},
                                         std::pair{0.25, 2.414213562373095}, std::pair{0.75, 0.414213562373095},
                                         // the slider's end, 0.999 in 16.16 fixed point
                                         std::pair{65470.0 / 65536, std::tan(66.0 / 65536 * kPi / 2)}));

namespace {

struct LayerChoice {
    int bitDepth;
    bool chooseLayers;
    PF_PixelFormat format;
};

void PrintTo(const LayerChoice& c, std::ostream* os) { *os << c.bitDepth << " bits" << (c.chooseLayers ? ", layers chosen" : ""); }

class ChosenLayers : public AssemblyParamTest<LayerChoice> {};

} // namespace

// Texture and reflection map are the chosen layers' pixels, or nothing at all; the output's
// pixel format follows the project's depth.
TEST_P(ChosenLayers, GiveTheirPixelsOrNothing)
{
    const LayerChoice& c = GetParam();
    std::map<std::string, std::string> params;
    if (c.chooseLayers)
        params = {{"Texture", R"("Tex")"}, {"Reflection Map", R"("Refl")"}};
    const Rendered r = renderScene(sceneWith(params), {0.0, c.bitDepth, 1, 1});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    const std::string what = std::to_string(c.bitDepth) + " bits" + (c.chooseLayers ? " with layers" : "");
    EXPECT_EQ(x.pixelFormat, c.format) << what;
    EXPECT_TRUE(x.output.hasPixels) << what;
    EXPECT_EQ(x.output.width, kWidth) << what;
    EXPECT_EQ(x.output.height, kHeight) << what;
    if (c.chooseLayers) {
        EXPECT_TRUE(x.texture.hasPixels && x.texture.width == 60 && x.texture.height == 48) << what;
        EXPECT_TRUE(x.reflection.hasPixels && x.reflection.width == 30 && x.reflection.height == 12) << what;
        EXPECT_DOUBLE_EQ(x.textureWidth, 60) << what;
        EXPECT_DOUBLE_EQ(x.textureHeight, 48) << what;
    } else {
        EXPECT_TRUE(!x.texture.hasPixels && x.texture.width == 0 && x.texture.height == 0 && x.texture.rowbytes == 0)
            << what;
        EXPECT_TRUE(!x.reflection.hasPixels && x.reflection.width == 0 && x.reflection.height == 0 &&
                    x.reflection.rowbytes == 0)
            << what;
        // Without a texture the effect's own layer sets the size of the (U, V) space.
        EXPECT_DOUBLE_EQ(x.textureWidth, kWidth) << what;
        EXPECT_DOUBLE_EQ(x.textureHeight, kHeight) << what;
    }
    EXPECT_DOUBLE_EQ(x.downsampleX, 1.0) << what;
    EXPECT_DOUBLE_EQ(x.pixelAspect, 1.0) << what;
}

INSTANTIATE_TEST_SUITE_P(Assembly, ChosenLayers,
                         testing::Values(LayerChoice{8, false, PF_PixelFormat_ARGB32},
                                         LayerChoice{8, true, PF_PixelFormat_ARGB32},
                                         LayerChoice{16, true, PF_PixelFormat_ARGB64},
                                         LayerChoice{32, false, PF_PixelFormat_ARGB128},
                                         LayerChoice{32, true, PF_PixelFormat_ARGB128}));
