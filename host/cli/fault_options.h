// The --fail, --fail-suite, --null, --old-suite and --row-bytes options: faults a developer
// injects into the host to drive an effect down its failure paths (a host short of memory, or
// one that is broken or old), and what the program says when a plan cannot or did not act.
#pragma once
#include "host/core/effect_host.h"
#include "host/core/fault_plan.h"

#include <string>
#include <vector>

namespace orbcli {

inline constexpr const char* kFailKinds = "handle:N, world:N, add_param:N, checkout:N, stream:N, param_ui:N, "
                                          "host_world:N, junk_checkout:N or mistyped_checkout:N";

// "--fail KIND:N": the Nth attempt of that kind fails. False when the text is not one of kFailKinds.
bool planFault(const std::string& text, orbhost::FaultPlan& plan);

// "--null NAME": the host hands the effect a null pointer there (orbhost::kNullablePointers,
// or params[N]). False for any other name.
bool planNullPointer(const std::string& name, orbhost::FaultPlan& plan);
std::string nullPointerNames();   // the names --null takes, for messages

// "--old-suite NAME:V": the host serves that suite in versions up to V only.
bool planOldSuite(const std::string& text, orbhost::FaultPlan& plan);

// "--row-bytes padded|off-pixel|wide".
bool planRowLayout(const std::string& text, orbhost::FaultPlan& plan);

// A --fail-suite name the host does not serve, with the names it does serve: such a plan would
// refuse nothing. Empty when every name is served.
std::string unknownSuiteProblem(const orbhost::EffectHost& host, const std::vector<std::string>& names);

// One line for each planned fault that never fired because fewer attempts were made, and for
// each refused suite that the effect never asked for.
std::vector<std::string> faultsNeverFired(const orbhost::EffectHost& host);

}  // namespace orbcli
