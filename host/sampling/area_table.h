// Summed-area tables of source worlds, built on first use and shared by every sampling thread,
// so that an area sample costs a handful of lookups whatever its radius.
#pragma once
#include "hostapi/host_api.h"
#include "host/sampling/summed_area_table.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

namespace orbhost {

enum class PixelDepth { eight, sixteen, floating };

template <class Pixel> constexpr PixelDepth pixelDepthOf();
template <> constexpr PixelDepth pixelDepthOf<PF_Pixel>() { return PixelDepth::eight; }
template <> constexpr PixelDepth pixelDepthOf<PF_Pixel16>() { return PixelDepth::sixteen; }
template <> constexpr PixelDepth pixelDepthOf<PF_PixelFloat>() { return PixelDepth::floating; }

// The tables of one world. Σa and Σa·c for every depth; float worlds also count the pixels with
// non-zero alpha, so that a box over transparent pixels returns exactly zero despite rounding
// in the double sums.
struct AreaTable {
    std::optional<SummedAreaTable<IntegerSums>> integerSums;
    std::optional<SummedAreaTable<FloatSums>> floatSums;
    std::optional<SummedAreaTable<std::uint32_t>> coveredPixels;

    std::size_t bytes() const;
};

// The blocks of tables that were dropped, kept for the next tables of the same sizes (up to a
// limit): the tables of worlds an effect writes every frame are then built in place.
class TableStorage {
public:
    TableStorage();
    ~TableStorage();
    void keep(AreaTable& table);   // takes the table's blocks
    template <class Entry> std::unique_ptr<Entry[]> take(std::size_t count);
    struct Blocks;

private:
    std::mutex mutex_;
    std::unique_ptr<Blocks> blocks_;
};

// Builds the table of `world` read as `depth` pixels (the world must be readable), in blocks
// from `storage` where it has them.
AreaTable buildAreaTable(const PF_EffectWorld& world, PixelDepth depth, TableStorage* storage = nullptr);

// Holds a world's table for the duration of one sample: invalidation waits until it is released.
class AreaTableLease {
public:
    AreaTableLease(std::unique_lock<std::mutex> lock, const AreaTable& table)
        : lock_(std::move(lock)), table_(&table) {}
    const AreaTable& table() const { return *table_; }

private:
    std::unique_lock<std::mutex> lock_;
    const AreaTable* table_;
};

class AreaTableCache {   // thread-safe; one summed-area table per source world, built on first use
public:
    AreaTableCache();
    ~AreaTableCache();
    AreaTableCache(const AreaTableCache&) = delete;
    AreaTableCache& operator=(const AreaTableCache&) = delete;

    void invalidate(const void* worldData);  // the effect may have written that world: drop its table
    void invalidateAll();
    void invalidateAllBut(const std::function<bool(const void* worldData)>& keep);
    std::size_t bytes() const;               // memory held, for the host's statistics
    double buildSeconds() const;             // time spent building tables, for the same

    // The table of `world`, built now if this is its first use (or if the world at that address
    // changed size, row length or depth); others asking meanwhile wait for that one build.
    // Throws std::bad_alloc when the table does not fit in memory.
    AreaTableLease acquire(const PF_EffectWorld& world, PixelDepth depth);

private:
    struct Entry;
    // Readers lock one shard (chosen per thread), writers lock them all: samplers on different
    // threads never contend on one lock word.
    struct alignas(64) Shard {
        std::mutex mutex;
    };
    static constexpr std::size_t shardCount = 32;

    std::unique_lock<std::mutex> lockOwnShard() const;
    class AllShardsLock;

    void changed();   // under all shards: entries_ lost or replaced an entry

    mutable std::array<Shard, shardCount> shards_;
    std::unordered_map<const void*, std::unique_ptr<Entry>> entries_;  // changed under all shards
    // A number no other state of any cache has had, changed under all shards: a sampler keeps
    // the entry it found last with it and skips the lookup while the number stays.
    std::uint64_t generation_;
    std::atomic<std::size_t> bytes_{0};
    std::atomic<long long> buildNanoseconds_{0};
    TableStorage storage_;
    void retire(Entry& entry);   // under all shards: its table's blocks go to storage_
};

} // namespace orbhost
