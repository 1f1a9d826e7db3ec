#include "render/colour_pixel.h"

#include <gtest/gtest.h>

#include <cmath>

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
}

} // namespace
