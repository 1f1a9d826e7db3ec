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
    const int layer = host->layerOfParam(index, seconds);
    std::memset(result, 0, sizeof *result);
    if (const LayerPixels* pixels = host->layerPixelsOf(layer)) {
        const int w = downsampledSize(pixels->width(), host->frame.downsampleX);
        const int h = downsampledSize(pixels->height(), host->frame.downsampleY);
        result->max_result_rect = {0, 0, w, h};
        result->result_rect = intersect(request->rect, result->max_result_rect);
        result->par = pixelAspectRatio(host->modelLayer(layer)->pixelAspect);
        result->ref_width = pixels->width();
        result->ref_height = pixels->height();
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
    host->inputCheckedOut = true;
    if (PF_Err err = host->checkOutLayerWorld(checkout.layer, checkout.world.get())) {
        checkout.world.reset();
        return err;
    }
    host->accounting.take("layer pixels checkout");
    *pixels = host->faults.nullPointers.contains("input") ? nullptr : checkout.world.get();
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
    host->checkInLayerPixels(it->second);
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
        if (injectFault(host->faultCounters.hostWorlds, host->faults.failHostWorld)) {
            host->note("injected failure: output world");
            return PF_Err_OUT_OF_MEMORY;
        }
        auto world = std::make_unique<PF_EffectWorld>();
        const PF_LRect size = host->layerBufferRect();
        // Not cleared: untouched output pixels show the pattern.
        if (PF_Err err = host->worlds.create(size.right, size.bottom,
                                             pixelFormatForDepth(host->frame.bitDepth), WorldFill::Pattern, true,
                                             world.get()))
            return err;
        world->pix_aspect_ratio = pixelAspectRatio(host->composition.model.pixelAspect);
        host->invalidateSamplingCache(world->data);
        host->outputWorld = std::move(world);
    }
    *output = host->faults.nullPointers.contains("output") ? nullptr : host->outputWorld.get();
    return PF_Err_NONE;
}

} // namespace

PF_PreRenderCallbacks* preRenderCallbacks()
{
    static PF_PreRenderCallbacks callbacks =
        tableOfStandIns<PF_PreRenderCallbacks, kPreRenderCallbacks, PF_Err_INVALID_CALLBACK>(
            [](PF_PreRenderCallbacks& c) {
                c.checkout_layer = checkoutLayer;
                c.GuidMixInPtr = guidMixIn;
            });
    return &callbacks;
}

PF_SmartRenderCallbacks* smartRenderCallbacks()
{
    static PF_SmartRenderCallbacks callbacks =
        tableOfStandIns<PF_SmartRenderCallbacks, kSmartRenderCallbacks, PF_Err_INVALID_CALLBACK>(
            [](PF_SmartRenderCallbacks& c) {
                c.checkout_layer_pixels = checkoutLayerPixels;
                c.checkin_layer_pixels = checkinLayerPixels;
                c.checkout_output = checkoutOutput;
            });
    return &callbacks;
}

} // namespace orbhost
