// The zero kernel: stands in for render/render_passes.cpp in the module orbulon_zero_kernel.
// Everything else of that module is the effect's own code, so a frame registers the same
// parameters, assembles the same scene, checks out the same layers and runs the same number of
// iterate passes as Orbulon; only the per-pixel work is gone. What a frame still costs is the
// host's side: checkouts, worlds, the iterate itself and the writes it carries.
#include "render/render_passes.h"
#include "scene/render_context.h"

namespace {

// One pixel of the output per call, as the real passes write it, so the host's iterate
// overhead per call is the same.
template <class Pixel>
PF_Err zeroPass(void* refcon, A_long threadIndex, A_long i, A_long)
{
    const auto* ctx = static_cast<const RenderContext*>(refcon);
    const PF_EffectWorld* out = ctx ? ctx->outputWorld : nullptr;
    if (threadIndex < 0 || !out || !out->data || out->width <= 0 || i < 0 || i / out->width >= out->height) {
        return PF_Err_NONE;
    }
    auto* row = reinterpret_cast<char*>(out->data) + static_cast<std::ptrdiff_t>(out->rowbytes) * (i / out->width);
    reinterpret_cast<Pixel*>(row)[i % out->width] = Pixel{};
    return PF_Err_NONE;
}

// Nothing is sampled, so no sampling suite is needed.
bool needsNoSampling(const RenderContext&) { return true; }

template <class Pixel>
constexpr PassCallbacks zeroCallbacks()
{
    return {zeroPass<Pixel>, zeroPass<Pixel>, zeroPass<Pixel>, needsNoSampling};
}

} // namespace

PassCallbacks passCallbacksFor(PF_PixelFormat format)
{
    switch (format) {
    case PF_PixelFormat_ARGB128: return zeroCallbacks<PF_PixelFloat>();
    case PF_PixelFormat_ARGB64: return zeroCallbacks<PF_Pixel16>();
    default: return zeroCallbacks<PF_Pixel>();
    }
}
