// An independent model of what the effect must draw, worked out in double precision from the
// scene alone: where each sample ray of a pixel meets the sphere, how many of the nine samples
// hit, which ray a pixel is shaded along, the (U, V) and texel seen there, the host's area
// sample, and how the composition's lights, the surface settings and the depth composite
// colour the point. Tests render with the real module through the headless host and compare
// its pixels with this model.
#pragma once
#include "assembly/assembly_support.h"
#include "host/core/iterate_pool.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace rtest {

using asmtest::dot;
using asmtest::length;
using asmtest::normalized;
using asmtest::num;
using asmtest::operator+;
using asmtest::operator-;
using asmtest::operator*;
using asmtest::Vec3d;

inline constexpr double kPiD = 3.141592653589793238462643;
inline constexpr orbhost::FrameRequest kFloat{0, 32, 1, 1};

inline Vec3d cross(Vec3d a, Vec3d b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline Vec3d mul(Vec3d a, Vec3d b) { return {a[0] * b[0], a[1] * b[1], a[2] * b[2]}; }
inline Vec3d uniform(double v) { return {v, v, v}; }
inline Vec3d neg(Vec3d a) { return {-a[0], -a[1], -a[2]}; }

// A pixel: straight colour and alpha.
struct Rgba {
    double r = 0, g = 0, b = 0, a = 0;
};

inline Rgba pixelAt(const orbhost::Image& im, int x, int y)
{
    const float* p = &im.rgba[(std::size_t(y) * std::size_t(im.width) + std::size_t(x)) * 4];
    return {p[0], p[1], p[2], p[3]};
}

inline std::string str(Rgba c)
{
    char text[96];
    std::snprintf(text, sizeof text, "(r %.6g, g %.6g, b %.6g, a %.6g)", c.r, c.g, c.b, c.a);
    return text;
}

// Straight-alpha "front over back".
inline Rgba over(Rgba front, Rgba back)
{
    Rgba out;
    out.a = front.a + (1 - front.a) * back.a;
    if (out.a > 0) {
        const double fw = front.a, bw = (1 - front.a) * back.a;
        out.r = (fw * front.r + bw * back.r) / out.a;
        out.g = (fw * front.g + bw * back.g) / out.a;
        out.b = (fw * front.b + bw * back.b) / out.a;
    }
    return out;
}

// ---------------------------------------------------------------------------------------------
// Camera: always at the composition's centre looking along +z (x right, y down), as the default
// camera and the camera layers these tests add are.

struct View {
    bool perspective = true;
    double zoom = 0;        // eye to image plane, pixels (perspective only)
    Vec3d eye{};            // world position of the camera
    double centreX = 80, centreY = 60;
    double downsample = 1;  // output pixels are this many composition pixels wide and high
};

// A camera layer at (80, 60, -distance) aimed at the composition's centre; the default camera
// is the one of a 50 mm lens on 36 mm film, zoom = width · 50 / 36.
inline View cameraView(bool perspective, double zoom, double distance) { return {perspective, zoom, {80, 60, -distance}}; }
inline View defaultView() { return cameraView(true, 160 * 50.0 / 36, 160 * 50.0 / 36); }

inline std::string cameraLayerJson(bool perspective, double zoom, double distance)
{
    return R"({ "name": "Cam", "type": "camera", "position": [80, 60, )" + num(-distance) +
           R"(], "camera": { "type": ")" + (perspective ? "perspective" : "orthographic") + R"(", "zoom": )" +
           num(zoom) + " } },";
}

// ---------------------------------------------------------------------------------------------
// Sphere placement from the effect's parameters (no control layer, square pixels, full size).

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

struct Sphere {
    Vec3d centre{};
    std::array<Vec3d, 3> axes{};   // the sphere's x, y, z axes in world coordinates (orthonormal)
    double radius = 0;             // after the opening's enlargement
    double k = 1;                  // open amount
    bool inverted = false;
    double u0 = 0.5, v0 = 0.5, slideTurns = 0;
    int textureHeight = 0;         // 0: no texture layer
};

// The open amount for "Open Parameter" p: grows without bound toward 1 (finite just at 1), and
// past 1 falls back to 1 at 2 with the sphere turned inside out.
inline double openAmount(double p)
{
    double k;
    if (p < 1)
        k = std::tan(p * kPiD * 0.5) + 1;
    else if (p == 1)
        k = std::tan(1.5707723583450859) + 1;
    else
        k = std::abs(std::tan(p * kPiD * 0.5) - 1);
    return std::clamp(k, -10000.0, 10000.0);
}

// Row vectors: a point p of the sphere's frame lands at p · axes + centre. The turn is about
// z first, then y, then x.
inline std::array<Vec3d, 3> orientation(Vec3d deg)
{
    const double ax = deg[0] * kPiD / 180, ay = deg[1] * kPiD / 180, az = deg[2] * kPiD / 180;
    const double cx = std::cos(ax), sx = std::sin(ax), cy = std::cos(ay), sy = std::sin(ay);
    const double cz = std::cos(az), sz = std::sin(az);
    const std::array<Vec3d, 3> rx{{{1, 0, 0}, {0, cx, sx}, {0, -sx, cx}}};
    const std::array<Vec3d, 3> ry{{{cy, 0, -sy}, {0, 1, 0}, {sy, 0, cy}}};
    const std::array<Vec3d, 3> rz{{{cz, sz, 0}, {-sz, cz, 0}, {0, 0, 1}}};
    const auto times = [](const std::array<Vec3d, 3>& a, const std::array<Vec3d, 3>& b) {
        std::array<Vec3d, 3> r{};
        for (int i = 0; i < 3; ++i)
            r[i] = b[0] * a[i][0] + b[1] * a[i][1] + b[2] * a[i][2];
        return r;
    };
    return times(times(rz, ry), rx);
}

// The opening keeps the pivot (the surface point at the fixed point) in place: an inside-out
// sphere is mirrored across the tangent plane there, and the sphere grows by k about it.
inline Sphere place(const Placement& p, int textureHeight = 0)
{
    Sphere s;
    s.axes = orientation(p.rotationDeg);
    s.centre = p.position;
    s.u0 = p.u0, s.v0 = p.v0, s.slideTurns = p.slideDeg / 360;
    s.textureHeight = textureHeight;
    s.k = openAmount(p.open);
    s.inverted = p.open > 1;
    // The pivot at (u0, v0) of the unopened mapping, in world coordinates.
    const double theta = (1 - p.v0) * kPiD, phi = (1 - p.u0) * 2 * kPiD;
    const Vec3d local{std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi), std::cos(theta)};
    Vec3d pivot = (s.axes[0] * local[0] + s.axes[1] * local[1] + s.axes[2] * local[2]) * p.radius;
    const Vec3d n = normalized(pivot);
    if (s.inverted) {
        for (Vec3d& a : s.axes)
            a = a - n * (2 * dot(a, n));
        s.centre = s.centre + n * (2 * dot(pivot, n));
        pivot = pivot - n * (2 * dot(pivot, n));
    }
    s.centre = s.centre + pivot * (1 - s.k);
    s.radius = p.radius * s.k;
    return s;
}

