// Every kind of bad scene file, refused naming the file, the JSON pointer and the problem.
#include "host/scene/scene.h"
#include "host/scene/image.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

namespace orbhost {
namespace {

// Each case changes this scene with a JSON merge patch (null removes a key, arrays are replaced).
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

class SceneErrors : public ::testing::TestWithParam<BadScene> {};

TEST_P(SceneErrors, NamesPointerAndProblem)
{
    const BadScene& c = GetParam();
    nlohmann::json doc = nlohmann::json::parse(kBaseScene);
    doc.merge_patch(nlohmann::json::parse(c.patch));
    const std::string expectedStart = std::string("x.json: ") + c.pointer + (c.pointer[0] ? ": " : "");
    testing::TempFolder folder("errors");
    writeImage(folder.file("grid.pam"), solidImage(4, 2, 1, 0, 0, 1), 8);
    folder.write("garbage.png", "this is not an image");
    folder.write("short.pam", "P7\nWIDTH 4\nHEIGHT 4\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\nxx");
    try {
        parseScene(doc, "x.json", folder.path());
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
    {"composition not object", R"({"composition": 3})", "/composition", "expected an object, got a number"},
    // Composition values.
    {"width as text", R"({"composition": {"width": "100"}})", "/composition/width", "expected a number, got a string"},
    {"width zero", R"({"composition": {"width": 0}})", "/composition/width", "between 1 and 30000"},
    {"height too big", R"({"composition": {"height": 30001}})", "/composition/height", "between 1 and 30000"},
    {"width fractional", R"({"composition": {"width": 10.5}})", "/composition/width", "whole number"},
    {"missing height", R"({"composition": {"height": null}})", "/composition", "missing required key 'height'"},
    {"pixel aspect zero", R"({"composition": {"pixelAspect": 0}})", "/composition/pixelAspect", "greater than 0"},
    // Found by the effect_render fuzz target: the host's thousandths overflowed.
    {"pixel aspect huge", R"({"composition": {"pixelAspect": 1e300}})", "/composition/pixelAspect", "between 0.01 and 100"},
    {"pixel aspect tiny", R"({"composition": {"pixelAspect": 0.001}})", "/composition/pixelAspect", "between 0.01 and 100"},
    {"frame rate negative", R"({"composition": {"frameRate": -25}})", "/composition/frameRate", "greater than 0"},
    {"duration zero", R"({"composition": {"duration": 0}})", "/composition/duration", "greater than 0"},
    {"unknown composition key", R"({"composition": {"fps": 25}})", "/composition/fps", "unknown key 'fps'"},
    // Layers.
    {"no layers", R"({"layers": []})", "/layers", "at least one layer"},
    {"layers not array", R"({"layers": {"S": 1}})", "/layers", "expected an array, got an object"},
    {"unknown layer type", R"({"layers": [{"name": "S", "type": "sphere"}]})", "/layers/0/type",
     "unknown layer type 'sphere'"},
    {"layer without type", R"({"layers": [{"name": "S"}]})", "/layers/0", "missing required key 'type'"},
    {"layer without name", R"({"layers": [{"type": "solid"}]})", "/layers/0", "missing required key 'name'"},
    {"solid with point of interest", R"({"layers": [{"name": "S", "type": "solid", "pointOfInterest": [1, 2]}]})",
     "/layers/0/pointOfInterest", "unknown key 'pointOfInterest'"},
    {"image with size", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "I", "type": "image", "file": "grid.pam", "width": 4}]})",
     "/layers/1/width", "unknown key 'width'"},
    {"duplicate names", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "S", "type": "solid"}]})",
     "/layers/1/name", "duplicate layer name 'S' (also at /layers/0)"},
    {"colour too short", R"({"layers": [{"name": "S", "type": "solid", "color": [0, 0]}]})", "/layers/0/color",
     "expected a colour"},
    {"solid width zero", R"({"layers": [{"name": "S", "type": "solid", "width": 0}]})", "/layers/0/width",
     "between 1 and 30000"},
    {"missing image", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "I", "type": "image", "file": "missing.png"}]})",
     "/layers/1/file", "cannot read image 'missing.png' of layer \"I\": No such file"},
    {"not an image", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "I", "type": "image", "file": "garbage.png"}]})",
     "/layers/1/file", "cannot read image 'garbage.png'"},
    {"cut-short image", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "I", "type": "image", "file": "short.pam"}]})",
     "/layers/1/file", "cut short"},
    {"structure before images",
     R"({"layers": [{"name": "S", "type": "solid"}, {"name": "I", "type": "image", "file": "missing.png"}], "render": {"bitDepth": 12}})",
     "/render/bitDepth", "must be 8, 16 or 32"},
    // Layers of a 3-D composition: each case's layers follow the effect's solid S.
    {"unknown camera type", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "C", "type": "camera", "camera": {"type": "fisheye"}}]})",
     "/layers/1/camera/type", "unknown camera type 'fisheye' (expected 'perspective', 'orthographic')"},
    {"unknown light type", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "L", "type": "light", "light": {"type": "area"}}]})",
     "/layers/1/light/type", "unknown light type 'area'"},
    {"parent names no layer", R"({"layers": [{"name": "S", "type": "solid", "parent": "Rig"}]})",
     "/layers/0/parent", "no layer is named 'Rig'"},
    {"parent cycle", R"({"layers": [{"name": "S", "type": "solid", "parent": "B"}, {"name": "A", "type": "null", "parent": "B"}, {"name": "B", "type": "null", "parent": "A"}]})",
     "/layers/1/parent", "parent cycle: A -> B -> A"},
    {"own parent", R"({"layers": [{"name": "S", "type": "solid", "parent": "S"}]})", "/layers/0/parent",
     "parent cycle: S -> S"},
    {"zoom zero", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "C", "type": "camera", "camera": {"zoom": 0}}]})",
     "/layers/1/camera/zoom", "greater than 0"},
    {"keyed zoom negative", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "C", "type": "camera", "camera": {"zoom": {"keys": [[0, 100], [1, -5]]}}}]})",
     "/layers/1/camera/zoom/keys/1/1", "greater than 0"},
    {"negative duration", R"({"layers": [{"name": "S", "type": "solid", "duration": -1}]})", "/layers/0/duration",
     "at least 0"},
    {"rotation key after the end", R"({"layers": [{"name": "S", "type": "solid", "rotationZ": {"keys": [[0, 0], [3, 90]]}}]})",
     "/layers/0/rotationZ/keys/1/0", "outside the composition"},
    {"position as text", R"({"layers": [{"name": "S", "type": "solid", "position": "centre"}]})", "/layers/0/position",
     "expected [x, y] or [x, y, z], got a string"},
    {"scale of four", R"({"layers": [{"name": "S", "type": "solid", "scale": [1, 2, 3, 4]}]})", "/layers/0/scale",
     "an array of 4 values"},
    {"video as number", R"({"layers": [{"name": "S", "type": "solid", "video": 1}]})", "/layers/0/video",
     "expected true or false, got a number"},
    {"2-D layer turned in 3-D", R"({"layers": [{"name": "S", "type": "solid", "rotationX": 30}]})", "/layers/0/rotationX",
     "needs a 3-D layer"},
    {"cone too wide", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "L", "type": "light", "light": {"coneAngle": 200}}]})",
     "/layers/1/light/coneAngle", "between 0 and 180"},
    {"shadows keyed", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "L", "type": "light", "light": {"castsShadows": {"keys": [[0, true]]}}}]})",
     "/layers/1/light/castsShadows", "expected true or false, got an object"},
    {"camera settings on a light", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "L", "type": "light", "camera": {}}]})",
     "/layers/1/camera", "unknown key 'camera'"},
    {"anchor on a camera", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "C", "type": "camera", "anchorPoint": [0, 0]}]})",
     "/layers/1/anchorPoint", "unknown key 'anchorPoint'"},
    {"unknown camera key", R"({"layers": [{"name": "S", "type": "solid"}, {"name": "C", "type": "camera", "camera": {"fov": 40}}]})",
     "/layers/1/camera/fov", "unknown key 'fov'"},
    {"unnamed images alike", R"({"layers": [{"name": "S", "type": "solid"}, {"type": "image", "file": "grid.pam"}, {"type": "image", "file": "grid.pam"}]})",
     "/layers/2", "duplicate layer name 'grid.pam' (also at /layers/1); give the layer a \"name\""},
    {"effect on a camera", R"({"layers": [{"name": "S", "type": "camera"}]})", "/effect/layer",
     "needs a solid or image layer; 'S' is a camera"},
    {"default distance zero", R"({"composition": {"defaultCameraDistance": 0}})", "/composition/defaultCameraDistance",
     "greater than 0"},
    // The effect and its parameters.
    {"effect on no layer", R"({"effect": {"layer": "Nope"}})", "/effect/layer", "no layer is named 'Nope'"},
    {"effect unknown key", R"({"effect": {"mask": 1}})", "/effect/mask", "unknown key 'mask'"},
    {"params not object", R"({"effect": {"params": [1]}})", "/effect/params", "expected an object, got an array"},
    {"keys not increasing", R"({"effect": {"params": {"Radius": {"keys": [[0.5, 1], [0.5, 2]]}}}})",
     "/effect/params/Radius/keys/1/0", "must increase"},
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

