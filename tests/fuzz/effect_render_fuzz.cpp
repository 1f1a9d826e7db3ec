// The real Orbulon module rendering one tiny frame through the host library, with everything
// the effect reads decoded from the fuzzer's bytes: every parameter's raw value (16.16 values
// past every limit, NaN and infinities in the float sliders), which layers the layer
// parameters name, the camera, the lights and the control layer a composition can hold, the
// composition's pixel aspect, the time, the bit depth, the downsample factors and the host it
// poses as. The effect may refuse a frame with an error code; it may not crash, trip a
// sanitizer, or leave anything it took from the host unreturned.
#include "fuzz_bytes.h"
#include "host/core/effect_host.h"
#include "host/core/effect_module.h"
#include "host/scene/scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

using fuzz::FuzzBytes;
using namespace orbhost;

constexpr int kWidth = 32, kHeight = 24;   // the composition and the effect's layer
constexpr double kDuration = 1.0, kFrameRate = 25.0;

// Loaded once: libFuzzer sees the module's coverage counters from the start, and a dlopen per
// input would cost more than the render.
std::shared_ptr<EffectModule> module()
{
    static const std::shared_ptr<EffectModule> loaded =
        std::make_shared<EffectModule>(std::string(ORBULON_BUILD_DIR) + "/Orbulon.so");
    return loaded;
}

void require(bool holds, const std::string& promise)
{
    if (!holds) {
        std::fprintf(stderr, "the render breaks a promise: %s\n", promise.c_str());
        std::abort();
    }
}

Vec3 point(FuzzBytes& in) { return {in.finite(), in.finite(), in.finite()}; }

// A small spread of positions: near the composition, far away, or anything finite.
Vec3 place(FuzzBytes& in)
{
    switch (in.pick(3)) {
    case 0: return {kWidth / 2.0, kHeight / 2.0, -in.within(0, 200)};
    case 1: return {in.within(-100, 100), in.within(-100, 100), in.within(-500, 500)};
    default: return point(in);
    }
}

LayerModel cameraLayer(FuzzBytes& in)
{
    LayerModel layer;
    layer.name = layer.sourceName = "Camera";
    layer.kind = LayerKind::Camera;
    layer.threeD = true;
    layer.duration = kDuration;
    layer.videoOn = in.pick(4) != 0;
    layer.transform.position = place(in);
    layer.transform.hasPointOfInterest = true;
    // Aimed at itself now and then: a point of interest on the camera gives no direction.
    layer.transform.pointOfInterest = in.pick(8) == 0 ? layer.transform.position.at(0) : place(in);
    layer.transform.rotationZ = in.pick(2) ? 0.0 : in.finite();
    CameraSettings& c = layer.camera;
    c.type = in.flag() ? CameraType::Orthographic : CameraType::Perspective;
    c.zoom = in.pick(2) ? in.within(1, 500) : in.positive();
    c.depthOfField = in.flag() ? 1.0 : 0.0;
    c.focusDistance = in.pick(2) ? in.within(0, 500) : std::fabs(in.finite());
    c.aperture = in.pick(2) ? in.within(0, 100) : std::fabs(in.finite());
    c.blurLevel = in.pick(2) ? in.within(0, 200) : std::fabs(in.finite());
    return layer;
}

LayerModel lightLayer(FuzzBytes& in, int number)
{
    LayerModel layer;
    layer.name = layer.sourceName = "Light " + std::to_string(number);
    layer.kind = LayerKind::Light;
    layer.threeD = true;
    layer.duration = kDuration;
    layer.videoOn = in.pick(4) != 0;
    layer.transform.position = place(in);
    layer.transform.hasPointOfInterest = true;
    layer.transform.pointOfInterest = in.pick(8) == 0 ? layer.transform.position.at(0) : place(in);
    LightSettings& l = layer.light;
    static const LightType types[] = {LightType::Parallel, LightType::Spot, LightType::Point, LightType::Ambient};
    l.type = in.oneOf(types);
    l.intensity = in.pick(2) ? in.within(-200, 300) : in.finite();
    l.color = std::array<double, 3>{in.within(0, 1), in.within(0, 1), in.within(0, 1)};
    l.coneAngle = in.within(0, 180);
    l.coneFeather = in.within(0, 100);
    l.castsShadows = in.flag() ? 1.0 : 0.0;
    l.shadowDarkness = in.within(0, 100);
    l.shadowDiffusion = in.pick(2) ? in.within(0, 50) : std::fabs(in.finite());
    return layer;
}

