// Broken scenes and options a user gets wrong or uses to break the render: exit code 2 (or 1 for a
// render that fails), nothing written, and a message that points at the file and the place in it.
#include "cli/cli_scene.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <tuple>

namespace orbhost::testing {
namespace {

struct BrokenScene {
    const char* name;
    const char* from;  // text of the example scene ...
    const char* to;    // ... and what it is replaced with
    const char* place;    // JSON pointer expected in the message ("" for malformed JSON)
    const char* problem;  // words expected in the message
    const char* notInMessage = "";  // words that must not appear ("" for no such check)
};

void PrintTo(const BrokenScene& c, std::ostream* os) { *os << c.name; }

class BrokenSceneTest : public ::testing::TestWithParam<BrokenScene> {};

TEST_P(BrokenSceneTest, ExitsTwoWritesNothingAndNamesThePlace)
{
    const BrokenScene& c = GetParam();
    const std::string scene = withEdit(basicSceneText(), c.from, c.to);
    const SceneFolder folder(scene);
    const ProgramResult run = folder.render({"-o", folder.file("out.png")});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
    // One line: "orbulon-render: FILE: PLACE: problem".
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
                    "/effect/params/Texture", "Nowhere"},
        // A near miss is offered the closest registered name; a far one is offered nothing.
        BrokenScene{"unknown_parameter_suggestion", "\"Radius\":", "\"Raduis\":", "/effect/params/Raduis",
                    "unknown parameter \"Raduis\" (did you mean \"Radius\"?)"},
        BrokenScene{"unknown_parameter_no_suggestion", "\"Radius\":", "\"Qwxzvbnmkj\":",
                    "/effect/params/Qwxzvbnmkj", "Qwxzvbnmkj", "did you mean"},
        BrokenScene{"duplicate_key", "\"Radius\": 150,", "\"Radius\": 150, \"Radius\": 20,", "/effect/params/Radius",
                    "appears twice"},
        // The pointer, not the JSON library's own text.
        BrokenScene{"number_overflow", "\"Radius\": 150", "\"Radius\": 1e999", "/effect/params/Radius", "",
                    "[json.exception"},
        // One short line, not the rest of the file.
        BrokenScene{"open_comment", "\"Radius\": 150,", "\"Radius\": 150, /* unfinished", "",
                    "comment is never closed", "Use Composition Camera"}),
    [](const auto& info) { return std::string(info.param.name); });

// An image the scene names that cannot be decoded is a bad scene, found before the first frame:
// one message naming the scene, the layer and the file, in the program's words (never the
// decoding library's own output), with -q as without, and no frame written.
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
    for (const std::vector<std::string>& quiet : {std::vector<std::string>{}, {"-q"}}) {
        std::vector<std::string> args{folder.scene(), "--frames", "0:2", "-o", folder.file("f_####.png")};
        args.insert(args.end(), quiet.begin(), quiet.end());
        const ProgramResult run = runProgram(args);
        SCOPED_TRACE(run.transcript());
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_EQ(run.err.rfind(message, 0), 0u);
        EXPECT_NE(run.err.find(fileAndLayer), std::string::npos);
        EXPECT_NE(run.err.find(c.problem), std::string::npos);
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
        using std::filesystem::directory_iterator;
        EXPECT_EQ(std::distance(directory_iterator(folder.path()), directory_iterator{}), 2) << "a frame was written";
    }
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

