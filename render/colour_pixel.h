#pragma once
// Straight (not premultiplied) colours and their conversion to and from the three pixel
// depths. Colours are never clamped inside the renderer; only writing to an integer pixel
// clamps.

#include "hostapi/host_api.h"

#include <type_traits>

// Four floats in the host's lane order.
struct Colour {
    float alpha = 0.0f, red = 0.0f, green = 0.0f, blue = 0.0f;
};

// Front over back for straight colours: alpha = Fa + (1 − Fa)·Ka and each channel is the
// alpha-weighted sum (Fa·Fc + (1 − Fa)·Ka·Kc) brought back to straight form by dividing by
// that alpha. With alpha 0 there is nothing to divide and the sums are kept as they are.
inline Colour over(const Colour& front, const Colour& back)
{
    const float rest = 1.0f - front.alpha;
    const float backWeight = rest * back.alpha;
    Colour out;
    out.alpha = front.alpha + backWeight;
    out.red = front.alpha * front.red + backWeight * back.red;
    out.green = front.alpha * front.green + backWeight * back.green;
    out.blue = front.alpha * front.blue + backWeight * back.blue;
    if (out.alpha > 0.0f) {
        out.red /= out.alpha;
        out.green /= out.alpha;
        out.blue /= out.alpha;
    }
    return out;
}

// What differs between the depths: the channel type and the sample value that means 1.0.
template <class Pixel>
struct PixelDepth;

template <>
struct PixelDepth<PF_Pixel> {
    using Channel = A_u_char;
    static constexpr float fullScale = 255.0f;
};

template <>
struct PixelDepth<PF_Pixel16> {
    using Channel = A_u_short;
    static constexpr float fullScale = 32768.0f;
};

template <>
struct PixelDepth<PF_PixelFloat> {
    using Channel = PF_FpShort;
    static constexpr float fullScale = 1.0f;
};

template <class Pixel>
inline constexpr bool isFloatPixel = std::is_same_v<Pixel, PF_PixelFloat>;

// One sample as a colour channel: integer samples are divided by the full scale.
template <class Pixel>
inline float channelToFloat(typename PixelDepth<Pixel>::Channel c)
{
    if constexpr (isFloatPixel<Pixel>)
        return c;
    else
        return static_cast<float>(c) / PixelDepth<Pixel>::fullScale;
}

// One colour channel as a sample: scaled by the full scale; for integer pixels clamped to
// 0..full scale (NaN counts as 0) and truncated toward zero.
template <class Pixel>
inline typename PixelDepth<Pixel>::Channel floatToChannel(float v)
{
    using Channel = typename PixelDepth<Pixel>::Channel;
    if constexpr (isFloatPixel<Pixel>) {
        return v;
    } else {
        constexpr float scale = PixelDepth<Pixel>::fullScale;
        const float s = v * scale;
        if (!(s > 0.0f))
            return 0;
        if (s >= scale)
            return static_cast<Channel>(scale);
        return static_cast<Channel>(s);
    }
}

template <class Pixel>
inline Colour readPixel(const Pixel& p)
{
    return {channelToFloat<Pixel>(p.alpha), channelToFloat<Pixel>(p.red),
            channelToFloat<Pixel>(p.green), channelToFloat<Pixel>(p.blue)};
}

template <class Pixel>
inline Pixel toPixel(const Colour& c)
{
    Pixel p;
    p.alpha = floatToChannel<Pixel>(c.alpha);
    p.red = floatToChannel<Pixel>(c.red);
    p.green = floatToChannel<Pixel>(c.green);
    p.blue = floatToChannel<Pixel>(c.blue);
    return p;
}

template <class Pixel>
inline void writePixel(const Colour& c, Pixel& out)
{
    out = toPixel<Pixel>(c);
}
