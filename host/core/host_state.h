// Everything the host keeps while it drives an effect; shared by the callback and suite files.
#pragma once
#include "host/core/aegp_objects.h"
#include "host/core/effect_host.h"
#include "host/core/handle_registry.h"
#include "host/core/layer_pixels.h"
#include "host/core/world_registry.h"

#include <map>
#include <mutex>
#include <optional>

namespace orbhost {

class AreaTableCache;
struct HandleSuite1;

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
    LayerPixelCache layerPixels;   // emptied whenever the composition is set
    std::unique_ptr<AreaTableCache> samplingTables;   // summed-area tables of sampled worlds
    std::map<std::pair<std::string, int>, const void*> suites;

    Composition composition;
    std::vector<std::function<ParamValue(double)>> valueTracks;
    std::vector<std::optional<ParamValue>> lastSeen;   // supervised values the effect was told about
    AegpObjects aegp;                                  // layer, comp, item, effect and stream handles
    HandleRegistry memHandles;                         // AEGP memory handles
    std::map<const void*, std::string> memHandleNames; // what each was allocated for
    std::map<int, ParamStreamState> paramStreams;      // expressions and flags set on parameter streams
    std::vector<ParamUiUpdate> paramUiUpdates;         // every PF_UpdateParamUI call, in order

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
    _PF_UtilCallbacks brokenUtils{};           // in_data->utils with the slots FaultPlan::nullPointers names
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
    double layerPixelSeconds = 0;              // making layer worlds, in the command in progress
    A_long nextPluginId = 1;

    // Helpers used by the callbacks.
    void note(const std::string& text) const;         // verbose only
    void warn(const std::string& text);               // always; also to the warning observer
    // Effect times are the effect layer's time: composition seconds − its in point.
    A_long toTime(double compSeconds) const;                  // → effect time in timeScale units
    double toSeconds(A_long time, A_u_long scale) const;      // effect time → composition seconds
    double effectLayerIn() const;
    const LayerModel* modelLayer(int index) const;
    ParamValue valueAt(int index, double seconds) const;
    int layerWidth() const;
    int layerHeight() const;
    // The effect layer's buffer at the current frame's downsample factors, origin (0, 0).
    PF_LRect layerBufferRect() const;
    const LayerPixels* layerPixelsOf(int index) const;   // null when out of range or without pixels
    // The composition layer a layer parameter names at that time (parameter 0: the effect's own).
    int layerOfParam(int index, double seconds) const;
    PF_ParamDef paramRecordAt(int index, double seconds) const;   // without layer pixels
    // A checked-out world holding the pixels of composition layer `layer` at the current
    // frame's depth and downsample, with its layer handle and pixel aspect. *world is left
    // zeroed when the layer is none or has no image.
    PF_Err checkOutLayerWorld(int layer, PF_EffectWorld* world);
    // Gives back a world the host made (null: nothing); its sampling table goes with it.
    void disposeWorld(const void* data);
    // Ends a checkout: checkin_layer_pixels, or the host after SMART_RENDER for what is left.
    void checkInLayerPixels(LayerCheckout& checkout);
    void checkInParam(const ParamCheckoutRecord& record);
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

// The suites the host implements, one table each.
const PF_WorldSuite2* worldSuite();
const PF_Sampling8Suite1* sampling8Suite();
const PF_Sampling16Suite1* sampling16Suite();
const PF_SamplingFloatSuite1* samplingFloatSuite();
const PF_ParamUtilsSuite1* paramUtilsSuite();
const PF_ANSICallbacksSuite1* ansiSuite();
const HandleSuite1* handleSuite();
const AEGP_UtilitySuite5* aegpUtilitySuite();
const AEGP_PFInterfaceSuite1* aegpPFInterfaceSuite();
const AEGP_LayerSuite6* aegpLayerSuite12();
const AEGP_LayerSuite5* aegpLayerSuite11();
const AEGP_CompSuite5* aegpCompSuite();
const AEGP_ItemSuite8* aegpItemSuite();
const AEGP_CameraSuite2* aegpCameraSuite();
const AEGP_LightSuite2* aegpLightSuite();
const AEGP_StreamSuite4* aegpStreamSuite();
const AEGP_DynamicStreamSuite4* aegpDynamicStreamSuite();
const AEGP_EffectSuite3* aegpEffectSuite();
const AEGP_MemorySuite1* aegpMemorySuite();

// Registers the suites the host implements (world, sampling, param utils, ANSI, handle, the
// AEGP suites, and error-only tables for suites that are acquired but not used).
void registerHostSuites(HostState& host);

// Called with the text of every warning of every host in the process, besides each host's own
// log: test programs make an unexpected warning a failure. Null: no observer.
void setWarningObserver(void (*observer)(const std::string& text));

} // namespace orbhost
