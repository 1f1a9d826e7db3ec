// Box-filtered area samples: hand-computed boxes on the small world and on larger worlds that
// take the summed-area table path, and a seeded comparison with brute-force box integration.
#include "host/sampling/samplers.h"
#include "test_world.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

namespace orbhost::testing {
namespace {

using Depths = ::testing::Types<PF_Pixel, PF_Pixel16, PF_PixelFloat>;

struct AreaCase {
    const char* what;
    double u, v, rx, ry;
    Levels want;
};

template <class Pixel>
Pixel areaSample(AreaTableCache& cache, PF_EffectWorld world, double u, double v, double rx,
                 double ry, PF_Quality quality = PF_Quality_HI) {
    Pixel out = pixelFromLevels<Pixel>({1, 2, 3, 4});
    const PF_Err err = sampleArea(cache, world, fixedFrom(u), fixedFrom(v), fixedFrom(rx),
                                  fixedFrom(ry), quality, &out);
    EXPECT_EQ(err, PF_Err_NONE) << "at (" << u << ", " << v << ") radii " << rx << ", " << ry;
    return out;
}

template <class Pixel>
class AreaSample : public ::testing::Test {};
TYPED_TEST_SUITE(AreaSample, Depths);

TYPED_TEST(AreaSample, SmallBoxesMatchHandComputedValues) {
    using Pixel = TypeParam;
    constexpr double tiny = 1.0 / 65536;
    const AreaCase cases[] = {
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
    };
    auto world = smallWorld<Pixel>();
    AreaTableCache cache;
    for (const auto& c : cases) {
        const Pixel out = areaSample<Pixel>(cache, world.world(), c.u, c.v, c.rx, c.ry);
        EXPECT_TRUE(pixelNear(out, c.want))
            << c.what << " at (" << c.u << ", " << c.v << ") radii " << c.rx << ", " << c.ry;
    }
}

// A 40 x 30 world, left half opaque (level 255, colour 40, 80, 120), right half transparent with
// a loud colour that must never show. Boxes here are large enough to read the summed-area table.
template <class Pixel>
TestWorld<Pixel> halfOpaqueWorld() {
    TestWorld<Pixel> world(40, 30);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x)
            world.set(x, y, x < 20 ? Levels{255, 40, 80, 120} : Levels{0, 255, 255, 255});
    return world;
}

TYPED_TEST(AreaSample, LargeBoxesWeightColourByAlpha) {
    using Pixel = TypeParam;
    const AreaCase cases[] = {
        {"straddling the alpha edge", 19.5, 15, 6, 6, {127.5, 40, 80, 120}},
        {"two thirds on the opaque side", 17.5, 15, 6, 5.5, {170, 40, 80, 120}},
        {"all opaque", 8, 10, 7.25, 7.75, {255, 40, 80, 120}},
        {"all transparent", 30, 15, 9.5, 9.5, {0, 0, 0, 0}},
        {"half off the left edge", -0.5, 15, 10, 10, {127.5, 40, 80, 120}},
        {"quarter inside the top-left corner", -0.5, -0.5, 12, 12, {63.75, 40, 80, 120}},
        {"fractional edges", 19.75, 15.3, 5.25, 4.6, {121.428571429, 40, 80, 120}},
        {"radius 128 beyond the world", 200, 15, 128, 128, {0, 0, 0, 0}},
    };
    auto world = halfOpaqueWorld<Pixel>();
    AreaTableCache cache;
    for (const auto& c : cases) {
        const Pixel out = areaSample<Pixel>(cache, world.world(), c.u, c.v, c.rx, c.ry);
        EXPECT_TRUE(pixelNear(out, c.want))
            << c.what << " at (" << c.u << ", " << c.v << ") radii " << c.rx << ", " << c.ry;
    }
    EXPECT_GT(cache.bytes(), 0u) << "large boxes should have used the summed-area table";
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
        const PF_PixelFloat out = areaSample<PF_PixelFloat>(cache, world.world(), 210.3, v, 40.2, 17.9);
        EXPECT_EQ(out.alpha, 0.0f) << "at v " << v;
        EXPECT_EQ(out.red, 0.0f) << "at v " << v;
    }
}

// Brute force: every pixel's overlap with the box, straight from the definition.
template <class Pixel>
Levels bruteForceArea(TestWorld<Pixel>& world, int width, int height, PF_Fixed x, PF_Fixed y,
                      PF_Fixed xr, PF_Fixed yr) {
    const double u = x / 65536.0, v = y / 65536.0;
    const double rx = std::abs(xr / 65536.0), ry = std::abs(yr / 65536.0);
    auto weight = [](double centre, double r, int i) {
        if (r == 0) return i == std::floor(centre + 0.5) ? 1.0 : 0.0;
        return std::max(0.0, std::min(centre + r, i + 0.5) - std::max(centre - r, i - 0.5)) / (2 * r);
    };
    double a = 0, sr = 0, sg = 0, sb = 0;
    for (int j = 0; j < height; ++j) {
        for (int i = 0; i < width; ++i) {
            const double w = weight(u, rx, i) * weight(v, ry, j);
            const Levels p = levelsOf(world.at(i, j));
            a += w * p.a;
            sr += w * p.a * p.r;
            sg += w * p.a * p.g;
            sb += w * p.a * p.b;
        }
    }
    if (a == 0) return {0, 0, 0, 0};
    return {a, sr / a, sg / a, sb / a};
}

