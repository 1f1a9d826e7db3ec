// One rule for frames and output names: where the frame number goes, which ranges need it, and
// how the command line and the scene agree.
#include "cli/cli_scene.h"
#include "cli/run_program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace orbhost::testing {
namespace {

// File names (not folders) under the folder, sorted, walking into sub-folders.
std::vector<std::string> imagesIn(const std::string& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().extension() == ".png")
            names.push_back(std::filesystem::relative(entry.path(), folder).generic_string());
    std::sort(names.begin(), names.end());
    return names;
}

// The example scene with render.frames set to the given text.
std::string sceneWithFrames(const std::string& frames)
{
    return withEdit(basicSceneText(), "\"frames\": [0, 0]", "\"frames\": " + frames);
}

class FrameRules : public ::testing::Test {
protected:
    FrameRules() : folder_(currentTestTag()) { folder_.write("scene.json", basicSceneText()); }
    ProgramResult render(std::vector<std::string> args)
    {
        args.insert(args.begin(), {folder_.file("scene.json"), "--downsample", "8"});
        return runProgram(args);
    }
    TempFolder folder_;
};

// Negative frames

TEST_F(FrameRules, NegativeFrameIsRefusedOnTheCommandLine)
{
    const ProgramResult run = render({"--frame", "-1", "-o", folder_.file("out.png")});
    EXPECT_EQ(run.exitCode, 2) << run.transcript();
    EXPECT_NE(run.err.find("frames count from 0"), std::string::npos) << run.transcript();
    EXPECT_TRUE(imagesIn(folder_.path()).empty());
}

TEST_F(FrameRules, NegativeStartOfFramesIsRefused)
{
    const ProgramResult run = render({"--frames=-2:3", "-o", folder_.file("f_####.png")});
    EXPECT_EQ(run.exitCode, 2) << run.transcript();
    EXPECT_NE(run.err.find("frames count from 0"), std::string::npos) << run.transcript();
    EXPECT_TRUE(imagesIn(folder_.path()).empty());
}

TEST_F(FrameRules, NegativeFrameIsRefusedInTheScene)
{
    folder_.write("scene.json", sceneWithFrames("[-1, 2]"));
    const ProgramResult run = render({"-o", folder_.file("f_####.png")});
    EXPECT_EQ(run.exitCode, 2) << run.transcript();
    EXPECT_NE(run.err.find("/render/frames"), std::string::npos) << run.transcript();
}

// Range syntax

TEST_F(FrameRules, FramesTakesADashAsWellAsAColon)
{
    const ProgramResult run = render({"--frames", "1-2", "-o", folder_.file("f_####.png")});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(imagesIn(folder_.path()), (std::vector<std::string>{"f_0001.png", "f_0002.png"}));
}

TEST_F(FrameRules, BackwardsOrMalformedRangesAreRefused)
{
    for (const char* range : {"3-1", "1:", "a:b", "1:2:3", "1..2"}) {
        const ProgramResult run = render({"--frames", range, "-o", folder_.file("f_####.png")});
        EXPECT_EQ(run.exitCode, 2) << range << '\n' << run.transcript();
        EXPECT_NE(run.err.find(std::string("--frames ") + range), std::string::npos) << run.transcript();
    }
    EXPECT_TRUE(imagesIn(folder_.path()).empty());
}

TEST_F(FrameRules, FrameTogetherWithFramesIsAnError)
{
    const ProgramResult run = render({"--frame", "1", "--frames", "0:2", "-o", folder_.file("f_####.png")});
    EXPECT_EQ(run.exitCode, 2) << run.transcript();
    EXPECT_NE(run.err.find("--frame"), std::string::npos) << run.transcript();
    EXPECT_NE(run.err.find("excludes"), std::string::npos) << run.transcript();
    EXPECT_TRUE(imagesIn(folder_.path()).empty());
}

// Numbered names

TEST_F(FrameRules, PrintfStyleNumberIsAccepted)
{
    const ProgramResult run = render({"--frames", "8:9", "-o", folder_.file("f_%03d.png")});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(imagesIn(folder_.path()), (std::vector<std::string>{"f_008.png", "f_009.png"}));
}

TEST_F(FrameRules, UnpaddedPrintfNumberIsAccepted)
{
    const ProgramResult run = render({"--frames", "9:10", "-o", folder_.file("f_%d.png")});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(imagesIn(folder_.path()), (std::vector<std::string>{"f_10.png", "f_9.png"}));
}

TEST_F(FrameRules, OnlyTheLastHashRunOfTheFileNameIsNumbered)
{
    const ProgramResult run = render({"--frames", "0:1", "-o", folder_.file("take#2/v##_f_####.png")});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(imagesIn(folder_.path()),
              (std::vector<std::string>{"take#2/v##_f_0000.png", "take#2/v##_f_0001.png"}));
}

