// A stream reference (here: one of the effect's parameters) for the parameter UI: its
// expression and its dynamic flags. The reference is given back with dispose().
#pragma once
#include "AEO/object_base.h"

namespace AEO {

class Stream : public ObjectBase {
public:
    Stream(const PF_InData* inData, AEGP_StreamRefH stream);

    AEGP_StreamRefH handle() const { return stream_; }
    bool setExpression(AEGP_PluginID pluginId, const char* expression);
    AEGP_DynStreamFlags dynamicFlags();
    bool setDynamicFlag(AEGP_DynStreamFlags flag, bool undoable, bool set);
    bool dispose();

private:
    AEGP_StreamRefH stream_;
    SuiteSlot<AEGP_StreamSuite4> streams_;
    SuiteSlot<AEGP_DynamicStreamSuite4> dynamicStreams_;
};

} // namespace AEO
