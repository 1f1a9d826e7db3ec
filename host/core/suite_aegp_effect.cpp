// "AEGP Effect Suite" version 3: the effect's own AEGP reference on its layer, and disposal of
// references (a second disposal is an error).
#include "host/core/aegp_access.h"
#include "host/core/unsupported_slots.h"

namespace orbhost {
namespace {

A_Err getLayerNumEffects(AEGP_LayerH layerH, A_long* count)
{
    LayerCall call("AEGP_GetLayerNumEffects", layerH);
    if (!call || !count)
        return A_Err_PARAMETER;
    *count = call.index == call.host->composition.effectLayer ? 1 : 0;
    return A_Err_NONE;
}

A_Err getLayerEffectByIndex(AEGP_PluginID, AEGP_LayerH layerH, AEGP_EffectIndex index, AEGP_EffectRefH* effect)
{
    LayerCall call("AEGP_GetLayerEffectByIndex", layerH);
    if (!call || !effect)
        return A_Err_PARAMETER;
    if (call.index != call.host->composition.effectLayer || index != 0)
        return badArgument("AEGP_GetLayerEffectByIndex", "effect index out of range");
    *effect = call.host->aegp.newEffectRef();
    call.host->accounting.take("AEGP effect reference");
    return A_Err_NONE;
}

A_Err disposeEffect(AEGP_EffectRefH effect)
{
    HostState* host = activeHost();
    if (!host || !host->aegp.disposeEffectRef(effect))
        return badArgument("AEGP_DisposeEffect", "unknown or already disposed effect reference");
    host->accounting.giveBack("AEGP effect reference");
    return A_Err_NONE;
}

} // namespace

const AEGP_EffectSuite3* aegpEffectSuite()
{
    static const AEGP_EffectSuite3 suite =
        tableOfStandIns<AEGP_EffectSuite3, kAEGPEffectSuite, A_Err_GENERIC>([](AEGP_EffectSuite3& s) {
            s.AEGP_GetLayerNumEffects = getLayerNumEffects;
            s.AEGP_GetLayerEffectByIndex = getLayerEffectByIndex;
            s.AEGP_DisposeEffect = disposeEffect;
        });
    return &suite;
}

} // namespace orbhost
