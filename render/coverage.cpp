#include "render/coverage.h"

#include "scene/render_context.h"

#include <algorithm>
#include <cmath>

namespace {

struct SampleOffset {
    double x, y;
};

// The 3 × 3 grid in the order the samples are cast; 6 to 9 are the corners.
constexpr double kSixth = 1.0 / 6.0;
constexpr double kHalf = 0.5;
constexpr double kFiveSixths = 5.0 / 6.0;
constexpr SampleOffset kSamples[9] = {
    {kHalf, kHalf},           {kSixth, kHalf},      {kHalf, kFiveSixths},
    {kFiveSixths, kHalf},     {kHalf, kSixth},      {kSixth, kSixth},
    {kSixth, kFiveSixths},    {kFiveSixths, kSixth}, {kFiveSixths, kFiveSixths},
};
constexpr int kFirstCorner = 5;

Vec4 row(const Matrix4& m, int i) { return {m.m[i][0], m.m[i][1], m.m[i][2], m.m[i][3]}; }

double sq(double v) { return v * v; }

} // namespace

Ray sampleRay(const RenderContext& ctx, A_long x, A_long y, double ox, double oy)
{
    const float xp = static_cast<float>(((x + ox) / ctx.downsampleX - ctx.viewCenterX) * ctx.pixelAspect);
    const float yp = static_cast<float>((y + oy) / ctx.downsampleY - ctx.viewCenterY);
    const Matrix4& cam = ctx.cameraToSphere;
    Ray ray;
    if (ctx.perspective) {
        ray.direction = normalize3(row(cam, 0) * xp + row(cam, 1) * yp - row(cam, 2) * ctx.viewPlaneZ);
        ray.origin = row(cam, 3);
    } else {
        // Parallel rays start behind the ellipsoid's bounding sphere.
        const float reach = std::max({std::abs(ctx.radius.x), std::abs(ctx.radius.y), std::abs(ctx.radius.z)});
        ray.direction = normalize3(row(cam, 2));
        ray.origin = row(cam, 0) * xp + row(cam, 1) * yp - row(cam, 2) * reach + row(cam, 3);
    }
    ray.origin.w = 1.0f;
    return ray;
}

RayQuadratic rayQuadratic(const RenderContext& ctx, const Ray& ray)
{
    const Vec4 d = ray.direction;
    const Vec4 s = ctx.invRadiusSq;
    RayQuadratic q;
    q.a = sq(d.x) * s.x + sq(d.y) * s.y + sq(d.z) * s.z;
    if (ctx.perspective) {
        // The eye is the same for every ray: its constant term is computed once per render.
        const double* o = ctx.cameraOrigin;
        q.b = -(o[0] * d.x * s.x + o[1] * d.y * s.y + o[2] * d.z * s.z);
        q.discriminant = q.b * q.b - ctx.cameraQuadric * q.a;
    } else {
        // Every lane is widened before any product: a product of two floats is exact in
        // double, so B differs from the exact value by the sum's roundings only, and the
        // cancellation in D at the silhouette does not pick up a float rounding of d·s.
        const Vec4 o = ray.origin;
        q.b = -(double(o.x) * d.x * s.x + double(o.y) * d.y * s.y + double(o.z) * d.z * s.z);
        const double c = sq(o.x) * s.x + sq(o.y) * s.y + sq(o.z) * s.z - 1.0;
        q.discriminant = q.b * q.b - c * q.a;
    }
    return q;
}

PixelCoverage pixelCoverage(const RenderContext& ctx, A_long x, A_long y, PixelRegion region)
{
    PixelCoverage out;
    // A decided corner test keeps nothing of its corners but the count and the last one's
    // ray and quadratic: the others are not cast. Should the last corner contradict the
    // bound, all four are cast after all.
    const bool decided = region == PixelRegion::Covered || region == PixelRegion::Empty;
    if (decided) {
        out.ray = sampleRay(ctx, x, y, kSamples[8].x, kSamples[8].y);
        out.quadratic = rayQuadratic(ctx, out.ray);
        const bool hit = out.quadratic.discriminant >= 0.0;
        if (!hit)
            out.quadratic.discriminant = 0.0;
        if (hit == (region == PixelRegion::Covered)) {
            if (hit) {
                out.hits = 9;
                out.coverage = 1.0;
            }
            return out;
        }
    }
    int corners = 0;
    for (int i = kFirstCorner; i < 9; ++i) {
        out.ray = sampleRay(ctx, x, y, kSamples[i].x, kSamples[i].y);
        out.quadratic = rayQuadratic(ctx, out.ray);
        if (out.quadratic.discriminant >= 0.0)
            ++corners;
        if (out.quadratic.discriminant < 0.0)
            out.quadratic.discriminant = 0.0;
    }
    if (corners == 0)
        return out;
    if (corners == 4) {
        // Inside the silhouette: shaded along the last corner ray, (x + 5/6, y + 5/6).
        out.hits = 9;
        out.coverage = 1.0;
        return out;
    }
    for (int i = 0; i < 9; ++i) {
        const Ray ray = sampleRay(ctx, x, y, kSamples[i].x, kSamples[i].y);
        const RayQuadratic q = rayQuadratic(ctx, ray);
        if (i == 0) {
            out.ray = ray;
            out.quadratic.a = q.a;
            out.quadratic.b = q.b;
        }
        // A NaN A is not zero; a zero A has no intersection to speak of.
        if (q.a != 0.0 && q.discriminant >= 0.0) {
            if (out.hits == 0) {
                out.ray = ray;
                out.quadratic = q;
            }
            ++out.hits;
        }
    }
    out.coverage = static_cast<float>(out.hits) / 9.0f;
    return out;
}

Vec4 surfaceNormal(const RenderContext& ctx, Vec4 p)
{
    return normalize3(hadamard(p, ctx.invRadiusSq));
}
