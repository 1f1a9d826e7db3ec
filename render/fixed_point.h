#pragma once
// 16.16 fixed-point coordinates and radii handed to the host's sampling suites.

#include "hostapi/host_api.h"

#include <cmath>
#include <cstdint>

inline constexpr double kFixedOne = 65536.0;
// Radii the host's area sample accepts: 1/65536 to 128 pixels.
inline constexpr PF_Fixed kMinSampleRadius = 1;
inline constexpr PF_Fixed kMaxSampleRadius = 0x800000;

// v·65536 rounded half away from zero. A value outside the 32-bit range (or NaN) gives
// INT32_MIN, the value x86's own conversion gives, so that both builds agree without
// relying on undefined behaviour.
// v·65536 rounded half away from zero, still as a double.
inline double roundedFixed(double v)
{
    const double scaled = v * kFixedOne;
    return std::trunc(scaled < 0.0 ? scaled - 0.5 : scaled + 0.5);
}

inline PF_Fixed toFixed(double v)
{
    const double rounded = roundedFixed(v);
    if (!(rounded >= -2147483648.0 && rounded <= 2147483647.0))
        return INT32_MIN;
    return static_cast<PF_Fixed>(rounded);
}

// A radius in pixels as 16.16, rounded half away from zero and clamped to the host's range.
inline PF_Fixed toFixedRadius(double pixels)
{
    const double rounded = roundedFixed(pixels);
    if (rounded >= kMaxSampleRadius + 1.0)
        return kMaxSampleRadius;
    if (!(rounded >= kMinSampleRadius))
        return kMinSampleRadius;
    return static_cast<PF_Fixed>(rounded);
}
