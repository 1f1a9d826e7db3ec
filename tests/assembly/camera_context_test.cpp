// The camera in the render context: the host's default camera, a composition camera with
// its depth of field, the camera seen from the sphere, non-square pixels and downsampling.
#include "assembly_support.h"

#include <cstring>

using namespace asmtest;

namespace {

std::string cameraLayer(const std::string& position, const std::string& settings, const std::string& extra = "")
{
    return R"({ "name": "Cam", "type": "camera", "position": )" + position +
           R"(, "pointOfInterest": [80, 60, 0], "camera": { )" + settings + " }" + extra + " },";
}

struct DefaultCameraCase {
    std::string name;
    std::string composition;   // empty: the default 160 × 120
    std::string layers;
    std::map<std::string, std::string> params;
    double distance;           // the host's default camera distance for that composition
    std::array<Vec3d, 3> sphereAxes{Vec3d{1, 0, 0}, Vec3d{0, 1, 0}, Vec3d{0, 0, 1}};
};

void PrintTo(const DefaultCameraCase& c, std::ostream* os) { *os << c.name; }

class DefaultCamera : public AssemblyParamTest<DefaultCameraCase> {};

} // namespace

// Without a usable composition camera the sphere is seen from the host's default camera:
// centred on the frame, looking along +z from its default distance, never blurred.
TEST_P(DefaultCamera, StandsCentredAtTheCompositionsDefaultDistance)
{
    const DefaultCameraCase& c = GetParam();
    SceneSetup setup = sceneWith(c.params, c.layers);
    if (!c.composition.empty())
        setup.composition = c.composition;
    const Rendered r = renderScene(setup);
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    const double w = kWidth, h = kHeight, d = c.distance;
    expectNear(row(x.cameraToWorld, 0), {1, 0, 0}, "camera x axis");
    expectNear(row(x.cameraToWorld, 1), {0, 1, 0}, "camera y axis");
    expectNear(row(x.cameraToWorld, 2), {0, 0, 1}, "camera z axis");
    expectNear(row(x.cameraToWorld, 3), {w / 2, h / 2, -d}, "camera position");
    EXPECT_FLOAT_EQ(x.viewCenterX, w / 2);
    EXPECT_FLOAT_EQ(x.viewCenterY, h / 2);
    EXPECT_NEAR(x.viewPlaneZ, -d, tol(d));
    EXPECT_TRUE(x.perspective);
    EXPECT_EQ(x.blurScale, 1.0);
    EXPECT_FALSE(x.depthOfFieldActive);
    EXPECT_EQ(r.passes.size(), 1u);
    EXPECT_EQ(r.host->iteratePasses().size(), 1u);
    EXPECT_EQ(x.iterations, kWidth * kHeight);

    // The camera in the sphere's frame (the sphere stands at (80, 60, 0), radius 40).
    const Vec3d origin = intoFrame({w / 2, h / 2, -d}, c.sphereAxes, {80, 60, 0});
    expectNear(x.cameraOrigin, origin, "cameraOrigin");
    expectNear(row(x.cameraToSphere, 3), origin, "cameraToSphere position");
    EXPECT_NEAR(x.cameraQuadric, dot(origin, origin) / 1600 - 1, tol(dot(origin, origin) / 1600));
}

INSTANTIATE_TEST_SUITE_P(
    Assembly, DefaultCamera,
    testing::Values(
        DefaultCameraCase{"NoCameraLayer", "", "", {}, 160 * 50.0 / 36},
        DefaultCameraCase{"CheckboxOffWithDepthOfFieldOn", "",
                          cameraLayer("[30, 20, -500]", R"("zoom": 300, "depthOfField": true)"),
                          {{"Use Composition Camera", "false"}, {"Depth Of Field", R"("On")"}},
                          160 * 50.0 / 36},
        DefaultCameraCase{"NoCameraButDepthOfFieldOn", "", "", {{"Depth Of Field", R"("On")"}}, 160 * 50.0 / 36},
        DefaultCameraCase{"CameraSwitchedOff", "",
                          cameraLayer("[30, 20, -500]", R"("zoom": 300)", R"(, "video": false)"), {},
                          160 * 50.0 / 36},
        DefaultCameraCase{"CompositionsOwnDistance",
                          R"("width": 160, "height": 120, "frameRate": 10, "duration": 2, "defaultCameraDistance": 500)",
                          "", {}, 500},
        DefaultCameraCase{"SphereTurnedAboutZ", "", "", {{"Rotation Z", "90"}}, 160 * 50.0 / 36,
                          {Vec3d{0, 1, 0}, Vec3d{-1, 0, 0}, Vec3d{0, 0, 1}}}),
    [](const auto& info) { return info.param.name; });

