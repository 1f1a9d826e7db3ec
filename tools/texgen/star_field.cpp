// A night sky for reflections: stars spread evenly over the sphere (not over the image, which
// would crowd them at the poles), most faint and a few bright, plus a faint band of diffuse
// light with more stars along a tilted great circle.
#include "tools/texgen/colour.h"
#include "tools/texgen/noise.h"
#include "tools/texgen/textures.h"

#include <cmath>
#include <numbers>
#include <vector>

namespace texgen {

namespace {

constexpr std::uint64_t kStarSeed = 0x57a2, kBandSeed = 0xba2d;
constexpr int kPixelsPerStar = 60;          // sky-wide density
constexpr double kBandWidth = 0.2;          // sine of the band's angular half-width
constexpr double kBandBrightness = 0.12;
constexpr Point3 kBandPole{0.30, 0.86, 0.41};  // normal of the band's plane (unit length)

constexpr Rgb kStarTints[] = {{0.75, 0.85, 1.0}, {0.92, 0.95, 1.0}, {1.0, 1.0, 1.0}, {1.0, 0.92, 0.75}, {1.0, 0.78, 0.58}};

double bandDistance(Point3 d)
{
    return d.x * kBandPole.x + d.y * kBandPole.y + d.z * kBandPole.z;
}

struct Canvas {
    int width, height;
    std::vector<Rgb> pixels;
    void add(int x, int y, Rgb c)
    {
        x = ((x % width) + width) % width;   // longitude wraps around
        if (y < 0 || y >= height)
            return;
        Rgb& p = pixels[std::size_t(y) * width + x];
        p = {p.r + c.r, p.g + c.g, p.b + c.b};
    }
};

// One star at direction d: a small Gaussian spot, widened in x by 1/cos(latitude) so that it
// is round once the image is wrapped on a sphere.
void splatStar(Canvas& canvas, Point3 d, double brightness, Rgb tint)
{
    const double latitude = std::asin(std::clamp(d.y, -1.0, 1.0));
    const double longitude = std::atan2(d.z, d.x);
    const double px = (longitude / (2 * std::numbers::pi) + 1.0) * canvas.width;
    const double py = (0.5 - latitude / std::numbers::pi) * canvas.height;
    const double sigma = 0.45 + 0.5 * brightness * canvas.width / 1024.0;
    const double stretch = std::min(8.0, 1.0 / std::max(std::cos(latitude), 1e-3));
    const int ry = int(std::ceil(2 * sigma)), rx = int(std::ceil(2 * sigma * stretch));
    for (int dy = -ry; dy <= ry; ++dy) {
        for (int dx = -rx; dx <= rx; ++dx) {
            const int x = int(std::floor(px)) + dx, y = int(std::floor(py)) + dy;
            const double ex = (x + 0.5 - px) / stretch, ey = y + 0.5 - py;
            const double weight = std::exp(-(ex * ex + ey * ey) / (2 * sigma * sigma));
            canvas.add(x, y, scaled(tint, brightness * weight));
        }
    }
}

Point3 randomDirection(std::uint64_t seed, std::uint64_t index)
{
    const double y = 2 * unitRandom(seed, 2 * index) - 1;
    const double phi = 2 * std::numbers::pi * unitRandom(seed, 2 * index + 1);
    const double r = std::sqrt(std::max(0.0, 1 - y * y));
    return {r * std::cos(phi), y, r * std::sin(phi)};
}

}  // namespace

orbhost::Image makeStarField(int width)
{
    orbhost::Image image = latLongImage(width);
    Canvas canvas{image.width, image.height, std::vector<Rgb>(std::size_t(image.width) * image.height)};

    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            const Point3 d = sphereDirection(x, y, image.width, image.height);
            const double s = bandDistance(d) / kBandWidth;
            const double clouds = 0.5 + 0.5 * fractalNoise({d.x * 6, d.y * 6, d.z * 6}, kBandSeed, 5);
            const double glow = kBandBrightness * std::exp(-s * s) * clouds * clouds;
            canvas.add(x, y, scaled(Rgb{0.85, 0.85, 1.0}, glow));
        }
    }

    const int stars = image.width * image.height / kPixelsPerStar;
    for (int i = 0; i < stars; ++i) {
        const Point3 d = randomDirection(kStarSeed, std::uint64_t(i));
        // A second population is kept only near the band, which makes it denser there.
        if (i % 3 == 0) {
            const double s = bandDistance(d) / kBandWidth;
            if (unitRandom(kStarSeed + 1, std::uint64_t(i)) > std::exp(-s * s))
                continue;
        }
        const double brightness = 0.05 + 0.95 * std::pow(unitRandom(kStarSeed + 2, std::uint64_t(i)), 8);
        const Rgb tint = kStarTints[hash64(kStarSeed + std::uint64_t(i)) % std::size(kStarTints)];
        splatStar(canvas, d, brightness, tint);
    }

    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x)
            setPixel(image, x, y, canvas.pixels[std::size_t(y) * image.width + x]);
    return image;
}

}  // namespace texgen
