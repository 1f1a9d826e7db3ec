#include "host/core/aegp_access.h"

#include <cmath>
#include <cstring>

namespace orbhost {

A_Err badArgument(const char* call, const char* problem)
{
    if (HostState* host = activeHost()) {
        host->accounting.count("AEGP call refused");
        host->note(std::string(call) + ": " + problem);
    }
    return A_Err_PARAMETER;
}

LayerCall::LayerCall(const char* call, AEGP_LayerH handle) : host(activeHost())
{
    if (!host) {
        badArgument(call, "called outside a command");
        return;
    }
    const std::optional<int> found = host->aegp.layerIndex(handle);
    if (!found || *found >= int(host->composition.model.layers.size())) {
        badArgument(call, handle ? "unknown or stale layer handle" : "null layer handle");
        return;
    }
    LayerModel* named = &host->composition.model.layers[std::size_t(*found)];
    if (refusedByPlan(*host, call, named))
        return;
    index = *found;
    layer = named;
}

bool refusedByPlan(HostState& host, const char* call, const LayerModel* layer)
{
    const bool refused = host.faults.failingCalls.count(call) != 0 ||
                         (layer && host.faults.failingLayers.count(layer->name) != 0);
    if (refused) {
        ++host.faultCounters.refusedCalls;
        host.note(std::string(call) + ": injected failure");
    }
    return refused;
}

HostState* compHost(const char* call, AEGP_CompH handle)
{
    HostState* host = activeHost();
    if (!host)
        badArgument(call, "called outside a command");
    else if (!host->aegp.isComp(handle))
        badArgument(call, handle ? "unknown or stale composition handle" : "null composition handle");
    else if (!refusedByPlan(*host, call))
        return host;
    return nullptr;
}

bool compSeconds(const HostState& host, int layer, AEGP_LTimeMode mode, const A_Time* time, double* seconds)
{
    if (!time || time->scale == 0)
        return false;
    const double given = double(time->value) / double(time->scale);
    if (mode == AEGP_LTimeMode_CompTime) {
        *seconds = given;
        return true;
    }
    if (mode != AEGP_LTimeMode_LayerTime || layer < 0 || layer >= int(host.composition.model.layers.size()))
        return false;
    *seconds = given + host.composition.model.layers[std::size_t(layer)].inPoint;
    return true;
}

A_Time timeFromSeconds(double seconds, A_u_long scale)
{
    if (scale == 0)
        scale = 1;
    // Finer scales until the value is whole, as long as it fits an A_long.
    for (unsigned long long s = scale; s <= 0xFFFFFFFFull; s *= 10) {
        const double value = seconds * double(s);
        if (std::fabs(value) > 2147483647.0)
            break;
        if (std::fabs(value - std::round(value)) < 1e-6)
            return {A_long(std::llround(value)), A_u_long(s)};
    }
    return {A_long(std::llround(seconds * double(scale))), scale};
}

std::string memHandleAccount(const std::string& what)
{
    return "AEGP memory handle \"" + what + "\"";
}

AEGP_MemHandle newMemHandle(HostState& host, const std::string& what, const void* bytes, std::size_t size)
{
    PF_Handle handle = host.memHandles.allocate(size);
    if (!handle)
        return nullptr;
    std::memcpy(*handle, bytes, size);
    host.memHandleNames[handle] = what;
    host.accounting.take(memHandleAccount(what));
    return reinterpret_cast<AEGP_MemHandle>(handle);
}

} // namespace orbhost