namespace {

struct CameraCase {
    std::string name;
    std::string depthOfField;   // the effect's popup
    bool cameraDepthOfField;
    double focus;
    bool active;
};

void PrintTo(const CameraCase& c, std::ostream* os) { *os << c.name; }

class CompositionCamera : public AssemblyParamTest<CameraCase> {};

} // namespace

// A composition camera at (160, 20, −250) aiming at (80, 60, 0) with zoom 250, aperture 30
// and blur level 80 %, and "Boost DOF Blur" 150 %: blur = zoom/focus × aperture/10 × 1.5 × 0.8.
TEST_P(CompositionCamera, GivesItsFrameZoomFocusAndBlur)
{
    const CameraCase& c = GetParam();
    const std::string settings = R"("zoom": 250, "aperture": 30, "blurLevel": 80, "depthOfField": )" +
                                 std::string(c.cameraDepthOfField ? "true" : "false") +
                                 ", \"focusDistance\": " + num(c.focus);
    const Rendered r = renderScene(sceneWith({{"Depth Of Field", '"' + c.depthOfField + '"'}, {"Boost DOF Blur", "150"}},
                                             cameraLayer("[160, 20, -250]", settings)));
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    const Vec3d position{160, 20, -250};
    expectNear(row(x.cameraToWorld, 3), position, "camera position");
    expectNear(row(x.cameraToWorld, 2), normalized(Vec3d{80, 60, 0} - position), "viewing direction");
    EXPECT_NEAR(dot(row(x.cameraToWorld, 0), row(x.cameraToWorld, 2)), 0.0, 1e-5) << "x axis ⟂ viewing direction";
    EXPECT_FLOAT_EQ(x.viewPlaneZ, -250.0f);
    EXPECT_FLOAT_EQ(x.viewCenterX, kWidth / 2.0f);
    EXPECT_FLOAT_EQ(x.viewCenterY, kHeight / 2.0f);
    EXPECT_TRUE(x.perspective);
    const double focus = std::max(1.0, c.focus);
    EXPECT_NEAR(x.focusDistance, focus, tol(focus, 1e-9));
    const double blur = 250.0 / focus * 3.0 * 1.5 * 0.8;
    EXPECT_NEAR(x.blurScale, blur, tol(blur));
    EXPECT_EQ(x.depthOfFieldActive, c.active);
    EXPECT_EQ(x.depthOfFieldMode, c.depthOfField == "Off" ? 1u : c.depthOfField == "Camera Settings" ? 2u : 3u);

    // Depth of field renders in two passes over the same context, with its four scratch worlds.
    const std::size_t passes = c.active ? 2 : 1;
    ASSERT_EQ(r.passes.size(), passes);
    EXPECT_EQ(r.host->iteratePasses().size(), passes);
    for (const ContextSnapshot& pass : r.passes) {
        EXPECT_EQ(pass.address, x.address) << "every pass gets the same context";
        EXPECT_EQ(pass.iterations, kWidth * kHeight);
        EXPECT_EQ(pass.blurScale, x.blurScale) << "the context stays as assembled between passes";
        EXPECT_EQ(std::memcmp(&pass.sphereToWorld, &x.sphereToWorld, sizeof(Matrix4)), 0);
        if (c.active) {
            EXPECT_EQ(pass.passWorldsSet, (std::array<bool, 4>{true, true, true, true}));
        }
    }
    expectNear(x.cameraOrigin, position - Vec3d{80, 60, 0}, "cameraOrigin");
    EXPECT_GT(x.cameraQuadric, 0.0);
}

INSTANTIATE_TEST_SUITE_P(Assembly, CompositionCamera,
                         testing::Values(CameraCase{"DepthOfFieldOff", "Off", true, 200, false},
                                         CameraCase{"CameraSettingsWithCameraBlur", "Camera Settings", true, 200, true},
                                         CameraCase{"CameraSettingsWithoutCameraBlur", "Camera Settings", false, 200, false},
                                         CameraCase{"OnOverridesTheCamera", "On", false, 200, true},
                                         CameraCase{"FocusBelowOneIsRaised", "On", true, 0.5, true},
                                         CameraCase{"FocusZero", "On", true, 0, true}),
                         [](const auto& info) { return info.param.name; });

