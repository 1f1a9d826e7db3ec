// Seeded hashing and gradient noise. Noise is sampled in 3-D on the unit sphere, so lat/long
// textures built from it have no seam at longitude 0 and no pinching at the poles.
#pragma once

#include <cstdint>

namespace texgen {

struct Point3 {
    double x = 0, y = 0, z = 0;
};

// Point on the unit sphere for pixel centre (x, y) of a width × height lat/long image:
// y axis up through the north pole, longitude 0 along +x.
Point3 sphereDirection(int x, int y, int width, int height);

// Latitude of pixel row y in degrees, +90 at the top.
double rowLatitude(int y, int height);

// 64-bit mix of a value (splitmix64 finaliser); the same input always gives the same output.
std::uint64_t hash64(std::uint64_t value);

// Uniform in [0, 1) from a seed and a counter.
double unitRandom(std::uint64_t seed, std::uint64_t index);

// Gradient noise in about [-1, 1], smooth, with lattice gradients chosen by seed.
double gradientNoise(Point3 p, std::uint64_t seed);

// Fractal sum of `octaves` gradient noises, each twice the frequency and `gain` the amplitude
// of the last; normalised back to about [-1, 1].
double fractalNoise(Point3 p, std::uint64_t seed, int octaves, double gain = 0.5);

}  // namespace texgen
