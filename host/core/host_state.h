// Everything the host keeps while it drives an effect; shared by the callback and suite files.
#pragma once
#include "host/core/effect_host.h"
#include "host/core/handle_registry.h"
#include "host/core/world_registry.h"

#include <map>
#include <mutex>
#include <optional>

namespace orbhost {

class SamplingCacheHolder;   // wraps the sampling module's table cache
SamplingCacheHolder* makeSamplingCache();
void destroySamplingCache(SamplingCacheHolder* holder);

// A parameter checked out with checkout_param, with the pixels the host made for it.
struct ParamCheckoutRecord {
    PF_ParamDef* destination = nullptr;
    int index = 0;
    const void* pixels = nullptr;
};

// A layer requested in SMART_PRE_RENDER with checkout_layer.
struct LayerCheckout {
    int layer = -1;                       // composition layer, -1 for none
    double seconds = 0;
    std::unique_ptr<PF_EffectWorld> world;   // made at checkout_layer_pixels
};

struct HostState {
    HostState(std::shared_ptr<EffectModule> module, HostConfig config);
    ~HostState();

    std::shared_ptr<EffectModule> module;
    HostConfig config;
    FaultPlan faults;
    FaultCounters faultCounters;
    Accounting accounting;
    HandleRegistry handles;
    WorldRegistry worlds;
    std::unique_ptr<SamplingCacheHolder, void (*)(SamplingCacheHolder*)> sampling;
    std::map<std::pair<std::string, int>, const void*> suites;

    Composition composition;
    std::vector<std::function<ParamValue(double)>> valueTracks;
    std::vector<std::optional<ParamValue>> lastSeen;   // supervised values the effect was told about
    std::vector<std::unique_ptr<void*>> layerHandleCells;
    std::vector<AEGP_LayerH> layerHandles;

    std::vector<ParamDefinition> params;
    int openGroups = 0;

    // Effect state carried between commands.
    A_u_long myVersion = 0;
    PF_OutFlags outFlags = 0;
    PF_OutFlags2 outFlags2 = 0;
    PF_Handle globalData = nullptr, sequenceData = nullptr, frameData = nullptr;
    bool globalSetupDone = false, paramsSetupDone = false, sequenceSetupDone = false;
    bool setupFailed = false;

    // The command in progress.
    PF_Cmd currentCmd = -1;
    PF_InData inData{};
    PF_OutData outData{};
    FrameRequest frame;
    A_u_long timeScale = 25;
    A_long timeStep = 1;
    std::vector<PF_ParamDef> uiParams;         // params[] of the UI command in progress
    std::vector<PF_ParamDef*> uiParamPointers;
    std::vector<ParamCheckoutRecord> paramCheckouts;
    std::map<A_long, LayerCheckout> layerCheckouts;
    std::unique_ptr<PF_EffectWorld> outputWorld;
    bool inputCheckedOut = false;
    std::mutex effectWorldsMutex;
    std::map<const void*, int> effectWorlds;         // worlds the effect created, by pixels

    std::vector<CommandRecord> log;
    std::vector<std::string> warnings;
    std::vector<IteratePass> passes;
    A_long nextPluginId = 1;

    // Helpers used by the callbacks.
    void note(const std::string& text) const;         // verbose only
    void warn(const std::string& text);               // always
    A_long toTime(double seconds) const;
    double toSeconds(A_long time, A_u_long scale) const;
    ParamValue valueAt(int index, double seconds) const;
    int layerWidth() const;
    int layerHeight() const;
    const LayerSource* layer(int index) const;
    PF_ParamDef paramRecordAt(int index, double seconds) const;   // without layer pixels
    void invalidateSamplingCache(const void* data);
    void invalidateSamplingCacheAll();
};

// The host whose command is running; callbacks without an effect_ref reach it through this.
HostState* activeHost();
// The host named by an effect_ref, if it is the active one.
HostState* hostFromRef(PF_ProgPtr effectRef);

class ActiveHostScope {
public:
    explicit ActiveHostScope(HostState* host);
    ~ActiveHostScope();
private:
    HostState* previous_;
};

// Tables shared by every host (function pointers only; state comes from activeHost()).
SPBasicSuite* basicSuite();
PF_InteractCallbacks interactCallbacks();
_PF_UtilCallbacks* utilCallbacks();
PF_PreRenderCallbacks* preRenderCallbacks();
PF_SmartRenderCallbacks* smartRenderCallbacks();

// Registers the suites the host implements (world, sampling, param utils, ANSI, handle,
// AEGP utility, and error-only tables for suites that are acquired but not used).
void registerHostSuites(HostState& host);

} // namespace orbhost