// The sphere the lit scenes show: radius 40 in the middle, turned a quarter about x.
inline Sphere litBall() { return place({40, {80, 60, 0}, {90, 0, 0}}); }

// ---------------------------------------------------------------------------------------------
// Rays and hits.

struct Ray {
    Vec3d o, d;   // world origin and unit direction
};

// The ray through the point (px, py) of the output image.
inline Ray sampleRay(const View& v, const Sphere& s, double px, double py)
{
    const double x = px * v.downsample - v.centreX, y = py * v.downsample - v.centreY;
    if (v.perspective)
        return {v.eye, normalized(Vec3d{x, y, v.zoom})};
    return {v.eye + Vec3d{x, y, -s.radius}, {0, 0, 1}};
}

struct Hit {
    bool hit = false;
    double tNear = 0, tFar = 0;
    double closest = 0;     // the ray's parameter at its closest approach to the centre
    double clearance = 0;   // the distance left there to the surface, pixels
};

inline Hit intersect(const Sphere& s, const Ray& r)
{
    const Vec3d o = r.o - s.centre;
    const double b = -dot(o, r.d), c = dot(o, o) - s.radius * s.radius;
    const double disc = b * b - c;
    Hit h;
    h.closest = b;
    h.clearance = length(o + r.d * b) - s.radius;
    h.hit = disc >= 0;
    if (h.hit) {
        const double q = std::sqrt(disc);
        h.tNear = b - q, h.tFar = b + q;
    }
    return h;
}

