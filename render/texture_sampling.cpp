#include "render/texture_sampling.h"

#include "render/fixed_point.h"
#include "scene/render_context.h"

#include <algorithm>
#include <cmath>

namespace {

// Each depth's suite as the render context holds it, and its area sample.
template <class Pixel> struct AreaSampler;
template <> struct AreaSampler<PF_Pixel> {
    static const PF_Sampling8Suite1* suite(const RenderContext& ctx) { return ctx.hostAccess.sampling8(); }
    static constexpr auto area = &PF_Sampling8Suite1::area_sample;
};
template <> struct AreaSampler<PF_Pixel16> {
    static const PF_Sampling16Suite1* suite(const RenderContext& ctx) { return ctx.hostAccess.sampling16(); }
    static constexpr auto area = &PF_Sampling16Suite1::area_sample16;
};
template <> struct AreaSampler<PF_PixelFloat> {
    static const PF_SamplingFloatSuite1* suite(const RenderContext& ctx) { return ctx.hostAccess.samplingFloat(); }
    static constexpr auto area = &PF_SamplingFloatSuite1::area_sample_float;
};

template <class Pixel>
auto areaFunction(const RenderContext& ctx)
{
    const auto* suite = AreaSampler<Pixel>::suite(ctx);
    return suite ? suite->*AreaSampler<Pixel>::area : nullptr;
}

constexpr double kTwoPi = 2.0 * kPi;
// Footprints are capped before sharpening, and the host's radius cap after it.
constexpr double kMaxFootprint = 32768.0;
constexpr double kMaxSharpFootprint = 128.0;
// |D·N| is kept off 0 and 1 so that the footprint stays finite at grazing and head-on views.
constexpr double kMinCosine = 0.0001;
constexpr double kMaxCosine = 0.9999;
constexpr double kMinSine = 1e-10;


} // namespace

template <class Pixel>
bool canSample(const RenderContext& ctx)
{
    return areaFunction<Pixel>(ctx) != nullptr;
}

template <class Pixel>
Colour sampleHost(const RenderContext& ctx, const PF_EffectWorld& source, PF_Fixed x, PF_Fixed y,
                  PF_Fixed radiusX, PF_Fixed radiusY, PF_Err* err)
{
    PF_SampPB pb{};
    pb.x_radius = radiusX;
    pb.y_radius = radiusY;
    pb.src = const_cast<PF_EffectWorld*>(&source);
    Pixel texel{};
    const auto area = areaFunction<Pixel>(ctx);
    const PF_Err result = area ? area(ctx.inData->effect_ref, x, y, &pb, &texel) : PF_Err_BAD_CALLBACK_PARAM;
    if (err)
        *err = result;
    return readPixel(texel);
}

