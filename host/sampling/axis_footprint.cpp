#include "host/sampling/axis_footprint.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace orbhost {

namespace {
constexpr double fixedOne = 65536.0;
}

double AxisFootprint::weight(int i) const {
    return (std::min(hi, i + 1.0) - std::max(lo, static_cast<double>(i))) * scale;
}

AxisFootprint axisFootprint(PF_Fixed centre, PF_Fixed radius, int size) {
    AxisFootprint f;
    // 16.16 values and their sums are exact in double; widen first so INT_MIN negates safely.
    const double edge = (static_cast<std::int64_t>(centre) + 32768) / fixedOne;
    const double r = static_cast<double>(std::abs(static_cast<std::int64_t>(radius))) / fixedOne;

    if (r == 0.0) {
        const double pixel = std::floor(edge);
        if (pixel < 0.0 || pixel >= size) return f;
        f.first = f.last = static_cast<int>(pixel);
        f.lo = pixel;
        f.hi = pixel + 1.0;
        f.scale = 1.0;
        return f;
    }

    f.scale = 1.0 / (2.0 * r);
    f.lo = std::max(edge - r, 0.0);
    f.hi = std::min(edge + r, static_cast<double>(size));
    if (!(f.lo < f.hi)) return f;
    f.first = static_cast<int>(std::floor(f.lo));
    f.last = static_cast<int>(std::ceil(f.hi)) - 1;
    return f;
}

} // namespace orbhost
