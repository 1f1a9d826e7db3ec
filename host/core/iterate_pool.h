// The host's generic iterate: calls fn(refcon, thread_index, i, iterations) for every i in
// [0, iterations) exactly once, spread over worker threads; the calling thread is index 0.
#pragma once
#include "hostapi/host_api.h"

#include <cstdint>

namespace orbhost {

using IterateFn = PF_Err (*)(void* refcon, A_long threadIndex, A_long i, A_long iterations);

struct IterateOptions {
    int threads = 0;            // 0 = one per core
    bool shuffle = false;       // hand indices out in a seeded random order
    std::uint32_t seed = 1;
};

int defaultThreadCount();

// Stops handing out indices after the first non-zero error, lets running calls finish and
// returns that first error. iterations == PF_Iterations_ONCE_PER_PROCESSOR runs fn once per
// worker with the worker count as its last argument.
PF_Err iterateGeneric(A_long iterations, void* refcon, IterateFn fn, const IterateOptions& options);

} // namespace orbhost
