// What the renderer must draw, from the context a pass saw. Geometry follows the kernels'
// precision step by step (float lanes, double where the renderer widens, the processor's
// reciprocal square root estimate), so coverage, wall distances and (U, V) match bit for bit;
// lighting, depth composite and area samples are worked in double and compared within a tolerance.
#pragma once
#include "assembly/assembly_support.h"

#include <xmmintrin.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace rtest {

using asmtest::ContextSnapshot, asmtest::dot, asmtest::length, asmtest::normalized, asmtest::num, asmtest::Vec3d;
using asmtest::operator+, asmtest::operator-, asmtest::operator*;

inline constexpr double kPiD = 3.141592653589793;
inline constexpr orbhost::FrameRequest kFloat{0, 32, 1, 1};

inline Vec3d cross(Vec3d a, Vec3d b) { return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]}; }
inline Vec3d mul(Vec3d a, Vec3d b) { return {a[0] * b[0], a[1] * b[1], a[2] * b[2]}; }
inline Vec3d uniform(double v) { return {v, v, v}; }

struct Rgba {   // straight colour and alpha
    double r = 0, g = 0, b = 0, a = 0;
};

inline Rgba pixelAt(const orbhost::Image& im, int x, int y)
{
    const float* p = &im.rgba[(std::size_t(y) * std::size_t(im.width) + std::size_t(x)) * 4];
    return {p[0], p[1], p[2], p[3]};
}

// Straight-alpha "front over back".
inline Rgba over(Rgba f, Rgba b)
{
    Rgba out;
    out.a = f.a + (1 - f.a) * b.a;
    if (out.a > 0) {
        const double fw = f.a, bw = (1 - f.a) * b.a;
        out.r = (fw * f.r + bw * b.r) / out.a, out.g = (fw * f.g + bw * b.g) / out.a, out.b = (fw * f.b + bw * b.b) / out.a;
    }
    return out;
}

using F4 = std::array<float, 3>;   // x, y, z lanes

inline F4 rowOf(const Matrix4& m, int i) { return {m.m[i][0], m.m[i][1], m.m[i][2]}; }
inline F4 lanes(const Vec4& v) { return {v.x, v.y, v.z}; }
inline Vec3d wide(const F4& v) { return {v[0], v[1], v[2]}; }

// v · (0.5·e) · (3 − q·e·e) with q = v·v summed in float and e the processor's estimate.
inline F4 normalise(F4 v)
{
    const float q = v[0] * v[0] + v[1] * v[1] + v[2] * v[2];
    const float e = _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(q)));
    const float k = (0.5f * e) * (3.0f - q * e * e);
    return {v[0] * k, v[1] * k, v[2] * k};
}

struct Ray {
    F4 o, d;
};

// x' and y' in double, stored as floats; the direction (and a parallel ray's origin) combined
// lane by lane in float, left to right.
inline Ray sampleRay(const ContextSnapshot& c, int x, int y, double ox, double oy)
{
    const float xp = float(((x + ox) / c.downsampleX - c.viewCenterX) * c.pixelAspect);
    const float yp = float((y + oy) / c.downsampleY - c.viewCenterY);
    const F4 r0 = rowOf(c.cameraToSphere, 0), r1 = rowOf(c.cameraToSphere, 1);
    const F4 r2 = rowOf(c.cameraToSphere, 2), r3 = rowOf(c.cameraToSphere, 3);
    Ray ray;
    if (c.perspective) {
        F4 d;
        for (int i = 0; i < 3; ++i)
            d[i] = r0[i] * xp + r1[i] * yp - r2[i] * c.viewPlaneZ;
        ray = {r3, normalise(d)};
    } else {
        const float reach = std::max({std::abs(c.radius.x), std::abs(c.radius.y), std::abs(c.radius.z)});
        for (int i = 0; i < 3; ++i)
            ray.o[i] = r0[i] * xp + r1[i] * yp - r2[i] * reach + r3[i];
        ray.d = normalise(r2);
    }
    return ray;
}

