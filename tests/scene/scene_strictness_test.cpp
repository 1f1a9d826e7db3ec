// What the scene reader refuses beyond types and ranges: keys written twice, numbers no double
// holds, comments left open; and how its messages name the values they refuse.
#include "host/scene/scene.h"

#include <gtest/gtest.h>

#include <string>

namespace orbhost {
namespace {

// The message parseSceneText gives for text, or "" when it accepts it.
std::string refusal(const std::string& text)
{
    try {
        parseSceneText(text, "x.json", "");
    } catch (const SceneError& e) {
        return e.what();
    }
    return {};
}

std::string sceneWith(const std::string& composition, const std::string& layers)
{
    return R"({"composition": )" + composition + R"(, "layers": )" + layers + R"(, "effect": {"layer": "S"}})";
}

constexpr const char* kComp = R"({"width": 100, "height": 50})";
constexpr const char* kLayers = R"([{"name": "S", "type": "solid"}])";

TEST(DuplicateKeys, AKeyWrittenTwiceIsRefusedWithItsPointer)
{
    const std::string message = refusal(sceneWith(R"({"width": 100, "height": 50, "width": 200})", kLayers));
    EXPECT_EQ(message.rfind("x.json: /composition/width: ", 0), 0u) << message;
    EXPECT_NE(message.find("the key 'width' appears twice"), std::string::npos) << message;
}

TEST(DuplicateKeys, PointerCountsArrayElementsBeforeTheDuplicate)
{
    const std::string layers =
        R"([{"name": "A", "type": "null"}, [1, {"x": 2}], {"name": "S", "type": "solid", "color": [1, 0, 0], "type": "null"}])";
    const std::string message = refusal(sceneWith(kComp, layers));
    EXPECT_EQ(message.rfind("x.json: /layers/2/type: ", 0), 0u) << message;
}

TEST(DuplicateKeys, TopLevelAndParameterDuplicatesAreRefused)
{
    std::string twice = sceneWith(kComp, kLayers);
    twice.insert(1, R"("render": {}, "render": {}, )");
    EXPECT_EQ(refusal(twice).rfind("x.json: /render: ", 0), 0u) << refusal(twice);
    const std::string text = R"({"composition": {"width": 10, "height": 10}, "layers": [{"name": "S", "type": "solid"}],
        "effect": {"layer": "S", "params": {"Radius": 1, "Radius": 2}}})";
    const std::string message = refusal(text);
    EXPECT_EQ(message.rfind("x.json: /effect/params/Radius: ", 0), 0u) << message;
}

TEST(DuplicateKeys, TheSameKeyInSeparateObjectsIsFine)
{
    const std::string layers = R"([{"name": "S", "type": "solid"}, {"name": "T", "type": "solid"}])";
    EXPECT_EQ(refusal(sceneWith(kComp, layers)), "");
}

TEST(NumberOverflow, ANumberBeyondADoubleNamesItsPlace)
{
    const std::string message = refusal(sceneWith(R"({"width": 100, "height": 1e400})", kLayers));
    EXPECT_EQ(message.rfind("x.json: /composition/height: ", 0), 0u) << message;
    EXPECT_NE(message.find("too large"), std::string::npos) << message;
    EXPECT_EQ(message.find("406"), std::string::npos) << "the library's own text leaked: " << message;
}

TEST(NumberOverflow, InsideAnArrayThePointerHasTheIndex)
{
    const std::string layers = R"([{"name": "S", "type": "solid", "color": [0, 1, -1e999]}])";
    const std::string message = refusal(sceneWith(kComp, layers));
    EXPECT_EQ(message.rfind("x.json: /layers/0/color/2: ", 0), 0u) << message;
}

TEST(OpenComment, NamesWhereTheCommentStartsWithoutEchoingTheFile)
{
    std::string text = sceneWith(kComp, kLayers);
    text.insert(text.size() - 1, "\n  /* the rest of this file is a comment that never ends\n");
    for (int i = 0; i < 200; ++i)
        text += "\"layer\": \"a long tail of text that must not come back in the message\",\n";
    const std::string message = refusal(text);
    EXPECT_EQ(message.rfind("x.json: line 2, column 3: ", 0), 0u) << message;
    EXPECT_NE(message.find("comment is never closed"), std::string::npos) << message;
    EXPECT_LT(message.size(), 200u) << message;
}

TEST(OpenComment, AnOpenStringShowsOnlyTheStartOfWhatWasRead)
{
    std::string text = R"({"composition": {"width": 100, "height": 50}, "layers": [{"name": "S)";
    for (int i = 0; i < 200; ++i)
        text += " and the string goes on";
    const std::string message = refusal(text);
    EXPECT_EQ(message.rfind("x.json: line 1, column ", 0), 0u) << message;
    EXPECT_LT(message.size(), 300u) << message;
}

TEST(ValueMessages, AColourComponentIsNamedByPositionAndSide)
{
    const std::string above = refusal(sceneWith(kComp, R"([{"name": "S", "type": "solid", "color": [0, 1.5, 0]}])"));
    EXPECT_EQ(above.rfind("x.json: /layers/0/color/1: component 2 of the colour is above 1 (1.5)", 0), 0u) << above;
    const std::string below = refusal(sceneWith(kComp, R"([{"name": "S", "type": "solid", "color": [-0.5, 0, 0]}])"));
    EXPECT_NE(below.find("component 1 of the colour is below 0 (-0.5)"), std::string::npos) << below;
}

}  // namespace
}  // namespace orbhost