TEST_F(AssemblyTest, OrthographicCameraInsideTheSphere)
{
    // The camera at (85, 62, −10) stands inside the sphere of radius 40 about (80, 60, 0).
    const Rendered r = renderScene(sceneWith(
        {}, R"({ "name": "Cam", "type": "camera", "position": [85, 62, -10], "pointOfInterest": [85, 62, 100],
                 "camera": { "type": "orthographic", "zoom": 300 } },)"));
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    EXPECT_FALSE(x.perspective);
    expectNear(x.cameraOrigin, {5, 2, -10}, "cameraOrigin");
    EXPECT_NEAR(x.cameraQuadric, (25 + 4 + 100) / 1600.0 - 1, 1e-5);
    EXPECT_LT(x.cameraQuadric, 0.0);
}

namespace {
class NonSquarePixels : public AssemblyParamTest<double> {};
}

// In non-square composition pixels every x taken from the composition (camera, lights,
// control layer) is stretched about the frame's horizontal centre into square units.
TEST_P(NonSquarePixels, StretchXAboutTheCentre)
{
    const double aspect = GetParam();
    SceneSetup setup = sceneWith(
        {{"Control Layer", R"("Ctl")"}},
        cameraLayer("[120, 40, -300]", R"("zoom": 300)") +
            R"({ "name": "Lamp", "type": "light", "position": [30, 10, -80], "light": { "type": "point" } },
               { "name": "Ctl", "type": "null", "threeD": true, "anchorPoint": [0, 0, 0], "position": [100, 70, 20] },)");
    setup.composition = R"("width": 160, "height": 120, "frameRate": 10, "duration": 2, "pixelAspect": )" +
                       num(aspect);
    const Rendered r = renderScene(setup);
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    const std::string what = "pixel aspect " + num(aspect) + ": ";
    EXPECT_NEAR(x.pixelAspect, aspect, 1e-9);
    const Vec3d centre{squareX(100, aspect, kWidth), 70, 20};
    expectNear(row(x.cameraToWorld, 3), {squareX(120, aspect, kWidth), 40, -300}, what + "camera position");
    expectNear(row(x.sphereToWorld, 3), centre, what + "control layer position");
    expectNear(xyz(x.radius), {100, 100, 100}, what + "control layer radius");
    ASSERT_EQ(x.lights.size(), 1u);
    expectNear(row(x.lights[0].lightToSphere, 3), Vec3d{squareX(30, aspect, kWidth), 10, -80} - centre,
               what + "light position");
}

INSTANTIATE_TEST_SUITE_P(Assembly, NonSquarePixels, testing::Values(2.0, 0.9));

namespace {
class Downsampling : public AssemblyParamTest<std::pair<int, int>> {};
}

// At reduced resolution the geometry stays in full-resolution composition pixels; only the
// worlds shrink.
TEST_P(Downsampling, KeepsGeometryAtFullResolution)
{
    const auto [dx, dy] = GetParam();
    const Rendered r = renderScene(
        sceneWith({{"Position XY", "[90, 42]"}, {"Texture", R"("Tex")"}},
                  R"({ "name": "Lamp", "type": "light", "position": [30, 10, -80], "light": { "type": "point" } },)"),
        {0.0, 8, dx, dy});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    const std::string what = "downsample " + std::to_string(dx) + "×" + std::to_string(dy) + ": ";
    EXPECT_DOUBLE_EQ(x.downsampleX, 1.0 / dx) << what;
    EXPECT_DOUBLE_EQ(x.downsampleY, 1.0 / dy) << what;
    expectNear(row(x.sphereToWorld, 3), {90, 42, 0}, what + "sphere centre");
    expectNear(xyz(x.radius), {40, 40, 40}, what + "radius");
    expectNear(row(x.cameraToWorld, 3), {80, 60, -160 * 50.0 / 36}, what + "camera position");
    ASSERT_EQ(x.lights.size(), 1u) << what;
    expectNear(row(x.lights[0].lightToSphere, 3), {30 - 90, 10 - 42, -80}, what + "light position");
    EXPECT_EQ(x.texture.width, 60 / dx) << what;
    EXPECT_EQ(x.texture.height, 48 / dy) << what;
    EXPECT_DOUBLE_EQ(x.textureWidth, 60) << what;
    EXPECT_DOUBLE_EQ(x.textureHeight, 48) << what;
    EXPECT_EQ(x.output.width, (kWidth + dx - 1) / dx) << what;
    EXPECT_EQ(x.iterations, x.output.width * x.output.height) << what;
}

INSTANTIATE_TEST_SUITE_P(Assembly, Downsampling,
                         testing::Values(std::pair{1, 1}, std::pair{2, 2}, std::pair{3, 3}, std::pair{2, 3}));
