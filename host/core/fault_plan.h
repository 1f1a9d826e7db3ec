// Faults a test can inject into the host to drive an effect down its failure paths.
#pragma once
#include "hostapi/host_api.h"

#include <map>
#include <set>
#include <string>

namespace orbhost {

// How the host lays out the rows of every world it makes: the output, checked-out layers and
// new worlds. Channels stay aligned to their own size in every layout.
enum class RowLayout {
    Padded,     // a few poisoned bytes past the pixels, as always
    OffPixel,   // one channel past the pixels: rowbytes is no multiple of the pixel size
    Wide,       // rows four times as long as their pixels (plus the padding)
};

// Pointers a broken host leaves null, by the names --null takes: in_data fields, slots of
// in_data->utils and in_data->inter, params (the whole array, or "params[N]" for one entry),
// extra, extra.cb (the smart callbacks), and the worlds that checkout_output ("output") and
// checkout_layer_pixels ("input") hand back while reporting success.
inline constexpr const char* kNullablePointers[] = {
    "in_data.utils", "in_data.pica_basicP", "in_data.inter", "in_data.effect_ref",
    "utils.host_new_handle", "utils.host_lock_handle", "utils.host_unlock_handle", "utils.host_dispose_handle",
    "utils.host_get_handle_size", "utils.iterate_generic", "utils.ansi.strcpy", "utils.ansi.sprintf",
    "inter.add_param", "inter.checkout_param", "inter.checkin_param",
    "params", "extra", "extra.cb", "output", "input",
};

struct FaultPlan {
    // Suite names that AcquireSuite refuses (every version).
    std::set<std::string> unavailableSuites;
    // 1-based: the Nth attempt of that kind fails (0 = never). Attempts are counted over the
    // host's whole life (HostState::faultCounters), so a plan set between frames adds the
    // attempts already made.
    int failHandleAllocation = 0;   // host_new_handle returns NULL
    int failWorldCreation = 0;      // PF_NewWorld / new_world return injectedError
    int failAddParam = 0;           // add_param returns injectedError
    int failCheckout = 0;           // checkout_param returns injectedError
    int failStreamRead = 0;         // AEGP_GetLayerStreamValue returns A_Err_GENERIC
    int failParamUiUpdate = 0;      // PF_UpdateParamUI returns injectedError, changing nothing
    PF_Err injectedError = PF_Err_OUT_OF_MEMORY;
    // AEGP queries that name the composition, an item, a layer or the effect itself (the
    // Layer, Comp, Item, Camera, Light and PF Interface suites, and layer stream values):
    // those named here (e.g. "AEGP_GetItemPixelAspectRatio") refuse every call, and so does every query
    // about a layer named in failingLayers. A refused call answers A_Err_PARAMETER and writes
    // nothing, as for a stale handle.
    std::set<std::string> failingCalls;
    std::set<std::string> failingLayers;

    // A host that is wrong rather than short of memory: what a buggy, older or other host can
    // hand an effect. Each applies to every command from the next one on.
    std::set<std::string> nullPointers;                 // see kNullablePointers
    // Suites served only up to a version, by name: AcquireSuite of a newer version answers
    // kSPSuiteNotFoundError, as a host from before that version does.
    std::map<std::string, int> newestSuiteVersions;
    RowLayout rowLayout = RowLayout::Padded;
    // 1-based over checkout_param attempts, counted with failCheckout.
    int junkCheckout = 0;           // succeeds with every byte of the record junk
    int mistypedCheckout = 0;       // succeeds with the value, but the param_type of another kind
    bool junkInFailedCheckouts = false;   // a failed checkout leaves junk in the record, not its old bytes
    int failHostWorld = 0;          // the Nth world made for checkout_output or a layer's pixels: out of memory
    // Values outside a parameter's valid range (and NaN or infinities in scene files, written
    // "nan", "inf", "-inf") are handed to the effect as they are instead of being refused.
    bool unclampedParams = false;
};

// Counts attempts and says whether this one is the planned failure.
struct FaultCounters {
    int handleAllocations = 0, worldCreations = 0, addParams = 0, checkouts = 0, streamReads = 0;
    int paramUiUpdates = 0;
    int hostWorlds = 0;             // checkout_output and layer pixel attempts
    int refusedCalls = 0;           // calls refused by failingCalls or failingLayers
    std::set<std::string> refusedSuites;   // unavailableSuites the effect asked for
    std::set<std::string> olderSuites;     // newestSuiteVersions that refused a newer version
};

inline bool injectFault(int& attempts, int failAt)
{
    ++attempts;
    return failAt > 0 && attempts == failAt;
}

} // namespace orbhost
