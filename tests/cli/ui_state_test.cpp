// What a user sees of the parameter UI from the command line: --ui-state after a render with a
// control layer and a falloff mode, --host-version posing as an older host, and UI failures
// (a refused suite, a failing PF_UpdateParamUI) reported as warnings while the render goes on.
#include "cli/cli_scene.h"
#include "cli/run_program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>
#include <sstream>

namespace orbhost::testing {
namespace {

// A null "Rig "A"" and an unnamed image layer (shown as "grid.pam") beside the effect's layer.
std::string uiScene(const std::string& params)
{
    return R"({
  "composition": { "width": 64, "height": 48, "frameRate": 10, "duration": 1 },
  "layers": [
    { "name": "Sphere", "type": "solid" },
    { "name": "Rig \"A\"", "type": "null", "threeD": true },
    { "type": "image", "file": ")" ORBULON_SOURCE_DIR R"(/scenes/textures/grid.pam" }
  ],
  "effect": { "layer": "Sphere", "params": { )" +
           params + R"( } }
})";
}

// The three parts of --ui-state: flags by parameter index ("greyed out hidden ..."),
// expressions by parameter index (as printed, a line feed shown as \n), and layer names.
struct UiState {
    std::map<int, std::string> flags;
    std::map<int, std::string> expressions;
    std::vector<std::string> layerNames;   // "  0 "own", "source"" lines, trimmed

    std::set<int> greyed() const
    {
        std::set<int> out;
        for (const auto& [index, text] : flags)
            if (text.find("greyed out") != std::string::npos)
                out.insert(index);
        return out;
    }
};

UiState parseUiState(const std::string& out)
{
    UiState state;
    std::istringstream lines(out);
    std::string line, section;
    while (std::getline(lines, line)) {
        if (!line.starts_with("  ")) {
            section = line;
            continue;
        }
        const std::string entry = line.substr(2);
        if (section.starts_with("Layer names")) {
            state.layerNames.push_back(entry);
            continue;
        }
        // `N "name": text`; names may hold ": " themselves, so the text starts after the
        // closing quote of the name.
        const auto space = entry.find(' ');
        const auto close = entry.find("\":", space + 2);
        if (space == std::string::npos || close == std::string::npos)
            continue;
        const int index = std::stoi(entry.substr(0, space));
        std::string text = entry.substr(close + 2);
        if (text.starts_with(" "))
            text.erase(0, 1);
        (section.starts_with("Expressions") ? state.expressions : state.flags)[index] = text;
    }
    return state;
}

std::string printedExpression(const std::string& layerName)
{
    return "try{length(thisComp.layer(\"" + layerName + "\").toWorld([1,1,1]));}catch(e){value;}\\n";
}

struct UiRun {
    ProgramResult program;
    UiState ui;
};

UiRun renderWithUiState(const std::string& params, std::vector<std::string> extra = {})
{
    TempFolder folder(currentTestTag());
    folder.write("scene.json", uiScene(params));
    std::vector<std::string> args{folder.file("scene.json"), "-o", folder.file("out.png"), "--ui-state"};
    args.insert(args.end(), extra.begin(), extra.end());
    UiRun run{runProgram(args), {}};
    run.ui = parseUiState(run.program.out);
    return run;
}

const std::set<int> kPlacement{5, 6, 7, 8, 9, 10, 11, 12};

std::set<int> with(std::set<int> a, std::initializer_list<int> more)
{
    a.insert(more);
    return a;
}

TEST(CliUiState, AControlLayerGreysPlacementAndItsNameGoesIntoTheExpressionUnescaped)
{
    const UiRun run = renderWithUiState(R"("Control Layer": "Rig \"A\"", "Falloff": "Inverse Square Clamped")");
    SCOPED_TRACE(run.program.transcript());
    ASSERT_EQ(run.program.exitCode, 0);
    EXPECT_EQ(run.program.err.find("warning"), std::string::npos);
    EXPECT_EQ(run.ui.greyed(), with(kPlacement, {23}));
    EXPECT_EQ(run.ui.flags.at(49), "hidden") << "invisible, and its stream left alone on a current host";
    EXPECT_EQ(run.ui.expressions, (std::map<int, std::string>{{49, printedExpression("Rig \"A\"")}}));
}

TEST(CliUiState, AnUnnamedControlLayerIsNamedAfterItsSource)
{
    const UiRun run = renderWithUiState(R"("Control Layer": "grid.pam", "Falloff": "Smooth")");
    SCOPED_TRACE(run.program.transcript());
    ASSERT_EQ(run.program.exitCode, 0);
    EXPECT_EQ(run.ui.greyed(), kPlacement);
    EXPECT_EQ(run.ui.expressions.at(49), printedExpression("grid.pam"));
    ASSERT_EQ(run.ui.layerNames.size(), 3u);
    EXPECT_EQ(run.ui.layerNames[1], R"(1 "Rig "A"", "Rig "A"")") << "a named layer keeps its name";
    EXPECT_EQ(run.ui.layerNames[2], R"(2 "grid.pam", "grid.pam")");
}

TEST(CliUiState, ClearingTheControlLayerLeavesOnlyEllipseZxyGreyedAndNoExpression)
{
    TempFolder folder(currentTestTag());
    folder.write("scene.json", uiScene(R"("Control Layer": { "keys": [[0, "Rig \"A\""], [0.5, null]] })"));
    const ProgramResult run = runProgram(
        {folder.file("scene.json"), "-o", folder.file("out_##.png"), "--frames", "0:9", "--ui-state"});
    SCOPED_TRACE(run.transcript());
    ASSERT_EQ(run.exitCode, 0);
    const UiState ui = parseUiState(run.out);
    EXPECT_EQ(ui.greyed(), (std::set<int>{5, 22, 23}));
    EXPECT_TRUE(ui.expressions.empty());
    EXPECT_NE(run.out.find("Expressions:\n  none\n"), std::string::npos);
}

