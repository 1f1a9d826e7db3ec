// The summed-area table cache: tables are kept per world until invalidated, rebuilt when a
// different world appears at the same address, and built once when many threads ask at once.
#include "host/sampling/samplers.h"
#include "test_world.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace orbhost::testing {
namespace {

constexpr PF_Fixed radius20 = 20 << 16;

PF_PixelFloat sampleCentre(AreaTableCache& cache, TestWorld<PF_PixelFloat>& world, PF_Fixed radius = radius20) {
    PF_PixelFloat out{};
    EXPECT_EQ(sampleArea(cache, world.world(), 50 << 16, 50 << 16, radius, radius, PF_Quality_HI, &out),
              PF_Err_NONE);
    return out;
}

TEST(AreaTableCache, KeepsTheTableUntilTheWorldIsInvalidated) {
    TestWorld<PF_PixelFloat> world(100, 100);
    world.fill({255, 51, 51, 51});
    AreaTableCache cache;
    EXPECT_FLOAT_EQ(sampleCentre(cache, world, 1 << 16).red, 0.2f);
    EXPECT_EQ(cache.bytes(), 0u) << "a small box needs no table";
    EXPECT_FLOAT_EQ(sampleCentre(cache, world).red, 0.2f);
    // Σ (alpha, alpha·rgb) in doubles plus a covered-pixel count, per table entry.
    EXPECT_EQ(cache.bytes(), 101u * 101u * (4 * sizeof(double) + sizeof(std::uint32_t)));

    world.fill({255, 102, 102, 102});
    EXPECT_FLOAT_EQ(sampleCentre(cache, world).red, 0.2f) << "the table is reused until invalidated";
    cache.invalidate(world.data());
    EXPECT_EQ(cache.bytes(), 0u);
    EXPECT_FLOAT_EQ(sampleCentre(cache, world).red, 0.4f);

    world.fill({255, 153, 153, 153});
    cache.invalidateAll();
    EXPECT_FLOAT_EQ(sampleCentre(cache, world).red, 0.6f);
}

TEST(AreaTableCache, RebuildsWhenAnotherWorldUsesTheSameMemory) {
    TestWorld<PF_PixelFloat> world(100, 100);
    world.fill({255, 51, 51, 51});
    AreaTableCache cache;
    sampleCentre(cache, world);
    // The same bytes seen as an 8-bit world four times as wide: a different table.
    PF_EffectWorld eight = world.world();
    eight.width *= 4;
    PF_Pixel out{};
    ASSERT_EQ(sampleArea(cache, eight, 50 << 16, 50 << 16, radius20, radius20, PF_Quality_HI, &out),
              PF_Err_NONE);
    EXPECT_EQ(cache.bytes(), 401u * 101u * 4 * sizeof(std::uint64_t));
    // The same memory as the same size and depth, every other row: another table again.
    TestWorld<PF_PixelFloat> rows(100, 100);
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 100; ++x)
            rows.set(x, y, {255, y % 2 ? 255.0 : 0.0, 0, 0});
    PF_EffectWorld top = rows.world(), everyOther = rows.world();
    top.height = everyOther.height = 50;
    everyOther.rowbytes *= 2;
    PF_PixelFloat a{}, b{};
    ASSERT_EQ(sampleArea(cache, top, 50 << 16, 25 << 16, radius20, radius20, PF_Quality_HI, &a), PF_Err_NONE);
    ASSERT_EQ(sampleArea(cache, everyOther, 50 << 16, 25 << 16, radius20, radius20, PF_Quality_HI, &b), PF_Err_NONE);
    EXPECT_NEAR(a.red, 0.5f, 0.05f);
    EXPECT_FLOAT_EQ(b.red, 0.0f) << "the even rows are black";
}

TEST(AreaTableCache, ManyThreadsShareOneTable) {
    TestWorld<PF_Pixel16> world(300, 200);
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 300; ++x) world.set(x, y, {double((x * 7 + y) % 256), double(x % 256), double(y), 9});
    AreaTableCache cache;
    const PF_EffectWorld w = world.world();
    const int threads = 8, perThread = 2000;
    std::vector<std::vector<PF_Pixel16>> results(threads, std::vector<PF_Pixel16>(perThread));
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) {
        pool.emplace_back([&, t] {
            for (int i = 0; i < perThread; ++i) {
                const PF_Fixed x = (i * 37 % 300) << 16, y = (i * 11 % 200) << 16;
                sampleArea(cache, w, x, y, (i % 50 + 5) << 16, (i % 30 + 5) << 16, PF_Quality_HI,
                           &results[t][i]);
            }
        });
    }
    for (auto& thread : pool) thread.join();
    EXPECT_EQ(cache.bytes(), 301u * 201u * 4 * sizeof(std::uint64_t));
    for (int t = 1; t < threads; ++t) {
        for (int i = 0; i < perThread; ++i) {
            const PF_Pixel16 &a = results[0][i], &b = results[t][i];
            ASSERT_TRUE(a.alpha == b.alpha && a.red == b.red && a.green == b.green && a.blue == b.blue)
                << "thread " << t << " sample " << i;
        }
    }
}

} // namespace
} // namespace orbhost::testing
