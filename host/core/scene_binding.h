// Binds a scene (composition, layers, parameter tracks by name) to an effect's registered
// parameters: names are matched, values type- and range-checked, and tracks become value
// functions of time in the units the effect's parameter types expect.
#pragma once
#include "host/core/effect_host.h"
#include "host/scene/scene.h"

namespace orbhost {

// The scene's composition as the host presents it to the effect.
Composition compositionFromScene(const Scene& scene);

// Sets the composition and every parameter track on host (after PARAMS_SETUP). Throws
// BindError listing every problem ("FILE: /json/pointer: problem") before anything renders.
// With host.faults().unclampedParams, values outside a parameter's range are not a problem.
void bindScene(EffectHost& host, const Scene& scene);

} // namespace orbhost
