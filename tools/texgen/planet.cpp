// An Earth-like planet: one fractal elevation field decides sea and land; moisture, latitude
// and height pick the land's colour; polar ice covers both above a ragged latitude line.
#include "tools/texgen/colour.h"
#include "tools/texgen/noise.h"
#include "tools/texgen/textures.h"

#include <cmath>

namespace texgen {

namespace {

constexpr std::uint64_t kElevationSeed = 0x0e1e, kMoistureSeed = 0x3015, kIceSeed = 0x1ce;
constexpr double kSeaLevel = 0.04;        // elevation below which there is water (about 60 % of the surface)
constexpr double kIceLatitude = 71.0;     // degrees; the ice edge wanders some 10° around it
constexpr double kContinentScale = 1.4;   // lowest noise frequency: a handful of continents

constexpr Rgb kDeepWater{0.02, 0.06, 0.20}, kShallowWater{0.10, 0.38, 0.52}, kBeach{0.76, 0.70, 0.50};
constexpr Rgb kForest{0.07, 0.24, 0.07}, kGrass{0.22, 0.42, 0.13}, kDesert{0.72, 0.58, 0.36};
constexpr Rgb kRock{0.42, 0.35, 0.29}, kSnow{0.93, 0.95, 0.97}, kIce{0.88, 0.93, 0.97};

Rgb waterColour(double depth)
{
    return mix(kShallowWater, kDeepWater, smoothStep(0.0, 0.25, depth));
}

Rgb landColour(double height, double moisture, double latitude)
{
    // Subtropical belts (around ±25°) are dry, the tropics and high latitudes wetter.
    const double belt = std::exp(-std::pow((std::abs(latitude) - 25.0) / 12.0, 2));
    const double dryness = clamp01(0.3 - moisture * 2.5 + 0.5 * belt - height);
    Rgb c = mix(mix(kForest, kGrass, smoothStep(-0.15, 0.15, -moisture)), kDesert, smoothStep(0.35, 0.7, dryness));
    c = mix(kBeach, c, smoothStep(0.0, 0.03, height));
    c = mix(c, kRock, smoothStep(0.14, 0.26, height));
    return mix(c, kSnow, smoothStep(0.28, 0.34, height));
}

}  // namespace

orbhost::Image makePlanet(int width)
{
    orbhost::Image image = latLongImage(width);
    for (int y = 0; y < image.height; ++y) {
        const double latitude = rowLatitude(y, image.height);
        for (int x = 0; x < image.width; ++x) {
            const Point3 d = sphereDirection(x, y, image.width, image.height);
            const Point3 p{d.x * kContinentScale, d.y * kContinentScale, d.z * kContinentScale};
            const double elevation = fractalNoise(p, kElevationSeed, 8, 0.55);
            const double moisture = fractalNoise({d.x * 2.5, d.y * 2.5, d.z * 2.5}, kMoistureSeed, 4);
            Rgb c = elevation < kSeaLevel ? waterColour(kSeaLevel - elevation)
                                          : landColour(elevation - kSeaLevel, moisture, latitude);
            // Fine grain so that large areas are not flat colour.
            c = scaled(c, 1.0 + 0.08 * fractalNoise({d.x * 40, d.y * 40, d.z * 40}, kMoistureSeed + 9, 2));
            const double edge = kIceLatitude + 25 * fractalNoise({d.x * 5, d.y * 5, d.z * 5}, kIceSeed, 4);
            const double iceShade = 1.0 - 0.06 * (1 + fractalNoise({d.x * 12, d.y * 12, d.z * 12}, kIceSeed + 1, 4));
            c = mix(c, scaled(kIce, iceShade), smoothStep(edge - 1.5, edge + 1.5, std::abs(latitude)));
            setPixel(image, x, y, c);
        }
    }
    return image;
}

}  // namespace texgen
