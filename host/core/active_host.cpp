#include "host/core/host_state.h"

#include <atomic>
#include <string>

namespace orbhost {
namespace {
// Commands come one at a time, so one pointer serves every callback that carries no
// effect_ref (handles, iterate, ANSI, suites); worker threads only read it.
std::atomic<HostState*> gActiveHost{nullptr};
} // namespace

HostState* activeHost()
{
    return gActiveHost.load(std::memory_order_acquire);
}

HostState* hostFromRef(PF_ProgPtr effectRef)
{
    HostState* host = activeHost();
    return host && reinterpret_cast<HostState*>(effectRef) == host ? host : nullptr;
}

ActiveHostScope::ActiveHostScope(HostState* host) : previous_(gActiveHost.exchange(host)) {}

ActiveHostScope::~ActiveHostScope()
{
    gActiveHost.store(previous_);
}

void reportUnsupportedCall(const char* owner, int slot)
{
    if (HostState* host = activeHost()) {
        const std::string what = std::string("unsupported call: ") + owner + " slot " + std::to_string(slot);
        host->accounting.count(what);
        host->note(what);
    }
}

} // namespace orbhost
