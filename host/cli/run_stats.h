// Timing and memory figures printed by orbulon-render --stats.
#pragma once
#include "host/core/effect_host.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace orbhost {

// Peak resident memory of this process in bytes (0 where the platform does not say).
long long peakMemoryBytes();

// What the command line measured around the frames it rendered.
struct RunFigures {
    long long renderedPixels = 0;
    double wallSeconds = 0;
    // peakMemoryBytes() after each rendered frame, in order: a sequence whose memory stays flat
    // shows the same figure at its 10th frame as at its last.
    std::vector<long long> peakAfterFrame;

    int frames() const { return int(peakAfterFrame.size()); }
};

// One summary for the whole run, a single frame or a sequence: per command kind and per
// iterate pass (pass k of every frame together) the count, total, median, min and max time,
// with the host's own share: layer worlds made at checkout in a command, area sampling tables
// built in a pass; pixels per second, wall time and peak memory, also after the 1st, 10th,
// 100th, ... and last frame.
void printStats(std::ostream& out, const EffectHost& host, const RunFigures& run);

// The same figures as JSON (times in milliseconds, memory in bytes, also after every frame);
// throws std::runtime_error when the file cannot be written.
void writeStatsJson(const std::string& path, const EffectHost& host, const RunFigures& run);

} // namespace orbhost
