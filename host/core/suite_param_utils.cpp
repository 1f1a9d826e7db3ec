// "PF Param Utils Suite" version 2: PF_UpdateParamUI stores the UI state it is given, so
// that later params[] arrays and checkouts show it (and tests and --ui-state can read it).
// Every call is logged in order, with whether the record was the command's own params[]
// entry, which is what the effect is expected to hand back.
#include "host/core/host_state.h"
#include "host/core/unsupported_slots.h"

#include <cstring>

namespace orbhost {
namespace {

PF_Err updateParamUI(PF_ProgPtr ref, PF_ParamIndex index, const PF_ParamDef* def)
{
    HostState* host = hostFromRef(ref);
    if (!host)
        return PF_Err_BAD_CALLBACK_PARAM;
    ParamUiUpdate& logged = host->paramUiUpdates.emplace_back();
    logged.cmd = host->currentCmd;
    logged.index = index;
    logged.uiFlags = def ? def->ui_flags : 0;
    logged.fromParams = def && index >= 0 && std::size_t(index) < host->uiParams.size() &&
                        def == &host->uiParams[std::size_t(index)];
    if (!def || index <= 0 || index >= PF_ParamIndex(host->params.size()) ||
        def->param_type != host->params[std::size_t(index)].def.param_type)
        return logged.result = PF_Err_BAD_CALLBACK_PARAM;
    if (injectFault(host->faultCounters.paramUiUpdates, host->faults.failParamUiUpdate)) {
        host->note("PF_UpdateParamUI " + std::to_string(index) + ": injected failure");
        return logged.result = host->faults.injectedError;
    }
    ParamDefinition& param = host->params[std::size_t(index)];
    param.uiFlags = def->ui_flags;
    param.def.ui_width = def->ui_width;
    param.def.ui_height = def->ui_height;
    param.def.flags = (param.def.flags & ~PF_ParamFlag_COLLAPSE_TWIRLY) |
                      (def->flags & PF_ParamFlag_COLLAPSE_TWIRLY);
    const std::string name(def->name_do_not_use_directly,
                           strnlen(def->name_do_not_use_directly, sizeof def->name_do_not_use_directly));
    if (!name.empty() && name != param.name) {
        param.name = name;
        std::memcpy(param.def.name_do_not_use_directly, def->name_do_not_use_directly,
                    sizeof def->name_do_not_use_directly);
    }
    if (param.def.param_type == PF_Param_FIX_SLIDER) {
        param.def.u.fd.slider_min = def->u.fd.slider_min;
        param.def.u.fd.slider_max = def->u.fd.slider_max;
        param.def.u.fd.precision = def->u.fd.precision;
        param.def.u.fd.display_flags = def->u.fd.display_flags;
    } else if (param.def.param_type == PF_Param_FLOAT_SLIDER) {
        param.def.u.fs_d.slider_min = def->u.fs_d.slider_min;
        param.def.u.fs_d.slider_max = def->u.fs_d.slider_max;
        param.def.u.fs_d.precision = def->u.fs_d.precision;
        param.def.u.fs_d.display_flags = def->u.fs_d.display_flags;
    }
    host->accounting.count("PF_UpdateParamUI");
    host->note("PF_UpdateParamUI " + std::to_string(index) + " \"" + param.name + "\" ui_flags " +
               std::to_string(def->ui_flags));
    return PF_Err_NONE;
}

} // namespace

const PF_ParamUtilsSuite1* paramUtilsSuite()
{
    static const PF_ParamUtilsSuite1 suite = tableOfStandIns<PF_ParamUtilsSuite1, kPFParamUtilsSuite,
                                                             PF_Err_INVALID_CALLBACK>(
        [](PF_ParamUtilsSuite1& s) { s.PF_UpdateParamUI = updateParamUI; });
    return &suite;
}

} // namespace orbhost
