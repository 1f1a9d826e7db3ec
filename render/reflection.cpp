#include "render/reflection.h"

#include "render/fixed_point.h"
#include "render/kernel_math.h"
#include "render/shading.h"
#include "render/texture_sampling.h"
#include "scene/render_context.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kTwoPi = 2.0 * kPi;
// sV where the latitude term vanishes.
constexpr double kMinSine = 1e-5;
// "Reflection Rolloff" at 100 % is this exponent of (1 − |N·D|).
constexpr double kRolloffExponent = 10.0;

double sq(double v) { return v * v; }

} // namespace

template <class Pixel>
void shadeReflection(const RenderContext& ctx, const Ray& ray, Vec4 p, Vec4 n, const Colour& base, Colour& sum)
{
    const Vec4 d = ray.direction;
    const Colour tint = metalTint(ctx.metal, base);
    const float c = dot3(n, d);
    const Vec4 mirrored = d - n * (2.0f * c);

    Colour filter = kWhite;
    if (ctx.selfShadow)
        filter = selfShadowFilter<Pixel>(ctx, Ray{p, mirrored}, nullptr);

    // The map is fixed to the composition: the ray goes into world space through the sphere's axes.
    const Vec4 r = normalize3(transformDirection(mirrored, ctx.sphereToWorld));
    const Vec4 b = normalize3(transformDirection(cross3(d, n), ctx.sphereToWorld));

    // How fast the mirrored ray sweeps the map, per unit of the view: unitless radii in map
    // pixels, so the reflection keeps its sharpness whatever the map's size or distance.
    const Vec4 x = cross3(r, b);
    const Vec4 e = normalize3(cross3(r, Vec4{0.0f, 1.0f, 0.0f, 0.0f}));
    const Vec4 g = cross3(r, e);
    const double c2 = double(c) * c;
    const double du = std::sqrt(sq(dot3(e, x)) / c2 + sq(dot3(e, b)));
    const double dv = std::sqrt(sq(dot3(g, x)) / c2 + sq(dot3(g, b)));

    // Latitude from y, longitude from z and x, with single-precision arc functions.
    const double v = 1.0 - acosF(r.y) / kPi;
    // The root takes V itself, not the sine of the latitude.
    const double sv = 1.0 - v * v > 0.0 ? std::sqrt(1.0 - v * v) : kMinSine;
    double u = 0.0;
    // The degenerate test looks at y and x, though the angle is taken from z and x.
    if (!(r.y == 0.0f && r.x == 0.0f)) {
        u = atan2F(r.z, r.x) / kTwoPi - 0.25;
        u -= std::floor(u);
    }

    const PF_EffectWorld& map = ctx.reflectionWorld;
    const Colour sample =
        sampleHost<Pixel>(ctx, map, toFixed(map.width * u), toFixed(map.height * v),
                          toFixedRadius(du / sv * ctx.sharpnessFactor), toFixedRadius(dv * ctx.sharpnessFactor));
    const Colour reflected = sample * tint * filter;

    // |N·D| of two unit vectors can come out a hair above 1 where the view meets the surface
    // head on; a negative base would make the weight NaN for a fractional exponent and put a
    // black dot in the middle of the sphere.
    const double grazing = std::max(0.0, 1.0 - std::abs(double(c)));
    const float weight =
        static_cast<float>(std::pow(grazing, kRolloffExponent * ctx.reflectionRolloff) * ctx.reflectionIntensity);
    sum = sum + reflected * weight;
}

template void shadeReflection<PF_Pixel>(const RenderContext&, const Ray&, Vec4, Vec4, const Colour&, Colour&);
template void shadeReflection<PF_Pixel16>(const RenderContext&, const Ray&, Vec4, Vec4, const Colour&, Colour&);
template void shadeReflection<PF_PixelFloat>(const RenderContext&, const Ray&, Vec4, Vec4, const Colour&, Colour&);