struct Quadratic {
    double a = 0, b = 0, d = 0;
};

// A, B and D in double from the float lanes.
inline Quadratic quadratic(const ContextSnapshot& c, const Ray& r)
{
    const F4 s = lanes(c.invRadiusSq);
    Quadratic q;
    for (int i = 0; i < 3; ++i)
        q.a += double(r.d[i]) * r.d[i] * s[i];
    if (c.perspective) {
        for (int i = 0; i < 3; ++i)
            q.b -= c.cameraOrigin[i] * r.d[i] * s[i];
        q.d = q.b * q.b - c.cameraQuadric * q.a;
        return q;
    }
    double b = 0, o2 = 0;
    for (int i = 0; i < 3; ++i) {
        const double ds = double(r.d[i]) * s[i];   // widened before the product: B nearly cancels at the edge
        b += double(r.o[i]) * ds;
        o2 += double(r.o[i]) * r.o[i] * s[i];
    }
    q.b = -b;
    q.d = q.b * q.b - (o2 - 1) * q.a;
    return q;
}

// The nine sample offsets of a pixel in casting order; 5 to 8 are the corners.
inline constexpr std::array<std::array<double, 2>, 9> kSamples{
    {{0.5, 0.5}, {1.0 / 6, 0.5}, {0.5, 5.0 / 6}, {5.0 / 6, 0.5}, {0.5, 1.0 / 6}, {1.0 / 6, 1.0 / 6}, {1.0 / 6, 5.0 / 6},
     {5.0 / 6, 1.0 / 6}, {5.0 / 6, 5.0 / 6}}};

// Coverage and shading ray: no corner hits, empty; all four, full and shaded along (5/6, 5/6);
// otherwise all nine count and the first hit in casting order shades it.
struct Shot {
    int n = 0;
    Ray ray{};
    Quadratic q{};
    double tNear = 0, tFar = 0;
};

inline Shot shot(const ContextSnapshot& c, int x, int y)
{
    Shot s;
    const auto cast = [&](std::size_t i, Ray& ray) {
        ray = sampleRay(c, x, y, kSamples[i][0], kSamples[i][1]);
        return quadratic(c, ray);
    };
    int corners = 0;
    for (std::size_t i = 5; i < 9; ++i) {
        s.q = cast(i, s.ray);
        corners += s.q.d >= 0 ? 1 : 0;
    }
    if (corners == 4)
        s.n = 9;
    if (corners > 0 && corners < 4)
        for (std::size_t i = 0; i < 9; ++i) {
            Ray ray;
            const Quadratic q = cast(i, ray);
            if (q.a != 0 && q.d >= 0 && s.n++ == 0)
                s.ray = ray, s.q = q;
        }
    if (s.n > 0) {
        const double root = std::sqrt(s.q.d);
        s.tNear = (s.q.b - root) / s.q.a, s.tFar = (s.q.b + root) / s.q.a;
    }
    return s;
}

// P = O + t·d in float lanes, t narrowed to float.
inline F4 pointAt(const Ray& r, double t)
{
    const float f = float(t);
    return {r.o[0] + r.d[0] * f, r.o[1] + r.d[1] * f, r.o[2] + r.d[2] * f};
}

struct UV {
    double u = 0, v = 0;
};

// (U, V), stretched by the opening, slid and wrapped: arc functions in double rounded to float,
// the divisions by π and 2π and the deformation in double.
inline UV textureUV(const ContextSnapshot& c, const F4& p)
{
    const F4 q = normalise({p[0] * c.invRadius.x, p[1] * c.invRadius.y, p[2] * c.invRadius.z});
    const double z = q[2] > 1.0f ? 1.0 : q[2] < -1.0f ? -1.0 : double(q[2]);
    UV uv;
    uv.v = 1.0 - double(float(std::acos(z))) / kPiD;
    if (q[0] != 0.0f || q[1] != 0.0f) {
        uv.u = -double(float(std::atan2(double(q[1]), double(q[0])))) / (2.0 * kPiD);
        if (uv.u < 0.0)
            uv.u += 1.0;
    }
    const double k = c.openScale, w = (k - 1.0) * std::sin(kPiD * uv.v) + 1.0;
    double u = w * (uv.u - c.fixedPointU) + c.fixedPointU + c.slideTurns;
    u -= std::floor(u / w) * w;
    return {u, (uv.v - c.fixedPointV) * k + c.fixedPointV};
}

