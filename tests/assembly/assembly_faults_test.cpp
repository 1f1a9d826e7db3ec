// Scene assembly when the host fails it. A failure inside assembly never fails the frame: the
// object that met it answers with defaults, and each case names the fault-free scene that draws
// exactly the same pixels.
#include "assembly_support.h"

#include <set>

using namespace asmtest;

namespace {

// Three lights told apart by their intensity, each changing the picture.
struct LightLayerText {
    std::string name;
    std::string json;
};

const LightLayerText kLights[] = {
    {"A", R"({ "name": "A", "type": "light", "position": [10, 10, -150],
               "light": { "type": "point", "intensity": 100, "color": [1, 0.6, 0.4] } },)"},
    {"B", R"({ "name": "B", "type": "light", "position": [160, 20, -120],
               "light": { "type": "spot", "intensity": 80, "coneAngle": 60, "color": [0.4, 1, 0.6] } },)"},
    {"C", R"({ "name": "C", "type": "light", "position": [80, 140, -100],
               "light": { "type": "parallel", "intensity": 60, "color": [0.6, 0.4, 1] } },)"},
};

struct Look {
    std::string camera = "perspective";
    std::set<std::string> lights{"A", "B", "C"};
};

Look withLights(std::set<std::string> lights) { return {"perspective", std::move(lights)}; }
Look parallelView() { return {"orthographic", {"A", "B", "C"}}; }

SceneSetup sceneOf(const Look& look)
{
    std::string layers = R"({ "name": "Cam", "type": "camera", "position": [80, 60, -300],
                              "camera": { "type": ")" + look.camera + R"(", "zoom": 300 } },)";
    for (const LightLayerText& light : kLights)
        if (look.lights.count(light.name))
            layers += light.json;
    return sceneWith({}, layers);
}

const orbhost::FrameRequest kFloatFrame{0.0, 32, 1, 1};

int differingPixels(const orbhost::Image& a, const orbhost::Image& b)
{
    int differing = a.rgba.size() == b.rgba.size() ? 0 : -1;
    for (std::size_t i = 0; differing >= 0 && i < a.rgba.size(); i += 4)
        differing += !std::equal(&a.rgba[i], &a.rgba[i] + 4, &b.rgba[i]);
    return differing;
}

int opaquePixels(const orbhost::Image& image)
{
    int opaque = 0;
    for (std::size_t i = 3; i < image.rgba.size(); i += 4)
        opaque += image.rgba[i] > 0.0f;
    return opaque;
}

bool isDefined(const orbhost::Image& image)
{
    return !image.rgba.empty() && std::all_of(image.rgba.begin(), image.rgba.end(), [](float v) { return std::isfinite(v); });
}

using Plan = std::function<void(orbhost::EffectHost&)>;
using orbhost::EffectHost;

Plan failHandle(int nth)
{
    return [nth](EffectHost& h) { h.faults().failHandleAllocation = h.state().faultCounters.handleAllocations + nth; };
}
Plan failStream(int nth)
{
    return [nth](EffectHost& h) { h.faults().failStreamRead = h.state().faultCounters.streamReads + nth; };
}
Plan withoutSuite(const char* name) { return [name](EffectHost& h) { h.faults().unavailableSuites.insert(name); }; }
Plan refusing(const char* call) { return [call](EffectHost& h) { h.faults().failingCalls.insert(call); }; }
Plan refusingLayer(const char* layer) { return [layer](EffectHost& h) { h.faults().failingLayers.insert(layer); }; }

} // namespace

