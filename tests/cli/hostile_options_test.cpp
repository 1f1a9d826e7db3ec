// The hostile-host options as a user gives them: --null, --old-suite, --row-bytes,
// --unclamped-params and the --fail kinds that break checkouts and layer worlds.
#include "cli/cli_scene.h"
#include "cli/run_program.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace orbhost::testing {
namespace {

struct HostileOption {
    const char* name;
    std::vector<std::string> args;
    int exitCode;
    const char* inStderr;   // words the messages must hold ("" for none)
    bool sameImage;         // a render pixel for pixel as without the option
    bool outOfRange = false;   // the scene sets "Specular" to 250, past its 100
};

void PrintTo(const HostileOption& c, std::ostream* os) { *os << c.name; }

std::string bytesOf(const std::string& path)
{
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

class HostileOptionTest : public ::testing::TestWithParam<HostileOption> {};

TEST_P(HostileOptionTest, ExitsAndSaysAsExpected)
{
    const HostileOption& c = GetParam();
    TempFolder folder(currentTestTag());
    folder.write("scene.json", c.outOfRange ? withEdit(basicSceneText(), "\"Specular\": 30", "\"Specular\": 250")
                                            : basicSceneText());
    std::vector<std::string> args{folder.file("scene.json"), "-o", folder.file("out.png")};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const ProgramResult run = runProgram(args);
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, c.exitCode);
    EXPECT_NE(run.err.find(c.inStderr), std::string::npos);
    EXPECT_EQ(std::filesystem::exists(folder.file("out.png")), c.exitCode == 0);
    if (c.sameImage) {
        const ProgramResult plain = runProgram({folder.file("scene.json"), "-o", folder.file("plain.png")});
        ASSERT_EQ(plain.exitCode, 0) << plain.transcript();
        EXPECT_EQ(bytesOf(folder.file("out.png")), bytesOf(folder.file("plain.png")));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cli, HostileOptionTest,
    ::testing::Values(
        HostileOption{"unclamped_value_renders", {"--unclamped-params"}, 0, "", false, true},
        HostileOption{"out_of_range_value_is_refused", {}, 2, "is outside its range", false, true},
        HostileOption{"null_iterate", {"--null", "utils.iterate_generic"}, 1, "SMART_RENDER failed", false},
        HostileOption{"null_output", {"--null", "output"}, 1, "SMART_RENDER failed", false},
        HostileOption{"null_unknown", {"--null", "in_data.nothing"}, 2, "expected one of in_data.utils", false},
        HostileOption{"old_world_suite", {"--old-suite", "PF World Suite:1"}, 1, "SMART_RENDER failed", false},
        HostileOption{"old_suite_never_asked", {"--old-suite", "AEGP Utility Suite:11"}, 0, "never fired", false},
        HostileOption{"old_suite_malformed", {"--old-suite", "PF World Suite"}, 2, "expected NAME:VERSION", false},
        HostileOption{"rows_off_pixel", {"--row-bytes", "off-pixel"}, 0, "", true},
        HostileOption{"rows_wide", {"--row-bytes", "wide"}, 0, "", true},
        HostileOption{"rows_unknown", {"--row-bytes", "odd"}, 2, "expected padded, off-pixel or wide", false},
        HostileOption{"layer_world_fails", {"--fail", "host_world:1"}, 1, "out of memory", false},
        HostileOption{"junk_checkout_never_fired", {"--fail", "junk_checkout:100000"}, 0, "never fired", false}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace orbhost::testing
