// The end-to-end tests' support: orbulon-render run as a child process, and the shipped example
// scene made to work from any folder.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

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

struct ProgramResult {
    int exitCode = -1;  // 128 + signal number when the program was killed
    std::string out, err;
    // Standard error without its progress lines.
    std::string messages() const
    {
        std::istringstream lines(err);
        std::string kept;
        for (std::string line; std::getline(lines, line);)
            if (!line.starts_with("orbulon-render: progress "))
                kept += line + '\n';
        return kept;
    }
    std::string transcript() const
    {
        return "exit " + std::to_string(exitCode) + "\n--- stdout:\n" + out + "--- stderr:\n" + err;
    }
};

inline std::string fileBytes(const std::string& path)
{
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

inline std::string renderProgram() { return ORBULON_BUILD_DIR "/orbulon-render"; }

// Output goes to files rather than pipes, so that a chatty child never blocks on a full pipe.
class Background {
public:
    // With a file size limit, a file that may grow no further stands in for a full disk: writes
    // fail with EFBIG instead of killing the program.
    explicit Background(const std::vector<std::string>& args, rlim_t fileSizeLimit = RLIM_INFINITY)
    {
        const auto tmp = std::filesystem::temp_directory_path();
        outPath_ = (tmp / "orbulon-cli-out-XXXXXX").string();
        errPath_ = (tmp / "orbulon-cli-err-XXXXXX").string();
        const int out = ::mkstemp(outPath_.data()), err = ::mkstemp(errPath_.data());
        std::vector<std::string> text{renderProgram()};
        text.insert(text.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (std::string& a : text)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(out, STDOUT_FILENO);
            ::dup2(err, STDERR_FILENO);
            if (fileSizeLimit != RLIM_INFINITY) {
                ::signal(SIGXFSZ, SIG_IGN);
                const rlimit limit{fileSizeLimit, fileSizeLimit};
                ::setrlimit(RLIMIT_FSIZE, &limit);
            }
            ::execv(argv[0], argv.data());
            ::_exit(127);
        }
        ::close(out);
        ::close(err);
    }
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;

    void signal(int number) const { ::kill(pid_, number); }
    ProgramResult wait()
    {
        int status = 0;
        ::waitpid(pid_, &status, 0);
        ProgramResult result;
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        result.out = fileBytes(outPath_);
        result.err = fileBytes(errPath_);
        std::filesystem::remove(outPath_);
        std::filesystem::remove(errPath_);
        return result;
    }

private:
    std::string outPath_, errPath_;
    pid_t pid_ = -1;
};

inline ProgramResult runProgram(const std::vector<std::string>& args) { return Background(args).wait(); }

// scenes/basic.json with its texture named by absolute path, as a still (render.frames [0, 0]).
inline std::string basicSceneText()
{
    std::string scene = fileBytes(ORBULON_SOURCE_DIR "/scenes/basic.json");
    const std::string texture = "\"textures/grid.pam\"";
    scene.replace(scene.find(texture), texture.size(), "\"" ORBULON_SOURCE_DIR "/scenes/textures/grid.pam\"");
    const std::string frames = "\"frames\": [0, 49]";
    if (const auto at = scene.find(frames); at != std::string::npos)
        scene.replace(at, frames.size(), "\"frames\": [0, 0]");
    return scene;
}

inline std::string withEdit(std::string scene, const std::string& from, const std::string& to)
{
    const auto at = scene.find(from);
    EXPECT_NE(at, std::string::npos) << "the example scene no longer contains " << from;
    if (at != std::string::npos)
        scene.replace(at, from.size(), to);
    return scene;
}

// Named after the running test, so that tests may run side by side.
inline std::string currentTestTag()
{
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string tag = std::string(info->test_suite_name()) + "-" + info->name();
    for (char& c : tag)
        if (c == '/')
            c = '-';
    return tag;
}

inline std::vector<std::string> imagesIn(const std::string& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && entry.path().extension() == ".png")
            names.push_back(std::filesystem::relative(entry.path(), folder).generic_string());
    std::sort(names.begin(), names.end());
    return names;
}

class SceneFolder : public TempFolder {
public:
    explicit SceneFolder(const std::string& scene = basicSceneText()) : TempFolder(currentTestTag())
    {
        write("scene.json", scene);
    }
    std::string scene() const { return file("scene.json"); }
    ProgramResult render(std::initializer_list<std::string> args) const
    {
        std::vector<std::string> all{scene()};
        all.insert(all.end(), args);
        return runProgram(all);
    }
};

// A run "SCENE -o FOLDER/output ARGS...", its exit code and what its messages must (not) hold.
struct OptionCase {
    const char* name;
    std::vector<std::string> args;
    int exitCode;
    std::vector<std::string> inStderr;  // every one must appear
    const char* notInStderr = "";       // must not appear ("" for no such check)
    const char* output = "out.png";
};

inline void PrintTo(const OptionCase& c, std::ostream* os) { *os << c.name; }

// A success writes the output, a failure nothing at all beside the scene.
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

inline std::string caseName(const ::testing::TestParamInfo<OptionCase>& info) { return info.param.name; }

}  // namespace orbhost::testing