inline bool insideTexture(const UV& uv) { return uv.u >= 0 && uv.u < 1 && uv.v >= 0 && uv.v < 1; }

// A point or spot light on the untextured surface ("Emit" and "Specular" 0): colour × (U, V, 0)
// × "Diffuse" × −(N·L)·attenuation·intensity, |L| a float square root; the falloff and the
// cone's ramp in double from the float dot product.
inline std::array<float, 3> pointLit(const ContextSnapshot& c, const Ray& ray, const F4& p, const UV& uv)
{
    const asmtest::LightSnapshot& light = c.lights.at(0);
    const F4 from = rowOf(light.lightToSphere, 3);
    const F4 l{p[0] - from[0], p[1] - from[1], p[2] - from[2]};
    const double distance = std::max(double(std::sqrt(l[0] * l[0] + l[1] * l[1] + l[2] * l[2])), 1e-15);
    const F4 toPoint{float(l[0] / distance), float(l[1] / distance), float(l[2] / distance)};
    const auto unit = [](double x) { return x <= 0 ? 0.0 : x >= 1 ? 1.0 : x; };
    double attenuation = 1;
    if (c.falloffMode == 2) {
        const double x = unit((distance - c.falloffRadius) / ((c.falloffRadius + c.falloffDistance) - c.falloffRadius));
        attenuation = 1 - (3 - 2 * x) * x * x;
    }
    if (light.lightType == AEGP_LightType_SPOT) {
        const F4 axis = rowOf(light.lightToSphere, 2);
        const float along = toPoint[0] * axis[0] + toPoint[1] * axis[1] + toPoint[2] * axis[2];
        attenuation *= unit((double(along) - light.cosHalfCone) / ((1 - light.cosHalfCone) * light.coneFeather));
    }
    F4 n = normalise({p[0] * c.invRadiusSq.x, p[1] * c.invRadiusSq.y, p[2] * c.invRadiusSq.z});
    if (n[0] * ray.d[0] + n[1] * ray.d[1] + n[2] * ray.d[2] > 0.0f)
        n = {-n[0], -n[1], -n[2]};
    const float d = n[0] * toPoint[0] + n[1] * toPoint[1] + n[2] * toPoint[2];
    if (!(d <= 0.0f))
        return {0, 0, 0};
    const float k = float(-double(d) * (attenuation * light.intensity));
    const float base[3] = {float(uv.u), float(uv.v), 0.0f};
    std::array<float, 3> out{};
    for (int i = 0; i < 3; ++i)
        out[i] = light.argb[i + 1] * base[i] * 1.0f * (c.diffuse * k);
    return out;
}

// The host's area sample as the renderer calls it: 16.16 values rounded half away from zero,
// radii kept within 1/65536 .. 128 pixels.
inline double fixedCoord(double v)
{
    const double s = v * 65536.0;
    return std::trunc(s < 0 ? s - 0.5 : s + 0.5) / 65536.0;
}

inline double fixedRadius(double v) { return std::clamp(std::trunc(v * 65536.0 + 0.5), 1.0, 8388608.0) / 65536.0; }

