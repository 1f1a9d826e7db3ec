// Area-sample coordinates in 16.16, rounded half away from zero, out-of-range ones the same in
// every build; radii kept within 1/65536 to 128 pixels.
#include "render/fixed_point.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(FixedPoint, CoordinatesAndRadii)
{
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    const std::pair<double, PF_Fixed> coords[] = {{1.0, 65536}, {0.5 / 65536, 1}, {-0.5 / 65536, -1}, {0.49 / 65536, 0},
                                                  {-2.75, -180224}, {1.6 / 65536, 2}, {-1.6 / 65536, -2}, {32767.0, 32767 * 65536},
                                                  {40000.0, INT32_MIN}, {-40000.0, INT32_MIN}, {nan, INT32_MIN}};
    for (auto [v, want] : coords)
        EXPECT_EQ(toFixed(v), want) << v;
    const std::pair<double, PF_Fixed> radii[] = {{0.0, 1}, {-3.0, 1}, {nan, 1}, {1.5 / 65536, 2}, {2.25, 147456},
                                                 {128.0, 0x800000}, {128.0 + 1.0 / 65536, 0x800000}, {1e30, 0x800000}, {inf, 0x800000}};
    for (auto [v, want] : radii)
        EXPECT_EQ(toFixedRadius(v), want) << v;
}

} // namespace
