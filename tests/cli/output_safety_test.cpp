// Outputs are never half-written and inputs never overwritten: a failed or interrupted write
// leaves nothing under the output's name, outputs that name an input are refused, and output
// folders are created or refused before anything renders.
#include "cli/cli_scene.h"

#include "host/scene/image.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <thread>

namespace orbhost::testing {
namespace {

namespace fs = std::filesystem;

std::set<std::string> namesIn(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

// An image file the host reads to the last pixel.
bool completeImage(const std::string& path)
{
    try {
        return readImage(path).width == 640;
    } catch (const ImageError&) {
        return false;
    }
}

// The program started in the background, its output going to files in the folder.
class Background {
public:
    Background(const std::vector<std::string>& args, const std::string& folder, rlim_t fileSizeLimit = RLIM_INFINITY)
        : outPath_(folder + "/stdout.txt"), errPath_(folder + "/stderr.txt")
    {
        const ProgramArgv argv(args);
        pid_ = ::fork();
        if (pid_ == 0) {
            const int out = ::open(outPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            const int err = ::open(errPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            ::dup2(out, STDOUT_FILENO);
            ::dup2(err, STDERR_FILENO);
            if (fileSizeLimit != RLIM_INFINITY) {
                // A file that may grow no further stands in for a full disk: writes fail with
                // EFBIG instead of killing the program.
                ::signal(SIGXFSZ, SIG_IGN);
                const rlimit limit{fileSizeLimit, fileSizeLimit};
                ::setrlimit(RLIMIT_FSIZE, &limit);
            }
            ::execv(argv.path(), argv.data());
            ::_exit(127);
        }
    }
    void signal(int number) const { ::kill(pid_, number); }
    ProgramResult wait()
    {
        int status = 0;
        ::waitpid(pid_, &status, 0);
        ProgramResult result;
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        result.out = fileBytes(outPath_);
        result.err = fileBytes(errPath_);
        fs::remove(outPath_);
        fs::remove(errPath_);
        return result;
    }

private:
    std::string outPath_, errPath_;
    pid_t pid_ = -1;
};

// --- Writing -----------------------------------------------------------------------------

TEST(OutputWrite, FullDiskLeavesNoFileAndFailsNamingTheFile)
{
    const SceneFolder folder;
    fs::create_directories(folder.file("out"));
    for (const std::string depth : {"8", "16"}) {
        SCOPED_TRACE("bit depth " + depth);
        const std::string output = folder.file("out/render.png");
        Background program({folder.scene(), "-o", output, "--bit-depth", depth}, folder.path(), 4096);
        const ProgramResult run = program.wait();
        SCOPED_TRACE(run.transcript());
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_NE(run.err.find("orbulon-render: " + output + ": "), std::string::npos);
        EXPECT_NE(run.err.find("File too large"), std::string::npos);
        EXPECT_TRUE(namesIn(folder.file("out")).empty());
    }
}

TEST(OutputWrite, FrameThatCannotBePutInPlaceFailsAndKeepsEarlierFrames)
{
    const SceneFolder folder;
    // Frame 1's name is taken by a folder, so its finished file cannot be renamed into place.
    fs::create_directories(folder.file("out/f_0001.pam"));
    const ProgramResult run =
        folder.render({"--frames", "0:2", "-o", folder.file("out/f_####.pam")});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find(folder.file("out/f_0001.pam") + ": "), std::string::npos);
    EXPECT_EQ(namesIn(folder.file("out")), (std::set<std::string>{"f_0000.pam", "f_0001.pam"}));
    EXPECT_TRUE(fs::is_directory(folder.file("out/f_0001.pam")));
    EXPECT_TRUE(completeImage(folder.file("out/f_0000.pam")));
}

TEST(OutputWrite, ReplacesAnEarlierOutputAndLeavesNoTemporaryFile)
{
    const SceneFolder folder;
    folder.write("render.png", "an older render");
    const ProgramResult run = folder.render({"-o", folder.file("render.png")});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(completeImage(folder.file("render.png")));
    EXPECT_EQ(namesIn(folder.path()), (std::set<std::string>{"scene.json", "render.png"}));
}

// --- Stopping ----------------------------------------------------------------------------

struct Stop {
    int signal;
    int exitCode;
    const char* name;
};

void PrintTo(const Stop& s, std::ostream* os) { *os << s.name; }

class StopTest : public ::testing::TestWithParam<Stop> {};

TEST_P(StopTest, SequenceStoppedBySignalLeavesOnlyCompleteFrames)
{
    const Stop& stop = GetParam();
    // Far more frames than can render before the signal arrives.
    const SceneFolder folder(withEdit(basicSceneText(), "\"duration\": 2", "\"duration\": 400"));
    fs::create_directories(folder.file("out"));
    Background program({folder.scene(), "--frames", "0:9999", "-o", folder.file("out/f_####.png"),
                        "--bit-depth", "16"},
                       folder.path());
    // Wait for the first finished frame, then stop the program in the middle of the sequence.
    for (int i = 0; i < 6000 && !fs::exists(folder.file("out/f_0000.png")); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_TRUE(fs::exists(folder.file("out/f_0000.png")));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    program.signal(stop.signal);
    const ProgramResult run = program.wait();
    SCOPED_TRACE(run.transcript());

    EXPECT_EQ(run.exitCode, stop.exitCode);
    EXPECT_NE(run.err.find(stop.name), std::string::npos);
    const std::set<std::string> names = namesIn(folder.file("out"));
    EXPECT_LT(names.size(), 10000u);
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        EXPECT_NE(name[0], '.') << "a temporary file was left behind";
        EXPECT_TRUE(completeImage(folder.file("out/" + name)));
    }
}

INSTANTIATE_TEST_SUITE_P(Cli, StopTest,
                         ::testing::Values(Stop{SIGTERM, 143, "SIGTERM"}, Stop{SIGINT, 130, "SIGINT"},
                                           Stop{SIGHUP, 129, "SIGHUP"}),
                         [](const auto& info) { return std::string(info.param.name); });

// --- Inputs are never outputs --------------------------------------------------------------

class InputGuard : public ::testing::Test {
protected:
    InputGuard() : folder_(withEdit(basicSceneText(), ORBULON_SOURCE_DIR "/scenes/textures/grid.pam", "grid.pam"))
    {
        fs::copy_file(ORBULON_SOURCE_DIR "/scenes/textures/grid.pam", folder_.file("grid.pam"));
        fs::create_directories(folder_.file("sub"));
    }

    // Runs with these arguments after the scene and checks the refusal and the inputs' bytes.
    void expectRefused(const std::string& scene, const std::vector<std::string>& args, const std::string& named)
    {
        const std::string sceneBefore = fileBytes(scene), textureBefore = fileBytes(folder_.file("grid.pam"));
        std::vector<std::string> all{scene};
        all.insert(all.end(), args.begin(), args.end());
        const ProgramResult run = runProgram(all);
        SCOPED_TRACE(run.transcript());
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_NE(run.err.find("orbulon-render: " + named + ": is one of the render's inputs"), std::string::npos);
        EXPECT_EQ(fileBytes(scene), sceneBefore);
        EXPECT_EQ(fileBytes(folder_.file("grid.pam")), textureBefore);
    }

    SceneFolder folder_;
};

TEST_F(InputGuard, OutputNamingTheTextureIsRefused)
{
    expectRefused(folder_.scene(), {"-o", folder_.file("grid.pam")}, folder_.file("grid.pam"));
    // The same file spelt another way.
    expectRefused(folder_.scene(), {"-o", folder_.file("sub/../grid.pam")}, folder_.file("sub/../grid.pam"));
}

TEST_F(InputGuard, OutputNamingTheSceneFileIsRefused)
{
    // A scene file whose name is also a writable image name.
    fs::copy_file(folder_.scene(), folder_.file("scene.pam"));
    expectRefused(folder_.file("scene.pam"), {"-o", folder_.file("scene.pam")}, folder_.file("scene.pam"));
}

TEST_F(InputGuard, NumberedFrameNamingAnInputIsRefused)
{
    fs::copy_file(folder_.file("grid.pam"), folder_.file("tex_0003.pam"));
    folder_.write("scene.json", withEdit(fileBytes(folder_.scene()), "\"grid.pam\"", "\"tex_0003.pam\""));
    const std::string texture = fileBytes(folder_.file("tex_0003.pam"));
    const ProgramResult run = folder_.render({"--frames", "0:5", "-o", folder_.file("tex_####.pam")});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.err.find(folder_.file("tex_0003.pam") + ": is one of the render's inputs"), std::string::npos);
    EXPECT_EQ(fileBytes(folder_.file("tex_0003.pam")), texture);
    EXPECT_FALSE(fs::exists(folder_.file("tex_0000.pam"))) << "frames rendered before the refusal";
}

// --- Output folders ------------------------------------------------------------------------

TEST(OutputFolder, MissingFolderIsCreated)
{
    const SceneFolder folder;
    const std::string output = folder.file("new/deeper/render.png");
    const ProgramResult run = folder.render({"-o", output});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(completeImage(output));
    EXPECT_EQ(namesIn(folder.file("new/deeper")), std::set<std::string>{"render.png"});
}

TEST(OutputFolder, FolderThatCannotBeCreatedIsRefusedBeforeRendering)
{
    const SceneFolder folder;
    folder.write("plain-file", "not a folder");
    const ProgramResult run = folder.render(
        {"--frames", "0:3", "--verbose", "-o", folder.file("plain-file/out/f_####.png")});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.err.find("orbulon-render: " + folder.file("plain-file/out") + ": cannot create the output folder"),
              std::string::npos);
    EXPECT_EQ((run.out + run.err).find("SMART_RENDER"), std::string::npos) << "a frame was rendered";
    EXPECT_EQ(fileBytes(folder.file("plain-file")), "not a folder");
}

TEST(OutputFolder, ReadOnlyFolderIsRefusedBeforeRendering)
{
    if (::geteuid() == 0)
        GTEST_SKIP() << "the superuser may write in any folder";
    const SceneFolder folder;
    fs::create_directories(folder.file("locked"));
    fs::permissions(folder.file("locked"), fs::perms::owner_read | fs::perms::owner_exec);
    const ProgramResult run =
        folder.render({"--verbose", "-o", folder.file("locked/render.png")});
    fs::permissions(folder.file("locked"), fs::perms::owner_all);
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.err.find(folder.file("locked") + ": cannot write in the output folder: Permission denied"),
              std::string::npos);
    EXPECT_EQ((run.out + run.err).find("SMART_RENDER"), std::string::npos) << "a frame was rendered";
    EXPECT_TRUE(namesIn(folder.file("locked")).empty());
}

TEST(OutputFolder, OutputNamingAFolderIsRefused)
{
    const SceneFolder folder;
    fs::create_directories(folder.file("render.png"));
    const ProgramResult run = folder.render({"-o", folder.file("render.png")});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.err.find(folder.file("render.png") + ": is a folder"), std::string::npos);
    EXPECT_TRUE(fs::is_directory(folder.file("render.png")));
}

