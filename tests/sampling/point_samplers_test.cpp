// Nearest-neighbour and bilinear samples of the small hand-computed world at every depth, and
// what every sampler does with low quality and with worlds it cannot read.
#include "host/sampling/samplers.h"
#include "test_world.h"

#include <gtest/gtest.h>

namespace orbhost::testing {
namespace {

using Depths = ::testing::Types<PF_Pixel, PF_Pixel16, PF_PixelFloat>;

struct PointCase {
    const char* what;
    double u, v;
    Levels want;
};

template <class Pixel>
class PointSamplers : public ::testing::Test {};
TYPED_TEST_SUITE(PointSamplers, Depths);

TYPED_TEST(PointSamplers, NearestPicksThePixelWhoseCentreIsNearest) {
    using Pixel = TypeParam;
    const PointCase cases[] = {
        {"top-left centre", 0, 0, {255, 200, 100, 0}},
        {"just left of a pixel boundary", 1.5 - 1.0 / 65536, 0.5, {255, 255, 255, 255}},
        {"on a boundary rounds up", 1.5, 0, {51, 255, 0, 0}},
        {"left edge of the world", -0.5, 0, {255, 200, 100, 0}},
        {"just beyond the left edge", -0.5 - 1.0 / 65536, 0, {0, 0, 0, 0}},
        {"last pixel", 3.49, 2, {153, 20, 40, 60}},
        {"right edge of the world", 3.5, 2, {0, 0, 0, 0}},
        {"below the world", 1, 2.5, {0, 0, 0, 0}},
        {"transparent pixel gives no colour", 3, 0, {0, 0, 0, 0}},
    };
    auto world = smallWorld<Pixel>();
    for (const auto& c : cases) {
        Pixel out{};
        ASSERT_EQ(sampleNearest(world.world(), fixedFrom(c.u), fixedFrom(c.v), &out), PF_Err_NONE);
        EXPECT_TRUE(pixelNear(out, c.want)) << c.what << " at (" << c.u << ", " << c.v << ")";
    }
}

TYPED_TEST(PointSamplers, SubpixelIsAlphaWeightedBilinear) {
    using Pixel = TypeParam;
    const PointCase cases[] = {
        {"pixel centre", 1, 1, {255, 255, 255, 255}},
        {"halfway between two opaque pixels", 0.5, 0, {255, 100, 100, 100}},
        {"quarter of the way, unequal alpha", 1.25, 0, {204, 15.9375, 93.75, 187.5}},
        {"vertical, unequal alpha", 0, 0.5, {178.5, 142.857142857, 71.428571429, 72.857142857}},
        {"two-dimensional weights", 0.25, 0.75, {168.9375, 128.773584906, 109.905660377, 177.641509434}},
        {"with a transparent neighbour", 2.5, 1.5, {216.75, 93.235294118, 48.235294118, 153.235294118}},
        {"transparent pixel's colour ignored", 3, 0.5, {127.5, 10, 20, 30}},
        {"top-left corner of the world", -0.5, -0.5, {63.75, 200, 100, 0}},
        {"half off the right edge", 3.5, 1, {127.5, 10, 20, 30}},
        {"fully beyond the right edge", 4, 1, {0, 0, 0, 0}},
        {"fully above the world", 1, -1, {0, 0, 0, 0}},
    };
    auto world = smallWorld<Pixel>();
    for (const auto& c : cases) {
        Pixel out{};
        ASSERT_EQ(sampleSubpixel(world.world(), fixedFrom(c.u), fixedFrom(c.v), PF_Quality_HI, &out),
                  PF_Err_NONE);
        EXPECT_TRUE(pixelNear(out, c.want)) << c.what << " at (" << c.u << ", " << c.v << ")";
    }
}

TYPED_TEST(PointSamplers, LowQualityIsNearestNeighbour) {
    using Pixel = TypeParam;
    auto world = smallWorld<Pixel>();
    AreaTableCache cache;
    Pixel sub{}, area{};
    ASSERT_EQ(sampleSubpixel(world.world(), fixedFrom(1.4), fixedFrom(0.6), PF_Quality_LO, &sub),
              PF_Err_NONE);
    ASSERT_EQ(sampleArea(cache, world.world(), fixedFrom(1.4), fixedFrom(0.6), 3 << 16, 3 << 16,
                         PF_Quality_LO, &area),
              PF_Err_NONE);
    EXPECT_TRUE(pixelNear(sub, Levels{255, 255, 255, 255})) << "subpixel";
    EXPECT_TRUE(pixelNear(area, Levels{255, 255, 255, 255})) << "area";
}

TYPED_TEST(PointSamplers, UnreadableWorldsAndNullDestinationsAreRefused) {
    using Pixel = TypeParam;
    auto good = smallWorld<Pixel>();
    PF_EffectWorld noData = good.world();
    noData.data = nullptr;
    PF_EffectWorld shortRows = good.world();
    shortRows.rowbytes = static_cast<A_long>(3 * sizeof(Pixel));
    PF_EffectWorld negative = good.world();
    negative.height = -1;
    AreaTableCache cache;
    Pixel out{};
    for (const PF_EffectWorld* w : {&noData, &shortRows, &negative}) {
        EXPECT_EQ(sampleNearest(*w, 0, 0, &out), PF_Err_BAD_CALLBACK_PARAM);
        EXPECT_EQ(sampleSubpixel(*w, 0, 0, PF_Quality_HI, &out), PF_Err_BAD_CALLBACK_PARAM);
        EXPECT_EQ(sampleArea(cache, *w, 0, 0, 20 << 16, 20 << 16, PF_Quality_HI, &out),
                  PF_Err_BAD_CALLBACK_PARAM);
    }
    EXPECT_EQ(sampleNearest<Pixel>(good.world(), 0, 0, nullptr), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(sampleArea<Pixel>(cache, good.world(), 0, 0, 1 << 16, 1 << 16, PF_Quality_HI, nullptr),
              PF_Err_BAD_CALLBACK_PARAM);

    // An empty world is readable: everything lies outside it.
    PF_EffectWorld empty{};
    out = pixelFromLevels<Pixel>({9, 9, 9, 9});
    EXPECT_EQ(sampleSubpixel(empty, 0, 0, PF_Quality_HI, &out), PF_Err_NONE);
    EXPECT_TRUE(pixelNear(out, Levels{0, 0, 0, 0}));
}

} // namespace
} // namespace orbhost::testing
