// Frames and output names: where the number goes, which ranges need it, command line and scene.
#include "cli/cli_scene.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace orbhost::testing {
namespace {

std::string sceneWithFrames(const std::string& frames)
{
    return withEdit(basicSceneText(), "\"frames\": [0, 0]", "\"frames\": " + frames);
}

class FrameRules : public ::testing::Test {
protected:
    ProgramResult render(std::vector<std::string> args)
    {
        args.insert(args.begin(), {folder_.scene(), "--downsample", "8"});
        return runProgram(args);
    }
    SceneFolder folder_;
};

struct FrameCase {
    const char* name;
    const char* sceneFrames;        // render.frames in the scene ("" for the example's [0, 0])
    std::vector<std::string> args;  // between "SCENE --downsample 8" and "-o FOLDER/output"
    const char* output;
    std::vector<std::string> images;    // what a render writes (none for a refusal, exit 2)
    std::vector<std::string> inStderr;  // words standard error must hold
};

void PrintTo(const FrameCase& c, std::ostream* os) { *os << c.name; }

class FrameRuleTest : public FrameRules, public ::testing::WithParamInterface<FrameCase> {};

TEST_P(FrameRuleTest, RendersTheNamedFramesOrRefusesWithExitTwo)
{
    const FrameCase& c = GetParam();
    if (*c.sceneFrames)
        folder_.write("scene.json", sceneWithFrames(c.sceneFrames));
    std::vector<std::string> args = c.args;
    args.insert(args.end(), {"-o", folder_.file(c.output)});
    const ProgramResult run = render(args);
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, c.images.empty() ? 2 : 0);
    EXPECT_EQ(imagesIn(folder_.path()), c.images);
    EXPECT_EQ(run.err.rfind("orbulon-render: ", 0), 0u);
    for (const std::string& words : c.inStderr)
        EXPECT_NE(run.err.find(words), std::string::npos) << words;
}

INSTANTIATE_TEST_SUITE_P(
    Cli, FrameRuleTest,
    ::testing::Values(
        // Negative frames, on the command line or in the scene.
        FrameCase{"negative_frame", "", {"--frame", "-1"}, "out.png", {}, {"frames count from 0"}},
        FrameCase{"negative_start_of_frames", "", {"--frames=-2:3"}, "f_####.png", {}, {"frames count from 0"}},
        FrameCase{"negative_frame_in_scene", "[-1, 2]", {}, "f_####.png", {}, {"/render/frames"}},
        // Range syntax.
        FrameCase{"frames_takes_a_dash", "", {"--frames", "1-2"}, "f_####.png", {"f_0001.png", "f_0002.png"}, {}},
        FrameCase{"frame_with_frames", "", {"--frame", "1", "--frames", "0:2"}, "f_####.png", {},
                  {"--frame", "excludes"}},
        FrameCase{"backwards_range", "", {"--frames", "3-1"}, "f_####.png", {}, {"--frames 3-1"}},
        FrameCase{"range_of_letters", "", {"--frames", "a:b"}, "f_####.png", {}, {"--frames a:b"}},
        FrameCase{"range_without_start", "", {"--frames", ":4"}, "f_####.png", {}, {"--frames :4"}},
        FrameCase{"range_of_three", "", {"--frames", "1:2:3"}, "f_####.png", {}, {"--frames 1:2:3"}},
        // Numbered names: only the last hash run of the file name is the number.
        FrameCase{"printf_number", "", {"--frames", "8:9"}, "f_%03d.png", {"f_008.png", "f_009.png"}, {}},
        FrameCase{"unpadded_printf_number", "", {"--frames", "9:10"}, "f_%d.png", {"f_10.png", "f_9.png"}, {}},
        FrameCase{"last_hash_run_of_the_file_name", "", {"--frames", "0:1"}, "take#2/v##_f_####.png",
                  {"take#2/v##_f_0000.png", "take#2/v##_f_0001.png"}, {}},
        FrameCase{"hash_in_a_folder_name", "", {"--frames", "0:1"}, "take#2/f.png", {}, {"numbered output name"}},
        FrameCase{"single_frame_numbered", "", {"--frame", "7"}, "f_####.png", {"f_0007.png"}, {}},
        FrameCase{"after_effects_brackets", "", {"--frames", "8-9"}, "[v2]_f_[###].png",
                  {"[v2]_f_008.png", "[v2]_f_009.png"}, {}},
        // The scene has 50 frames: a chunk that runs past the end renders what is left, with a
        // note; "A-" runs to the end; a range or frame past the end renders nothing.
        FrameCase{"range_one_past_the_end_is_cut", "", {"--frames", "48-50"}, "f_####.png", {"f_0048.png", "f_0049.png"},
                  {"note: --frames 48-50 runs past the end", "(frames 0 to 49); rendering frames 48 to 49"}},
        FrameCase{"range_to_the_end", "", {"--frames", "48-"}, "f_####.png", {"f_0048.png", "f_0049.png"}, {}},
        FrameCase{"range_cut_to_one_frame", "", {"--frames", "49:52"}, "still.png", {"still.png"}, {}},
        FrameCase{"range_past_the_end", "", {"--frames", "50-74"}, "f_####.png", {},
                  {"--frames 50-74: frame 50 is past the end", "(frames 0 to 49)"}},
        FrameCase{"frame_past_the_end", "", {"--frame", "50"}, "out.png", {}, {"frame 50 is past the end"}},
        // Ranges need a numbered output: the same rule for the command line and the scene.
        FrameCase{"command_line_range_needs_a_number", "", {"--frames", "0:2"}, "out.png", {},
                  {"3 frames (0 to 2)", "f_####.png"}},
        FrameCase{"scene_range_needs_a_number", "[0, 2]", {}, "out.png", {},
                  {"render.frames", "3 frames (0 to 2)", "--frame N"}},
        FrameCase{"scene_range_numbered", "[1, 3]", {}, "f_##.png", {"f_01.png", "f_02.png", "f_03.png"}, {}},
        FrameCase{"frame_of_a_scene_range", "[0, 9]", {"--frame", "4"}, "still.png", {"still.png"}, {}}),
    [](const auto& info) { return std::string(info.param.name); });

// As a farm renders it: a retried chunk skips what is done; the result is the one-run sequence.
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
        EXPECT_EQ(fileBytes(folder_.file("chunks/" + name)), fileBytes(folder_.file("one/" + name))) << name;
}

}  // namespace
}  // namespace orbhost::testing
