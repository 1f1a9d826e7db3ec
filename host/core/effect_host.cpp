#include "host/core/effect_host.h"
#include "host/sampling/area_table.h"

#include "host/core/host_state.h"
#include "host/core/layer_pixels.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <numeric>
#include <set>
#include <stdexcept>
#include <string>

namespace orbhost {
namespace {

PF_RationalScale rational(double value)
{
    if (value == std::floor(value) && value > 0)
        return {A_long(value), 1};
    const A_long num = A_long(std::lround(value * 1000.0));
    const A_long g = std::gcd(num, A_long(1000));
    return {num / g, A_u_long(1000 / g)};
}

} // namespace

void addImageLayer(Composition& composition, std::string name, Image image, double pixelAspect)
{
    const CompositionModel& m = composition.model;
    LayerModel layer;
    layer.name = layer.sourceName = std::move(name);
    layer.width = image.width;
    layer.height = image.height;
    layer.pixelAspect = pixelAspect;
    layer.duration = m.duration;
    layer.transform.anchorPoint = Vec3{layer.width / 2.0, layer.height / 2.0, 0};
    layer.transform.position = Vec3{m.width / 2.0, m.height / 2.0, 0};
    composition.model.layers.push_back(std::move(layer));
    composition.pixels.push_back(std::make_shared<const Image>(std::move(image)));
}

const char* commandName(PF_Cmd cmd)
{
    static const char* const names[] = {
        "ABOUT", "GLOBAL_SETUP", "UNUSED_0", "GLOBAL_SETDOWN", "PARAMS_SETUP", "SEQUENCE_SETUP",
        "SEQUENCE_RESETUP", "SEQUENCE_FLATTEN", "SEQUENCE_SETDOWN", "DO_DIALOG", "FRAME_SETUP",
        "RENDER", "FRAME_SETDOWN", "USER_CHANGED_PARAM", "UPDATE_PARAMS_UI", "EVENT",
        "GET_EXTERNAL_DEPENDENCIES", "COMPLETELY_GENERAL", "QUERY_DYNAMIC_FLAGS", "AUDIO_RENDER",
        "AUDIO_SETUP", "AUDIO_SETDOWN", "ARBITRARY_CALLBACK", "SMART_PRE_RENDER", "SMART_RENDER"};
    if (cmd >= 0 && cmd < PF_Cmd(std::size(names)))
        return names[cmd];
    return "command";
}

// ---- running one command -------------------------------------------------------------------

namespace {

void fillInData(HostState& s, PF_Cmd cmd)
{
    PF_InData& in = s.inData;
    std::memset(&in, 0, sizeof in);
    in.inter = interactCallbacks();
    in.utils = utilCallbacks();
    in.effect_ref = reinterpret_cast<PF_ProgPtr>(&s);
    in.quality = PF_Quality_HI;
    in.version = s.config.version;
    in.appl_id = s.config.applId;
    in.num_params = cmd == PF_Cmd_PARAMS_SETUP ? 1 : A_long(s.params.size());
    in.current_time = s.toTime(s.frame.seconds);
    in.time_step = s.timeStep;
    in.local_time_step = s.timeStep;
    const LayerModel* layerModel = s.modelLayer(s.composition.effectLayer);
    in.total_time = A_long(std::llround((layerModel ? layerModel->duration : s.composition.model.duration) * s.timeScale));
    in.time_scale = s.timeScale;
    in.field = PF_Field_FRAME;
    in.width = s.layerWidth();
    in.height = s.layerHeight();
    in.extent_hint = s.layerBufferRect();
    in.downsample_x = {1, A_u_long(std::max(1, s.frame.downsampleX))};
    in.downsample_y = {1, A_u_long(std::max(1, s.frame.downsampleY))};
    in.pixel_aspect_ratio = rational(layerModel ? layerModel->pixelAspect : s.composition.model.pixelAspect);
    in.global_data = s.globalData;
    in.sequence_data = s.sequenceData;
    in.frame_data = s.frameData;
    in.pica_basicP = basicSuite();
}

void fillOutData(HostState& s)
{
    PF_OutData& out = s.outData;
    std::memset(&out, 0, sizeof out);
    out.my_version = s.myVersion;
    out.out_flags = s.outFlags;
    out.out_flags2 = s.outFlags2;
    out.global_data = s.globalData;
    out.sequence_data = s.sequenceData;
    out.num_params = A_long(s.params.size());
}

// The pointers FaultPlan::nullPointers names, nulled in what the command is about to get.
void breakPointers(HostState& s, PF_Cmd cmd, PF_ParamDef**& params, void*& extra)
{
    const std::set<std::string>& nulls = s.faults.nullPointers;
    if (nulls.empty())
        return;
    PF_InData& in = s.inData;
    using UtilSlot = void (*)(_PF_UtilCallbacks&);
    static const std::pair<const char*, UtilSlot> utilSlots[] = {
        {"utils.host_new_handle", [](_PF_UtilCallbacks& u) { u.host_new_handle = nullptr; }},
        {"utils.host_lock_handle", [](_PF_UtilCallbacks& u) { u.host_lock_handle = nullptr; }},
        {"utils.host_unlock_handle", [](_PF_UtilCallbacks& u) { u.host_unlock_handle = nullptr; }},
        {"utils.host_dispose_handle", [](_PF_UtilCallbacks& u) { u.host_dispose_handle = nullptr; }},
        {"utils.host_get_handle_size", [](_PF_UtilCallbacks& u) { u.host_get_handle_size = nullptr; }},
        {"utils.iterate_generic", [](_PF_UtilCallbacks& u) { u.iterate_generic = nullptr; }},
        {"utils.ansi.strcpy", [](_PF_UtilCallbacks& u) { u.ansi.strcpy = nullptr; }},
        {"utils.ansi.sprintf", [](_PF_UtilCallbacks& u) { u.ansi.sprintf = nullptr; }},
    };
    s.brokenUtils = *utilCallbacks();
    for (const auto& [name, clear] : utilSlots)
        if (nulls.contains(name)) {
            clear(s.brokenUtils);
            in.utils = &s.brokenUtils;
        }
    if (nulls.contains("in_data.utils")) in.utils = nullptr;
    if (nulls.contains("in_data.pica_basicP")) in.pica_basicP = nullptr;
    if (nulls.contains("in_data.effect_ref")) in.effect_ref = nullptr;
    if (nulls.contains("in_data.inter")) in.inter = {};
    if (nulls.contains("inter.add_param")) in.inter.add_param = nullptr;
    if (nulls.contains("inter.checkout_param")) in.inter.checkout_param = nullptr;
    if (nulls.contains("inter.checkin_param")) in.inter.checkin_param = nullptr;
    // params points into uiParamPointers, which ends with a null entry.
    for (std::size_t i = 0; params && i + 1 < s.uiParamPointers.size(); ++i)
        if (nulls.contains("params[" + std::to_string(i) + "]"))
            params[i] = nullptr;
    if (nulls.contains("params")) params = nullptr;
    if (extra && nulls.contains("extra.cb")) {
        if (cmd == PF_Cmd_SMART_PRE_RENDER)
            static_cast<PF_PreRenderExtra*>(extra)->cb = nullptr;
        if (cmd == PF_Cmd_SMART_RENDER)
            static_cast<PF_SmartRenderExtra*>(extra)->cb = nullptr;
    }
    if (nulls.contains("extra")) extra = nullptr;
}

// Moves a handle between "handle" (the effect's to give back within the command) and the
// per-purpose account the host keeps for data it carries between commands.
void reclassifyHandle(HostState& s, PF_Handle handle, const std::string& account, bool toAccount)
{
    if (!handle || !s.handles.isLive(handle))
        return;
    if (toAccount) {
        s.accounting.giveBack("handle");
        s.accounting.take(account);
    } else {
        s.accounting.giveBack(account);
        s.accounting.take("handle");
    }
}

// Checks in what the effect forgot (after the imbalance was recorded).
void checkInLeftovers(HostState& s)
{
    for (const ParamCheckoutRecord& record : s.paramCheckouts)
        s.checkInParam(record);
    s.paramCheckouts.clear();
}

PF_Err runCommand(HostState& s, PF_Cmd cmd, PF_ParamDef** params, PF_LayerDef* output, void* extra)
{
    ActiveHostScope active(&s);
    s.currentCmd = cmd;
    fillInData(s, cmd);
    fillOutData(s);
    breakPointers(s, cmd, params, extra);
    s.worlds.setRowLayout(s.faults.rowLayout);
    // Handles the host carries between commands for the effect are accounted apart; at
    // set-down they return to the effect's account so that disposing them balances.
    const auto before = s.accounting.outstandingSnapshot();
    if (cmd == PF_Cmd_GLOBAL_SETDOWN)
        reclassifyHandle(s, s.globalData, "global data handle", false);
    if (cmd == PF_Cmd_SEQUENCE_SETDOWN)
        reclassifyHandle(s, s.sequenceData, "sequence data handle", false);
    if (s.globalData)
        s.handles.lock(s.globalData);

    CommandRecord record;
    record.cmd = cmd;
    s.layerPixelSeconds = 0;
    const auto start = std::chrono::steady_clock::now();
    try {
        record.result = s.module->entryPoint()(cmd, &s.inData, &s.outData, params, output, extra);
    } catch (...) {
        record.result = PF_Err_INTERNAL_STRUCT_DAMAGED;
        record.problem = "an exception escaped the effect's entry point";
        s.warn(std::string(commandName(cmd)) + ": " + record.problem);
    }
    record.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    record.layerPixelSeconds = s.layerPixelSeconds;
    if (s.globalData && s.handles.isLive(s.globalData))
        s.handles.unlock(s.globalData);

    s.outData.return_msg[sizeof s.outData.return_msg - 1] = 0;
    record.returnMsg = s.outData.return_msg;
    if (!record.returnMsg.empty())
        s.note(std::string(commandName(cmd)) + " message: " + record.returnMsg);

    // Data the effect hands back for later commands.
    if (cmd == PF_Cmd_GLOBAL_SETUP && record.result == PF_Err_NONE) {
        s.globalData = s.outData.global_data;
        reclassifyHandle(s, s.globalData, "global data handle", true);
    }
    if (cmd == PF_Cmd_GLOBAL_SETDOWN)
        s.globalData = nullptr;
    if (cmd == PF_Cmd_SEQUENCE_SETUP || cmd == PF_Cmd_SEQUENCE_RESETUP) {
        if (s.outData.sequence_data != s.sequenceData) {
            reclassifyHandle(s, s.sequenceData, "sequence data handle", false);
            s.sequenceData = s.outData.sequence_data;
            reclassifyHandle(s, s.sequenceData, "sequence data handle", true);
        }
    }
    if (cmd == PF_Cmd_SEQUENCE_SETDOWN)
        s.sequenceData = nullptr;
    if (cmd == PF_Cmd_SMART_RENDER)
        for (auto& [id, checkout] : s.layerCheckouts)
            if (checkout.world)
                s.checkInLayerPixels(checkout);

    for (const Imbalance& imbalance : Accounting::difference(before, s.accounting.outstandingSnapshot()))
        if (!imbalance.what.ends_with(" data handle"))
            record.imbalances.push_back(imbalance);
    for (const Imbalance& imbalance : record.imbalances)
        s.note(std::string(commandName(cmd)) + " left unbalanced: " + imbalance.what + " (" +
               std::to_string(imbalance.count) + ")");
    checkInLeftovers(s);
    if (record.result)
        s.note(std::string(commandName(cmd)) + " returned " + std::to_string(record.result));
    s.log.push_back(record);
    s.currentCmd = -1;
    return record.result;
}

void buildUiParams(HostState& s, double seconds)
{
    s.uiParams.clear();
    s.uiParamPointers.clear();
    for (std::size_t i = 0; i < s.params.size(); ++i)
        s.uiParams.push_back(s.paramRecordAt(int(i), seconds));
    for (PF_ParamDef& def : s.uiParams)
        s.uiParamPointers.push_back(&def);
    s.uiParamPointers.push_back(nullptr);
}

// The property list repeats what global set-up reports; a difference is the effect's bug.
void warnPiplMismatches(HostState& s)
{
    const PropertyList& pipl = s.module->properties();
    const bool piplOverrides = pipl.globalFlags && (*pipl.globalFlags & PF_OutFlag_PiPL_OVERRIDES_OUTDATA_OUTFLAGS);
    if (pipl.globalFlags && !piplOverrides && *pipl.globalFlags != std::uint32_t(s.outFlags))
        s.warn(s.module->path() + ": property list global flags (eGLO) " + hexWord(*pipl.globalFlags) +
               " differ from out_flags " + hexWord(std::uint32_t(s.outFlags)) + " set at global set-up");
    if (pipl.globalFlags2 && *pipl.globalFlags2 != std::uint32_t(s.outFlags2))
        s.warn(s.module->path() + ": property list global flags 2 (eGL2) " + hexWord(*pipl.globalFlags2) +
               " differ from out_flags2 " + hexWord(std::uint32_t(s.outFlags2)) + " set at global set-up");
    if (pipl.effectVersion && *pipl.effectVersion != s.myVersion)
        s.warn(s.module->path() + ": property list version (eVER) " + std::to_string(*pipl.effectVersion) +
               " differs from my_version " + std::to_string(s.myVersion));
}

// A set-down is sent once, and only after its set-up succeeded.
PF_Err runSetdown(HostState& s, PF_Cmd cmd, bool& setUp)
{
    if (!setUp)
        return PF_Err_NONE;
    setUp = false;
    return runCommand(s, cmd, nullptr, nullptr, nullptr);
}

void clearUiParams(HostState& s)
{
    s.uiParams.clear();
    s.uiParamPointers.clear();
}

} // namespace

// ---- EffectHost ----------------------------------------------------------------------------

EffectHost::EffectHost(const std::string& modulePath, HostConfig config)
    : EffectHost(std::make_shared<EffectModule>(modulePath), config)
{
}

EffectHost::EffectHost(std::shared_ptr<EffectModule> module, HostConfig config)
    : state_(std::make_unique<HostState>(std::move(module), config))
{
}

EffectHost::~EffectHost()
{
    shutdown();
}

HostState& EffectHost::state() { return *state_; }
const HostState& EffectHost::state() const { return *state_; }
FaultPlan& EffectHost::faults() { return state_->faults; }
const PropertyList& EffectHost::properties() const { return state_->module->properties(); }
const std::vector<ParamDefinition>& EffectHost::params() const { return state_->params; }
const std::vector<CommandRecord>& EffectHost::commandLog() const { return state_->log; }
const Accounting& EffectHost::accounting() const { return state_->accounting; }
const std::vector<std::string>& EffectHost::warnings() const { return state_->warnings; }
const std::vector<IteratePass>& EffectHost::iteratePasses() const { return state_->passes; }
const Composition& EffectHost::composition() const { return state_->composition; }
const std::map<int, ParamStreamState>& EffectHost::paramStreams() const { return state_->paramStreams; }
const std::vector<ParamUiUpdate>& EffectHost::paramUiUpdates() const { return state_->paramUiUpdates; }
A_u_long EffectHost::effectVersion() const { return state_->myVersion; }
PF_OutFlags EffectHost::outFlags() const { return state_->outFlags; }
PF_OutFlags2 EffectHost::outFlags2() const { return state_->outFlags2; }
bool EffectHost::usable() const
{
    return state_->globalSetupDone && state_->paramsSetupDone && !state_->setupFailed;
}

int EffectHost::paramIndex(const std::string& name) const
{
    for (const ParamDefinition& p : state_->params)
        if (p.index > 0 && p.name == name && p.def.param_type != PF_Param_GROUP_END)
            return p.index;
    return -1;
}

void EffectHost::setComposition(Composition composition)
{
    if (composition.pixels.size() != composition.model.layers.size())
        throw std::invalid_argument("setComposition: " + std::to_string(composition.pixels.size()) +
                                    " pixel entries for " + std::to_string(composition.model.layers.size()) +
                                    " layers");
    HostState& s = *state_;
    s.composition = std::move(composition);
    s.samplingTables->invalidateAll();
    s.layerPixels.clear(s.worlds);
    // Layer time units: whole frames when the rate is whole, else hundredths of a frame.
    const double rate = s.composition.model.frameRate > 0 ? s.composition.model.frameRate : 25.0;
    if (rate == std::floor(rate)) {
        s.timeScale = A_u_long(rate);
        s.timeStep = 1;
    } else {
        s.timeScale = A_u_long(std::lround(rate * 100.0));
        s.timeStep = 100;
    }
    s.aegp.resetComposition(int(s.composition.model.layers.size()));
}

void EffectHost::setParamValues(int index, std::function<ParamValue(double)> valueAt)
{
    HostState& s = *state_;
    if (index < 0)
        return;
    if (std::size_t(index) >= s.valueTracks.size())
        s.valueTracks.resize(std::size_t(index) + 1);
    s.valueTracks[std::size_t(index)] = std::move(valueAt);
}

void EffectHost::provideSuite(const std::string& name, int version, const void* table)
{
    state_->suites[{name, version}] = table;
}

PF_Err EffectHost::about(std::string* text)
{
    const PF_Err err = runCommand(*state_, PF_Cmd_ABOUT, nullptr, nullptr, nullptr);
    if (text)
        *text = state_->log.back().returnMsg;
    return err;
}

PF_Err EffectHost::globalSetup()
{
    HostState& s = *state_;
    const PF_Err err = runCommand(s, PF_Cmd_GLOBAL_SETUP, nullptr, nullptr, nullptr);
    if (err) {
        s.setupFailed = true;
        return err;
    }
    s.globalSetupDone = true;
    s.myVersion = s.outData.my_version;
    s.outFlags = s.outData.out_flags;
    s.outFlags2 = s.outData.out_flags2;
    warnPiplMismatches(s);
    return PF_Err_NONE;
}

PF_Err EffectHost::paramsSetup()
{
    HostState& s = *state_;
    if (!s.globalSetupDone || s.setupFailed)
        return PF_Err_BAD_CALLBACK_PARAM;
    // The input layer is parameter 0; the effect adds the rest.
    s.params.clear();
    s.openGroups = 0;
    PF_ParamDef input{};
    input.param_type = PF_Param_LAYER;
    s.params.push_back(copyDefinition(input, 0, 0));
    const PF_Err err = runCommand(s, PF_Cmd_PARAMS_SETUP, nullptr, nullptr, nullptr);
    if (err) {
        s.setupFailed = true;
        return err;
    }
    if (s.outData.num_params != A_long(s.params.size())) {
        s.setupFailed = true;
        s.log.back().problem = "num_params is " + std::to_string(s.outData.num_params) + " but " +
                               std::to_string(s.params.size()) + " parameters were registered (input layer included)";
        s.warn(s.module->path() + ": " + s.log.back().problem);
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    if (s.openGroups != 0)
        s.warn(s.module->path() + ": " + std::to_string(s.openGroups) + " parameter group(s) left open");
    s.paramsSetupDone = true;
    s.valueTracks.resize(s.params.size());
    s.lastSeen.assign(s.params.size(), std::nullopt);
    for (const ParamDefinition& p : s.params)
        if (p.def.flags & PF_ParamFlag_SUPERVISE)
            s.lastSeen[std::size_t(p.index)] = defaultValue(p, s.layerWidth(), s.layerHeight());
    return PF_Err_NONE;
}

PF_Err EffectHost::sequenceSetup()
{
    HostState& s = *state_;
    if (!usable())
        return PF_Err_BAD_CALLBACK_PARAM;
    const PF_Err err = runCommand(s, PF_Cmd_SEQUENCE_SETUP, nullptr, nullptr, nullptr);
    if (!err)
        s.sequenceSetupDone = true;
    return err;
}

PF_Err EffectHost::start()
{
    if (PF_Err err = globalSetup())
        return err;
    if (PF_Err err = paramsSetup())
        return err;
    if (PF_Err err = sequenceSetup())
        return err;
    const bool supervised = std::any_of(state_->params.begin(), state_->params.end(), [](const ParamDefinition& p) {
        return (p.def.flags & PF_ParamFlag_SUPERVISE) != 0;
    });
    // The first update is a UI refresh; its failure does not stop rendering.
    if (supervised || (state_->outFlags & PF_OutFlag_SEND_UPDATE_PARAMS_UI))
        updateParamsUI(state_->frame.seconds);
    return PF_Err_NONE;
}

PF_Err EffectHost::updateParamsUI(double seconds)
{
    HostState& s = *state_;
    if (!usable())
        return PF_Err_BAD_CALLBACK_PARAM;
    s.frame.seconds = seconds;
    buildUiParams(s, seconds);
    const PF_Err err = runCommand(s, PF_Cmd_UPDATE_PARAMS_UI, s.uiParamPointers.data(), nullptr, nullptr);
    clearUiParams(s);
    return err;
}

PF_Err EffectHost::userChangedParam(int index, double seconds)
{
    HostState& s = *state_;
    if (!usable() || index <= 0 || index >= int(s.params.size()))
        return PF_Err_BAD_CALLBACK_PARAM;
    s.frame.seconds = seconds;
    buildUiParams(s, seconds);
    PF_UserChangedParamExtra extra{index};
    const PF_Err err = runCommand(s, PF_Cmd_USER_CHANGED_PARAM, s.uiParamPointers.data(), nullptr, &extra);
    for (std::size_t i = 0; i < s.uiParams.size(); ++i)
        if (s.uiParams[i].uu.change_flags & PF_ChangeFlag_CHANGED_VALUE)
            s.note("USER_CHANGED_PARAM: the effect changed the value of parameter " + std::to_string(i));
    clearUiParams(s);
    return err;
}

PF_Err EffectHost::renderFrame(const FrameRequest& request, Image* output)
{
    HostState& s = *state_;
    if (!usable() || !s.sequenceSetupDone)
        return PF_Err_BAD_CALLBACK_PARAM;
    s.frame = request;

    // Supervised parameters the render sets to a new value reach the effect as a user change.
    for (const ParamDefinition& p : s.params) {
        if (!(p.def.flags & PF_ParamFlag_SUPERVISE))
            continue;
        const ParamValue value = s.valueAt(p.index, request.seconds);
        if (s.lastSeen[std::size_t(p.index)] == value)
            continue;
        s.lastSeen[std::size_t(p.index)] = value;
        userChangedParam(p.index, request.seconds);
        updateParamsUI(request.seconds);
        s.frame = request;
    }

    PF_RenderRequest renderRequest{};
    renderRequest.rect = s.layerBufferRect();
    renderRequest.field = PF_Field_FRAME;
    renderRequest.channel_mask = PF_ChannelMask_ARGB;

    s.layerCheckouts.clear();
    PF_PreRenderInput preInput{};
    preInput.output_request = renderRequest;
    preInput.bitdepth = short(request.bitDepth);
    PF_PreRenderOutput preOutput{};
    PF_PreRenderExtra preExtra{&preInput, &preOutput, preRenderCallbacks()};
    PF_Err err = runCommand(s, PF_Cmd_SMART_PRE_RENDER, nullptr, nullptr, &preExtra);

    if (!err) {
        PF_SmartRenderInput renderInput{};
        renderInput.output_request = renderRequest;
        renderInput.bitdepth = short(request.bitDepth);
        renderInput.pre_render_data = preOutput.pre_render_data;
        PF_SmartRenderExtra renderExtra{&renderInput, smartRenderCallbacks()};
        s.outputWorld.reset();
        s.inputCheckedOut = false;
        err = runCommand(s, PF_Cmd_SMART_RENDER, nullptr, nullptr, &renderExtra);
        if (output) {
            if (!err && s.outputWorld)
                *output = imageFromWorldBeforeDisposal(*s.outputWorld, pixelFormatForDepth(request.bitDepth));
            else
                *output = solidImage(renderRequest.rect.right, renderRequest.rect.bottom, 0, 0, 0,
                                     0);   // a failed or empty render is transparent
        }
        if (s.outputWorld) {
            s.disposeWorld(s.outputWorld->data);
            s.outputWorld.reset();
        }
    }
    // The host owns pre-render data, also when no render followed.
    if (preOutput.pre_render_data && preOutput.delete_pre_render_data_func) {
        ActiveHostScope active(&s);
        preOutput.delete_pre_render_data_func(preOutput.pre_render_data);
    }
    s.layerCheckouts.clear();
    return err;
}

PF_Err EffectHost::sequenceSetdown()
{
    return runSetdown(*state_, PF_Cmd_SEQUENCE_SETDOWN, state_->sequenceSetupDone);
}

PF_Err EffectHost::globalSetdown()
{
    return runSetdown(*state_, PF_Cmd_GLOBAL_SETDOWN, state_->globalSetupDone);
}

void EffectHost::shutdown()
{
    sequenceSetdown();
    globalSetdown();
    state_->samplingTables->invalidateAll();
    state_->layerPixels.clear(state_->worlds);
}

PF_Err EffectHost::sendCommand(PF_Cmd cmd, void* extra)
{
    HostState& s = *state_;
    const bool ui = cmd == PF_Cmd_USER_CHANGED_PARAM || cmd == PF_Cmd_UPDATE_PARAMS_UI;
    PF_UserChangedParamExtra changed{1};
    if (ui && s.params.size() > 1) {
        buildUiParams(s, s.frame.seconds);
        if (cmd == PF_Cmd_USER_CHANGED_PARAM && !extra)
            extra = &changed;
    }
    const PF_Err err = runCommand(s, cmd, ui && !s.uiParamPointers.empty() ? s.uiParamPointers.data() : nullptr,
                                  nullptr, extra);
    clearUiParams(s);
    return err;
}

std::vector<Imbalance> EffectHost::liveResources() const
{
    std::vector<Imbalance> live;
    for (const auto& [key, count] : state_->accounting.outstandingSnapshot())
        if (count != 0)
            live.push_back({key, count});
    return live;
}

} // namespace orbhost