// Mistakes found in the text itself, before any value is read: broken JSON, keys written
// twice, numbers no double holds, comments and strings left open (whose messages quote only
// the start of what was read), and how messages name the values they refuse.
struct BadText {
    const char* label;
    std::string text;
    const char* start;       // what the message starts with ("" when the text is accepted)
    const char* has = "";    // words the message must hold
    const char* lacks = "";  // words it must not hold ("" for no such check)
    std::size_t maxSize = 1000;
};

void PrintTo(const BadText& c, std::ostream* os) { *os << c.label; }

class SceneTextErrors : public ::testing::TestWithParam<BadText> {};

TEST_P(SceneTextErrors, NameThePlaceInTheText)
{
    const BadText& c = GetParam();
    std::string message;
    try {
        parseSceneText(c.text, "x.json", "");
    } catch (const SceneError& e) {
        message = e.what();
    }
    EXPECT_EQ(message.rfind(c.start, 0), 0u) << message;
    EXPECT_EQ(message.empty(), !*c.start) << message;
    EXPECT_NE(message.find(c.has), std::string::npos) << message;
    if (*c.lacks) {
        EXPECT_EQ(message.find(c.lacks), std::string::npos) << "the library's own text leaked: " << message;
    }
    EXPECT_LT(message.size(), c.maxSize) << message;
}

