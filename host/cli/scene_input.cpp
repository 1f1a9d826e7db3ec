#include "scene_input.h"

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <stdexcept>

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

namespace orbhost::cli {

Scene readSceneFromStdin()
{
#if defined(_WIN32)
    _setmode(_fileno(stdin), _O_BINARY);
#endif
    // A scene file is refused past 64 MiB; so is a scene piped in.
    constexpr std::size_t kMaxBytes = std::size_t(64) << 20;
    std::string text;
    char buffer[65536];
    while (std::cin.read(buffer, sizeof buffer) || std::cin.gcount() > 0) {
        text.append(buffer, std::size_t(std::cin.gcount()));
        if (text.size() > kMaxBytes)
            throw SceneError(std::string(kStdinSceneName) + ": a scene is at most 64 MiB");
    }
    return parseSceneText(text, kStdinSceneName, std::filesystem::current_path().string());
}

} // namespace orbhost::cli
