// Conversions between the host's images (straight RGBA float, row 0 at the top) and effect
// worlds (ARGB at 8, 16 or 32 bits per channel, padded rows).
#pragma once
#include "host/core/world_registry.h"
#include "host/scene/image.h"

namespace orbhost {

// Buffer size of a layer at a downsample factor 1/factor: ceil(size / factor).
int downsampledSize(int size, int factor);

// Creates a registered world of the given format holding image reduced by the downsample
// factors (box average of premultiplied colour, then straight again).
PF_Err makeLayerWorld(WorldRegistry& registry, const Image& image, PF_PixelFormat format,
                      int downsampleX, int downsampleY, bool writeable, PF_EffectWorld* world);

// The world's pixels as an image (8-bit / 255, 16-bit / 32768, float as stored).
Image imageFromWorld(const PF_EffectWorld& world, PF_PixelFormat format);

} // namespace orbhost
