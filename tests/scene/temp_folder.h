// A fresh folder under the system's temporary folder, removed again at the end of the test.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace orbhost::testing {

class TempFolder {
public:
    explicit TempFolder(const std::string& tag)
        : path_(std::filesystem::temp_directory_path() /
                ("orbulon-scene-" + tag + "-" + std::to_string(::getpid())))
    {
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~TempFolder() { std::filesystem::remove_all(path_); }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    std::string file(const std::string& name) const { return (path_ / name).string(); }
    std::string path() const { return path_.string(); }
    void write(const std::string& name, const std::string& bytes) const
    {
        std::ofstream(path_ / name, std::ios::binary) << bytes;
    }

private:
    std::filesystem::path path_;
};

}  // namespace orbhost::testing
