// Conversions between the host's images (straight RGBA float, row 0 at the top) and effect
// worlds (ARGB at 8, 16 or 32 bits per channel, padded rows).
#pragma once
#include "host/core/layer_source.h"
#include "host/core/world_registry.h"
#include "host/scene/image.h"

#include <map>
#include <memory>
#include <mutex>

namespace orbhost {

// Buffer size of a layer at a downsample factor 1/factor: ceil(size / factor).
int downsampledSize(int size, int factor);

// Pixel aspect as worlds and checkout results carry it: thousandths, rounded.
PF_RationalScale pixelAspectRatio(double aspect);

// Worlds of layer pixels, each reduced and converted once per (layer, format, downsample) and
// then kept: every checkout of that layer, in the same frame or a later one, gets the same
// read-only world, so a layer costs one conversion for a whole sequence and the sampling tables
// built over its world stay valid. The worlds are the host's: checking one in leaves it alive,
// and clear() disposes of them. Entries hold their source, so its address cannot be reused for
// another while it is cached.
class LayerPixelCache {
public:
    // Fills *world with the layer's world (pixels reduced by the downsample factors: box average
    // of premultiplied colour, then straight again), making it on first use. A solid is filled
    // from its colour: its full-size pixels are never made. Throws what the source throws
    // (ImageError, std::bad_alloc), having handed out nothing.
    PF_Err makeWorld(WorldRegistry& registry, const LayerPixels& pixels, PF_PixelFormat format,
                     int downsampleX, int downsampleY, PF_EffectWorld* world);
    // Whether these pixels are one of the kept worlds (which a check-in must not dispose).
    bool owns(const void* data) const;
    // Disposes of every kept world.
    void clear(WorldRegistry& registry);
    // Bytes of the kept worlds.
    std::size_t cachedBytes() const;

private:
    struct Key {
        std::shared_ptr<const void> layer;
        PF_PixelFormat format;
        int fx, fy;
        bool operator<(const Key& other) const;
    };
    mutable std::mutex mutex_;
    std::map<Key, PF_EffectWorld> worlds_;
};

// The world's pixels as an image (8-bit / 255, 16-bit / 32768, float as stored).
Image imageFromWorld(const PF_EffectWorld& world, PF_PixelFormat format);

// Worlds from this size up give their memory back while imageFromWorldBeforeDisposal copies
// them: a 3840x2160 float frame is then not held twice at the end of a render. Smaller ones
// keep their pages, which a later frame reuses without the system clearing them again.
constexpr std::size_t kReleaseWhileCopyingBytes = std::size_t(64) << 20;

// imageFromWorld for a world that is disposed right after and whose pixels no one reads again:
// a large world's pages are released behind the copy.
Image imageFromWorldBeforeDisposal(const PF_EffectWorld& world, PF_PixelFormat format);

} // namespace orbhost
