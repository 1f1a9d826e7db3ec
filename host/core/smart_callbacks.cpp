// The SmartFX callbacks: checkout_layer in pre-render (rectangles of the downsampled layer),
// checkout_layer_pixels / checkin_layer_pixels / checkout_output in smart render.
#include "host/core/host_state.h"
#include "host/core/layer_pixels.h"
#include "host/core/unsupported_slots.h"

#include <algorithm>
#include <cstring>

namespace orbhost {
namespace {

constexpr char kPreRenderCallbacks[] = "PF_PreRenderCallbacks";
constexpr char kSmartRenderCallbacks[] = "PF_SmartRenderCallbacks";

PF_LRect intersect(const PF_LRect& a, const PF_LRect& b)
{
    PF_LRect r{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
               std::min(a.bottom, b.bottom)};
    if (r.left >= r.right || r.top >= r.bottom)
        return {0, 0, 0, 0};
    return r;
}

PF_Err checkoutLayer(PF_ProgPtr ref, PF_ParamIndex index, A_long id, const PF_RenderRequest* request,
                     A_long time, A_long, A_u_long timeScale, PF_CheckoutResult* result)
{
    HostState* host = hostFromRef(ref);
    if (!host || !request || !result || timeScale == 0 || host->currentCmd != PF_Cmd_SMART_PRE_RENDER)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || index >= PF_ParamIndex(host->params.size()) ||
        host->params[std::size_t(index)].def.param_type != PF_Param_LAYER)
        return PF_Err_INVALID_INDEX;
    if (id < 0 || host->layerCheckouts.contains(id))
        return PF_Err_BAD_CALLBACK_PARAM;
    const double seconds = host->toSeconds(time, timeScale);
    const int layer = index == 0 ? host->composition.effectLayer : host->valueAt(index, seconds).layer;
    std::memset(result, 0, sizeof *result);
    if (const LayerSource* source = host->layer(layer); source && source->image) {
        const int w = downsampledSize(source->image->width, host->frame.downsampleX);
        const int h = downsampledSize(source->image->height, host->frame.downsampleY);
        result->max_result_rect = {0, 0, w, h};
        result->result_rect = intersect(request->rect, result->max_result_rect);
        result->par = {A_long(source->pixelAspect * 1000 + 0.5), 1000};
        result->ref_width = source->image->width;
        result->ref_height = source->image->height;
    }
    LayerCheckout checkout;
    checkout.layer = layer;
    checkout.seconds = seconds;
    host->layerCheckouts.emplace(id, std::move(checkout));
    host->accounting.count("checkout_layer");
    return PF_Err_NONE;
}

PF_Err guidMixIn(PF_ProgPtr ref, A_u_long, const void*)
{
    return hostFromRef(ref) ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err checkoutLayerPixels(PF_ProgPtr ref, A_long id, PF_EffectWorld** pixels)
{
    HostState* host = hostFromRef(ref);
    if (!host || !pixels || host->currentCmd != PF_Cmd_SMART_RENDER)
        return PF_Err_BAD_CALLBACK_PARAM;
    *pixels = nullptr;
    auto it = host->layerCheckouts.find(id);
    if (it == host->layerCheckouts.end() || it->second.world)
        return PF_Err_BAD_CALLBACK_PARAM;   // unknown id, or already checked out
    LayerCheckout& checkout = it->second;
    checkout.world = std::make_unique<PF_EffectWorld>();
    std::memset(checkout.world.get(), 0, sizeof(PF_EffectWorld));
    host->inputCheckedOut = true;
    const LayerSource* source = host->layer(checkout.layer);
    if (source && source->image) {
        if (PF_Err err = makeLayerWorld(host->worlds, *source->image,
                                        pixelFormatForDepth(host->frame.bitDepth),
                                        host->frame.downsampleX, host->frame.downsampleY, false,
                                        checkout.world.get()))
            return err;
        checkout.world->reserved0 = host->layerHandles[std::size_t(checkout.layer)];
        checkout.world->pix_aspect_ratio = {A_long(source->pixelAspect * 1000 + 0.5), 1000};
    }
    host->accounting.take("layer pixels checkout");
    *pixels = checkout.world.get();
    return PF_Err_NONE;
}

PF_Err checkinLayerPixels(PF_ProgPtr ref, A_long id)
{
    HostState* host = hostFromRef(ref);
    if (!host || host->currentCmd != PF_Cmd_SMART_RENDER)
        return PF_Err_BAD_CALLBACK_PARAM;
    auto it = host->layerCheckouts.find(id);
    if (it == host->layerCheckouts.end() || !it->second.world)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (it->second.world->data) {
        host->invalidateSamplingCache(it->second.world->data);
        host->worlds.dispose(it->second.world->data);
    }
    it->second.world.reset();
    host->accounting.giveBack("layer pixels checkout");
    return PF_Err_NONE;
}

PF_Err checkoutOutput(PF_ProgPtr ref, PF_EffectWorld** output)
{
    HostState* host = hostFromRef(ref);
    if (!host || !output || host->currentCmd != PF_Cmd_SMART_RENDER)
        return PF_Err_BAD_CALLBACK_PARAM;
    *output = nullptr;
    // The output comes after the inputs, unless the effect asked for none.
    if (!host->inputCheckedOut && !host->layerCheckouts.empty())
        return PF_Err_BAD_CALLBACK_PARAM;
    if (!host->outputWorld) {
        auto world = std::make_unique<PF_EffectWorld>();
        const int w = downsampledSize(host->layerWidth(), host->frame.downsampleX);
        const int h = downsampledSize(host->layerHeight(), host->frame.downsampleY);
        // Not cleared: untouched output pixels show the pattern.
        if (PF_Err err = host->worlds.create(w, h, pixelFormatForDepth(host->frame.bitDepth), false,
                                             true, world.get()))
            return err;
        world->pix_aspect_ratio = {A_long(host->composition.pixelAspect * 1000 + 0.5), 1000};
        host->invalidateSamplingCache(world->data);
        host->outputWorld = std::move(world);
    }
    *output = host->outputWorld.get();
    return PF_Err_NONE;
}

} // namespace

PF_PreRenderCallbacks* preRenderCallbacks()
{
    static PF_PreRenderCallbacks callbacks = [] {
        PF_PreRenderCallbacks c;
        fillUnsupported<kPreRenderCallbacks, PF_Err_INVALID_CALLBACK>(c);
        c.checkout_layer = checkoutLayer;
        c.GuidMixInPtr = guidMixIn;
        return c;
    }();
    return &callbacks;
}

PF_SmartRenderCallbacks* smartRenderCallbacks()
{
    static PF_SmartRenderCallbacks callbacks = [] {
        PF_SmartRenderCallbacks c;
        fillUnsupported<kSmartRenderCallbacks, PF_Err_INVALID_CALLBACK>(c);
        c.checkout_layer_pixels = checkoutLayerPixels;
        c.checkin_layer_pixels = checkinLayerPixels;
        c.checkout_output = checkoutOutput;
        return c;
    }();
    return &callbacks;
}

} // namespace orbhost
