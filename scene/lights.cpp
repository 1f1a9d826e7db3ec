// The composition's own lights, in layer order, converted into the sphere's frame.
#include "AEO/composition.h"
#include "AEO/layer.h"
#include "scene/first_error.h"
#include "scene/light_list.h"
#include "scene/pixel_aspect.h"
#include "scene/scene_assembly.h"

#include <cmath>

namespace {

// A layer counts from its in point up to, not including, its out point. Solo, shy and
// parenting play no part: the video switch and the time span decide.
bool isShiningLight(AEO::LightLayer& layer, double seconds)
{
    const double in = secondsOf(layer.inPoint());
    const double duration = secondsOf(layer.duration());
    const bool present = in <= seconds && in + duration > seconds;
    return layer.objectType() == AEGP_ObjectType_LIGHT && (layer.flags() & AEGP_LayerFlag_VIDEO_ACTIVE) != 0 &&
           present;
}

void readLight(AEO::LightLayer& layer, const A_Time& t, const Matrix4& worldToSphere, double pixelAspect,
               double width, LightRecord& record)
{
    const AEGP_ColorVal color = layer.color(t);
    record.color = {float(color.alphaF), float(color.redF), float(color.greenF), float(color.blueF)};
    record.lightType = layer.lightType();
    record.intensity = layer.intensity(t) / 100.0;
    record.cosHalfCone = std::cos(layer.coneAngle(t) * kDegreesToRadians * 0.5);
    record.coneFeather = layer.coneFeather(t) / 100.0;
    const double darkness = layer.shadowDarkness(t) / 100.0;
    record.shadowDarkness = darkness < 0.0 ? 0.0f : darkness >= 1.0 ? 1.0f : float(darkness);
    record.shadowDiffusion = layer.shadowDiffusion(t);
    record.castsShadows = layer.castsShadows(t) != 0.0;
    A_Matrix4 toWorld = layer.toWorld(t);
    correctPixelAspect(toWorld, pixelAspect, width);
    record.lightToSphere = narrowMatrix(toWorld) * worldToSphere;
}

} // namespace

PF_Err gatherLights(RenderContext& ctx, AEO::Composition& comp, const A_Time& compTime, double pixelAspect,
                    double compositionWidth)
{
    FirstError error;
    const double seconds = secondsOf(compTime);
    const A_long layerCount = comp.layerCount();
    for (A_long i = 0; i < layerCount && !error; ++i) {
        AEO::LightLayer layer(ctx.hostAccess, comp.layerByIndex(i));
        error.keep(comp.lastError());
        if (error || !isShiningLight(layer, seconds)) {
            error.keep(layer.lastError());
            continue;
        }
        LightRecord* record = newLightRecord(ctx.inData);
        if (!record) {
            error.keep(PF_Err_OUT_OF_MEMORY);
            break;
        }
        readLight(layer, compTime, ctx.worldToSphere, pixelAspect, compositionWidth, *record);
        error.keep(layer.lastError());
        // Without room in the list the light is left out and the frame renders without it.
        if (!appendLight(ctx.lights, record)) {
            releaseLightRecord(ctx.inData, record);
        }
    }
    return error.value();
}
