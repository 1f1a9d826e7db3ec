// PF_Cmd_GLOBAL_SETUP and PF_Cmd_GLOBAL_SETDOWN.
#include "AEO/host_access.h"
#include "AEO/suite_handler.h"
#include "shell/commands.h"
#include "shell/effect_identity.h"
#include "shell/global_data.h"

namespace {

bool hasHandleCallbacks(const PF_UtilCallbacks* utils)
{
    return utils && utils->host_new_handle && utils->host_lock_handle && utils->host_unlock_handle &&
           utils->host_dispose_handle && utils->host_get_handle_size;
}

} // namespace

PF_Err globalSetup(PF_InData* in_data, PF_OutData* out_data)
{
    out_data->my_version = kEffectVersion;
    out_data->out_flags = kEffectOutFlags;
    out_data->out_flags2 = kEffectOutFlags2;

    // Declared in this order so that the AEGP suites go back first, then the sampling suites.
    AEO::HostAccess host(in_data);
    AEO::SuiteHandler suites(in_data->pica_basicP);

    A_Err registerError = PF_Err_NONE;
    AEGP_PluginID pluginId = 0;
    const AEGP_UtilitySuite5& utility = suites.get<AEGP_UtilitySuite5>();
    registerError = utility.AEGP_RegisterWithAEGP
                        ? utility.AEGP_RegisterWithAEGP(nullptr, kEffectName, &pluginId)
                        : PF_Err_BAD_CALLBACK_PARAM;

    if (!hasHandleCallbacks(in_data->utils)) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    PF_Handle handle = createGlobalData(*in_data->utils, registerError, pluginId);
    if (!handle) {
        return PF_Err_OUT_OF_MEMORY;
    }
    out_data->global_data = handle;
    return PF_Err_NONE;
}

PF_Err globalSetdown(PF_InData* in_data, PF_OutData*)
{
    if (!in_data->global_data) {
        return PF_Err_NONE;
    }
    AEO::HostAccess host(in_data);
    if (!hasHandleCallbacks(in_data->utils)) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    destroyGlobalData(*in_data->utils, in_data->global_data);
    return PF_Err_NONE;
}
