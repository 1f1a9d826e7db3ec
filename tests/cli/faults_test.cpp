// Fault plans that never act are reported, oversized frames are refused, and a clean render
// reports balance and statistics. Faults that act are cases of Cli/OptionTest.
#include "cli/cli_scene.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

namespace orbhost::testing {
namespace {

// A plan that did not act says so: a test that relies on a fault must not pass
// because the fault never happened.
TEST(CliFaultPlan, FaultsThatNeverFiredAreReportedAfterTheRender)
{
    const SceneFolder folder;
    const ProgramResult run =
        folder.render({"-o", folder.file("out.png"), "--fail", "world:100000", "--fail-suite", "AEGP Layer Mask Suite"});
    EXPECT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_TRUE(std::regex_search(run.err, std::regex(R"(warning: --fail world:100000 never fired: only \d+ world creations were made)")))
        << run.transcript();
    EXPECT_NE(run.err.find("warning: --fail-suite \"AEGP Layer Mask Suite\" never fired: the effect never asked for that suite"),
              std::string::npos)
        << run.transcript();

    const ProgramResult fired = folder.render({"-o", folder.file("out2.png"), "--fail-suite", "AEGP Utility Suite"});
    EXPECT_EQ(fired.err.find("never fired"), std::string::npos) << fired.transcript();
}

// Frames estimated to need more memory than allowed are refused before rendering, with the
// estimate and what drives it.
TEST(MaxMemory, AnOversizedCompositionIsRefusedWithTheEstimate)
{
    const SceneFolder folder(
        withEdit(basicSceneText(), "\"width\": 640, \"height\": 360", "\"width\": 30000, \"height\": 30000"));
    const ProgramResult run = folder.render({"-o", folder.file("out.png"), "--frame", "0", "--max-memory", "2G"});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
    EXPECT_NE(run.err.find("a frame needs about "), std::string::npos);
    EXPECT_NE(run.err.find("more than --max-memory 2.0 GiB"), std::string::npos);
    EXPECT_NE(run.err.find("30000x30000"), std::string::npos);
}

TEST(CliStats, CleanRenderIsBalancedAndReportsThroughput)
{
    const SceneFolder folder;
    const ProgramResult run = folder.render({"-o", folder.file("out.png"), "--stats"});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(run.err.find("unbalanced"), std::string::npos) << run.transcript();
    EXPECT_EQ(run.err.find("warning"), std::string::npos) << run.transcript();

    std::smatch rate;
    ASSERT_TRUE(std::regex_search(run.out, rate, std::regex(R"(pixels per second[^:]*: (\d+))"))) << run.out;
    EXPECT_GT(std::stoll(rate[1]), 0) << run.out;
}

}  // namespace
}  // namespace orbhost::testing