// A 3-D null for "Control Layer": its scale (zero and negative included) shapes the ellipsoid.
LayerModel controlLayer(FuzzBytes& in)
{
    LayerModel layer;
    layer.name = layer.sourceName = "Control";
    layer.kind = LayerKind::Null;
    layer.threeD = true;
    layer.duration = kDuration;
    layer.width = layer.height = 100;
    layer.transform.anchorPoint = Vec3{50, 50, 0};
    layer.transform.position = place(in);
    layer.transform.scale = in.pick(2) ? Vec3{in.within(-300, 300), in.within(-300, 300), in.within(-300, 300)}
                                       : point(in);
    layer.transform.rotationX = in.finite();
    layer.transform.rotationY = in.finite();
    layer.transform.rotationZ = in.finite();
    return layer;
}

// Texture and reflection pixels: ordinary colours, and the out-of-range values, NaN and
// infinities a float file (EXR) can hold.
Image smallImage(FuzzBytes& in, int width, int height)
{
    Image image = solidImage(width, height, 0, 0, 0, 1);
    static const float specials[] = {0.0f, 1.0f, 0.5f, -1.0f, 4.0f, 1e30f, std::numeric_limits<float>::quiet_NaN(),
                                     std::numeric_limits<float>::infinity()};
    const bool wild = in.pick(4) == 0;
    for (float& v : image.rgba)
        v = wild ? in.oneOf(specials) : float(in.byte()) / 255.0f;
    return image;
}

// The raw 16.16 value the effect will read: anything at all, the limits of the type, the
// parameter's own valid range and just past it.
double fixedValue(FuzzBytes& in, PF_Fixed validMin, PF_Fixed validMax)
{
    std::int64_t raw;
    switch (in.pick(6)) {
    case 0: raw = std::int32_t(in.u32()); break;
    case 1: raw = in.flag() ? INT32_MIN : INT32_MAX; break;
    case 2: raw = std::int64_t(validMin) - 1; break;
    case 3: raw = std::int64_t(validMax) + 1; break;
    default:
        raw = std::int64_t(validMin) + std::int64_t(in.u32() % (std::uint64_t(std::int64_t(validMax) - validMin) + 1));
    }
    raw = std::clamp<std::int64_t>(raw, INT32_MIN, INT32_MAX);
    return double(raw) / 65536.0;   // exact, and the host's toFixed turns it back into raw
}

