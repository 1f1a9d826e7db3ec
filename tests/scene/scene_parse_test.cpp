// What a valid scene file turns into: defaults, layer pixels, parameter tracks, frame counts.
#include "host/scene/scene.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

namespace orbhost {
namespace {

Scene parse(const std::string& text, const std::string& baseDir = "")
{
    return parseSceneText(text, "t.json", baseDir);
}

TEST(SceneParse, MinimalSceneTakesDefaults)
{
    const Scene scene = parse(R"({"composition": {"width": 64, "height": 32},
                                  "layers": [{"name": "S", "type": "solid"}], "effect": {"layer": "S"}})");
    EXPECT_EQ(scene.file, "t.json");
    EXPECT_EQ(scene.width, 64);
    EXPECT_EQ(scene.height, 32);
    EXPECT_EQ(scene.pixelAspect, 1.0);
    EXPECT_EQ(scene.frameRate, 25.0);
    EXPECT_EQ(scene.duration, 1.0);
    EXPECT_EQ(frameCount(scene), 25);
    EXPECT_TRUE(scene.params.empty());
    EXPECT_EQ(scene.render.bitDepth, 8);
    EXPECT_EQ(scene.render.downsampleX, 1);
    EXPECT_EQ(scene.render.downsampleY, 1);
    EXPECT_EQ(scene.render.firstFrame, 0);
    EXPECT_EQ(scene.render.lastFrame, 0);

    // A solid without a size fills the composition with opaque black.
    const Layer& solid = effectLayer(scene);
    EXPECT_EQ(solid.jsonPath, "/layers/0");
    EXPECT_EQ(solid.width, 64);
    EXPECT_EQ(solid.height, 32);
    EXPECT_EQ(solid.color, (std::array<float, 4>{0, 0, 0, 1}));
    EXPECT_TRUE(solid.image.rgba.empty()) << "a solid's pixels are made only when checked out";
}

TEST(SceneParse, ExplicitValuesAreKept)
{
    const Scene scene = parse(R"({
      "composition": {"width": 720, "height": 486, "pixelAspect": 0.9, "frameRate": 29.97, "duration": 10},
      "layers": [{"name": "Top", "type": "solid", "width": 20, "height": 10, "color": [0.25, 0.5, 1]},
                 {"name": "Sphere", "type": "solid", "color": [1, 0, 0, 0.5]}],
      "effect": {"layer": "Sphere"},
      "render": {"bitDepth": 32, "downsample": [2, 3], "frames": [10, 299]}})");
    EXPECT_EQ(scene.pixelAspect, 0.9);
    EXPECT_EQ(scene.frameRate, 29.97);
    EXPECT_EQ(frameCount(scene), 300);
    EXPECT_EQ(scene.effectLayer, "Sphere");
    EXPECT_EQ(effectLayer(scene).width, 720);
    EXPECT_EQ(effectLayer(scene).color[3], 0.5f);
    const Layer* top = findLayer(scene, "Top");
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(top->width, 20);
    EXPECT_EQ(top->color, (std::array<float, 4>{0.25f, 0.5f, 1, 1}));
    EXPECT_EQ(top->height, 10);
    EXPECT_EQ(findLayer(scene, "Nope"), nullptr);
    EXPECT_EQ(scene.render.bitDepth, 32);
    EXPECT_EQ(scene.render.downsampleX, 2);
    EXPECT_EQ(scene.render.downsampleY, 3);
    EXPECT_EQ(scene.render.firstFrame, 10);
    EXPECT_EQ(scene.render.lastFrame, 299);
}

TEST(SceneParse, SingleNumbersStandForBothAxesAndOneFrame)
{
    const Scene scene = parse(R"({"composition": {"width": 8, "height": 8, "duration": 2},
      "layers": [{"name": "S", "type": "solid"}], "effect": {"layer": "S"}, "render": {"downsample": 4, "frames": 49}})");
    EXPECT_EQ(std::make_pair(scene.render.downsampleX, scene.render.downsampleY), std::make_pair(4, 4));
    EXPECT_EQ(std::make_pair(scene.render.firstFrame, scene.render.lastFrame), std::make_pair(49, 49));
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
    EXPECT_EQ(image.kind, LayerKind::Image);
    EXPECT_EQ(image.file, folder.file("tex/a.pam"));
    EXPECT_EQ(image.width, 6);
    EXPECT_EQ(image.height, 3);
    EXPECT_TRUE(image.image.rgba.empty()) << "the pixels are decoded when the effect checks the layer out";
}

TEST(SceneParse, ExampleSceneLoads)
{
    const Scene scene = loadScene(ORBULON_SOURCE_DIR "/scenes/basic.json");
    EXPECT_EQ(scene.width, 640);
    EXPECT_EQ(effectLayer(scene).name, "Sphere");
    const Layer* grid = findLayer(scene, "UV Grid");
    ASSERT_NE(grid, nullptr);
    EXPECT_EQ(grid->width, 512);
    EXPECT_EQ(grid->height, 256);
    bool animated = false;
    for (const ParamTrack& track : scene.params) {
        animated = animated || track.keys.size() > 1;
    }
    EXPECT_TRUE(animated);
    EXPECT_EQ(scene.render.lastFrame, frameCount(scene) - 1);
}

}  // namespace
}  // namespace orbhost
