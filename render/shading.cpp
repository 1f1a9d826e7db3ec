#include "render/shading.h"

#include "render/coverage.h"
#include "render/depth_effects.h"
#include "render/kernel_math.h"
#include "render/popup_values.h"
#include "render/reflection.h"
#include "render/sphere_uv.h"
#include "render/texture_sampling.h"
#include "scene/render_context.h"

#include <cmath>

namespace {

// A light as close as this still has a direction.
constexpr double kMinLightDistance = 1e-15;

Vec4 row(const Matrix4& m, int i) { return {m.m[i][0], m.m[i][1], m.m[i][2], m.m[i][3]}; }

double clampUnit(double s)
{
    if (s <= 0.0)
        return 0.0;
    if (s >= 1.0)
        return 1.0;
    return s;
}

double falloff(const RenderContext& ctx, double distance)
{
    switch (ctx.falloffMode) {
    case kFalloffSmooth: {
        const double radius = ctx.falloffRadius;
        const double x = clampUnit((distance - radius) / ((radius + ctx.falloffDistance) - radius));
        return 1.0 - (3.0 - 2.0 * x) * x * x;
    }
    case kFalloffInverseSquareClamped: {
        const double q = std::min(1.0, ctx.falloffRadius / distance);
        return q * q;
    }
    default:
        return 1.0;
    }
}

} // namespace

LightAtPoint lightVector(const RenderContext& ctx, const LightRecord& light, Vec4 p)
{
    const Vec4 l = p - row(light.lightToSphere, 3);
    const double distance = std::max(double(std::sqrt(dot3(l, l))), kMinLightDistance);
    const double f = falloff(ctx, distance);
    const auto towardPoint = [&] {
        return distance > 0.0 ? Vec4{static_cast<float>(l.x / distance), static_cast<float>(l.y / distance),
                                     static_cast<float>(l.z / distance), 0.0f}
                              : Vec4{};
    };
    const Vec4 axis = row(light.lightToSphere, 2);
    switch (light.lightType) {
    case AEGP_LightType_PARALLEL:
        // Falloff counts from the parallel light's position too.
        return {normalize3(axis), f};
    case AEGP_LightType_SPOT: {
        const Vec4 direction = towardPoint();
        // The axis as stored: a scaled light layer scales the cone test with it.
        const double s = (double(dot3(direction, axis)) - light.cosHalfCone) /
                         ((1.0 - light.cosHalfCone) * light.coneFeather);
        return {direction, clampUnit(s) * f};
    }
    case AEGP_LightType_POINT:
        return {towardPoint(), f};
    default:
        // Ambient, and any type the host may add: no direction, no falloff.
        return {Vec4{}, 1.0};
    }
}

template <class Pixel>
Colour selfShadowFilter(const RenderContext& ctx, const Ray& shadow, const LightRecord* light)
{
    const Vec4 d = shadow.direction;
    const Vec4 q = shadow.origin;
    const Vec4 g = ctx.invRadiusSq;
    const double a = double(d.x) * d.x * g.x + double(d.y) * d.y * g.y + double(d.z) * d.z * g.z;
    const double b = -(double(q.x) * d.x * g.x + double(q.y) * d.y * g.y + double(q.z) * d.z * g.z);
    const double c = double(q.x) * q.x * g.x + double(q.y) * q.y * g.y + double(q.z) * q.z * g.z - 1.0;
    const double disc = b * b - c * a;
    if (!(disc > 0.0))
        return kWhite;
    const double root = std::sqrt(disc);
    const double t1 = (b + root) / a;
    const double t2 = (b - root) / a;
    // The ray starts on the surface, so one root is about 0; the other is the far side.
    const double far = std::abs(t1) > std::abs(t2) ? t1 : t2;
    const bool towardLight = light && light->lightType != AEGP_LightType_PARALLEL;
    const double lightAt = towardLight ? double(dot3(row(light->lightToSphere, 3) - q, d)) : far + 1.0;
    if (!(lightAt > far && far > 0.0))
        return kWhite;
    // An absent texture has nothing on the far side: its texel would be transparent.
    if (!ctx.textureWorld.reserved0)
        return kWhite;

    const Vec4 h = pointAt(shadow, static_cast<float>(far));
    const Colour texel =
        sampleTexture<Pixel>(ctx, hadamard(h, ctx.invRadius), textureCoordAt(ctx, h), Footprint{0.0, 0.0});
    return texel * (texel.alpha * ctx.lightTransmission) + kWhite * (1.0f - texel.alpha);
}

