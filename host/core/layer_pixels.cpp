#include "host/core/layer_pixels.h"

#include "host/sampling/pixel_traits.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <tuple>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace orbhost {
namespace {

struct Rgba {
    float r = 0, g = 0, b = 0, a = 0;
};

// Straight colour averaged over the source pixels a downsampled pixel covers. `at(sx, sy)`
// gives a source pixel's r, g, b, a: an image's, or a solid's one colour (the same sums in the
// same order, so a solid's world matches the one its full-size image would give).
template <class PixelAt>
Rgba reducedPixel(int width, int height, const PixelAt& at, int x, int y, int fx, int fy)
{
    float r = 0, g = 0, b = 0, a = 0;
    int n = 0;
    for (int sy = y * fy; sy < std::min(height, (y + 1) * fy); ++sy) {
        for (int sx = x * fx; sx < std::min(width, (x + 1) * fx); ++sx) {
            const float* p = at(sx, sy);
            r += p[0] * p[3];
            g += p[1] * p[3];
            b += p[2] * p[3];
            a += p[3];
            ++n;
        }
    }
    if (n == 0 || a <= 0)
        return {};
    return {r / a, g / a, b / a, a / float(n)};
}

// The world pixel of a straight colour: integer channels clamped to 0..1 and scaled to full
// scale, float channels as they are.
template <class Pixel>
Pixel storedPixel(const Rgba& c)
{
    if constexpr (PixelTraits<Pixel>::integral) {
        using Channel = decltype(Pixel{}.alpha);
        constexpr float fullScale = float(PixelTraits<Pixel>::fullScale);
        auto channel = [](float v) { return Channel(std::lround(std::clamp(v, 0.0f, 1.0f) * fullScale)); };
        return {channel(c.a), channel(c.r), channel(c.g), channel(c.b)};
    } else {
        return {c.a, c.r, c.g, c.b};
    }
}

template <class Pixel, class PixelAt>
void storeReduced(int width, int height, const PixelAt& at, int fx, int fy, PF_EffectWorld& world)
{
    auto* base = reinterpret_cast<unsigned char*>(world.data);
    for (int y = 0; y < world.height; ++y) {
        auto* row = reinterpret_cast<Pixel*>(base + std::size_t(y) * world.rowbytes);
        for (int x = 0; x < world.width; ++x)
            row[x] = storedPixel<Pixel>(reducedPixel(width, height, at, x, y, fx, fy));
    }
}

template <class Pixel>
void storeLayer(const LayerPixels& pixels, int fx, int fy, PF_EffectWorld& world)
{
    if (const std::array<float, 4>* color = pixels.solidColor()) {
        const float* c = color->data();
        storeReduced<Pixel>(pixels.width(), pixels.height(), [c](int, int) { return c; }, fx, fy, world);
        return;
    }
    const std::shared_ptr<const Image> image = pixels.image();
    const auto at = [&image](int sx, int sy) { return &image->rgba[(std::size_t(sy) * image->width + sx) * 4]; };
    storeReduced<Pixel>(image->width, image->height, at, fx, fy, world);
}

template <class Pixel>
void loadPixels(const PF_EffectWorld& world, Image& image, int firstRow, int endRow)
{
    constexpr float fullScale = float(PixelTraits<Pixel>::fullScale);
    const auto* base = reinterpret_cast<const unsigned char*>(world.data);
    for (int y = firstRow; y < endRow; ++y) {
        const auto* row = reinterpret_cast<const Pixel*>(base + std::size_t(y) * world.rowbytes);
        for (int x = 0; x < world.width; ++x) {
            float* out = &image.rgba[(std::size_t(y) * world.width + x) * 4];
            out[0] = row[x].red / fullScale, out[1] = row[x].green / fullScale;
            out[2] = row[x].blue / fullScale, out[3] = row[x].alpha / fullScale;
        }
    }
}

} // namespace

int downsampledSize(int size, int factor)
{
    return factor <= 1 ? size : (size + factor - 1) / factor;
}

PF_RationalScale pixelAspectRatio(double aspect)
{
    return {A_long(aspect * 1000 + 0.5), 1000};
}

