// Box-filtered area samples against hand-computed values and brute-force integration (boxes of
// more than 64 pixels take the summed-area table path), and the table's float edge cases.
#include "host/sampling/samplers.h"
#include "test_world.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

namespace orbhost::testing {
namespace {

using Depths = ::testing::Types<PF_Pixel, PF_Pixel16, PF_PixelFloat>;

template <class Pixel>
class AreaSample : public ::testing::Test {};
TYPED_TEST_SUITE(AreaSample, Depths);

TYPED_TEST(AreaSample, SmallBoxesMatchHandComputedValues) {
    using Pixel = TypeParam;
    constexpr double tiny = 1.0 / 65536;
    const struct {
        const char* what;
        double u, v, rx, ry;
        Levels want;
    } cases[] = {
        {"one whole pixel", 1, 1, 0.5, 0.5, {255, 255, 255, 255}},
        {"two half pixels, unequal alpha", 1.5, 1, 0.5, 0.5, {229.5, 163.888888889, 208.333333333, 252.777777778}},
        {"fractional radii", 1, 1, 0.75, 0.25, {221, 203.846153846, 219.230769231, 254.230769231}},
        {"3 x 2 box with transparent pixels", 1.5, 1.5, 1.5, 1, {182.75, 130.465116279, 92.325581395, 184.651162791}},
        {"quarter off the left edge", 0, 1, 1, 0.5, {114.75, 141.666666667, 141.666666667, 255}},
        {"half off the left edge", -0.5, 1, 0.5, 0.5, {51, 0, 0, 255}},
        {"touching the left edge from outside", -1, 1, 0.5, 0.5, {0, 0, 0, 0}},
        {"fully beyond the world", 10, 10, 2, 2, {0, 0, 0, 0}},
        {"box around the whole world", 1.5, 1, 4, 3, {42.5, 102.875, 77.375, 134.75}},
        {"tiny radius inside a pixel", 0.75, 0.2, tiny, tiny, {255, 0, 100, 200}},
        {"tiny radius on a pixel boundary", 1.5, 1, tiny, tiny, {229.5, 163.888888889, 208.333333333, 252.777777778}},
        {"zero x radius samples a column", 2, 1, 0, 1, {178.5, 137.857142857, 85.714285714, 233.928571429}},
        {"zero y radius samples a row", 1.25, 0.5, 1, 0, {216.75, 167.647058824, 202.941176471, 253.235294118}},
        {"zero radii sample the nearest pixel", 1.5, 0.4, 0, 0, {51, 255, 0, 0}},
        {"negative radii act as positive", 1.5, 1, -0.5, -0.5, {229.5, 163.888888889, 208.333333333, 252.777777778}},
        {"radius 128 far beyond the world", 200, 15, 128, 128, {0, 0, 0, 0}},
    };
    auto world = smallWorld<Pixel>();
    AreaTableCache cache;
    for (const auto& c : cases) {
        Pixel out = pixelFromLevels<Pixel>({1, 2, 3, 4});
        ASSERT_EQ(sampleArea(cache, world.world(), fixedFrom(c.u), fixedFrom(c.v), fixedFrom(c.rx), fixedFrom(c.ry),
                             PF_Quality_HI, &out),
                  PF_Err_NONE);
        EXPECT_TRUE(pixelNear(out, c.want)) << c.what;
    }
}

// Brute force: every pixel's overlap with the box, straight from the definition.
template <class Pixel>
Levels bruteForceArea(TestWorld<Pixel>& world, int width, int height, PF_Fixed x, PF_Fixed y, PF_Fixed xr, PF_Fixed yr) {
    const double u = x / 65536.0, v = y / 65536.0, rx = std::abs(xr / 65536.0), ry = std::abs(yr / 65536.0);
    auto weight = [](double centre, double r, int i) {
        if (r == 0) return i == std::floor(centre + 0.5) ? 1.0 : 0.0;
        return std::max(0.0, std::min(centre + r, i + 0.5) - std::max(centre - r, i - 0.5)) / (2 * r);
    };
    double a = 0, sr = 0, sg = 0, sb = 0;
    for (int j = 0; j < height; ++j)
        for (int i = 0; i < width; ++i) {
            const double w = weight(u, rx, i) * weight(v, ry, j);
            const Levels p = levelsOf(world.at(i, j));
            a += w * p.a, sr += w * p.a * p.r, sg += w * p.a * p.g, sb += w * p.a * p.b;
        }
    return a == 0 ? Levels{0, 0, 0, 0} : Levels{a, sr / a, sg / a, sb / a};
}

// Whether a sample is the brute-force one within the depth's rounding; colour only counts where
// the sample carries alpha.
template <class Pixel>
bool matches(const Levels& got, const Levels& want) {
    const double tol = Depth<Pixel>::tolerance / Depth<Pixel>::perLevel;
    return std::fabs(got.a - want.a) <= tol &&
           (want.a * Depth<Pixel>::perLevel < 1e-3 ||
            (std::fabs(got.r - want.r) <= tol && std::fabs(got.g - want.g) <= tol && std::fabs(got.b - want.b) <= tol));
}

unsigned testSeed() {
    if (const char* s = std::getenv("ORBULON_TEST_SEED")) return static_cast<unsigned>(std::strtoul(s, nullptr, 10));
    return std::random_device{}();
}

TYPED_TEST(AreaSample, MatchesBruteForceBoxIntegration) {
    using Pixel = TypeParam;
    const unsigned seed = testSeed();
    std::printf("%s area sample seed %u (set ORBULON_TEST_SEED to repeat)\n", Depth<Pixel>::name, seed);
    std::mt19937 rng(seed);
    auto uniform = [&](double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); };
    auto level = [&] { return std::floor(uniform(0, 256)); };