template <class Pixel>
void shadeLight(const RenderContext& ctx, const Ray& ray, Vec4 p, Vec4 n, const LightRecord& light,
                const Colour& base, Colour& sum)
{
    const bool ambientLight = light.lightType == AEGP_LightType_AMBIENT;
    const Colour tint = metalTint(ctx.metal, base);
    const LightAtPoint at = lightVector(ctx, light, p);
    // An ambient light lights every point as if it shone straight onto it.
    const Vec4 toSurface = ambientLight ? n * -1.0f : at.direction;
    const double strength = at.attenuation * light.intensity;
    const float d = dot3(n, toSurface);
    const Vec4 twiceNormal = n * (2.0f * d);

    Colour filter = kWhite;
    if (ctx.selfShadow && !ambientLight && light.castsShadows) {
        const Ray shadow{p, at.direction * -1.0f};
        const Colour through = selfShadowFilter<Pixel>(ctx, shadow, &light);
        filter = kWhite * (1.0f - light.shadowDarkness) + through * light.shadowDarkness;
    }

    // A light behind the surface reaches it only through "Light Transmission".
    const float e = d <= 0.0f ? d : -(d * ctx.lightTransmission);
    const float k = static_cast<float>(-double(e) * strength);
    if (e < 0.0f) {
        const float share = ambientLight ? ctx.ambient : ctx.diffuse;
        sum = sum + light.color * base * filter * (share * k);
    }
    const Vec4 mirrored = toSurface - twiceNormal;
    const float r = dot3(ray.direction, mirrored);
    if (r < 0.0f && !ambientLight) {
        const float highlight = powF(-r, ctx.shininess) * k * ctx.specular;
        sum = sum + light.color * tint * filter * highlight;
    }
}

template <class Pixel>
Colour shadePixel(const RenderContext& ctx, const Ray& ray, double t)
{
    const Vec4 p = pointAt(ray, static_cast<float>(t));
    const Vec4 s = hadamard(p, ctx.invRadius);
    Vec4 n = surfaceNormal(ctx, p);
    const TextureCoord uv = textureCoordAt(ctx, p);

    Colour result;
    bool shaded = false;
    Colour base;
    if (ctx.textureWorld.reserved0) {
        // The footprint depends on |N·D| only, so the normal is not yet turned to the viewer.
        base = sampleTexture<Pixel>(ctx, s, uv, textureFootprint(ctx, ray, t, s, n));
        if (base.alpha > 0.0f)
            shaded = true;
        else
            result = base;
    } else if (insideTexture(uv)) {
        // The untextured look: U in red, V in green.
        base = {1.0f, static_cast<float>(uv.u), static_cast<float>(uv.v), 0.0f};
        shaded = true;
    }

    if (shaded) {
        Colour sum = base * ctx.emit;
        if (dot3(n, ray.direction) > 0.0f)
            n = n * -1.0f;
        const Vec4 point{p.x, p.y, p.z, 1.0f};
        for (A_long i = 0; i < ctx.lights.count; ++i)
            shadeLight<Pixel>(ctx, ray, point, n, *ctx.lights.items[i], base, sum);
        if (ctx.reflectionWorld.reserved0 && ctx.reflectionIntensity > 0.0f)
            shadeReflection<Pixel>(ctx, ray, point, n, base, sum);
        // Alpha is the texel's: lights and reflection never make the surface more opaque.
        result = {base.alpha, sum.red, sum.green, sum.blue};
    }
    return pivotMarks(ctx, uv, depthComposite(ctx, result, t));
}

#define ORBULON_SHADING(Pixel)                                                                               \
    template Colour shadePixel<Pixel>(const RenderContext&, const Ray&, double);                            \
    template void shadeLight<Pixel>(const RenderContext&, const Ray&, Vec4, Vec4, const LightRecord&,        \
                                    const Colour&, Colour&);                                                 \
    template Colour selfShadowFilter<Pixel>(const RenderContext&, const Ray&, const LightRecord*);
ORBULON_SHADING(PF_Pixel)
ORBULON_SHADING(PF_Pixel16)
ORBULON_SHADING(PF_PixelFloat)
#undef ORBULON_SHADING
