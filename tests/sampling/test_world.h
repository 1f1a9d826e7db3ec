// Pixels in "levels" (level, level·128, level/255 by depth) so one set of hand-computed numbers
// serves every depth; rows padded with bytes that no sampler may read.
#pragma once
#include "hostapi/host_api.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace orbhost::testing {

struct Levels {
    double a, r, g, b;
};

template <class Pixel> struct Depth;
template <> struct Depth<PF_Pixel> {
    static constexpr double perLevel = 1.0;
    static constexpr double tolerance = 0.5 + 1e-6;  // rounded to nearest
    static constexpr const char* name = "8-bit";
};
template <> struct Depth<PF_Pixel16> {
    static constexpr double perLevel = 128.0;
    static constexpr double tolerance = 0.5 + 1e-6;
    static constexpr const char* name = "16-bit";
};
template <> struct Depth<PF_PixelFloat> {
    static constexpr double perLevel = 1.0 / 255.0;
    static constexpr double tolerance = 1e-6;
    static constexpr const char* name = "float";
};

template <class Pixel>
Pixel pixelFromLevels(const Levels& l) {
    using Channel = decltype(Pixel{}.alpha);
    auto c = [](double v) { return static_cast<Channel>(v * Depth<Pixel>::perLevel); };
    return Pixel{c(l.a), c(l.r), c(l.g), c(l.b)};
}

template <class Pixel>
Levels levelsOf(const Pixel& p) {
    const double k = Depth<Pixel>::perLevel;
    return {p.alpha / k, p.red / k, p.green / k, p.blue / k};
}

template <class Pixel>
class TestWorld {
public:
    TestWorld(int width, int height, int padBytes = 32)
        : width_(width), height_(height),
          rowbytes_(static_cast<int>(width * sizeof(Pixel)) + padBytes),
          bytes_(static_cast<std::size_t>(rowbytes_) * height + 1, std::uint8_t{0x7F}) {}

    void set(int x, int y, const Levels& l) { at(x, y) = pixelFromLevels<Pixel>(l); }
    void fill(const Levels& l) {
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x) set(x, y, l);
    }
    Pixel& at(int x, int y) {
        return *reinterpret_cast<Pixel*>(bytes_.data() + static_cast<std::size_t>(y) * rowbytes_ +
                                         x * sizeof(Pixel));
    }
    PF_EffectWorld world() {
        PF_EffectWorld w{};
        w.data = reinterpret_cast<PF_PixelPtr>(bytes_.data());
        w.rowbytes = rowbytes_;
        w.width = width_;
        w.height = height_;
        w.extent_hint = {0, 0, width_, height_};
        return w;
    }
    const void* data() const { return bytes_.data(); }

private:
    int width_, height_, rowbytes_;
    std::vector<std::uint8_t> bytes_;
};

constexpr PF_Fixed fixedFrom(double v) { return static_cast<PF_Fixed>(std::lround(v * 65536.0)); }

// The 4 × 3 world that the hand-computed cases refer to (levels a, r, g, b):
//   row 0: (255, 200, 100, 0)  (255, 0, 100, 200)    (51, 255, 0, 0)       (0, 123, 45, 67)
//   row 1: (102, 0, 0, 255)    (255, 255, 255, 255)  (204, 50, 150, 250)   (255, 10, 20, 30)
//   row 2: (255, 0, 0, 0)      (0, 0, 0, 0)          (255, 255, 0, 255)    (153, 20, 40, 60)
template <class Pixel>
TestWorld<Pixel> smallWorld() {
    static const Levels levels[3][4] = {
        {{255, 200, 100, 0}, {255, 0, 100, 200}, {51, 255, 0, 0}, {0, 123, 45, 67}},
        {{102, 0, 0, 255}, {255, 255, 255, 255}, {204, 50, 150, 250}, {255, 10, 20, 30}},
        {{255, 0, 0, 0}, {0, 0, 0, 0}, {255, 255, 0, 255}, {153, 20, 40, 60}},
    };
    TestWorld<Pixel> world(4, 3);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) world.set(x, y, levels[y][x]);
    return world;
}

template <class Pixel>
::testing::AssertionResult pixelNear(const Pixel& got, const Levels& want) {
    const double k = Depth<Pixel>::perLevel, tol = Depth<Pixel>::tolerance;
    const double g[4] = {double(got.alpha), double(got.red), double(got.green), double(got.blue)};
    const double w[4] = {want.a * k, want.r * k, want.g * k, want.b * k};
    for (int c = 0; c < 4; ++c) {
        if (std::fabs(g[c] - w[c]) > tol) {
            return ::testing::AssertionFailure()
                   << Depth<Pixel>::name << " got (" << g[0] << ", " << g[1] << ", " << g[2] << ", "
                   << g[3] << ") want (" << w[0] << ", " << w[1] << ", " << w[2] << ", " << w[3] << ")";
        }
    }
    return ::testing::AssertionSuccess();
}

} // namespace orbhost::testing
