#include "render/depth_effects.h"

#include "render/popup_values.h"
#include "scene/render_context.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr float kNoSurface = -1.0f;
// Keeps r(d) finite at the focus distance.
constexpr double kMinFocusOffset = 0.00001;

} // namespace

double blurRadius(const RenderContext& ctx, double depth)
{
    const double f = ctx.focusDistance;
    return ctx.blurScale / (f / std::max(std::abs(depth - f), kMinFocusOffset) + 1.0);
}

float emptyPixelDepth(const RenderContext& ctx, const PixelCoverage& empty)
{
    const RayQuadratic& q = empty.quadratic;
    const double closest = q.a != 0.0 ? q.b / q.a : 0.0;
    const Vec4 p = pointAt(empty.ray, static_cast<float>(closest));
    const float reach = std::max({ctx.radius.x, ctx.radius.y, ctx.radius.z});
    const double gap = std::sqrt(double(dot3(p, p))) - reach;
    // The gap as seen on the image plane, in pixels.
    const float zoom = std::abs(ctx.viewPlaneZ);
    const double projected = double(zoom) * gap / double(static_cast<float>(closest));
    if (ctx.blurScale <= projected)
        return kNoSurface;
    return static_cast<float>(closest);
}

Colour depthComposite(const RenderContext& ctx, const Colour& colour, double t)
{
    switch (ctx.depthCompositeMode) {
    case kCompositeFog: {
        double f = (t - ctx.startDepth) / ctx.depthRange;
        if (!(f > 0.0))
            f = 0.0;
        else if (f > 1.0)
            f = 1.0;
        Colour fog = ctx.fogColor;
        fog.alpha = static_cast<float>(f);
        // Fog tints the surface; it never makes it more opaque.
        Colour out = over(fog, colour);
        out.alpha = colour.alpha;
        return out;
    }
    case kCompositeFadeOut: {
        const double h = 1.0 - (t - ctx.startDepth) / ctx.depthRange;
        Colour out = colour;
        if (!(h > 0.0))
            out.alpha = 0.0f;
        else if (h < 1.0)
            out.alpha *= static_cast<float>(h);
        return out;
    }
    default:
        return colour;
    }
}
