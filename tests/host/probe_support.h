// Shared set-up for tests that drive the probe effect through the host, and the host's AEGP
// suites called directly the way an effect calls them between commands.
#pragma once
#include "host/core/host_state.h"
#include "host/scene/image.h"

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

namespace probetest {

inline std::string probePath()
{
    return std::string(ORBULON_BUILD_DIR) + "/tests/probe/probe.so";
}

// A 16 x 8 composition: the effect's layer and one 4 x 2 texture layer "Tex".
inline orbhost::Composition smallComposition()
{
    orbhost::Composition comp;
    comp.model.width = 16, comp.model.height = 8, comp.model.frameRate = 10, comp.model.duration = 2;
    orbhost::addImageLayer(comp, "Base", orbhost::solidImage(16, 8, 0, 0, 1, 1));
    orbhost::addImageLayer(comp, "Tex", orbhost::solidImage(4, 2, 1, 0, 0, 1));
    return comp;
}

// PROBE_ACTIONS is read at the probe's global set-up.
inline std::unique_ptr<orbhost::EffectHost> startProbe(const std::string& actions = "",
                                                        orbhost::HostConfig config = {})
{
#if defined(_WIN32)
    _putenv_s("PROBE_ACTIONS", actions.c_str());
#else
    setenv("PROBE_ACTIONS", actions.c_str(), 1);
#endif
    auto host = std::make_unique<orbhost::EffectHost>(probePath(), config);
    host->setComposition(smallComposition());
    auto clear = reinterpret_cast<void (*)()>(host->state().module->symbol("ProbeClearLog"));
    clear();
    return host;
}

inline std::string probeLog(orbhost::EffectHost& host)
{
    auto log = reinterpret_cast<const char* (*)()>(host.state().module->symbol("ProbeLog"));
    return log();
}

inline const orbhost::CommandRecord& lastRecord(const orbhost::EffectHost& host, PF_Cmd cmd)
{
    for (auto it = host.commandLog().rbegin(); it != host.commandLog().rend(); ++it)
        if (it->cmd == cmd)
            return *it;
    throw std::runtime_error("command not in the log");
}

} // namespace probetest
namespace aegptest {

using namespace orbhost;

inline LayerModel layerOf(LayerKind kind, const std::string& name, const std::string& source, int w = 0, int h = 0)
{
    LayerModel layer;
    layer.kind = kind;
    layer.name = name;
    layer.sourceName = source;
    layer.width = w, layer.height = h;
    layer.duration = 2;
    layer.threeD = kind == LayerKind::Camera || kind == LayerKind::Light;
    layer.transform.anchorPoint = Vec3{w / 2.0, h / 2.0, 0};
    layer.transform.position = Vec3{8, 4, 0};
    return layer;
}

// 16 x 8, 10 fps, 2 s. Top to bottom:
//   0 "Base" solid (the effect's layer)   4 "Off Cam" camera, video off
//   1 unnamed image "tex.png"             5 "Late Cam" orthographic camera on [1, 1.5)
//   2 "Rig" null, the parent of 3         6 "Cam" camera
//   3 "Child" solid 10 x 10               7 "Key" spot light on [0.5, 2), intensity keyed
inline Composition fullComposition()
{
    Composition comp = probetest::smallComposition();   // pixels of "Base" and the texture
    comp.pixels.push_back(nullptr);   // "Rig"
    comp.pixels.push_back(std::make_shared<const Image>(solidImage(10, 10, 0, 1, 0, 1)));
    comp.pixels.resize(8);            // the cameras and the light
    auto& layers = comp.model.layers;
    layers.clear();
    layers.push_back(layerOf(LayerKind::Solid, "Base", "Base Solid", 16, 8));
    layers.push_back(layerOf(LayerKind::Image, "", "tex.png", 4, 2));
    LayerModel rig = layerOf(LayerKind::Null, "Rig", "Null 1", 0, 0);
    rig.transform.position = Vec3{100, 50, 0};
    rig.transform.rotationZ = 90.0;
    rig.transform.scale = Vec3{200, 200, 100};
    layers.push_back(rig);
    LayerModel child = layerOf(LayerKind::Solid, "Child", "Green Solid", 10, 10);
    child.parent = 2;
    child.transform.position = Vec3{10, 0, 0};
    layers.push_back(child);
    LayerModel offCam = layerOf(LayerKind::Camera, "Off Cam", "");
    offCam.videoOn = false;
    offCam.camera.zoom = 500.0;
    layers.push_back(offCam);
    LayerModel lateCam = layerOf(LayerKind::Camera, "Late Cam", "");
    lateCam.inPoint = 1, lateCam.duration = 0.5;
    lateCam.camera.type = CameraType::Orthographic;
    lateCam.camera.zoom = 600.0;
    layers.push_back(lateCam);
    LayerModel cam = layerOf(LayerKind::Camera, "Cam", "");
    cam.transform.position = Vec3{8, 4, -700};
    cam.transform.hasPointOfInterest = true;
    cam.transform.pointOfInterest = Vec3{8, 4, 0};
    cam.camera.zoom = 700.0;
    layers.push_back(cam);
    LayerModel key = layerOf(LayerKind::Light, "Key", "");
    key.inPoint = 0.5, key.duration = 1.5;
    key.light.type = LightType::Spot;
    key.light.intensity.keys = {{0.0, 0.0}, {2.0, 100.0}};
    key.light.color = std::array<double, 3>{1.0, 0.5, 0.25};
    key.light.coneAngle = 60.0;
    layers.push_back(key);
    return comp;
}

struct Suites {
    explicit Suites(EffectHost& h) : host(h), active(&h.state()) {}

