// The composition's own lights, gathered into the render context's light list.
#pragma once
#include "scene/render_context.h"

namespace AEO {
class Composition;
}

// Appends every light that is switched on and present at compTime, in layer order, in the
// sphere's frame. compositionWidth and pixelAspect are the effect's composition's.
//
// Every layer is visited. A layer whose queries fail keeps its failure to itself: it reads as
// defaults (type −1, no flags, no time span) and is then no light at all, or, when the failure
// comes part-way through its light settings, a light whose remaining settings are zero. A
// light that no host memory can be found for is left out. Nothing here fails the frame.
void gatherLights(RenderContext& context, AEO::Composition& composition, const A_Time& compTime,
                  double pixelAspect, double compositionWidth);
