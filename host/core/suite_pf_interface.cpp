// "AEGP PF Interface Suite" version 1: from the effect's own effect_ref to its layer, its AEGP
// effect reference, composition time and the camera that views it.
#include "host/core/aegp_access.h"
#include "host/core/unsupported_slots.h"

namespace orbhost {
namespace {

// The host the effect_ref names; the calls are allowed in every command after global set-up.
HostState* effectHost(const char* call, PF_ProgPtr effectRef)
{
    HostState* host = hostFromRef(effectRef);
    if (!host) {
        badArgument(call, "unknown effect_ref");
        return nullptr;
    }
    if (host->currentCmd == PF_Cmd_GLOBAL_SETUP) {
        badArgument(call, "not available during GLOBAL_SETUP");
        return nullptr;
    }
    return refusedByPlan(*host, call) ? nullptr : host;
}

A_Err getEffectLayer(PF_ProgPtr effectRef, AEGP_LayerH* layer)
{
    HostState* host = effectHost("AEGP_GetEffectLayer", effectRef);
    if (!host || !layer)
        return A_Err_PARAMETER;
    *layer = host->aegp.layer(host->composition.effectLayer);
    return *layer ? A_Err_NONE : badArgument("AEGP_GetEffectLayer", "the composition has no effect layer");
}

A_Err getNewEffectForEffect(AEGP_PluginID, PF_ProgPtr effectRef, AEGP_EffectRefH* effect)
{
    HostState* host = effectHost("AEGP_GetNewEffectForEffect", effectRef);
    if (!host || !effect)
        return A_Err_PARAMETER;
    *effect = host->aegp.newEffectRef();
    host->accounting.take("AEGP effect reference");
    return A_Err_NONE;
}

A_Err convertEffectToCompTime(PF_ProgPtr effectRef, A_long time, A_u_long scale, A_Time* compTime)
{
    HostState* host = effectHost("AEGP_ConvertEffectToCompTime", effectRef);
    if (!host || !compTime || scale == 0)
        return host ? badArgument("AEGP_ConvertEffectToCompTime", "null result or zero time scale") : A_Err_PARAMETER;
    *compTime = timeFromSeconds(host->toSeconds(time, scale), scale);
    return A_Err_NONE;
}

A_Err getEffectCamera(PF_ProgPtr effectRef, const A_Time* compTime, AEGP_LayerH* camera)
{
    HostState* host = effectHost("AEGP_GetEffectCamera", effectRef);
    double seconds = 0;
    if (!host || !camera || !compSeconds(*host, -1, AEGP_LTimeMode_CompTime, compTime, &seconds))
        return host ? badArgument("AEGP_GetEffectCamera", "null argument or zero time scale") : A_Err_PARAMETER;
    // No camera is no error: the composition is then seen through its default camera.
    *camera = host->aegp.layer(effectCamera(host->composition.model, seconds));
    return A_Err_NONE;
}

A_Err getEffectCameraMatrix(PF_ProgPtr effectRef, const A_Time* compTime, A_Matrix4* matrix, A_FpLong* distance,
                            A_short* planeWidth, A_short* planeHeight)
{
    HostState* host = effectHost("AEGP_GetEffectCameraMatrix", effectRef);
    double seconds = 0;
    if (!host || !matrix || !compSeconds(*host, -1, AEGP_LTimeMode_CompTime, compTime, &seconds))
        return host ? badArgument("AEGP_GetEffectCameraMatrix", "null argument or zero time scale") : A_Err_PARAMETER;
    const CompositionModel& comp = host->composition.model;
    const int camera = effectCamera(comp, seconds);
    Matrix4 worldFromCamera{};
    double zoom = defaultCameraDistance(comp);
    if (camera >= 0) {
        worldFromCamera = layerToWorld(comp, camera, seconds);
        zoom = comp.layers[std::size_t(camera)].camera.zoom.at(seconds);
    } else {
        // The default camera: at (W/2, H/2, −D), looking along +z.
        for (int i = 0; i < 4; ++i)
            worldFromCamera[std::size_t(i)][std::size_t(i)] = 1;
        worldFromCamera[3] = {comp.width / 2.0, comp.height / 2.0, -zoom, 1};
    }
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            matrix->mat[r][c] = worldFromCamera[std::size_t(r)][std::size_t(c)];
    if (distance)
        *distance = zoom;
    if (planeWidth)
        *planeWidth = A_short(comp.width);
    if (planeHeight)
        *planeHeight = A_short(comp.height);
    return A_Err_NONE;
}

} // namespace

const AEGP_PFInterfaceSuite1* aegpPFInterfaceSuite()
{
    static const AEGP_PFInterfaceSuite1 suite = tableOfStandIns<AEGP_PFInterfaceSuite1, kAEGPPFInterfaceSuite, A_Err_GENERIC>(
        [](AEGP_PFInterfaceSuite1& s) {
            s.AEGP_GetEffectLayer = getEffectLayer;
            s.AEGP_GetNewEffectForEffect = getNewEffectForEffect;
            s.AEGP_ConvertEffectToCompTime = convertEffectToCompTime;
            s.AEGP_GetEffectCamera = getEffectCamera;
            s.AEGP_GetEffectCameraMatrix = getEffectCameraMatrix;
        });
    return &suite;
}

} // namespace orbhost
