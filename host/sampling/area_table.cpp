#include "host/sampling/area_table.h"

#include "host/sampling/pixel_traits.h"

#include <chrono>
#include <map>
#include <type_traits>

namespace orbhost {

std::size_t AreaTable::bytes() const {
    std::size_t total = 0;
    if (integerSums) total += integerSums->bytes();
    if (floatSums) total += floatSums->bytes();
    if (coveredPixels) total += coveredPixels->bytes();
    return total;
}

struct TableStorage::Blocks {
    std::multimap<std::size_t, std::unique_ptr<IntegerSums[]>> integer;
    std::multimap<std::size_t, std::unique_ptr<FloatSums[]>> floating;
    std::multimap<std::size_t, std::unique_ptr<std::uint32_t[]>> counts;
    std::size_t bytes = 0;

    template <class Entry> auto& of() {
        if constexpr (std::is_same_v<Entry, IntegerSums>) return integer;
        else if constexpr (std::is_same_v<Entry, FloatSums>) return floating;
        else return counts;
    }
};

namespace {

// Enough for the tables of every world a large frame writes to come back for the next frame.
// Under AddressSanitizer nothing is kept, so that a read of a dropped table is caught.
#if defined(ORBULON_ADDRESS_SANITIZER)
constexpr std::size_t kMaxKeptBytes = 0;
#else
constexpr std::size_t kMaxKeptBytes = std::size_t(1) << 30;
#endif

template <class Entry>
void keepTable(TableStorage::Blocks& blocks, std::optional<SummedAreaTable<Entry>>& table) {
    if (!table) return;
    const std::size_t count = table->entryCount(), bytes = count * sizeof(Entry);
    if (blocks.bytes + bytes <= kMaxKeptBytes) {
        blocks.of<Entry>().emplace(count, table->takeStorage());
        blocks.bytes += bytes;
    }
    table.reset();
}

} // namespace

TableStorage::TableStorage() : blocks_(std::make_unique<Blocks>()) {}
TableStorage::~TableStorage() = default;

void TableStorage::keep(AreaTable& table) {
    std::lock_guard lock(mutex_);
    keepTable(*blocks_, table.integerSums);
    keepTable(*blocks_, table.floatSums);
    keepTable(*blocks_, table.coveredPixels);
}

template <class Entry>
std::unique_ptr<Entry[]> TableStorage::take(std::size_t count) {
    std::lock_guard lock(mutex_);
    auto& blocks = blocks_->of<Entry>();
    auto it = blocks.find(count);
    if (it == blocks.end()) return nullptr;
    std::unique_ptr<Entry[]> block = std::move(it->second);
    blocks.erase(it);
    blocks_->bytes -= count * sizeof(Entry);
    return block;
}

namespace {

template <class Entry>
std::unique_ptr<Entry[]> storageFor(TableStorage* storage, const PF_EffectWorld& world) {
    return storage ? storage->take<Entry>(SummedAreaTable<Entry>::entryCount(world.width, world.height)) : nullptr;
}

template <class Pixel>
void buildIntegerSums(AreaTable& table, const PF_EffectWorld& world, TableStorage* storage) {
    table.integerSums.emplace(world.width, world.height, storageFor<IntegerSums>(storage, world));
    table.integerSums->build([&](int x, int y) {
        const Pixel& p = pixelAt<Pixel>(world, x, y);
        const std::uint64_t a = p.alpha;
        return IntegerSums{a, a * p.red, a * p.green, a * p.blue};
    });
}

void buildFloatSums(AreaTable& table, const PF_EffectWorld& world, TableStorage* storage) {
    table.floatSums.emplace(world.width, world.height, storageFor<FloatSums>(storage, world));
    table.floatSums->build([&](int x, int y) {
        const PF_PixelFloat& p = pixelAt<PF_PixelFloat>(world, x, y);
        if (!pixelIsUsable(p)) return FloatSums{};
        const double a = p.alpha;
        return FloatSums{a, a * p.red, a * p.green, a * p.blue};
    });
    table.coveredPixels.emplace(world.width, world.height, storageFor<std::uint32_t>(storage, world));
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

AreaTable buildAreaTable(const PF_EffectWorld& world, PixelDepth depth, TableStorage* storage) {
    AreaTable table;
    switch (depth) {
    case PixelDepth::eight: buildIntegerSums<PF_Pixel>(table, world, storage); break;
    case PixelDepth::sixteen: buildIntegerSums<PF_Pixel16>(table, world, storage); break;
    case PixelDepth::floating: buildFloatSums(table, world, storage); break;
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

void AreaTableCache::retire(Entry& entry) {
    if (entry.ready.load(std::memory_order_relaxed)) storage_.keep(entry.table);
}

std::unique_lock<std::mutex> AreaTableCache::lockOwnShard() const {
    return std::unique_lock<std::mutex>(shards_[threadShardIndex(shardCount)].mutex);
}

void AreaTableCache::invalidate(const void* worldData) {
    AllShardsLock all(*this);
    auto it = entries_.find(worldData);
    if (it == entries_.end()) return;
    bytes_ -= it->second->bytesHeld();
    retire(*it->second);
    entries_.erase(it);
    changed();
}

void AreaTableCache::invalidateAll() {
    AllShardsLock all(*this);
    for (auto& [data, entry] : entries_) retire(*entry);
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
        retire(*it->second);
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
                    entry.table = buildAreaTable(world, depth, &storage_);
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
            if (slot) {
                bytes_ -= slot->bytesHeld();
                retire(*slot);
            }
            slot = std::make_unique<Entry>(world, depth);
            changed();
        }
    }
}

} // namespace orbhost
