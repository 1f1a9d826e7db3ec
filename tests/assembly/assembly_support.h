// Renders small scenes with the real module and keeps a copy of the render context it hands
// each iterate pass.
#pragma once
#include "host/core/effect_host.h"
#include "host/core/host_state.h"
#include "host/core/scene_binding.h"
#include "host/scene/scene.h"
#include "scene/render_context.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace asmtest {

inline constexpr int kWidth = 160, kHeight = 120;   // the default composition and effect layer

inline std::string modulePath() { return std::string(ORBULON_BUILD_DIR) + "/Orbulon.so"; }

// One light record, copied out of host memory while the render still owns it.
struct LightSnapshot {
    Matrix4 lightToSphere;
    std::array<float, 4> argb{};   // alpha, red, green, blue
    A_long lightType = -1;
    double intensity = 0, cosHalfCone = 0, coneFeather = 0;
    float shadowDarkness = 0;
    double shadowDiffusion = 0;
    bool castsShadows = false;
};

struct WorldShape {
    A_long width = 0, height = 0, rowbytes = 0;
    bool hasPixels = false;
};

#define ASMTEST_PLAIN_FIELDS(X)                                                                                   \
    X(downsampleX) X(downsampleY) X(pixelAspect) X(sphereToWorld) X(worldToSphere) X(radius) X(radiusSq)          \
    X(invRadius) X(invRadiusSq) X(openInverted) X(slideTurns) X(textureWidth) X(textureHeight) X(pixelFormat)     \
    X(viewCenterX) X(viewCenterY) X(viewPlaneZ) X(cameraToWorld) X(cameraToSphere) X(showPivot) X(openScale)      \
    X(fixedPointU) X(fixedPointV) X(falloffMode) X(falloffRadius) X(falloffDistance) X(selfShadow)               \
    X(lightTransmission) X(emit) X(ambient) X(diffuse) X(specular) X(shininess) X(metal) X(reflectionIntensity)   \
    X(reflectionRolloff) X(cameraQuadric) X(renderSide) X(depthOfFieldMode) X(perspective) X(depthOfFieldActive) \
    X(focusDistance) X(blurScale) X(sharpnessFactor) X(depthCompositeMode) X(depthRange) X(startDepth) X(fogColor)

struct ContextSnapshot {
#define ASMTEST_DECLARE(field) decltype(RenderContext::field) field{};
    ASMTEST_PLAIN_FIELDS(ASMTEST_DECLARE)
#undef ASMTEST_DECLARE
    const void* address = nullptr;
    A_long iterations = 0;
    WorldShape texture, reflection, output;
    A_long lightCapacity = 0;
    std::vector<LightSnapshot> lights;
    std::array<double, 3> cameraOrigin{};
    std::array<bool, 4> passWorldsSet{};
};

inline std::array<float, 4> argbOf(const Colour& c) { return {c.alpha, c.red, c.green, c.blue}; }

inline WorldShape shapeOf(const PF_EffectWorld& w) { return {w.width, w.height, w.rowbytes, w.data != nullptr}; }

inline ContextSnapshot snapshot(const RenderContext& c, A_long iterations)
{
    ContextSnapshot s;
#define ASMTEST_COPY(field) s.field = c.field;
    ASMTEST_PLAIN_FIELDS(ASMTEST_COPY)
#undef ASMTEST_COPY
    s.address = &c;
    s.iterations = iterations;
    s.texture = shapeOf(c.textureWorld), s.reflection = shapeOf(c.reflectionWorld);
    s.output = c.outputWorld ? shapeOf(*c.outputWorld) : WorldShape{};
    s.lightCapacity = c.lights.capacity;
    for (A_long i = 0; i < c.lights.count; ++i) {
        const LightRecord& r = *c.lights.items[i];
        LightSnapshot l;
        l.lightToSphere = r.lightToSphere, l.argb = argbOf(r.color), l.lightType = r.lightType;
        l.intensity = r.intensity, l.cosHalfCone = r.cosHalfCone, l.coneFeather = r.coneFeather;
        l.shadowDarkness = r.shadowDarkness, l.shadowDiffusion = r.shadowDiffusion, l.castsShadows = r.castsShadows;
        s.lights.push_back(l);
    }
    s.cameraOrigin = {c.cameraOrigin[0], c.cameraOrigin[1], c.cameraOrigin[2]};
    for (int i = 0; i < 4; ++i) s.passWorldsSet[i] = c.passWorlds[i] != nullptr;
    return s;
}

