// Pixel worlds the host hands out (new worlds, checked-out layers, the output): padded rows
// with poisoned padding, and a registry keyed by the pixel pointer so that a by-value copy of a
// world is still recognised.
#pragma once
#include "host/core/fault_plan.h"
#include "hostapi/host_api.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace orbhost {

int bytesPerPixel(PF_PixelFormat format);                 // 0 for formats the host does not make
PF_PixelFormat pixelFormatForDepth(int bitsPerChannel);   // 8, 16, 32
int depthOfPixelFormat(PF_PixelFormat format);            // 8, 16, 32; 0 if unknown

// Calls f with a value-initialised pixel of the format's type (PF_Pixel, PF_Pixel16, or
// PF_PixelFloat for any other format), so that one template serves all three depths.
template <class F>
decltype(auto) withPixelType(PF_PixelFormat format, F&& f)
{
    if (format == PF_PixelFormat_ARGB32)
        return f(PF_Pixel{});
    if (format == PF_PixelFormat_ARGB64)
        return f(PF_Pixel16{});
    return f(PF_PixelFloat{});
}

// What a new world's pixels hold. Row padding always gets the poison byte.
enum class WorldFill {
    Cleared,       // transparent black
    Pattern,       // opaque magenta, so that pixels an effect never wrote show in the image
    Overwritten,   // whatever the buffer held: the caller writes every pixel itself
};

class WorldRegistry {
public:
    WorldRegistry();
    // Fills *world. Returns PF_Err_OUT_OF_MEMORY or PF_Err_BAD_CALLBACK_PARAM on failure.
    PF_Err create(A_long width, A_long height, PF_PixelFormat format, WorldFill fill, bool writeable,
                  PF_EffectWorld* world);
    bool dispose(const void* data);                        // false for an unknown world
    std::optional<PF_PixelFormat> format(const void* data) const;
    std::size_t liveCount() const;
    std::size_t spareBytes() const;                        // kept for reuse, not in any world
    void setRowLayout(RowLayout layout);                   // for worlds created from now on

private:
    struct Storage {
        std::unique_ptr<unsigned char[]> bytes;
        std::size_t size = 0;
        PF_PixelFormat format = 0;
    };
    void changed();                                        // under mutex_: worlds_ changed

    mutable std::mutex mutex_;
    std::map<const void*, Storage> worlds_;
    // A number no other state of any registry has had: samplers remember the format of the
    // last world they asked about by it, and ask again only after a change.
    std::atomic<std::uint64_t> generation_;
    // Buffers of disposed worlds by size: frames of a sequence ask for the same worlds again, and
    // reusing them saves the allocation and the kernel's zeroing of fresh pages.
    std::multimap<std::size_t, std::unique_ptr<unsigned char[]>> spare_;
    std::size_t spareBytes_ = 0;
    RowLayout rowLayout_ = RowLayout::Padded;
};

} // namespace orbhost
