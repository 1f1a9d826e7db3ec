// What the effect keeps for the life of the module: the outcome of registering with the
// AEGP layer. It lives in a host handle whose locked block starts with a pointer-sized word
// holding the handle itself; the object is constructed in place right behind that word.
#pragma once
#include "hostapi/host_api.h"

class GlobalData {
public:
    GlobalData(A_Err registerError, AEGP_PluginID pluginId)
        : registerError_(registerError), pluginId_(pluginId) {}
    virtual ~GlobalData() = default;
    GlobalData(const GlobalData&) = delete;
    GlobalData& operator=(const GlobalData&) = delete;

    // 0 when registration succeeded; non-zero also marks that it was attempted.
    A_Err registerError() const { return registerError_; }
    AEGP_PluginID pluginId() const { return pluginId_; }

private:
    A_Err registerError_;
    AEGP_PluginID pluginId_;
};

// A new, locked handle holding a GlobalData, or null when the host refused the handle or
// gave less than was asked for (nothing is constructed then and nothing is left allocated).
PF_Handle createGlobalData(const PF_UtilCallbacks& utils, A_Err registerError, AEGP_PluginID pluginId);

// Runs the destructor in place, then unlocks and disposes of the handle.
void destroyGlobalData(const PF_UtilCallbacks& utils, PF_Handle handle);

// The object inside a handle the host has locked for the current command (in_data->global_data).
const GlobalData* globalDataIn(PF_Handle lockedHandle);
