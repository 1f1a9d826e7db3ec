// Scene files for the end-to-end tests: the shipped example, made to work from any folder.
#pragma once

#include "cli/run_program.h"
#include "scene/temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

namespace orbhost::testing {

// scenes/basic.json with its texture named by absolute path, as a still (render.frames [0, 0])
// so that a plain -o FILE.png renders it; sequences ask for their frames with --frames.
inline std::string basicSceneText()
{
    std::ostringstream text;
    text << std::ifstream(ORBULON_SOURCE_DIR "/scenes/basic.json").rdbuf();
    std::string scene = text.str();
    const std::string texture = "\"textures/grid.pam\"";
    scene.replace(scene.find(texture), texture.size(), "\"" ORBULON_SOURCE_DIR "/scenes/textures/grid.pam\"");
    const std::string frames = "\"frames\": [0, 49]";
    if (const auto at = scene.find(frames); at != std::string::npos)
        scene.replace(at, frames.size(), "\"frames\": [0, 0]");
    return scene;
}

// The scene text with the first `from` replaced by `to`; fails the test when `from` is absent.
inline std::string withEdit(std::string scene, const std::string& from, const std::string& to)
{
    const auto at = scene.find(from);
    EXPECT_NE(at, std::string::npos) << "the example scene no longer contains " << from;
    if (at != std::string::npos)
        scene.replace(at, from.size(), to);
    return scene;
}

// A temporary folder named after the running test, so that tests may run side by side.
inline std::string currentTestTag()
{
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string tag = std::string(info->test_suite_name()) + "-" + info->name();
    for (char& c : tag)
        if (c == '/')
            c = '-';
    return tag;
}

// The whole file, byte for byte ("" when it cannot be read).
inline std::string fileBytes(const std::string& path)
{
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

// PNG file names under the folder, sorted, walking into sub-folders.
inline std::vector<std::string> imagesIn(const std::string& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().extension() == ".png")
            names.push_back(std::filesystem::relative(entry.path(), folder).generic_string());
    std::sort(names.begin(), names.end());
    return names;
}

// A folder for the running test holding scene.json, the example scene unless told otherwise.
class SceneFolder : public TempFolder {
public:
    explicit SceneFolder(const std::string& scene = basicSceneText()) : TempFolder(currentTestTag())
    {
        write("scene.json", scene);
    }
    std::string scene() const { return file("scene.json"); }
    // Runs the program on scene.json with these arguments after it.
    ProgramResult render(std::initializer_list<std::string> args) const
    {
        std::vector<std::string> all{scene()};
        all.insert(all.end(), args);
        return runProgram(all);
    }
};

// A run of the example scene as "SCENE -o FOLDER/output ARGS...", what it must end with and what
// its messages, each starting with the program's name, must and must not hold.
struct OptionCase {
    const char* name;
    std::vector<std::string> args;
    int exitCode;
    std::vector<std::string> inStderr;  // every one must appear
    const char* notInStderr = "";       // must not appear ("" for no such check)
    const char* output = "out.png";
};

inline void PrintTo(const OptionCase& c, std::ostream* os) { *os << c.name; }

// Runs the case in the folder and checks it: a success writes the output, a failure writes
// nothing at all beside the scene.
inline ProgramResult expectOptionRun(const SceneFolder& folder, const OptionCase& c)
{
    std::vector<std::string> args{folder.scene(), "-o", folder.file(c.output)};
    args.insert(args.end(), c.args.begin(), c.args.end());
    const ProgramResult run = runProgram(args);
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, c.exitCode);
    for (const std::string& words : c.inStderr)
        EXPECT_NE(run.err.find(words), std::string::npos) << words;
    std::istringstream lines(run.err);
    for (std::string line; std::getline(lines, line);)
        EXPECT_TRUE(line.starts_with("orbulon-render: ")) << "every message names the program: " << line;
    if (*c.notInStderr) {
        EXPECT_EQ(run.err.find(c.notInStderr), std::string::npos) << c.notInStderr;
    }
    if (c.exitCode == 0) {
        EXPECT_TRUE(std::filesystem::exists(folder.file(c.output)));
    } else {
        using std::filesystem::directory_iterator;
        EXPECT_EQ(std::distance(directory_iterator(folder.path()), directory_iterator{}), 1)
            << "something besides the scene file was written";
    }
    return run;
}

// Test names for the cases of a parameterised suite.
inline std::string caseName(const ::testing::TestParamInfo<OptionCase>& info) { return info.param.name; }

}  // namespace orbhost::testing
