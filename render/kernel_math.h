#pragma once
// The single-precision arc and power functions of the kernels, computed as the double
// functions rounded to float. The C runtimes of the Linux and the Windows build disagree in
// the last bit of acosf, atan2f and powf, but the double functions of both round to the same
// float (all but never otherwise), so the two builds draw the same pixels.

#include <cmath>

// A unit vector normalised with the refined reciprocal square root estimate can have a
// component a hair beyond ±1; it is taken as ±1, so that a ray that meets a pole head on
// still gets a latitude instead of a NaN (which would leave a hole in the picture).
inline float acosF(float x)
{
    const double clamped = x > 1.0f ? 1.0 : x < -1.0f ? -1.0 : static_cast<double>(x);
    return static_cast<float>(std::acos(clamped));
}

inline float atan2F(float y, float x)
{
    return static_cast<float>(std::atan2(static_cast<double>(y), static_cast<double>(x)));
}

inline float powF(float x, float y)
{
    return static_cast<float>(std::pow(static_cast<double>(x), static_cast<double>(y)));
}
