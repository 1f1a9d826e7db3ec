// Imbalances reported per command, and each injectable fault reaching the effect.
#include "probe_support.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

using namespace orbhost;
using probetest::lastRecord;
using probetest::probeLog;
using probetest::startProbe;

namespace {

struct LeakCase {
    const char* action;
    const char* what;
    long long count;   // given back more than taken: negative
};

class Leaks : public testing::TestWithParam<LeakCase> {};

} // namespace

TEST(Accounting, AFullRenderIsBalancedAfterEveryCommand)
{
    auto host = startProbe("use_world");
    ASSERT_EQ(host->start(), PF_Err_NONE);
    Image out;
    ASSERT_EQ(host->renderFrame({0.2, 16, 1, 1}, &out), PF_Err_NONE);
    host->shutdown();
    for (const CommandRecord& r : host->commandLog())
        EXPECT_TRUE(r.imbalances.empty()) << commandName(r.cmd) << ": " << r.imbalances.front().what;
    EXPECT_EQ(host->state().handles.liveCount(), 0u);
    EXPECT_EQ(host->state().worlds.liveCount(), 0u);
    // The probe's world: 16-bit, padded rows, poison pattern (opaque); a second checkout refused.
    EXPECT_NE(probeLog(*host).find("world err=0 format=909206881 rowbytes=64 firstpixel=32768"), std::string::npos)
        << probeLog(*host);
    EXPECT_NE(probeLog(*host).find("checkout again err=" + std::to_string(PF_Err_BAD_CALLBACK_PARAM)), std::string::npos);
}

// The next frame reports only its own leak, not the earlier one again.
TEST_P(Leaks, AreReportedAfterTheRenderCommand)
{
    auto host = startProbe(GetParam().action);
    ASSERT_EQ(host->start(), PF_Err_NONE);
    Image out;
    for (double t : {0.0, 0.1}) {
        ASSERT_EQ(host->renderFrame({t, 8, 1, 1}, &out), PF_Err_NONE);
        EXPECT_TRUE(lastRecord(*host, PF_Cmd_SMART_PRE_RENDER).imbalances.empty());
        const CommandRecord& render = lastRecord(*host, PF_Cmd_SMART_RENDER);
        ASSERT_EQ(render.imbalances.size(), 1u) << GetParam().action;
        EXPECT_EQ(render.imbalances[0].what, GetParam().what);
        EXPECT_EQ(render.imbalances[0].count, GetParam().count);
    }
}

INSTANTIATE_TEST_SUITE_P(Probe, Leaks,
                         testing::Values(LeakCase{"leak_checkout", "parameter checkout", 1},
                                         LeakCase{"leak_suite", "suite \"PF World Suite\" v2", 1},
                                         LeakCase{"leak_handle", "handle", 1}, LeakCase{"leak_world", "world", 1},
                                         LeakCase{"over_release", "suite \"PF World Suite\" v2", -1}),
                         [](const auto& info) { return std::string(info.param.action); });

// Also a key missing from either snapshot.
TEST(Accounting, DifferenceNamesWhatWasLeftHeldAndWhatWasOverReleased)
{
    const std::map<std::string, long long> before{{"handle", 2}, {"world", 1}, {"suite", 3}, {"same", 4}};
    const std::map<std::string, long long> after{{"handle", 3}, {"world", 0}, {"checkout", -1}, {"same", 4}};
    std::map<std::string, long long> found;
    for (const Imbalance& i : Accounting::difference(before, after))
        found[i.what] += i.count;
    const std::map<std::string, long long> expected{{"handle", 1}, {"world", -1}, {"checkout", -1}, {"suite", -3}};
    EXPECT_EQ(found, expected);
}

TEST(Accounting, AWorldIsDisposedOnceAndOnlyIfTheHostMadeIt)
{
    auto host = startProbe();
    ASSERT_EQ(host->start(), PF_Err_NONE);
    HostState& s = host->state();
    ActiveHostScope active(&s);
    const auto ref = reinterpret_cast<PF_ProgPtr>(&s);
    const PF_WorldSuite2* worlds = worldSuite();

    PF_EffectWorld world{};
    ASSERT_EQ(worlds->PF_NewWorld(ref, 4, 3, true, PF_PixelFormat_ARGB32, &world), PF_Err_NONE);
    EXPECT_EQ(s.accounting.outstanding("world"), 1);
    PF_SampPB pb{};   // a sampling suite reads only worlds of its own depth
    pb.src = &world;
    PF_Pixel eight{};
    PF_Pixel16 sixteen{};
    EXPECT_EQ(sampling8Suite()->nn_sample(ref, 0, 0, &pb, &eight), PF_Err_NONE);
    EXPECT_EQ(sampling16Suite()->nn_sample16(ref, 0, 0, &pb, &sixteen), PF_Err_BAD_CALLBACK_PARAM);
    const PF_EffectWorld copy = world;
    EXPECT_EQ(worlds->PF_DisposeWorld(ref, &world), PF_Err_NONE);
    EXPECT_EQ(s.accounting.outstanding("world"), 0);
    PF_EffectWorld again = copy;
    EXPECT_EQ(worlds->PF_DisposeWorld(ref, &again), PF_Err_BAD_CALLBACK_PARAM) << "disposed twice";

    std::vector<PF_Pixel> pixels(12);
    PF_EffectWorld foreign{};
    foreign.data = pixels.data();
    foreign.width = 4, foreign.height = 3, foreign.rowbytes = 4 * sizeof(PF_Pixel);
    EXPECT_EQ(worlds->PF_DisposeWorld(ref, &foreign), PF_Err_BAD_CALLBACK_PARAM) << "never made by the host";
    EXPECT_EQ(foreign.data, pixels.data()) << "a refused record is left as it was";

    EXPECT_EQ(s.accounting.outstanding("world"), 0);
    EXPECT_EQ(s.accounting.total("world (given back)"), 1);
    EXPECT_EQ(s.worlds.liveCount(), 0u);
}

