// PF_Cmd_ABOUT: the text of the host's about box.
#include "AEO/host_access.h"
#include "AEO/suite_handler.h"
#include "shell/commands.h"
#include "shell/effect_identity.h"

PF_Err about(PF_InData* in_data, PF_OutData* out_data)
{
    // Built first, as by every handler; the AEGP suites go back first, then the sampling suites.
    AEO::HostAccess host(in_data);
    AEO::SuiteHandler suites(in_data->pica_basicP);
    // Premiere Pro shows no about text for effects.
    if (in_data->appl_id == kAppIdPremierePro) {
        return PF_Err_NONE;
    }
    const PF_ANSICallbacksSuite1& ansi = suites.get<PF_ANSICallbacksSuite1>();
    if (!ansi.sprintf) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    ansi.sprintf(out_data->return_msg, "%s, v%d.%d.%d\n%s", kEffectName,
                 static_cast<int>(kVersionMajor), static_cast<int>(kVersionMinor),
                 static_cast<int>(kVersionBugFix), kAboutDescription);
    return PF_Err_NONE;
}