ParamValue paramValue(FuzzBytes& in, const ParamDefinition& param, const std::vector<int>& pixelLayers)
{
    const PF_ParamDefUnion& u = param.def.u;
    ParamValue v;
    switch (param.def.param_type) {
    case PF_Param_FIX_SLIDER: v.number = fixedValue(in, u.fd.valid_min, u.fd.valid_max); break;
    case PF_Param_ANGLE: v.number = fixedValue(in, INT32_MIN, INT32_MAX); break;
    case PF_Param_FLOAT_SLIDER:
        v.number = in.pick(2) ? in.within(u.fs_d.valid_min, std::min<double>(u.fs_d.valid_max, 1e6)) : in.anyNumber();
        break;
    case PF_Param_SLIDER: v.number = double(std::int32_t(in.u32())); break;
    case PF_Param_CHECKBOX: v.number = in.flag() ? 1 : 0; break;
    // The host offers only the popup's own choices.
    case PF_Param_POPUP: v.number = 1 + in.pick(u.pd.num_choices); break;
    case PF_Param_COLOR: v.color = {in.byte() / 255.0f, in.byte() / 255.0f, in.byte() / 255.0f, in.byte() / 255.0f}; break;
    case PF_Param_POINT: {
        v.x = fixedValue(in, -kWidth * 65536, 2 * kWidth * 65536);
        v.y = fixedValue(in, -kHeight * 65536, 2 * kHeight * 65536);
        break;
    }
    case PF_Param_LAYER: v.layer = in.pick(4) == 0 ? -1 : pixelLayers[std::size_t(in.pick(int(pixelLayers.size())))]; break;
    default: break;
    }
    return v;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    module();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzBytes in(data, size);

    HostConfig config;
    config.iterate.threads = 1;
    if (in.pick(8) == 0)
        config.version = PF_SpecVersion{13, 1};
    if (in.pick(8) == 0)
        config.applId = kAppIdPremierePro;

    Composition comp;
    // Any pixel aspect a scene file may give (scene.h).
    static const double aspects[] = {1.0, 0.9, 1.2, 2.0, 0.5, 4.0 / 3.0, kMinPixelAspect, kMaxPixelAspect};
    comp.model.width = kWidth, comp.model.height = kHeight;
    comp.model.pixelAspect = in.pick(4) ? in.oneOf(aspects) : in.within(kMinPixelAspect, kMaxPixelAspect);
    comp.model.frameRate = kFrameRate, comp.model.duration = kDuration;

    // Top to bottom: camera, lights, control null, the effect's layer, texture, reflection.
    if (in.flag()) {
        comp.model.layers.push_back(cameraLayer(in));
        comp.pixels.push_back(nullptr);
    }
    for (int n = in.pick(4); n > 0; --n) {
        comp.model.layers.push_back(lightLayer(in, n));
        comp.pixels.push_back(nullptr);
    }
    std::vector<int> pixelLayers;
    pixelLayers.push_back(int(comp.model.layers.size()));
    comp.model.layers.push_back(controlLayer(in));
    comp.pixels.push_back(LayerPixels::solid(100, 100, {0, 0, 0, 0}));
    comp.effectLayer = int(comp.model.layers.size());
    pixelLayers.push_back(comp.effectLayer);
    addImageLayer(comp, "Sphere", solidImage(kWidth, kHeight, 0.1f, 0.2f, 0.3f, 1.0f), comp.model.pixelAspect);
    // One read per statement: the order in which a call's arguments are read is the compiler's
    // choice, and the replay build (gcc) must decode an input as the fuzzer (clang) did.
    for (const char* name : {"Tex", "Refl"}) {
        const int width = 1 + in.pick(9);
        const int height = 1 + in.pick(6);
        pixelLayers.push_back(int(comp.model.layers.size()));
        addImageLayer(comp, name, smallImage(in, width, height));
    }

    FrameRequest request;
    static const int depths[] = {8, 16, 32};
    request.bitDepth = in.oneOf(depths);
    request.downsampleX = 1 + in.pick(in.flag() ? 16 : 3);
    request.downsampleY = in.flag() ? request.downsampleX : 1 + in.pick(16);
    request.seconds = in.pick(int(kDuration * kFrameRate)) / kFrameRate;

    EffectHost host(module(), config);
    if (host.start() != PF_Err_NONE)
        return 0;
    host.setComposition(std::move(comp));
    for (const ParamDefinition& param : host.params()) {
        if (param.index == 0)
            continue;
        const ParamValue value = paramValue(in, param, pixelLayers);
        host.setParamValues(param.index, [value](double) { return value; });
    }

    const std::vector<Imbalance> heldBefore = host.liveResources();
    const std::size_t commandsBefore = host.commandLog().size();
    Image output;
    host.renderFrame(request, &output);
    // Every command of the frame: parameter changes, pre-render and render.
    for (std::size_t c = commandsBefore; c < host.commandLog().size(); ++c)
        for (const Imbalance& i : host.commandLog()[c].imbalances)
            require(false, std::string(commandName(host.commandLog()[c].cmd)) + " left unbalanced: " + i.what +
                               " (" + std::to_string(i.count) + ")");
    const std::vector<Imbalance> heldAfter = host.liveResources();
    require(heldAfter.size() == heldBefore.size(), "resources held after the render");
    for (std::size_t i = 0; i < heldAfter.size(); ++i)
        require(heldAfter[i].what == heldBefore[i].what && heldAfter[i].count == heldBefore[i].count,
                "still held after the render: " + heldAfter[i].what);
    return 0;
}
