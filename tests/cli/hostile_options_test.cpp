// The hostile-host options as a user gives them: --null, --old-suite, --row-bytes,
// --unclamped-params and the --fail kinds that break checkouts and layer worlds.
#include "cli/cli_scene.h"

#include <gtest/gtest.h>

namespace orbhost::testing {
namespace {

// An OptionCase whose scene may set "Specular" to 250, past its 100, and whose render may have to
// match, pixel for pixel, the render without the option.
struct HostileOption {
    OptionCase run;
    bool sameImage;
    bool outOfRange = false;
};

void PrintTo(const HostileOption& c, std::ostream* os) { *os << c.run.name; }

class HostileOptionTest : public ::testing::TestWithParam<HostileOption> {};

TEST_P(HostileOptionTest, ExitsAndSaysAsExpected)
{
    const HostileOption& c = GetParam();
    const SceneFolder folder(c.outOfRange ? withEdit(basicSceneText(), "\"Specular\": 30", "\"Specular\": 250")
                                          : basicSceneText());
    expectOptionRun(folder, c.run);
    if (c.sameImage) {
        const ProgramResult plain = folder.render({"-o", folder.file("plain.png")});
        ASSERT_EQ(plain.exitCode, 0) << plain.transcript();
        EXPECT_EQ(fileBytes(folder.file("out.png")), fileBytes(folder.file("plain.png")));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cli, HostileOptionTest,
    ::testing::Values(
        HostileOption{{"unclamped_value_renders", {"--unclamped-params"}, 0, {}}, false, true},
        HostileOption{{"out_of_range_value_is_refused", {}, 2, {"is outside its range"}}, false, true},
        HostileOption{{"null_iterate", {"--null", "utils.iterate_generic"}, 1, {"SMART_RENDER failed"}}, false},
        HostileOption{{"null_output", {"--null", "output"}, 1, {"SMART_RENDER failed"}}, false},
        HostileOption{{"null_unknown", {"--null", "in_data.nothing"}, 2, {"expected one of in_data.utils"}}, false},
        HostileOption{{"old_world_suite", {"--old-suite", "PF World Suite:1"}, 1, {"SMART_RENDER failed"}}, false},
        HostileOption{{"old_suite_never_asked", {"--old-suite", "AEGP Utility Suite:11"}, 0, {"never fired"}}, false},
        HostileOption{{"old_suite_malformed", {"--old-suite", "PF World Suite"}, 2, {"expected NAME:VERSION"}}, false},
        HostileOption{{"rows_off_pixel", {"--row-bytes", "off-pixel"}, 0, {}}, true},
        HostileOption{{"rows_wide", {"--row-bytes", "wide"}, 0, {}}, true},
        HostileOption{{"rows_unknown", {"--row-bytes", "odd"}, 2, {"expected padded, off-pixel or wide"}}, false},
        HostileOption{{"layer_world_fails", {"--fail", "host_world:1"}, 1, {"out of memory"}}, false},
        HostileOption{{"junk_checkout_never_fired", {"--fail", "junk_checkout:100000"}, 0, {"never fired"}}, false}),
    [](const auto& info) { return std::string(info.param.run.name); });

}  // namespace
}  // namespace orbhost::testing
