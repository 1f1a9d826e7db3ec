// Splits [0, count) into contiguous ranges and runs them on the machine's cores; used to build
// summed-area tables while the threads that asked for them wait.
#pragma once
#include <functional>

namespace orbhost {

// Calls work(begin, end) for disjoint ranges covering [0, count); returns when all are done.
// Ranges are at least `minRange` long, so small jobs stay on the calling thread.
void parallelRanges(int count, int minRange, const std::function<void(int begin, int end)>& work);

} // namespace orbhost
