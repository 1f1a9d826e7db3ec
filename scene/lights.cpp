// The composition's own lights, in layer order, converted into the sphere's frame.
#include "scene/lights.h"

#include "AEO/composition.h"
#include "AEO/layer.h"
#include "scene/host_time.h"
#include "scene/light_list.h"
#include "scene/pixel_aspect.h"

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

void gatherLights(RenderContext& ctx, AEO::Composition& comp, const A_Time& compTime, double pixelAspect,
                  double compositionWidth)
{
    const double seconds = secondsOf(compTime);
    // The count and the layer handles share the composition's error: once one of them fails,
    // the remaining handles are null and their layers are passed over.
    const A_long layerCount = comp.layerCount();
    for (A_long i = 0; i < layerCount; ++i) {
        const AEGP_LayerH handle = comp.layerByIndex(i);
        if (!handle) {
            continue;
        }
        AEO::LightLayer layer(ctx.hostAccess, handle);
        if (!isShiningLight(layer, seconds)) {
            continue;
        }
        // Without host memory for its record or for a longer list the light is left out;
        // the frame renders with the others.
        LightRecord* record = newLightRecord(ctx.inData);
        if (!record) {
            continue;
        }
        readLight(layer, compTime, ctx.worldToSphere, pixelAspect, compositionWidth, *record);
        if (!appendLight(ctx.lights, record)) {
            releaseLightRecord(ctx.inData, record);
        }
    }
}
