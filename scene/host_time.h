// Host times as seconds. Scene assembly compares the composition's time with the in points
// and durations of its layers; all of them arrive as A_Time (a value over a scale).
#pragma once
#include "hostapi/host_api.h"

// Seconds of a host time; 0 for a time without a scale (the default of a failed query).
inline double secondsOf(const A_Time& t) { return t.scale ? static_cast<double>(t.value) / t.scale : 0.0; }
