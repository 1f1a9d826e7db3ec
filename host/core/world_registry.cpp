#include "host/core/world_registry.h"

#include "host/core/host_codes.h"
#include "host/sampling/parallel_ranges.h"
#include "host/sampling/pixel_traits.h"

#include <cstring>
#include <new>

namespace orbhost {
namespace {

// Rows per share of a world's fill: a world of fewer than twice as many is filled on the
// calling thread, where starting a thread would cost more than it saves.
constexpr int kRowsPerFillRange = 256;

// Opaque magenta: an untouched pixel is obvious in any image viewer.
void fillUntouched(unsigned char* row, A_long width, PF_PixelFormat format)
{
    withPixelType(format, [&](auto pixel) {
        using Pixel = decltype(pixel);
        const auto full = decltype(pixel.alpha)(PixelTraits<Pixel>::fullScale);
        pixel = {full, full, 0, full};
        for (A_long x = 0; x < width; ++x)
            std::memcpy(row + x * sizeof(Pixel), &pixel, sizeof(Pixel));
    });
}

} // namespace

int bytesPerPixel(PF_PixelFormat format)
{
    if (format == PF_PixelFormat_ARGB32) return 4;
    if (format == PF_PixelFormat_ARGB64) return 8;
    if (format == PF_PixelFormat_ARGB128) return 16;
    return 0;
}

PF_PixelFormat pixelFormatForDepth(int bits)
{
    return bits == 32 ? PF_PixelFormat_ARGB128 : bits == 16 ? PF_PixelFormat_ARGB64 : PF_PixelFormat_ARGB32;
}

int depthOfPixelFormat(PF_PixelFormat format)
{
    return format == PF_PixelFormat_ARGB32 ? 8 : format == PF_PixelFormat_ARGB64 ? 16
           : format == PF_PixelFormat_ARGB128 ? 32 : 0;
}

PF_Err WorldRegistry::create(A_long width, A_long height, PF_PixelFormat format, WorldFill fill,
                             bool writeable, PF_EffectWorld* world)
{
    const int bpp = bytesPerPixel(format);
    if (!world || bpp == 0 || width < 0 || height < 0)
        return PF_Err_BAD_CALLBACK_PARAM;
    const std::size_t pixelBytes = std::size_t(width) * bpp;
    std::size_t rowbytes = pixelBytes + kRowPaddingBytes;
    {
        std::lock_guard lock(mutex_);
        if (rowLayout_ == RowLayout::OffPixel)
            rowbytes = pixelBytes + bpp / 4;
        else if (rowLayout_ == RowLayout::Wide)
            rowbytes = 4 * pixelBytes + kRowPaddingBytes;
    }
    const std::size_t total = rowbytes * std::size_t(height ? height : 1);
    if (rowbytes > 0x7FFFFFFF)
        return PF_Err_OUT_OF_MEMORY;
    Storage storage;
    storage.size = total;
    storage.format = format;
    {
        std::lock_guard lock(mutex_);
        if (auto spare = spare_.find(total); spare != spare_.end()) {
            storage.bytes = std::move(spare->second);
            spare_.erase(spare);
            spareBytes_ -= total;
        }
    }
    if (!storage.bytes)
        storage.bytes.reset(new (std::nothrow) unsigned char[total]);
    if (!storage.bytes)
        return PF_Err_OUT_OF_MEMORY;
    // Rows are filled on every core: a large world's fill (and its first touch of fresh pages)
    // is otherwise the longest single-threaded stretch of a frame.
    parallelRanges(int(height), kRowsPerFillRange, [&](int begin, int end) {
        for (A_long y = begin; y < end; ++y) {
            unsigned char* row = storage.bytes.get() + y * rowbytes;
            if (fill == WorldFill::Cleared)
                std::memset(row, 0, pixelBytes);
            else if (fill == WorldFill::Pattern)
                fillUntouched(row, width, format);
            std::memset(row + pixelBytes, kPoisonByte, rowbytes - pixelBytes);
        }
    });
    if (height == 0)
        std::memset(storage.bytes.get(), kPoisonByte, total);

    std::memset(world, 0, sizeof *world);
    world->data = reinterpret_cast<PF_PixelPtr>(storage.bytes.get());
    world->rowbytes = A_long(rowbytes);
    world->width = width;
    world->height = height;
    world->extent_hint = {0, 0, width, height};
    world->pix_aspect_ratio = {1, 1};
    world->world_flags = (format == PF_PixelFormat_ARGB64 ? PF_WorldFlag_DEEP : 0) |
                         (writeable ? PF_WorldFlag_WRITEABLE : 0);
    std::lock_guard lock(mutex_);
    worlds_.emplace(storage.bytes.get(), std::move(storage));
    changed();
    return PF_Err_NONE;
}

bool WorldRegistry::dispose(const void* data)
{
    // Enough for every world of a large frame (output, layers, depth-of-field buffers) to come
    // back for the next one; beyond it buffers are freed. Under AddressSanitizer nothing is
    // kept, so that an effect writing to a world it disposed is caught.
#if defined(ORBULON_ADDRESS_SANITIZER)
    constexpr std::size_t kMaxSpareBytes = 0;
#else
    constexpr std::size_t kMaxSpareBytes = std::size_t(1) << 30;
#endif
    std::lock_guard lock(mutex_);
    auto it = worlds_.find(data);
    if (it == worlds_.end())
        return false;
    Storage& storage = it->second;
    if (spareBytes_ + storage.size <= kMaxSpareBytes) {
        spareBytes_ += storage.size;
        spare_.emplace(storage.size, std::move(storage.bytes));
    }
    worlds_.erase(it);
    changed();
    return true;
}

void WorldRegistry::setRowLayout(RowLayout layout)
{
    std::lock_guard lock(mutex_);
    rowLayout_ = layout;
}

namespace {

std::atomic<std::uint64_t> nextGeneration{1};

// The last answer of format() on this thread. Every sample asks for its source world's format;
// the worlds do not change during a pass, so the answer is nearly always the same, and taking
// the registry's lock for it would make the sampling threads queue on one another.
struct FormatMemo {
    std::uint64_t generation = 0;
    const void* data = nullptr;
    std::optional<PF_PixelFormat> format;
};
thread_local FormatMemo formatMemo;

} // namespace

WorldRegistry::WorldRegistry() : generation_(nextGeneration.fetch_add(1)) {}

void WorldRegistry::changed()
{
    generation_.store(nextGeneration.fetch_add(1), std::memory_order_release);
}

std::optional<PF_PixelFormat> WorldRegistry::format(const void* data) const
{
    FormatMemo& memo = formatMemo;
    if (memo.data == data && memo.generation == generation_.load(std::memory_order_acquire))
        return memo.format;
    std::lock_guard lock(mutex_);
    auto it = worlds_.find(data);
    memo = {generation_.load(std::memory_order_relaxed), data,
            it == worlds_.end() ? std::nullopt : std::optional<PF_PixelFormat>(it->second.format)};
    return memo.format;
}

std::size_t WorldRegistry::liveCount() const
{
    std::lock_guard lock(mutex_);
    return worlds_.size();
}

std::size_t WorldRegistry::spareBytes() const
{
    std::lock_guard lock(mutex_);
    return spareBytes_;
}

} // namespace orbhost

