// Outputs are never half-written and inputs never overwritten.
#include "cli/cli_scene.h"

#include "host/scene/image.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

namespace orbhost::testing {
namespace {

namespace fs = std::filesystem;

std::set<std::string> namesIn(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

bool completeImage(const std::string& path)
{
    try {
        return readImage(path).width == 640;
    } catch (const ImageError&) {
        return false;
    }
}

TEST(OutputWrite, FullDiskLeavesNoFileAndFailsNamingTheFile)
{
    const SceneFolder folder;
    fs::create_directories(folder.file("out"));
    for (const std::string depth : {"8", "16"}) {
        SCOPED_TRACE("bit depth " + depth);
        const std::string output = folder.file("out/render.png");
        Background program({folder.scene(), "-o", output, "--bit-depth", depth}, 4096);
        const ProgramResult run = program.wait();
        SCOPED_TRACE(run.transcript());
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_NE(run.err.find("orbulon-render: " + output + ": "), std::string::npos);
        EXPECT_NE(run.err.find("File too large"), std::string::npos);
        EXPECT_TRUE(namesIn(folder.file("out")).empty());
    }
}

TEST(OutputWrite, FrameThatCannotBePutInPlaceFailsAndKeepsEarlierFrames)
{
    const SceneFolder folder;
    // Frame 1's name is taken by a folder, so its finished file cannot be renamed into place.
    fs::create_directories(folder.file("out/f_0001.pam"));
    const ProgramResult run =
        folder.render({"--frames", "0:2", "-o", folder.file("out/f_####.pam")});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find(folder.file("out/f_0001.pam") + ": "), std::string::npos);
    EXPECT_EQ(namesIn(folder.file("out")), (std::set<std::string>{"f_0000.pam", "f_0001.pam"}));
    EXPECT_TRUE(fs::is_directory(folder.file("out/f_0001.pam")));
    EXPECT_TRUE(completeImage(folder.file("out/f_0000.pam")));
}

TEST(OutputWrite, ReplacesAnEarlierOutputAndLeavesNoTemporaryFile)
{
    const SceneFolder folder;
    folder.write("render.png", "an older render");
    const ProgramResult run = folder.render({"-o", folder.file("render.png")});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(completeImage(folder.file("render.png")));
    EXPECT_EQ(namesIn(folder.path()), (std::set<std::string>{"scene.json", "render.png"}));
}

struct Stop {
    int signal;
    int exitCode;
    const char* name;
};

void PrintTo(const Stop& s, std::ostream* os) { *os << s.name; }

class StopTest : public ::testing::TestWithParam<Stop> {};

TEST_P(StopTest, SequenceStoppedBySignalLeavesOnlyCompleteFrames)
{
    const Stop& stop = GetParam();
    const SceneFolder folder(withEdit(basicSceneText(), "\"duration\": 2", "\"duration\": 400"));
    fs::create_directories(folder.file("out"));
    Background program({folder.scene(), "--frames", "0:9999", "-o", folder.file("out/f_####.png"), "--bit-depth", "16"});
    // Wait for the first finished frame, then stop the program in the middle of the sequence.
    for (int i = 0; i < 6000 && !fs::exists(folder.file("out/f_0000.png")); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_TRUE(fs::exists(folder.file("out/f_0000.png")));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    program.signal(stop.signal);
    const ProgramResult run = program.wait();
    SCOPED_TRACE(run.transcript());

    EXPECT_EQ(run.exitCode, stop.exitCode);
    EXPECT_NE(run.err.find(stop.name), std::string::npos);
    const std::set<std::string> names = namesIn(folder.file("out"));
    EXPECT_LT(names.size(), 10000u);
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        EXPECT_NE(name[0], '.') << "a temporary file was left behind";
        EXPECT_TRUE(completeImage(folder.file("out/" + name)));
    }
}

INSTANTIATE_TEST_SUITE_P(Cli, StopTest,
                         ::testing::Values(Stop{SIGTERM, 143, "SIGTERM"}, Stop{SIGINT, 130, "SIGINT"},
                                           Stop{SIGHUP, 129, "SIGHUP"}),
                         [](const auto& info) { return std::string(info.param.name); });

std::map<std::string, std::string> contents(const std::string& folder)
{
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        found[fs::relative(entry.path(), folder).string()] = entry.is_directory() ? "(folder)" : fileBytes(entry.path());
    return found;
}

TEST(OutputRefusal, InputsAndUnusableFoldersAreRefusedBeforeTheFirstFrame)
{
    const SceneFolder folder(withEdit(basicSceneText(), ORBULON_SOURCE_DIR "/scenes/textures/grid.pam", "grid.pam"));
    fs::copy_file(ORBULON_SOURCE_DIR "/scenes/textures/grid.pam", folder.file("grid.pam"));
    fs::copy_file(folder.file("grid.pam"), folder.file("tex_0003.pam"));
    folder.write("numbered.json", withEdit(fileBytes(folder.scene()), "\"grid.pam\"", "\"tex_0003.pam\""));
    fs::copy_file(folder.scene(), folder.file("scene.pam"));  // a scene whose name is also an image name
    fs::create_directories(folder.file("sub"));
    fs::create_directories(folder.file("render.png"));
    fs::create_directories(folder.file("locked"));
    folder.write("plain-file", "not a folder");
    fs::permissions(folder.file("locked"), fs::perms::owner_read | fs::perms::owner_exec);
    const auto before = contents(folder.path());
    struct Case {
        std::string scene, output, message;
        std::vector<std::string> more{};
    };
    const std::string input = ": is one of the render's inputs";
    for (const Case& c :
         {Case{folder.scene(), folder.file("grid.pam"), folder.file("grid.pam") + input},
          Case{folder.scene(), folder.file("sub/../grid.pam"), folder.file("sub/../grid.pam") + input},
          Case{folder.file("scene.pam"), folder.file("scene.pam"), folder.file("scene.pam") + input},
          Case{folder.file("numbered.json"), folder.file("tex_####.pam"), folder.file("tex_0003.pam") + input,
               {"--frames", "0:5"}},
          Case{folder.scene(), folder.file("plain-file/out/f_####.png"),
               folder.file("plain-file/out") + ": cannot create the output folder", {"--frames", "0:3"}},
          Case{folder.scene(), folder.file("locked/render.png"),
               folder.file("locked") + ": cannot write in the output folder: Permission denied"},
          Case{folder.scene(), folder.file("render.png"), folder.file("render.png") + ": is a folder"}}) {
        if (c.output.find("locked") != std::string::npos && ::geteuid() == 0)
            continue;  // the superuser may write in any folder
        std::vector<std::string> args{c.scene, "--verbose", "-o", c.output};
        args.insert(args.end(), c.more.begin(), c.more.end());
        const ProgramResult run = runProgram(args);
        SCOPED_TRACE(run.transcript());
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_NE(run.err.find("orbulon-render: " + c.message), std::string::npos);
        EXPECT_EQ((run.out + run.err).find("SMART_RENDER"), std::string::npos) << "a frame was rendered";
        EXPECT_EQ(contents(folder.path()), before);
    }
    fs::permissions(folder.file("locked"), fs::perms::owner_all);
}

TEST(OutputFolder, MissingFolderIsCreated)
{
    const SceneFolder folder;
    const std::string output = folder.file("new/deeper/render.png");
    const ProgramResult run = folder.render({"-o", output});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(completeImage(output));
    EXPECT_EQ(namesIn(folder.file("new/deeper")), std::set<std::string>{"render.png"});
}

TEST(ScenePath, SomethingOtherThanASceneFileIsRefusedNamingIt)
{
    TempFolder folder(currentTestTag());
    folder.write("huge.json", "{}");
    fs::resize_file(folder.file("huge.json"), 64u * 1024 * 1024 + 1);  // sparse: no disk space used
    for (const auto& [scene, problem] : {std::pair<std::string, std::string>{"/dev/zero", ": is "},
                                         {"/tmp", ": is "},
                                         {folder.file("huge.json"), ": is 67108865 bytes, more than any scene"}}) {
        const ProgramResult run = runProgram({scene, "-o", folder.file("render.png")});
        SCOPED_TRACE(run.transcript());
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_NE(run.err.find("orbulon-render: " + scene + problem), std::string::npos);
        EXPECT_FALSE(fs::exists(folder.file("render.png")));
    }
}

}  // namespace
}  // namespace orbhost::testing
