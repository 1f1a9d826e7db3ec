// Runs orbulon-render from the build tree as a child process and captures what it prints.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

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

// The program started with these arguments. Its output goes to files rather than pipes, so that a
// chatty child can never block on a full pipe.
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
        result.out = slurp(outPath_);
        result.err = slurp(errPath_);
        return result;
    }

private:
    static std::string slurp(const std::string& path)
    {
        std::ostringstream text;
        text << std::ifstream(path).rdbuf();
        std::filesystem::remove(path);
        return text.str();
    }
    std::string outPath_, errPath_;
    pid_t pid_ = -1;
};

inline ProgramResult runProgram(const std::vector<std::string>& args) { return Background(args).wait(); }

}  // namespace orbhost::testing
