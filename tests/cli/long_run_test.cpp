// The host prints what the effect did not give back after any frame, so a silent run of the
// thousand frames of scenes/long_run.json kept every account balanced.
#include "cli/cli_scene.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <fstream>

namespace orbhost::testing {

TEST(LongRun, AThousandFramesKeepEveryAccountBalanced)
{
    const TempFolder folder(currentTestTag());
    const ProgramResult r = runProgram({ORBULON_SOURCE_DIR "/scenes/long_run.json", "--downsample", "4", "-o",
                                        folder.file("f_####.pam"), "--stats-json", folder.file("stats.json")});
    ASSERT_EQ(r.exitCode, 0) << r.transcript();
    EXPECT_EQ(r.messages(), "") << "a warning or an unbalanced account";
    const nlohmann::json stats = nlohmann::json::parse(std::ifstream(folder.file("stats.json")));
    EXPECT_EQ(stats["frames"], 1000);
    EXPECT_EQ(stats["peak_memory_after_frame_bytes"].size(), 1000u);
    EXPECT_EQ(stats["commands"]["SMART_RENDER"]["count"], 1000);
}

} // namespace orbhost::testing
