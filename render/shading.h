#pragma once
// Surface shading: one ray hit on the sphere becomes one straight colour. Base colour from
// the texture (or the untextured gradient), emission, every composition light with
// diffuse, transmission, Phong highlight and self shadow, the reflection map, then the depth
// composite and the pivot marks. One routine serves the three depths; they differ only in
// the sampler they call.

#include "render/colour_pixel.h"
#include "render/ray.h"

struct RenderContext;
struct LightRecord;

// The colour of the surface where `ray` meets it at parameter t.
template <class Pixel>
Colour shadePixel(const RenderContext& ctx, const Ray& ray, double t);

// Unit vector from the light toward P and the light's attenuation there.
struct LightAtPoint {
    Vec4 direction;
    double attenuation = 1.0;
};
LightAtPoint lightVector(const RenderContext& ctx, const LightRecord& light, Vec4 p);

// Adds one light's diffuse and specular share at P (normal N facing the viewer) to `sum`.
template <class Pixel>
void shadeLight(const RenderContext& ctx, const Ray& ray, Vec4 p, Vec4 n, const LightRecord& light,
                const Colour& base, Colour& sum);

// What the sphere lets through along a ray leaving its surface at `shadow.origin`: its own
// texel on the far side times "Light Transmission", or white where nothing is in the way.
// With a light, only what lies between the point and the light counts; with none (the
// reflection), anything ahead.
template <class Pixel>
Colour selfShadowFilter(const RenderContext& ctx, const Ray& shadow, const LightRecord* light);

// Lane-by-lane colour arithmetic of the shading steps.
inline Colour operator*(const Colour& a, const Colour& b)
{
    return {a.alpha * b.alpha, a.red * b.red, a.green * b.green, a.blue * b.blue};
}
inline Colour operator*(const Colour& a, float s) { return {a.alpha * s, a.red * s, a.green * s, a.blue * s}; }
inline Colour operator+(const Colour& a, const Colour& b)
{
    return {a.alpha + b.alpha, a.red + b.red, a.green + b.green, a.blue + b.blue};
}
inline constexpr Colour kWhite{1.0f, 1.0f, 1.0f, 1.0f};

// (1 − m)·white + m·c: the tint of highlights and reflections by "Metal".
inline Colour metalTint(float metal, const Colour& base) { return kWhite * (1.0f - metal) + base * metal; }
