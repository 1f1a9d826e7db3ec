#pragma once
// Viewing rays of one output pixel, their intersection with the ellipsoid, and how much of
// the pixel the ellipsoid covers.

#include "render/pixel_region.h"
#include "render/ray.h"

struct RenderContext;

// The ray through (x + ox, y + oy) of the output, in the sphere's frame.
Ray sampleRay(const RenderContext& ctx, A_long x, A_long y, double ox, double oy);

// A, B and the discriminant of the ray against the ellipsoid, in double precision.
RayQuadratic rayQuadratic(const RenderContext& ctx, const Ray& ray);

struct PixelCoverage {
    int hits = 0;               // 0 to 9 samples inside the silhouette
    double coverage = 0.0;      // hits / 9, a single-precision quotient
    Ray ray;                    // the ray to shade along (or, for an empty pixel, its last corner ray)
    RayQuadratic quadratic;
};

// Four corner samples first; the nine-sample grid only where the corners disagree. Where the
// silhouette bounds already decide the corner test, only the last corner is cast.
PixelCoverage pixelCoverage(const RenderContext& ctx, A_long x, A_long y, PixelRegion region = PixelRegion::Unknown);

// The ellipsoid's unit normal at P: the gradient of its equation, not turned to the viewer.
Vec4 surfaceNormal(const RenderContext& ctx, Vec4 p);
