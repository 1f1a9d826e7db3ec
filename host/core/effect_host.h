// The headless host: drives one effect module through the command protocol in the real
// host's order, serves its callbacks and suites, and keeps accounts of what it hands out.
#pragma once
#include "host/comp/composition_model.h"
#include "host/core/accounting.h"
#include "host/core/effect_module.h"
#include "host/core/fault_plan.h"
#include "host/core/host_codes.h"
#include "host/core/iterate_pool.h"
#include "host/core/layer_source.h"
#include "host/core/param_definition.h"
#include "host/scene/image.h"

#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace orbhost {

struct HostConfig {
    PF_SpecVersion version{13, 27};
    A_AppID applId = kAppIdAfterEffects;   // kAppIdPremierePro to pose as Premiere Pro
    IterateOptions iterate;
    bool verbose = false;
    std::ostream* log = nullptr;       // verbose notes and warnings; std::cerr when null
    // Called on the render thread before each generic iterate pass with the effect's refcon
    // and iteration count: a debugger's or test's view of what the effect hands its kernels.
    std::function<void(const void* refcon, A_long iterations)> iterateObserver;
};

// The composition: the model the AEGP suites serve (settings, names, times, transforms,
// cameras, lights) and, parallel to its layers, their pixels at full resolution (null for
// cameras and lights; solids and nulls made only when checked out). setComposition() rejects
// lists of different lengths.
struct Composition {
    CompositionModel model;
    std::vector<LayerPixels> pixels;
    int effectLayer = 0;                  // index of the layer the effect is applied to
};

// Appends a layer showing `image` for compositions built by hand: solid-like, its anchor at
// its centre, placed at the composition's centre and lasting the whole composition.
void addImageLayer(Composition& composition, std::string name, Image image, double pixelAspect = 1.0);

// What the effect set on one of its parameter streams through the AEGP stream suites.
struct ParamStreamState {
    std::string expression;               // 8-bit text as set ("" = none); never evaluated
    bool expressionEnabled = true;
    A_u_long dynamicFlags = 0;            // AEGP_DynStreamFlag_* bits
};

// One PF_UpdateParamUI call, in the order the effect made them (failed ones included).
struct ParamUiUpdate {
    PF_Cmd cmd = -1;                      // the command it came in
    int index = 0;
    PF_ParamUIFlags uiFlags = 0;          // as handed over
    bool fromParams = false;              // the record was the command's own params[index]
    PF_Err result = PF_Err_NONE;
};

struct FrameRequest {
    double seconds = 0;                   // composition time; the effect sees its layer's time
    int bitDepth = 8;                     // 8, 16, 32
    int downsampleX = 1, downsampleY = 1; // render at 1/downsample
};

// What one command did: the effect's result, its message, and anything it left unbalanced.
struct CommandRecord {
    PF_Cmd cmd = 0;
    PF_Err result = PF_Err_NONE;
    std::string returnMsg;
    std::string problem;                  // a host-side failure (e.g. num_params mismatch)
    std::vector<Imbalance> imbalances;
    double seconds = 0;
    double layerPixelSeconds = 0;         // of which the host spent making layer worlds at checkout
};

struct IteratePass {
    A_long iterations = 0;
    double seconds = 0;
    double areaTableSeconds = 0;          // of which the host spent building tables for area sampling
};

const char* commandName(PF_Cmd cmd);

struct HostState;

class EffectHost {
public:
    explicit EffectHost(const std::string& modulePath, HostConfig config = {});
    explicit EffectHost(std::shared_ptr<EffectModule> module, HostConfig config = {});
    ~EffectHost();   // sequence and global set-down if still set up
    EffectHost(const EffectHost&) = delete;
    EffectHost& operator=(const EffectHost&) = delete;

    // Composition and values: set before start() (values may change between frames).
    // Throws std::invalid_argument when pixels and model layers differ in number.
    void setComposition(Composition composition);
    void setParamValues(int index, std::function<ParamValue(double seconds)> valueAt);
    // Serves a suite table the host does not implement itself (e.g. composition suites).
    void provideSuite(const std::string& name, int version, const void* table);
    FaultPlan& faults();

    // The protocol. start() = GLOBAL_SETUP, PARAMS_SETUP, SEQUENCE_SETUP and the first
    // UPDATE_PARAMS_UI when the effect asks for it (flag or a supervised parameter).
    PF_Err start();
    PF_Err globalSetup();
    PF_Err paramsSetup();
    PF_Err sequenceSetup();
    PF_Err about(std::string* text = nullptr);
    PF_Err updateParamsUI(double seconds);
    PF_Err userChangedParam(int index, double seconds);
    // Supervised parameters that differ from what the effect saw last get USER_CHANGED_PARAM
    // and UPDATE_PARAMS_UI first; then SMART_PRE_RENDER and SMART_RENDER.
    PF_Err renderFrame(const FrameRequest& request, Image* output);
    PF_Err sequenceSetdown();
    PF_Err globalSetdown();
    void shutdown();
    // Any command with null params/output and the given extra (for probing every command).
    PF_Err sendCommand(PF_Cmd cmd, void* extra = nullptr);

    // Results.
    const PropertyList& properties() const;
    const std::vector<ParamDefinition>& params() const;
    int paramIndex(const std::string& name) const;   // -1 if none
    const std::vector<CommandRecord>& commandLog() const;
    const Accounting& accounting() const;
    std::vector<Imbalance> liveResources() const;     // handles and worlds the effect still holds
    const std::vector<std::string>& warnings() const;
    const std::vector<IteratePass>& iteratePasses() const;
    // The composition as the effect left it (layer renames included).
    const Composition& composition() const;
    // Expressions and dynamic flags set on parameter streams, by parameter index.
    const std::map<int, ParamStreamState>& paramStreams() const;
    const std::vector<ParamUiUpdate>& paramUiUpdates() const;
    A_u_long effectVersion() const;
    PF_OutFlags outFlags() const;
    PF_OutFlags2 outFlags2() const;
    bool usable() const;                              // global and params set-up succeeded

    HostState& state();
    const HostState& state() const;

private:
    std::unique_ptr<HostState> state_;
};

} // namespace orbhost
