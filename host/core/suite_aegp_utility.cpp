// "AEGP Utility Suite" version 11: registration hands out plug-in ids; messages go to the
// host's log. Every other function answers A_Err_GENERIC.
#include "host/core/host_state.h"
#include "host/core/unsupported_slots.h"

namespace orbhost {
namespace {

A_Err registerWithAEGP(AEGP_GlobalRefcon, const A_char* name, AEGP_PluginID* id)
{
    HostState* host = activeHost();
    if (!host || !id)
        return A_Err_PARAMETER;
    *id = host->nextPluginId++;
    host->note(std::string("AEGP_RegisterWithAEGP \"") + (name ? name : "") + "\" -> id " +
               std::to_string(*id));
    return A_Err_NONE;
}

A_Err reportInfo(AEGP_PluginID, const A_char* text)
{
    if (HostState* host = activeHost())
        host->warn(std::string("effect reports: ") + (text ? text : ""));
    return A_Err_NONE;
}

A_Err writeToConsole(const A_char* text)
{
    if (HostState* host = activeHost())
        host->note(std::string("effect console: ") + (text ? text : ""));
    return A_Err_NONE;
}

} // namespace

const AEGP_UtilitySuite5* aegpUtilitySuite()
{
    static const AEGP_UtilitySuite5 suite =
        tableOfStandIns<AEGP_UtilitySuite5, kAEGPUtilitySuite, A_Err_GENERIC>([](AEGP_UtilitySuite5& s) {
            s.AEGP_RegisterWithAEGP = registerWithAEGP;
            s.AEGP_ReportInfo = reportInfo;
            s.AEGP_WriteToOSConsole = writeToConsole;
        });
    return &suite;
}

} // namespace orbhost
