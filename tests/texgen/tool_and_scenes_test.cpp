// The texgen program as a user runs it, the committed textures it made, and the example
// scenes that use them.
#include "host/scene/scene.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

const fs::path kScenes = ORBULON_SOURCE_DIR "/scenes";

// Exit status of a shell command, its output discarded.
int run(const std::string& command)
{
    const int status = std::system((command + " >/dev/null 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int texgen(const std::string& args)
{
    return run("'" ORBULON_BUILD_DIR "/tools/texgen/texgen' " + args);
}

std::string bytesOf(const fs::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

fs::path scratch(const std::string& name)
{
    const fs::path dir = fs::temp_directory_path() / ("texgen-test-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    return dir / name;
}

// The .pam copies in scenes/textures are what the current generators make, byte for byte
// (planet_512.pam for the example scenes, the smaller planet.pam for the Wine scenes and their
// reference renders): a generator that drew anything else, or anything different from one run
// to the next, fails here.
TEST(Texgen, CommittedTexturesAreUpToDate)
{
    struct Committed {
        const char* file;
        const char* kind;
        int width;
    };
    for (const Committed& c : {Committed{"planet.pam", "planet", 256}, Committed{"planet_512.pam", "planet", 512},
                               Committed{"grid.pam", "grid", 512}, Committed{"stars.pam", "stars", 256}}) {
        const fs::path fresh = scratch(std::string("fresh_") + c.file);
        ASSERT_EQ(texgen(std::string(c.kind) + " " + fresh.string() + " --width " + std::to_string(c.width)), 0);
        EXPECT_TRUE(bytesOf(fresh) == bytesOf(kScenes / "textures" / c.file))
            << "scenes/textures/" << c.file << " differs from texgen " << c.kind << " --width " << c.width
            << ": regenerate it";
    }
}

TEST(Texgen, RefusesBadArguments)
{
    const std::string out = scratch("bad.png").string();
    for (const std::string& args : {std::string(), "moon " + out, "grid " + out + " --width 100", "grid " + out + " --width 0",
                                   "grid " + out + " --width 64x", "grid " + out + " --height 64",
                                   "grid " + out + " --width 32768"})
        EXPECT_EQ(texgen(args), 2) << "texgen " << args;
    EXPECT_EQ(texgen("grid /nonexistent-folder/x.png --width 64"), 1);
}

// The example scenes and those the pictures of docs/controls.md are made from load, and render
// where the effect is built: rendering binds the parameter names and values to the effect's
// own, which loading alone cannot check.
TEST(Scenes, EveryExampleLoadsAndRenders)
{
    std::vector<fs::path> files;
    for (const fs::path& folder : {kScenes, kScenes / "controls"})
        for (const auto& entry : fs::directory_iterator(folder))
            if (entry.path().extension() == ".json")
                files.push_back(entry.path());
    EXPECT_GE(files.size(), 9u);
    for (const fs::path& file : files) {
        try {
            EXPECT_GT(orbhost::frameCount(orbhost::loadScene(file.string())), 1) << file;
        } catch (const std::exception& e) {
            ADD_FAILURE() << e.what();
        }
#if ORBULON_TEST_RENDERS_SCENES
        const std::string args = "'" + file.string() + "' --frame 1 --downsample 4 -o '" +
                                 scratch(file.stem().string() + ".pam").string() + "'";
        EXPECT_EQ(run("'" ORBULON_BUILD_DIR "/orbulon-render' " + args), 0) << "orbulon-render " << args;
#endif
    }
}

}  // namespace
