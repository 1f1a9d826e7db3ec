// The scene routine: the sphere, then the camera the composition renders through (or the
// host's default camera), the lights, and the shading and rendering values.
#include "scene/scene_assembly.h"

#include "AEO/composition.h"
#include "AEO/interface.h"
#include "AEO/layer.h"
#include "scene/host_math.h"
#include "scene/lights.h"
#include "scene/param_values.h"
#include "scene/pixel_aspect.h"

namespace {

struct CompositionView {
    double width = 0.0;
    double height = 0.0;
    double pixelAspect = 1.0;
};

// The composition camera when there is one and "Use Composition Camera" is on; returns
// whether it is used. Depth of field comes from the camera's own switch. After a failed
// query the camera's later values are defaults: a zoom of 0, a focus distance raised to 1,
// and a camera type of −1, which makes the view parallel.
bool useCompositionCamera(RenderContext& ctx, ParamValues& params, AEGP_LayerH cameraHandle, const A_Time& compTime,
                          const CompositionView& view, bool& cameraDepthOfField)
{
    if (!cameraHandle || params.checkbox(PARAM_USE_COMP_CAMERA) == 0) {
        return false;
    }
    AEO::CameraLayer camera(ctx.hostAccess, cameraHandle);
    A_Matrix4 toWorld = camera.toWorld(compTime);
    const double zoom = camera.zoom(compTime);
    cameraDepthOfField = camera.depthOfField(compTime) != 0.0;
    ctx.focusDistance = camera.focusDistance(compTime);
    // A failed query gives −1, which is not perspective.
    ctx.perspective = camera.cameraType() == AEGP_CameraType_PERSPECTIVE;
    if (ctx.focusDistance < 1.0) {
        ctx.focusDistance = 1.0;
    }
    const double blurLevel = camera.blurLevel(compTime) / 100.0;
    const double boost = params.fixed(PARAM_BOOST_DOF_BLUR);
    const double aperture = camera.aperture(compTime);
    ctx.blurScale = zoom / ctx.focusDistance * (aperture / 10.0 * (boost / 100.0 * blurLevel));
    ctx.viewCenterX = float(view.width * 0.5);
    ctx.viewCenterY = float(view.height * 0.5);
    ctx.viewPlaneZ = float(-zoom);
    correctPixelAspect(toWorld, view.pixelAspect, view.width);
    ctx.cameraToWorld = narrowMatrix(toWorld);
    return true;
}

// The host's default camera: centred on the frame, looking along +z at the image plane. When
// the distance cannot be read (no camera suite, or the composition's queries failed) it is 0:
// the camera then stands in the plane z = 0.
void useDefaultCamera(RenderContext& ctx, AEO::Composition& comp, const CompositionView& view)
{
    const double zoom = comp.defaultCameraDistance();
    ctx.viewCenterX = float(view.width * 0.5);
    ctx.viewCenterY = float(view.height * 0.5);
    ctx.viewPlaneZ = float(-zoom);
    ctx.cameraToWorld = identityMatrix();
    ctx.cameraToWorld.m[3][0] = ctx.viewCenterX;
    ctx.cameraToWorld.m[3][1] = ctx.viewCenterY;
    ctx.cameraToWorld.m[3][2] = ctx.viewPlaneZ;
}

void placeCameraInSphere(RenderContext& ctx)
{
    ctx.cameraToSphere = ctx.cameraToWorld * ctx.worldToSphere;
    const double x = ctx.cameraToSphere.m[3][0], y = ctx.cameraToSphere.m[3][1], z = ctx.cameraToSphere.m[3][2];
    ctx.cameraOrigin[0] = x, ctx.cameraOrigin[1] = y, ctx.cameraOrigin[2] = z;
    ctx.cameraQuadric = y * y * ctx.invRadiusSq.y + x * x * ctx.invRadiusSq.x + z * z * ctx.invRadiusSq.z - 1.0;
}

float fraction(ParamValues& params, EffectParamId index) { return float(params.percent(index)); }

void readShading(const PF_InData* in, RenderContext& ctx, ParamValues& params)
{
    ctx.showPivot = params.checkbox(PARAM_SHOW_PIVOT) != 0;
    ctx.falloffMode = A_u_long(params.popup(PARAM_FALLOFF));
    ctx.falloffRadius = params.fixed(PARAM_FALLOFF_RADIUS);
    ctx.falloffDistance = params.fixed(PARAM_FALLOFF_DISTANCE);
    ctx.selfShadow = params.checkbox(PARAM_SELF_SHADOW) == 1;
    ctx.lightTransmission = fraction(params, PARAM_LIGHT_TRANSMISSION);
    ctx.emit = fraction(params, PARAM_EMIT);
    ctx.ambient = fraction(params, PARAM_AMBIENT);
    ctx.diffuse = fraction(params, PARAM_DIFFUSE);
    ctx.specular = fraction(params, PARAM_SPECULAR);
    // Roughness 0 gives tan(π/2) in double, about 1.6e16: a mirror-sharp highlight.
    ctx.shininess = float(hostTan(in, (1.0 - params.fixed(PARAM_ROUGHNESS)) * kPi * 0.5));
    ctx.metal = fraction(params, PARAM_METAL);
    ctx.reflectionIntensity = fraction(params, PARAM_REFLECTION_INTENSITY);
    ctx.reflectionRolloff = fraction(params, PARAM_REFLECTION_ROLLOFF);

    // A mirrored (inverted) sphere shows its inside where it used to show its outside.
    A_u_long side = A_u_long(params.popup(PARAM_RENDER_SIDE));
    if (ctx.openInverted && (side == 2 || side == 3)) {
        side = 5 - side;
    }
    ctx.renderSide = side;

    ctx.sharpnessFactor = 1.0 - params.fixed(PARAM_SHARPNESS);
    ctx.depthCompositeMode = A_u_long(params.popup(PARAM_DEPTH_COMPOSITE_MODE));
    ctx.startDepth = params.fixed(PARAM_START_DEPTH);
    ctx.depthRange = params.fixed(PARAM_END_DEPTH) - ctx.startDepth;
    const PF_Pixel fog = params.color(PARAM_FOG_COLOR);
    ctx.fogColor = {1.0f, float(fog.red / 255.0), float(fog.green / 255.0), float(fog.blue / 255.0)};
}

} // namespace

