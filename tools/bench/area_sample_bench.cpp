// What an area sample costs on a 3840 x 2160 float world: radius 1 (summed pixel by pixel)
// against radius 100 (summed-area table lookups), and the one-off table build.
#include "host/sampling/samplers.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <tuple>
#include <vector>

namespace {

using namespace orbhost;

constexpr int width = 3840, height = 2160;

struct BenchWorld {
    std::vector<PF_PixelFloat> pixels;
    PF_EffectWorld world{};
    std::vector<std::pair<PF_Fixed, PF_Fixed>> points;

    BenchWorld() : pixels(static_cast<std::size_t>(width) * height) {
        std::mt19937 rng(1234);
        std::uniform_real_distribution<float> unit(0.0f, 1.0f);
        for (auto& p : pixels) p = {unit(rng) < 0.1f ? 0.0f : unit(rng), unit(rng), unit(rng), unit(rng)};
        world.data = reinterpret_cast<PF_PixelPtr>(pixels.data());
        world.rowbytes = static_cast<A_long>(width * sizeof(PF_PixelFloat));
        world.width = width;
        world.height = height;
        std::uniform_int_distribution<std::int32_t> x(0, width << 16), y(0, height << 16);
        for (int i = 0; i < 4096; ++i) points.emplace_back(x(rng), y(rng));
    }
};

BenchWorld& benchWorld() {
    static BenchWorld w;
    return w;
}

// Arguments: radius in pixels; 0 = scattered centres, 1 = centres along the rows (as a pass
// over the output visits them).
void areaSampleAtRadius(benchmark::State& state) {
    BenchWorld& w = benchWorld();
    AreaTableCache cache;
    const PF_Fixed radius = static_cast<PF_Fixed>(state.range(0)) << 16;
    const bool alongRows = state.range(1) != 0;
    PF_PixelFloat out{};
    // Build the table before timing.
    sampleArea(cache, w.world, 0, 0, 100 << 16, 100 << 16, PF_Quality_HI, &out);
    std::size_t i = 0;
    for (auto _ : state) {
        PF_Fixed x, y;
        if (alongRows) {
            x = static_cast<PF_Fixed>(i % width) << 16;
            y = static_cast<PF_Fixed>(i / width % height) << 16;
        } else {
            std::tie(x, y) = w.points[i & 4095];
        }
        ++i;
        sampleArea(cache, w.world, x, y, radius, radius, PF_Quality_HI, &out);
        benchmark::DoNotOptimize(out);
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["table_MB"] = static_cast<double>(cache.bytes()) / 1e6;
}
BENCHMARK(areaSampleAtRadius)->ArgNames({"radius", "rows"})->ArgsProduct({{1, 100}, {0, 1}});

void areaTableBuild(benchmark::State& state) {
    BenchWorld& w = benchWorld();
    AreaTableCache cache;
    PF_PixelFloat out{};
    for (auto _ : state) {
        cache.invalidateAll();
        sampleArea(cache, w.world, 0, 0, 100 << 16, 100 << 16, PF_Quality_HI, &out);
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(areaTableBuild)->Unit(benchmark::kMillisecond);

} // namespace
