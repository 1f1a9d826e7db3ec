// "AEGP Comp Suite" version 11 and "AEGP Item Suite" version 13: the composition's project
// item and the source items of its layers (sizes in pixels, pixel aspect as a ratio).
#include "host/core/aegp_access.h"
#include "host/core/unsupported_slots.h"

#include <cmath>
#include <numeric>

namespace orbhost {
namespace {

// The active host and what an item handle names (kCompositionItem or a layer index).
struct ItemCall {
    HostState* host = nullptr;
    int source = 0;
    ItemCall(const char* call, AEGP_ItemH item) : host(activeHost())
    {
        const std::optional<int> found = host ? host->aegp.itemSource(item) : std::nullopt;
        if (!found) {
            badArgument(call, item ? "unknown or stale item handle" : "null item handle");
            host = nullptr;
            return;
        }
        if (refusedByPlan(*host, call)) {
            host = nullptr;
            return;
        }
        source = *found;
    }
    explicit operator bool() const { return host != nullptr; }
    const LayerModel* layer() const { return host->modelLayer(source); }
};

A_Err getCompFromItem(AEGP_ItemH item, AEGP_CompH* comp)
{
    ItemCall call("AEGP_GetCompFromItem", item);
    if (!call || !comp)
        return A_Err_PARAMETER;
    // A footage item is no composition: null, no error.
    *comp = call.source == kCompositionItem ? call.host->aegp.comp() : nullptr;
    return A_Err_NONE;
}

A_Err getItemFromComp(AEGP_CompH comp, AEGP_ItemH* item)
{
    HostState* host = compHost("AEGP_GetItemFromComp", comp);
    if (!host || !item)
        return A_Err_PARAMETER;
    *item = host->aegp.compItem();
    return A_Err_NONE;
}

A_Err getCompFramerate(AEGP_CompH comp, A_FpLong* fps)
{
    HostState* host = compHost("AEGP_GetCompFramerate", comp);
    if (!host || !fps)
        return A_Err_PARAMETER;
    *fps = host->composition.model.frameRate;
    return A_Err_NONE;
}

A_Err getCompFrameDuration(AEGP_CompH comp, A_Time* duration)
{
    HostState* host = compHost("AEGP_GetCompFrameDuration", comp);
    if (!host || !duration)
        return A_Err_PARAMETER;
    *duration = {host->timeStep, host->timeScale};
    return A_Err_NONE;
}

A_Err getItemType(AEGP_ItemH item, AEGP_ItemType* type)
{
    ItemCall call("AEGP_GetItemType", item);
    if (!call || !type)
        return A_Err_PARAMETER;
    *type = call.source == kCompositionItem ? AEGP_ItemType_COMP : AEGP_ItemType_FOOTAGE;
    return A_Err_NONE;
}

A_Err getItemDimensions(AEGP_ItemH item, A_long* width, A_long* height)
{
    ItemCall call("AEGP_GetItemDimensions", item);
    if (!call || !width || !height)
        return A_Err_PARAMETER;
    const CompositionModel& comp = call.host->composition.model;
    const LayerModel* layer = call.layer();
    *width = layer ? layer->width : comp.width;
    *height = layer ? layer->height : comp.height;
    return A_Err_NONE;
}

// The nearest ratio with a denominator up to 10000 (0.9 → 9/10, 1.0 → 1/1).
A_Ratio ratioOf(double value)
{
    const A_u_long den = 10000;
    const A_long num = A_long(std::lround(value * den));
    const A_long g = std::gcd(num, A_long(den));
    return g ? A_Ratio{num / g, A_u_long(den / A_u_long(g))} : A_Ratio{0, 1};
}

A_Err getItemPixelAspectRatio(AEGP_ItemH item, A_Ratio* ratio)
{
    ItemCall call("AEGP_GetItemPixelAspectRatio", item);
    if (!call || !ratio)
        return A_Err_PARAMETER;
    const LayerModel* layer = call.layer();
    *ratio = ratioOf(layer ? layer->pixelAspect : call.host->composition.model.pixelAspect);
    return A_Err_NONE;
}

} // namespace

const AEGP_CompSuite5* aegpCompSuite()
{
    static const AEGP_CompSuite5 suite =
        tableOfStandIns<AEGP_CompSuite5, kAEGPCompSuite, A_Err_GENERIC>([](AEGP_CompSuite5& s) {
            s.AEGP_GetCompFromItem = getCompFromItem;
            s.AEGP_GetItemFromComp = getItemFromComp;
            s.AEGP_GetCompFramerate = getCompFramerate;
            s.AEGP_GetCompFrameDuration = getCompFrameDuration;
        });
    return &suite;
}

const AEGP_ItemSuite8* aegpItemSuite()
{
    static const AEGP_ItemSuite8 suite =
        tableOfStandIns<AEGP_ItemSuite8, kAEGPItemSuite, A_Err_GENERIC>([](AEGP_ItemSuite8& s) {
            s.AEGP_GetItemType = getItemType;
            s.AEGP_GetItemDimensions = getItemDimensions;
            s.AEGP_GetItemPixelAspectRatio = getItemPixelAspectRatio;
        });
    return &suite;
}

} // namespace orbhost
