// What a scene's composition layers turn into, defaults included; each layer is compared as one
// line of text holding every value it has.
#include "host/scene/scene.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <sstream>

namespace orbhost {
namespace {

std::string text(double v)
{
    std::ostringstream out;  // six significant digits
    out << v;
    return out.str();
}
std::string text(const Vec3& v) { return text(v.x) + "," + text(v.y) + "," + text(v.z); }
std::string text(const std::array<double, 3>& c) { return text(c[0]) + "," + text(c[1]) + "," + text(c[2]); }

// A constant as its value, keyframes as {time:value ...}.
template <class T>
std::string text(const Animated<T>& a)
{
    if (a.keys.size() == 1)
        return text(a.keys[0].second);
    std::string keys;
    for (const auto& [time, value] : a.keys)
        keys += (keys.empty() ? "" : " ") + text(time) + ":" + text(value);
    return "{" + keys + "}";
}

std::string summary(const LayerModel& l)
{
    const char* kinds[] = {"solid", "image", "null", "camera", "light"};
    const char* lights[] = {"parallel", "spot", "point", "ambient"};
    const LayerTransform& t = l.transform;
    std::ostringstream out;
    out << kinds[int(l.kind)] << " '" << l.name << "'/'" << l.sourceName << "' in " << l.inPoint << " for "
        << l.duration << (l.videoOn ? "" : " off") << (l.threeD ? " 3d" : "") << " parent " << l.parent;
    if (l.kind != LayerKind::Camera && l.kind != LayerKind::Light)
        out << " " << l.width << "x" << l.height << " aspect " << l.pixelAspect;
    out << "; anchor " << text(t.anchorPoint) << " position " << text(t.position) << " scale " << text(t.scale)
        << " orientation " << text(t.orientation) << " rotation " << text(t.rotationX) << " " << text(t.rotationY)
        << " " << text(t.rotationZ);
    if (t.hasPointOfInterest)
        out << " aim " << text(t.pointOfInterest);
    if (l.kind == LayerKind::Camera)
        out << "; " << (l.camera.type == CameraType::Perspective ? "perspective" : "orthographic") << " zoom "
            << text(l.camera.zoom) << " focus " << text(l.camera.focusDistance) << " dof "
            << text(l.camera.depthOfField) << " aperture " << text(l.camera.aperture) << " blur "
            << text(l.camera.blurLevel);
    if (l.kind == LayerKind::Light)
        out << "; " << lights[int(l.light.type)] << " intensity " << text(l.light.intensity) << " colour "
            << text(l.light.color) << " cone " << text(l.light.coneAngle) << " feather " << text(l.light.coneFeather)
            << " shadows " << text(l.light.castsShadows) << " darkness " << text(l.light.shadowDarkness)
            << " diffusion " << text(l.light.shadowDiffusion);
    return out.str();
}

Scene parse(const std::string& layers, const std::string& compExtra = "", const std::string& baseDir = "")
{
    return parseSceneText(R"({"composition": {"width": 1920, "height": 1080, "duration": 4)" + compExtra +
                              R"(}, "layers": [{"name": "Planet", "type": "solid"})" + layers +
                              R"(], "effect": {"layer": "Planet"}})",
                          "c.json", baseDir);
}

void expectLayers(const Scene& scene, const std::vector<std::string>& expected)
{
    ASSERT_EQ(scene.layers.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(summary(scene.layers[i]), expected[i]) << "layer " << i;
}

// 1920 wide: the default camera stands 1920 · 50 / 36 = 2666.67 pixels from the image plane; the
// default light stands up, left and in front of the centre, a third, a third and half of that.
TEST(CompositionParse, EachKindOfLayerTakesItsDefaults)
{
    testing::TempFolder folder("comp");
    writeImage(folder.file("planet.pam"), solidImage(6, 4, 0, 1, 0, 1), 8);
    const Scene scene = parse(R"(, {"name": "Cam", "type": "camera"}, {"name": "Sun", "type": "light", "light": {}},
                                   {"name": "Rig", "type": "null"}, {"type": "image", "file": "planet.pam"},
                                   {"name": "Named", "type": "image", "file": "planet.pam", "parent": "planet.pam"})",
                              "", folder.path());
    expectLayers(
        scene,
        {"solid 'Planet'/'Planet' in 0 for 4 parent -1 1920x1080 aspect 1; anchor 960,540,0 position 960,540,0 "
         "scale 100,100,100 orientation 0,0,0 rotation 0 0 0",
         "camera 'Cam'/'' in 0 for 4 3d parent -1; anchor 0,0,0 position 960,540,-2666.67 scale 100,100,100 "
         "orientation 0,0,0 rotation 0 0 0 aim 960,540,0; perspective zoom 2666.67 focus 2666.67 dof 0 aperture 25.3 "
         "blur 100",
         "light 'Sun'/'' in 0 for 4 3d parent -1; anchor 0,0,0 position 71.1111,-348.889,-1333.33 scale 100,100,100 "
         "orientation 0,0,0 rotation 0 0 0 aim 960,540,0; point intensity 100 colour 1,1,1 cone 90 feather 50 "
         "shadows 0 darkness 100 diffusion 0",
         // A null's anchor is its top-left corner, as After Effects makes it.
         "null 'Rig'/'Rig' in 0 for 4 parent -1 100x100 aspect 1; anchor 0,0,0 position 960,540,0 "
         "scale 100,100,100 orientation 0,0,0 rotation 0 0 0",
         // An unnamed image goes by its file name.
         "image ''/'planet.pam' in 0 for 4 parent -1 6x4 aspect 1; anchor 3,2,0 position 960,540,0 "
         "scale 100,100,100 orientation 0,0,0 rotation 0 0 0",
         "image 'Named'/'planet.pam' in 0 for 4 parent 4 6x4 aspect 1; anchor 3,2,0 position 960,540,0 "
         "scale 100,100,100 orientation 0,0,0 rotation 0 0 0"});
    EXPECT_EQ(findLayer(scene, "planet.pam"), &scene.layers[4]);
    for (const Layer& layer : scene.layers)
        EXPECT_TRUE(layer.image.rgba.empty()) << layer.displayName() << ": pixels are made only when checked out";
}

TEST(CompositionParse, GivenSettingsKeysAndParentsAreKept)
{
    const Scene scene = parse(
        R"(, {"name": "Cam", "type": "camera", "position": [0, 0, -500], "in": 1, "duration": 2, "video": false,
              "parent": "Arm", "camera": {"type": "orthographic", "zoom": 800, "depthOfField": true, "aperture": 40}},
           {"name": "Spot", "type": "light", "position": [100, 200, -300], "pointOfInterest": [960, 540, 50],
            "light": {"type": "spot", "intensity": -50, "color": [1, 0.5, 0], "coneAngle": 60, "coneFeather": 10,
                      "castsShadows": true, "shadowDarkness": 70, "shadowDiffusion": 5}},
           {"name": "Fill", "type": "light", "position": [1, 2, 3], "light": {"type": "ambient"}},
           {"name": "Rig", "type": "null", "threeD": true, "orientation": [0, 45, 0]},
           {"name": "Arm", "type": "null", "parent": "Rig", "anchorPoint": [10, 20]},
           {"name": "Moon", "type": "solid", "threeD": true, "width": 200, "height": 100, "parent": "Arm",
            "position": {"keys": [[0, [0, 0]], [1.5, [100, 50, -20]], [4, [200, 0, 0]]]},
            "scale": [50, 25], "rotationY": {"keys": [[0, 0], [4, 360]]}})",
        R"(, "defaultCameraDistance": 1000)");
    EXPECT_EQ(scene.defaultCameraDistance, 1000.0);
    expectLayers(
        scene,
        {"solid 'Planet'/'Planet' in 0 for 4 parent -1 1920x1080 aspect 1; anchor 960,540,0 position 960,540,0 "
         "scale 100,100,100 orientation 0,0,0 rotation 0 0 0",
         // The focus distance defaults to the composition's camera distance.
         "camera 'Cam'/'' in 1 for 2 off 3d parent 5; anchor 0,0,0 position 0,0,-500 scale 100,100,100 "
         "orientation 0,0,0 rotation 0 0 0 aim 960,540,0; orthographic zoom 800 focus 1000 dof 1 aperture 40 blur 100",
         "light 'Spot'/'' in 0 for 4 3d parent -1; anchor 0,0,0 position 100,200,-300 scale 100,100,100 "
         "orientation 0,0,0 rotation 0 0 0 aim 960,540,50; spot intensity -50 colour 1,0.5,0 cone 60 feather 10 "
         "shadows 1 darkness 70 diffusion 5",
         "light 'Fill'/'' in 0 for 4 3d parent -1; anchor 0,0,0 position 1,2,3 scale 100,100,100 "
         "orientation 0,0,0 rotation 0 0 0 aim 960,540,0; ambient intensity 100 colour 1,1,1 cone 90 feather 50 "
         "shadows 0 darkness 100 diffusion 0",
         "null 'Rig'/'Rig' in 0 for 4 3d parent -1 100x100 aspect 1; anchor 0,0,0 position 960,540,0 "
         "scale 100,100,100 orientation 0,45,0 rotation 0 0 0",
         "null 'Arm'/'Arm' in 0 for 4 parent 4 100x100 aspect 1; anchor 10,20,0 position 960,540,0 "
         "scale 100,100,100 orientation 0,0,0 rotation 0 0 0",
         // [x, y] has z = 0; a 2-D scale keeps z at 100 %.
         "solid 'Moon'/'Moon' in 0 for 4 3d parent 5 200x100 aspect 1; anchor 100,50,0 "
         "position {0:0,0,0 1.5:100,50,-20 4:200,0,0} scale 50,25,100 orientation 0,0,0 rotation 0 {0:0 4:360} 0"});

    const CompositionModel model = compositionModel(scene);
    EXPECT_EQ(model.defaultCameraDistance, 1000.0);
    EXPECT_EQ(std::make_tuple(model.width, model.height, model.duration), std::make_tuple(1920, 1080, 4.0));
    ASSERT_EQ(model.layers.size(), scene.layers.size());
    for (std::size_t i = 0; i < scene.layers.size(); ++i)
        EXPECT_EQ(summary(model.layers[i]), summary(scene.layers[i])) << "layer " << i;
}

}  // namespace
}  // namespace orbhost
