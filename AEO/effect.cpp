#include "AEO/effect.h"

namespace AEO {

Effect::Effect(const PF_InData* inData, AEGP_EffectRefH effect)
    : effect_(effect), effects_(basicOf(inData)), streams_(basicOf(inData))
{
}

AEGP_StreamRefH Effect::paramStream(AEGP_PluginID pluginId, PF_ParamIndex index)
{
    return query<AEGP_StreamRefH>(nullptr, streams_, &AEGP_StreamSuite4::AEGP_GetNewEffectStreamByIndex, pluginId,
                                  effect_, index);
}

bool Effect::dispose()
{
    if (!effect_) {
        return true;
    }
    const bool disposed = call(effects_, &AEGP_EffectSuite3::AEGP_DisposeEffect, effect_);
    if (disposed) {
        effect_ = nullptr;
    }
    return disposed;
}

} // namespace AEO