// --- The scene file ------------------------------------------------------------------------

class ScenePathTest : public ::testing::TestWithParam<const char*> {};

TEST_P(ScenePathTest, SomethingOtherThanAFileIsRefusedNamingIt)
{
    TempFolder folder(currentTestTag());
    const std::string scene = GetParam();
    const ProgramResult run = runProgram({scene, "-o", folder.file("render.png")});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.err.find("orbulon-render: " + scene + ": is "), std::string::npos);
    EXPECT_FALSE(fs::exists(folder.file("render.png")));
}

INSTANTIATE_TEST_SUITE_P(Cli, ScenePathTest, ::testing::Values("/dev/zero", "/tmp"),
                         [](const auto& info) { return info.index == 0 ? std::string("Device") : std::string("Folder"); });

TEST(ScenePath, FileLargerThanAnySceneIsRefused)
{
    TempFolder folder(currentTestTag());
    folder.write("huge.json", "{}");
    fs::resize_file(folder.file("huge.json"), 64u * 1024 * 1024 + 1);  // sparse: no disk space used
    const ProgramResult run = runProgram({folder.file("huge.json"), "-o", folder.file("render.png")});
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_NE(run.err.find(folder.file("huge.json") + ": is 67108865 bytes, more than any scene"), std::string::npos);
}

}  // namespace
}  // namespace orbhost::testing
