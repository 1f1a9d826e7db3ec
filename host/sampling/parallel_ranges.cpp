#include "host/sampling/parallel_ranges.h"

#include <algorithm>
#include <cstdint>
#include <system_error>
#include <thread>
#include <vector>

namespace orbhost {

void parallelRanges(int count, int minRange, const std::function<void(int, int)>& work) {
    if (count <= 0) return;
    const int cores = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    const int parts = std::clamp(count / std::max(minRange, 1), 1, cores);
    if (parts == 1) {
        work(0, count);
        return;
    }
    std::vector<std::thread> helpers;
    helpers.reserve(parts - 1);
    auto bounds = [&](int part) { return static_cast<int>(static_cast<std::int64_t>(count) * part / parts); };
    try {
        for (int part = 1; part < parts; ++part)
            helpers.emplace_back(work, bounds(part), bounds(part + 1));
    } catch (const std::system_error&) {
        // No thread could be started: do the remaining ranges here.
        for (int part = static_cast<int>(helpers.size()) + 1; part < parts; ++part)
            work(bounds(part), bounds(part + 1));
    }
    work(0, bounds(1));
    for (auto& helper : helpers) helper.join();
}

} // namespace orbhost
