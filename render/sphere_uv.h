#pragma once
// The texture coordinates of a surface point: the lat/long mapping of the unit sphere, then
// the opening about the fixed point, the slide and the row correction; and the pivot marks
// drawn in those coordinates.

#include "render/colour_pixel.h"
#include "render/vector_matrix.h"

struct RenderContext;

struct TextureCoord {
    double u = 0.0;
    double v = 0.0;
};

// (U, V) of a point of the ellipsoid: V = 1 at the +z pole, 0 at the −z pole; U in [0, 1)
// runs against the angle from +x toward +y.
TextureCoord sphereUV(const RenderContext& ctx, Vec4 p);

// The opening of "Open Sphere" about the fixed point, "Slide Texture", and the texture's row
// correction, in that order.
TextureCoord transformUV(const RenderContext& ctx, TextureCoord uv);

// sphereUV followed by transformUV.
inline TextureCoord textureCoordAt(const RenderContext& ctx, Vec4 p) { return transformUV(ctx, sphereUV(ctx, p)); }

// 0 ≤ u < 1 and 0 ≤ v < 1: the part of the plane the texture covers.
inline bool insideTexture(TextureCoord uv) { return uv.u >= 0.0 && uv.u < 1.0 && uv.v >= 0.0 && uv.v < 1.0; }

// With "Show Pivot": the pivot dot, its meridian and its parallel, painted over `shaded`.
Colour pivotMarks(const RenderContext& ctx, TextureCoord uv, const Colour& shaded);
