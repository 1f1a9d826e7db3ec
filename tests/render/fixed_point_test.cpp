// Coordinates and radii handed to the host's area sample: 16.16, rounded half away from
// zero; radii kept within the host's 1/65536 to 128 pixels.
#include "render/fixed_point.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

TEST(FixedPoint, CoordinatesRoundHalfAwayFromZero)
{
    EXPECT_EQ(toFixed(1.0), 65536);
    EXPECT_EQ(toFixed(0.5 / 65536), 1);
    EXPECT_EQ(toFixed(-0.5 / 65536), -1);
    EXPECT_EQ(toFixed(0.49 / 65536), 0);
    EXPECT_EQ(toFixed(-2.75), -180224);
    EXPECT_EQ(toFixed(1.6 / 65536), 2);
    EXPECT_EQ(toFixed(-1.6 / 65536), -2);
}

TEST(FixedPoint, CoordinatesOutsideTheRangeGiveTheSameValueInEveryBuild)
{
    EXPECT_EQ(toFixed(40000.0), INT32_MIN);
    EXPECT_EQ(toFixed(-40000.0), INT32_MIN);
    EXPECT_EQ(toFixed(std::numeric_limits<double>::quiet_NaN()), INT32_MIN);
    EXPECT_EQ(toFixed(32767.0), 32767 * 65536);
}

TEST(FixedPoint, RadiiStayWithinTheHostsRange)
{
    EXPECT_EQ(toFixedRadius(0.0), 1);
    EXPECT_EQ(toFixedRadius(-3.0), 1);
    EXPECT_EQ(toFixedRadius(std::numeric_limits<double>::quiet_NaN()), 1);
    EXPECT_EQ(toFixedRadius(1.5 / 65536), 2);
    EXPECT_EQ(toFixedRadius(2.25), 147456);
    EXPECT_EQ(toFixedRadius(128.0), 0x800000);
    EXPECT_EQ(toFixedRadius(128.0 + 1.0 / 65536), 0x800000);
    EXPECT_EQ(toFixedRadius(1e30), 0x800000);
    EXPECT_EQ(toFixedRadius(std::numeric_limits<double>::infinity()), 0x800000);
}

} // namespace