Footprint textureFootprint(const RenderContext& ctx, const Ray& ray, double t, Vec4 s, Vec4 n)
{
    const Vec4 d = ray.direction;
    const double a = ctx.radius.x, b = ctx.radius.y;
    Vec4 tangent{static_cast<float>(-a * s.y), static_cast<float>(b * s.x), 0.0f, 0.0f};
    tangent = dot3(tangent, tangent) > 0.0f ? normalize3(tangent) : Vec4{1.0f, 0.0f, 0.0f, 0.0f};

    // One screen pixel at the hit, in composition pixels.
    const double pixelSize = ctx.perspective ? -(t / ctx.viewPlaneZ) : 1.0;

    const double c1 = dot3(d, tangent);
    const double c2 = std::clamp(std::abs(double(dot3(d, n))), kMinCosine, kMaxCosine);
    const double q = 1.0 - c1 * c1 - c2 * c2;
    const double w = 1.0 - c2 * c2 > 0.0 ? std::sqrt(1.0 - c2 * c2) * c2 : 1.0;

    // Arc length of one unit of u and of v at S on the opened ellipsoid.
    const double zc = std::min(double(s.z), 1.0);
    double sn = std::sqrt(1.0 - zc * zc);
    if (!(sn > kMinSine))
        sn = kMinSine;
    const double cphi = s.x / sn;
    const double k = ctx.openScale;
    const double kInv = 1.0 / k;
    const Vec4 r2 = ctx.radiusSq;
    const double lu = std::sqrt(r2.x * (1.0 - cphi * cphi) + r2.y * cphi * cphi) * (sn / ((1.0 - kInv) * sn + kInv) * kTwoPi);
    const double lv = std::sqrt((r2.y * (1.0 - cphi * cphi) + r2.x * cphi * cphi) * zc * zc + r2.z * sn * sn) * kPi;

    // The texture world's own size: no downsample factor enters the footprint.
    const double width = ctx.textureWorld.width;
    const double height = ctx.textureWorld.height;
    double fx = std::min(std::abs(std::sqrt(q * c2 * c2 + c1 * c1) / w * pixelSize * width * k / lu), kMaxFootprint);
    double fy = std::min(std::abs(std::sqrt(c2 * c2 * c1 * c1 + q) / w * pixelSize * height * k / lv), kMaxFootprint);
    fx = std::min(fx * ctx.sharpnessFactor, kMaxSharpFootprint);
    fy = std::min(fy * ctx.sharpnessFactor, kMaxSharpFootprint);
    return {fx, fy};
}

template <class Pixel>
Colour sampleTexture(const RenderContext& ctx, Vec4 s, TextureCoord uv, Footprint footprint)
{
    const PF_EffectWorld& world = ctx.textureWorld;
    const double width = world.width;
    const double height = world.height;
    const PF_Fixed rx = toFixedRadius(footprint.x);
    const PF_Fixed ry = toFixedRadius(footprint.y);

    // Where the texture's seam lies at this latitude: the opening moves it from u = 1 toward
    // u = p, and not at all at the poles. |k| here, k itself in the mapping.
    const double zc = std::clamp(double(s.z), -1.0, 1.0);
    const double p = std::sqrt(1.0 - zc * zc) * (std::abs(ctx.openScale) - 1.0) + 1.0;

    const PF_Fixed y = toFixed(height * uv.v);
    const Colour first = sampleHost<Pixel>(ctx, world, toFixed(width * uv.u), y, rx, ry);

    // A footprint that reaches over the seam also reads the other end of the texture. The
    // right-hand test allows one pixel more than the left-hand one.
    double otherX;
    if (footprint.x + 1.0 > (p - uv.u) * width)
        otherX = (uv.u - p) * width;
    else if (footprint.x > (uv.u + p - 1.0) * width)
        otherX = (uv.u + p) * width;
    else
        return first;
    const Colour second = sampleHost<Pixel>(ctx, world, toFixed(otherX), y, rx, ry);

    // Each side weighted by the coverage the zero edge gives it; the sum of alphas is kept.
    Colour joined;
    joined.alpha = first.alpha + second.alpha;
    joined.red = first.alpha * first.red + second.alpha * second.red;
    joined.green = first.alpha * first.green + second.alpha * second.green;
    joined.blue = first.alpha * first.blue + second.alpha * second.blue;
    if (joined.alpha > 0.0f) {
        joined.red /= joined.alpha;
        joined.green /= joined.alpha;
        joined.blue /= joined.alpha;
    }
    return joined;
}

#define ORBULON_SAMPLERS(Pixel)                                                                                  \
    template bool canSample<Pixel>(const RenderContext&);                                                       \
    template Colour sampleHost<Pixel>(const RenderContext&, const PF_EffectWorld&, PF_Fixed, PF_Fixed, PF_Fixed, \
                                      PF_Fixed, PF_Err*);                                                        \
    template Colour sampleTexture<Pixel>(const RenderContext&, Vec4, TextureCoord, Footprint);
ORBULON_SAMPLERS(PF_Pixel)
ORBULON_SAMPLERS(PF_Pixel16)
ORBULON_SAMPLERS(PF_PixelFloat)
#undef ORBULON_SAMPLERS