    template <class Suite>
    const Suite* get(const char* name, int version) const
    {
        return static_cast<const Suite*>(host.state().suites.at({name, version}));
    }
    PF_ProgPtr effectRef() const { return reinterpret_cast<PF_ProgPtr>(&host.state()); }
    AEGP_LayerH layer(int index) const { return host.state().aegp.layer(index); }

    EffectHost& host;
    ActiveHostScope active;
    const AEGP_PFInterfaceSuite1* pf = get<AEGP_PFInterfaceSuite1>(kAEGPPFInterfaceSuite, 1);
    const AEGP_LayerSuite6* layer12 = get<AEGP_LayerSuite6>(kAEGPLayerSuite, 12);
    const AEGP_LayerSuite5* layer11 = get<AEGP_LayerSuite5>(kAEGPLayerSuite, 11);
    const AEGP_CompSuite5* comp = get<AEGP_CompSuite5>(kAEGPCompSuite, 11);
    const AEGP_ItemSuite8* item = get<AEGP_ItemSuite8>(kAEGPItemSuite, 13);
    const AEGP_CameraSuite2* camera = get<AEGP_CameraSuite2>(kAEGPCameraSuite, 2);
    const AEGP_LightSuite2* light = get<AEGP_LightSuite2>(kAEGPLightSuite, 2);
    const AEGP_StreamSuite4* stream = get<AEGP_StreamSuite4>(kAEGPStreamSuite, 9);
    const AEGP_DynamicStreamSuite4* dynamic = get<AEGP_DynamicStreamSuite4>(kAEGPDynamicStreamSuite, 5);
    const AEGP_EffectSuite3* effect = get<AEGP_EffectSuite3>(kAEGPEffectSuite, 3);
    const AEGP_MemorySuite1* memory = get<AEGP_MemorySuite1>(kAEGPMemorySuite, 1);
};

inline std::unique_ptr<EffectHost> startedProbe(const std::string& actions = "")
{
    auto host = probetest::startProbe(actions);
    host->setComposition(fullComposition());
    if (host->start() != PF_Err_NONE)
        throw std::runtime_error("the probe did not start");
    return host;
}

inline std::string utf16Text(const Suites& s, AEGP_MemHandle handle)
{
    void* data = nullptr;
    if (!handle || s.memory->AEGP_LockMemHandle(handle, &data))
        return "<no handle>";
    std::string text;
    for (auto* c = static_cast<const A_UTF16Char*>(data); *c; ++c)
        text += char(*c);
    s.memory->AEGP_UnlockMemHandle(handle);
    return text;
}

inline A_Time seconds(double s)
{
    return {A_long(s * 1000), 1000};
}

} // namespace aegptest
