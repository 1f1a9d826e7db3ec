#include "host/core/layer_streams.h"

namespace orbhost {
namespace {

LayerStreamValue oneD(double value)
{
    LayerStreamValue v;
    v.value.one_d = value;
    v.type = AEGP_StreamType_OneD;
    return v;
}

// 2-D layers give x and y (the two_d member overlays three_d's first two), z = 0.
LayerStreamValue vector(Vec3 value, bool threeD, bool spatial)
{
    LayerStreamValue v;
    v.value.three_d = {value.x, value.y, threeD ? value.z : 0.0};
    v.type = threeD ? (spatial ? AEGP_StreamType_ThreeD_SPATIAL : AEGP_StreamType_ThreeD)
                    : (spatial ? AEGP_StreamType_TwoD_SPATIAL : AEGP_StreamType_TwoD);
    return v;
}

} // namespace

std::optional<LayerStreamValue> layerStreamValue(const LayerModel& layer, AEGP_LayerStream stream, double t)
{
    const bool camera = layer.kind == LayerKind::Camera, light = layer.kind == LayerKind::Light;
    const bool av = !camera && !light;
    const bool threeD = layer.threeD || !av;
    const LayerTransform& x = layer.transform;
    switch (stream) {
    case AEGP_LayerStream_ANCHORPOINT:
        // A camera's or light's point of interest is its anchor point stream.
        return av ? vector(x.anchorPoint.at(t), threeD, true) : vector(x.pointOfInterest.at(t), true, true);
    case AEGP_LayerStream_POSITION: return vector(x.position.at(t), threeD, true);
    case AEGP_LayerStream_SCALE:
        if (av)
            return vector(x.scale.at(t), threeD, false);
        break;
    case AEGP_LayerStream_ROTATE_Z: return oneD(x.rotationZ.at(t));
    case AEGP_LayerStream_OPACITY:
        if (av)
            return oneD(100.0);   // opacity is not modelled: always opaque
        break;
    case AEGP_LayerStream_ROTATE_X:
        if (threeD)
            return oneD(x.rotationX.at(t));
        break;
    case AEGP_LayerStream_ROTATE_Y:
        if (threeD)
            return oneD(x.rotationY.at(t));
        break;
    case AEGP_LayerStream_ORIENTATION:
        if (threeD)
            return vector(x.orientation.at(t), true, false);
        break;
    default: break;
    }
    if (camera) {
        const CameraSettings& c = layer.camera;
        switch (stream) {
        case AEGP_LayerStream_ZOOM: return oneD(c.zoom.at(t));
        case AEGP_LayerStream_DEPTH_OF_FIELD: return oneD(c.depthOfField.at(t));
        case AEGP_LayerStream_FOCUS_DISTANCE: return oneD(c.focusDistance.at(t));
        case AEGP_LayerStream_APERTURE: return oneD(c.aperture.at(t));
        case AEGP_LayerStream_BLUR_LEVEL: return oneD(c.blurLevel.at(t));
        default: return std::nullopt;
        }
    }
    if (light) {
        const LightSettings& l = layer.light;
        switch (stream) {
        case AEGP_LayerStream_INTENSITY: return oneD(l.intensity.at(t));
        case AEGP_LayerStream_COLOR: {
            const std::array<double, 3> rgb = l.color.at(t);
            LayerStreamValue v;
            v.value.color = {1.0, rgb[0], rgb[1], rgb[2]};
            v.type = AEGP_StreamType_COLOR;
            return v;
        }
        case AEGP_LayerStream_CONE_ANGLE: return oneD(l.coneAngle.at(t));
        case AEGP_LayerStream_CONE_FEATHER: return oneD(l.coneFeather.at(t));
        case AEGP_LayerStream_SHADOW_DARKNESS: return oneD(l.shadowDarkness.at(t));
        case AEGP_LayerStream_SHADOW_DIFFUSION: return oneD(l.shadowDiffusion.at(t));
        case AEGP_LayerStream_CASTS_SHADOWS: return oneD(l.castsShadows.at(t));
        default: return std::nullopt;
        }
    }
    if (stream == AEGP_LayerStream_CASTS_SHADOWS)
        return oneD(0.0);   // AV layers: shadows off
    return std::nullopt;
}

} // namespace orbhost
