// Conversions between the host's images (straight RGBA float, row 0 at the top) and effect
// worlds (ARGB at 8, 16 or 32 bits per channel, padded rows).
#pragma once
#include "host/core/layer_source.h"
#include "host/core/world_registry.h"
#include "host/scene/image.h"

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace orbhost {

// Buffer size of a layer at a downsample factor 1/factor: ceil(size / factor).
int downsampledSize(int size, int factor);

// Pixel aspect as worlds and checkout results carry it: thousandths, rounded.
PF_RationalScale pixelAspectRatio(double aspect);

// Worlds of layer pixels, each reduced and converted once per (layer, format, downsample): a
// layer checked out on every frame costs a row copy, not a conversion. Every checkout still
// gets a world of its own, so whatever the effect writes into one never reaches the next.
// Entries hold their image, so its address cannot be reused for another while it is cached.
class LayerPixelCache {
public:
    // Creates a registered world of the given format holding the layer's pixels reduced by the
    // downsample factors (box average of premultiplied colour, then straight again). A solid is
    // filled from its colour: its full-size pixels are never made.
    PF_Err makeWorld(WorldRegistry& registry, const LayerPixels& pixels, PF_PixelFormat format,
                     int downsampleX, int downsampleY, bool writeable, PF_EffectWorld* world);
    void clear();
    // Bytes of converted rows kept for later checkouts.
    std::size_t cachedBytes() const;

private:
    struct Key {
        std::shared_ptr<const void> layer;
        PF_PixelFormat format;
        int fx, fy;
        bool operator<(const Key& other) const;
    };
    mutable std::mutex mutex_;
    std::map<Key, std::vector<unsigned char>> packedRows_;
};

// The world's pixels as an image (8-bit / 255, 16-bit / 32768, float as stored).
Image imageFromWorld(const PF_EffectWorld& world, PF_PixelFormat format);

} // namespace orbhost