// The nine sample offsets of a pixel in the order the coverage test casts them; 5 to 8 are
// the corners.
inline constexpr std::array<std::array<double, 2>, 9> kSamples{{{0.5, 0.5},
                                                                 {1.0 / 6, 0.5},
                                                                 {0.5, 5.0 / 6},
                                                                 {5.0 / 6, 0.5},
                                                                 {0.5, 1.0 / 6},
                                                                 {1.0 / 6, 1.0 / 6},
                                                                 {1.0 / 6, 5.0 / 6},
                                                                 {5.0 / 6, 1.0 / 6},
                                                                 {5.0 / 6, 5.0 / 6}}};

struct SampleCount {
    int n = 0;           // samples that hit, 0 to 9
    Ray ray{};           // the ray the pixel is shaded along (the last corner's when none hits)
    Hit hit{};           // its hits
    bool fragile = false;
};

// Four corners first: none hit, the pixel is empty; all hit, it is full and shaded along the
// (5/6, 5/6) corner; otherwise all nine count and the first that hits, in order, shades it.
inline SampleCount coverage(const View& v, const Sphere& s, int x, int y)
{
    SampleCount c;
    auto cast = [&](std::size_t i, Ray& ray) {
        ray = sampleRay(v, s, x + kSamples[i][0], y + kSamples[i][1]);
        const Hit h = intersect(s, ray);
        c.fragile = c.fragile || std::abs(h.clearance) < 1e-3;
        return h;
    };
    int corners = 0;
    for (std::size_t i = 5; i < 9; ++i) {
        c.hit = cast(i, c.ray);
        corners += c.hit.hit ? 1 : 0;
    }
    if (corners == 0 || corners == 4) {
        c.n = corners == 0 ? 0 : 9;
        return c;
    }
    for (std::size_t i = 0; i < 9; ++i) {
        Ray ray;
        const Hit h = cast(i, ray);
        if (h.hit && c.n++ == 0)
            c.ray = ray, c.hit = h;
    }
    return c;
}

inline float coverageFraction(int n) { return float(n) / 9.0f; }

// ---------------------------------------------------------------------------------------------
// Texture coordinates.

struct UV {
    double u = 0, v = 0;
    double period = 1;      // the width U wraps at on this parallel: 1 on a closed sphere
    bool fragile = false;   // within rounding of a jump (wrap, range edge, pole): not comparable
};

inline bool nearValue(double a, double b, double eps) { return std::abs(a - b) < eps; }

// (U, V) of a world point on the sphere, with the opening's stretch about the fixed point,
// the slide and the row correction of a texture of `textureHeight` rows.
inline UV uvAt(const Sphere& s, Vec3d world)
{
    const Vec3d d = world - s.centre;
    const Vec3d q = normalized({dot(d, s.axes[0]), dot(d, s.axes[1]), dot(d, s.axes[2])});
    UV uv;
    double v = 1 - std::acos(std::clamp(q[2], -1.0, 1.0)) / kPiD;
    const double rho = std::hypot(q[0], q[1]);
    double u = -std::atan2(q[1], q[0]) / (2 * kPiD);
    if (u < 0)
        u += 1;
    // Rounding in single precision moves U by about 1e-6 / rho before the stretch.
    const double eps = 2e-4 * std::max(1.0, s.k);
    const double g = std::sin(kPiD * v);
    const double w = (s.k - 1) * g + 1;
    u = w * (u - s.u0) + s.u0 + s.slideTurns;
    u -= std::floor(u / w) * w;
    v = (v - s.v0) * s.k + s.v0;
    if (s.textureHeight != 0)
        v *= 1 - 1.0 / s.textureHeight;
    uv.fragile = rho < 0.02 || nearValue(u, 0, eps) || nearValue(u, w, eps) || nearValue(u, 1, eps) ||
                 nearValue(v, 0, eps) || nearValue(v, 1, eps);
    uv.u = u, uv.v = v, uv.period = w;
    return uv;
}

