// Pass callbacks. The sphere's shading kernels plug in here; until they do, every pass
// writes what a pixel with nothing to show holds: all zeros.
#include "render/render_passes.h"

#include "render/colour_pixel.h"
#include "scene/render_context.h"

namespace {

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

template <class Pixel>
PF_Err directPass(void* refcon, A_long threadIndex, A_long i, A_long)
{
    A_long x = 0, y = 0;
    if (const RenderContext* ctx = pixelOf(refcon, threadIndex, i, x, y)) {
        writePixel(Colour{}, pixelAt<Pixel>(*ctx->outputWorld, x, y));
    }
    return PF_Err_NONE;
}

template <class Pixel>
PF_Err bufferedPass(void* refcon, A_long threadIndex, A_long i, A_long)
{
    A_long x = 0, y = 0;
    const RenderContext* ctx = pixelOf(refcon, threadIndex, i, x, y);
    if (!ctx) {
        return PF_Err_NONE;
    }
    // Colours at the output depth; depths as one float per 8-bit pixel, −1 for no surface.
    constexpr float kNoSurface = -1.0f;
    for (int layer = 0; layer < 2; ++layer) {
        if (const PF_EffectWorld* colour = ctx->passWorlds[layer]; colour && colour->data) {
            writePixel(Colour{}, pixelAt<Pixel>(*colour, x, y));
        }
        if (const PF_EffectWorld* depth = ctx->passWorlds[layer + 2]; depth && depth->data) {
            pixelAt<float>(*depth, x, y) = kNoSurface;
        }
    }
    return PF_Err_NONE;
}

template <class Pixel>
constexpr PassCallbacks callbacksOf()
{
    return {directPass<Pixel>, bufferedPass<Pixel>, directPass<Pixel>};
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
