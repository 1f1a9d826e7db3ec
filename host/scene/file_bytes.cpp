#include "host/scene/file_bytes.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

namespace orbhost {

FileBytes readFileBytes(const std::string& path)
{
    FileBytes result;
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        result.error = "is a folder, not a file";
        return result;
    }
    errno = 0;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file) {
        result.error = std::strerror(errno ? errno : ENOENT);
        return result;
    }
    char buffer[65536];
    for (;;) {
        const size_t got = std::fread(buffer, 1, sizeof buffer, file.get());
        result.bytes.append(buffer, got);
        if (got < sizeof buffer) {
            break;
        }
    }
    if (std::ferror(file.get())) {
        result.error = std::strerror(errno ? errno : EIO);
        result.bytes.clear();
    }
    return result;
}

}  // namespace orbhost
