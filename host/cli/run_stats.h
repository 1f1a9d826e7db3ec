// Timing and memory figures printed by orbulon-render --stats.
#pragma once
#include "host/core/effect_host.h"

#include <iosfwd>

namespace orbhost {

// Peak resident memory of this process in bytes (0 where the platform does not say).
long long peakMemoryBytes();

// Wall time per command kind and per iterate pass, pixels per second, peak memory.
void printStats(std::ostream& out, const EffectHost& host, long long renderedPixels, double wallSeconds);

} // namespace orbhost