// The box [c − r, c + r] over pixels spanning [i − 0.5, i + 0.5], cut to the world (so it loses
// alpha off the edge): each pixel weighs its share of the box; colour alpha-weighted.
inline Rgba areaSample(const std::function<Rgba(int, int)>& at, int width, int height, double x, double y, double rx,
                       double ry)
{
    const auto axis = [](double c, double r, int size) {
        std::vector<std::pair<int, double>> w;
        const double lo = std::max(c + 0.5 - r, 0.0), hi = std::min(c + 0.5 + r, double(size));
        for (int i = int(std::floor(lo)); i < hi; ++i)
            w.push_back({i, (std::min(hi, i + 1.0) - std::max(lo, double(i))) / (2 * r)});
        return w;
    };
    Rgba sum;
    for (auto [j, wy] : axis(y, ry, height))
        for (auto [i, wx] : axis(x, rx, width)) {
            const Rgba p = at(i, j);
            const double w = wx * wy * p.a;
            sum.r += w * p.r, sum.g += w * p.g, sum.b += w * p.b, sum.a += w;
        }
    return sum.a <= 0 ? Rgba{} : Rgba{sum.r / sum.a, sum.g / sum.a, sum.b / sum.a, sum.a};
}

inline Rgba areaSample(const orbhost::Image& image, double x, double y, double rx, double ry)
{
    return areaSample([&](int i, int j) { return pixelAt(image, i, j); }, image.width, image.height, x, y, rx, ry);
}

// The texel at P, (U, V) for footprint radii (fx, fy), V row-corrected. A footprint reaching
// over the seam at U = √(1 − z²)·(|k| − 1) + 1 (z = P·invRadius clamped, the root in double, or
// in float with `floatPeriod`) also reads the texture's other end; the two summed by alpha.
inline Rgba textureSample(const ContextSnapshot& c, const orbhost::Image& tex, const F4& P, const UV& uv, double fx,
                          double fy, bool floatPeriod = false)
{
    const double w = tex.width, h = tex.height, rx = fixedRadius(fx), ry = fixedRadius(fy);
    const double y = fixedCoord(h * (uv.v * (1 - 1.0 / h)));
    const double z = std::clamp(double(P[2] * c.invRadius.z), -1.0, 1.0);
    const double root = floatPeriod ? double(std::sqrt(float(1.0 - z * z))) : std::sqrt(1.0 - z * z);
    const double p = root * (std::abs(c.openScale) - 1.0) + 1.0;
    const Rgba first = areaSample(tex, fixedCoord(w * uv.u), y, rx, ry);
    double other;
    if (fx + 1.0 > (p - uv.u) * w)
        other = (uv.u - p) * w;
    else if (fx > (uv.u + p - 1.0) * w)
        other = (uv.u + p) * w;
    else
        return first;
    const Rgba second = areaSample(tex, fixedCoord(other), y, rx, ry);
    Rgba j{first.a * first.r + second.a * second.r, first.a * first.g + second.a * second.g,
           first.a * first.b + second.a * second.b, first.a + second.a};
    if (j.a > 0)
        j.r /= j.a, j.g /= j.a, j.b /= j.a;
    return j;
}

using TexelAt = std::function<Rgba(const F4& p, const UV& uv)>;

// Without texture and lights: red = U, green = V inside the texture's range, clear outside.
inline Rgba gradientColour(const F4&, const UV& uv) { return insideTexture(uv) ? Rgba{uv.u, uv.v, 0, 1} : Rgba{}; }

// "Show Pivot": the fixed point blue, its meridian green, its parallel red.
inline Rgba withPivotMarks(const ContextSnapshot& c, const UV& uv, Rgba base)
{
    if (!insideTexture(uv))
        return base;
    const double du = uv.u - c.fixedPointU, dv = uv.v - c.fixedPointV;
    return 4 * du * du + dv * dv < 0.0001 ? Rgba{0, 0, 1, 1}
           : std::abs(du) < 0.001         ? Rgba{0, 1, 0, 1}
           : std::abs(dv) < 0.002         ? Rgba{1, 0, 0, 1}
                                          : base;
}

