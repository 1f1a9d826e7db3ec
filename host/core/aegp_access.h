// What the AEGP suite files share: the host behind a call, the model layer behind a layer
// handle, and A_Time in and out. Every entry point checks its handles through these and
// answers A_Err_PARAMETER (with a verbose note naming the call) for null, unknown or stale ones.
#pragma once
#include "host/core/host_state.h"

namespace orbhost {

// Notes "CALL: PROBLEM" in the verbose log, counts it, and returns A_Err_PARAMETER.
A_Err badArgument(const char* call, const char* problem);

// The active host and the layer a handle names; false (after noting why) when either is
// missing.
struct LayerCall {
    HostState* host = nullptr;
    int index = -1;
    LayerModel* layer = nullptr;
    LayerCall(const char* call, AEGP_LayerH handle);
    explicit operator bool() const { return layer != nullptr; }
};

// The active host, if the handle is its composition.
HostState* compHost(const char* call, AEGP_CompH handle);

// Whether the fault plan refuses this call, or every call about `layer` (FaultPlan::
// failingCalls, failingLayers); a refusal is noted in the verbose log.
bool refusedByPlan(HostState& host, const char* call, const LayerModel* layer = nullptr);

// Composition seconds of `time` given in `mode` for layer `layer` (layer time = composition
// time − in point; no stretch). False for a null time, a zero scale or an unknown mode.
bool compSeconds(const HostState& host, int layer, AEGP_LTimeMode mode, const A_Time* time, double* seconds);

// `seconds` as an A_Time: in `scale` when that is exact, else in a finer multiple of it.
A_Time timeFromSeconds(double seconds, A_u_long scale);

// Copies `bytes` into a new AEGP memory handle the effect owns (accounted as "AEGP memory
// handle \"what\"" until freed).
AEGP_MemHandle newMemHandle(HostState& host, const std::string& what, const void* bytes, std::size_t size);
std::string memHandleAccount(const std::string& what);

} // namespace orbhost
