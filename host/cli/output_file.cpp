#include "output_file.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#if defined(_WIN32)
#include <io.h>
#include <process.h>
#include <windows.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace orbcli {
namespace {

namespace fs = std::filesystem;

// What the signal handler may need, kept in fixed buffers: a handler may not allocate.
// `armed` is set only while both paths hold a complete name.
constexpr std::size_t kPathBytes = 4096;
char pendingTemp[kPathBytes];
char pendingFinal[kPathBytes];
volatile std::sig_atomic_t armed = 0;
volatile std::sig_atomic_t lineOpen = 0;
// Standard error as it was when the handlers were installed: a library's messages may be
// diverted from it for a while (LibraryMessages), the handler's must not be.
int messageFd = 2;

int processId()
{
#if defined(_WIN32)
    return _getpid();
#else
    return int(::getpid());
#endif
}

void writeError(const char* text)
{
#if defined(_WIN32)
    (void)_write(messageFd, text, unsigned(std::strlen(text)));
#else
    (void)!::write(messageFd, text, std::strlen(text));
#endif
}

void removeFile(const char* path)
{
#if defined(_WIN32)
    (void)_unlink(path);
#else
    (void)::unlink(path);
#endif
}

// Only async-signal-safe calls: unlink, write, _Exit.
extern "C" void onStopSignal(int signal)
{
    int exitCode = kExitTerminated;
    const char* what = "orbulon-render: terminated (SIGTERM)";
    if (signal == SIGINT) {
        exitCode = kExitInterrupted;
        what = "orbulon-render: interrupted (SIGINT)";
    }
#if defined(SIGHUP)
    if (signal == SIGHUP) {
        exitCode = kExitHungUp;
        what = "orbulon-render: hung up (SIGHUP)";
    }
#endif
    if (lineOpen)
        writeError("\n");
    writeError(what);
    if (armed) {
        armed = 0;
        removeFile(pendingTemp);
        writeError("; ");
        writeError(pendingFinal);
        writeError(" was not written");
    }
    writeError("\n");
    std::_Exit(exitCode);
}

bool copyName(char* into, const std::string& name)
{
    if (name.size() >= kPathBytes)
        return false;
    std::memcpy(into, name.c_str(), name.size() + 1);
    return true;
}

// The temporary file goes under the handler's care for the time it exists.
class PendingFile {
public:
    PendingFile(const std::string& temp, const std::string& final)
    {
        armed = 0;
        if (copyName(pendingTemp, temp) && copyName(pendingFinal, final))
            armed = 1;
    }
    ~PendingFile() { armed = 0; }
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;
};

// Asks the system to put the file's data on the disk, so that a failure that only shows when
// the data is written back (a full disk on some file systems) is seen before the rename.
void syncToDisk(const std::string& path)
{
#if !defined(_WIN32)
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0)
        throw orbhost::ImageError(path, std::string("cannot reopen the file: ") + std::strerror(errno));
    const bool synced = ::fsync(fd) == 0;
    const int cause = errno;
    ::close(fd);
    // Some file systems (and /dev files) cannot sync; only a real write error counts.
    if (!synced && cause != EINVAL && cause != EROFS && cause != ENOTSUP)
        throw orbhost::ImageError(path, std::string("cannot write the file: ") + std::strerror(cause));
#else
    (void)path;
#endif
}

// Replaces `to` with `from` in one step.
void renameOver(const std::string& from, const std::string& to)
{
#if defined(_WIN32)
    if (!MoveFileExA(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        throw std::system_error(int(GetLastError()), std::system_category());
#else
    std::error_code ec;
    fs::rename(from, to, ec);
    if (ec)
        throw std::system_error(ec);
#endif
}

// Runs writeTemp(temporary name), puts the file on the disk and renames it to path; on any
// failure removes the temporary file and throws an ImageError that names path.
template <class WriteTemp>
void writeSafely(const std::string& path, WriteTemp&& writeTemp)
{
    const std::string temp = temporaryPathFor(path);
    PendingFile pending(temp, path);
    try {
        writeTemp(temp);
        syncToDisk(temp);
        renameOver(temp, path);
    } catch (const orbhost::ImageError& e) {
        std::error_code ignored;
        fs::remove(temp, ignored);
        throw orbhost::ImageError(path, e.problem.empty() ? std::string(e.what()) : e.problem);
    } catch (const std::system_error& e) {
        std::error_code ignored;
        fs::remove(temp, ignored);
        throw orbhost::ImageError(path, "cannot put the finished file in place: " + e.code().message());
    }
}

}  // namespace

void installStopHandlers(bool endOpenLine)
{
    lineOpen = endOpenLine ? 1 : 0;
#if defined(_WIN32)
    const int copy = _dup(2);
#else
    const int copy = ::dup(2);
#endif
    if (copy >= 0)
        messageFd = copy;
    std::signal(SIGINT, onStopSignal);
    std::signal(SIGTERM, onStopSignal);
#if defined(SIGHUP)
    std::signal(SIGHUP, onStopSignal);
#endif
}

std::string temporaryPathFor(const std::string& path)
{
    const fs::path final(path);
    // Appended piece by piece: the cross compiler warns falsely about "." + string.
    std::string name = ".";
    name += final.stem().string();
    name += ".partial-";
    name += std::to_string(processId());
    name += final.extension().string();
    return (final.parent_path() / name).string();
}

void writeImageSafely(const std::string& path, const orbhost::Image& image, int bitDepth,
                      const orbhost::ImageMetadata& metadata)
{
    writeSafely(path, [&](const std::string& temp) { orbhost::writeImage(temp, image, bitDepth, metadata); });
}

void writeTextSafely(const std::string& path, const std::string& text)
{
    writeSafely(path, [&](const std::string& temp) {
        errno = 0;
        std::FILE* file = std::fopen(temp.c_str(), "wb");
        if (!file)
            throw orbhost::ImageError(temp, std::string("cannot create the file: ") + std::strerror(errno ? errno : EIO));
        errno = 0;
        const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size() && std::fflush(file) == 0;
        const int cause = errno;
        if (std::fclose(file) != 0 || !written)
            throw orbhost::ImageError(temp, std::string("cannot write the file: ") + std::strerror(cause ? cause : EIO));
    });
}

}  // namespace orbcli