// Layers above the effect's layer each end in a comma; parameter values are JSON text. The effect
// sits on "Sphere"; "Tex" (60 × 48) and "Refl" (30 × 12) can be chosen as texture and reflection map.
struct SceneSetup {
    std::string composition = R"("width": 160, "height": 120, "frameRate": 10, "duration": 2)";
    std::string layers;
    std::map<std::string, std::string> params;
    std::string sphereKeys;                      // extra keys of the effect's layer, e.g. its in point
    std::function<void(orbhost::Scene&)> edit;   // changes the scene text cannot express
};

// An unrotated sphere of radius 40 in the middle of the default composition, changed by `params`.
inline SceneSetup sceneWith(std::map<std::string, std::string> params, std::string layers = "")
{
    SceneSetup setup;
    setup.params = {{"Rotation X", "0"}, {"Rotation Y", "0"}, {"Rotation Z", "0"}, {"Radius", "40"},
                    {"Position XY", "[80, 60]"}, {"Position Z", "0"}, {"Use Composition Camera", "true"}};
    for (auto& [name, value] : params)
        setup.params[name] = value;
    setup.layers = std::move(layers);
    return setup;
}

inline std::string sceneJson(const SceneSetup& setup)
{
    std::ostringstream params;
    for (const auto& [name, value] : setup.params)
        params << (params.tellp() > 0 ? ", " : "") << '"' << name << "\": " << value;
    return "{ \"composition\": {" + setup.composition + "}, \"layers\": [" + setup.layers +
           R"( { "name": "Sphere", "type": "solid" )" + setup.sphereKeys + R"( },
               { "name": "Tex", "type": "solid", "width": 60, "height": 48, "color": [1, 0, 0] },
               { "name": "Refl", "type": "solid", "width": 30, "height": 12, "color": [0, 1, 0] } ],
           "effect": { "layer": "Sphere", "params": { )" +
           params.str() + " } } }";
}

struct Rendered {
    std::unique_ptr<orbhost::EffectHost> host;
    PF_Err result = -1;
    std::vector<ContextSnapshot> passes;   // one per iterate pass, in order
    int handleAttempts = 0;                // host_new_handle calls made by the render
    orbhost::Image image;                  // the rendered frame (straight RGBA floats)

    const ContextSnapshot& ctx() const
    {
        if (passes.empty())
            throw std::runtime_error("the render made no iterate pass");
        return passes.front();
    }
};

