// What a scene's composition layers turn into: kinds, names, times, switches, transforms,
// parents and camera and light settings, with the defaults the format documents.
#include "host/scene/scene.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <tuple>

namespace orbhost {
namespace {

// 1920 wide: the default camera stands 1920 · 50 / 36 pixels from the image plane.
constexpr double kD = 1920.0 * 50.0 / 36.0;

Scene parse(const std::string& layers, const std::string& compExtra = "", const std::string& baseDir = "")
{
    return parseSceneText(R"({"composition": {"width": 1920, "height": 1080, "duration": 4)" + compExtra +
                              R"(}, "layers": [{"name": "Planet", "type": "solid"})" + layers +
                              R"(], "effect": {"layer": "Planet"}})",
                          "c.json", baseDir);
}

const Layer& layerNamed(const Scene& scene, const std::string& name)
{
    const Layer* layer = findLayer(scene, name);
    if (layer == nullptr) {
        throw std::runtime_error("no layer " + name);
    }
    return *layer;
}

void expectVec(const Animated<Vec3>& property, Vec3 expected, const char* what)
{
    ASSERT_EQ(property.keys.size(), 1u) << what;
    const Vec3 v = property.keys[0].second;
    EXPECT_NEAR(v.x, expected.x, 1e-9) << what;
    EXPECT_NEAR(v.y, expected.y, 1e-9) << what;
    EXPECT_NEAR(v.z, expected.z, 1e-9) << what;
}

double constant(const Animated<double>& property)
{
    return property.keys.size() == 1 ? property.keys[0].second : -12345.0;
}

TEST(CompositionParse, AvLayerDefaults)
{
    const Scene scene = parse("");
    const Layer& planet = effectLayer(scene);
    EXPECT_EQ(planet.kind, LayerKind::Solid);
    EXPECT_EQ(planet.name, "Planet");
    EXPECT_EQ(planet.sourceName, "Planet");
    EXPECT_EQ(planet.inPoint, 0.0);
    EXPECT_EQ(planet.duration, 4.0);
    EXPECT_TRUE(planet.videoOn);
    EXPECT_FALSE(planet.threeD);
    EXPECT_EQ(planet.parent, -1);
    expectVec(planet.transform.anchorPoint, {960, 540, 0}, "anchor");
    expectVec(planet.transform.position, {960, 540, 0}, "position");
    expectVec(planet.transform.scale, {100, 100, 100}, "scale");
    expectVec(planet.transform.orientation, {0, 0, 0}, "orientation");
    EXPECT_EQ(constant(planet.transform.rotationZ), 0.0);
    EXPECT_FALSE(planet.transform.hasPointOfInterest);
}

TEST(CompositionParse, CameraDefaultsToTheDefaultCamera)
{
    const Scene scene = parse(R"(, {"name": "Cam", "type": "camera"})");
    const Layer& cam = layerNamed(scene, "Cam");
    EXPECT_EQ(cam.kind, LayerKind::Camera);
    EXPECT_TRUE(cam.threeD);
    EXPECT_EQ(cam.sourceName, "");
    EXPECT_TRUE(cam.image.rgba.empty());
    expectVec(cam.transform.anchorPoint, {0, 0, 0}, "anchor");
    expectVec(cam.transform.position, {960, 540, -kD}, "position");
    expectVec(cam.transform.pointOfInterest, {960, 540, 0}, "point of interest");
    EXPECT_TRUE(cam.transform.hasPointOfInterest);
    EXPECT_EQ(cam.camera.type, CameraType::Perspective);
    EXPECT_NEAR(constant(cam.camera.zoom), kD, 1e-9);
    EXPECT_NEAR(constant(cam.camera.focusDistance), kD, 1e-9);
    EXPECT_EQ(constant(cam.camera.depthOfField), 0.0);
    EXPECT_EQ(constant(cam.camera.blurLevel), 100.0);
}

TEST(CompositionParse, CameraSettingsAndTheCompositionsDistance)
{
    const Scene scene = parse(R"(, {"name": "Cam", "type": "camera", "position": [0, 0, -500], "in": 1, "duration": 2,
        "video": false, "camera": {"type": "orthographic", "zoom": 800, "depthOfField": true, "aperture": 40}})",
                              R"(, "defaultCameraDistance": 1000)");
    EXPECT_EQ(scene.defaultCameraDistance, 1000.0);
    const Layer& cam = layerNamed(scene, "Cam");
    expectVec(cam.transform.position, {0, 0, -500}, "position");
    EXPECT_EQ(std::make_tuple(cam.inPoint, cam.duration, cam.videoOn), std::make_tuple(1.0, 2.0, false));
    EXPECT_EQ(cam.camera.type, CameraType::Orthographic);
    EXPECT_EQ(constant(cam.camera.zoom), 800.0);
    EXPECT_EQ(constant(cam.camera.focusDistance), 1000.0);
    EXPECT_EQ(constant(cam.camera.depthOfField), 1.0);
    EXPECT_EQ(constant(cam.camera.aperture), 40.0);

