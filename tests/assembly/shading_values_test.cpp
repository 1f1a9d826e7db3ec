// Context values that no picture of the renderer tests pins: the shininess a roughness gives
// across the slider, and the chosen layers' worlds.
#include "assembly_support.h"

using namespace asmtest;

// The exponent falls from practically infinite at 0 through 1 at 0.5 to nearly nothing at the
// slider's end (0.999 in 16.16 fixed point).
TEST_F(AssemblyTest, RoughnessSetsTheShininess)
{
    const std::pair<double, double> cases[] = {
        {0.0, 1.633123935319537e16}, {0.5, 1.0}, {65470.0 / 65536, std::tan(66.0 / 65536 * kPi / 2)}};
    for (const auto& [roughness, shininess] : cases) {
        SCOPED_TRACE("roughness " + num(roughness));
        const Rendered r = renderScene(sceneWith({{"Roughness", num(roughness)}}));
        ASSERT_EQ(r.result, PF_Err_NONE);
        EXPECT_NEAR(r.ctx().shininess, shininess, 1e-4 * shininess);
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
