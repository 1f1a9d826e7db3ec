#include "render/colour_pixel.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

struct OverCase {
    const char* name;
    Colour front, back, expected;
};

class OverComposite : public testing::TestWithParam<OverCase> {};

TEST_P(OverComposite, MatchesHandComputedValues)
{
    const OverCase& c = GetParam();
    const Colour r = over(c.front, c.back);
    EXPECT_NEAR(r.alpha, c.expected.alpha, 1e-6) << c.name;
    EXPECT_NEAR(r.red, c.expected.red, 1e-6) << c.name;
    EXPECT_NEAR(r.green, c.expected.green, 1e-6) << c.name;
    EXPECT_NEAR(r.blue, c.expected.blue, 1e-6) << c.name;
}

INSTANTIATE_TEST_SUITE_P(
    Cases, OverComposite,
    testing::Values(
        OverCase{"OpaqueFront", {1, 0.2f, 0.4f, 0.6f}, {1, 1, 1, 1}, {1, 0.2f, 0.4f, 0.6f}},
        OverCase{"TransparentFront", {0, 0.9f, 0.9f, 0.9f}, {0.5f, 0.1f, 0.3f, 0.7f},
                 {0.5f, 0.1f, 0.3f, 0.7f}},
        // alpha = 0.5 + 0.5·0.5 = 0.75; red = (0.5·1 + 0.25·0) / 0.75 = 2/3,
        // green = (0 + 0.25·1) / 0.75 = 1/3, blue = (0.5·0.4 + 0.25·0.8) / 0.75 = 0.4/0.75.
        OverCase{"HalfOverHalf", {0.5f, 1, 0, 0.4f}, {0.5f, 0, 1, 0.8f},
                 {0.75f, 2.0f / 3, 1.0f / 3, 0.4f / 0.75f}},
        OverCase{"NothingOverNothing", {0, 0.3f, 0.3f, 0.3f}, {0, 0.6f, 0.6f, 0.6f},
                 {0, 0, 0, 0}}),
    [](const auto& info) { return std::string(info.param.name); });

// Written and read back values for one colour channel at each depth: 0, 0.5, full scale,
// above full scale, negative; green is always 0.25.
template <class Pixel>
void checkDepth(const float (&expectedSamples)[5], float expectedQuarter)
{
    const float inputs[5] = {0.0f, 0.5f, 1.0f, 1.7f, -0.3f};
    for (int i = 0; i < 5; ++i) {
        const Pixel p = toPixel<Pixel>({inputs[i], inputs[i], 0.25f, inputs[i]});
        SCOPED_TRACE(testing::Message() << "full scale " << PixelDepth<Pixel>::fullScale
                                        << " input " << inputs[i]);
        EXPECT_EQ(float(p.red), expectedSamples[i]);
        EXPECT_EQ(float(p.alpha), expectedSamples[i]);
        EXPECT_EQ(float(p.blue), expectedSamples[i]);
        const Colour back = readPixel(p);
        EXPECT_FLOAT_EQ(back.red, expectedSamples[i] / PixelDepth<Pixel>::fullScale);
        EXPECT_EQ(float(p.green), expectedQuarter);
        EXPECT_FLOAT_EQ(back.green, expectedQuarter / PixelDepth<Pixel>::fullScale);
    }
}

TEST(PixelDepthConversion, EightBitTruncatesAndClamps)
{
    checkDepth<PF_Pixel>({0, 127, 255, 255, 0}, 63);
}

TEST(PixelDepthConversion, SixteenBitTruncatesAndClampsAt32768)
{
    checkDepth<PF_Pixel16>({0, 16384, 32768, 32768, 0}, 8192);
}

TEST(PixelDepthConversion, FloatKeepsValuesOutsideZeroToOne)
{
    checkDepth<PF_PixelFloat>({0, 0.5f, 1.0f, 1.7f, -0.3f}, 0.25f);
}

TEST(PixelDepthConversion, NanWritesZeroToIntegerPixels)
{
    const PF_Pixel p = toPixel<PF_Pixel>({NAN, NAN, NAN, NAN});
    EXPECT_EQ(p.alpha, 0);
    EXPECT_EQ(p.red, 0);
}

} // namespace
