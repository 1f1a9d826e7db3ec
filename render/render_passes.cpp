// The pass callbacks, one implementation per pass templated on the output's pixel type.
// The direct pass is the whole render without depth of field; with it, the buffered pass
// splits the sphere into a front and a back layer with their depths, and the gather pass
// blurs each layer by its own depth and composites them.
#include "render/render_passes.h"

#include "render/colour_pixel.h"
#include "render/coverage.h"
#include "render/depth_effects.h"
#include "render/fixed_point.h"
#include "render/popup_values.h"
#include "render/shading.h"
#include "render/texture_sampling.h"
#include "scene/render_context.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

constexpr float kNoSurface = -1.0f;

template <class Pixel>
Pixel& pixelAt(const PF_EffectWorld& world, A_long x, A_long y)
{
    auto* row = reinterpret_cast<char*>(world.data) + static_cast<std::ptrdiff_t>(world.rowbytes) * y;
    return reinterpret_cast<Pixel*>(row)[x];
}

// The context and the output pixel of iteration i; null when the call has nothing to do.
const RenderContext* pixelOf(void* refcon, A_long threadIndex, A_long i, A_long& x, A_long& y)
{
    const auto* ctx = static_cast<const RenderContext*>(refcon);
    const PF_EffectWorld* out = ctx ? ctx->outputWorld : nullptr;
    if (threadIndex < 0 || !out || !out->data || out->width <= 0 || i < 0 || i / out->width >= out->height) {
        return nullptr;
    }
    x = i % out->width;
    y = i / out->width;
    return ctx;
}

// The two walls of the sphere along the pixel's shading ray, each with the render side's
// verdict on whether it may be shown.
struct Walls {
    double nearT, farT;
    bool nearShown, farShown;
};

Walls wallsOf(const RenderContext& ctx, const RayQuadratic& q)
{
    const double root = std::sqrt(q.discriminant);
    Walls w;
    w.farT = (q.b + root) / q.a;
    w.nearT = (q.b - root) / q.a;
    // "Inside" shows only the far wall, "Outside" only the near one.
    w.nearShown = w.nearT > 0.0 && ctx.renderSide != kSideInside;
    w.farShown = w.farT > 0.0 && ctx.renderSide != kSideOutside;
    return w;
}

template <class Pixel>
Colour directColour(const RenderContext& ctx, A_long x, A_long y)
{
    // Where no corner sample can meet the ellipsoid the coverage test would find nothing.
    const PixelRegion region = pixelRegion(ctx, x, y);
    if (region == PixelRegion::Empty || region == PixelRegion::BeyondBlur)
        return {};
    const PixelCoverage cov = pixelCoverage(ctx, x, y, region);
    if (cov.hits < 1)
        return {};
    Walls w = wallsOf(ctx, cov.quadratic);
    // A is positive for any real ellipsoid; should it not be, the smaller parameter is still
    // composited in front, each root keeping its own side rule.
    if (cov.quadratic.a < 0.0) {
        std::swap(w.nearT, w.farT);
        std::swap(w.nearShown, w.farShown);
    }
    const Colour front = w.nearShown ? shadePixel<Pixel>(ctx, cov.ray, w.nearT) : Colour{};
    Colour result = front;
    // An opaque front hides the back, which is then not shaded at all.
    if (w.farShown && !(front.alpha >= 1.0f))
        result = over(front, shadePixel<Pixel>(ctx, cov.ray, w.farT));
    // Anti-aliasing is carried by alpha alone.
    result.alpha *= static_cast<float>(cov.coverage);
    return result;
}

// The depth worlds hold one float per pixel in a world made for the output's pixels. A host
// may give such a world row bytes that are no multiple of a float's alignment, so depths are
// copied in and out, never referenced where they lie.
unsigned char* depthAt(const PF_EffectWorld& world, A_long x, A_long y)
{
    return reinterpret_cast<unsigned char*>(world.data) + static_cast<std::ptrdiff_t>(world.rowbytes) * y +
           static_cast<std::ptrdiff_t>(x) * static_cast<std::ptrdiff_t>(sizeof(float));
}

float loadDepth(const PF_EffectWorld& world, A_long x, A_long y)
{
    float depth;
    std::memcpy(&depth, depthAt(world, x, y), sizeof depth);
    return depth;
}

void storeDepth(const PF_EffectWorld& world, A_long x, A_long y, float depth)
{
    std::memcpy(depthAt(world, x, y), &depth, sizeof depth);
}

template <class Pixel>
void bufferedPixel(const RenderContext& ctx, A_long x, A_long y)
{
    Pixel& frontColour = pixelAt<Pixel>(*ctx.passWorlds[0], x, y);
    Pixel& backColour = pixelAt<Pixel>(*ctx.passWorlds[1], x, y);
    float frontDepth = 0.0f, backDepth = 0.0f;
    const auto storeDepths = [&] {
        storeDepth(*ctx.passWorlds[2], x, y, frontDepth);
        storeDepth(*ctx.passWorlds[3], x, y, backDepth);
    };

    // Beyond the blur's reach the empty-pixel test would write no surface.
    const PixelRegion region = pixelRegion(ctx, x, y);
    if (region == PixelRegion::BeyondBlur) {
        frontColour = backColour = toPixel<Pixel>(Colour{});
        frontDepth = backDepth = kNoSurface;
        storeDepths();
        return;
    }
    const PixelCoverage cov = pixelCoverage(ctx, x, y, region);
    if (cov.hits < 1) {
        frontColour = backColour = toPixel<Pixel>(Colour{});
        frontDepth = backDepth = emptyPixelDepth(ctx, cov);
        storeDepths();
        return;
    }
    const Walls w = wallsOf(ctx, cov.quadratic);
    const float coverage = static_cast<float>(cov.coverage);
    const auto layer = [&](bool shown, double t, Pixel& colour, float& depth) {
        if (!shown) {
            colour = toPixel<Pixel>(Colour{});
            depth = kNoSurface;
            return;
        }
        Colour c = shadePixel<Pixel>(ctx, cov.ray, t);
        c.alpha *= coverage;
        colour = toPixel<Pixel>(c);
        depth = static_cast<float>(t);
    };
    layer(w.nearShown, w.nearT, frontColour, frontDepth);
    layer(w.farShown, w.farT, backColour, backDepth);
    storeDepths();
}

