// Command dispatch. Kept out of orbulon_core: the module links it directly, which keeps it
// in the module although nothing inside refers to it, and it is the only exported symbol.
#include "shell/entry_point.h"
#include "shell/commands.h"

#include <new>

namespace {

bool usesHostRecords(PF_Cmd cmd)
{
    switch (cmd) {
    case PF_Cmd_ABOUT:
    case PF_Cmd_GLOBAL_SETUP:
    case PF_Cmd_GLOBAL_SETDOWN:
    case PF_Cmd_PARAMS_SETUP:
    case PF_Cmd_USER_CHANGED_PARAM:
    case PF_Cmd_UPDATE_PARAMS_UI:
    case PF_Cmd_SMART_PRE_RENDER:
    case PF_Cmd_SMART_RENDER:
        return true;
    default:
        return false;
    }
}

} // namespace

extern "C" PF_Err EntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                 PF_ParamDef* params[], PF_LayerDef*, void* extra)
{
    if (usesHostRecords(cmd) && (!in_data || !out_data)) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    PF_Err err = PF_Err_NONE;
    try {
        switch (cmd) {
        case PF_Cmd_ABOUT: err = about(in_data, out_data); break;
        case PF_Cmd_GLOBAL_SETUP: err = globalSetup(in_data, out_data); break;
        case PF_Cmd_GLOBAL_SETDOWN: err = globalSetdown(in_data, out_data); break;
        case PF_Cmd_PARAMS_SETUP: err = paramsSetup(in_data, out_data); break;
        case PF_Cmd_USER_CHANGED_PARAM:
            err = userChangedParam(in_data, out_data, params, static_cast<PF_UserChangedParamExtra*>(extra));
            break;
        case PF_Cmd_UPDATE_PARAMS_UI: err = updateParamsUi(in_data, out_data, params); break;
        case PF_Cmd_SMART_PRE_RENDER:
            err = smartPreRender(in_data, out_data, static_cast<PF_PreRenderExtra*>(extra));
            break;
        case PF_Cmd_SMART_RENDER:
            err = smartRender(in_data, out_data, static_cast<PF_SmartRenderExtra*>(extra));
            break;
        // Sequence commands have nothing to keep, PF_Cmd_RENDER is never used (the effect
        // renders through the smart commands), and every other command needs no answer.
        default: break;
        }
    } catch (A_long& thrown) {
        // Host error codes thrown by suite handlers (a missing suite) become the result.
        err = thrown;
    } catch (const std::bad_alloc&) {
        // The standard library's allocations (names, expression text) meet a full heap: the
        // host's own code for it. Everything held is given back by the handlers' destructors.
        err = PF_Err_OUT_OF_MEMORY;
    } catch (...) {
        // Nothing may unwind into the host, whose frames know nothing of C++ exceptions.
        err = PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    return err;
}