std::string sceneWith(const std::string& composition, const std::string& layers, const std::string& tail = "}")
{
    return R"({"composition": )" + composition + R"(, "layers": )" + layers + R"(, "effect": {"layer": "S"})" + tail;
}

std::string times200(const std::string& text)
{
    std::string all;
    for (int i = 0; i < 200; ++i)
        all += text;
    return all;
}

const std::string kComp = R"({"width": 100, "height": 50})", kSolid = R"([{"name": "S", "type": "solid"}])";

const BadText kBadTexts[] = {
    {"malformed JSON", "{\n  \"composition\": {\"width\": 10,,\n}", "x.json: line 2, column 31: malformed JSON: "},
    {"document an array", "[1, 2]", "x.json: expected an object, got an array"},
    {"key twice", sceneWith(R"({"width": 100, "height": 50, "width": 200})", kSolid), "x.json: /composition/width: ",
     "the key 'width' appears twice"},
    {"key twice after arrays",
     sceneWith(kComp, R"([{"name": "A", "type": "null"}, [1, {"x": 2}],
                          {"name": "S", "type": "solid", "color": [1, 0, 0], "type": "null"}])"),
     "x.json: /layers/2/type: "},
    {"top-level key twice", R"({"render": {}, "render": {}, )" + sceneWith(kComp, kSolid).substr(1), "x.json: /render: "},
    {"parameter twice",
     R"({"composition": {"width": 10, "height": 10}, "layers": [{"name": "S", "type": "solid"}],
         "effect": {"layer": "S", "params": {"Radius": 1, "Radius": 2}}})",
     "x.json: /effect/params/Radius: "},
    {"same key in two objects", sceneWith(kComp, R"([{"name": "S", "type": "solid"}, {"name": "T", "type": "solid"}])"), ""},
    {"number beyond a double", sceneWith(R"({"width": 100, "height": 1e400})", kSolid), "x.json: /composition/height: ",
     "too large", "406"},
    {"number beyond a double in an array", sceneWith(kComp, R"([{"name": "S", "type": "solid", "color": [0, 1, -1e999]}])"),
     "x.json: /layers/0/color/2: "},
    {"open comment", sceneWith(kComp, kSolid, "\n  /* the rest of this file is a comment that never ends\n") +
                         times200("\"layer\": \"a long tail of text that must not come back in the message\",\n"),
     "x.json: line 2, column 3: ", "comment is never closed", "", 200},
    {"open string", R"({"composition": {"width": 100, "height": 50}, "layers": [{"name": "S)" + times200(" and the string goes on"),
     "x.json: line 1, column ", "", "", 300},
    {"colour above 1", sceneWith(kComp, R"([{"name": "S", "type": "solid", "color": [0, 1.5, 0]}])"),
     "x.json: /layers/0/color/1: component 2 of the colour is above 1 (1.5)"},
    {"colour below 0", sceneWith(kComp, R"([{"name": "S", "type": "solid", "color": [-0.5, 0, 0]}])"),
     "x.json: /layers/0/color/0: component 1 of the colour is below 0 (-0.5)"},
    {"nested too deep", sceneWith(kComp, std::string(100000, '[') + std::string(100000, ']')),
     "x.json: JSON nested deeper than 64 levels"},
};

INSTANTIATE_TEST_SUITE_P(BadText, SceneTextErrors, ::testing::ValuesIn(kBadTexts));

TEST(SceneFile, MissingSceneFileNamesTheFile)
{
    try {
        loadScene("/nonexistent/orbulon/scene.json");
        FAIL() << "loaded a scene that does not exist";
    } catch (const SceneError& e) {
        EXPECT_STREQ(e.what(), "/nonexistent/orbulon/scene.json: cannot read the scene file: No such file or directory");
    }
}

}  // namespace
}  // namespace orbhost
