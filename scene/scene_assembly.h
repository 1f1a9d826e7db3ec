// Scene assembly: turns the effect's parameters and the host composition into the numbers
// of a RenderContext. Every routine reads the host through AEO objects that live only as
// long as the routine, and returns the first host error it met (0 when none).
#pragma once
#include "scene/render_context.h"

namespace AEO {
class Composition;
}

// Fills the context after the driver has set the downsample factors, pixel aspect and
// pixel format: sphere placement, camera, lights, then the shading and rendering values.
PF_Err assembleScene(PF_InData* inData, RenderContext& context);

// The sphere's frame, semi-axes, opening, pivot, slide and the texture's size.
PF_Err placeSphere(PF_InData* inData, RenderContext& context);

// Appends every light that is switched on and present at compTime, in layer order, in
// the sphere's frame. compositionWidth and pixelAspect are the effect's composition's.
PF_Err gatherLights(RenderContext& context, AEO::Composition& composition, const A_Time& compTime,
                    double pixelAspect, double compositionWidth);

// Seconds of a host time; 0 for a time without a scale.
inline double secondsOf(const A_Time& t) { return t.scale ? static_cast<double>(t.value) / t.scale : 0.0; }
