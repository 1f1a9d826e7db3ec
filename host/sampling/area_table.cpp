#include "host/sampling/area_table.h"

#include "host/sampling/pixel_traits.h"

#include <chrono>

namespace orbhost {

std::size_t AreaTable::bytes() const {
    std::size_t total = 0;
    if (integerSums) total += integerSums->bytes();
    if (floatSums) total += floatSums->bytes();
    if (coveredPixels) total += coveredPixels->bytes();
    return total;
}

namespace {

template <class Pixel>
void buildIntegerSums(AreaTable& table, const PF_EffectWorld& world) {
    table.integerSums.emplace(world.width, world.height);
    table.integerSums->build([&](int x, int y) {
        const Pixel& p = pixelAt<Pixel>(world, x, y);
        const std::uint64_t a = p.alpha;
        return IntegerSums{a, a * p.red, a * p.green, a * p.blue};
    });
}

void buildFloatSums(AreaTable& table, const PF_EffectWorld& world) {
    table.floatSums.emplace(world.width, world.height);
    table.floatSums->build([&](int x, int y) {
        const PF_PixelFloat& p = pixelAt<PF_PixelFloat>(world, x, y);
        if (!pixelIsUsable(p)) return FloatSums{};
        const double a = p.alpha;
        return FloatSums{a, a * p.red, a * p.green, a * p.blue};
    });
    table.coveredPixels.emplace(world.width, world.height);
    table.coveredPixels->build([&](int x, int y) {
        const PF_PixelFloat& p = pixelAt<PF_PixelFloat>(world, x, y);
        return std::uint32_t(pixelIsUsable(p) && p.alpha != 0.0f ? 1 : 0);
    });
}

// Spreads threads over the shards; a thread keeps its shard for life.
std::size_t threadShardIndex(std::size_t shardCount) {
    static std::atomic<std::size_t> next{0};
    thread_local const std::size_t index = next.fetch_add(1, std::memory_order_relaxed);
    return index % shardCount;
}

std::atomic<std::uint64_t> nextGeneration{1};

} // namespace

AreaTable buildAreaTable(const PF_EffectWorld& world, PixelDepth depth) {
    AreaTable table;
    switch (depth) {
    case PixelDepth::eight: buildIntegerSums<PF_Pixel>(table, world); break;
    case PixelDepth::sixteen: buildIntegerSums<PF_Pixel16>(table, world); break;
    case PixelDepth::floating: buildFloatSums(table, world); break;
    }
    return table;
}

struct AreaTableCache::Entry {
    Entry(const PF_EffectWorld& world, PixelDepth depth)
        : width(world.width), height(world.height), rowbytes(world.rowbytes), depth(depth) {}

    bool matches(const PF_EffectWorld& world, PixelDepth d) const {
        return world.width == width && world.height == height && world.rowbytes == rowbytes &&
               d == depth;
    }
    // Only called with every shard locked, when no build can be running.
    std::size_t bytesHeld() const { return ready.load(std::memory_order_relaxed) ? table.bytes() : 0; }

    A_long width, height, rowbytes;
    PixelDepth depth;
    std::mutex buildMutex;
    std::atomic<bool> ready{false};
    AreaTable table;
};

class AreaTableCache::AllShardsLock {
public:
    explicit AllShardsLock(const AreaTableCache& cache) : cache_(cache) {
        for (auto& shard : cache_.shards_) shard.mutex.lock();
    }
    ~AllShardsLock() {
        for (auto& shard : cache_.shards_) shard.mutex.unlock();
    }
    AllShardsLock(const AllShardsLock&) = delete;
    AllShardsLock& operator=(const AllShardsLock&) = delete;

private:
    const AreaTableCache& cache_;
};

namespace {

// The entry this thread's last sample used, and the state of the cache it was found in.
struct EntryMemo {
    std::uint64_t generation = 0;
    const void* data = nullptr;
    PixelDepth depth = PixelDepth::eight;
    void* entry = nullptr;
};
thread_local EntryMemo entryMemo;

} // namespace

AreaTableCache::AreaTableCache() : generation_(nextGeneration.fetch_add(1)) {}
AreaTableCache::~AreaTableCache() = default;

void AreaTableCache::changed() { generation_ = nextGeneration.fetch_add(1); }

std::unique_lock<std::mutex> AreaTableCache::lockOwnShard() const {
    return std::unique_lock<std::mutex>(shards_[threadShardIndex(shardCount)].mutex);
}

void AreaTableCache::invalidate(const void* worldData) {
    AllShardsLock all(*this);
    auto it = entries_.find(worldData);
    if (it == entries_.end()) return;
    bytes_ -= it->second->bytesHeld();
    entries_.erase(it);
    changed();
}

void AreaTableCache::invalidateAll() {
    AllShardsLock all(*this);
    entries_.clear();
    bytes_ = 0;
    changed();
}

void AreaTableCache::invalidateAllBut(const std::function<bool(const void*)>& keep) {
    AllShardsLock all(*this);
    for (auto it = entries_.begin(); it != entries_.end();) {
        if (keep(it->first)) {
            ++it;
            continue;
        }
        bytes_ -= it->second->bytesHeld();
        it = entries_.erase(it);
        changed();
    }
}

std::size_t AreaTableCache::bytes() const { return bytes_.load(); }

double AreaTableCache::buildSeconds() const { return double(buildNanoseconds_.load()) * 1e-9; }

AreaTableLease AreaTableCache::acquire(const PF_EffectWorld& world, PixelDepth depth) {
    for (;;) {
        auto lock = lockOwnShard();
        EntryMemo& memo = entryMemo;
        Entry* found = nullptr;
        if (memo.generation == generation_ && memo.data == world.data && memo.depth == depth) {
            found = static_cast<Entry*>(memo.entry);
        } else if (auto it = entries_.find(world.data); it != entries_.end()) {
            found = it->second.get();
        }
        if (found && found->matches(world, depth)) {
            Entry& entry = *found;
            memo = {generation_, world.data, depth, found};
            if (!entry.ready.load(std::memory_order_acquire)) {
                std::lock_guard<std::mutex> building(entry.buildMutex);
                if (!entry.ready.load(std::memory_order_relaxed)) {
                    // On std::bad_alloc the entry stays unbuilt and the next caller tries again.
                    const auto start = std::chrono::steady_clock::now();
                    entry.table = buildAreaTable(world, depth);
                    buildNanoseconds_ += std::chrono::duration_cast<std::chrono::nanoseconds>(
                                             std::chrono::steady_clock::now() - start)
                                             .count();
                    bytes_ += entry.table.bytes();
                    entry.ready.store(true, std::memory_order_release);
                }
            }
            return AreaTableLease(std::move(lock), entry.table);
        }
        // First use of this world, or a different world now lives at that address: make room
        // for its table, then look again (another thread may have invalidated it meanwhile).
        lock.unlock();
        AllShardsLock all(*this);
        auto& slot = entries_[world.data];
        if (!slot || !slot->matches(world, depth)) {
            if (slot) bytes_ -= slot->bytesHeld();
            slot = std::make_unique<Entry>(world, depth);
            changed();
        }
    }
}

} // namespace orbhost
