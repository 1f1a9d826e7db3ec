// Every kind of bad scene file is refused before anything renders, with the file, the JSON
// pointer of the offending value and the problem in the message.
#include "host/scene/scene.h"
#include "host/scene/image.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

namespace orbhost {
namespace {

// A valid scene; each case changes it with a JSON merge patch (RFC 7396: null removes a key,
// arrays are replaced whole).
constexpr const char* kBaseScene = R"({
  "composition": {"width": 100, "height": 50},
  "layers": [{"name": "S", "type": "solid"}, {"name": "Grid", "type": "image", "file": "grid.pam"}],
  "effect": {"layer": "S", "params": {"Radius": 10}}
})";

struct BadScene {
    const char* label;
    const char* patch;
    const char* pointer;   // expected JSON pointer ("" for the document as a whole)
    const char* problem;   // expected fragment of the problem
};

void PrintTo(const BadScene& c, std::ostream* os) { *os << c.label; }

class SceneErrors : public ::testing::TestWithParam<BadScene> {
protected:
    static void SetUpTestSuite()
    {
        folder_ = new testing::TempFolder("errors");
        writeImage(folder_->file("grid.pam"), solidImage(4, 2, 1, 0, 0, 1), 8);
        folder_->write("garbage.png", "this is not an image");
        folder_->write("short.pam", "P7\nWIDTH 4\nHEIGHT 4\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\nxx");
    }
    static void TearDownTestSuite()
    {
        delete folder_;
        folder_ = nullptr;
    }
    static testing::TempFolder* folder_;
};
testing::TempFolder* SceneErrors::folder_ = nullptr;

TEST_P(SceneErrors, NamesPointerAndProblem)
{
    const BadScene& c = GetParam();
    nlohmann::json doc = nlohmann::json::parse(kBaseScene);
    doc.merge_patch(nlohmann::json::parse(c.patch));
    const std::string expectedStart = std::string("x.json: ") + c.pointer + (c.pointer[0] ? ": " : "");
    try {
        parseScene(doc, "x.json", folder_->path());
        FAIL() << c.label << ": accepted " << doc.dump();
    } catch (const SceneError& e) {
        const std::string message = e.what();
        EXPECT_EQ(message.rfind(expectedStart, 0), 0u) << c.label << ": " << message;
        EXPECT_NE(message.find(c.problem), std::string::npos) << c.label << ": " << message;
    }
}

