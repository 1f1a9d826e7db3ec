// What the samplers need to know about each pixel depth: its full-scale value, how a pixel
// is read from a world, and how an alpha-weighted sum becomes a straight-colour pixel.
#pragma once
#include "hostapi/host_api.h"

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace orbhost {

template <class Pixel> struct PixelTraits;

template <> struct PixelTraits<PF_Pixel> {
    static constexpr bool integral = true;
    static constexpr double fullScale = 255.0;
};
template <> struct PixelTraits<PF_Pixel16> {
    static constexpr bool integral = true;
    static constexpr double fullScale = 32768.0;
};
template <> struct PixelTraits<PF_PixelFloat> {
    static constexpr bool integral = false;
    static constexpr double fullScale = 1.0;
};

// Pixel (x, y) of a world whose rows are `rowbytes` apart (rows may be padded).
template <class Pixel>
inline const Pixel& pixelAt(const PF_EffectWorld& world, int x, int y) {
    auto* row = static_cast<const unsigned char*>(static_cast<const void*>(world.data)) +
                static_cast<std::ptrdiff_t>(y) * world.rowbytes;
    return reinterpret_cast<const Pixel*>(row)[x];
}

// True when the samplers may read `world` as an array of Pixel: a non-negative size, and for a
// non-empty world a data pointer and rows at least one pixel row long.
template <class Pixel>
inline bool worldIsReadable(const PF_EffectWorld& world) {
    if (world.width < 0 || world.height < 0) return false;
    if (world.width == 0 || world.height == 0) return true;
    return world.data != nullptr &&
           static_cast<std::int64_t>(world.rowbytes) >=
               static_cast<std::int64_t>(world.width) * static_cast<std::int64_t>(sizeof(Pixel));
}

// A float pixel with a NaN or infinite channel counts as transparent: one such pixel must not
// spread through the summed-area table into every box below and right of it.
inline bool pixelIsUsable(const PF_PixelFloat& p) {
    return std::isfinite(p.alpha) && std::isfinite(p.red) && std::isfinite(p.green) &&
           std::isfinite(p.blue);
}
inline bool pixelIsUsable(const PF_Pixel&) { return true; }
inline bool pixelIsUsable(const PF_Pixel16&) { return true; }

// Alpha and alpha-weighted colour, Σ w·a and Σ w·a·c, in the pixel's own channel units.
struct WeightedSum {
    double a = 0, r = 0, g = 0, b = 0;

    template <class Pixel>
    void add(const Pixel& p, double w) {
        if (!pixelIsUsable(p)) return;
        // Products of integer channels are exact in double; so are products of two floats.
        double wa = w * static_cast<double>(p.alpha);
        double alpha = static_cast<double>(p.alpha);
        a += wa;
        r += w * (alpha * static_cast<double>(p.red));
        g += w * (alpha * static_cast<double>(p.green));
        b += w * (alpha * static_cast<double>(p.blue));
    }
};

// Integer channels are rounded to nearest and clamped to 0..full scale; float stays as computed.
template <class Pixel>
inline auto toChannel(double v) {
    using Channel = decltype(Pixel{}.alpha);
    if constexpr (PixelTraits<Pixel>::integral) {
        double rounded = std::floor(v + 0.5);
        if (!(rounded > 0.0)) return Channel(0);
        if (rounded > PixelTraits<Pixel>::fullScale) return Channel(PixelTraits<Pixel>::fullScale);
        return static_cast<Channel>(rounded);
    } else {
        return static_cast<Channel>(v);
    }
}

// The straight-colour pixel of a normalised weighted sum: colour = Σ w·a·c / Σ w·a, alpha = Σ w·a;
// all zero when no alpha was gathered.
template <class Pixel>
inline Pixel resolvePixel(const WeightedSum& s) {
    if (s.a == 0.0) return Pixel{};
    Pixel out;
    out.alpha = toChannel<Pixel>(s.a);
    out.red = toChannel<Pixel>(s.r / s.a);
    out.green = toChannel<Pixel>(s.g / s.a);
    out.blue = toChannel<Pixel>(s.b / s.a);
    return out;
}

} // namespace orbhost
