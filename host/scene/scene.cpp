#include "host/scene/scene.h"

#include "host/scene/file_bytes.h"
#include "host/scene/scene_json.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>
#include <utility>
#include <vector>

namespace orbhost {
namespace {

// Far deeper than any scene needs (the deepest place in the format, a component of a keyframed
// light colour, is 8 levels down).
constexpr int kMaxJsonDepth = 64;

// The parser's own message without its exception tag and position, which we give ourselves.
// What it last read is cut short: after an open string it would be the rest of the file.
std::string parseProblem(const std::string& what)
{
    const size_t start = what.find("parse error");
    const size_t colon = what.find(": ", start == std::string::npos ? 0 : start);
    std::string problem = colon == std::string::npos ? what : what.substr(colon + 2);
    const std::string lastRead = "; last read: '";
    const size_t at = problem.find(lastRead);
    constexpr size_t kShown = 40;
    if (at != std::string::npos && problem.size() > at + lastRead.size() + kShown + 1) {
        problem = problem.substr(0, at + lastRead.size() + kShown) + "...'";
    }
    return problem;
}

// 1-based line and column of a byte offset.
std::pair<size_t, size_t> lineAndColumn(const std::string& text, size_t end)
{
    const size_t line = 1 + size_t(std::count(text.begin(), text.begin() + std::ptrdiff_t(end), '\n'));
    const size_t lineStart = text.rfind('\n', end > 0 ? end - 1 : 0);
    const size_t column = (lineStart == std::string::npos || end == 0) ? end + 1 : end - lineStart;
    return {line, column};
}

// Where the parser is, as its callback reports it: one entry per open object or array with the
// key or index being read in it, and the keys each open object has had so far.
class JsonTrail {
public:
    void step(nlohmann::json::parse_event_t event, const nlohmann::json& parsed, const std::string& file)
    {
        using Event = nlohmann::json::parse_event_t;
        switch (event) {
        case Event::object_start: open_.push_back({false, {}, 0, {}}); break;
        case Event::array_start: open_.push_back({true, {}, 0, {}}); break;
        case Event::key: {
            Level& level = open_.back();
            level.key = parsed.get<std::string>();
            if (!level.keys.insert(level.key).second) {
                fail(JsonPlace{file, pointer()}, "the key '" + level.key +
                                                     "' appears twice in this object; each key may be given once");
            }
            break;
        }
        case Event::object_end:
        case Event::array_end:
            open_.pop_back();
            advance();
            break;
        case Event::value: advance(); break;
        }
    }

    std::string pointer() const
    {
        JsonPlace place;
        for (const Level& level : open_) {
            place = level.array ? child(place, level.index) : child(place, level.key);
        }
        return place.pointer;
    }

private:
    struct Level {
        bool array;
        std::string key;
        size_t index;
        std::set<std::string> keys;
    };
    // A value of an array is complete: the next one has the next index.
    void advance()
    {
        if (!open_.empty() && open_.back().array) {
            ++open_.back().index;
        }
    }
    std::vector<Level> open_;
};

}  // namespace

Scene parseSceneText(const std::string& text, const std::string& fileForMessages, const std::string& baseDir)
{
    nlohmann::json doc;
    JsonTrail trail;
    try {
        // Copying a JSON value recurses once per level, so absurdly deep nesting is refused
        // while parsing rather than allowed to exhaust the stack later. The same callback
        // follows where the parser is, so a key written twice (which the library would let
        // the last one win) is refused with its pointer.
        const auto watch = [&](int depth, nlohmann::json::parse_event_t event, nlohmann::json& parsed) {
            if (depth > kMaxJsonDepth) {
                throw SceneError(fileForMessages + ": JSON nested deeper than " + std::to_string(kMaxJsonDepth) +
                                 " levels");
            }
            trail.step(event, parsed, fileForMessages);
            return true;
        };
        doc = nlohmann::json::parse(text, watch, true, /*ignore_comments=*/true);
    } catch (const nlohmann::json::parse_error& e) {
        // e.byte counts from 1 and points at the character where parsing stopped.
        size_t end = std::min(e.byte > 0 ? e.byte - 1 : 0, text.size());
        std::string problem = parseProblem(e.what());
        if (problem.find("missing closing '*/'") != std::string::npos) {
            // The parser read to the end of the file looking for the close: point at the
            // comment's opening instead, and leave the file's text out of the message.
            const size_t lastClose = text.rfind("*/", end);
            const size_t open = text.find("/*", lastClose == std::string::npos ? 0 : lastClose + 2);
            if (open != std::string::npos) {
                end = open;
            }
            problem = "a /* comment is never closed";
        }
        const auto [line, column] = lineAndColumn(text, end);
        throw SceneError(fileForMessages + ": line " + std::to_string(line) + ", column " + std::to_string(column) +
                         ": malformed JSON: " + problem);
    } catch (const nlohmann::json::out_of_range&) {
        // The one range error of the parser: a number too large for a double (1e400).
        fail(JsonPlace{fileForMessages, trail.pointer()}, "the number is too large (beyond about 1.8e308)");
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