// The near wall over the far, as "Render Side" allows (1 Full, 2 Inside, 3 Outside), alpha
// times coverage.
inline Rgba expectPixel(const ContextSnapshot& c, int x, int y, const TexelAt& surface, bool pivotMarks = false)
{
    const Shot s = shot(c, x, y);
    if (s.n == 0)
        return {};
    const auto wall = [&](double t) {
        const F4 p = pointAt(s.ray, t);
        const UV uv = textureUV(c, p);
        const Rgba col = surface(p, uv);
        return pivotMarks ? withPivotMarks(c, uv, col) : col;
    };
    const Rgba f = s.tNear > 0 && c.renderSide != 2 ? wall(s.tNear) : Rgba{};
    Rgba r = f;
    if (s.tFar > 0 && c.renderSide != 3 && f.a < 1)
        r = over(f, wall(s.tFar));
    r.a *= double(float(s.n) / 9.0f);
    return r;
}

inline double fullScale(int bitDepth) { return bitDepth == 8 ? 255.0 : bitDepth == 16 ? 32768.0 : 1.0; }

inline double quantised(double v, int bitDepth)
{
    const double full = fullScale(bitDepth);
    return bitDepth == 32 ? v : std::floor(std::clamp(v * full, 0.0, full)) / full;
}

// Compares one pixel, reporting only the first five failures counted in `failures`.
inline void matches(Rgba got, Rgba want, double tolerance, const std::string& where, int& failures)
{
    const double d = std::max({std::abs(got.r - want.r), std::abs(got.g - want.g), std::abs(got.b - want.b),
                               std::abs(got.a - want.a)});
    const auto str = [](Rgba c) { return "(" + num(c.r) + ", " + num(c.g) + ", " + num(c.b) + ", " + num(c.a) + ")"; };
    if (!(d <= tolerance) && ++failures <= 5)
        ADD_FAILURE() << where << ": got " << str(got) << ", expected " << str(want);
}

using Pixels = std::vector<std::pair<int, int>>;

// Compares the listed pixels (all when none are listed) with the model; returns how many it draws.
inline int compareWithModel(const orbhost::Image& image, double tolerance, const std::function<Rgba(int, int)>& model,
                            const std::string& what, Pixels pixels = {})
{
    if (pixels.empty())
        for (int i = 0; i < image.height * image.width; ++i)
            pixels.emplace_back(i % image.width, i / image.width);
    int drawn = 0, failures = 0;
    for (auto [x, y] : pixels) {
        const Rgba want = model(x, y);
        drawn += want.a > 0;
        matches(pixelAt(image, x, y), want, tolerance, what + " at " + std::to_string(x) + ", " + std::to_string(y), failures);
    }
    EXPECT_EQ(failures, 0) << what;
    return drawn;
}

struct Placement {
    double radius = 40;
    Vec3d position{80, 60, 0};
    Vec3d rotationDeg{0, 0, 0};   // Rotation X, Y, Z
    double open = 0;              // "Open Parameter", a value exact in 16.16
    double u0 = 0.5, v0 = 0.5;    // "Fixed Point U", "Fixed Point V", exact in 16.16
    double slideDeg = 0;          // "Slide Texture"
};

inline std::map<std::string, std::string> placementParams(const Placement& p)
{
    return {{"Radius", num(p.radius)},
            {"Position XY", "[" + num(p.position[0]) + ", " + num(p.position[1]) + "]"},
            {"Position Z", num(p.position[2])},
            {"Rotation X", num(p.rotationDeg[0])},
            {"Rotation Y", num(p.rotationDeg[1])},
            {"Rotation Z", num(p.rotationDeg[2])},
            {"Open Parameter", num(p.open)},
            {"Fixed Point U", num(p.u0)},
            {"Fixed Point V", num(p.v0)},
            {"Slide Texture", num(p.slideDeg)}};
}