    const CompositionModel model = compositionModel(scene);
    EXPECT_EQ(model.defaultCameraDistance, 1000.0);
    EXPECT_EQ(std::make_tuple(model.width, model.height, model.duration), std::make_tuple(1920, 1080, 4.0));
    ASSERT_EQ(model.layers.size(), 2u);
    EXPECT_EQ(model.layers[1].displayName(), "Cam");
    EXPECT_EQ(constant(model.layers[1].camera.zoom), 800.0);
}

TEST(CompositionParse, LightAimsAtItsPointOfInterest)
{
    const Scene scene = parse(R"(, {"name": "Sun", "type": "light", "light": {}},
        {"name": "Spot", "type": "light", "position": [100, 200, -300], "pointOfInterest": [960, 540, 50],
         "light": {"type": "spot", "intensity": -50, "color": [1, 0.5, 0], "coneAngle": 60, "coneFeather": 10,
                   "castsShadows": true, "shadowDarkness": 70, "shadowDiffusion": 5}})");
    const Layer& sun = layerNamed(scene, "Sun");
    EXPECT_EQ(sun.light.type, LightType::Point);
    expectVec(sun.transform.position, {960 - kD / 3, 540 - kD / 3, -kD / 2}, "default light position");
    expectVec(sun.transform.pointOfInterest, {960, 540, 0}, "default light aim");
    EXPECT_EQ(constant(sun.light.intensity), 100.0);
    EXPECT_EQ(sun.light.color.keys.at(0).second, (std::array<double, 3>{1, 1, 1}));

    const Layer& spot = layerNamed(scene, "Spot");
    EXPECT_EQ(spot.light.type, LightType::Spot);
    expectVec(spot.transform.position, {100, 200, -300}, "position");
    expectVec(spot.transform.pointOfInterest, {960, 540, 50}, "point of interest");
    EXPECT_EQ(constant(spot.light.intensity), -50.0);
    EXPECT_EQ(spot.light.color.keys.at(0).second, (std::array<double, 3>{1, 0.5, 0}));
    EXPECT_EQ(std::make_tuple(constant(spot.light.coneAngle), constant(spot.light.coneFeather),
                              constant(spot.light.castsShadows), constant(spot.light.shadowDarkness),
                              constant(spot.light.shadowDiffusion)),
              std::make_tuple(60.0, 10.0, 1.0, 70.0, 5.0));
}

TEST(CompositionParse, NullParentChainResolvesToIndices)
{
    // Planet (0) -> Arm (2) -> Rig (1); parents may sit above or below their children.
    const Scene scene = parseSceneText(R"({"composition": {"width": 640, "height": 360},
      "layers": [{"name": "Planet", "type": "solid", "width": 200, "height": 100, "parent": "Arm", "threeD": true},
                 {"name": "Rig", "type": "null", "threeD": true, "orientation": [0, 45, 0]},
                 {"name": "Arm", "type": "null", "parent": "Rig", "anchorPoint": [10, 20]}],
      "effect": {"layer": "Planet"}})",
                                       "n.json", "");
    EXPECT_EQ(scene.layers[0].parent, 2);
    EXPECT_EQ(scene.layers[1].parent, -1);
    EXPECT_EQ(scene.layers[2].parent, 1);
    const Layer& rig = scene.layers[1];
    EXPECT_EQ(rig.kind, LayerKind::Null);
    EXPECT_EQ(std::make_pair(rig.width, rig.height), std::make_pair(100, 100));
    expectVec(rig.transform.anchorPoint, {0, 0, 0}, "null anchor: its top-left corner, as After Effects makes it");
    expectVec(rig.transform.orientation, {0, 45, 0}, "orientation");
    expectVec(scene.layers[2].transform.anchorPoint, {10, 20, 0}, "given anchor");
    expectVec(scene.layers[0].transform.anchorPoint, {100, 50, 0}, "solid anchor");
    EXPECT_TRUE(rig.image.rgba.empty()) << "a null's pixels are made only when checked out";
}

