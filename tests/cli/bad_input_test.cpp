// Broken scenes, damaged images and bad options: exit 2 (1 for a render that fails), nothing
// written, and a message pointing at the file and the place in it. Scene mistakes here are the
// ones only a bound effect finds; the rest are the scene tests' table.
#include "cli/cli_scene.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace orbhost::testing {
namespace {

struct BrokenScene {
    const char* name;
    const char* from, *to;  // an edit of the example scene with a camera and a light added
    const char* place;    // JSON pointer expected in the message ("" for malformed JSON)
    const char* problem;  // words expected in the message
    const char* notInMessage = "";  // words that must not appear ("" for no such check)
};

void PrintTo(const BrokenScene& c, std::ostream* os) { *os << c.name; }

class BrokenSceneTest : public ::testing::TestWithParam<BrokenScene> {};

TEST_P(BrokenSceneTest, ExitsTwoWritesNothingAndNamesThePlaceInOneLine)
{
    const BrokenScene& c = GetParam();
    const std::string scene = withEdit(withEdit(basicSceneText(), "\"layers\": [",
                                                "\"layers\": [ { \"name\": \"Cam\", \"type\": \"camera\" }, "
                                                "{ \"name\": \"Lamp\", \"type\": \"light\" },"),
                                       c.from, c.to);
    const SceneFolder folder(scene);
    const ProgramResult run = folder.render({"-o", folder.file("out.png")});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
    const std::string file = "orbulon-render: " + folder.scene() + ": ";
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
    if (*c.place) {
        EXPECT_EQ(run.err.rfind(file + c.place + ": ", 0), 0u);
    } else {  // malformed JSON: the line of the edit
        const auto line = 1 + std::count(scene.begin(), scene.begin() + scene.find(c.to), '\n');
        EXPECT_EQ(run.err.rfind(file + "line " + std::to_string(line) + ", column ", 0), 0u);
    }
    EXPECT_NE(run.err.find(c.problem), std::string::npos);
    if (*c.notInMessage) {
        EXPECT_EQ(run.err.find(c.notInMessage), std::string::npos);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cli, BrokenSceneTest,
    ::testing::Values(
        BrokenScene{"malformed_json", "\"Radius\": 150,", "\"Radius\": 150,,", "", "malformed JSON"},
        // A near miss is offered the closest registered name; a far one is offered nothing.
        BrokenScene{"unknown_parameter_suggestion", "\"Radius\":", "\"Raduis\":", "/effect/params/Raduis",
                    "unknown parameter \"Raduis\" (did you mean \"Radius\"?)"},
        BrokenScene{"unknown_parameter_no_suggestion", "\"Radius\":", "\"Qwxzvbnmkj\":",
                    "/effect/params/Qwxzvbnmkj", "Qwxzvbnmkj", "did you mean"},
        // Reflection Map, Control Layer and Texture need a layer with pixels.
        BrokenScene{"reflection_map_on_a_light", "\"Radius\": 150", "\"Radius\": 150, \"Reflection Map\": \"Lamp\"",
                    "/effect/params/Reflection Map", "\"Reflection Map\" needs a layer with pixels; \"Lamp\" is a light"},
        BrokenScene{"control_layer_on_a_camera", "\"Radius\": 150", "\"Radius\": 150, \"Control Layer\": \"Cam\"",
                    "/effect/params/Control Layer", "\"Control Layer\" needs a layer with pixels; \"Cam\" is a camera"},
        BrokenScene{"texture_on_a_camera", "\"Texture\": \"UV Grid\"", "\"Texture\": \"Cam\"", "/effect/params/Texture",
                    "\"Texture\" needs a layer with pixels; \"Cam\" is a camera"}),
    [](const auto& info) { return std::string(info.param.name); });

// An image that cannot be decoded is found before the first frame, in the program's words.
struct DamagedImage {
    const char* name;
    const char* file;  // the texture, written as a noisy 256x128 image, then ...
    double keep;       // ... cut to this share of its bytes, or
    bool scramble;     // ... 40 bytes in its middle inverted
    const char* problem;
};

void PrintTo(const DamagedImage& c, std::ostream* os) { *os << c.name; }

class DamagedImageTest : public ::testing::TestWithParam<DamagedImage> {};

TEST_P(DamagedImageTest, ExitsTwoBeforeAnyFrameNamingSceneLayerAndFile)
{
    const DamagedImage& c = GetParam();
    const SceneFolder folder(withEdit(basicSceneText(), ORBULON_SOURCE_DIR "/scenes/textures/grid.pam", c.file));
    const std::string texture = folder.file(c.file);
    OIIO::ImageBuf noise(OIIO::ImageSpec(256, 128, 3, OIIO::TypeDesc::UINT8));
    OIIO::ImageBufAlgo::noise(noise, "uniform", 0.0f, 1.0f, false, 7);
    ASSERT_TRUE(noise.write(texture)) << noise.geterror();
    std::string bytes = fileBytes(texture);
    bytes.resize(std::size_t(double(bytes.size()) * c.keep));
    for (std::size_t i = bytes.size() / 2; c.scramble && i < bytes.size() / 2 + 40; ++i)
        bytes[i] = char(~bytes[i]);
    folder.write(c.file, bytes);

    const std::string message = "orbulon-render: " + folder.scene() + ": /layers/1/file: cannot read image '";
    const std::string fileAndLayer = c.file + std::string("' of layer \"UV Grid\": ");
    const ProgramResult run = runProgram({folder.scene(), "--frames", "0:2", "-o", folder.file("f_####.png")});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.err.rfind(message, 0), 0u);
    EXPECT_NE(run.err.find(fileAndLayer), std::string::npos);
    EXPECT_NE(run.err.find(c.problem), std::string::npos);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
    using std::filesystem::directory_iterator;
    EXPECT_EQ(std::distance(directory_iterator(folder.path()), directory_iterator{}), 2) << "a frame was written";
}

INSTANTIATE_TEST_SUITE_P(
    Cli, DamagedImageTest,
    ::testing::Values(DamagedImage{"png_cut_short", "tex.png", 0.5, false, "damaged or cut short"},
                      DamagedImage{"png_scrambled", "tex.png", 1.0, true, "damaged or cut short"},
                      DamagedImage{"exr_cut_short", "tex.exr", 0.6, false, "damaged or cut short"},
                      // JPEG's decoder fills what is missing with grey and only warns.
                      DamagedImage{"jpeg_cut_short", "tex.jpg", 0.7, false, "cut short"},
                      DamagedImage{"empty_file", "tex.tif", 0.0, false, "cannot read the image"}),
    [](const auto& info) { return std::string(info.param.name); });

class OptionTest : public ::testing::TestWithParam<OptionCase> {};

TEST_P(OptionTest, ExitsAndSaysAsExpected)
{
    expectOptionRun(SceneFolder(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Cli, OptionTest,
    ::testing::Values(
        // Usage errors: exit 2 before anything renders.
        OptionCase{"unknown_option", {"--no-such-option"}, 2, {"--no-such-option"}},
        OptionCase{"bit_depth_12", {"--bit-depth", "12"}, 2, {"--bit-depth"}},
        OptionCase{"unknown_fault_kind", {"--fail", "nonsense:1"}, 2, {"nonsense:1"}},
        OptionCase{"downsample_too_large", {"--downsample", "17"}, 2, {"--downsample 17"}},
        OptionCase{"downsample_with_junk", {"--downsample", "2x"}, 2, {"--downsample 2x"}},
        OptionCase{"unwritable_format", {}, 2, {"cannot write '.bmp' files"}, "", "out.bmp"},
        OptionCase{"negative_thread_count", {"--threads=-2"}, 2, {"--threads"}},
        OptionCase{"max_memory_unreadable", {"--max-memory", "lots"}, 2, {"--max-memory lots"}},
        OptionCase{"host_version_without_minor", {"--host-version", "13"}, 2, {"--host-version 13:"}},
        OptionCase{"host_version_three_parts", {"--host-version", "13.2.1"}, 2, {"--host-version 13.2.1"}},
        OptionCase{"host_version_too_large", {"--host-version", "13.99999"}, 2, {"--host-version 13.99999"}},
        // Every output is checked before the first frame, the statistics file too.
        OptionCase{"stats_json_in_a_file", {"--stats-json", "/dev/null/stats.json"}, 2,
                   {"/dev/null: cannot create the output folder"}},
        // A fault plan that cannot act says so, listing the names the host serves.
        OptionCase{"fail_suite_unknown",
                   {"--fail-suite", "AEGP Utilty Suite"},
                   2,
                   {"orbulon-render: --fail-suite \"AEGP Utilty Suite\": the host serves no suite", "AEGP Utility Suite"}},
        // Render failures: exit 1, nothing written; effect errors print with their names, and
        // --quiet never silences them.
        OptionCase{"utility_suite_refused", {"--fail-suite", "AEGP Utility Suite"}, 1,
                   {"bad callback parameter (516)"}, "error 516"},
        OptionCase{"third_add_param_fails", {"--fail", "add_param:3"}, 1, {"PARAMS_SETUP"}},
        OptionCase{"quiet_failure_still_says_so", {"--quiet", "--fail", "add_param:3"}, 1, {"PARAMS_SETUP"}},
        OptionCase{"module_missing", {"--module", "/nonexistent.so"}, 1, {"/nonexistent.so"}},
        // Options that render; a failing UI update is a warning, which --quiet silences.
        OptionCase{"threads_zero_is_one_per_core", {"--threads", "0", "--downsample", "4"}, 0, {}},
        OptionCase{"max_memory_above_the_frame", {"--frame", "0", "--max-memory", "1G"}, 0, {}},
        OptionCase{"ui_failure_warns", {"--fail", "param_ui:1"}, 0,
                   {"orbulon-render: warning: UPDATE_PARAMS_UI failed: out of memory (4)"}, "never fired"},
        OptionCase{"quiet_ui_failure", {"-q", "--fail", "param_ui:1"}, 0, {}, "orbulon-render"},
        // Progress lines: --quiet and --progress decide.
        OptionCase{"quiet_has_no_progress", {"-q"}, 0, {}, "progress"},
        OptionCase{"progress_off", {"--progress", "off"}, 0, {}, "progress"},
        OptionCase{"progress_lines_despite_quiet", {"-q", "--progress", "lines"}, 0, {"orbulon-render: progress frame=0 "}},
        // A test relying on a fault must not pass because the fault never happened.
        OptionCase{"faults_that_never_fired",
                   {"--fail", "world:100000", "--fail-suite", "AEGP Layer Mask Suite"},
                   0,
                   {"warning: --fail world:100000 never fired: only ",
                    " world creations were made\n",
                    "warning: --fail-suite \"AEGP Layer Mask Suite\" never fired: the effect never asked for that suite"}},
        // The hostile-host options as a user gives them.
        OptionCase{"null_iterate", {"--null", "utils.iterate_generic"}, 1, {"SMART_RENDER failed"}},
        OptionCase{"null_output", {"--null", "output"}, 1, {"SMART_RENDER failed"}},
        OptionCase{"null_unknown", {"--null", "in_data.nothing"}, 2, {"expected one of in_data.utils"}},
        OptionCase{"old_world_suite", {"--old-suite", "PF World Suite:1"}, 1, {"SMART_RENDER failed"}},
        OptionCase{"old_suite_never_asked", {"--old-suite", "AEGP Utility Suite:11"}, 0, {"never fired"}},
        OptionCase{"old_suite_malformed", {"--old-suite", "PF World Suite"}, 2, {"expected NAME:VERSION"}},
        OptionCase{"rows_off_pixel", {"--row-bytes", "off-pixel"}, 0, {}},
        OptionCase{"rows_wide", {"--row-bytes", "wide"}, 0, {}},
        OptionCase{"rows_unknown", {"--row-bytes", "odd"}, 2, {"expected padded, off-pixel or wide"}},
        OptionCase{"layer_world_fails", {"--fail", "host_world:1"}, 1, {"out of memory"}},
        OptionCase{"junk_checkout_never_fired", {"--fail", "junk_checkout:100000"}, 0, {"never fired"}}),
    caseName);

TEST(CliSceneLimits, OutOfRangeValuesAndOversizedFrames)
{
    const SceneFolder outOfRange(withEdit(basicSceneText(), "\"Specular\": 30", "\"Specular\": 250"));
    expectOptionRun(outOfRange, {"out_of_range", {}, 2, {"/effect/params/Specular: ", "is outside its range"}});
    expectOptionRun(outOfRange, {"unclamped", {"--unclamped-params"}, 0, {}});

    const SceneFolder huge(
        withEdit(basicSceneText(), "\"width\": 640, \"height\": 360", "\"width\": 30000, \"height\": 30000"));
    expectOptionRun(huge, {"oversized", {"--frame", "0", "--max-memory", "2G"}, 1,
                           {"a frame needs about ", "more than --max-memory 2.0 GiB", "30000x30000"}});
}

}  // namespace
}  // namespace orbhost::testing