inline std::string cameraLayerJson(bool perspective, double zoom, double distance)
{
    return R"({ "name": "Cam", "type": "camera", "position": [80, 60, )" + num(-distance) + R"(], "camera": { "type": ")" +
           (perspective ? "perspective" : "orthographic") + R"(", "zoom": )" + num(zoom) + " } },";
}

// The placement without texture or lights; `extra` wins over it.
inline asmtest::SceneSetup geometryScene(const Placement& p, std::map<std::string, std::string> extra = {},
                                         std::string layers = "")
{
    extra.merge(placementParams(p));
    return asmtest::sceneWith(std::move(extra), std::move(layers));
}

inline orbhost::Image imageOf(int w, int h, const std::function<Rgba(int, int)>& texel)
{
    orbhost::Image im;
    im.width = w, im.height = h;
    im.rgba.resize(std::size_t(w) * std::size_t(h) * 4);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const Rgba c = texel(x, y);
            float* p = &im.rgba[(std::size_t(y) * std::size_t(w) + std::size_t(x)) * 4];
            p[0] = float(c.r), p[1] = float(c.g), p[2] = float(c.b), p[3] = float(c.a);
        }
    return im;
}

inline std::function<void(orbhost::Scene&)> replaceLayerImage(orbhost::Image image, std::string name = "Tex")
{
    return [image, name](orbhost::Scene& scene) {
        for (orbhost::Layer& l : scene.layers)
            if (l.displayName() == name)
                l.image = image, l.width = image.width, l.height = image.height;
    };
}

// A scene light. `rigScale` (percent) parents it to a null of that scale at the sphere's
// centre, keeping its world position, so the scale rides in its axis.
struct SceneLight {
    std::string type = "point";   // parallel, spot, point, ambient
    Vec3d position{0, 0, -300};
    Vec3d aim{80, 60, 0};
    double intensity = 100;       // percent
    Vec3d color{1, 1, 1};
    double coneAngle = 90, coneFeather = 50;
    bool castsShadows = false;
    double shadowDarkness = 100;
    double rigScale = 0;
};

inline std::string jsonPoint(Vec3d p) { return "[" + num(p[0]) + ", " + num(p[1]) + ", " + num(p[2]) + "]"; }

inline std::string lightLayers(const std::vector<SceneLight>& lights)
{
    std::string json;
    for (std::size_t i = 0; i < lights.size(); ++i) {
        const SceneLight& l = lights[i];
        const std::string name = "Light " + std::to_string(i + 1);
        std::string placed = R"(, "position": )" + jsonPoint(l.position) + R"(, "pointOfInterest": )" + jsonPoint(l.aim);
        if (l.rigScale != 0) {
            const Vec3d centre{80, 60, 0};
            json += R"({ "name": "Rig )" + name + R"(", "type": "null", "threeD": true, "anchorPoint": [0, 0, 0], "position": )" +
                    jsonPoint(centre) + R"(, "scale": )" + jsonPoint(uniform(l.rigScale)) + " },";
            placed = R"(, "parent": "Rig )" + name + R"(", "position": )" + jsonPoint((l.position - centre) * (100 / l.rigScale)) +
                     R"(, "pointOfInterest": )" + jsonPoint((l.aim - centre) * (100 / l.rigScale));
        }
        json += R"({ "name": ")" + name + R"(", "type": "light")" + placed + R"(, "light": { "type": ")" + l.type +
                R"(", "intensity": )" + num(l.intensity) + R"(, "color": )" + jsonPoint(l.color) + R"(, "coneAngle": )" +
                num(l.coneAngle) + R"(, "coneFeather": )" + num(l.coneFeather) + R"(, "castsShadows": )" +
                (l.castsShadows ? "true" : "false") + R"(, "shadowDarkness": )" + num(l.shadowDarkness) + " } },";
    }
    return json;
}

