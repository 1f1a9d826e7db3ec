#include "host/core/iterate_pool.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

namespace orbhost {

int defaultThreadCount()
{
    const unsigned cores = std::thread::hardware_concurrency();
    return cores ? int(cores) : 1;
}

PF_Err iterateGeneric(A_long iterations, void* refcon, IterateFn fn, const IterateOptions& options)
{
    if (!fn)
        return PF_Err_BAD_CALLBACK_PARAM;
    const int wanted = options.threads > 0 ? options.threads : defaultThreadCount();
    const bool oncePerWorker = iterations == PF_Iterations_ONCE_PER_PROCESSOR;
    if (!oncePerWorker && iterations < 0)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (iterations == 0)
        return PF_Err_NONE;
    const A_long count = oncePerWorker ? A_long(wanted) : iterations;
    const int workers = int(std::min<A_long>(A_long(wanted), count));

    std::vector<A_long> order;
    if (options.shuffle && !oncePerWorker) {
        order.resize(std::size_t(count));
        std::iota(order.begin(), order.end(), 0);
        std::mt19937 random(options.seed);
        std::shuffle(order.begin(), order.end(), random);
    }

    // Workers take runs of consecutive slots from one shared counter: one atomic add per run
    // instead of per index keeps the threads off each other's cache line. kRunsPerWorker runs
    // each leave at most one short run of imbalance at the end of the pass.
    constexpr A_long kRunsPerWorker = 64;
    const A_long chunk = std::max<A_long>(1, count / (A_long(workers) * kRunsPerWorker));
    std::atomic<std::int64_t> next{0};   // 64 bits: the last adds may pass INT32_MAX
    std::atomic<bool> stop{false};
    std::atomic<PF_Err> firstError{PF_Err_NONE};
    auto work = [&](A_long threadIndex) {
        if (oncePerWorker) {
            const PF_Err err = fn(refcon, threadIndex, threadIndex, count);
            PF_Err none = PF_Err_NONE;
            if (err)
                firstError.compare_exchange_strong(none, err);
            return;
        }
        while (!stop.load(std::memory_order_relaxed)) {
            const std::int64_t begin = next.fetch_add(chunk, std::memory_order_relaxed);
            if (begin >= count)
                return;
            const A_long end = A_long(std::min<std::int64_t>(count, begin + chunk));
            for (A_long slot = A_long(begin); slot < end && !stop.load(std::memory_order_relaxed); ++slot) {
                const A_long i = order.empty() ? slot : order[std::size_t(slot)];
                const PF_Err err = fn(refcon, threadIndex, i, count);
                if (err) {
                    PF_Err none = PF_Err_NONE;
                    firstError.compare_exchange_strong(none, err);
                    stop = true;
                }
            }
        }
    };

    std::vector<std::thread> threads;
    threads.reserve(std::size_t(workers > 0 ? workers - 1 : 0));
    for (int t = 1; t < workers; ++t)
        threads.emplace_back(work, A_long(t));
    work(0);
    for (std::thread& thread : threads)
        thread.join();
    return firstError.load();
}

} // namespace orbhost
