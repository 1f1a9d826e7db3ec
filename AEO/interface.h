// The effect's own place in the composition, seen through the PF Interface suite.
#pragma once
#include "AEO/object_base.h"

namespace AEO {

class Interface : public ObjectBase {
public:
    explicit Interface(const PF_InData* inData);

    AEGP_LayerH effectLayer();
    // The effect's time (in its own time scale) as composition time.
    A_Time compTime(A_long effectTime, A_u_long timeScale);
    // The camera the composition renders through at compTime; null when there is none.
    AEGP_LayerH effectCamera(const A_Time& compTime);
    // A new AEGP reference to this effect instance, for stream access; the caller disposes it.
    AEGP_EffectRefH newEffectForEffect(AEGP_PluginID pluginId);

private:
    PF_ProgPtr effectRef_;
    SuiteSlot<AEGP_PFInterfaceSuite1> interface_;
};

} // namespace AEO
