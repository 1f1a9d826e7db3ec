// PF_Cmd_UPDATE_PARAMS_UI and PF_Cmd_USER_CHANGED_PARAM. The UI update greys out the controls
// that have no effect in the current state: the sphere's own placement while a "Control
// Layer" drives it, and the falloff distances the chosen "Falloff" does not use. A change of
// "Control Layer" writes an expression naming that layer onto the hidden "dammy" parameter,
// so that the host re-renders the effect whenever the layer moves.
//
// AEGP errors stay inside the host objects that met them; only PF_UpdateParamUI, and a suite
// the suite handler cannot get, decide a command's result.
#include "AEO/effect.h"
#include "AEO/host_access.h"
#include "AEO/interface.h"
#include "AEO/layer.h"
#include "AEO/stream.h"
#include "AEO/suite_handler.h"
#include "render/popup_values.h"
#include "shell/commands.h"
#include "shell/effect_param_id.h"
#include "shell/global_data.h"

#include <string>

namespace {

// From protocol 13.2 on, PF_PUI_INVISIBLE (given at parameter set-up) is all it takes to hide
// "dammy"; older hosts get its stream hidden as well.
constexpr int kInvisibleParamsHideStream = 1302;

int hostProtocol(const PF_InData* in) { return in->version.major * 100 + in->version.minor; }

// The identity the effect registered with at global set-up (0 when it has none).
AEGP_PluginID pluginIdOf(const PF_InData* in)
{
    const GlobalData* global = globalDataIn(in->global_data);
    return global ? global->pluginId() : 0;
}

bool hasAllParams(const PF_InData* in, PF_ParamDef* const params[])
{
    if (!params || in->num_params < PARAM_NUM_PARAMS) {
        return false;
    }
    for (int i = 0; i < PARAM_NUM_PARAMS; ++i) {
        if (!params[i]) {
            return false;
        }
    }
    return true;
}

// A layer parameter names a layer when the host put that layer's handle in the record's
// first reserved field.
AEGP_LayerH chosenLayer(const PF_ParamDef& param) { return static_cast<AEGP_LayerH>(param.u.ld.reserved0); }

// The stream of the hidden "dammy" parameter and the AEGP effect reference it was taken
// from. Both are given back when this goes out of scope, also when an exception passes.
class DammyStream {
public:
    DammyStream(PF_InData* in, AEGP_PluginID pluginId)
        : interface_(in), effect_(in, newEffectRef(in, interface_, pluginId)),
          stream_(in, effect_.handle() ? effect_.paramStream(pluginId, PARAM_DAMMY) : nullptr)
    {
    }
    ~DammyStream()
    {
        stream_.dispose();
        effect_.dispose();
    }
    DammyStream(const DammyStream&) = delete;
    DammyStream& operator=(const DammyStream&) = delete;

    void hide()
    {
        if (stream_.handle()) {
            stream_.setDynamicFlag(AEGP_DynStreamFlag_HIDDEN, false, true);
        }
    }
    void setExpression(AEGP_PluginID pluginId, const std::string& expression)
    {
        if (stream_.handle()) {
            stream_.setExpression(pluginId, expression.c_str());
        }
    }

private:
    // A reference the host could not take back would be leaked: without the suite that
    // disposes of it, none is asked for.
    static AEGP_EffectRefH newEffectRef(PF_InData* in, AEO::Interface& effectInterface, AEGP_PluginID pluginId)
    {
        const AEO::ScopedSuite<AEGP_EffectSuite3> disposer(in->pica_basicP);
        return disposer.get() ? effectInterface.newEffectForEffect(pluginId) : nullptr;
    }

    AEO::Interface interface_;
    AEO::Effect effect_;
    AEO::Stream stream_;
};

// Greys controls out and in through PF_UpdateParamUI, on the host's own params[] entries.
// The first error stops every later update and is the command's result.
class ParamUi {
public:
    ParamUi(AEO::SuiteHandler& suites, const PF_InData* in, PF_ParamDef* params[])
        : suites_(suites), effectRef_(in->effect_ref), params_(params)
    {
    }