inline bool insideTexture(const UV& uv) { return uv.u >= 0 && uv.u < 1 && uv.v >= 0 && uv.v < 1; }

// ---------------------------------------------------------------------------------------------
// Pixels of the unlit sphere.

// What a surface shows at (U, V): straight colour with alpha, or nothing when fragile.
using TexelAt = std::function<Rgba(const UV&, bool& fragile)>;

// Without a texture layer and without lights the sphere shows its coordinates: red = U,
// green = V, opaque, inside the texture's range; transparent outside it.
inline Rgba gradientColour(const UV& uv, bool& fragile)
{
    fragile = fragile || uv.fragile;
    if (!insideTexture(uv))
        return {};
    return {uv.u, uv.v, 0, 1};
}

// The pivot marks drawn over `base` where the deformed (U, V) lies inside the texture.
inline Rgba withPivotMarks(const Sphere& s, const UV& uv, Rgba base, bool& fragile)
{
    if (!insideTexture(uv))
        return base;
    const double du = uv.u - s.u0, dv = uv.v - s.v0;
    const double dot = 4 * du * du + dv * dv;
    // Stay clear of the mark edges by a few percent of their size.
    if (std::abs(dot / 0.0001 - 1) < 0.05 || std::abs(std::abs(du) / 0.001 - 1) < 0.05 ||
        std::abs(std::abs(dv) / 0.002 - 1) < 0.05)
        fragile = true;
    const bool dotMark = dot < 0.0001, meridian = std::abs(du) < 0.001, parallel = std::abs(dv) < 0.002;
    return dotMark ? Rgba{0, 0, 1, 1} : meridian ? Rgba{0, 1, 0, 1} : parallel ? Rgba{1, 0, 0, 1} : base;
}

enum class Side { Full = 1, Inside = 2, Outside = 3 };

struct Expected {
    Rgba colour;   // straight, alpha already multiplied by coverage
    int n = 0;
    bool fragile = false;
    UV uv{};       // at the shading ray's shown surface (front if shown, else back)
};

// One pixel of the direct pass: the front wall over the back wall with straight alpha, the
// sides limited by "Render Side" (exchanged on an inside-out sphere), alpha times coverage.
inline Expected expectPixel(const View& v, const Sphere& s, int x, int y, Side side, const TexelAt& surface,
                            bool pivotMarks = false)
{
    Expected e;
    const SampleCount c = coverage(v, s, x, y);
    e.n = c.n, e.fragile = c.fragile;
    if (c.n == 0)
        return e;
    if (s.inverted && side != Side::Full)
        side = side == Side::Inside ? Side::Outside : Side::Inside;
    const bool front = c.hit.tNear > 0 && side != Side::Inside;
    const bool back = c.hit.tFar > 0 && side != Side::Outside;
    auto shade = [&](double t) {
        const UV uv = uvAt(s, c.ray.o + c.ray.d * t);
        Rgba col = surface(uv, e.fragile);
        if (s.radius > 0 && pivotMarks)
            col = withPivotMarks(s, uv, col, e.fragile);
        return std::pair{col, uv};
    };
    Rgba f{};
    if (front)
        std::tie(f, e.uv) = shade(c.hit.tNear);
    Rgba r = f;
    if (back && f.a < 1) {
        auto [k, uv] = shade(c.hit.tFar);
        if (!front || f.a <= 0)
            e.uv = uv;
        r = over(f, k);
    }
    r.a *= coverageFraction(c.n);
    e.colour = r;
    return e;
}

inline double fullScale(int bitDepth) { return bitDepth == 8 ? 255.0 : bitDepth == 16 ? 32768.0 : 1.0; }

// A channel as the output depth stores it, read back as the host's image gives it: integers
// are v · full scale clamped and truncated, floats are kept.
inline double quantised(double v, int bitDepth)
{
    if (bitDepth == 32)
        return v;
    const double full = fullScale(bitDepth);
    return std::floor(std::clamp(v * full, 0.0, full)) / full;
}

