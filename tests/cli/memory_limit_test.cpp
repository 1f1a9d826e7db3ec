// Frames estimated to need more memory than allowed are refused before rendering, with the
// estimate and what drives it.
#include "cli/cli_scene.h"
#include "cli/run_program.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace orbhost::testing {
namespace {

TEST(MaxMemory, AnOversizedCompositionIsRefusedWithTheEstimate)
{
    TempFolder folder(currentTestTag());
    folder.write("scene.json", withEdit(basicSceneText(), "\"width\": 640, \"height\": 360",
                                        "\"width\": 30000, \"height\": 30000"));
    const ProgramResult run =
        runProgram({folder.file("scene.json"), "-o", folder.file("out.png"), "--frame", "0", "--max-memory", "2G"});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
    EXPECT_NE(run.err.find("a frame needs about "), std::string::npos);
    EXPECT_NE(run.err.find("more than --max-memory 2.0 GiB"), std::string::npos);
    EXPECT_NE(run.err.find("30000x30000"), std::string::npos);
}

TEST(MaxMemory, AFrameUnderTheLimitRenders)
{
    TempFolder folder(currentTestTag());
    folder.write("scene.json", basicSceneText());
    const ProgramResult run =
        runProgram({folder.file("scene.json"), "-o", folder.file("out.png"), "--frame", "0", "--max-memory", "1G"});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(std::filesystem::exists(folder.file("out.png")));
}

TEST(MaxMemory, ASizeThatDoesNotReadIsAUsageError)
{
    TempFolder folder(currentTestTag());
    folder.write("scene.json", basicSceneText());
    const ProgramResult run =
        runProgram({folder.file("scene.json"), "-o", folder.file("out.png"), "--max-memory", "lots"});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.err.find("--max-memory lots"), std::string::npos);
}

}  // namespace
}  // namespace orbhost::testing
