// Every C++ allocation the effect makes in a session (a change of "Control Layer", UI updates, a
// depth-of-field frame, the about text) fails in turn: one command answers out of memory, no
// exception escapes and nothing is left held.
#include "effect_allocations.h"
#include "hostile_support.h"

namespace orbhost::testing {
namespace {

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
        if (host.start() == PF_Err_NONE) {
            bindScene(host, scene);
            host.userChangedParam(host.paramIndex("Control Layer"), 0);
            host.updateParamsUI(0);
            Image out;
            host.renderFrame({0, 16, 1, 1}, &out);
            host.about();
        }
        host.shutdown();
        const int allocations = effect_allocations::disarm();
        std::vector<PF_Err> failures;
        for (const CommandRecord& r : host.commandLog())
            if (r.result != PF_Err_NONE)
                failures.push_back(r.result);
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