// Compares every pixel that the model can call with the rendered image. A channel matches when
// it is within `tolerance` of the model (at integer depths one code either way is allowed on
// top, for truncation of values that lie within rounding of a code). Returns the number of
// pixels compared; mismatches are reported, the first few in detail.
inline int compareWithModel(const orbhost::Image& image, int bitDepth, double tolerance,
                            const std::function<Expected(int, int)>& model, const std::string& what)
{
    int compared = 0, mismatches = 0;
    std::ostringstream detail;
    const double code = bitDepth == 32 ? 0.0 : 1.0 / fullScale(bitDepth);
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
            const Expected e = model(x, y);
            if (e.fragile)
                continue;
            ++compared;
            const Rgba got = pixelAt(image, x, y), want = e.colour;
            bool ok = true;
            const std::pair<double, double> channels[4] = {{got.r, want.r}, {got.g, want.g}, {got.b, want.b}, {got.a, want.a}};
            for (auto [g, w] : channels) {
                const double lo = quantised(w - tolerance, bitDepth) - code * 1.01;
                const double hi = quantised(w + tolerance, bitDepth) + code * 1.01;
                ok = ok && (bitDepth == 32 ? std::abs(g - w) <= tolerance : (g >= lo && g <= hi));
            }
            if (!ok && ++mismatches <= 6)
                detail << "\n  pixel (" << x << ", " << y << ") n=" << e.n << " uv=(" << e.uv.u << ", " << e.uv.v
                       << "): expected " << str(want) << ", got " << str(got);
        }
    EXPECT_EQ(mismatches, 0) << what << ": " << mismatches << " of " << compared << " pixels differ" << detail.str();
    return compared;
}

// ---------------------------------------------------------------------------------------------
// Images made in memory and handed to the scene's layers.

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

// Gives the layer of that name ("Tex" by default) these pixels and their size.
inline std::function<void(orbhost::Scene&)> replaceLayerImage(orbhost::Image image, std::string name = "Tex")
{
    return [image, name](orbhost::Scene& scene) {
        for (orbhost::Layer& l : scene.layers)
            if (l.displayName() == name) {
                l.image = image;
                l.width = image.width, l.height = image.height;
            }
    };
}

// A scene of the given placement, no texture, no lights, nothing but geometry showing.
inline asmtest::SceneSetup geometryScene(const Placement& p, std::map<std::string, std::string> extra = {},
                                         std::string layers = "")
{
    asmtest::SceneSetup setup = asmtest::sceneWith(placementParams(p), std::move(layers));
    for (auto& [k, v] : extra)
        setup.params[k] = v;
    return setup;
}

// ---------------------------------------------------------------------------------------------
// The host's area sample, as the renderer calls it.

// A coordinate in 16.16, rounded half away from zero.
inline double fixedCoord(double v)
{
    const double s = v * 65536.0;
    return std::trunc(s < 0 ? s - 0.5 : s + 0.5) / 65536.0;
}

// A radius in 16.16, rounded the same way and kept within 1/65536 .. 128 pixels.
inline double fixedRadius(double v) { return std::clamp(std::trunc(v * 65536.0 + 0.5), 1.0, 8388608.0) / 65536.0; }

struct AxisWeight {
    int index;
    double weight;
};

// The box [c − r, c + r] along an axis of `size` pixels, in sampler coordinates (pixel i spans
// [i − 0.5, i + 0.5]): each pixel weighs the length of it that the box covers over the box's
// whole length, so a box that reaches off the world loses what lies outside.
inline std::vector<AxisWeight> boxAxis(double c, double r, int size)
{
    std::vector<AxisWeight> w;
    const double lo = std::max(c + 0.5 - r, 0.0), hi = std::min(c + 0.5 + r, double(size));
    for (int i = int(std::floor(lo)); i < hi; ++i)
        w.push_back({i, (std::min(hi, i + 1.0) - std::max(lo, double(i))) / (2 * r)});
    return w;
}

// The area sample of straight pixels `at(i, j)` at (x, y) with radii (rx, ry), all already in
// 16.16: alpha is the weighted coverage, colour the alpha-weighted average.
inline Rgba areaSample(const std::function<Rgba(int, int)>& at, int width, int height, double x, double y, double rx,
                       double ry)
{
    Rgba sum;
    for (const AxisWeight& wy : boxAxis(y, ry, height))
        for (const AxisWeight& wx : boxAxis(x, rx, width)) {
            const Rgba p = at(wx.index, wy.index);
            const double w = wx.weight * wy.weight * p.a;
            sum.r += w * p.r, sum.g += w * p.g, sum.b += w * p.b, sum.a += w;
        }
    if (sum.a <= 0)
        return {};
    return {sum.r / sum.a, sum.g / sum.a, sum.b / sum.a, sum.a};
}

