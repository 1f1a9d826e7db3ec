#include "AEO/interface.h"

namespace AEO {

Interface::Interface(const PF_InData* inData) : effectRef_(effectRefOf(inData)), interface_(basicOf(inData)) {}

AEGP_LayerH Interface::effectLayer()
{
    return query<AEGP_LayerH>(nullptr, interface_, &AEGP_PFInterfaceSuite1::AEGP_GetEffectLayer, effectRef_);
}

A_Time Interface::compTime(A_long effectTime, A_u_long timeScale)
{
    return query(kNoTime, interface_, &AEGP_PFInterfaceSuite1::AEGP_ConvertEffectToCompTime, effectRef_,
                 effectTime, timeScale);
}

AEGP_LayerH Interface::effectCamera(const A_Time& compTime)
{
    return query<AEGP_LayerH>(nullptr, interface_, &AEGP_PFInterfaceSuite1::AEGP_GetEffectCamera, effectRef_,
                              &compTime);
}

AEGP_EffectRefH Interface::newEffectForEffect(AEGP_PluginID pluginId)
{
    return query<AEGP_EffectRefH>(nullptr, interface_, &AEGP_PFInterfaceSuite1::AEGP_GetNewEffectForEffect,
                                  pluginId, effectRef_);
}

} // namespace AEO
