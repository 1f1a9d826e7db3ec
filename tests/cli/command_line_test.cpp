// The command-line habits of orbulon-render: message prefix, --version, --quiet, --threads 0,
// the progress line, named error codes, the --describe table and exit codes.
#include "cli/cli_scene.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/wait.h>

namespace orbhost::testing {
namespace {

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// Every line of standard error starts with the program's name.
void expectPrefixedMessages(const ProgramResult& run)
{
    EXPECT_FALSE(run.err.empty()) << run.transcript();
    for (const std::string& line : linesOf(run.err))
        EXPECT_EQ(line.rfind("orbulon-render: ", 0), 0u) << line << '\n' << run.transcript();
}

// Message prefix

TEST(CliMessages, EveryErrorStartsWithTheProgramName)
{
    const SceneFolder folder;
    folder.write("broken.json", withEdit(basicSceneText(), "\"Radius\": 150", "\"Radius\": \"big\""));
    const std::string scene = folder.scene(), out = folder.file("out.png");
    const std::vector<std::vector<std::string>> cases{
        {scene, "-o", out, "--no-such-option"},
        {scene, "-o", out, "--bit-depth", "12"},
        {scene},
        {},
        {scene, "-o", out, "--fail", "nonsense:1"},
        {folder.file("broken.json"), "-o", out},
        {folder.file("missing.json"), "-o", out},
        {scene, "-o", out, "--module", "/nonexistent.so"},
        {scene, "-o", out, "--fail", "add_param:3"},
    };
    for (const auto& args : cases) {
        const ProgramResult run = runProgram(args);
        EXPECT_NE(run.exitCode, 0) << run.transcript();
        expectPrefixedMessages(run);
    }
}

TEST(CliMessages, WarningsStartWithTheProgramName)
{
    const SceneFolder folder;
    const ProgramResult run =
        folder.render({"-o", folder.file("out.png"), "--fail", "param_ui:1"});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    expectPrefixedMessages(run);
    EXPECT_NE(run.err.find("warning: "), std::string::npos) << run.transcript();
}

// --version

TEST(CliVersion, PrintsTheVersionAndExitsZero)
{
    const ProgramResult run = runProgram({"--version"});
    EXPECT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(run.out.rfind("orbulon-render " ORBULON_VERSION_TEXT, 0), 0u) << run.transcript();
    EXPECT_EQ(run.err, "");
}

// --quiet

TEST(CliQuiet, QuietSilencesWarningsButNotErrors)
{
    const SceneFolder folder;
    const ProgramResult warned =
        folder.render({"-o", folder.file("out.png"), "-q", "--fail", "param_ui:1"});
    EXPECT_EQ(warned.exitCode, 0) << warned.transcript();
    EXPECT_EQ(warned.err, "");
    EXPECT_TRUE(std::filesystem::exists(folder.file("out.png")));

    const ProgramResult failed =
        folder.render({"-o", folder.file("again.png"), "--quiet", "--fail", "add_param:3"});
    EXPECT_EQ(failed.exitCode, 1) << failed.transcript();
    expectPrefixedMessages(failed);
}

// Progress

// The progress lines of standard error without their prefix, a rendered frame's time (which no
// test can know) read as "seconds=S" when it has the documented two decimals.
std::vector<std::string> progressLines(const ProgramResult& run)
{
    const std::string prefix = "orbulon-render: progress ";
    const std::regex renderTime("status=rendered seconds=[0-9]+\\.[0-9][0-9] ");
    std::vector<std::string> lines;
    for (const std::string& line : linesOf(run.err))
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
}

TEST(CliProgress, QuietAndTheOptionDecide)
{
    const SceneFolder folder;
    for (const auto& [args, lines] : {std::pair{std::vector<std::string>{"-q"}, 0u},
                                      std::pair{std::vector<std::string>{"--progress", "off"}, 0u},
                                      std::pair{std::vector<std::string>{"-q", "--progress", "lines"}, 2u}}) {
        std::vector<std::string> all{folder.scene(), "--frames", "0:1", "--downsample", "8", "-o", folder.file("f_####.png")};
        all.insert(all.end(), args.begin(), args.end());
        const ProgramResult run = runProgram(all);
        EXPECT_EQ(run.exitCode, 0) << run.transcript();
        EXPECT_EQ(progressLines(run).size(), lines) << run.transcript();
    }
}

// --describe

TEST(CliDescribe, ColumnsStayAlignedAndOpenRangesReadAny)
{
    const ProgramResult run = runProgram({"--describe"});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(run.out.find("e+3"), std::string::npos) << run.out;
    const auto lines = linesOf(run.out);
    auto header = std::find_if(lines.begin(), lines.end(), [](const std::string& l) { return l.starts_with("index"); });
    ASSERT_NE(header, lines.end()) << run.out;
    const std::size_t typeAt = header->find(" type") + 1, rangeAt = header->find(" range") + 1;
    int rows = 0;
    for (auto line = header + 1; line != lines.end(); ++line) {
        ++rows;
        // Each column starts after a blank, at the header's column.
        ASSERT_GT(line->size(), rangeAt) << *line;
        EXPECT_EQ((*line)[typeAt - 1], ' ') << *line;
        EXPECT_NE((*line)[typeAt], ' ') << *line;
        EXPECT_EQ((*line)[rangeAt - 1], ' ') << *line;
    }
    EXPECT_GT(rows, 40);
}

// Exit codes

TEST(CliExitCodes, ZeroOneAndTwo)
{
    const SceneFolder folder;
    EXPECT_EQ(folder.render({"--downsample", "8", "-o", folder.file("ok.png")}).exitCode, 0);
    EXPECT_EQ(folder.render({"-o", folder.file("fail.png"), "--fail", "add_param:3"}).exitCode, 1);
    EXPECT_EQ(folder.render({"-o", folder.file("bad.png"), "--bit-depth", "7"}).exitCode, 2);
    EXPECT_EQ(runProgram({folder.file("none.json"), "-o", folder.file("bad.png")}).exitCode, 2);
    EXPECT_EQ(runProgram({"--help"}).exitCode, 0);
}


// Scene from standard input

// Runs the program through the shell with standard input from the file; returns the exit code.
int runWithStdin(const std::string& input, const std::string& args, const std::string& errFile)
{
    const std::string command = "'" + renderProgram() + "' " + args + " < '" + input + "' 2> '" + errFile + "'";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(CliStdinScene, DashReadsTheSceneFromStandardInput)
{
    const SceneFolder folder;
    const int code = runWithStdin(folder.scene(), "- --downsample 8 -o '" + folder.file("out.png") + "'",
                                  folder.file("err.txt"));
    EXPECT_EQ(code, 0) << fileBytes(folder.file("err.txt"));
    EXPECT_TRUE(std::filesystem::exists(folder.file("out.png")));
}

TEST(CliStdinScene, BrokenSceneOnStandardInputIsNamedAsSuch)
{
    const SceneFolder folder(withEdit(basicSceneText(), "\"Radius\": 150,", "\"Radius\": 150,,"));
    const int code = runWithStdin(folder.scene(), "- -o '" + folder.file("out.png") + "'",
                                  folder.file("err.txt"));
    EXPECT_EQ(code, 2);
    const std::string err = fileBytes(folder.file("err.txt"));
    EXPECT_EQ(err.rfind("orbulon-render: standard input: line ", 0), 0u) << err;
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
}

// --skip-existing

// Frame 1 was rendered earlier; frames 0 to 2 are asked for, with or without the flag.
std::string frameOneAfter(const std::vector<std::string>& flag)
{
    const SceneFolder folder;
    folder.write("f_0001.png", "rendered earlier");
    std::vector<std::string> args{folder.scene(), "--frames", "0:2", "--downsample", "8", "-o", folder.file("f_####.png")};
    args.insert(args.end(), flag.begin(), flag.end());
    const ProgramResult run = runProgram(args);
    EXPECT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(imagesIn(folder.path()), (std::vector<std::string>{"f_0000.png", "f_0001.png", "f_0002.png"}));
    return fileBytes(folder.file("f_0001.png"));
}

TEST(CliSkipExisting, FramesWithAnOutputAreLeftAsTheyAre)
{
    EXPECT_EQ(frameOneAfter({"--skip-existing"}), "rendered earlier");
}

TEST(CliSkipExisting, WithoutTheFlagExistingOutputsAreReplaced)
{
    EXPECT_NE(frameOneAfter({}), "rendered earlier");
}

// --stats over a sequence

TEST(CliStats, SequencePrintsOneSummaryAndWritesItAsJson)
{
    const SceneFolder folder;
    const ProgramResult run =
        folder.render({"--frames", "0:2", "--downsample", "8", "-o", folder.file("f_####.png"),
                    "--stats", "--stats-json", folder.file("stats.json")});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    const auto lines = linesOf(run.out);
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](const std::string& l) { return l.starts_with("command "); }),
              1)
        << run.out;
    auto render = std::find_if(lines.begin(), lines.end(),
                               [](const std::string& l) { return l.starts_with("SMART_RENDER "); });
    ASSERT_NE(render, lines.end()) << run.out;
    std::istringstream fields(*render);
    std::string name;
    int calls = 0;
    fields >> name >> calls;
    EXPECT_EQ(calls, 3) << run.out;
    EXPECT_NE(run.out.find("median ms"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("frames: 3"), std::string::npos) << run.out;

    const nlohmann::json stats = nlohmann::json::parse(fileBytes(folder.file("stats.json")));
    EXPECT_EQ(stats.at("frames"), 3);
    const auto& smart = stats.at("commands").at("SMART_RENDER");
    EXPECT_EQ(smart.at("count"), 3);
    EXPECT_LE(smart.at("min_ms").get<double>(), smart.at("median_ms").get<double>());
    EXPECT_LE(smart.at("median_ms").get<double>(), smart.at("max_ms").get<double>());
    ASSERT_FALSE(stats.at("iterate_passes").empty());
    EXPECT_EQ(stats.at("iterate_passes")[0].at("count"), 3);
}

}  // namespace
}  // namespace orbhost::testing
