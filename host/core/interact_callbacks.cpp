// in_data->inter: add_param during PARAMS_SETUP, checkout_param/checkin_param with values at
// the requested time (layer parameters with the layer's pixels), abort and progress.
#include "host/core/host_state.h"
#include "host/core/unsupported_slots.h"

#include <cstdint>
#include <cstring>
#include <random>

namespace orbhost {
namespace {

constexpr char kInteractCallbacks[] = "PF_InteractCallbacks";

PF_Err addParam(PF_ProgPtr ref, PF_ParamIndex index, PF_ParamDefPtr def)
{
    HostState* host = hostFromRef(ref);
    if (!host || !def || host->currentCmd != PF_Cmd_PARAMS_SETUP)
        return PF_Err_BAD_CALLBACK_PARAM;
    const PF_ParamIndex next = PF_ParamIndex(host->params.size());
    if (index != -1 && index != next)
        return PF_Err_INVALID_INDEX;
    if (injectFault(host->faultCounters.addParams, host->faults.failAddParam)) {
        host->note("injected failure: add_param " + std::to_string(next));
        return host->faults.injectedError;
    }
    if (def->param_type == PF_Param_GROUP_END) {
        if (host->openGroups == 0)
            host->warn("parameter " + std::to_string(next) + ": group end without a group start");
        else
            --host->openGroups;
    }
    host->params.push_back(copyDefinition(*def, next, host->openGroups));
    if (def->param_type == PF_Param_GROUP_START)
        ++host->openGroups;
    host->accounting.count("add_param");
    return PF_Err_NONE;
}

// What a host with a stray write or an uninitialised record hands back: bytes that change
// from attempt to attempt but are the same in every run.
void fillWithJunk(int attempt, PF_ParamDef* param)
{
    std::minstd_rand junk{std::uint32_t(attempt)};
    auto* bytes = reinterpret_cast<unsigned char*>(param);
    for (std::size_t i = 0; i < sizeof *param; ++i)
        bytes[i] = static_cast<unsigned char>(junk() >> 7);
}

bool pointsIntoParams(const HostState& host, const PF_ParamDef* p)
{
    if (host.uiParams.empty())
        return false;
    return p >= host.uiParams.data() && p < host.uiParams.data() + host.uiParams.size();
}

PF_Err checkoutParam(PF_ProgPtr ref, PF_ParamIndex index, A_long time, A_long timeStep,
                     A_u_long timeScale, PF_ParamDef* param)
{
    (void)timeStep;
    HostState* host = hostFromRef(ref);
    if (!host || !param || timeScale == 0 || pointsIntoParams(*host, param))
        return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || index >= PF_ParamIndex(host->params.size()))
        return PF_Err_INVALID_INDEX;
    const int attempt = ++host->faultCounters.checkouts;
    if (attempt == host->faults.failCheckout) {
        host->note("injected failure: checkout_param " + std::to_string(index));
        if (host->faults.junkInFailedCheckouts)
            fillWithJunk(attempt, param);
        return host->faults.injectedError;
    }
    const double seconds = host->toSeconds(time, timeScale);
    *param = host->paramRecordAt(index, seconds);
    ParamCheckoutRecord record{param, int(index), nullptr};
    if (host->params[std::size_t(index)].def.param_type == PF_Param_LAYER) {
        const int layer = host->layerOfParam(index, seconds);
        if (PF_Err err = host->checkOutLayerWorld(layer, &param->u.ld))
            return err;
        record.pixels = param->u.ld.data;
        if (record.pixels && host->currentCmd == PF_Cmd_SMART_RENDER && index != 0)
            host->note("layer parameter " + std::to_string(index) +
                       " read with checkout_param in SMART_RENDER, without a checkout_layer in PRE_RENDER: "
                       "allowed; the host serves its pixels at the time asked for");
    }
    if (attempt == host->faults.junkCheckout) {
        host->note("injected junk: checkout_param " + std::to_string(index));
        fillWithJunk(attempt, param);
    }
    if (attempt == host->faults.mistypedCheckout) {
        host->note("injected wrong type: checkout_param " + std::to_string(index));
        param->param_type = param->param_type == PF_Param_LAYER ? PF_Param_FLOAT_SLIDER : PF_Param_LAYER;
    }
    host->paramCheckouts.push_back(record);
    host->accounting.take("parameter checkout");
    return PF_Err_NONE;
}

PF_Err checkinParam(PF_ProgPtr ref, PF_ParamDef* param)
{
    HostState* host = hostFromRef(ref);
    if (!host || !param)
        return PF_Err_BAD_CALLBACK_PARAM;
    for (auto it = host->paramCheckouts.begin(); it != host->paramCheckouts.end(); ++it) {
        if (it->destination != param)
            continue;
        host->checkInParam(*it);
        host->paramCheckouts.erase(it);
        // The record is invalid after check-in; clearing it exposes later use.
        std::memset(param, 0, sizeof *param);
        return PF_Err_NONE;
    }
    host->warn("checkin_param of a record that is not checked out");
    return PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err abortCallback(PF_ProgPtr ref)
{
    return hostFromRef(ref) ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err progressCallback(PF_ProgPtr ref, A_long, A_long)
{
    return hostFromRef(ref) ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}

} // namespace

PF_InteractCallbacks interactCallbacks()
{
    static const PF_InteractCallbacks callbacks =
        tableOfStandIns<PF_InteractCallbacks, kInteractCallbacks, PF_Err_INVALID_CALLBACK>(
            [](PF_InteractCallbacks& c) {
                c.checkout_param = checkoutParam;
                c.checkin_param = checkinParam;
                c.add_param = addParam;
                c.abort = abortCallback;
                c.progress = progressCallback;
            });
    return callbacks;
}

} // namespace orbhost
