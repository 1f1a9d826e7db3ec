#include "AEO/effect_world.h"

#include <cstddef>

namespace AEO {

namespace {

// The 16-bit channel scale: full is 32768, not 65535.
constexpr float kInv16 = 1.0f / 32768.0f;

template <class Pixel>
const Pixel* pixelAt(const PF_EffectWorld& world, A_long x, A_long y)
{
    const char* row = static_cast<const char*>(static_cast<const void*>(world.data)) + std::ptrdiff_t(y) * world.rowbytes;
    return reinterpret_cast<const Pixel*>(row) + x;
}

} // namespace

A_long bytesPerPixelOf(PF_PixelFormat format)
{
    switch (format) {
    case PF_PixelFormat_ARGB128: return 16;
    case PF_PixelFormat_ARGB64: return 8;
    case PF_PixelFormat_ARGB32: return 4;
    default: return 0;
    }
}

EffectWorld::EffectWorld(const PF_InData* inData) : effectRef_(effectRefOf(inData)), worlds_(basicOf(inData)) {}

EffectWorld::EffectWorld(const PF_InData* inData, const PF_EffectWorld& world) : EffectWorld(inData)
{
    world_ = world;
    readPixelFormat();
}

void EffectWorld::readPixelFormat()
{
    pixelFormat_ = query(PF_PixelFormat_INVALID, worlds_, &PF_WorldSuite2::PF_GetPixelFormat,
                         static_cast<const PF_EffectWorld*>(&world_));
    bytesPerPixel_ = bytesPerPixelOf(pixelFormat_);
}

PF_PixelFloat EffectWorld::pixelColor(A_long x, A_long y) const
{
    if (!world_.data || x < 0 || y < 0 || x >= world_.width || y >= world_.height) {
        return PF_PixelFloat{};
    }
    switch (bytesPerPixel_) {
    case 4: {
        const PF_Pixel8& p = *pixelAt<PF_Pixel8>(world_, x, y);
        return {p.alpha / 255.0f, p.red / 255.0f, p.green / 255.0f, p.blue / 255.0f};
    }
    case 8: {
        const PF_Pixel16& p = *pixelAt<PF_Pixel16>(world_, x, y);
        return {p.alpha * kInv16, p.red * kInv16, p.green * kInv16, p.blue * kInv16};
    }
    case 16: return *pixelAt<PF_PixelFloat>(world_, x, y);
    default: return PF_PixelFloat{};
    }
}

NewEffectWorld::NewEffectWorld(const PF_InData* inData, A_long width, A_long height, PF_PixelFormat format)
    : EffectWorld(inData)
{
    created_ = call(worlds_, &PF_WorldSuite2::PF_NewWorld, effectRef_, width, height, PF_Boolean(false), format,
                    &world_);
    if (!created_) {
        clearError();
        world_ = PF_EffectWorld{};
        return;
    }
    readPixelFormat();
}

NewEffectWorld::~NewEffectWorld()
{
    // Disposed whatever error is pending: a world the host handed out is always given back.
    const PF_WorldSuite2* suite = created_ ? worlds_.get() : nullptr;
    if (suite && suite->PF_DisposeWorld) {
        suite->PF_DisposeWorld(effectRef_, &world_);
    }
}

} // namespace AEO