struct Surface {
    std::array<double, 4> texture{0.8, 0.6, 0.4, 1.0};   // r, g, b, a
    double emit = 100, ambient = 100, diffuse = 50, specular = 0, roughness = 0.5, metal = 0, transmission = 0;
    bool selfShadow = false;
    int falloff = 1;   // 1 None, 2 Smooth, 3 Inverse Square Clamped
    double falloffRadius = 200, falloffDistance = 200;

    Vec3d colour() const { return {texture[0], texture[1], texture[2]}; }
    double shininess() const { return std::tan((1 - roughness) * kPiD / 2); }
    Vec3d tint() const { return uniform(1 - metal / 100) + colour() * (metal / 100); }
};

// The sphere of radius 40 in the middle, turned a quarter about x, with a solid texture.
inline asmtest::SceneSetup litScene(const Surface& s, const std::vector<SceneLight>& lights,
                                    const std::map<std::string, std::string>& extra = {})
{
    std::map<std::string, std::string> params = {
        {"Texture", R"("Paint")"}, {"Rotation X", "90"}, {"Emit", num(s.emit)}, {"Ambient", num(s.ambient)},
        {"Diffuse", num(s.diffuse)}, {"Specular", num(s.specular)}, {"Roughness", num(s.roughness)},
        {"Metal", num(s.metal)}, {"Light Transmission", num(s.transmission)},
        {"Self Shadow", s.selfShadow ? "true" : "false"}, {"Falloff", std::to_string(s.falloff)},
        {"Falloff Radius", num(s.falloffRadius)}, {"Falloff Distance", num(s.falloffDistance)}};
    for (const auto& [name, value] : extra)
        params[name] = value;
    const std::string paint = R"({ "name": "Paint", "type": "solid", "width": 60, "height": 48, "color": [)" +
                              num(s.texture[0]) + ", " + num(s.texture[1]) + ", " + num(s.texture[2]) + ", " +
                              num(s.texture[3]) + "] },";
    return asmtest::sceneWith(params, paint + lightLayers(lights));
}

inline double falloffAt(const Surface& s, double distance)
{
    if (s.falloff == 2) {
        const double x = std::clamp((distance - s.falloffRadius) / s.falloffDistance, 0.0, 1.0);
        return 1 - (3 - 2 * x) * x * x;
    }
    const double q = std::min(1.0, s.falloffRadius / distance);
    return s.falloff == 3 ? q * q : 1;
}

// One light's diffuse (or ambient) and Phong share at p, normal n facing the viewer, seen along
// d: falloff from the light's position (parallel lights too), the spot cone against the axis as
// stored (a rig's scale in it), transmission from behind, self shadow filtered by the far side.
inline Vec3d lightShare(const Surface& s, const SceneLight& l, Vec3d centre, Vec3d d, Vec3d p, Vec3d n)
{
    const bool ambient = l.type == "ambient";
    const Vec3d axis = normalized(l.aim - l.position);
    const double distance = length(p - l.position);
    Vec3d lv = l.type == "parallel" ? axis : (p - l.position) * (1 / distance);
    double k0 = (ambient ? 1 : falloffAt(s, distance)) * l.intensity / 100;
    if (l.type == "spot") {
        const double scale = l.rigScale != 0 ? l.rigScale / 100 : 1;
        const double cosHalf = std::cos(l.coneAngle / 2 * kPiD / 180);
        k0 *= std::clamp((dot(lv, axis * scale) - cosHalf) / ((1 - cosHalf) * l.coneFeather / 100), 0.0, 1.0);
    }
    if (ambient)
        lv = n * -1.0;
    const double facing = dot(n, lv);
    Vec3d filter = uniform(1);
    if (s.selfShadow && !ambient && l.castsShadows) {
        const double far = 2 * dot(lv, p - centre);   // where the ray toward the light leaves the sphere
        const double lightAt = l.type != "parallel" ? distance : far + 1;
        const double a = s.texture[3];
        const Vec3d through = lightAt > far && far > 0 ? s.colour() * (a * s.transmission / 100) + uniform(1 - a) : uniform(1);
        const double dark = std::clamp(l.shadowDarkness / 100, 0.0, 1.0);
        filter = uniform(1 - dark) + through * dark;
    }
    const double e = facing <= 0 ? facing : -facing * s.transmission / 100;
    const double k = -e * k0;
    Vec3d sum{0, 0, 0};
    if (e < 0)
        sum = mul(mul(l.color, s.colour()), filter) * ((ambient ? s.ambient : s.diffuse) / 100 * k);
    const double r = dot(d, lv - n * (2 * facing));
    if (r < 0 && !ambient)
        sum = sum + mul(mul(l.color, s.tint()), filter) * (std::pow(-r, s.shininess()) * k * s.specular / 100);
    return sum;
}

