#include "host/core/stream_call.h"

#include "host/core/aegp_access.h"

namespace orbhost {

std::string streamAccount(int param)
{
    return "AEGP stream of parameter " + std::to_string(param);
}

StreamCall::StreamCall(const char* call, AEGP_StreamRefH stream) : host(activeHost())
{
    const std::optional<int> found = host ? host->aegp.streamParam(stream) : std::nullopt;
    if (!found) {
        badArgument(call, stream ? "unknown or disposed stream" : "null stream");
        host = nullptr;
        return;
    }
    param = *found;
    if (!host->aegp.streamOwnerLive(stream))
        host->warn(std::string(call) + ": stream of parameter " + std::to_string(param) +
                   " used after its effect reference was disposed");
}

ParamStreamState& StreamCall::state() const
{
    return host->paramStreams[param];
}

} // namespace orbhost