TEST(CompositionParse, KeyframedPropertiesKeepTheirKeys)
{
    const Scene scene = parse(R"(, {"name": "Moon", "type": "solid", "threeD": true,
        "position": {"keys": [[0, [0, 0]], [1.5, [100, 50, -20]], [4, [200, 0, 0]]]},
        "scale": [50, 25], "rotationY": {"keys": [[0, 0], [4, 360]]}})");
    const Layer& moon = layerNamed(scene, "Moon");
    const auto& keys = moon.transform.position.keys;
    ASSERT_EQ(keys.size(), 3u);
    EXPECT_EQ(keys[1].first, 1.5);
    EXPECT_EQ(std::make_tuple(keys[1].second.x, keys[1].second.y, keys[1].second.z), std::make_tuple(100.0, 50.0, -20.0));
    EXPECT_EQ(keys[0].second.z, 0.0);  // [x, y] has z = 0
    expectVec(moon.transform.scale, {50, 25, 100}, "2-D scale keeps z at 100 %");
    ASSERT_EQ(moon.transform.rotationY.keys.size(), 2u);
    EXPECT_EQ(moon.transform.rotationY.keys[1], std::make_pair(4.0, 360.0));
}

TEST(CompositionParse, UnnamedImageGoesByItsFileName)
{
    testing::TempFolder folder("comp");
    writeImage(folder.file("planet.pam"), solidImage(6, 4, 0, 1, 0, 1), 8);
    const Scene scene = parse(R"(, {"type": "image", "file": "planet.pam"},
                                   {"name": "Named", "type": "image", "file": "planet.pam", "parent": "planet.pam"})",
                              "", folder.path());
    const Layer& image = layerNamed(scene, "planet.pam");
    EXPECT_EQ(image.name, "");
    EXPECT_EQ(image.sourceName, "planet.pam");
    EXPECT_EQ(image.pixelAspect, 1.0);
    expectVec(image.transform.anchorPoint, {3, 2, 0}, "image anchor");
    const Layer& named = layerNamed(scene, "Named");
    EXPECT_EQ(named.sourceName, "planet.pam");
    EXPECT_EQ(named.parent, 1);
}

TEST(CompositionParse, DocumentedLitSceneLoads)
{
    std::ifstream doc(ORBULON_SOURCE_DIR "/docs/scene-format.md");
    const std::string text((std::istreambuf_iterator<char>(doc)), std::istreambuf_iterator<char>());
    const size_t section = text.find("### A lit scene with a camera");
    const size_t start = text.find("```json\n", section);
    ASSERT_NE(section, std::string::npos);
    ASSERT_NE(start, std::string::npos);
    const size_t end = text.find("```", start + 8);
    const Scene scene = parseSceneText(text.substr(start + 8, end - start - 8), "doc.json", ORBULON_SOURCE_DIR "/scenes");
    const CompositionModel model = compositionModel(scene);
    ASSERT_EQ(model.layers.size(), 6u);
    EXPECT_EQ(model.layers[0].kind, LayerKind::Camera);
    EXPECT_EQ(model.layers[0].transform.position.keys.size(), 2u);
    EXPECT_EQ(model.layers[1].light.type, LightType::Spot);
    EXPECT_EQ(model.layers[2].light.type, LightType::Ambient);
    EXPECT_EQ(model.layers[4].parent, 3);
    EXPECT_EQ(effectLayer(scene).displayName(), "Sphere");
    EXPECT_EQ(model.layers[5].displayName(), "grid.pam");
    EXPECT_FALSE(model.layers[5].videoOn);
}

}  // namespace
}  // namespace orbhost
