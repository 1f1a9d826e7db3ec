#pragma once
// The single-precision arc and power functions of the kernels, computed as the double
// functions rounded to float. The C runtimes of the Linux and the Windows build disagree in
// the last bit of acosf, atan2f and powf, but the double functions of both round to the same
// float (all but never otherwise), so the two builds draw the same pixels.

#include <cmath>

inline float acosF(float x) { return static_cast<float>(std::acos(static_cast<double>(x))); }

inline float atan2F(float y, float x)
{
    return static_cast<float>(std::atan2(static_cast<double>(y), static_cast<double>(x)));
}

inline float powF(float x, float y)
{
    return static_cast<float>(std::pow(static_cast<double>(x), static_cast<double>(y)));
}
