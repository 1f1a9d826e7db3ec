#pragma once
// Filtered texels of the "Texture" and "Reflection Map" layers through the host's area
// sample, one sampler per pixel depth. The texture lookup estimates the screen pixel's
// footprint on the texture and joins the two sides of the seam at U = 0.

#include "render/colour_pixel.h"
#include "render/ray.h"
#include "render/sphere_uv.h"

struct RenderContext;

// Radii in source pixels of an area sample.
struct Footprint {
    double x = 0.0;
    double y = 0.0;
};

// One area sample of `source` at the 16.16 point (x, y) with 16.16 radii, as a straight
// float colour. The host's zero edge behaviour makes whatever lies outside the world read as
// transparent black. `err` receives the host's result.
template <class Pixel>
Colour sampleHost(const RenderContext& ctx, const PF_EffectWorld& source, PF_Fixed x, PF_Fixed y,
                  PF_Fixed radiusX, PF_Fixed radiusY, PF_Err* err = nullptr);

// How large the screen pixel along `ray` at parameter t is on the texture, in texture
// pixels, sharpened by "Sharpness". S = P ⊙ invRadius; N is the unflipped normal.
Footprint textureFootprint(const RenderContext& ctx, const Ray& ray, double t, Vec4 s, Vec4 n);

// The texel at deformed (u, v), joined across the seam where the footprint reaches over it.
template <class Pixel>
Colour sampleTexture(const RenderContext& ctx, Vec4 s, TextureCoord uv, Footprint footprint);

// Whether the kernels of this pixel type can sample: the context holds the suite and its
// area sample.
template <class Pixel>
bool canSample(const RenderContext& ctx);
