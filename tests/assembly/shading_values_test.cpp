// Shading, rendering and depth-composite values, the chosen layers and the pixel format as
// the kernels read them from the context.
#include "assembly_support.h"

using namespace asmtest;

TEST_F(AssemblyTest, ParameterValuesArriveAsFractionsAndFactors)
{
    const Rendered r = renderScene(sceneWith({{"Falloff", R"("Smooth")"}, {"Falloff Radius", "150"},
                                              {"Falloff Distance", "300"}, {"Self Shadow", "true"},
                                              {"Light Transmission", "25"}, {"Emit", "12.5"},
                                              {"Ambient", "37.5"}, {"Diffuse", "62.5"},
                                              {"Specular", "75"}, {"Roughness", "0.25"},
                                              {"Metal", "50"}, {"Reflection Intensity", "80"},
                                              {"Reflection Rolloff", "20"}, {"Render Side", R"("Outside")"},
                                              {"Depth Of Field", R"("Camera Settings")"}, {"Sharpness", "0.25"},
                                              {"Mode", R"("Fog")"}, {"Start depth", "100"},
                                              {"End depth", "350"}, {"Fog Color", "[0.2, 0.4, 0.8]"},
                                              {"Slide Texture", "90"}, {"Show Pivot", "true"}}));
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
    const std::array<float, 4> fog = argbOf(x.fogColor), expectedFog{1.0f, 0.2f, 0.4f, 0.8f};
    for (int i = 0; i < 4; ++i)
        EXPECT_NEAR(fog[i], expectedFog[i], 1e-6) << "fog colour channel " << i;
    EXPECT_DOUBLE_EQ(x.slideTurns, 0.25);
    EXPECT_TRUE(x.showPivot);
}

// A rough surface spreads its highlight: the exponent falls from practically infinite at
// 0 through 1 at 0.5 to nearly nothing at the slider's end (0.999 in 16.16 fixed point).
// The same renders show an untouched effect's defaults.
TEST_F(AssemblyTest, RoughnessSetsTheShininessAndOtherValuesKeepTheirDefaults)
{
    const std::pair<double, double> cases[] = {
        {0.0, 1.633123935319537e16}, {0.5, 1.0}, {65470.0 / 65536, std::tan(66.0 / 65536 * kPi / 2)}};
    for (const auto& [roughness, shininess] : cases) {
        SCOPED_TRACE("roughness " + num(roughness));
        const Rendered r = renderScene(sceneWith({{"Roughness", num(roughness)}}));
        ASSERT_EQ(r.result, PF_Err_NONE);
        const ContextSnapshot& x = r.ctx();
        EXPECT_NEAR(x.shininess, shininess, 1e-4 * shininess);
        EXPECT_EQ((std::array{x.falloffMode, x.renderSide, x.depthOfFieldMode, x.depthCompositeMode}),
                  (std::array<A_u_long, 4>{1, 1, 1, 1}));
        EXPECT_FALSE(x.selfShadow || x.openInverted || x.showPivot);
        EXPECT_DOUBLE_EQ(x.slideTurns, 0);
        EXPECT_EQ(argbOf(x.fogColor), (std::array<float, 4>{1, 1, 1, 1}));
    }
}

// Texture and reflection map are the chosen layers' pixels, or nothing at all; the output's
// pixel format follows the project's depth.
TEST_F(AssemblyTest, ChosenLayersGiveTheirPixelsOrNothing)
{
    struct Case {
        int bitDepth;
        bool chooseLayers;
        PF_PixelFormat format;
    };
    for (const Case& c : {Case{8, false, PF_PixelFormat_ARGB32}, Case{16, true, PF_PixelFormat_ARGB64},
                          Case{32, true, PF_PixelFormat_ARGB128}}) {
        SCOPED_TRACE(std::to_string(c.bitDepth) + " bits" + (c.chooseLayers ? " with layers" : ""));
        std::map<std::string, std::string> params;
        if (c.chooseLayers)
            params = {{"Texture", R"("Tex")"}, {"Reflection Map", R"("Refl")"}};
        const Rendered r = renderScene(sceneWith(params), {0.0, c.bitDepth, 1, 1});
        ASSERT_EQ(r.result, PF_Err_NONE);
        const ContextSnapshot& x = r.ctx();
        EXPECT_EQ(x.pixelFormat, c.format);
        EXPECT_TRUE(x.output.hasPixels && x.output.width == kWidth && x.output.height == kHeight);
        const auto shape = [](const WorldShape& w) { return std::array{A_long(w.hasPixels), w.width, w.height}; };
        EXPECT_EQ(shape(x.texture), (c.chooseLayers ? std::array<A_long, 3>{1, 60, 48} : std::array<A_long, 3>{}));
        EXPECT_EQ(shape(x.reflection), (c.chooseLayers ? std::array<A_long, 3>{1, 30, 12} : std::array<A_long, 3>{}));
        EXPECT_EQ(x.texture.rowbytes == 0 && x.reflection.rowbytes == 0, !c.chooseLayers);
        // Without a texture the effect's own layer sets the size of the (U, V) space.
        EXPECT_DOUBLE_EQ(x.textureWidth, c.chooseLayers ? 60 : kWidth);
        EXPECT_DOUBLE_EQ(x.textureHeight, c.chooseLayers ? 48 : kHeight);
        EXPECT_DOUBLE_EQ(x.downsampleX, 1.0);
        EXPECT_DOUBLE_EQ(x.pixelAspect, 1.0);
    }
}