// The frame reads the camera's streams first (zoom, depth of field, focus distance, blur
// level, aperture: reads 1 to 5), then seven for each light (colour, intensity, cone angle,
// feather, shadow darkness, shadow diffusion, casts shadows): A 6 to 12, B 13 to 19, C 20 to
// 26. Each light takes a record, then a list one slot longer: handles 1 and 2 for A, 3 and 4
// for B, 5 and 6 for C.
TEST_F(AssemblyTest, AFaultInAssemblyDrawsWhatTheDefaultsDraw)
{
    struct Case {
        const char* name;
        Plan plan;
        Look picture;
        std::vector<double> lights;
    };
    const Case cases[] = {
        // Every light type reads −1, which lights nothing: the sphere shows its emission only.
        {"NoLightSuite", withoutSuite(kAEGPLightSuite), withLights({}), {100, 80, 60}},
        // The camera type reads −1, which is not perspective: the view is parallel.
        {"NoCameraSuite", withoutSuite(kAEGPCameraSuite), parallelView(), {100, 80, 60}},
        // Every query about B is refused; the first, its in point, already makes B no light.
        {"LayerBRefused", refusingLayer("B"), withLights({"A", "C"}), {100, 60}},
        {"NoLayerIsALight", refusing("AEGP_GetLayerObjectType"), withLights({}), {}},
        // The light type fails after the colour: the rest of each light reads as zeros.
        {"LightTypeRefused", refusing("AEGP_GetLightType"), withLights({}), {0, 0, 0}},
        // After the zoom the camera type is not read either: parallel view.
        {"CameraZoomRead", failStream(1), parallelView(), {100, 80, 60}},
        // Blur level and aperture only matter with depth of field, which is off.
        {"CameraBlurLevelRead", failStream(4), Look{}, {100, 80, 60}},
        {"ColourOfA", failStream(6), withLights({"B", "C"}), {0, 80, 60}},
        {"IntensityOfB", failStream(14), withLights({"A", "C"}), {100, 0, 60}},
        // From B's cone angle on its settings are zero and its transform too: it stands at the
        // sphere's centre with no cone, and nothing outside the sphere sees it.
        {"ConeAngleOfB", failStream(15), withLights({"A", "C"}), {100, 80, 60}},
        // C's transform is not read after its last stream: a parallel light without direction.
        {"CastsShadowsOfC", failStream(26), withLights({"A", "B"}), {100, 80, 60}},
        // Without memory for its record or a longer list a light is left out; the next one
        // still gets its place.
        {"RecordOfA", failHandle(1), withLights({"B", "C"}), {80, 60}},
        {"ListForA", failHandle(2), withLights({"B", "C"}), {80, 60}},
        {"ListForC", failHandle(6), withLights({"A", "B"}), {100, 80}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Rendered r = renderScene(sceneOf(Look{}), kFloatFrame, c.plan);
        ASSERT_EQ(r.result, PF_Err_NONE);
        std::vector<double> intensities;
        for (const LightSnapshot& l : r.ctx().lights)
            intensities.push_back(std::round(l.intensity * 100));
        EXPECT_EQ(intensities, c.lights);
        const Rendered expected = renderScene(sceneOf(c.picture), kFloatFrame);
        ASSERT_EQ(expected.result, PF_Err_NONE);
        EXPECT_GT(opaquePixels(expected.image), 0);
        EXPECT_EQ(differingPixels(r.image, expected.image), 0) << "pixels that differ from the expected picture";
    }
}

// With the host's default camera, no camera suite means distance 0: the camera is inside the
// sphere.
TEST_F(AssemblyTest, WithoutTheCameraSuiteTheDefaultCameraStandsAtDistanceZero)
{
    const Rendered r = renderScene(sceneWith({}), kFloatFrame, withoutSuite(kAEGPCameraSuite));
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    EXPECT_TRUE(x.perspective);
    EXPECT_EQ(x.viewPlaneZ, 0.0f);
    expectNear(row(x.cameraToWorld, 3), {80, 60, 0}, "camera position");
    EXPECT_LT(x.cameraQuadric, 0.0) << "the camera is inside the sphere";
    EXPECT_TRUE(isDefined(r.image));
    EXPECT_EQ(opaquePixels(r.image), kWidth * kHeight);
}

// A zero camera transform: rays without direction meet nothing.
TEST_F(AssemblyTest, ACameraThatCannotBeReadDrawsAnEmptyFrame)
{
    const Rendered r = renderScene(sceneOf(Look{}), kFloatFrame, refusingLayer("Cam"));
    ASSERT_EQ(r.result, PF_Err_NONE);
    EXPECT_FALSE(r.ctx().perspective);
    EXPECT_EQ(r.ctx().lights.size(), 3u);
    EXPECT_TRUE(std::all_of(r.image.rgba.begin(), r.image.rgba.end(), [](float v) { return v == 0.0f; }));
}

TEST_F(AssemblyTest, AnEffectLayerThatCannotBeReadStillGivesADefinedFrame)
{
    const Rendered r = renderScene(sceneOf(Look{}), kFloatFrame, refusingLayer("Sphere"));
    ASSERT_EQ(r.result, PF_Err_NONE);
    EXPECT_TRUE(r.ctx().lights.empty());
    EXPECT_EQ(r.ctx().viewCenterX, 0.0f);
    EXPECT_TRUE(isDefined(r.image));
}

// A ratio of {0, 1} collapses the x column of the layer's matrix about x = W/2 = 80; the layer,
// turned 45° about z, keeps only the y parts of its x and y axes, each of length √½.
TEST_F(AssemblyTest, AFailedRatioCollapsesTheControlLayersXColumn)
{
    const SceneSetup setup = sceneWith(
        {{"Control Layer", R"("Ctl")"}},
        R"({ "name": "Ctl", "type": "null", "threeD": true, "anchorPoint": [0, 0, 0], "position": [100, 70, 20],
             "rotationZ": 45 },)");
    const Rendered r = renderScene(setup, kFloatFrame, refusing("AEGP_GetItemPixelAspectRatio"));
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    const double s = std::sqrt(0.5), g = std::cbrt(0.5), q = std::sqrt(1 / g);
    expectNear(row(x.sphereToWorld, 0), {0, 1, 0}, "x axis");
    expectNear(row(x.sphereToWorld, 1), {0, 1, 0}, "y axis");
    expectNear(row(x.sphereToWorld, 2), {0, 0, 1}, "z axis");
    expectNear(row(x.sphereToWorld, 3), {80, 70, 20}, "centre");
    EXPECT_NEAR(x.radius.x, 100 * g / q, 1e-3) << "length " << s << " on x and y, 1 on z";
    EXPECT_NEAR(x.radius.y, 100 * g / q, 1e-3);
    EXPECT_NEAR(x.radius.z, 100, 1e-3);
    EXPECT_TRUE(isDefined(r.image));
}