// The average of a layer over a box of half-size r (full-resolution pixels) about (x, y),
// clamped to the world so that near a border it shrinks and its centre moves inward.
template <class Pixel>
Colour blurredSample(const RenderContext& ctx, const PF_EffectWorld& layer, A_long x, A_long y, double r)
{
    const double rx = r * ctx.downsampleX;
    const double ry = r * ctx.downsampleY;
    const double left = std::max(x - rx, 0.0);
    const double right = std::min(x + rx, double(layer.width - 1));
    const double top = std::max(y - ry, 0.0);
    const double bottom = std::min(y + ry, double(layer.height - 1));
    return sampleHost<Pixel>(ctx, layer, toFixed((left + right) / 2.0), toFixed((top + bottom) / 2.0),
                             toFixedRadius((right - left) / 2.0), toFixedRadius((bottom - top) / 2.0));
}

template <class Pixel>
Colour gatherColour(const RenderContext& ctx, A_long x, A_long y)
{
    const float frontDepth = loadDepth(*ctx.passWorlds[2], x, y);
    const float backDepth = loadDepth(*ctx.passWorlds[3], x, y);
    // Equal depths count the back layer as the near one.
    const bool frontIsNear = backDepth > frontDepth;
    const PF_EffectWorld& nearLayer = *ctx.passWorlds[frontIsNear ? 0 : 1];
    const PF_EffectWorld& farLayer = *ctx.passWorlds[frontIsNear ? 1 : 0];
    const double nearDepth = std::min(frontDepth, backDepth);
    const double farDepth = std::max(frontDepth, backDepth);

    Colour nearSample;
    if (!(nearDepth < 0.0))
        nearSample = blurredSample<Pixel>(ctx, nearLayer, x, y, blurRadius(ctx, nearDepth));
    Colour farSample;
    if (!(farDepth < 0.0) && !(nearSample.alpha >= 1.0f))
        farSample = blurredSample<Pixel>(ctx, farLayer, x, y, blurRadius(ctx, farDepth));
    return over(nearSample, farSample);
}

bool hasPassWorlds(const RenderContext& ctx)
{
    return std::all_of(std::begin(ctx.passWorlds), std::end(ctx.passWorlds),
                       [](const PF_EffectWorld* w) { return w && w->data; });
}

// Runs one pixel of a pass. Nothing may leave an iterate callback as an exception, since it
// would have to cross the host's worker threads: anything thrown ends the pass with the
// host's bad-callback error instead.
template <class Work>
PF_Err guardedPixel(void* refcon, A_long threadIndex, A_long i, Work work)
{
    try {
        A_long x = 0, y = 0;
        if (const RenderContext* ctx = pixelOf(refcon, threadIndex, i, x, y))
            work(*ctx, x, y);
        return PF_Err_NONE;
    } catch (...) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
}

template <class Pixel>
PF_Err directPass(void* refcon, A_long threadIndex, A_long i, A_long)
{
    return guardedPixel(refcon, threadIndex, i, [](const RenderContext& ctx, A_long x, A_long y) {
        writePixel(directColour<Pixel>(ctx, x, y), pixelAt<Pixel>(*ctx.outputWorld, x, y));
    });
}

template <class Pixel>
PF_Err bufferedPass(void* refcon, A_long threadIndex, A_long i, A_long)
{
    return guardedPixel(refcon, threadIndex, i, [](const RenderContext& ctx, A_long x, A_long y) {
        if (hasPassWorlds(ctx))
            bufferedPixel<Pixel>(ctx, x, y);
    });
}

template <class Pixel>
PF_Err gatherPass(void* refcon, A_long threadIndex, A_long i, A_long)
{
    return guardedPixel(refcon, threadIndex, i, [](const RenderContext& ctx, A_long x, A_long y) {
        if (hasPassWorlds(ctx))
            writePixel(gatherColour<Pixel>(ctx, x, y), pixelAt<Pixel>(*ctx.outputWorld, x, y));
    });
}

template <class Pixel>
constexpr PassCallbacks callbacksOf()
{
    return {directPass<Pixel>, bufferedPass<Pixel>, gatherPass<Pixel>, canSample<Pixel>};
}

} // namespace

PassCallbacks passCallbacksFor(PF_PixelFormat format)
{
    switch (format) {
    case PF_PixelFormat_ARGB128: return callbacksOf<PF_PixelFloat>();
    case PF_PixelFormat_ARGB64: return callbacksOf<PF_Pixel16>();
    default: return callbacksOf<PF_Pixel>();
    }
}
