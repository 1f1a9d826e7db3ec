// Runs orbulon-render from the build tree as a child process and captures what it prints.
#pragma once

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace orbhost::testing {

struct ProgramResult {
    int exitCode = -1;  // 128 + signal number when the program was killed
    std::string out, err;
    // Standard error without its progress lines: the notes, warnings and errors.
    std::string messages() const
    {
        std::istringstream lines(err);
        std::string kept;
        for (std::string line; std::getline(lines, line);)
            if (!line.starts_with("orbulon-render: progress "))
                kept += line + '\n';
        return kept;
    }
    // For failure messages: everything a user would have seen.
    std::string transcript() const
    {
        return "exit " + std::to_string(exitCode) + "\n--- stdout:\n" + out + "--- stderr:\n" + err;
    }
};

inline std::string renderProgram() { return ORBULON_BUILD_DIR "/orbulon-render"; }

// The program's argument vector, null-terminated, for posix_spawn and execv.
class ProgramArgv {
public:
    explicit ProgramArgv(const std::vector<std::string>& args) : text_{renderProgram()}
    {
        text_.insert(text_.end(), args.begin(), args.end());
        for (std::string& a : text_)
            pointers_.push_back(a.data());
        pointers_.push_back(nullptr);
    }
    ProgramArgv(const ProgramArgv&) = delete;
    ProgramArgv& operator=(const ProgramArgv&) = delete;
    char* const* data() const { return pointers_.data(); }
    const char* path() const { return pointers_[0]; }

private:
    std::vector<std::string> text_;
    std::vector<char*> pointers_;
};

// Output goes to files rather than pipes so that a chatty child can never block on a full pipe.
inline ProgramResult runProgram(const std::vector<std::string>& args)
{
    const auto tmp = std::filesystem::temp_directory_path();
    std::string outPath = (tmp / "orbulon-cli-out-XXXXXX").string();
    std::string errPath = (tmp / "orbulon-cli-err-XXXXXX").string();
    const int outFd = ::mkstemp(outPath.data()), errFd = ::mkstemp(errPath.data());

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outFd, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errFd, STDERR_FILENO);

    ProgramArgv argv(args);
    ProgramResult result;
    pid_t pid = 0;
    if (posix_spawn(&pid, argv.path(), &actions, nullptr, argv.data(), environ) == 0) {
        int status = 0;
        ::waitpid(pid, &status, 0);
        result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    posix_spawn_file_actions_destroy(&actions);
    ::close(outFd);
    ::close(errFd);
    const auto slurp = [](const std::string& path) {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        std::filesystem::remove(path);
        return text.str();
    };
    result.out = slurp(outPath);
    result.err = slurp(errPath);
    return result;
}

}  // namespace orbhost::testing