    void disable(int index) { update(index, true); }
    void enable(int index) { update(index, false); }
    PF_Err error() const { return err_; }

private:
    void update(int index, bool disabled)
    {
        if (err_) {
            return;
        }
        // The suite is asked for on first use; a host without it makes the command fail (516).
        const PF_ParamUtilsSuite1& paramUtils = suites_.get<PF_ParamUtilsSuite1>();
        PF_ParamDef& param = *params_[index];
        param.ui_flags = disabled ? (param.ui_flags | PF_PUI_DISABLED) : (param.ui_flags & ~PF_PUI_DISABLED);
        err_ = paramUtils.PF_UpdateParamUI ? paramUtils.PF_UpdateParamUI(effectRef_, index, &param)
                                           : PF_Err_BAD_CALLBACK_PARAM;
    }

    AEO::SuiteHandler& suites_;
    PF_ProgPtr effectRef_;
    PF_ParamDef** params_;
    PF_Err err_ = PF_Err_NONE;
};

// The expression that makes "dammy" depend on the control layer: the length of the layer's
// point (1, 1, 1) in world space, or the parameter's own value when no layer of that name
// exists. The name goes in as it is, unescaped; the text ends with a line feed.
std::string controlLayerExpression(const std::string& layerName)
{
    return "try{length(thisComp.layer(\"" + layerName + "\").toWorld([1,1,1]));}catch(e){value;}\n";
}

// A layer the user never named shows its source's name but cannot be found by it from an
// expression; it gets that name as its own.
void nameAfterSource(AEO::Layer& layer, AEGP_PluginID pluginId)
{
    const AEO::Layer::Names names = layer.names(pluginId);
    if (names.own.empty() && !names.source.empty()) {
        layer.setName(names.source);
    }
}

} // namespace

PF_Err updateParamsUi(PF_InData* in_data, PF_OutData*, PF_ParamDef* params[])
{
    AEO::SuiteHandler suites(in_data->pica_basicP);
    AEO::HostAccess host(in_data);
    if (!hasAllParams(in_data, params)) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    const AEGP_PluginID pluginId = pluginIdOf(in_data);

    if (hostProtocol(in_data) < kInvisibleParamsHideStream) {
        DammyStream(in_data, pluginId).hide();
    }

    ParamUi ui(suites, in_data, params);
    {
        // The "dammy" stream is held while the placement controls change.
        const DammyStream held(in_data, pluginId);
        if (chosenLayer(*params[PARAM_CONTROL_LAYER])) {
            for (int i = PARAM_ELLIPSE_Z_XY; i <= PARAM_ROTATION_Z; ++i) {
                ui.disable(i);
            }
        } else {
            // "Ellipse Z/XY" is left as it is: once greyed by a control layer it stays greyed.
            for (int i = PARAM_ELLIPSE_X_Y; i <= PARAM_ROTATION_Z; ++i) {
                ui.enable(i);
            }
        }
    }

    // Falloff distances; after a failed placement update ParamUi makes no further call.
    switch (params[PARAM_FALLOFF]->u.pd.value) {
    case kFalloffNone:
        ui.disable(PARAM_FALLOFF_RADIUS);
        ui.disable(PARAM_FALLOFF_DISTANCE);
        break;
    case kFalloffSmooth:
        ui.enable(PARAM_FALLOFF_RADIUS);
        ui.enable(PARAM_FALLOFF_DISTANCE);
        break;
    case kFalloffInverseSquareClamped:
        ui.enable(PARAM_FALLOFF_RADIUS);
        ui.disable(PARAM_FALLOFF_DISTANCE);
        break;
    default: break;
    }
    return ui.error();
}

PF_Err userChangedParam(PF_InData* in_data, PF_OutData*, PF_ParamDef* params[], PF_UserChangedParamExtra* extra)
{
    AEO::SuiteHandler suites(in_data->pica_basicP);
    AEO::HostAccess host(in_data);
    if (!extra) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    // "Falloff" is supervised too, but only the UI update reacts to it.
    if (extra->param_index != PARAM_CONTROL_LAYER) {
        return PF_Err_NONE;
    }
    if (!hasAllParams(in_data, params)) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    const AEGP_PluginID pluginId = pluginIdOf(in_data);

    DammyStream dammy(in_data, pluginId);
    const AEGP_LayerH control = chosenLayer(*params[PARAM_CONTROL_LAYER]);
    if (!control) {
        dammy.setExpression(pluginId, "");
        return PF_Err_NONE;
    }
    AEO::Layer layer(host, control);
    nameAfterSource(layer, pluginId);
    dammy.setExpression(pluginId, controlLayerExpression(layer.name8()));
    return PF_Err_NONE;
}
