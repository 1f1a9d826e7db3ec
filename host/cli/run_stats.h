// Timing and memory figures printed by orbulon-render --stats.
#pragma once
#include "host/core/effect_host.h"

#include <iosfwd>
#include <string>

namespace orbhost {

// Peak resident memory of this process in bytes (0 where the platform does not say).
long long peakMemoryBytes();

// One summary for the whole run, a single frame or a sequence: per command kind and per
// iterate pass (pass k of every frame together) the count, total, median, min and max time,
// with the host's own share: layer worlds made at checkout in a command, area sampling tables
// built in a pass; pixels per second, wall time and peak memory. `frames` is the number of
// frames rendered.
void printStats(std::ostream& out, const EffectHost& host, long long renderedPixels, double wallSeconds, int frames);

// The same figures as JSON (times in milliseconds); throws std::runtime_error when the file
// cannot be written.
void writeStatsJson(const std::string& path, const EffectHost& host, long long renderedPixels, double wallSeconds,
                    int frames);

} // namespace orbhost
