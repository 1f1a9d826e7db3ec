// The parameter stream behind an AEGP_StreamRefH, for the stream and dynamic stream suites.
#pragma once
#include "host/core/host_state.h"

namespace orbhost {

// The accounting key of a stream of that parameter ("AEGP stream of parameter 49").
std::string streamAccount(int param);

// The active host and the parameter a live stream handle names; false (after a verbose note)
// for null, unknown or disposed handles. Warns when the stream outlived its effect reference.
struct StreamCall {
    HostState* host = nullptr;
    int param = -1;
    StreamCall(const char* call, AEGP_StreamRefH stream);
    explicit operator bool() const { return host != nullptr; }
    ParamStreamState& state() const;
};

} // namespace orbhost
