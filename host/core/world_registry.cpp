#include "host/core/world_registry.h"

#include "host/core/host_codes.h"
#include "host/sampling/pixel_traits.h"

#include <cstring>
#include <new>

namespace orbhost {
namespace {

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

PF_Err WorldRegistry::create(A_long width, A_long height, PF_PixelFormat format, bool clear,
                             bool writeable, PF_EffectWorld* world)
{
    const int bpp = bytesPerPixel(format);
    if (!world || bpp == 0 || width < 0 || height < 0)
        return PF_Err_BAD_CALLBACK_PARAM;
    const std::size_t rowbytes = std::size_t(width) * bpp + kRowPaddingBytes;
    const std::size_t total = rowbytes * std::size_t(height ? height : 1);
    if (rowbytes > 0x7FFFFFFF)
        return PF_Err_OUT_OF_MEMORY;
    Storage storage;
    storage.bytes.reset(new (std::nothrow) unsigned char[total]);
    if (!storage.bytes)
        return PF_Err_OUT_OF_MEMORY;
    storage.format = format;
    std::memset(storage.bytes.get(), clear ? 0 : kPoisonByte, total);
    for (A_long y = 0; y < height; ++y) {
        unsigned char* row = storage.bytes.get() + y * rowbytes;
        if (clear)
            std::memset(row + std::size_t(width) * bpp, kPoisonByte, kRowPaddingBytes);
        else
            fillUntouched(row, width, format);
    }

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
    return PF_Err_NONE;
}

bool WorldRegistry::dispose(const void* data)
{
    std::lock_guard lock(mutex_);
    return worlds_.erase(data) == 1;
}

std::optional<PF_PixelFormat> WorldRegistry::format(const void* data) const
{
    std::lock_guard lock(mutex_);
    auto it = worlds_.find(data);
    if (it == worlds_.end())
        return std::nullopt;
    return it->second.format;
}

std::size_t WorldRegistry::liveCount() const
{
    std::lock_guard lock(mutex_);
    return worlds_.size();
}

} // namespace orbhost
