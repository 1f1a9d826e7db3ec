#include "fault_options.h"

#include "host/core/host_state.h"

#include <algorithm>
#include <iterator>
#include <set>

namespace orbcli {

using orbhost::FaultPlan;

namespace {

bool parsePositive(const std::string& text, int* value)
{
    if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos)
        return false;
    *value = std::stoi(text);
    return *value >= 1;
}

// The plan's counters, by the name the option gives them.
struct FaultKind {
    const char* name;
    const char* attempts;   // what is counted, plural
    int FaultPlan::*failAt;
    int orbhost::FaultCounters::*counter;
};

constexpr FaultKind kKinds[] = {
    {"handle", "handle allocations", &FaultPlan::failHandleAllocation, &orbhost::FaultCounters::handleAllocations},
    {"world", "world creations", &FaultPlan::failWorldCreation, &orbhost::FaultCounters::worldCreations},
    {"add_param", "add_param calls", &FaultPlan::failAddParam, &orbhost::FaultCounters::addParams},
    {"checkout", "parameter checkouts", &FaultPlan::failCheckout, &orbhost::FaultCounters::checkouts},
    {"stream", "stream reads", &FaultPlan::failStreamRead, &orbhost::FaultCounters::streamReads},
    {"param_ui", "parameter UI updates", &FaultPlan::failParamUiUpdate, &orbhost::FaultCounters::paramUiUpdates},
    {"host_world", "output and layer worlds", &FaultPlan::failHostWorld, &orbhost::FaultCounters::hostWorlds},
    {"junk_checkout", "parameter checkouts", &FaultPlan::junkCheckout, &orbhost::FaultCounters::checkouts},
    {"mistyped_checkout", "parameter checkouts", &FaultPlan::mistypedCheckout, &orbhost::FaultCounters::checkouts},
};

}  // namespace

bool planFault(const std::string& text, FaultPlan& plan)
{
    const auto colon = text.find(':');
    int nth = 0;
    if (colon == std::string::npos || !parsePositive(text.substr(colon + 1), &nth))
        return false;
    for (const FaultKind& kind : kKinds)
        if (text.compare(0, colon, kind.name) == 0 && std::char_traits<char>::length(kind.name) == colon) {
            plan.*kind.failAt = nth;
            return true;
        }
    return false;
}

bool planNullPointer(const std::string& name, FaultPlan& plan)
{
    bool known = std::any_of(std::begin(orbhost::kNullablePointers), std::end(orbhost::kNullablePointers),
                             [&](const char* n) { return name == n; });
    // "params[N]": one entry of params[].
    if (name.starts_with("params[") && name.ends_with("]")) {
        int index = 0;
        const std::string number = name.substr(7, name.size() - 8);
        known = number == "0" || parsePositive(number, &index);
    }
    if (known)
        plan.nullPointers.insert(name);
    return known;
}

std::string nullPointerNames()
{
    std::string list;
    for (const char* name : orbhost::kNullablePointers)
        list += std::string(list.empty() ? "" : ", ") + name;
    return list + ", params[N]";
}

bool planOldSuite(const std::string& text, FaultPlan& plan)
{
    const auto colon = text.rfind(':');
    int newest = 0;
    if (colon == std::string::npos || colon == 0 || !parsePositive(text.substr(colon + 1), &newest))
        return false;
    plan.newestSuiteVersions[text.substr(0, colon)] = newest;
    return true;
}

bool planRowLayout(const std::string& text, FaultPlan& plan)
{
    if (text == "padded") plan.rowLayout = orbhost::RowLayout::Padded;
    else if (text == "off-pixel") plan.rowLayout = orbhost::RowLayout::OffPixel;
    else if (text == "wide") plan.rowLayout = orbhost::RowLayout::Wide;
    else return false;
    return true;
}

std::string unknownSuiteProblem(const orbhost::EffectHost& host, const std::vector<std::string>& names)
{
    std::set<std::string> served;
    for (const auto& entry : host.state().suites)
        served.insert(entry.first.first);
    for (const std::string& name : names)
        if (!served.contains(name)) {
            std::string list;
            for (const std::string& s : served)
                list += (list.empty() ? "" : ", ") + s;
            return "--fail-suite \"" + name + "\": the host serves no suite of that name, so it would refuse nothing (it serves " +
                   list + ")";
        }
    return {};
}

std::vector<std::string> faultsNeverFired(const orbhost::EffectHost& host)
{
    const orbhost::HostState& state = host.state();
    std::vector<std::string> lines;
    for (const FaultKind& kind : kKinds) {
        const int failAt = state.faults.*kind.failAt, made = state.faultCounters.*kind.counter;
        if (failAt > made)
            lines.push_back("--fail " + std::string(kind.name) + ":" + std::to_string(failAt) + " never fired: only " +
                            std::to_string(made) + " " + kind.attempts + " were made");
    }
    for (const std::string& name : state.faults.unavailableSuites)
        if (!state.faultCounters.refusedSuites.contains(name))
            lines.push_back("--fail-suite \"" + name + "\" never fired: the effect never asked for that suite");
    for (const auto& [name, newest] : state.faults.newestSuiteVersions)
        if (!state.faultCounters.olderSuites.contains(name))
            lines.push_back("--old-suite \"" + name + ":" + std::to_string(newest) +
                            "\" never fired: the effect never asked for a newer version");
    return lines;
}

}  // namespace orbcli