TEST(Faults, EachInjectionPointFailsItsCommand)
{
    struct Case {
        const char* name;
        const char* actions;
        void (*plan)(FaultPlan&);
        PF_Cmd failingCmd;
        PF_Err expected;
    };
    const Case cases[] = {
        {"handle allocation", "", [](FaultPlan& f) { f.failHandleAllocation = 1; }, PF_Cmd_GLOBAL_SETUP, PF_Err_OUT_OF_MEMORY},
        {"missing suite", "", [](FaultPlan& f) { f.unavailableSuites.insert("AEGP Utility Suite"); }, PF_Cmd_GLOBAL_SETUP,
         PF_Err_BAD_CALLBACK_PARAM},
        {"add_param", "", [](FaultPlan& f) { f.failAddParam = 3; }, PF_Cmd_PARAMS_SETUP, PF_Err_OUT_OF_MEMORY},
        {"checkout", "", [](FaultPlan& f) { f.failCheckout = 2; }, PF_Cmd_SMART_RENDER, PF_Err_OUT_OF_MEMORY},
        {"world creation", "use_world", [](FaultPlan& f) { f.failWorldCreation = 1; }, PF_Cmd_SMART_RENDER,
         PF_Err_OUT_OF_MEMORY},
        {"iterate callback", "iterate_fail", [](FaultPlan&) {}, PF_Cmd_SMART_RENDER, PF_Err_INTERNAL_STRUCT_DAMAGED},
    };
    for (const Case& c : cases) {
        auto host = startProbe(c.actions);
        c.plan(host->faults());
        const PF_Err started = host->start();
        PF_Err err = started;
        if (!started) {
            Image out;
            err = host->renderFrame({0.0, 8, 1, 1}, &out);
        }
        EXPECT_EQ(err, c.expected) << c.name;
        EXPECT_EQ(lastRecord(*host, c.failingCmd).result, c.expected) << c.name;
        if (c.failingCmd == PF_Cmd_PARAMS_SETUP) {
            EXPECT_EQ(host->params().size(), 3u) << "registration stops at the failing add_param";
        }
        if (c.failingCmd == PF_Cmd_SMART_RENDER) {
            // Nothing taken during the failed render stays out.
            host->shutdown();
            EXPECT_EQ(host->state().handles.liveCount(), 0u) << c.name;
            EXPECT_EQ(host->state().worlds.liveCount(), 0u) << c.name;
        }
    }
}

TEST(Faults, MissingSuiteAnswersNotFoundAndNullTable)
{
    auto host = startProbe();
    HostState& s = host->state();
    ActiveHostScope active(&s);
    const void* table = reinterpret_cast<const void*>(1);
    EXPECT_EQ(basicSuite()->AcquireSuite("No Such Suite", 1, &table), 0x53214664);
    EXPECT_EQ(table, nullptr);
    EXPECT_EQ(basicSuite()->ReleaseSuite("No Such Suite", 1), 0x53214664) << "nothing to give back";
    EXPECT_EQ(basicSuite()->AcquireSuite(kPFWorldSuite, 1, &table), 0x53214664) << "versions are exact";
    ASSERT_EQ(basicSuite()->AcquireSuite(kPFParamUtilsSuite, 2, &table), 0);
    // A served suite's unimplemented slots answer with an error, never a crash.
    EXPECT_EQ(static_cast<const PF_ParamUtilsSuite1*>(table)->PF_GetKeyframeCount(nullptr, 1, nullptr),
              PF_Err_INVALID_CALLBACK);
    EXPECT_EQ(static_cast<const PF_ParamUtilsSuite1*>(table)->PF_UpdateParamUI(nullptr, 0, nullptr),
              PF_Err_BAD_CALLBACK_PARAM);
    basicSuite()->ReleaseSuite(kPFParamUtilsSuite, 2);
    EXPECT_EQ(utilCallbacks()->premultiply(nullptr, 0, nullptr), PF_Err_INVALID_CALLBACK);
}
