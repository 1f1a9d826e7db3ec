// The camera in the render context.
#include "assembly_support.h"

#include <cstring>

using namespace asmtest;

namespace {

std::string cameraLayer(const std::string& position, const std::string& settings, const std::string& extra = "")
{
    return R"({ "name": "Cam", "type": "camera", "position": )" + position +
           R"(, "pointOfInterest": [80, 60, 0], "camera": { )" + settings + " }" + extra + " },";
}

const std::string kLamp = R"({ "name": "Lamp", "type": "light", "position": [30, 10, -80], "light": { "type": "point" } },)";
constexpr double kDefaultDistance = 160 * 50.0 / 36;   // the host's default for a 160 pixel wide composition

} // namespace

TEST_F(AssemblyTest, DefaultCameraStandsCentredAtTheCompositionsDefaultDistance)
{
    struct Case {
        const char* name;
        std::string composition;   // empty: the default 160 × 120
        std::string layers;
        std::map<std::string, std::string> params;
        double distance = kDefaultDistance;
    };
    const Case cases[] = {
        {"no camera layer", "", "", {}},
        {"checkbox off, depth of field on", "", cameraLayer("[30, 20, -500]", R"("zoom": 300, "depthOfField": true)"),
         {{"Use Composition Camera", "false"}, {"Depth Of Field", R"("On")"}}},
        {"no camera but depth of field on", "", "", {{"Depth Of Field", R"("On")"}}},
        {"camera switched off", "", cameraLayer("[30, 20, -500]", R"("zoom": 300)", R"(, "video": false)"), {}},
        {"the composition's own distance",
         R"("width": 160, "height": 120, "frameRate": 10, "duration": 2, "defaultCameraDistance": 500)", "", {}, 500},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SceneSetup setup = sceneWith(c.params, c.layers);
        if (!c.composition.empty())
            setup.composition = c.composition;
        const Rendered r = renderScene(setup);
        ASSERT_EQ(r.result, PF_Err_NONE);
        const ContextSnapshot& x = r.ctx();
        const double d = c.distance;
        for (int i = 0; i < 3; ++i)
            expectNear(row(x.cameraToWorld, i), Vec3d{i == 0 ? 1. : 0, i == 1 ? 1. : 0, i == 2 ? 1. : 0}, "camera axis");
        expectNear(row(x.cameraToWorld, 3), {kWidth / 2.0, kHeight / 2.0, -d}, "camera position");
        EXPECT_FLOAT_EQ(x.viewCenterX, kWidth / 2.0);
        EXPECT_FLOAT_EQ(x.viewCenterY, kHeight / 2.0);
        EXPECT_NEAR(x.viewPlaneZ, -d, tol(d));
        EXPECT_TRUE(x.perspective);
        EXPECT_EQ(x.blurScale, 1.0);
        EXPECT_FALSE(x.depthOfFieldActive);
        // The sphere stands at (80, 60, 0), radius 40.
        expectNear(x.cameraOrigin, {0, 0, -d}, "cameraOrigin");
        // C in double from the eye's float lanes, summed y, x, z.
        const Vec3d o = row(x.cameraToSphere, 3);
        EXPECT_EQ(x.cameraQuadric, o[1] * o[1] * x.invRadiusSq.y + o[0] * o[0] * x.invRadiusSq.x +
                                       o[2] * o[2] * x.invRadiusSq.z - 1.0);
    }
}

// blur = zoom/focus × aperture/10 × "Boost DOF Blur" × blur level; depth of field takes two
// passes over the same context.
TEST_F(AssemblyTest, CompositionCameraGivesItsFrameZoomFocusAndBlur)
{
    struct Case {
        const char* name;
        std::string depthOfField;   // the effect's popup
        bool cameraDepthOfField;
        double focus;
        bool active;
    };
    const Case cases[] = {{"off", "Off", true, 200, false},
                          {"camera settings with camera blur", "Camera Settings", true, 200, true},
                          {"camera settings without camera blur", "Camera Settings", false, 200, false},
                          {"on overrides the camera", "On", false, 200, true},
                          {"focus below 1 is raised", "On", true, 0.5, true},
                          {"focus 0", "On", true, 0, true}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
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
        // zoom ÷ focus × (aperture ÷ 10 × (boost ÷ 100 × blur level as a fraction)), all in double.
        const double focus = std::max(1.0, c.focus), blur = 250.0 / focus * (30.0 / 10.0 * (150.0 / 100.0 * 0.8));
        EXPECT_NEAR(x.focusDistance, focus, tol(focus, 1e-9));
        EXPECT_EQ(x.blurScale, blur);
        EXPECT_EQ(x.depthOfFieldActive, c.active);
        EXPECT_EQ(x.depthOfFieldMode, c.depthOfField == "Off" ? 1u : c.depthOfField == "Camera Settings" ? 2u : 3u);
        expectNear(x.cameraOrigin, position - Vec3d{80, 60, 0}, "cameraOrigin");
        ASSERT_EQ(r.passes.size(), c.active ? 2u : 1u);
        for (const ContextSnapshot& pass : r.passes) {
            EXPECT_EQ(pass.address, x.address) << "every pass gets the same context";
            EXPECT_EQ(pass.blurScale, x.blurScale) << "the context stays as assembled between passes";
            EXPECT_EQ(std::memcmp(&pass.sphereToWorld, &x.sphereToWorld, sizeof(Matrix4)), 0);
        }
    }
}

