// Broken scenes and bad arguments: exit code 2, nothing written, and a message that points at
// the file and the place in it.
#include "cli/cli_scene.h"
#include "cli/run_program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace orbhost::testing {
namespace {

struct BrokenScene {
    const char* name;
    const char* from;  // text of the example scene ...
    const char* to;    // ... and what it is replaced with
    const char* place;    // JSON pointer expected in the message ("" for malformed JSON)
    const char* problem;  // words expected in the message
};

void PrintTo(const BrokenScene& c, std::ostream* os) { *os << c.name; }

class BrokenSceneTest : public ::testing::TestWithParam<BrokenScene> {};

TEST_P(BrokenSceneTest, ExitsTwoWritesNothingAndNamesThePlace)
{
    const BrokenScene& c = GetParam();
    TempFolder folder(currentTestTag());
    const std::string scene = withEdit(basicSceneText(), c.from, c.to);
    folder.write("scene.json", scene);
    const std::string output = folder.file("out.png");

    const ProgramResult run = runProgram({folder.file("scene.json"), "-o", output});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_FALSE(std::filesystem::exists(output));
    // One line: "orbulon-render: FILE: PLACE: problem".
    EXPECT_EQ(run.err.rfind("orbulon-render: " + folder.file("scene.json") + ": ", 0), 0u);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
    if (*c.place) {
        EXPECT_NE(run.err.find(std::string(": ") + c.place + ": "), std::string::npos);
    } else {  // malformed JSON: the line of the edit
        const auto line = 1 + std::count(scene.begin(), scene.begin() + scene.find(c.to), '\n');
        EXPECT_NE(run.err.find(": line " + std::to_string(line) + ", column "), std::string::npos);
    }
    EXPECT_NE(run.err.find(c.problem), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Cli, BrokenSceneTest,
    ::testing::Values(
        BrokenScene{"malformed_json", "\"Radius\": 150,", "\"Radius\": 150,,", "", "malformed JSON"},
        // Composition descriptions.
        BrokenScene{"unknown_light_type", "\"layers\": [",
                    "\"layers\": [ { \"name\": \"L\", \"type\": \"light\", \"light\": { \"type\": \"laser\" } },",
                    "/layers/0/light/type", "laser"},
        BrokenScene{"camera_zoom_zero", "\"layers\": [",
                    "\"layers\": [ { \"name\": \"C\", \"type\": \"camera\", \"camera\": { \"zoom\": 0 } },",
                    "/layers/0/camera/zoom", "0"},
        BrokenScene{"parent_cycle", "\"type\": \"solid\",", "\"type\": \"solid\", \"parent\": \"Sphere\",",
                    "/layers/0/parent", "Sphere"},
        BrokenScene{"parent_names_no_layer", "\"type\": \"solid\",", "\"type\": \"solid\", \"parent\": \"Nobody\",",
                    "/layers/0/parent", "Nobody"},
        BrokenScene{"unknown_top_level_key", "\"render\":", "\"rendr\":", "/rendr", "unknown key 'rendr'"},
        BrokenScene{"unknown_parameter", "\"Radius\":", "\"Radiuss\":", "/effect/params/Radiuss", "Radiuss"},
        BrokenScene{"parameter_of_wrong_type", "\"Radius\": 150", "\"Radius\": \"big\"", "/effect/params/Radius",
                    "big"},
        BrokenScene{"radius_below_range", "\"Radius\": 150", "\"Radius\": -5", "/effect/params/Radius", "-5"},
        BrokenScene{"popup_choice_out_of_range", "\"Specular\": 30", "\"Render Side\": 7",
                    "/effect/params/Render Side", "7"},
        BrokenScene{"missing_texture_file", ORBULON_SOURCE_DIR "/scenes/textures/grid.pam", "missing.png", "/layers/1/file",
                    "missing.png"},
        BrokenScene{"effect_on_unknown_layer", "\"layer\": \"Sphere\"", "\"layer\": \"Spehre\"", "/effect/layer",
                    "Spehre"},
        BrokenScene{"texture_names_no_layer", "\"Texture\": \"UV Grid\"", "\"Texture\": \"Nowhere\"",
                    "/effect/params/Texture", "Nowhere"}),
    [](const auto& info) { return std::string(info.param.name); });

struct BadArguments {
    const char* name;
    std::vector<std::string> args;  // after the scene; the output name comes from `output`
    const char* output;
    const char* complaint;  // words expected in stderr
};

void PrintTo(const BadArguments& c, std::ostream* os) { *os << c.name; }

class BadArgumentsTest : public ::testing::TestWithParam<BadArguments> {};

TEST_P(BadArgumentsTest, ExitTwoBeforeRendering)
{
    const BadArguments& c = GetParam();
    TempFolder folder(currentTestTag());
    folder.write("scene.json", basicSceneText());
    std::vector<std::string> args{folder.file("scene.json"), "-o", folder.file(c.output)};
    args.insert(args.end(), c.args.begin(), c.args.end());

    const ProgramResult run = runProgram(args);
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.err.find(c.complaint), std::string::npos);
    using std::filesystem::directory_iterator;
    EXPECT_EQ(std::distance(directory_iterator(folder.path()), directory_iterator{}), 1)
        << "something besides the scene file was written";
}

INSTANTIATE_TEST_SUITE_P(
    Cli, BadArgumentsTest,
    ::testing::Values(BadArguments{"bit_depth_12", {"--bit-depth", "12"}, "out.png", "--bit-depth"},
                      BadArguments{"frames_backwards", {"--frames", "5:2"}, "out_####.png", "--frames 5:2"},
                      BadArguments{"frames_without_pattern", {"--frames", "0:2"}, "out.png", "numbered output name"},
                      BadArguments{"unknown_fault_kind", {"--fail", "nonsense:1"}, "out.png", "nonsense:1"},
                      BadArguments{"downsample_too_large", {"--downsample", "17"}, "out.png", "--downsample 17"},
                      BadArguments{"downsample_with_junk", {"--downsample", "2x"}, "out.png", "--downsample 2x"},
                      BadArguments{"frame_past_the_end", {"--frame", "50"}, "out.png", "frame 50 is past the end"},
                      BadArguments{"frames_past_the_end", {"--frames", "48:51"}, "out_####.png", "frame 51"},
                      BadArguments{"unwritable_format", {}, "out.bmp", "cannot write '.bmp' files"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(CliUsage, NoSceneAndNoOutputExitsTwo)
{
    const ProgramResult run = runProgram({});
    EXPECT_EQ(run.exitCode, 2) << run.transcript();
    EXPECT_FALSE(run.err.empty()) << run.transcript();
}

}  // namespace
}  // namespace orbhost::testing