    const int width = 37, height = 29;
    TestWorld<Pixel> world(width, height, static_cast<int>(uniform(0, 3)) * 24);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            world.set(x, y, {uniform(0, 1) < 0.2 ? 0.0 : level(), level(), level(), level()});

    AreaTableCache cache;
    auto radius = [&]() -> PF_Fixed {
        const double pick = uniform(0, 1);
        return pick < 0.05 ? 0 : pick < 0.10 ? 1 : fixedFrom(pick < 0.5 ? uniform(0, 3) : uniform(3, 40));
    };
    for (int n = 0; n < 400; ++n) {
        const PF_Fixed x = fixedFrom(uniform(-12, width + 12)), y = fixedFrom(uniform(-12, height + 12));
        const PF_Fixed xr = radius(), yr = radius();
        Pixel out{};
        ASSERT_EQ(sampleArea(cache, world.world(), x, y, xr, yr, PF_Quality_HI, &out), PF_Err_NONE);
        const Levels want = bruteForceArea(world, width, height, x, y, xr, yr), got = levelsOf(out);
        ASSERT_TRUE(matches<Pixel>(got, want))
            << "seed " << seed << " sample " << n << " at (" << x / 65536.0 << ", " << y / 65536.0 << ") radii "
            << xr / 65536.0 << ", " << yr / 65536.0 << ": got (" << got.a << ", " << got.r << ", " << got.g << ", "
            << got.b << ") want (" << want.a << ", " << want.r << ", " << want.g << ", " << want.b << ")";
    }
}

// Float boxes of more than 64 pixels read the table; the pixels that carry alpha may all lie in
// the box's last column (or last row), partly or wholly covered, everything else transparent.
TEST(AreaSampleFloat, ContentInTheLastColumnOrRowOfALargeBoxCounts) {
    constexpr int width = 120, height = 90;
    const struct {
        double u, v, rx, ry;
    } boxes[] = {
        {40, 10, 35, 2},        // 71 x 5 pixels, the last column half covered
        {40.5, 10, 35, 2},      // the last column wholly covered
        {50, 12.3, 40.2, 1.1},  // fractional edges
        {10, 40, 2, 35},        // tall: 5 x 71, the last row half covered
        {10.2, 40.5, 1.4, 30},  // tall, the last row wholly covered
    };
    for (const auto& box : boxes) {
        for (bool lastColumn : {true, false}) {
            const double centre = lastColumn ? box.u : box.v, r = lastColumn ? box.rx : box.ry;
            int last = 0;   // the last pixel along the axis that the box overlaps
            for (int i = 0; i < (lastColumn ? width : height); ++i)
                if (std::min(centre + r, i + 0.5) > std::max(centre - r, i - 0.5)) last = i;
            TestWorld<PF_PixelFloat> world(width, height);
            world.fill({0, 200, 200, 200});
            for (int k = 0; k < (lastColumn ? height : width); ++k)
                world.set(lastColumn ? last : k, lastColumn ? k : last, {180, 10, 20, 30});
            SCOPED_TRACE(std::string(lastColumn ? "column " : "row ") + std::to_string(last) + " of the box at (" +
                         std::to_string(box.u) + ", " + std::to_string(box.v) + ")");
            AreaTableCache cache;
            const PF_Fixed x = fixedFrom(box.u), y = fixedFrom(box.v), xr = fixedFrom(box.rx), yr = fixedFrom(box.ry);
            PF_PixelFloat out{};
            ASSERT_EQ(sampleArea(cache, world.world(), x, y, xr, yr, PF_Quality_HI, &out), PF_Err_NONE);
            const Levels want = bruteForceArea(world, width, height, x, y, xr, yr), got = levelsOf(out);
            ASSERT_GT(want.a, 0.0);
            EXPECT_TRUE(matches<PF_PixelFloat>(got, want))
                << "got (" << got.a << ", " << got.r << ", " << got.g << ", " << got.b << ") want alpha " << want.a;
        }
    }
}

// Float worlds: a box over transparent pixels gives exactly zero alpha, even far down a large
// table whose double sums above and left of the box carry rounding (alphas of widely different
// magnitudes make the sums inexact).
TEST(AreaSampleFloat, TransparentRegionGivesExactZero) {
    TestWorld<PF_PixelFloat> world(300, 300);
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> level(1, 255);
    std::uniform_int_distribution<int> exponent(0, 12);
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 300; ++x)
            world.set(x, y, x >= 150 && y >= 150 ? Levels{0, 0, 0, 0}
                                                 : Levels{level(rng) * std::pow(0.1, exponent(rng)), level(rng),
                                                          level(rng), level(rng)});
    AreaTableCache cache;
    for (double v = 200; v < 260; v += 3.3) {
        PF_PixelFloat out{1, 1, 1, 1};
        ASSERT_EQ(sampleArea(cache, world.world(), fixedFrom(210.3), fixedFrom(v), fixedFrom(40.2), fixedFrom(17.9),
                             PF_Quality_HI, &out),
                  PF_Err_NONE);
        EXPECT_EQ(out.alpha, 0.0f) << "at v " << v;
        EXPECT_EQ(out.red, 0.0f) << "at v " << v;
    }
}

} // namespace
} // namespace orbhost::testing
