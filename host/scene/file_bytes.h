// Reading a whole file with the system's reason when that fails.
#pragma once

#include <string>

namespace orbhost {

struct FileBytes {
    std::string bytes;
    std::string error;  // empty on success, else the system's reason, e.g. "No such file or directory"
};

FileBytes readFileBytes(const std::string& path);

}  // namespace orbhost
