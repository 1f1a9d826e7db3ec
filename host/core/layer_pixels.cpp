#include "host/core/layer_pixels.h"

#include <algorithm>
#include <cmath>

namespace orbhost {
namespace {

struct Rgba {
    float r = 0, g = 0, b = 0, a = 0;
};

// Straight colour averaged over the source pixels a downsampled pixel covers.
Rgba reducedPixel(const Image& image, int x, int y, int fx, int fy)
{
    float r = 0, g = 0, b = 0, a = 0;
    int n = 0;
    for (int sy = y * fy; sy < std::min(image.height, (y + 1) * fy); ++sy) {
        for (int sx = x * fx; sx < std::min(image.width, (x + 1) * fx); ++sx) {
            const float* p = &image.rgba[(std::size_t(sy) * image.width + sx) * 4];
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

template <class Channel>
Channel toChannel(float value, float fullScale)
{
    return Channel(std::lround(std::clamp(value, 0.0f, 1.0f) * fullScale));
}

void storePixel(unsigned char* at, PF_PixelFormat format, const Rgba& c)
{
    if (format == PF_PixelFormat_ARGB32) {
        auto* p = reinterpret_cast<PF_Pixel*>(at);
        *p = {toChannel<A_u_char>(c.a, 255), toChannel<A_u_char>(c.r, 255),
              toChannel<A_u_char>(c.g, 255), toChannel<A_u_char>(c.b, 255)};
    } else if (format == PF_PixelFormat_ARGB64) {
        auto* p = reinterpret_cast<PF_Pixel16*>(at);
        *p = {toChannel<A_u_short>(c.a, 32768), toChannel<A_u_short>(c.r, 32768),
              toChannel<A_u_short>(c.g, 32768), toChannel<A_u_short>(c.b, 32768)};
    } else {
        auto* p = reinterpret_cast<PF_PixelFloat*>(at);
        *p = {c.a, c.r, c.g, c.b};
    }
}

} // namespace

int downsampledSize(int size, int factor)
{
    return factor <= 1 ? size : (size + factor - 1) / factor;
}

PF_Err makeLayerWorld(WorldRegistry& registry, const Image& image, PF_PixelFormat format,
                      int downsampleX, int downsampleY, bool writeable, PF_EffectWorld* world)
{
    const int fx = std::max(1, downsampleX), fy = std::max(1, downsampleY);
    const int width = downsampledSize(image.width, fx), height = downsampledSize(image.height, fy);
    if (PF_Err err = registry.create(width, height, format, true, writeable, world))
        return err;
    const int bpp = bytesPerPixel(format);
    auto* base = reinterpret_cast<unsigned char*>(world->data);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            storePixel(base + std::size_t(y) * world->rowbytes + std::size_t(x) * bpp, format,
                       reducedPixel(image, x, y, fx, fy));
    return PF_Err_NONE;
}

Image imageFromWorld(const PF_EffectWorld& world, PF_PixelFormat format)
{
    Image image;
    image.width = world.width;
    image.height = world.height;
    image.rgba.resize(std::size_t(world.width) * world.height * 4);
    const auto* base = reinterpret_cast<const unsigned char*>(world.data);
    for (int y = 0; y < world.height; ++y) {
        const unsigned char* row = base + std::size_t(y) * world.rowbytes;
        for (int x = 0; x < world.width; ++x) {
            float a, r, g, b;
            if (format == PF_PixelFormat_ARGB32) {
                const auto& p = reinterpret_cast<const PF_Pixel*>(row)[x];
                a = p.alpha / 255.0f, r = p.red / 255.0f, g = p.green / 255.0f, b = p.blue / 255.0f;
            } else if (format == PF_PixelFormat_ARGB64) {
                const auto& p = reinterpret_cast<const PF_Pixel16*>(row)[x];
                a = p.alpha / 32768.0f, r = p.red / 32768.0f, g = p.green / 32768.0f, b = p.blue / 32768.0f;
            } else {
                const auto& p = reinterpret_cast<const PF_PixelFloat*>(row)[x];
                a = p.alpha, r = p.red, g = p.green, b = p.blue;
            }
            float* out = &image.rgba[(std::size_t(y) * world.width + x) * 4];
            out[0] = r, out[1] = g, out[2] = b, out[3] = a;
        }
    }
    return image;
}

} // namespace orbhost
