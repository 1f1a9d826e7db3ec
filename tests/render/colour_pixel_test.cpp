#include "render/colour_pixel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace {

// A float channel written to a pixel of each depth and read back: integer depths take v · full
// scale clamped to 0 .. full scale and truncated (NaN gives 0); float keeps every value.
TEST(PixelDepthConversion, IntegerPixelsClampAndTruncateFloatPixelsKeepAll)
{
    struct Row {
        float in, eight, sixteen;
    };
    for (const Row r : {Row{0.5f, 127, 16384}, Row{1.7f, 255, 32768}, Row{-0.3f, 0, 0}, Row{NAN, 0, 0}}) {
        SCOPED_TRACE(r.in);
        const PF_Pixel p8 = toPixel<PF_Pixel>({r.in, r.in, 0.25f, r.in});
        const PF_Pixel16 p16 = toPixel<PF_Pixel16>({r.in, r.in, 0.25f, r.in});
        EXPECT_EQ(p8.alpha, r.eight);
        EXPECT_EQ(p8.red, r.eight);
        EXPECT_EQ(p8.blue, r.eight);
        EXPECT_EQ(p8.green, 63);
        EXPECT_EQ(p16.alpha, r.sixteen);
        EXPECT_EQ(p16.red, r.sixteen);
        EXPECT_EQ(p16.green, 8192);
        EXPECT_FLOAT_EQ(readPixel(p16).red, r.sixteen / 32768.0f);
        EXPECT_FLOAT_EQ(readPixel(p8).red, r.eight / 255.0f);
        if (!std::isnan(r.in)) {
            EXPECT_EQ(toPixel<PF_PixelFloat>({r.in, r.in, 0.25f, r.in}).red, r.in);
        }
    }
    // A division: a multiplication by 1/255 is off in the last bit for about half the values.
    for (int c = 0; c < 256; ++c)
        ASSERT_EQ(readPixel(PF_Pixel{A_u_char(c), 0, 0, 0}).alpha, float(c) / 255.0f) << c;
}

// Front over back: alpha Fa + (1 − Fa)·Ba, each channel's weighted sum divided by that alpha on
// its own (not multiplied by 1/alpha); with alpha 0 the sums stay as they are.
TEST(StraightOver, DividesEachWeightedSumByTheNewAlpha)
{
    const unsigned seed = 20261125;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (int i = 0; i < 2000; ++i) {
        const Colour f{unit(random), unit(random), unit(random), unit(random)};
        const Colour b{unit(random), unit(random), unit(random), unit(random)};
        const float backWeight = (1.0f - f.alpha) * b.alpha, alpha = f.alpha + backWeight;
        const Colour got = over(f, b);
        ASSERT_EQ(got.alpha, alpha);
        ASSERT_EQ(got.red, (f.alpha * f.red + backWeight * b.red) / alpha);
        ASSERT_EQ(got.green, (f.alpha * f.green + backWeight * b.green) / alpha);
        ASSERT_EQ(got.blue, (f.alpha * f.blue + backWeight * b.blue) / alpha);
    }
    const Colour clear = over({0, 0.5f, 0.5f, 0.5f}, {0, 0.25f, 0.25f, 0.25f});
    EXPECT_EQ(clear.alpha, 0.0f);
    EXPECT_EQ(clear.red, 0.0f);
}

} // namespace
