// The real Orbulon module driven through the host (skipped when it has not been built).
#include "host/core/host_codes.h"
#include "host/core/host_state.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace orbhost;

namespace {

std::string orbulonPath()
{
    return std::string(ORBULON_BUILD_DIR) + "/Orbulon.so";
}

std::unique_ptr<EffectHost> loadOrbulon(HostConfig config = {})
{
    auto host = std::make_unique<EffectHost>(orbulonPath(), config);
    Composition comp;
    comp.model.width = 64, comp.model.height = 48;
    addImageLayer(comp, "Sphere", solidImage(64, 48, 0, 0, 0, 1));
    host->setComposition(comp);
    return host;
}

class Orbulon : public testing::Test {
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(orbulonPath()))
            GTEST_SKIP() << orbulonPath() << " not built";
    }
};

} // namespace

TEST_F(Orbulon, RegistersItsFortyNineParametersWithTheirDiskIds)
{
    auto host = loadOrbulon();
    ASSERT_EQ(host->start(), PF_Err_NONE);
    const std::vector<A_long> ids = {1,  2,  43, 3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16,
                                     17, 13, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32, 32,
                                     34, 35, 36, 37, 38, 39, 40, 53, 54, 55, 56, 57, 58, 41, 42};
    ASSERT_EQ(host->params().size(), 50u);
    for (std::size_t i = 1; i < host->params().size(); ++i)
        EXPECT_EQ(host->params()[i].def.uu.id, ids[i - 1]) << "parameter " << i << " " << host->params()[i].name;
    EXPECT_EQ(host->effectVersion(), 568833u);
    EXPECT_TRUE(host->warnings().empty()) << host->warnings().front();
}

TEST_F(Orbulon, AnswersEveryCommandAndShowsItsAboutText)
{
    auto host = loadOrbulon();
    std::string about;
    ASSERT_EQ(host->about(&about), PF_Err_NONE);
    EXPECT_EQ(about, "Orbulon, v1.1.5\nCustom lens blur plugin for After Effects.");
    ASSERT_EQ(host->start(), PF_Err_NONE);
    for (PF_Cmd cmd = 0; cmd <= 40; ++cmd) {
        if (cmd == PF_Cmd_GLOBAL_SETUP || cmd == PF_Cmd_GLOBAL_SETDOWN || cmd == PF_Cmd_PARAMS_SETUP ||
            cmd == PF_Cmd_SMART_PRE_RENDER || cmd == PF_Cmd_SMART_RENDER)
            continue;
        const PF_Err err = host->sendCommand(cmd);
        if (cmd != PF_Cmd_USER_CHANGED_PARAM && cmd != PF_Cmd_UPDATE_PARAMS_UI) {
            EXPECT_EQ(err, PF_Err_NONE) << commandName(cmd) << " (" << cmd << ")";
        }
        EXPECT_EQ(host->commandLog().back().cmd, cmd);
        EXPECT_TRUE(host->commandLog().back().problem.empty()) << cmd << ": " << host->commandLog().back().problem;
    }
    Image out;
    EXPECT_EQ(host->renderFrame({0.0, 8, 1, 1}, &out), PF_Err_NONE);
}

// Posing as Premiere Pro, the host serves none of the suites that describe an After Effects
// composition. The effect still loads (it registers through the utility suite), shows no about
// text and draws a frame from its defaults, leaving nothing held.
TEST_F(Orbulon, PosingAsPremiereRefusesTheCompositionSuites)
{
    HostConfig config;
    config.applId = kAppIdPremierePro;
    auto host = loadOrbulon(config);
    std::string about = "unchanged";
    ASSERT_EQ(host->about(&about), PF_Err_NONE);
    EXPECT_EQ(about, "");
    ASSERT_EQ(host->start(), PF_Err_NONE);
    Image out;
    EXPECT_EQ(host->renderFrame({0.0, 8, 1, 1}, &out), PF_Err_NONE);
    EXPECT_GT(host->state().accounting.total(R"(missing suite "AEGP Comp Suite" v11)"), 0);
    EXPECT_EQ(host->state().accounting.total(R"(missing suite "AEGP Utility Suite" v11)"), 0);
    host->shutdown();
    for (const CommandRecord& r : host->commandLog())
        EXPECT_TRUE(r.imbalances.empty()) << commandName(r.cmd) << ": " << r.imbalances.front().what;
}

TEST_F(Orbulon, FailingAddParamStopsRegistrationWithItsError)
{
    auto host = loadOrbulon();
    host->faults().failAddParam = 5;
    host->faults().injectedError = PF_Err_INVALID_INDEX;
    EXPECT_EQ(host->start(), PF_Err_INVALID_INDEX);
    EXPECT_EQ(host->params().size(), 5u);   // input layer and the four added before the failure
    EXPECT_FALSE(host->usable());
}

TEST_F(Orbulon, MissingUtilitySuiteFailsGlobalSetup)
{
    auto host = loadOrbulon();
    host->faults().unavailableSuites.insert(kAEGPUtilitySuite);
    EXPECT_EQ(host->start(), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(host->commandLog().back().cmd, PF_Cmd_GLOBAL_SETUP);
}

TEST_F(Orbulon, AccountsBalanceAfterEveryCommandOfAFullRender)
{
    auto host = loadOrbulon();
    ASSERT_EQ(host->start(), PF_Err_NONE);
    for (int depth : {8, 16, 32}) {
        Image out;
        host->renderFrame({0.0, depth, 1, 1}, &out);
        EXPECT_EQ(out.width, 64) << depth;
    }
    host->shutdown();
    for (const CommandRecord& r : host->commandLog())
        EXPECT_TRUE(r.imbalances.empty()) << commandName(r.cmd) << ": " << r.imbalances.front().what << " ("
                                          << r.imbalances.front().count << ")";
    EXPECT_EQ(host->state().handles.liveCount(), 0u);
    EXPECT_EQ(host->state().worlds.liveCount(), 0u);
}