TEST_F(FrameRules, HashInAFolderNameDoesNotNumberTheOutput)
{
    const ProgramResult run = render({"--frames", "0:1", "-o", folder_.file("take#2/f.png")});
    EXPECT_EQ(run.exitCode, 2) << run.transcript();
    EXPECT_NE(run.err.find("numbered output name"), std::string::npos) << run.transcript();
    EXPECT_TRUE(imagesIn(folder_.path()).empty());
}

TEST_F(FrameRules, SingleFrameWithANumberedNameGetsItsNumber)
{
    const ProgramResult run = render({"--frame", "7", "-o", folder_.file("f_####.png")});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(imagesIn(folder_.path()), (std::vector<std::string>{"f_0007.png"}));
}

// Ranges and numbered outputs: the same rule for the command line and the scene

TEST_F(FrameRules, CommandLineRangeNeedsANumberedOutput)
{
    const ProgramResult run = render({"--frames", "0:2", "-o", folder_.file("out.png")});
    EXPECT_EQ(run.exitCode, 2) << run.transcript();
    EXPECT_EQ(run.err.rfind("orbulon-render: ", 0), 0u) << run.transcript();
    EXPECT_NE(run.err.find("3 frames (0 to 2)"), std::string::npos) << run.transcript();
    EXPECT_NE(run.err.find("f_####.png"), std::string::npos) << run.transcript();
    EXPECT_TRUE(imagesIn(folder_.path()).empty());
}

TEST_F(FrameRules, SceneRangeNeedsANumberedOutput)
{
    folder_.write("scene.json", sceneWithFrames("[0, 2]"));
    const ProgramResult run = render({"-o", folder_.file("out.png")});
    EXPECT_EQ(run.exitCode, 2) << run.transcript();
    EXPECT_NE(run.err.find("render.frames"), std::string::npos) << run.transcript();
    EXPECT_NE(run.err.find("3 frames (0 to 2)"), std::string::npos) << run.transcript();
    EXPECT_NE(run.err.find("--frame N"), std::string::npos) << run.transcript();
    EXPECT_TRUE(imagesIn(folder_.path()).empty());
}

TEST_F(FrameRules, SceneRangeRendersEveryFrameIntoANumberedOutput)
{
    folder_.write("scene.json", sceneWithFrames("[1, 3]"));
    const ProgramResult run = render({"-o", folder_.file("f_##.png")});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(imagesIn(folder_.path()), (std::vector<std::string>{"f_01.png", "f_02.png", "f_03.png"}));
}

TEST_F(FrameRules, FramePicksOneFrameOfASceneRange)
{
    folder_.write("scene.json", sceneWithFrames("[0, 9]"));
    const ProgramResult run = render({"--frame", "4", "-o", folder_.file("still.png")});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(imagesIn(folder_.path()), (std::vector<std::string>{"still.png"}));
}

TEST_F(FrameRules, OneFrameRangeNeedsNoNumber)
{
    const ProgramResult run = render({"--frames", "3-3", "-o", folder_.file("still.png")});
    ASSERT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(imagesIn(folder_.path()), (std::vector<std::string>{"still.png"}));
}

// A sequence split into chunks, as a farm or a job array renders it: each machine takes a
// --frames range into the same folder, a retried chunk skips what is done, and the result is
// the one-run sequence, byte for byte.

std::string bytesOf(const std::string& path)
{
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

TEST_F(FrameRules, ASequenceRenderedInTwoChunksEqualsOneRun)
{
    folder_.write("scene.json", sceneWithFrames("[0, 5]"));
    std::filesystem::create_directories(folder_.file("one"));
    ASSERT_EQ(render({"-o", folder_.file("one/f_####.png")}).exitCode, 0);

    const std::string chunks = folder_.file("chunks/f_####.png");
    ASSERT_EQ(render({"--frames", "0-2", "-o", chunks}).exitCode, 0);
    // The second machine's chunk, retried after it had finished frame 3.
    ASSERT_EQ(render({"--frames", "3:3", "-o", chunks}).exitCode, 0);
    const ProgramResult retry = render({"--frames", "3-5", "--skip-existing", "-o", chunks});
    ASSERT_EQ(retry.exitCode, 0) << retry.transcript();

    const std::vector<std::string> names = imagesIn(folder_.file("one"));
    ASSERT_EQ(names.size(), 6u);
    EXPECT_EQ(imagesIn(folder_.file("chunks")), names);
    for (const std::string& name : names)
        EXPECT_EQ(bytesOf(folder_.file("chunks/" + name)), bytesOf(folder_.file("one/" + name))) << name;
}

}  // namespace
}  // namespace orbhost::testing
