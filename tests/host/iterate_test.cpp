// The generic iterate on its own: coverage, thread indices, error stop, once per worker.
#include "host/core/iterate_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <vector>

using namespace orbhost;

namespace {

struct Counts {
    std::vector<std::atomic<int>> visits;
    std::mutex mutex;
    std::set<A_long> threads;
    std::set<A_long> counts;
    explicit Counts(std::size_t n) : visits(n) {}
};

PF_Err countVisit(void* refcon, A_long thread, A_long i, A_long iterations)
{
    auto* c = static_cast<Counts*>(refcon);
    c->visits[std::size_t(i)]++;
    std::lock_guard lock(c->mutex);
    c->threads.insert(thread);
    c->counts.insert(iterations);
    return PF_Err_NONE;
}

PF_Err failAtSeven(void*, A_long, A_long i, A_long)
{
    return i == 7 ? PF_Err_OUT_OF_MEMORY : PF_Err_NONE;
}

} // namespace

TEST(Iterate, EveryIndexOnceWithThreadIndicesInRange)
{
    for (int threads : {1, 3, 8}) {
        for (A_long iterations : {1, 2, 97}) {
            Counts counts{std::size_t(iterations)};
            IterateOptions options{threads, iterations == 97, 42};
            ASSERT_EQ(iterateGeneric(iterations, &counts, countVisit, options), PF_Err_NONE);
            for (A_long i = 0; i < iterations; ++i)
                EXPECT_EQ(counts.visits[std::size_t(i)], 1) << "index " << i << " threads " << threads;
            EXPECT_LT(*counts.threads.rbegin(), std::min<A_long>(threads, iterations));
            EXPECT_EQ(counts.counts, std::set<A_long>{iterations});
        }
    }
}

TEST(Iterate, FirstErrorIsReturned)
{
    for (int threads : {1, 4})
        EXPECT_EQ(iterateGeneric(1000, nullptr, failAtSeven, {threads, true, 3}), PF_Err_OUT_OF_MEMORY);
}

TEST(Iterate, OncePerProcessorGivesEachWorkerTheRealCount)
{
    Counts counts(6);
    ASSERT_EQ(iterateGeneric(PF_Iterations_ONCE_PER_PROCESSOR, &counts, countVisit, {6, false, 1}), PF_Err_NONE);
    EXPECT_EQ(counts.threads.size(), 6u);
    EXPECT_EQ(counts.counts, std::set<A_long>{6});
}