struct DepthComposite {
    int mode = 1;   // 1 Off, 2 Fog, 3 Fade Out
    double start = 0, end = 1000;
    Vec3d fog{1, 1, 1};
};

inline Rgba applyDepth(const DepthComposite& dc, Rgba c, double t)
{
    const double ramp = (t - dc.start) / (dc.end - dc.start);
    if (dc.mode == 2) {
        Rgba out = over({dc.fog[0], dc.fog[1], dc.fog[2], std::clamp(ramp, 0.0, 1.0)}, c);
        out.a = c.a;
        return out;
    }
    if (dc.mode == 3)
        c.a *= std::clamp(1 - ramp, 0.0, 1.0);
    return c;
}

struct WorldHit {   // in world coordinates
    Vec3d centre, d, p, n;   // sphere centre, unit ray direction, point, unit normal facing the ray
};

inline WorldHit worldHit(const ContextSnapshot& c, const Shot& s, double t)
{
    WorldHit h;
    h.centre = asmtest::mapPoint({0, 0, 0}, c.sphereToWorld);
    h.d = normalized(asmtest::mapPoint(wide(s.ray.d), c.sphereToWorld) - h.centre);
    h.p = asmtest::mapPoint(wide(pointAt(s.ray, t)), c.sphereToWorld);
    h.n = normalized(h.p - h.centre);
    if (dot(h.n, h.d) > 0)
        h.n = h.n * -1.0;
    return h;
}

inline Rgba wallColour(const ContextSnapshot& c, const Surface& s, const std::vector<SceneLight>& lights,
                       const DepthComposite& dc, const Shot& sh, double t)
{
    const WorldHit h = worldHit(c, sh, t);
    Vec3d col = s.colour() * (s.emit / 100);
    for (const SceneLight& l : lights)
        col = col + lightShare(s, l, h.centre, h.d, h.p, h.n);
    return applyDepth(dc, {col[0], col[1], col[2], s.texture[3]}, t);
}

// The lit pixel: near wall over far, alpha times coverage; "Outside" (3) the near wall alone.
inline Rgba expectedPixel(const ContextSnapshot& c, const Surface& s, const std::vector<SceneLight>& lights,
                          const DepthComposite& dc, int x, int y)
{
    const Shot sh = shot(c, x, y);
    if (sh.n == 0)
        return {};
    Rgba out = wallColour(c, s, lights, dc, sh, sh.tNear);
    if (out.a < 1 && c.renderSide != 3)
        out = over(out, wallColour(c, s, lights, dc, sh, sh.tFar));
    out.a *= sh.n / 9.0;
    return out;
}

// Every `step`-th fully covered pixel within `band` rows of the middle met at |N·D| > minFacing.
inline Pixels facingPixels(const ContextSnapshot& c, int step = 3, int band = 22, double minFacing = 0.35)
{
    Pixels out;
    for (int y = 60 - band; y <= 60 + band; y += step)
        for (int x = 0; x < 160; x += step) {
            const Shot s = shot(c, x, y);
            if (s.n != 9)
                continue;
            const WorldHit h = worldHit(c, s, s.tNear);
            if (-dot(h.d, h.n) > minFacing)
                out.emplace_back(x, y);
        }
    return out;
}

} // namespace rtest