namespace {

struct FailurePoint {
    const char* kind;
    int orbhost::FaultCounters::*attempts;
    int orbhost::FaultPlan::*failAt;
};

const char* const kFrameQueries[] = {
    "AEGP_GetEffectLayer",     "AEGP_ConvertEffectToCompTime", "AEGP_GetEffectCamera",
    "AEGP_GetLayerParentComp", "AEGP_GetItemFromComp",         "AEGP_GetItemDimensions",
    "AEGP_GetItemPixelAspectRatio", "AEGP_GetLayerSourceItem", "AEGP_GetLayerToWorldXform",
    "AEGP_GetLayerStreamValue", "AEGP_GetCameraType",          "AEGP_GetCompNumLayers",
    "AEGP_GetCompLayerByIndex", "AEGP_GetLayerInPoint",        "AEGP_GetLayerDuration",
    "AEGP_GetLayerObjectType", "AEGP_GetLayerFlags",           "AEGP_GetLightType",
};

} // namespace

// Every host call and AEGP query of a full frame fails once, in turn. Only the driver's own
// steps fail the frame, before any pass: the texture's checkout and a depth-of-field world.
TEST_F(AssemblyTest, OnlyTheDriversOwnStepsFailTheFrame)
{
    SceneSetup setup = sceneWith({{"Texture", R"("Tex")"}, {"Reflection Map", R"("Refl")"},
                                  {"Control Layer", R"("Ctl")"}, {"Depth Of Field", R"("On")"}},
                                 sceneOf(Look{}).layers + R"({ "name": "Ctl", "type": "null", "threeD": true },)");
    const FailurePoint points[] = {
        {"checkout", &orbhost::FaultCounters::checkouts, &orbhost::FaultPlan::failCheckout},
        {"handle", &orbhost::FaultCounters::handleAllocations, &orbhost::FaultPlan::failHandleAllocation},
        {"world", &orbhost::FaultCounters::worldCreations, &orbhost::FaultPlan::failWorldCreation},
        {"stream", &orbhost::FaultCounters::streamReads, &orbhost::FaultPlan::failStreamRead},
    };
    for (const FailurePoint& point : points) {
        int calls = 0;
        const Rendered clean = renderScene(setup, {}, [&](orbhost::EffectHost& host) {
            calls = -(host.state().faultCounters.*point.attempts);
        });
        ASSERT_EQ(clean.result, PF_Err_NONE);
        ASSERT_EQ(clean.passes.size(), 2u) << "depth of field takes the buffered and gather passes";
        calls += clean.host->state().faultCounters.*point.attempts;
        EXPECT_GT(calls, 0) << point.kind;
        for (int nth = 1; nth <= calls; ++nth) {
            SCOPED_TRACE(std::string(point.kind) + " " + std::to_string(nth) + " of " + std::to_string(calls));
            const Rendered r = renderScene(setup, {}, [&](orbhost::EffectHost& host) {
                host.faults().*point.failAt = host.state().faultCounters.*point.attempts + nth;
            });
            // The driver's checkouts come last: input and "Texture", then input and "Reflection
            // Map"; a failed first of a pair is replaced by the second, a missing map left out.
            const bool driversStep = point.attempts == &orbhost::FaultCounters::worldCreations ||
                                     (point.attempts == &orbhost::FaultCounters::checkouts && nth == calls - 2);
            EXPECT_EQ(r.result, driversStep ? PF_Err_OUT_OF_MEMORY : PF_Err_NONE);
            EXPECT_EQ(r.passes.empty(), driversStep) << "whether the frame is drawn";
        }
    }
    for (const char* query : kFrameQueries) {
        SCOPED_TRACE(query);
        int refused = 0;
        const Rendered r = renderScene(setup, {}, [&](orbhost::EffectHost& host) {
            host.faults().failingCalls.insert(query);
            refused = -host.state().faultCounters.refusedCalls;
        });
        refused += r.host->state().faultCounters.refusedCalls;
        EXPECT_GT(refused, 0) << "the frame makes this query";
        EXPECT_EQ(r.result, PF_Err_NONE);
        EXPECT_FALSE(r.passes.empty()) << "the frame is drawn";
    }
}
