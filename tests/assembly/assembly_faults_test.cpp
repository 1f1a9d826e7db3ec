// Scene assembly when the host fails it: missing suites, failing stream reads and handle
// allocations. Every render must still give back all it took (checked by renderScene).
#include "assembly_support.h"

using namespace asmtest;

namespace {

// A camera the effect looks through and three lights told apart by their intensity.
const std::string kCameraAndLights =
    R"({ "name": "Cam", "type": "camera", "position": [80, 60, -300], "camera": { "zoom": 300 } },
       { "name": "A", "type": "light", "light": { "type": "point", "intensity": 10 } },
       { "name": "B", "type": "light", "light": { "type": "spot", "intensity": 20 } },
       { "name": "C", "type": "light", "light": { "type": "parallel", "intensity": 30 } },)";

std::vector<double> intensities(const Rendered& r)
{
    std::vector<double> out;
    if (!r.passes.empty())
        for (const LightSnapshot& l : r.ctx().lights)
            out.push_back(std::round(l.intensity * 100));
    return out;
}

struct FaultCase {
    std::string name;
    std::function<void(orbhost::EffectHost&)> plan;
    PF_Err result;
    std::vector<double> lights;   // intensities of the records when the render goes on
};

void PrintTo(const FaultCase& c, std::ostream* os) { *os << c.name; }

class AssemblyFault : public AssemblyParamTest<FaultCase> {};

// The nth host_new_handle call from now on fails.
std::function<void(orbhost::EffectHost&)> failHandle(int nth)
{
    return [nth](orbhost::EffectHost& host) {
        host.faults().failHandleAllocation = host.state().faultCounters.handleAllocations + nth;
    };
}

std::function<void(orbhost::EffectHost&)> failStream(int nth)
{
    return [nth](orbhost::EffectHost& host) {
        host.faults().failStreamRead = host.state().faultCounters.streamReads + nth;
    };
}

std::function<void(orbhost::EffectHost&)> withoutSuite(const char* name)
{
    return [name](orbhost::EffectHost& host) { host.faults().unavailableSuites.insert(name); };
}

} // namespace

TEST_P(AssemblyFault, ReportsOrSurvivesAndGivesEverythingBack)
{
    const FaultCase& c = GetParam();
    const Rendered r = renderScene(sceneWith({}, kCameraAndLights), {}, c.plan);
    EXPECT_EQ(r.result, c.result) << c.name;
    if (c.result == PF_Err_NONE)
        EXPECT_EQ(intensities(r), c.lights) << c.name;
    else
        EXPECT_TRUE(r.passes.empty()) << c.name << ": nothing is drawn after a failed assembly";
}

// Per light the record comes first, then the grown item array: attempts 1, 3, 5 are records
// and 2, 4, 6 arrays.
INSTANTIATE_TEST_SUITE_P(
    Assembly, AssemblyFault,
    testing::Values(FaultCase{"NoFault", {}, PF_Err_NONE, {10, 20, 30}},
                    FaultCase{"NoLightSuite", withoutSuite(kAEGPLightSuite), PF_Err_BAD_CALLBACK_PARAM, {}},
                    FaultCase{"NoCameraSuite", withoutSuite(kAEGPCameraSuite), PF_Err_BAD_CALLBACK_PARAM, {}},
                    FaultCase{"FirstStreamRead", failStream(1), A_Err_GENERIC, {}},
                    FaultCase{"FifthStreamRead", failStream(5), A_Err_GENERIC, {}},
                    FaultCase{"TwelfthStreamRead", failStream(12), A_Err_GENERIC, {}},
                    FaultCase{"FirstLightsArray", failHandle(2), PF_Err_NONE, {20, 30}},
                    FaultCase{"SecondLightsArray", failHandle(4), PF_Err_NONE, {10, 30}},
                    FaultCase{"LastLightsArray", failHandle(6), PF_Err_NONE, {10, 20}},
                    FaultCase{"FirstRecord", failHandle(1), PF_Err_OUT_OF_MEMORY, {}},
                    FaultCase{"SecondRecord", failHandle(3), PF_Err_OUT_OF_MEMORY, {}}),
    [](const auto& info) { return info.param.name; });

TEST_F(AssemblyTest, EachLightTakesARecordAndANewArray)
{
    const Rendered r = renderScene(sceneWith({}, kCameraAndLights));
    ASSERT_EQ(r.result, PF_Err_NONE);
    EXPECT_EQ(r.handleAttempts, 6) << "the fault cases above count on this order";
}

namespace {

struct FailurePoint {
    const char* kind;
    int orbhost::FaultCounters::*attempts;
    int orbhost::FaultPlan::*failAt;
};

} // namespace

// Every host call of each kind that a depth-of-field frame with lights, texture, reflection
// map and control layer makes is made to fail once, in turn. The frame reports the error,
// or goes on where the failure costs nothing that matters (a light's array: that light is
// left out; the reflection map's checkout: no reflection; a first checkout of the input
// that the next one replaces), and it never leaves anything held.
TEST_F(AssemblyTest, SurvivesAFailureAtEveryHostCallOfTheFrame)
{

    SceneSetup setup = sceneWith({{"Texture", R"("Tex")"}, {"Reflection Map", R"("Refl")"},
                                  {"Control Layer", R"("Ctl")"}, {"Depth Of Field", R"("On")"}},
                                 kCameraAndLights + R"({ "name": "Ctl", "type": "null", "threeD": true },)");
    const FailurePoint points[] = {
        {"checkout", &orbhost::FaultCounters::checkouts, &orbhost::FaultPlan::failCheckout},
        {"handle", &orbhost::FaultCounters::handleAllocations, &orbhost::FaultPlan::failHandleAllocation},
        {"world", &orbhost::FaultCounters::worldCreations, &orbhost::FaultPlan::failWorldCreation},
        {"stream", &orbhost::FaultCounters::streamReads, &orbhost::FaultPlan::failStreamRead},
    };
    for (const FailurePoint& point : points) {
        int calls = 0;
        const Rendered clean = renderScene(setup, {}, [&](orbhost::EffectHost& host) {
            calls = -(host.state().faultCounters.*point.attempts);
        });
        ASSERT_EQ(clean.result, PF_Err_NONE);
        ASSERT_EQ(clean.passes.size(), 2u) << "depth of field takes the buffered and gather passes";
        calls += clean.host->state().faultCounters.*point.attempts;
        EXPECT_GT(calls, 0) << point.kind;
        for (int nth = 1; nth <= calls; ++nth) {
            SCOPED_TRACE(std::string(point.kind) + " " + std::to_string(nth) + " of " + std::to_string(calls));
            const Rendered r = renderScene(setup, {}, [&](orbhost::EffectHost& host) {
                host.faults().*point.failAt = host.state().faultCounters.*point.attempts + nth;
            });
            if (r.result == PF_Err_NONE) {
                EXPECT_GE(intensities(r).size(), 2u) << "at most one light is left out";
            }
        }
    }
}