inline Rgba areaSample(const orbhost::Image& image, double x, double y, double rx, double ry)
{
    return areaSample([&](int i, int j) { return pixelAt(image, i, j); }, image.width, image.height, x, y, rx, ry);
}

// ---------------------------------------------------------------------------------------------
// Lit scenes: the default sphere with a solid texture, lights and surface settings.

// A light as the scene writes it. `rigScale` (percent) parents it to a null of that scale at
// the sphere's centre, keeping its world position: the scale then rides in its axis.
struct SceneLight {
    std::string type = "point";    // parallel, spot, point, ambient
    Vec3d position{0, 0, -300};
    Vec3d aim{80, 60, 0};
    double intensity = 100;        // percent
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
            const double k = l.rigScale / 100;
            const Vec3d centre{80, 60, 0};
            json += R"({ "name": "Rig )" + name + R"(", "type": "null", "threeD": true, "anchorPoint": [0, 0, 0], "position": )" +
                    jsonPoint(centre) + R"(, "scale": )" + jsonPoint(uniform(l.rigScale)) + " },";
            placed = R"(, "parent": "Rig )" + name + R"(", "position": )" + jsonPoint((l.position - centre) * (1 / k)) +
                     R"(, "pointOfInterest": )" + jsonPoint((l.aim - centre) * (1 / k));
        }
        json += R"({ "name": ")" + name + R"(", "type": "light")" + placed + R"(, "light": { "type": ")" + l.type +
                R"(", "intensity": )" + num(l.intensity) + R"(, "color": )" + jsonPoint(l.color) +
                R"(, "coneAngle": )" + num(l.coneAngle) + R"(, "coneFeather": )" + num(l.coneFeather) +
                R"(, "castsShadows": )" + (l.castsShadows ? "true" : "false") + R"(, "shadowDarkness": )" +
                num(l.shadowDarkness) + " } },";
    }
    return json;
}

// The sphere's surface settings and its texture, a solid colour.
struct Surface {
    std::array<double, 4> texture{0.8, 0.6, 0.4, 1.0};   // r, g, b, a
    double emit = 100, ambient = 100, diffuse = 50, specular = 0, roughness = 0.5, metal = 0, transmission = 0;
    bool selfShadow = false;
    int falloff = 1;   // 1 None, 2 Smooth, 3 Inverse Square Clamped
    double falloffRadius = 200, falloffDistance = 200;

    Vec3d colour() const { return {texture[0], texture[1], texture[2]}; }
    double shininess() const { return std::tan((1 - roughness) * kPi / 2); }
    Vec3d tint() const { return uniform(1 - metal / 100) + colour() * (metal / 100); }
};

// The texture layer is added above the effect's layer (so it does not disturb the default
// layers); the sphere is turned a quarter about x so that the camera sees the texture's middle
// band, far from its edges and poles.
inline std::map<std::string, std::string> surfaceParams(const Surface& s)
{
    return {{"Texture", R"("Paint")"},
            {"Rotation X", "90"},
            {"Emit", num(s.emit)},
            {"Ambient", num(s.ambient)},
            {"Diffuse", num(s.diffuse)},
            {"Specular", num(s.specular)},
            {"Roughness", num(s.roughness)},
            {"Metal", num(s.metal)},
            {"Light Transmission", num(s.transmission)},
            {"Self Shadow", s.selfShadow ? "true" : "false"},
            {"Falloff", std::to_string(s.falloff)},
            {"Falloff Radius", num(s.falloffRadius)},
            {"Falloff Distance", num(s.falloffDistance)}};
}