const BadScene kBadScenes[] = {
    // The document and its sections.
    {"unknown top-level key", R"({"camera": {}})", "/camera", "unknown key 'camera'"},
    {"missing composition", R"({"composition": null})", "", "missing required key 'composition'"},
    {"missing effect", R"({"effect": null})", "", "missing required key 'effect'"},
    {"composition not object", R"({"composition": 3})", "/composition", "expected an object, got a number"},
    // Composition values.
    {"width as text", R"({"composition": {"width": "100"}})", "/composition/width", "expected a number, got a string"},
    {"width zero", R"({"composition": {"width": 0}})", "/composition/width", "between 1 and 30000"},
    {"height too big", R"({"composition": {"height": 30001}})", "/composition/height", "between 1 and 30000"},
    {"width fractional", R"({"composition": {"width": 10.5}})", "/composition/width", "whole number"},
    {"missing height", R"({"composition": {"height": null}})", "/composition", "missing required key 'height'"},
    {"pixel aspect zero", R"({"composition": {"pixelAspect": 0}})", "/composition/pixelAspect", "greater than 0"},
    {"frame rate negative", R"({"composition": {"frameRate": -25}})", "/composition/frameRate", "greater than 0"},
    {"duration zero", R"({"composition": {"duration": 0}})", "/composition/duration", "greater than 0"},
    {"unknown composition key", R"({"composition": {"fps": 25}})", "/composition/fps", "unknown key 'fps'"},
    // Layers.
    {"no layers", R"({"layers": []})", "/layers", "at least one layer"},
    {"layers not array", R"({"layers": {"S": 1}})", "/layers", "expected an array, got an object"},
    {"layer type to come", R"({"layers": [{"name": "S", "type": "camera"}]})", "/layers/0/type",
     "unknown layer type 'camera'"},
    {"layer without type", R"({"layers": [{"name": "S"}]})", "/layers/0", "missing required key 'type'"},
    {"layer without name", R"({"layers": [{"type": "solid"}]})", "/layers/0", "missing required key 'name'"},
    {"solid with transform", R"({"layers": [{"name": "S", "type": "solid", "position": [1, 2]}]})",
     "/layers/0/position", "unknown key 'position'"},
    {"image with size", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "I", "type": "image", "file": "grid.pam", "width": 4}]})",
     "/layers/1/width", "unknown key 'width'"},
    {"duplicate names", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "S", "type": "solid"}]})",
     "/layers/1/name", "duplicate layer name 'S' (also at /layers/0)"},
    {"colour out of range", R"({"layers": [{"name": "S", "type": "solid", "color": [0, 0, 2]}]})",
     "/layers/0/color/2", "between 0 and 1"},
    {"colour too short", R"({"layers": [{"name": "S", "type": "solid", "color": [0, 0]}]})", "/layers/0/color",
     "expected a colour"},
    {"solid width zero", R"({"layers": [{"name": "S", "type": "solid", "width": 0}]})", "/layers/0/width",
     "between 1 and 30000"},
    {"missing image", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "I", "type": "image", "file": "missing.png"}]})",
     "/layers/1/file", "cannot read image 'missing.png': No such file"},
    {"not an image", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "I", "type": "image", "file": "garbage.png"}]})",
     "/layers/1/file", "cannot read image 'garbage.png'"},
    {"cut-short image", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "I", "type": "image", "file": "short.pam"}]})",
     "/layers/1/file", "cut short"},
    {"structure before images",
     R"({"layers": [{"name": "S", "type": "solid"}, {"name": "I", "type": "image", "file": "missing.png"}], "render": {"bitDepth": 12}})",
     "/render/bitDepth", "must be 8, 16 or 32"},
    // The effect and its parameters.
    {"effect on no layer", R"({"effect": {"layer": "Nope"}})", "/effect/layer", "no layer is named 'Nope'"},
    {"effect unknown key", R"({"effect": {"mask": 1}})", "/effect/mask", "unknown key 'mask'"},
    {"params not object", R"({"effect": {"params": [1]}})", "/effect/params", "expected an object, got an array"},
    {"keys not increasing", R"({"effect": {"params": {"Radius": {"keys": [[0.5, 1], [0.5, 2]]}}}})",
     "/effect/params/Radius/keys/1/0", "must increase"},
    {"key after the end", R"({"effect": {"params": {"Radius": {"keys": [[0, 1], [1.5, 2]]}}}})",
     "/effect/params/Radius/keys/1/0", "outside the composition"},
    {"key before the start", R"({"effect": {"params": {"Radius": {"keys": [[-0.1, 1]]}}}})",
     "/effect/params/Radius/keys/0/0", "outside the composition"},
    {"key time as text", R"({"effect": {"params": {"Radius": {"keys": [["0", 1]]}}}})",
     "/effect/params/Radius/keys/0/0", "expected a number, got a string"},
    {"key not a pair", R"({"effect": {"params": {"Radius": {"keys": [[0, 1, 2]]}}}})",
     "/effect/params/Radius/keys/0", "expected a keyframe [time_seconds, value]"},
    {"no keys", R"({"effect": {"params": {"Radius": {"keys": []}}}})", "/effect/params/Radius/keys",
     "at least one keyframe"},
    {"key value object", R"({"effect": {"params": {"Radius": {"keys": [[0, {"x": 1}]]}}}})",
     "/effect/params/Radius/keys/0/1", "cannot be an object"},
    {"easing not known yet", R"({"effect": {"params": {"Radius": {"keys": [[0, 1]], "ease": 1}}}})",
     "/effect/params/Radius/ease", "unknown key 'ease'"},
    {"escaped parameter name", R"({"effect": {"params": {"Ellipse Z/XY": {"keys": 3}}}})",
     "/effect/params/Ellipse Z~1XY/keys", "expected an array, got a number"},
    // Render settings.
    {"bit depth 12", R"({"render": {"bitDepth": 12}})", "/render/bitDepth", "must be 8, 16 or 32"},
    {"downsample zero", R"({"render": {"downsample": 0}})", "/render/downsample", "between 1 and 16"},
    {"downsample y too big", R"({"render": {"downsample": [1, 17]}})", "/render/downsample/1", "between 1 and 16"},
    {"downsample triple", R"({"render": {"downsample": [1, 2, 3]}})", "/render/downsample", "pair"},
    {"frame past the end", R"({"render": {"frames": [0, 25]}})", "/render/frames/1", "between 0 and 24"},
    {"frames reversed", R"({"render": {"frames": [5, 2]}})", "/render/frames", "comes after the last"},
    {"frames as text", R"({"render": {"frames": "all"}})", "/render/frames", "expected a frame number"},
    {"unknown render key", R"({"render": {"quality": "high"}})", "/render/quality", "unknown key 'quality'"},
};

INSTANTIATE_TEST_SUITE_P(BadInput, SceneErrors, ::testing::ValuesIn(kBadScenes));

TEST(SceneText, MalformedJsonGivesLineAndColumn)
{
    // The second comma on line 2 is its 31st character.
    const std::string text = "{\n  \"composition\": {\"width\": 10,,\n}";
    try {
        parseSceneText(text, "bad.json", "");
        FAIL() << "accepted malformed JSON";
    } catch (const SceneError& e) {
        EXPECT_EQ(std::string(e.what()).rfind("bad.json: line 2, column 31: malformed JSON: ", 0), 0u) << e.what();
    }
}

TEST(SceneText, DeepNestingIsRefusedNotFollowed)
{
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    const std::string text = R"({"composition": {"width": 8, "height": 8}, "layers": [{"name": "S", "type": "solid"}],
                                 "effect": {"layer": "S", "params": {"Radius": )" + deep + "}}}";
    try {
        parseSceneText(text, "deep.json", "");
        FAIL() << "accepted a value nested 100000 levels deep";
    } catch (const SceneError& e) {
        EXPECT_EQ(std::string(e.what()), "deep.json: JSON nested deeper than 64 levels");
    }
}

TEST(SceneText, DocumentMustBeAnObject)
{
    try {
        parseSceneText("[1, 2]", "a.json", "");
        FAIL() << "accepted an array as a scene";
    } catch (const SceneError& e) {
        EXPECT_STREQ(e.what(), "a.json: expected an object, got an array");
    }
}

TEST(SceneText, MissingSceneFileNamesTheFile)
{
    try {
        loadScene("/nonexistent/orbulon/scene.json");
        FAIL() << "loaded a scene that does not exist";
    } catch (const SceneError& e) {
        EXPECT_EQ(std::string(e.what()),
                  "/nonexistent/orbulon/scene.json: cannot read the scene file: No such file or directory");
    }
}

}  // namespace
}  // namespace orbhost
