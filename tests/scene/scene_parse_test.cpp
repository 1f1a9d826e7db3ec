// What a valid scene file turns into: defaults, layer pixels, parameter tracks, frame counts.
#include "host/scene/scene.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <tuple>

namespace orbhost {
namespace {

Scene parse(const std::string& text, const std::string& baseDir = "")
{
    return parseSceneText(text, "t.json", baseDir);
}

std::tuple<int, int, int, int, int> renderSettings(const Scene& scene)
{
    const RenderSettings& r = scene.render;
    return {r.bitDepth, r.downsampleX, r.downsampleY, r.firstFrame, r.lastFrame};
}

TEST(SceneParse, MinimalSceneTakesDefaults)
{
    const Scene scene = parse(R"({"composition": {"width": 64, "height": 32},
                                  "layers": [{"name": "S", "type": "solid"}], "effect": {"layer": "S"}})");
    EXPECT_EQ(scene.file, "t.json");
    EXPECT_EQ(std::make_tuple(scene.width, scene.height, scene.pixelAspect, scene.frameRate, scene.duration),
              std::make_tuple(64, 32, 1.0, 25.0, 1.0));
    EXPECT_EQ(frameCount(scene), 25);
    EXPECT_TRUE(scene.params.empty());
    EXPECT_EQ(renderSettings(scene), std::make_tuple(8, 1, 1, 0, 0));
    // A solid without a size fills the composition with opaque black.
    const Layer& solid = effectLayer(scene);
    EXPECT_EQ(solid.jsonPath, "/layers/0");
    EXPECT_EQ(std::make_pair(solid.width, solid.height), std::make_pair(64, 32));
    EXPECT_EQ(solid.color, (std::array<float, 4>{0, 0, 0, 1}));
}

TEST(SceneParse, ExplicitValuesAreKept)
{
    const Scene scene = parse(R"({
      "composition": {"width": 720, "height": 486, "pixelAspect": 0.9, "frameRate": 29.97, "duration": 10},
      "layers": [{"name": "Top", "type": "solid", "width": 20, "height": 10, "color": [0.25, 0.5, 1]},
                 {"name": "Sphere", "type": "solid", "color": [1, 0, 0, 0.5]}],
      "effect": {"layer": "Sphere"},
      "render": {"bitDepth": 32, "downsample": [2, 3], "frames": [10, 299]}})");
    EXPECT_EQ(std::make_tuple(scene.pixelAspect, scene.frameRate, frameCount(scene)), std::make_tuple(0.9, 29.97, 300));
    EXPECT_EQ(scene.effectLayer, "Sphere");
    EXPECT_EQ(effectLayer(scene).width, 720);
    EXPECT_EQ(effectLayer(scene).color[3], 0.5f);
    const Layer* top = findLayer(scene, "Top");
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(std::make_pair(top->width, top->height), std::make_pair(20, 10));
    EXPECT_EQ(top->color, (std::array<float, 4>{0.25f, 0.5f, 1, 1}));
    EXPECT_EQ(findLayer(scene, "Nope"), nullptr);
    EXPECT_EQ(renderSettings(scene), std::make_tuple(32, 2, 3, 10, 299));
}

TEST(SceneParse, SingleNumbersStandForBothAxesAndOneFrame)
{
    const Scene scene = parse(R"({"composition": {"width": 8, "height": 8, "duration": 2},
      "layers": [{"name": "S", "type": "solid"}], "effect": {"layer": "S"}, "render": {"downsample": 4, "frames": 49}})");
    EXPECT_EQ(renderSettings(scene), std::make_tuple(8, 4, 4, 49, 49));
}

TEST(SceneParse, FrameCountCountsFramesStartingBeforeTheEnd)
{
    struct Case { double rate, duration; int frames; };
    for (const Case c : {Case{25, 2, 50}, Case{29.97, 10, 300}, Case{25, 1.001, 26}, Case{24, 0.01, 1},
                         Case{30000.0 / 1001.0, 1001.0 / 30000.0 * 7, 7}}) {
        Scene scene;
        scene.frameRate = c.rate;
        scene.duration = c.duration;
        EXPECT_EQ(frameCount(scene), c.frames) << c.rate << " fps for " << c.duration << " s";
    }
}

TEST(SceneParse, ParametersBecomeTracks)
{
    const Scene scene = parse(R"({"composition": {"width": 8, "height": 8, "duration": 2},
      "layers": [{"name": "S", "type": "solid"}],
      "effect": {"layer": "S", "params": {
        "Radius": 300, "Texture": null, "Ellipse Z/XY": 0.5,
        "Rotation Y": {"keys": [[0, 0], [1.5, [1, 2]], [2, "x"]]}}}})");
    ASSERT_EQ(scene.params.size(), 4u);
    for (const ParamTrack& track : scene.params) {
        if (track.name == "Radius") {
            ASSERT_EQ(track.keys.size(), 1u);
            EXPECT_EQ(track.keys[0].time, 0.0);
            EXPECT_EQ(track.keys[0].value, 300);
            EXPECT_EQ(track.jsonPath, "/effect/params/Radius");
        } else if (track.name == "Texture") {
            EXPECT_TRUE(track.keys.at(0).value.is_null());
        } else if (track.name == "Ellipse Z/XY") {
            EXPECT_EQ(track.jsonPath, "/effect/params/Ellipse Z~1XY");
        } else {
            EXPECT_EQ(track.name, "Rotation Y");
            ASSERT_EQ(track.keys.size(), 3u);
            EXPECT_EQ(track.keys[1].time, 1.5);
            EXPECT_EQ(track.keys[1].value, nlohmann::json::array({1, 2}));
            EXPECT_EQ(track.keys[2].value, "x");
        }
    }
}

TEST(SceneParse, ImageLayersLoadRelativeToTheSceneFolder)
{
    testing::TempFolder folder("parse");
    std::filesystem::create_directories(folder.file("tex"));
    writeImage(folder.file("tex/a.pam"), solidImage(6, 3, 0, 1, 0, 1), 8);
    folder.write("scene.json", R"({"composition": {"width": 8, "height": 8},
      "layers": [{"name": "S", "type": "solid"}, {"name": "A", "type": "image", "file": "tex/a.pam"}],
      "effect": {"layer": "A", "params": {"Texture": "A"}}})");
    const Scene scene = loadScene(folder.file("scene.json"));
    const Layer& image = effectLayer(scene);
    EXPECT_EQ(image.file, folder.file("tex/a.pam"));
    EXPECT_EQ(std::make_pair(image.width, image.height), std::make_pair(6, 3));
    EXPECT_TRUE(image.image.rgba.empty()) << "the pixels are decoded when the effect checks the layer out";
}

}  // namespace
}  // namespace orbhost
