// A composition with every kind of layer, and the host's AEGP suites called directly the way
// an effect calls them (the test stands in for the effect between commands).
#pragma once
#include "probe_support.h"

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

// The suite tables as the host serves them, and the effect_ref of its running effect.
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

// The probe, set up and showing fullComposition().
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
