#include "host/scene/scene.h"

#include "host/scene/file_bytes.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace orbhost {
namespace {

// Far deeper than any scene needs (the deepest place in the format, a component of a keyframed
// light colour, is 8 levels down).
constexpr int kMaxJsonDepth = 64;

// The parser's own message without its exception tag and position, which we give ourselves.
std::string parseProblem(const std::string& what)
{
    const size_t start = what.find("parse error");
    const size_t colon = what.find(": ", start == std::string::npos ? 0 : start);
    return colon == std::string::npos ? what : what.substr(colon + 2);
}

}  // namespace

Scene parseSceneText(const std::string& text, const std::string& fileForMessages, const std::string& baseDir)
{
    nlohmann::json doc;
    try {
        // Copying a JSON value recurses once per level, so absurdly deep nesting is refused
        // while parsing rather than allowed to exhaust the stack later.
        const auto limitDepth = [&](int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
            if (depth > kMaxJsonDepth) {
                throw SceneError(fileForMessages + ": JSON nested deeper than " + std::to_string(kMaxJsonDepth) +
                                 " levels");
            }
            return true;
        };
        doc = nlohmann::json::parse(text, limitDepth, true, /*ignore_comments=*/true);
    } catch (const nlohmann::json::parse_error& e) {
        // e.byte counts from 1 and points at the character where parsing stopped.
        const size_t end = std::min(e.byte > 0 ? e.byte - 1 : 0, text.size());
        const size_t line = 1 + size_t(std::count(text.begin(), text.begin() + std::ptrdiff_t(end), '\n'));
        const size_t lineStart = text.rfind('\n', end > 0 ? end - 1 : 0);
        const size_t column = (lineStart == std::string::npos || end == 0) ? end + 1 : end - lineStart;
        throw SceneError(fileForMessages + ": line " + std::to_string(line) + ", column " + std::to_string(column) +
                         ": malformed JSON: " + parseProblem(e.what()));
    }
    return parseScene(doc, fileForMessages, baseDir);
}

Scene loadScene(const std::string& path)
{
    const FileBytes file = readFileBytes(path);
    if (!file.error.empty()) {
        throw SceneError(path + ": cannot read the scene file: " + file.error);
    }
    return parseSceneText(file.bytes, path, std::filesystem::path(path).parent_path().string());
}

int frameCount(const Scene& scene)
{
    // Frame f starts at f / frameRate; the tolerance keeps 2 s at 25 fps at 50 frames, not 51.
    return std::max(1, static_cast<int>(std::ceil(scene.duration * scene.frameRate - 1e-9)));
}

const Layer* findLayer(const Scene& scene, std::string_view name)
{
    const auto it = std::find_if(scene.layers.begin(), scene.layers.end(),
                                 [&](const Layer& layer) { return layer.displayName() == name; });
    return it == scene.layers.end() ? nullptr : &*it;
}

const Layer& effectLayer(const Scene& scene)
{
    const Layer* layer = findLayer(scene, scene.effectLayer);
    if (layer == nullptr) {
        throw SceneError(scene.file + ": /effect/layer: no layer is named '" + scene.effectLayer + "'");
    }
    return *layer;
}

}  // namespace orbhost
