#include "render/sphere_uv.h"

#include "render/kernel_math.h"
#include "render/ray.h"
#include "scene/render_context.h"

#include <cmath>

TextureCoord sphereUV(const RenderContext& ctx, Vec4 p)
{
    const Vec4 q = normalize3(hadamard(p, ctx.invRadius));
    TextureCoord uv;
    // Single-precision arc functions.
    uv.v = 1.0 - acosF(q.z) / kPi;
    if (q.x == 0.0f && q.y == 0.0f) {
        uv.u = 0.0;
    } else {
        uv.u = -atan2F(q.y, q.x) / (2.0 * kPi);
        if (uv.u < 0.0)
            uv.u += 1.0;
    }
    return uv;
}

TextureCoord transformUV(const RenderContext& ctx, TextureCoord uv)
{
    const double k = ctx.openScale;
    const double u0 = ctx.fixedPointU;
    const double v0 = ctx.fixedPointV;
    // The stretch is strongest at the equator and vanishes at the poles.
    const double g = std::sin(kPi * uv.v);
    const double w = (k - 1.0) * g + 1.0;
    double u = w * (uv.u - u0) + u0;
    u += ctx.slideTurns;
    u -= std::floor(u / w) * w;
    double v = (uv.v - v0) * k + v0;
    const A_long h = ctx.textureWorld.height;
    if (h != 0)
        v *= 1.0 - 1.0 / h;
    return {u, v};
}

Colour pivotMarks(const RenderContext& ctx, TextureCoord uv, const Colour& shaded)
{
    if (!ctx.showPivot || !insideTexture(uv))
        return shaded;
    const double du = uv.u - ctx.fixedPointU;
    const double dv = uv.v - ctx.fixedPointV;
    if (4.0 * du * du + dv * dv < 0.0001)
        return {1.0f, 0.0f, 0.0f, 1.0f};   // the pivot
    if (std::abs(du) < 0.001)
        return {1.0f, 0.0f, 1.0f, 0.0f};   // its meridian
    if (std::abs(dv) < 0.002)
        return {1.0f, 1.0f, 0.0f, 0.0f};   // its parallel
    return shaded;
}
