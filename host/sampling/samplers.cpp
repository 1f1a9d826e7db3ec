#include "host/sampling/samplers.h"

#include "host/sampling/axis_footprint.h"
#include "host/sampling/pixel_traits.h"

#include <algorithm>
#include <cstdint>
#include <new>

namespace orbhost {

namespace {

// Boxes touching at most this many pixels are summed directly: as cheap as the table lookups,
// exact, and a world sampled only that way never needs a table.
constexpr int directSumMaxPixels = 64;

// Floor of a 16.16 value plus one half: the pixel whose centre is nearest.
inline std::int64_t nearestPixel(PF_Fixed v) { return (static_cast<std::int64_t>(v) + 32768) >> 16; }

template <class Pixel>
WeightedSum directSum(const PF_EffectWorld& src, const AxisFootprint& fx, const AxisFootprint& fy) {
    // The column weights are the same on every row: worked out once, the same values in the
    // same order of summation.
    double wx[directSumMaxPixels];
    const int columns = fx.last - fx.first + 1;
    for (int i = 0; i < columns; ++i) wx[i] = fx.weight(fx.first + i);
    WeightedSum sum;
    for (int j = fy.first; j <= fy.last; ++j) {
        const double wy = fy.weight(j);
        const Pixel* row = &pixelAt<Pixel>(src, fx.first, j);
        for (int i = 0; i < columns; ++i) sum.add(row[i], wx[i] * wy);
    }
    return sum;
}

// The footprint along one axis as at most three runs of pixels of equal weight: the partly covered
// first pixel, the fully covered middle, the partly covered last pixel. Run k spans the table
// coordinates [edges[k], edges[k + 1]).
struct AxisRuns {
    int edges[4];
    double weights[3];
    int runs = 0;