// A scene of the default sphere with this surface, these lights and any further parameters.
inline asmtest::SceneSetup litScene(const Surface& s, const std::vector<SceneLight>& lights,
                                    const std::map<std::string, std::string>& extra = {})
{
    std::map<std::string, std::string> params = surfaceParams(s);
    for (const auto& [name, value] : extra)
        params[name] = value;
    const std::string paint = R"({ "name": "Paint", "type": "solid", "width": 60, "height": 48, "color": [)" +
                              num(s.texture[0]) + ", " + num(s.texture[1]) + ", " + num(s.texture[2]) + ", " +
                              num(s.texture[3]) + "] },";
    return asmtest::sceneWith(params, paint + lightLayers(lights));
}

// How much of a light reaches the point p, and from where: the unit direction from the
// light towards the point and the light's attenuation there.
struct Arrival {
    Vec3d direction{0, 0, 0};
    double attenuation = 1;
};

inline double falloffAt(const Surface& s, double distance)
{
    if (s.falloff == 2) {
        const double x = std::clamp((distance - s.falloffRadius) / s.falloffDistance, 0.0, 1.0);
        return 1 - (3 - 2 * x) * x * x;
    }
    if (s.falloff == 3) {
        const double q = std::min(1.0, s.falloffRadius / distance);
        return q * q;
    }
    return 1;
}

inline Arrival arrival(const Surface& s, const SceneLight& l, Vec3d p)
{
    if (l.type == "ambient")
        return {};
    const Vec3d axis = normalized(l.aim - l.position);
    const double distance = length(p - l.position);
    const double f = falloffAt(s, distance);   // measured from the light's position, parallel lights too
    if (l.type == "parallel")
        return {axis, f};
    const Vec3d toPoint = (p - l.position) * (1 / distance);
    if (l.type == "spot") {
        // The cone test takes the axis as stored, with a rig's scale in it.
        const double scale = l.rigScale != 0 ? l.rigScale / 100 : 1;
        const double cosHalf = std::cos(l.coneAngle / 2 * kPi / 180);
        const double s01 = std::clamp((dot(toPoint, axis * scale) - cosHalf) / ((1 - cosHalf) * l.coneFeather / 100), 0.0, 1.0);
        return {toPoint, s01 * f};
    }
    return {toPoint, f};
}

// The colour that the sphere's far side lets through towards a light behind the surface
// point p (1 where nothing of the sphere lies between them). Ray u from p; the solid texture
// shows the same colour everywhere.
inline Vec3d sphereFilter(const Surface& s, const Sphere& ball, Vec3d p, Vec3d u, const SceneLight* light)
{
    const double far = -2 * dot(u, p - ball.centre);   // the other root; p itself is the near one
    const double lightAt = light && light->type != "parallel" ? dot(light->position - p, u) : far + 1;
    if (!(lightAt > far && far > 0))
        return uniform(1);
    const double a = s.texture[3];
    return s.colour() * (a * s.transmission / 100) + uniform(1 - a);
}

// One light's share at the surface point p with normal n (facing the viewer), seen along d.
inline Vec3d lightShare(const Surface& s, const Sphere& ball, const SceneLight& l, Vec3d d, Vec3d p, Vec3d n)
{
    const bool ambient = l.type == "ambient";
    const Arrival at = arrival(s, l, p);
    const Vec3d lv = ambient ? neg(n) : at.direction;
    const double k0 = at.attenuation * l.intensity / 100;
    const double facing = dot(n, lv);
    Vec3d filter = uniform(1);
    if (s.selfShadow && !ambient && l.castsShadows) {
        const double dark = std::clamp(l.shadowDarkness / 100, 0.0, 1.0);
        filter = uniform(1 - dark) + sphereFilter(s, ball, p, neg(at.direction), &l) * dark;
    }
    const double e = facing <= 0 ? facing : -facing * s.transmission / 100;
    const double k = -e * k0;
    Vec3d sum{0, 0, 0};
    if (e < 0)
        sum = sum + mul(mul(l.color, s.colour()), filter) * ((ambient ? s.ambient : s.diffuse) / 100 * k);
    const Vec3d mirrored = lv - n * (2 * facing);
    const double r = dot(d, mirrored);
    if (r < 0 && !ambient)
        sum = sum + mul(mul(l.color, s.tint()), filter) * (std::pow(-r, s.shininess()) * k * s.specular / 100);
    return sum;
}

