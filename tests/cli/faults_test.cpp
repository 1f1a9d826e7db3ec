// Failures a user can cause from the command line: refused suites, failing allocations, a
// module that is not there; and the balance and statistics report of a clean render.
#include "cli/cli_scene.h"
#include "cli/run_program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

namespace orbhost::testing {
namespace {

struct Fault {
    const char* name;
    std::vector<std::string> args;
    const char* inStderr;  // words the failure message must hold
};

void PrintTo(const Fault& c, std::ostream* os) { *os << c.name; }

class FaultTest : public ::testing::TestWithParam<Fault> {};

TEST_P(FaultTest, RenderFailsWithExitOneAndWritesNothing)
{
    const Fault& c = GetParam();
    TempFolder folder(currentTestTag());
    folder.write("scene.json", basicSceneText());
    std::vector<std::string> args{folder.file("scene.json"), "-o", folder.file("out.png")};
    args.insert(args.end(), c.args.begin(), c.args.end());

    const ProgramResult run = runProgram(args);
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find(c.inStderr), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
}

INSTANTIATE_TEST_SUITE_P(
    Cli, FaultTest,
    ::testing::Values(Fault{"utility_suite_refused", {"--fail-suite", "AEGP Utility Suite"}, "516"},
                      Fault{"third_add_param_fails", {"--fail", "add_param:3"}, "PARAMS_SETUP"},
                      Fault{"module_missing", {"--module", "/nonexistent.so"}, "/nonexistent.so"}),
    [](const auto& info) { return std::string(info.param.name); });

// A plan that cannot or did not act says so: a test that relies on a fault must not pass
// because the fault never happened.
TEST(CliFaultPlan, AnUnknownSuiteIsRefusedBeforeRendering)
{
    TempFolder folder(currentTestTag());
    folder.write("scene.json", basicSceneText());
    const ProgramResult run =
        runProgram({folder.file("scene.json"), "-o", folder.file("out.png"), "--fail-suite", "AEGP Utilty Suite"});
    EXPECT_EQ(run.exitCode, 2) << run.transcript();
    EXPECT_NE(run.err.find("orbulon-render: --fail-suite \"AEGP Utilty Suite\": the host serves no suite"), std::string::npos)
        << run.transcript();
    EXPECT_NE(run.err.find("AEGP Utility Suite"), std::string::npos) << "lists the names it serves";
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
}

TEST(CliFaultPlan, FaultsThatNeverFiredAreReportedAfterTheRender)
{
    TempFolder folder(currentTestTag());
    folder.write("scene.json", basicSceneText());
    const ProgramResult run = runProgram({folder.file("scene.json"), "-o", folder.file("out.png"), "--fail",
                                          "world:100000", "--fail-suite", "AEGP Layer Mask Suite"});
    EXPECT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_TRUE(std::regex_search(run.err, std::regex(R"(warning: --fail world:100000 never fired: only \d+ world creations were made)")))
        << run.transcript();
    EXPECT_NE(run.err.find("warning: --fail-suite \"AEGP Layer Mask Suite\" never fired: the effect never asked for that suite"),
              std::string::npos)
        << run.transcript();

    const ProgramResult fired =
        runProgram({folder.file("scene.json"), "-o", folder.file("out2.png"), "--fail-suite", "AEGP Utility Suite"});
    EXPECT_EQ(fired.err.find("never fired"), std::string::npos) << fired.transcript();
}

TEST(CliStats, CleanRenderIsBalancedAndReportsThroughput)
{
    TempFolder folder(currentTestTag());
    folder.write("scene.json", basicSceneText());
    const ProgramResult run = runProgram({folder.file("scene.json"), "-o", folder.file("out.png"), "--stats"});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(run.err.find("unbalanced"), std::string::npos) << run.transcript();
    EXPECT_EQ(run.err.find("warning"), std::string::npos) << run.transcript();

    std::smatch rate;
    ASSERT_TRUE(std::regex_search(run.out, rate, std::regex(R"(pixels per second[^:]*: (\d+))"))) << run.out;
    EXPECT_GT(std::stoll(rate[1]), 0) << run.out;
}

}  // namespace
}  // namespace orbhost::testing