PF_Err assembleScene(PF_InData* in, RenderContext& ctx)
{
    placeSphere(in, ctx);

    AEO::Interface effect(in);
    const A_Time compTime = effect.compTime(in->current_time, in->time_scale);
    AEO::Layer effectLayer(ctx.hostAccess, effect.effectLayer());
    AEO::Composition comp(in, effectLayer.parentComp());
    AEO::Item compItem(in, comp.item());
    // A ratio that cannot be read is {0, 1}: it collapses the x column of the camera's and
    // the lights' matrices, as the host's own value 0 would.
    CompositionView view;
    view.width = compItem.width();
    view.height = compItem.height();
    view.pixelAspect = ratioValue(compItem.pixelAspectRatio());

    ctx.blurScale = 1.0;
    ctx.perspective = true;
    bool cameraDepthOfField = false;
    ParamValues params(in);
    const bool cameraInUse =
        useCompositionCamera(ctx, params, effect.effectCamera(compTime), compTime, view, cameraDepthOfField);
    if (!cameraInUse) {
        useDefaultCamera(ctx, comp, view);
    }
    placeCameraInSphere(ctx);

    gatherLights(ctx, comp, compTime, view.pixelAspect, view.width);

    readShading(in, ctx, params);
    ctx.depthOfFieldMode = A_u_long(params.popup(PARAM_DEPTH_OF_FIELD));
    ctx.depthOfFieldActive = cameraInUse && (ctx.depthOfFieldMode == 3 || (ctx.depthOfFieldMode == 2 && cameraDepthOfField));
    return PF_Err_NONE;
}