// Renders one frame; `prepare` runs just before it (fault plans). Every render must leave the
// host's accounts as they were, on every path, and draw no warning.
inline Rendered renderScene(const SceneSetup& setup, orbhost::FrameRequest request = {},
                            const std::function<void(orbhost::EffectHost&)>& prepare = {},
                            const std::string& module = modulePath())
{
    Rendered r;
    auto passes = std::make_shared<std::vector<ContextSnapshot>>();
    orbhost::HostConfig config;
    config.iterateObserver = [passes](const void* refcon, A_long iterations) {
        passes->push_back(snapshot(*static_cast<const RenderContext*>(refcon), iterations));
    };
    r.host = std::make_unique<orbhost::EffectHost>(module, config);
    if (r.host->start() != PF_Err_NONE) {
        ADD_FAILURE() << "the module did not start";
        return r;
    }
    orbhost::Scene scene = orbhost::parseSceneText(sceneJson(setup), "assembly.json", ".");
    if (setup.edit)
        setup.edit(scene);
    orbhost::bindScene(*r.host, scene);
    if (prepare)
        prepare(*r.host);
    const std::vector<orbhost::Imbalance> heldBefore = r.host->liveResources();
    const int attemptsBefore = r.host->state().faultCounters.handleAllocations;
    const std::size_t warningsBefore = r.host->warnings().size();
    r.result = r.host->renderFrame(request, &r.image);
    r.handleAttempts = r.host->state().faultCounters.handleAllocations - attemptsBefore;
    r.passes = *passes;

    const orbhost::CommandRecord& record = r.host->commandLog().back();
    EXPECT_EQ(record.cmd, PF_Cmd_SMART_RENDER);
    for (const orbhost::Imbalance& i : record.imbalances)
        ADD_FAILURE() << "the render left unbalanced: " << i.what << " (" << i.count << ")";
    for (std::size_t i = warningsBefore; i < r.host->warnings().size(); ++i)
        ADD_FAILURE() << "the host warned during the render: " << r.host->warnings()[i];
    const std::vector<orbhost::Imbalance> heldAfter = r.host->liveResources();
    EXPECT_EQ(heldAfter.size(), heldBefore.size()) << "the render left resources held";
    for (std::size_t i = 0; i < std::min(heldAfter.size(), heldBefore.size()); ++i)
        EXPECT_EQ(heldAfter[i].count, heldBefore[i].count) << heldAfter[i].what;
    return r;
}

template <class Base>
class SkipWithoutModule : public Base {
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(modulePath()))
            GTEST_SKIP() << modulePath() << " not built";
    }
};
using AssemblyTest = SkipWithoutModule<testing::Test>;
template <class Param>
using AssemblyParamTest = SkipWithoutModule<testing::TestWithParam<Param>>;

// Geometry helpers: rows of the context's single-precision matrices as doubles.
using Vec3d = std::array<double, 3>;

inline Vec3d row(const Matrix4& m, int i) { return {m.m[i][0], m.m[i][1], m.m[i][2]}; }
inline Vec3d xyz(Vec4 v) { return {v.x, v.y, v.z}; }
inline Vec3d operator-(Vec3d a, Vec3d b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
inline Vec3d operator+(Vec3d a, Vec3d b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
inline Vec3d operator*(Vec3d a, double s) { return {a[0] * s, a[1] * s, a[2] * s}; }
inline double dot(Vec3d a, Vec3d b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline double length(Vec3d a) { return std::sqrt(dot(a, a)); }
inline Vec3d normalized(Vec3d a) { return a * (1.0 / length(a)); }

inline Vec3d mapPoint(Vec3d p, const Matrix4& m)
{
    Vec3d r;
    for (int j = 0; j < 3; ++j)
        r[j] = p[0] * m.m[0][j] + p[1] * m.m[1][j] + p[2] * m.m[2][j] + m.m[3][j];
    return r;
}

inline Vec3d intoFrame(Vec3d world, const std::array<Vec3d, 3>& axes, Vec3d origin)
{
    const Vec3d d = world - origin;
    return {dot(d, axes[0]), dot(d, axes[1]), dot(d, axes[2])};
}

// A number as scene text, exactly (slider limits such as 0.998992919921875 must survive).
inline std::string num(double v)
{
    std::ostringstream o;
    o.precision(17);
    o << v;
    return o.str();
}

// Relative tolerance with an absolute floor, for values computed in single precision.
inline double tol(double expected, double relative = 1e-4) { return relative * std::max(1.0, std::abs(expected)); }

inline std::string str(Vec3d v)
{
    std::ostringstream o;
    o << '(' << v[0] << ", " << v[1] << ", " << v[2] << ')';
    return o.str();
}

inline void expectNear(Vec3d actual, Vec3d expected, const std::string& what, double relative = 1e-4)
{
    for (int i = 0; i < 3; ++i)
        if (!(std::abs(actual[i] - expected[i]) <= tol(expected[i], relative))) {
            ADD_FAILURE() << what << ": got " << str(actual) << ", expected " << str(expected);
            return;
        }
}

inline double squareX(double x, double pixelAspect, double width) { return (x - width / 2) * pixelAspect + width / 2; }

} // namespace asmtest
