// Faults a test can inject into the host to drive an effect down its failure paths.
#pragma once
#include "hostapi/host_api.h"

#include <set>
#include <string>

namespace orbhost {

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
};

// Counts attempts and says whether this one is the planned failure.
struct FaultCounters {
    int handleAllocations = 0, worldCreations = 0, addParams = 0, checkouts = 0, streamReads = 0;
    int paramUiUpdates = 0;
    int refusedCalls = 0;           // calls refused by failingCalls or failingLayers
    std::set<std::string> refusedSuites;   // unavailableSuites the effect asked for
};

inline bool injectFault(int& attempts, int failAt)
{
    ++attempts;
    return failAt > 0 && attempts == failAt;
}

} // namespace orbhost
