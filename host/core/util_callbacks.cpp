// in_data->utils: handles, generic iterate and the ANSI block work; every other slot is a
// stand-in returning PF_Err_INVALID_CALLBACK.
#include "host/core/ansi_and_handles.h"
#include "host/core/host_state.h"
#include "host/core/unsupported_slots.h"
#include "host/sampling/area_table.h"

#include <chrono>

namespace orbhost {
namespace {

constexpr char kUtilCallbacks[] = "PF_UtilCallbacks";
constexpr char kColorCallbacks[] = "PF_ColorCallbacks";

PF_Err iterateGenericCallback(A_long iterations, void* refcon,
                              PF_Err (*fn)(void*, A_long, A_long, A_long))
{
    HostState* host = activeHost();
    if (!host)
        return PF_Err_BAD_CALLBACK_PARAM;
    // The effect may have written any of its worlds since the last pass.
    host->invalidateSamplingCacheAll();
    if (host->config.iterateObserver)
        host->config.iterateObserver(refcon, iterations);
    const double tablesBefore = host->samplingTables->buildSeconds();
    const auto start = std::chrono::steady_clock::now();
    const PF_Err err = iterateGeneric(iterations, refcon, fn, host->config.iterate);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    host->passes.push_back({iterations, seconds, host->samplingTables->buildSeconds() - tablesBefore});
    host->accounting.count("iterate_generic pass");
    return err;
}

} // namespace

_PF_UtilCallbacks* utilCallbacks()
{
    static _PF_UtilCallbacks callbacks =
        tableOfStandIns<_PF_UtilCallbacks, kUtilCallbacks, PF_Err_INVALID_CALLBACK>([](_PF_UtilCallbacks& u) {
            fillUnsupported<kColorCallbacks, PF_Err_INVALID_CALLBACK>(u.colorCB);
            u.host_new_handle = hostNewHandle;
            u.host_lock_handle = hostLockHandle;
            u.host_unlock_handle = hostUnlockHandle;
            u.host_dispose_handle = hostDisposeHandle;
            u.host_get_handle_size = hostGetHandleSize;
            u.host_resize_handle = hostResizeHandle;
            u.iterate_generic = iterateGenericCallback;
            u.ansi = ansiBlock();
        });
    return &callbacks;
}

} // namespace orbhost