    explicit AxisRuns(const AxisFootprint& f) {
        auto addRun = [&](int end, double weight) {
            weights[runs] = weight;
            edges[++runs] = end;
        };
        edges[0] = f.first;
        addRun(f.first + 1, f.weight(f.first));
        if (f.last > f.first + 1) addRun(f.last, f.scale);
        if (f.last > f.first) addRun(f.last + 1, f.weight(f.last));
    }
};

// Σ over the 3 × 3 (at most) runs of weight × whole-pixel rectangle sum. This equals bilinear
// interpolation of the table at the box corners, but takes the differences of table entries
// before weighting them: exact for 8 and 16 bits, and no cancellation of large sums for tiny boxes.
template <class Entry>
WeightedSum tableSum(const SummedAreaTable<Entry>& table, const AxisRuns& rx, const AxisRuns& ry) {
    Entry corner[4][4];
    for (int b = 0; b <= ry.runs; ++b)
        for (int a = 0; a <= rx.runs; ++a) corner[b][a] = table(rx.edges[a], ry.edges[b]);
    WeightedSum sum;
    for (int b = 0; b < ry.runs; ++b) {
        for (int a = 0; a < rx.runs; ++a) {
            const Entry cell = corner[b + 1][a + 1] - corner[b + 1][a] - corner[b][a + 1] + corner[b][a];
            const double w = rx.weights[a] * ry.weights[b];
            sum.a += w * static_cast<double>(cell.a);
            sum.r += w * static_cast<double>(cell.r);
            sum.g += w * static_cast<double>(cell.g);
            sum.b += w * static_cast<double>(cell.b);
        }
    }
    return sum;
}

template <class Pixel>
WeightedSum tableSum(const AreaTable& table, const AxisFootprint& fx, const AxisFootprint& fy) {
    const AxisRuns rx(fx), ry(fy);
    if constexpr (PixelTraits<Pixel>::integral) {
        return tableSum(*table.integerSums, rx, ry);
    } else {
        const std::uint32_t covered =
            table.coveredPixels->rect(fx.first, fx.last + 1, fy.first, fy.last + 1);
        if (covered == 0) return {};
        return tableSum(*table.floatSums, rx, ry);
    }
}

} // namespace

template <class Pixel>
PF_Err sampleNearest(const PF_EffectWorld& src, PF_Fixed x, PF_Fixed y, Pixel* out) {
    if (!out || !worldIsReadable<Pixel>(src)) return PF_Err_BAD_CALLBACK_PARAM;
    const std::int64_t i = nearestPixel(x), j = nearestPixel(y);
    *out = Pixel{};
    if (i < 0 || j < 0 || i >= src.width || j >= src.height) return PF_Err_NONE;
    const Pixel& p = pixelAt<Pixel>(src, static_cast<int>(i), static_cast<int>(j));
    if (pixelIsUsable(p) && p.alpha != 0) *out = p;
    return PF_Err_NONE;
}

template <class Pixel>
PF_Err sampleSubpixel(const PF_EffectWorld& src, PF_Fixed x, PF_Fixed y, PF_Quality quality,
                      Pixel* out) {
    if (quality != PF_Quality_HI) return sampleNearest(src, x, y, out);
    if (!out || !worldIsReadable<Pixel>(src)) return PF_Err_BAD_CALLBACK_PARAM;
    // Pixel (i0, j0) is the one at or up-left of (u, v); tx, ty are the fractions towards the next.
    const std::int64_t i0 = static_cast<std::int64_t>(x) >> 16, j0 = static_cast<std::int64_t>(y) >> 16;
    const double tx = (x & 0xFFFF) / 65536.0, ty = (y & 0xFFFF) / 65536.0;
    const double wx[2] = {1.0 - tx, tx}, wy[2] = {1.0 - ty, ty};
    WeightedSum sum;
    for (int dj = 0; dj < 2; ++dj) {
        const std::int64_t j = j0 + dj;
        if (j < 0 || j >= src.height || wy[dj] == 0.0) continue;
        for (int di = 0; di < 2; ++di) {
            const std::int64_t i = i0 + di;
            if (i < 0 || i >= src.width || wx[di] == 0.0) continue;
            sum.add(pixelAt<Pixel>(src, static_cast<int>(i), static_cast<int>(j)), wx[di] * wy[dj]);
        }
    }
    *out = resolvePixel<Pixel>(sum);
    return PF_Err_NONE;
}

template <class Pixel>
PF_Err sampleArea(AreaTableCache& cache, const PF_EffectWorld& src, PF_Fixed x, PF_Fixed y,
                  PF_Fixed xRadius, PF_Fixed yRadius, PF_Quality quality, Pixel* out) {
    if (quality != PF_Quality_HI) return sampleNearest(src, x, y, out);
    if (!out || !worldIsReadable<Pixel>(src)) return PF_Err_BAD_CALLBACK_PARAM;
    const AxisFootprint fx = axisFootprint(x, xRadius, src.width);
    const AxisFootprint fy = axisFootprint(y, yRadius, src.height);
    if (fx.empty() || fy.empty()) {
        *out = Pixel{};
        return PF_Err_NONE;
    }
    if (static_cast<std::int64_t>(fx.count()) * fy.count() <= directSumMaxPixels) {
        *out = resolvePixel<Pixel>(directSum<Pixel>(src, fx, fy));
        return PF_Err_NONE;
    }
    try {
        const AreaTableLease lease = cache.acquire(src, pixelDepthOf<Pixel>());
        *out = resolvePixel<Pixel>(tableSum<Pixel>(lease.table(), fx, fy));
    } catch (const std::bad_alloc&) {
        return PF_Err_OUT_OF_MEMORY;
    }
    return PF_Err_NONE;
}

template PF_Err sampleNearest(const PF_EffectWorld&, PF_Fixed, PF_Fixed, PF_Pixel*);
template PF_Err sampleSubpixel(const PF_EffectWorld&, PF_Fixed, PF_Fixed, PF_Quality, PF_Pixel*);
template PF_Err sampleArea(AreaTableCache&, const PF_EffectWorld&, PF_Fixed, PF_Fixed, PF_Fixed,
                           PF_Fixed, PF_Quality, PF_Pixel*);
template PF_Err sampleNearest(const PF_EffectWorld&, PF_Fixed, PF_Fixed, PF_Pixel16*);
template PF_Err sampleSubpixel(const PF_EffectWorld&, PF_Fixed, PF_Fixed, PF_Quality, PF_Pixel16*);
template PF_Err sampleArea(AreaTableCache&, const PF_EffectWorld&, PF_Fixed, PF_Fixed, PF_Fixed,
                           PF_Fixed, PF_Quality, PF_Pixel16*);
template PF_Err sampleNearest(const PF_EffectWorld&, PF_Fixed, PF_Fixed, PF_PixelFloat*);
template PF_Err sampleSubpixel(const PF_EffectWorld&, PF_Fixed, PF_Fixed, PF_Quality, PF_PixelFloat*);
template PF_Err sampleArea(AreaTableCache&, const PF_EffectWorld&, PF_Fixed, PF_Fixed, PF_Fixed,
                           PF_Fixed, PF_Quality, PF_PixelFloat*);

} // namespace orbhost
