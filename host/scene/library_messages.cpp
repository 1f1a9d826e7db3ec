#include "host/scene/library_messages.h"

#include <cstdio>

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace orbhost {

#if !defined(_WIN32)

LibraryMessages::LibraryMessages()
{
    std::fflush(stderr);
    file_ = std::tmpfile();  // removed by the system when closed
    if (!file_)
        return;
    caught_ = ::fileno(file_);
    savedStderr_ = ::dup(STDERR_FILENO);
    if (savedStderr_ < 0 || ::dup2(caught_, STDERR_FILENO) < 0) {
        if (savedStderr_ >= 0)
            ::close(savedStderr_);
        std::fclose(file_);
        file_ = nullptr;
        savedStderr_ = caught_ = -1;
    }
}

LibraryMessages::~LibraryMessages()
{
    if (savedStderr_ < 0)
        return;
    std::fflush(stderr);
    ::dup2(savedStderr_, STDERR_FILENO);
    ::close(savedStderr_);
    std::fclose(file_);
}

std::string LibraryMessages::text() const
{
    if (caught_ < 0)
        return "";
    std::fflush(stderr);
    std::string raw;
    char buffer[4096];
    for (off_t at = 0;;) {
        const ssize_t got = ::pread(caught_, buffer, sizeof buffer, at);
        if (got <= 0 || raw.size() > 64 * 1024)
            break;
        raw.append(buffer, std::size_t(got));
        at += got;
    }
    std::string joined;
    std::size_t from = 0;
    while (from < raw.size()) {
        std::size_t end = raw.find('\n', from);
        if (end == std::string::npos)
            end = raw.size();
        std::string line = raw.substr(from, end - from);
        while (!line.empty() && (line.back() == '\r' || line.back() == ' '))
            line.pop_back();
        if (!line.empty())
            joined += (joined.empty() ? "" : "; ") + line;
        from = end + 1;
    }
    return joined;
}

#else

LibraryMessages::LibraryMessages() = default;
LibraryMessages::~LibraryMessages() = default;
std::string LibraryMessages::text() const { return ""; }

#endif

}  // namespace orbhost