// Float boxes of more than 64 pixels read the table; the pixels that carry alpha may all lie in
// the box's last column (or last row), partly or wholly covered. Each box is checked against
// brute force with everything else transparent.
TEST(AreaSampleFloat, ContentInTheLastColumnOrRowOfALargeBoxCounts) {
    constexpr int width = 120, height = 90;
    struct Box {
        double u, v, rx, ry;
    };
    const Box boxes[] = {
        {40, 10, 35, 2},        // 71 x 5 pixels, the last column half covered
        {40.5, 10, 35, 2},      // the last column wholly covered
        {50, 12.3, 40.2, 1.1},  // fractional edges
        {10, 40, 2, 35},        // tall: 5 x 71, the last row half covered
        {10.2, 40.5, 1.4, 30},  // tall, the last row wholly covered
    };
    for (const Box& box : boxes) {
        for (bool lastColumn : {true, false}) {
            const double centre = lastColumn ? box.u : box.v, r = lastColumn ? box.rx : box.ry;
            const int size = lastColumn ? width : height;
            // The last pixel along the axis that the box overlaps.
            int last = 0;
            for (int i = 0; i < size; ++i)
                if (std::min(centre + r, i + 0.5) > std::max(centre - r, i - 0.5)) last = i;
            TestWorld<PF_PixelFloat> world(width, height);
            world.fill({0, 200, 200, 200});
            for (int k = 0; k < (lastColumn ? height : width); ++k) {
                if (lastColumn)
                    world.set(last, k, {180, 10, 20, 30});
                else
                    world.set(k, last, {180, 10, 20, 30});
            }
            AreaTableCache cache;
            const PF_Fixed x = fixedFrom(box.u), y = fixedFrom(box.v), xr = fixedFrom(box.rx), yr = fixedFrom(box.ry);
            PF_PixelFloat out{};
            ASSERT_EQ(sampleArea(cache, world.world(), x, y, xr, yr, PF_Quality_HI, &out), PF_Err_NONE);
            const Levels want = bruteForceArea(world, width, height, x, y, xr, yr);
            const Levels got = levelsOf(out);
            const std::string what = std::string(lastColumn ? "column " : "row ") + std::to_string(last) +
                                     " of the box at (" + std::to_string(box.u) + ", " + std::to_string(box.v) +
                                     ") radii " + std::to_string(box.rx) + ", " + std::to_string(box.ry);
            ASSERT_GT(want.a, 0.0) << what;
            const double tol = Depth<PF_PixelFloat>::tolerance / Depth<PF_PixelFloat>::perLevel;
            EXPECT_NEAR(got.a, want.a, tol) << what;
            EXPECT_NEAR(got.r, 10, tol) << what;
            EXPECT_NEAR(got.g, 20, tol) << what;
            EXPECT_NEAR(got.b, 30, tol) << what;
        }
    }
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
    for (int n = 0; n < 400; ++n) {
        const PF_Fixed x = fixedFrom(uniform(-12, width + 12)), y = fixedFrom(uniform(-12, height + 12));
        auto radius = [&]() -> PF_Fixed {
            const double pick = uniform(0, 1);
            if (pick < 0.05) return 0;
            if (pick < 0.10) return 1;
            return fixedFrom(pick < 0.5 ? uniform(0, 3) : uniform(3, 40));
        };
        const PF_Fixed xr = radius(), yr = radius();
        Pixel out{};
        ASSERT_EQ(sampleArea(cache, world.world(), x, y, xr, yr, PF_Quality_HI, &out), PF_Err_NONE);
        const Levels want = bruteForceArea(world, width, height, x, y, xr, yr);
        const Levels got = levelsOf(out);
        const double tol = Depth<Pixel>::tolerance / Depth<Pixel>::perLevel;
        bool ok = std::fabs(got.a - want.a) <= tol;
        // Colour is only meaningful to compare where the sample carries alpha.
        if (want.a * Depth<Pixel>::perLevel >= 1e-3) {
            ok = ok && std::fabs(got.r - want.r) <= tol && std::fabs(got.g - want.g) <= tol &&
                 std::fabs(got.b - want.b) <= tol;
        }
        EXPECT_TRUE(ok) << "seed " << seed << " sample " << n << " at (" << x / 65536.0 << ", "
                        << y / 65536.0 << ") radii " << xr / 65536.0 << ", " << yr / 65536.0
                        << ": got (" << got.a << ", " << got.r << ", " << got.g << ", " << got.b
                        << ") want (" << want.a << ", " << want.r << ", " << want.g << ", " << want.b << ")";
        if (!ok) break;
    }
}

} // namespace
} // namespace orbhost::testing
