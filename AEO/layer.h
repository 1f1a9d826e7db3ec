// A layer of the composition, and the camera and light layers the render reads.
// Times are composition times; stream values are read after expressions.
#pragma once
#include "AEO/host_access.h"
#include "AEO/object_base.h"

#include <string>

namespace AEO {

class Layer : public ObjectBase {
public:
    Layer(const HostAccess& host, AEGP_LayerH layer);

    AEGP_LayerH handle() const { return layer_; }
    const HostAccess& host() const { return host_; }

    AEGP_CompH parentComp();
    AEGP_LayerFlags flags();
    A_Time inPoint();
    A_Time duration();
    AEGP_ObjectType objectType();
    // Layer space to world space at compTime; all zeros when it cannot be read.
    A_Matrix4 toWorld(const A_Time& compTime);
    AEGP_ItemH sourceItem();

    // The layer's own name and its source's name. The own name is empty while the user has
    // not named the layer (the host then shows the source's name).
    struct Names {
        std::u16string own;
        std::u16string source;
    };

    std::string name8();
    Names names(AEGP_PluginID pluginId);
    std::u16string name(AEGP_PluginID pluginId) { return names(pluginId).own; }
    bool setName(const std::u16string& name);

    A_FpLong streamValue(AEGP_LayerStream stream, const A_Time& compTime);
    AEGP_ColorVal streamColor(AEGP_LayerStream stream, const A_Time& compTime);

private:
    AEGP_StreamVal2 streamVal(AEGP_LayerStream stream, const A_Time& compTime);

    AEGP_LayerH layer_;
    SuiteSlot<AEGP_LayerSuite6> layers_;
    SuiteSlot<AEGP_LayerSuite5> layers8_;   // the only version that still names layers in 8 bits
    SuiteSlot<AEGP_StreamSuite4> streams_;
    const HostAccess& host_;
};

class CameraLayer : public Layer {
public:
    CameraLayer(const HostAccess& host, AEGP_LayerH layer) : Layer(host, layer), cameras_(basicOf(host.inData())) {}

    // The camera's AEGP_CameraType, −1 when it cannot be read.
    A_long cameraType();
    A_FpLong zoom(const A_Time& t) { return streamValue(AEGP_LayerStream_ZOOM, t); }
    A_FpLong depthOfField(const A_Time& t) { return streamValue(AEGP_LayerStream_DEPTH_OF_FIELD, t); }
    A_FpLong focusDistance(const A_Time& t) { return streamValue(AEGP_LayerStream_FOCUS_DISTANCE, t); }
    A_FpLong aperture(const A_Time& t) { return streamValue(AEGP_LayerStream_APERTURE, t); }
    A_FpLong blurLevel(const A_Time& t) { return streamValue(AEGP_LayerStream_BLUR_LEVEL, t); }

private:
    SuiteSlot<AEGP_CameraSuite2> cameras_;
};

class LightLayer : public Layer {
public:
    LightLayer(const HostAccess& host, AEGP_LayerH layer) : Layer(host, layer), lights_(basicOf(host.inData())) {}

    // The light's AEGP_LightType, −1 when it cannot be read.
    A_long lightType();
    A_FpLong intensity(const A_Time& t) { return streamValue(AEGP_LayerStream_INTENSITY, t); }
    AEGP_ColorVal color(const A_Time& t) { return streamColor(AEGP_LayerStream_COLOR, t); }
    A_FpLong coneAngle(const A_Time& t) { return streamValue(AEGP_LayerStream_CONE_ANGLE, t); }
    A_FpLong coneFeather(const A_Time& t) { return streamValue(AEGP_LayerStream_CONE_FEATHER, t); }
    A_FpLong shadowDarkness(const A_Time& t) { return streamValue(AEGP_LayerStream_SHADOW_DARKNESS, t); }
    A_FpLong shadowDiffusion(const A_Time& t) { return streamValue(AEGP_LayerStream_SHADOW_DIFFUSION, t); }
    A_FpLong castsShadows(const A_Time& t) { return streamValue(AEGP_LayerStream_CASTS_SHADOWS, t); }

private:
    SuiteSlot<AEGP_LightSuite2> lights_;
};

} // namespace AEO
