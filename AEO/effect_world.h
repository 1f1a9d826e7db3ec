// A pixel buffer of the host: one handed to the effect (EffectWorld) or one the effect
// asked the host for and gives back on destruction (NewEffectWorld).
#pragma once
#include "AEO/object_base.h"

namespace AEO {

// Bytes per pixel of a world format: 16 for float, 8 for 16-bit, 4 for 8-bit, 0 otherwise.
A_long bytesPerPixelOf(PF_PixelFormat format);

class EffectWorld : public ObjectBase {
public:
    // Copies the world and reads its pixel format.
    EffectWorld(const PF_InData* inData, const PF_EffectWorld& world);

    const PF_EffectWorld& world() const { return world_; }
    PF_EffectWorld& world() { return world_; }
    // PF_PixelFormat_INVALID ('badf') when the format could not be read.
    PF_PixelFormat pixelFormat() const { return pixelFormat_; }
    A_long bytesPerPixel() const { return bytesPerPixel_; }
    // The pixel at (x, y) as floats on the 0..1 scale of 8 and 16 bits; zeros outside the
    // world or when its format is unknown.
    PF_PixelFloat pixelColor(A_long x, A_long y) const;

protected:
    // For NewEffectWorld, which fills the world itself.
    explicit EffectWorld(const PF_InData* inData);
    void readPixelFormat();

    PF_ProgPtr effectRef_;
    PF_EffectWorld world_{};
    SuiteSlot<PF_WorldSuite2> worlds_;

private:
    PF_PixelFormat pixelFormat_ = PF_PixelFormat_INVALID;
    A_long bytesPerPixel_ = 0;
};

class NewEffectWorld : public EffectWorld {
public:
    // A failed creation is not kept as this object's error: the world stays empty and
    // whoever uses it reports the failure.
    NewEffectWorld(const PF_InData* inData, A_long width, A_long height, PF_PixelFormat format);
    ~NewEffectWorld() override;

    bool created() const { return created_; }

private:
    bool created_ = false;
};

} // namespace AEO
