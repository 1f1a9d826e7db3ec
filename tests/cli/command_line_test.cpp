// orbulon-render's information options, progress lines, standard input, statistics and UI state.
#include "cli/cli_scene.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>
#include <sys/wait.h>

namespace orbhost::testing {
namespace {

TEST(CliInformation, VersionHelpAboutAndMissingArguments)
{
    struct Case {
        std::vector<std::string> args;
        int exitCode;
        const char* outStarts;  // what standard output starts with
        const char* errHas;     // "" for an empty standard error
    };
    for (const Case& c : {Case{{"--version"}, 0, "orbulon-render " ORBULON_VERSION_TEXT, ""},
                          Case{{"--help"}, 0, "Renders a scene", ""},
                          Case{{"--about"}, 0, "Orbulon, v1.1.5\nCustom lens blur plugin for After Effects.\n", ""},
                          // Posing as Premiere Pro the effect has no about text.
                          Case{{"--about", "--app", "premiere"}, 0, "", ""},
                          Case{{}, 2, "", "orbulon-render: give a scene and -o OUTPUT"},
                          Case{{ORBULON_SOURCE_DIR "/scenes/basic.json"}, 2, "", "orbulon-render: give a scene"}}) {
        const ProgramResult run = runProgram(c.args);
        SCOPED_TRACE(run.transcript());
        EXPECT_EQ(run.exitCode, c.exitCode);
        EXPECT_EQ(run.out.rfind(c.outStarts, 0), 0u);
        if (!*c.outStarts) {
            EXPECT_EQ(run.out, "");
        }
        if (*c.errHas) {
            EXPECT_EQ(run.err.rfind(c.errHas, 0), 0u);
        } else {
            EXPECT_EQ(run.err, "");
        }
    }
}

// Each column is as wide as its widest cell, so these rows line up only if every row does.
TEST(CliDescribe, PrintsThePropertyListAndAnAlignedParameterTable)
{
    const ProgramResult run = runProgram({"--describe"});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    for (const char* line : {
             "  eMNA  \"QUORVANTIS_Orbulon\"\n", "  eGL2  0x00001406\n", "  8664  \"EntryPointFunc\"\n",
             "    0  (input layer)            layer                                                                 input\n",
             "    7    Radius                 float slider 0..any (slider 0..1000)                                  200 "
             "                 COLLAPSE_TWIRLY             6\n",
             "   19  (end of group)           group end                                                             "
             "                                                 13\n",
             "   21    Falloff                popup        None|Smooth|Inverse Square Clamped                       1 "
             "(None)             SUPERVISE                   20\n",
             "   22    Falloff Radius         fixed slider 1..32767 (slider 1..1000)                                200 "
             "                 COLLAPSE_TWIRLY ui:DISABLED 21\n",
             "   46      Fog Color            color                                                                 ARGB "
             "255,255,255,255                             57\n",
             "   49  dammy                    fixed slider -32767..32767 (slider -32767..32767)                     0   "
             "                 ui:INVISIBLE                42\n"})
        EXPECT_NE(run.out.find(line), std::string::npos) << line << run.out;
    EXPECT_EQ(run.out.find("e+"), std::string::npos) << run.out;
    const auto table = run.out.find("\nindex  name ");
    ASSERT_NE(table, std::string::npos) << run.out;
    EXPECT_EQ(std::count(run.out.begin() + table + 1, run.out.end(), '\n'), 51) << "the input layer and 49 parameters";
}

// The progress lines without their prefix; a rendered frame's time reads "seconds=S" when it has
// the documented two decimals.
std::vector<std::string> progressLines(const ProgramResult& run)
{
    const std::string prefix = "orbulon-render: progress ";
    const std::regex renderTime("status=rendered seconds=[0-9]+\\.[0-9][0-9] ");
    std::vector<std::string> lines;
    std::istringstream in(run.err);
    for (std::string line; std::getline(in, line);)
        if (line.starts_with(prefix))
            lines.push_back(std::regex_replace(line.substr(prefix.size()), renderTime, "status=rendered seconds=S "));
    return lines;
}

TEST(CliProgress, OneLinePerFrameInALogWithTimeLeftCountingOnlyFramesToRender)
{
    const SceneFolder folder;
    // Frames 0, 2 and 3 exist: 1 is the only frame to render, so nothing is left after it.
    for (const char* done : {"f_0000.png", "f_0002.png", "f_0003.png"})
        folder.write(done, "rendered earlier");
    const ProgramResult run = folder.render(
        {"--frames", "0:3", "--downsample", "8", "--skip-existing", "-o", folder.file("f_####.png")});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    const std::string f = folder.file("f_000");
    EXPECT_EQ(progressLines(run), (std::vector<std::string>{
                                      "frame=0 done=1/4 status=skipped seconds=0.00 left=? file=" + f + "0.png",
                                      "frame=1 done=2/4 status=rendered seconds=S left=0 file=" + f + "1.png",
                                      "frame=2 done=3/4 status=skipped seconds=0.00 left=0 file=" + f + "2.png",
                                      "frame=3 done=4/4 status=skipped seconds=0.00 left=0 file=" + f + "3.png"}))
        << run.transcript();
    EXPECT_EQ(run.err.find('\r'), std::string::npos) << "a terminal's bar in a log";
    EXPECT_EQ(fileBytes(folder.file("f_0002.png")), "rendered earlier");
}

TEST(CliStdinScene, DashReadsTheSceneAndNamesItStandardInput)
{
    const SceneFolder folder;
    folder.write("broken.json", withEdit(basicSceneText(), "\"Radius\": 150,", "\"Radius\": 150,,"));
    for (const auto& [input, exitCode] : {std::pair{folder.scene(), 0}, std::pair{folder.file("broken.json"), 2}}) {
        const std::string command = "'" + renderProgram() + "' - --downsample 8 -o '" + folder.file("out.png") +
                                    "' < '" + input + "' 2> '" + folder.file("err.txt") + "'";
        const int status = std::system(command.c_str());
        const std::string err = fileBytes(folder.file("err.txt"));
        EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, exitCode) << err;
        EXPECT_EQ(std::filesystem::exists(folder.file("out.png")), exitCode == 0) << input;
        if (exitCode) {
            EXPECT_EQ(err.rfind("orbulon-render: standard input: line ", 0), 0u) << err;
        }
        std::filesystem::remove(folder.file("out.png"));
    }
}

TEST(CliStats, SequencePrintsOneSummaryAndWritesItAsJson)
{
    const SceneFolder folder;
    const ProgramResult run =
        folder.render({"--frames", "0:2", "--downsample", "8", "-o", folder.file("f_####.png"),
                    "--stats", "--stats-json", folder.file("stats.json")});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(run.messages(), "") << "a warning or an unbalanced account";
    EXPECT_EQ(run.out.rfind("command ", 0), 0u) << "one table, over the whole sequence\n" << run.out;
    EXPECT_EQ(run.out.find("\ncommand "), std::string::npos) << run.out;
    EXPECT_TRUE(std::regex_search(run.out, std::regex("\nSMART_RENDER +3 "))) << run.out;
    EXPECT_NE(run.out.find("median ms"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("frames: 3"), std::string::npos) << run.out;
    std::smatch rate;
    ASSERT_TRUE(std::regex_search(run.out, rate, std::regex(R"(pixels per second[^:]*: (\d+))"))) << run.out;
    EXPECT_GT(std::stoll(rate[1]), 0) << run.out;

    const nlohmann::json stats = nlohmann::json::parse(fileBytes(folder.file("stats.json")));
    EXPECT_EQ(stats.at("frames"), 3);
    const auto& smart = stats.at("commands").at("SMART_RENDER");
    EXPECT_EQ(smart.at("count"), 3);
    EXPECT_LE(smart.at("min_ms").get<double>(), smart.at("median_ms").get<double>());
    EXPECT_LE(smart.at("median_ms").get<double>(), smart.at("max_ms").get<double>());
    ASSERT_FALSE(stats.at("iterate_passes").empty());
    EXPECT_EQ(stats.at("iterate_passes")[0].at("count"), 3);
}

// A render with a control layer whose name holds quotes.
ProgramResult renderWithUiState(const std::string& params, std::vector<std::string> extra)
{
    TempFolder folder(currentTestTag());
    folder.write("scene.json", R"({
  "composition": { "width": 64, "height": 48, "frameRate": 10, "duration": 1 },
  "layers": [
    { "name": "Sphere", "type": "solid" },
    { "name": "Rig \"A\"", "type": "null", "threeD": true },
    { "type": "image", "file": ")" ORBULON_SOURCE_DIR R"(/scenes/textures/grid.pam" }
  ],
  "effect": { "layer": "Sphere", "params": { )" + params + R"( } }
})");
    std::vector<std::string> args{folder.file("scene.json"), "-o", folder.file("out.png"), "--ui-state"};
    args.insert(args.end(), extra.begin(), extra.end());
    return runProgram(args);
}

TEST(CliUiState, PrintsFlagsExpressionsAndLayerNamesAfterTheRender)
{
    const std::string expression =
        R"(try{length(thisComp.layer("Rig "A"").toWorld([1,1,1]));}catch(e){value;}\n)";
    const ProgramResult run = renderWithUiState(R"("Control Layer": "Rig \"A\"", "Falloff": "Inverse Square Clamped")",
                                                {"--host-version", "13.1"});
    EXPECT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(run.messages(), "");
    EXPECT_EQ(run.out, "UI state after the render:\n"
                       "  5 \"Ellipse Z/XY\": greyed out\n  6 \"Ellipse X/Y\": greyed out\n"
                       "  7 \"Radius\": greyed out\n  8 \"Position XY\": greyed out\n"
                       "  9 \"Position Z\": greyed out\n  10 \"Rotation X\": greyed out\n"
                       "  11 \"Rotation Y\": greyed out\n  12 \"Rotation Z\": greyed out\n"
                       "  23 \"Falloff Distance\": greyed out\n"
                       "  49 \"dammy\": hidden hidden (stream flag)\n"
                       "Expressions:\n  49 \"dammy\": " + expression + "\n"
                       "Layer names (own name, source name):\n"
                       "  0 \"Sphere\", \"Sphere\"\n  1 \"Rig \"A\"\", \"Rig \"A\"\"\n  2 \"\", \"grid.pam\"\n");

    // From 13.2 on the stream stays visible; without a control layer there is no expression.
    const ProgramResult current = renderWithUiState(R"("Control Layer": "Rig \"A\"")", {"--host-version", "13.2"});
    EXPECT_NE(current.out.find("  49 \"dammy\": hidden\nExpressions:\n  49 "), std::string::npos) << current.out;
    const ProgramResult plain = renderWithUiState(R"("Falloff": "Smooth")", {});
    EXPECT_NE(plain.out.find("  49 \"dammy\": hidden\nExpressions:\n  none\n"), std::string::npos) << plain.out;
}

}  // namespace
}  // namespace orbhost::testing
