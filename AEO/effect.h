// An AEGP reference to an effect instance, the way to its parameters' streams.
// The reference is given back with dispose().
#pragma once
#include "AEO/object_base.h"

namespace AEO {

class Effect : public ObjectBase {
public:
    Effect(const PF_InData* inData, AEGP_EffectRefH effect);

    AEGP_EffectRefH handle() const { return effect_; }
    // A new stream reference for parameter `index` (0 is the input layer); the caller
    // disposes it, e.g. through AEO::Stream.
    AEGP_StreamRefH paramStream(AEGP_PluginID pluginId, PF_ParamIndex index);
    bool dispose();

private:
    AEGP_EffectRefH effect_;
    SuiteSlot<AEGP_EffectSuite3> effects_;
    SuiteSlot<AEGP_StreamSuite4> streams_;
};

} // namespace AEO
