// std::bad_alloc inside the effect: every C++ allocation the effect makes from global set-up to
// set-down (a change of "Control Layer" with its layer name and expression text, UI updates,
// a depth-of-field frame, the about text) is made to fail in turn. Each command answers with
// an error code or succeeds; none lets the exception out or leaves anything held.
#include "effect_allocations.h"
#include "hostile_support.h"

namespace orbhost::testing {
namespace {

// Every command of a session; the results of those that failed.
std::vector<PF_Err> runSession(EffectHost& host, const Scene& scene)
{
    std::vector<PF_Err> results;
    if (host.start() == PF_Err_NONE) {
        bindScene(host, scene);
        host.userChangedParam(host.paramIndex("Control Layer"), 0);
        host.updateParamsUI(0);
        Image out;
        host.renderFrame({0, 16, 1, 1}, &out);
        host.about();
    }
    host.shutdown();
    for (const CommandRecord& r : host.commandLog())
        if (r.result != PF_Err_NONE)
            results.push_back(r.result);
    return results;
}

TEST_F(HostileHost, EveryEffectAllocationFailingInTurn)
{
#if defined(ORBULON_ADDRESS_SANITIZER)
    GTEST_SKIP() << "under AddressSanitizer the module's allocations do not reach this program's operator new";
#endif
    const Scene scene = hostileScene(R"("Control Layer": "Ctl", "Use Composition Camera": true, "Depth Of Field": "On")");
    const auto module = std::make_shared<EffectModule>(orbulonPath());
    effect_allocations::watchModule(reinterpret_cast<const void*>(module->entryPoint()));
    const auto session = [&](int failAt) {
        EffectHost host(module);
        host.setComposition(compositionFromScene(scene));
        effect_allocations::arm(failAt);
        const std::vector<PF_Err> failures = runSession(host, scene);
        const int allocations = effect_allocations::disarm();
        expectBalanced(host);
        return std::make_pair(allocations, failures);
    };

    const auto [allocations, cleanFailures] = session(0);
    EXPECT_TRUE(cleanFailures.empty());
    ASSERT_GT(allocations, 0) << "the effect allocates (the expression text at least)";
    for (int nth = 1; nth <= allocations; ++nth) {
        SCOPED_TRACE("allocation " + std::to_string(nth) + " of " + std::to_string(allocations));
        const std::vector<PF_Err> failures = session(nth).second;
        EXPECT_TRUE(effect_allocations::fired());
        ASSERT_EQ(failures.size(), 1u) << "one command fails";
        EXPECT_EQ(failures[0], PF_Err_OUT_OF_MEMORY);
    }
}

}  // namespace
}  // namespace orbhost::testing