struct VersionCase {
    const char* version;
    const char* dammyFlags;
};

void PrintTo(const VersionCase& c, std::ostream* os) { *os << c.version; }

class CliHostVersion : public ::testing::TestWithParam<VersionCase> {};

TEST_P(CliHostVersion, HostsBefore13Point2SeeTheDammyStreamHidden)
{
    const UiRun run = renderWithUiState(R"("Control Layer": "Rig \"A\"")", {"--host-version", GetParam().version});
    SCOPED_TRACE(run.program.transcript());
    ASSERT_EQ(run.program.exitCode, 0);
    EXPECT_EQ(run.ui.flags.at(49), GetParam().dammyFlags);
    EXPECT_EQ(run.ui.greyed(), with(kPlacement, {22, 23}));
}

INSTANTIATE_TEST_SUITE_P(Cli, CliHostVersion,
                         ::testing::Values(VersionCase{"13.1", "hidden hidden (stream flag)"},
                                           VersionCase{"13.2", "hidden"}),
                         [](const auto& info) { return "case" + std::to_string(info.index); });

TEST(CliUiState, ABadHostVersionIsAUsageError)
{
    for (const char* bad : {"13", "13.x", "13.2.1", "13.99999"}) {
        const ProgramResult run = runProgram({"--describe", "--host-version", bad});
        EXPECT_EQ(run.exitCode, 2) << bad << "\n" << run.transcript();
        EXPECT_NE(run.err.find("--host-version"), std::string::npos) << run.transcript();
    }
}

// Start-up's UI update makes nine calls (6..12, then the falloff distances); the tenth is the
// first of the update that follows choosing the control layer.
TEST(CliUiFailures, AFailingUpdateIsReportedAndNoLaterControlIsGreyed)
{
    const UiRun run = renderWithUiState(R"("Control Layer": "Rig \"A\"")", {"--fail", "param_ui:10"});
    SCOPED_TRACE(run.program.transcript());
    EXPECT_EQ(run.program.exitCode, 0) << "the render itself goes on";
    EXPECT_NE(run.program.err.find("orbulon-render: warning: UPDATE_PARAMS_UI failed: out of memory (4)"), std::string::npos);
    EXPECT_EQ(run.program.err.find("unbalanced"), std::string::npos);
    EXPECT_EQ(run.ui.greyed(), (std::set<int>{22, 23}));
    EXPECT_EQ(run.ui.expressions.at(49), printedExpression("Rig \"A\""));
}

TEST(CliUiFailures, WithoutTheParamUtilsSuiteEveryUpdateFailsWith516AndNothingIsLeftHeld)
{
    const UiRun run = renderWithUiState(R"("Control Layer": "Rig \"A\"")",
                                      {"--fail-suite", "PF Param Utils Suite", "--host-version", "13.1"});
    SCOPED_TRACE(run.program.transcript());
    EXPECT_EQ(run.program.exitCode, 0);
    EXPECT_NE(run.program.err.find("orbulon-render: warning: UPDATE_PARAMS_UI failed: bad callback parameter (516)"), std::string::npos);
    EXPECT_EQ(run.program.err.find("unbalanced"), std::string::npos);
    EXPECT_EQ(run.program.err.find("still holds"), std::string::npos);
    EXPECT_EQ(run.ui.greyed(), (std::set<int>{22, 23})) << "only what parameter set-up greyed";
    EXPECT_EQ(run.ui.expressions.at(49), printedExpression("Rig \"A\""));
}

}  // namespace
}  // namespace orbhost::testing
