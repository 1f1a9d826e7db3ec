// Shared set-up for tests that drive the probe effect through the host.
#pragma once
#include "host/core/host_state.h"
#include "host/scene/image.h"

#include <cstdlib>
#include <memory>
#include <string>

namespace probetest {

inline std::string probePath()
{
    return std::string(ORBULON_BUILD_DIR) + "/tests/probe/probe.so";
}

// A 16 x 8 composition: the effect's layer and one 4 x 2 texture layer "Tex".
inline orbhost::Composition smallComposition()
{
    orbhost::Composition comp;
    comp.model.width = 16, comp.model.height = 8, comp.model.frameRate = 10, comp.model.duration = 2;
    orbhost::addImageLayer(comp, "Base", orbhost::solidImage(16, 8, 0, 0, 1, 1));
    orbhost::addImageLayer(comp, "Tex", orbhost::solidImage(4, 2, 1, 0, 0, 1));
    return comp;
}

// Loads the probe with the given actions (read at its global set-up).
inline std::unique_ptr<orbhost::EffectHost> startProbe(const std::string& actions = "",
                                                        orbhost::HostConfig config = {})
{
#if defined(_WIN32)
    _putenv_s("PROBE_ACTIONS", actions.c_str());
#else
    setenv("PROBE_ACTIONS", actions.c_str(), 1);
#endif
    auto host = std::make_unique<orbhost::EffectHost>(probePath(), config);
    host->setComposition(smallComposition());
    auto clear = reinterpret_cast<void (*)()>(host->state().module->symbol("ProbeClearLog"));
    clear();
    return host;
}

inline std::string probeLog(orbhost::EffectHost& host)
{
    auto log = reinterpret_cast<const char* (*)()>(host.state().module->symbol("ProbeLog"));
    return log();
}

} // namespace probetest