// Depth composite of a wall at ray parameter t.
struct DepthComposite {
    int mode = 1;   // 1 Off, 2 Fog, 3 Fade Out
    double start = 0, end = 1000;
    Vec3d fog{1, 1, 1};
};

inline Rgba applyDepth(const DepthComposite& dc, Rgba c, double t)
{
    const double ramp = (t - dc.start) / (dc.end - dc.start);
    if (dc.mode == 2) {
        const double f = std::clamp(ramp, 0.0, 1.0);
        Rgba out = over({dc.fog[0], dc.fog[1], dc.fog[2], f}, c);
        out.a = c.a;   // fog tints, it never makes the surface more opaque
        return out;
    }
    if (dc.mode == 3)
        c.a *= std::clamp(1 - ramp, 0.0, 1.0);
    return c;
}

// The colour of one wall where the ray d from the default eye meets it at t.
inline Rgba wallColour(const Surface& s, const std::vector<SceneLight>& lights, const DepthComposite& dc, Vec3d d,
                       double t)
{
    const Sphere ball = litBall();
    const Vec3d p = defaultView().eye + d * t;
    Vec3d n = (p - ball.centre) * (1 / ball.radius);
    if (dot(n, d) > 0)
        n = neg(n);
    Vec3d c = s.colour() * (s.emit / 100);
    for (const SceneLight& l : lights)
        c = c + lightShare(s, ball, l, d, p, n);
    return applyDepth(dc, {c[0], c[1], c[2], s.texture[3]}, t);
}

// The whole pixel: the near wall over the far wall (which an opaque near wall hides), alpha
// scaled by the pixel's coverage.
inline Rgba expectedPixel(const Surface& s, const std::vector<SceneLight>& lights, const DepthComposite& dc, int x,
                          int y)
{
    const SampleCount v = coverage(defaultView(), litBall(), x, y);
    if (v.n == 0)
        return {};
    Rgba out = wallColour(s, lights, dc, v.ray.d, v.hit.tNear);
    if (out.a < 1)
        out = over(out, wallColour(s, lights, dc, v.ray.d, v.hit.tFar));
    out.a *= v.n / 9.0;
    return out;
}

// Pixels well inside the sphere's outline and away from the texture's poles and seam, where a
// solid texture reads back as its own colour: every `step`-th pixel that the sphere covers
// fully, within `band` rows of the middle, that the ray meets at |N·D| > minFacing.
inline std::vector<std::pair<int, int>> facingPixels(int step = 3, int band = 22, double minFacing = 0.35)
{
    const View eye = defaultView();
    const Sphere ball = litBall();
    std::vector<std::pair<int, int>> out;
    for (int y = 60 - band; y <= 60 + band; y += step)
        for (int x = 0; x < 160; x += step) {
            const SampleCount v = coverage(eye, ball, x, y);
            if (v.n != 9)
                continue;
            const Vec3d p = eye.eye + v.ray.d * v.hit.tNear;
            if (-dot(v.ray.d, (p - ball.centre) * (1 / ball.radius)) > minFacing)
                out.emplace_back(x, y);
        }
    return out;
}

// Compares one pixel with its expectation; returns false (after one failure message) on a
// difference, so that callers can stop after a few.
inline bool matches(Rgba got, Rgba want, double tolerance, const std::string& where)
{
    const double d = std::max({std::abs(got.r - want.r), std::abs(got.g - want.g), std::abs(got.b - want.b),
                               std::abs(got.a - want.a)});
    if (d <= tolerance)
        return true;
    ADD_FAILURE() << where << ": got " << str(got) << ", expected " << str(want);
    return false;
}

// Checks a list of pixels against a model, reporting at most a few failures.
template <class Model>
void expectPixels(const orbhost::Image& image, const std::vector<std::pair<int, int>>& pixels, Model model,
                  double tolerance, const std::string& what)
{
    ASSERT_EQ(image.width, 160);
    ASSERT_FALSE(pixels.empty()) << what << ": no pixels to check";
    int failures = 0;
    for (auto [x, y] : pixels) {
        const std::string where = what + " at (" + std::to_string(x) + ", " + std::to_string(y) + ")";
        if (!matches(pixelAt(image, x, y), model(x, y), tolerance, where) && ++failures >= 5)
            return;
    }
}

} // namespace rtest
