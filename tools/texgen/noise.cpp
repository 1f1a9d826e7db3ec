#include "tools/texgen/noise.h"

#include <cmath>
#include <numbers>

namespace texgen {

Point3 sphereDirection(int x, int y, int width, int height)
{
    const double longitude = (x + 0.5) / width * 2 * std::numbers::pi;
    const double latitude = rowLatitude(y, height) * std::numbers::pi / 180;
    return {std::cos(latitude) * std::cos(longitude), std::sin(latitude), std::cos(latitude) * std::sin(longitude)};
}

double rowLatitude(int y, int height)
{
    return 90.0 - (y + 0.5) / height * 180.0;
}

std::uint64_t hash64(std::uint64_t value)
{
    value += 0x9e3779b97f4a7c15ull;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9ull;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebull;
    return value ^ (value >> 31);
}

double unitRandom(std::uint64_t seed, std::uint64_t index)
{
    return double(hash64(hash64(seed) ^ index) >> 11) * 0x1.0p-53;
}

namespace {

// The twelve directions to the edges of a cube: gradients with no preferred axis.
constexpr double kGradients[12][3] = {{1, 1, 0}, {-1, 1, 0}, {1, -1, 0}, {-1, -1, 0}, {1, 0, 1}, {-1, 0, 1},
                                      {1, 0, -1}, {-1, 0, -1}, {0, 1, 1}, {0, -1, 1}, {0, 1, -1}, {0, -1, -1}};

double fade(double t)
{
    return t * t * t * (t * (t * 6 - 15) + 10);
}

double lerp(double a, double b, double t)
{
    return a + (b - a) * t;
}

// Gradient of lattice corner (i, j, k) dotted with the offset (dx, dy, dz) from it.
double cornerValue(std::int64_t i, std::int64_t j, std::int64_t k, double dx, double dy, double dz,
                   std::uint64_t seed)
{
    std::uint64_t h = hash64(seed ^ hash64(std::uint64_t(i) ^ hash64(std::uint64_t(j) ^ hash64(std::uint64_t(k)))));
    const double* g = kGradients[h % 12];
    return g[0] * dx + g[1] * dy + g[2] * dz;
}

}  // namespace

double gradientNoise(Point3 p, std::uint64_t seed)
{
    const double fx = std::floor(p.x), fy = std::floor(p.y), fz = std::floor(p.z);
    const auto i = std::int64_t(fx), j = std::int64_t(fy), k = std::int64_t(fz);
    const double dx = p.x - fx, dy = p.y - fy, dz = p.z - fz;
    const double u = fade(dx), v = fade(dy), w = fade(dz);
    auto corner = [&](int a, int b, int c) { return cornerValue(i + a, j + b, k + c, dx - a, dy - b, dz - c, seed); };
    const double x00 = lerp(corner(0, 0, 0), corner(1, 0, 0), u), x10 = lerp(corner(0, 1, 0), corner(1, 1, 0), u);
    const double x01 = lerp(corner(0, 0, 1), corner(1, 0, 1), u), x11 = lerp(corner(0, 1, 1), corner(1, 1, 1), u);
    return lerp(lerp(x00, x10, v), lerp(x01, x11, v), w);
}

double fractalNoise(Point3 p, std::uint64_t seed, int octaves, double gain)
{
    double sum = 0, amplitude = 1, total = 0;
    for (int octave = 0; octave < octaves; ++octave) {
        sum += amplitude * gradientNoise(p, seed + std::uint64_t(octave));
        total += amplitude;
        amplitude *= gain;
        // Double the frequency and shift, so that octaves do not share lattice points.
        p = {p.x * 2 + 17.3, p.y * 2 - 5.1, p.z * 2 + 9.7};
    }
    return sum / total;
}

}  // namespace texgen