// Reflection Map, Control Layer and Texture need a layer with pixels, not a camera or a light.
TEST(LayerParameterKinds, ReflectionMapOrControlLayerNamingACameraOrLightIsRefused)
{
    const std::string scene = withEdit(basicSceneText(), "\"layers\": [",
                                       "\"layers\": [ { \"name\": \"Cam\", \"type\": \"camera\" }, "
                                       "{ \"name\": \"Lamp\", \"type\": \"light\" },");
    for (const auto& [param, layer, kind] : {std::tuple{"Reflection Map", "Lamp", "a light"},
                                              std::tuple{"Control Layer", "Cam", "a camera"},
                                              std::tuple{"Texture", "Cam", "a camera"}}) {
        SCOPED_TRACE(param);
        const std::string assignment = "\"" + std::string(param) + "\": \"" + layer + "\"";
        const SceneFolder folder(std::string(param) == "Texture"
                                     ? withEdit(scene, "\"Texture\": \"UV Grid\"", assignment)
                                     : withEdit(scene, "\"Radius\": 150", "\"Radius\": 150, " + assignment));
        const ProgramResult run = folder.render({"-o", folder.file("out.png")});
        SCOPED_TRACE(run.transcript());
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
        EXPECT_EQ(run.err.rfind("orbulon-render: " + folder.scene() + ": /effect/params/" + param + ": ", 0), 0u);
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
        EXPECT_NE(run.err.find("\"" + std::string(param) + "\" needs a layer with pixels; \"" + layer + "\" is " + kind),
                  std::string::npos);
    }
}

class OptionTest : public ::testing::TestWithParam<OptionCase> {};

TEST_P(OptionTest, ExitsAndSaysAsExpected)
{
    expectOptionRun(SceneFolder(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(
    Cli, OptionTest,
    ::testing::Values(
        // Usage errors: exit 2 before anything renders.
        OptionCase{"bit_depth_12", {"--bit-depth", "12"}, 2, {"--bit-depth"}},
        OptionCase{"frames_backwards", {"--frames", "5:2"}, 2, {"--frames 5:2"}, "", "out_####.png"},
        OptionCase{"frames_without_pattern", {"--frames", "0:2"}, 2, {"numbered output name"}},
        OptionCase{"unknown_fault_kind", {"--fail", "nonsense:1"}, 2, {"nonsense:1"}},
        OptionCase{"downsample_too_large", {"--downsample", "17"}, 2, {"--downsample 17"}},
        OptionCase{"downsample_with_junk", {"--downsample", "2x"}, 2, {"--downsample 2x"}},
        OptionCase{"unwritable_format", {}, 2, {"cannot write '.bmp' files"}, "", "out.bmp"},
        OptionCase{"negative_thread_count", {"--threads=-2"}, 2, {"--threads"}},
        OptionCase{"max_memory_unreadable", {"--max-memory", "lots"}, 2, {"--max-memory lots"}},
        // Every output is checked before the first frame, the statistics file too.
        OptionCase{"stats_json_in_a_file", {"--stats-json", "/dev/null/stats.json"}, 2,
                   {"/dev/null: cannot create the output folder"}},
        // A fault plan that cannot act says so, listing the names the host serves.
        OptionCase{"fail_suite_unknown",
                   {"--fail-suite", "AEGP Utilty Suite"},
                   2,
                   {"orbulon-render: --fail-suite \"AEGP Utilty Suite\": the host serves no suite", "AEGP Utility Suite"}},
        // Render failures: exit 1, nothing written; effect errors print with their names.
        OptionCase{"utility_suite_refused", {"--fail-suite", "AEGP Utility Suite"}, 1,
                   {"bad callback parameter (516)"}, "error 516"},
        OptionCase{"third_add_param_fails", {"--fail", "add_param:3"}, 1, {"PARAMS_SETUP"}},
        OptionCase{"module_missing", {"--module", "/nonexistent.so"}, 1, {"/nonexistent.so"}},
        // Options that render.
        OptionCase{"threads_zero_is_one_per_core", {"--threads", "0", "--downsample", "4"}, 0, {}},
        OptionCase{"max_memory_above_the_frame", {"--frame", "0", "--max-memory", "1G"}, 0, {}}),
    caseName);

TEST(CliUsage, NoSceneAndNoOutputExitsTwo)
{
    const ProgramResult run = runProgram({});
    EXPECT_EQ(run.exitCode, 2) << run.transcript();
    EXPECT_FALSE(run.err.empty()) << run.transcript();
}

}  // namespace
}  // namespace orbhost::testing