TEST_F(AssemblyTest, OrthographicCameraInsideTheSphere)
{
    const Rendered r = renderScene(sceneWith(
        {}, R"({ "name": "Cam", "type": "camera", "position": [85, 62, -10], "pointOfInterest": [85, 62, 100],
                 "camera": { "type": "orthographic", "zoom": 300 } },)"));
    ASSERT_EQ(r.result, PF_Err_NONE);
    EXPECT_FALSE(r.ctx().perspective);
    expectNear(r.ctx().cameraOrigin, {5, 2, -10}, "cameraOrigin");
    EXPECT_NEAR(r.ctx().cameraQuadric, (25 + 4 + 100) / 1600.0 - 1, 1e-5);
}

TEST_F(AssemblyTest, NonSquarePixelsStretchXAboutTheCentre)
{
    for (const double aspect : {2.0, 0.9}) {
        SCOPED_TRACE("pixel aspect " + num(aspect));
        SceneSetup setup = sceneWith(
            {{"Control Layer", R"("Ctl")"}},
            cameraLayer("[120, 40, -300]", R"("zoom": 300)") + kLamp +
                R"({ "name": "Ctl", "type": "null", "threeD": true, "anchorPoint": [0, 0, 0], "position": [100, 70, 20] },)");
        setup.composition = R"("width": 160, "height": 120, "frameRate": 10, "duration": 2, "pixelAspect": )" + num(aspect);
        const Rendered r = renderScene(setup);
        ASSERT_EQ(r.result, PF_Err_NONE);
        const ContextSnapshot& x = r.ctx();
        EXPECT_NEAR(x.pixelAspect, aspect, 1e-9);
        const Vec3d centre{squareX(100, aspect, kWidth), 70, 20};
        expectNear(row(x.cameraToWorld, 3), {squareX(120, aspect, kWidth), 40, -300}, "camera position");
        expectNear(row(x.sphereToWorld, 3), centre, "control layer position");
        expectNear(xyz(x.radius), {100, 100, 100}, "control layer radius");
        ASSERT_EQ(x.lights.size(), 1u);
        expectNear(row(x.lights[0].lightToSphere, 3), Vec3d{squareX(30, aspect, kWidth), 10, -80} - centre, "light");
    }
}

TEST_F(AssemblyTest, DownsamplingKeepsGeometryAtFullResolution)
{
    for (const auto& [dx, dy] : {std::pair{1, 1}, std::pair{2, 2}, std::pair{3, 3}, std::pair{2, 3}}) {
        SCOPED_TRACE("downsample " + std::to_string(dx) + "×" + std::to_string(dy));
        const Rendered r = renderScene(sceneWith({{"Position XY", "[90, 42]"}, {"Texture", R"("Tex")"}}, kLamp),
                                       {0.0, 8, dx, dy});
        ASSERT_EQ(r.result, PF_Err_NONE);
        const ContextSnapshot& x = r.ctx();
        EXPECT_DOUBLE_EQ(x.downsampleX, 1.0 / dx);
        EXPECT_DOUBLE_EQ(x.downsampleY, 1.0 / dy);
        expectNear(row(x.sphereToWorld, 3), {90, 42, 0}, "sphere centre");
        expectNear(xyz(x.radius), {40, 40, 40}, "radius");
        expectNear(row(x.cameraToWorld, 3), {80, 60, -kDefaultDistance}, "camera position");
        ASSERT_EQ(x.lights.size(), 1u);
        expectNear(row(x.lights[0].lightToSphere, 3), {30 - 90, 10 - 42, -80}, "light position");
        EXPECT_EQ(x.texture.width, 60 / dx);
        EXPECT_EQ(x.texture.height, 48 / dy);
        EXPECT_DOUBLE_EQ(x.textureWidth, 60);
        EXPECT_DOUBLE_EQ(x.textureHeight, 48);
        EXPECT_EQ(x.output.width, (kWidth + dx - 1) / dx);
        EXPECT_EQ(x.iterations, x.output.width * x.output.height);
    }
}
