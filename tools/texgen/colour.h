// Small colour arithmetic for the texture generators (display-referred r, g, b in 0..1).
#pragma once

#include "host/scene/image.h"

#include <algorithm>

namespace texgen {

struct Rgb {
    double r = 0, g = 0, b = 0;
};

inline double clamp01(double v)
{
    return std::clamp(v, 0.0, 1.0);
}

// 0 below edge0, 1 above edge1, a smooth S-curve between.
inline double smoothStep(double edge0, double edge1, double v)
{
    const double t = clamp01((v - edge0) / (edge1 - edge0));
    return t * t * (3 - 2 * t);
}

inline Rgb mix(Rgb a, Rgb b, double t)
{
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

inline Rgb scaled(Rgb c, double k)
{
    return {c.r * k, c.g * k, c.b * k};
}

// Opaque image of width × width/2, black.
inline orbhost::Image latLongImage(int width)
{
    return orbhost::solidImage(width, width / 2, 0, 0, 0, 1);
}

inline void setPixel(orbhost::Image& image, int x, int y, Rgb c)
{
    float* p = &image.rgba[(std::size_t(y) * image.width + x) * 4];
    p[0] = float(clamp01(c.r));
    p[1] = float(clamp01(c.g));
    p[2] = float(clamp01(c.b));
    p[3] = 1.0f;
}

}  // namespace texgen