bool LayerPixelCache::Key::operator<(const Key& o) const
{
    return std::tie(layer, format, fx, fy) < std::tie(o.layer, o.format, o.fx, o.fy);
}

PF_Err LayerPixelCache::makeWorld(WorldRegistry& registry, const LayerPixels& pixels, PF_PixelFormat format,
                                  int downsampleX, int downsampleY, PF_EffectWorld* world)
{
    const int fx = std::max(1, downsampleX), fy = std::max(1, downsampleY);
    std::lock_guard lock(mutex_);
    Key key{pixels.identity(), format, fx, fy};
    if (auto kept = worlds_.find(key); kept != worlds_.end()) {
        *world = kept->second;
        return PF_Err_NONE;
    }
    const int width = downsampledSize(pixels.width(), fx), height = downsampledSize(pixels.height(), fy);
    if (PF_Err err = registry.create(width, height, format, WorldFill::Overwritten, false, world))
        return err;
    try {
        withPixelType(format, [&](auto pixel) { storeLayer<decltype(pixel)>(pixels, fx, fy, *world); });
        worlds_.emplace(std::move(key), *world);
    } catch (...) {
        // The pixels could not be made (a file gone bad, no memory): no world is handed out.
        registry.dispose(world->data);
        std::memset(world, 0, sizeof *world);
        throw;
    }
    return PF_Err_NONE;
}

bool LayerPixelCache::owns(const void* data) const
{
    std::lock_guard lock(mutex_);
    for (const auto& entry : worlds_)
        if (entry.second.data == data)
            return true;
    return false;
}

std::size_t LayerPixelCache::cachedBytes() const
{
    std::lock_guard lock(mutex_);
    std::size_t bytes = 0;
    for (const auto& entry : worlds_)
        bytes += std::size_t(entry.second.rowbytes) * std::size_t(entry.second.height);
    return bytes;
}

void LayerPixelCache::clear(WorldRegistry& registry)
{
    std::lock_guard lock(mutex_);
    for (const auto& entry : worlds_)
        registry.dispose(entry.second.data);
    worlds_.clear();
}

Image imageFromWorld(const PF_EffectWorld& world, PF_PixelFormat format)
{
    Image image;
    image.width = world.width;
    image.height = world.height;
    image.rgba.resize(std::size_t(world.width) * world.height * 4);
    withPixelType(format, [&](auto pixel) { loadPixels<decltype(pixel)>(world, image, 0, world.height); });
    return image;
}

Image imageFromWorldBeforeDisposal(const PF_EffectWorld& world, PF_PixelFormat format)
{
    const std::size_t worldBytes = std::size_t(world.rowbytes) * std::size_t(std::max<A_long>(world.height, 0));
    if (worldBytes < kReleaseWhileCopyingBytes || world.width <= 0)
        return imageFromWorld(world, format);
#if defined(__linux__)
    const std::size_t page = std::size_t(sysconf(_SC_PAGESIZE));
    auto* base = reinterpret_cast<unsigned char*>(world.data);
    auto* released = reinterpret_cast<unsigned char*>((reinterpret_cast<std::uintptr_t>(base) + page - 1) / page * page);
#endif
    Image image;
    image.width = world.width;
    image.height = world.height;
    // Reserved but not yet touched: the image takes memory only as its rows are written.
    image.rgba.reserve(std::size_t(world.width) * world.height * 4);
    constexpr int kRowsPerStep = 32;
    for (int y = 0; y < world.height; y += kRowsPerStep) {
        const int end = std::min<int>(world.height, y + kRowsPerStep);
        image.rgba.resize(std::size_t(world.width) * end * 4);
        withPixelType(format, [&](auto pixel) { loadPixels<decltype(pixel)>(world, image, y, end); });
#if defined(__linux__)
        // Whole pages of rows already copied go back to the system; a later world reusing
        // this buffer gets them again as zero pages, which every fill overwrites.
        auto* copied = base + std::size_t(end) * std::size_t(world.rowbytes);
        auto* limit = reinterpret_cast<unsigned char*>(reinterpret_cast<std::uintptr_t>(copied) / page * page);
        if (limit > released) {
            madvise(released, std::size_t(limit - released), MADV_DONTNEED);
            released = limit;
        }
#endif
    }
    return image;
}

} // namespace orbhost
