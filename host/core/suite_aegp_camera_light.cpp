// "AEGP Camera Suite" version 2 and "AEGP Light Suite" version 2: the type of a camera or light
// layer (NONE for every other layer, without error) and the default camera's distance.
#include "host/core/aegp_access.h"
#include "host/core/unsupported_slots.h"

namespace orbhost {
namespace {

A_Err getCameraType(AEGP_LayerH layerH, AEGP_CameraType* type)
{
    LayerCall call("AEGP_GetCameraType", layerH);
    if (!call || !type)
        return A_Err_PARAMETER;
    *type = call.layer->kind == LayerKind::Camera ? AEGP_CameraType(call.layer->camera.type) : AEGP_CameraType_NONE;
    return A_Err_NONE;
}

// Composition pixels from the default camera to the image plane (a host setting: the scene's
// "defaultCameraDistance", else the model's rule).
A_Err getDefaultCameraDistance(AEGP_CompH comp, A_FpLong* distance)
{
    HostState* host = compHost("AEGP_GetDefaultCameraDistanceToImagePlane", comp);
    if (!host || !distance)
        return A_Err_PARAMETER;
    *distance = defaultCameraDistance(host->composition.model);
    return A_Err_NONE;
}

A_Err getLightType(AEGP_LayerH layerH, AEGP_LightType* type)
{
    LayerCall call("AEGP_GetLightType", layerH);
    if (!call || !type)
        return A_Err_PARAMETER;
    *type = call.layer->kind == LayerKind::Light ? AEGP_LightType(call.layer->light.type) : AEGP_LightType_NONE;
    return A_Err_NONE;
}

} // namespace

const AEGP_CameraSuite2* aegpCameraSuite()
{
    static const AEGP_CameraSuite2 suite =
        tableOfStandIns<AEGP_CameraSuite2, kAEGPCameraSuite, A_Err_GENERIC>([](AEGP_CameraSuite2& s) {
            s.AEGP_GetCameraType = getCameraType;
            s.AEGP_GetDefaultCameraDistanceToImagePlane = getDefaultCameraDistance;
        });
    return &suite;
}

const AEGP_LightSuite2* aegpLightSuite()
{
    static const AEGP_LightSuite2 suite =
        tableOfStandIns<AEGP_LightSuite2, kAEGPLightSuite, A_Err_GENERIC>([](AEGP_LightSuite2& s) {
            s.AEGP_GetLightType = getLightType;
        });
    return &suite;
}

} // namespace orbhost
