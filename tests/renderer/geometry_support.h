// An independent model of what the effect must draw, worked out in double precision from the
// scene's own geometry: where each sample ray of a pixel meets the sphere, how many of the nine
// samples hit, which ray a pixel is shaded along, and the (U, V) and texel seen there. Tests
// render with the real module through the headless host and compare its pixels with this model.
#pragma once
#include "assembly/assembly_support.h"
#include "host/core/iterate_pool.h"

#include <array>
#include <cmath>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace geotest {

using asmtest::Vec3d;
using asmtest::dot;
using asmtest::length;
using asmtest::normalized;
using asmtest::operator+;
using asmtest::operator-;
using asmtest::operator*;

inline constexpr double kPiD = 3.141592653589793238462643;

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

// The composition's default camera: 50 mm lens on 36 mm film, zoom = width · 50 / 36.
inline View defaultView(double width = asmtest::kWidth, double height = asmtest::kHeight)
{
    const double zoom = width * 50.0 / 36.0;
    return {true, zoom, {width / 2, height / 2, -zoom}, width / 2, height / 2};
}

// A camera layer at (W/2, H/2, -distance) aimed at the composition's centre.
inline View cameraView(bool perspective, double zoom, double distance, double width = asmtest::kWidth,
                       double height = asmtest::kHeight)
{
    return {perspective, zoom, {width / 2, height / 2, -distance}, width / 2, height / 2};
}

inline std::string cameraLayerJson(bool perspective, double zoom, double distance)
{
    std::ostringstream o;
    o << R"({ "name": "Cam", "type": "camera", "position": [80, 60, )" << asmtest::num(-distance)
      << R"(], "camera": { "type": ")" << (perspective ? "perspective" : "orthographic")
      << R"(", "zoom": )" << asmtest::num(zoom) << " } },";
    return o.str();
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
    using asmtest::num;
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
inline double openAmount(double p, bool* inverted = nullptr)
{
    double k;
    if (inverted)
        *inverted = p > 1;
    if (p < 1)
        k = std::tan(p * kPiD * 0.5) + 1;
    else if (p == 1)
        k = std::tan(1.5707723583450859) + 1;
    else
        k = std::abs(std::tan(p * kPiD * 0.5) - 1);
    return std::clamp(k, -10000.0, 10000.0);
}

inline std::array<Vec3d, 3> mul(const std::array<Vec3d, 3>& a, const std::array<Vec3d, 3>& b)
{
    std::array<Vec3d, 3> r{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r[i][j] = a[i][0] * b[0][j] + a[i][1] * b[1][j] + a[i][2] * b[2][j];
    return r;
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
    return mul(mul(rz, ry), rx);
}

inline Vec3d toWorldDirection(const std::array<Vec3d, 3>& axes, Vec3d p)
{
    return axes[0] * p[0] + axes[1] * p[1] + axes[2] * p[2];
}

// The point of a sphere of radius r at (u, v) of the unopened mapping, in its own frame.
inline Vec3d pointAtUV(double r, double u, double v)
{
    const double theta = (1 - v) * kPiD, phi = (1 - u) * 2 * kPiD;
    return {r * std::sin(theta) * std::cos(phi), r * std::sin(theta) * std::sin(phi), r * std::cos(theta)};
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
    s.k = openAmount(p.open, &s.inverted);
    Vec3d pivot = toWorldDirection(s.axes, pointAtUV(p.radius, p.u0, p.v0));
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

inline Vec3d toLocal(const Sphere& s, Vec3d world)
{
    const Vec3d d = world - s.centre;
    return {dot(d, s.axes[0]), dot(d, s.axes[1]), dot(d, s.axes[2])};
}

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
    double clearance = 0;   // closest approach of the ray to the centre minus the radius, pixels
};

inline Hit intersect(const Sphere& s, const Ray& r)
{
    const Vec3d o = r.o - s.centre;
    const double b = -dot(o, r.d), c = dot(o, o) - s.radius * s.radius;
    const double disc = b * b - c;
    Hit h;
    h.clearance = length(o + r.d * b) - s.radius;
    h.hit = disc >= 0;
    if (h.hit) {
        const double q = std::sqrt(disc);
        h.tNear = b - q, h.tFar = b + q;
    }
    return h;
}

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
    const Vec3d q = normalized(toLocal(s, world));
    UV uv;
    double v = 1 - std::acos(std::clamp(q[2], -1.0, 1.0)) / kPiD;
    const double rho = std::hypot(q[0], q[1]);
    double u = -std::atan2(q[1], q[0]) / (2 * kPiD);
    if (u < 0)
        u += 1;
    // Rounding in single precision moves U by about 1e-6 / rho before the stretch.
    const double eps = 2e-4 * std::max(1.0, s.k);
    uv.fragile = rho < 0.02;
    const double g = std::sin(kPiD * v);
    const double w = (s.k - 1) * g + 1;
    u = w * (u - s.u0) + s.u0 + s.slideTurns;
    const double wrapped = u - std::floor(u / w) * w;
    uv.fragile = uv.fragile || nearValue(wrapped, 0, eps) || nearValue(wrapped, w, eps) ||
                 nearValue(wrapped, 1, eps);
    u = wrapped;
    v = (v - s.v0) * s.k + s.v0;
    if (s.textureHeight != 0)
        v *= 1 - 1.0 / s.textureHeight;
    uv.fragile = uv.fragile || nearValue(v, 0, eps) || nearValue(v, 1, eps);
    uv.u = u, uv.v = v, uv.period = w;
    return uv;
}

inline bool insideTexture(const UV& uv) { return uv.u >= 0 && uv.u < 1 && uv.v >= 0 && uv.v < 1; }

// ---------------------------------------------------------------------------------------------
// Pixels.

struct Rgba {
    double r = 0, g = 0, b = 0, a = 0;
};

// What a surface shows at (U, V): straight colour with alpha, or nothing when fragile.
using Surface = std::function<Rgba(const UV&, bool& fragile)>;

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
    if (dot < 0.0001)
        return {0, 0, 1, 1};
    if (std::abs(du) < 0.001)
        return {0, 1, 0, 1};
    if (std::abs(dv) < 0.002)
        return {1, 0, 0, 1};
    return base;
}

enum class Side { Full = 1, Inside = 2, Outside = 3 };

inline const char* sideName(Side s) { return s == Side::Full ? "Full" : s == Side::Inside ? "Inside" : "Outside"; }

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
    Ray ray{};           // the ray the pixel is shaded along
    Hit hit{};           // its hits
    bool fragile = false;
};

// Four corners first: none hit, the pixel is empty; all hit, it is full and shaded along the
// (5/6, 5/6) corner; otherwise all nine count and the first that hits, in order, shades it.
inline SampleCount coverage(const View& v, const Sphere& s, int x, int y, double clearance = 1e-3)
{
    SampleCount c;
    auto cast = [&](int i, Ray& ray) {
        ray = sampleRay(v, s, x + kSamples[std::size_t(i)][0], y + kSamples[std::size_t(i)][1]);
        const Hit h = intersect(s, ray);
        c.fragile = c.fragile || std::abs(h.clearance) < clearance;
        return h;
    };
    int corners = 0;
    Ray ray;
    Hit h;
    for (int i = 5; i < 9; ++i) {
        h = cast(i, ray);
        corners += h.hit ? 1 : 0;
    }
    if (corners == 0)
        return c;
    if (corners == 4) {
        c.n = 9, c.ray = ray, c.hit = h;
        return c;
    }
    bool first = true;
    for (int i = 0; i < 9; ++i) {
        h = cast(i, ray);
        if (!h.hit)
            continue;
        ++c.n;
        if (first)
            c.ray = ray, c.hit = h, first = false;
    }
    return c;
}

inline float coverageFraction(int n) { return float(n) / 9.0f; }

struct Expected {
    Rgba colour;   // straight, alpha already multiplied by coverage
    int n = 0;
    bool fragile = false;
    UV uv{};       // at the shading ray's shown surface (front if shown, else back)
};

// One pixel of the direct pass: the front wall over the back wall with straight alpha, the
// sides limited by "Render Side" (exchanged on an inside-out sphere), alpha times coverage.
inline Expected expectPixel(const View& v, const Sphere& s, int x, int y, Side side, const Surface& surface,
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
    if (front) {
        auto [col, uv] = shade(c.hit.tNear);
        f = col, e.uv = uv;
    }
    Rgba r = f;
    if (back && f.a < 1) {
        auto [k, uv] = shade(c.hit.tFar);
        if (!front || f.a <= 0)
            e.uv = uv;
        r.a = (1 - f.a) * k.a + f.a;
        const auto mix = [&](double fc, double kc) {
            const double sum = (1 - f.a) * k.a * kc + f.a * fc;
            return r.a > 0 ? sum / r.a : sum;
        };
        r.r = mix(f.r, k.r), r.g = mix(f.g, k.g), r.b = mix(f.b, k.b);
    }
    r.a *= coverageFraction(c.n);
    e.colour = r;
    return e;
}

// ---------------------------------------------------------------------------------------------
// Images.

inline Rgba pixelOf(const orbhost::Image& im, int x, int y)
{
    const float* p = &im.rgba[(std::size_t(y) * std::size_t(im.width) + std::size_t(x)) * 4];
    return {p[0], p[1], p[2], p[3]};
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

inline std::string str(const Rgba& c)
{
    std::ostringstream o;
    o.precision(6);
    o << "(r " << c.r << ", g " << c.g << ", b " << c.b << ", a " << c.a << ')';
    return o.str();
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
            const Rgba got = pixelOf(image, x, y);
            const Rgba& want = e.colour;
            const std::array<std::pair<double, double>, 4> ch{
                {{got.r, want.r}, {got.g, want.g}, {got.b, want.b}, {got.a, want.a}}};
            bool ok = true;
            for (auto [g, w] : ch) {
                const double lo = quantised(w - tolerance, bitDepth) - code * 1.01;
                const double hi = quantised(w + tolerance, bitDepth) + code * 1.01;
                const bool inRange = bitDepth == 32 ? std::abs(g - w) <= tolerance : (g >= lo && g <= hi);
                ok = ok && inRange;
            }
            if (!ok && ++mismatches <= 6)
                detail << "\n  pixel (" << x << ", " << y << ") n=" << e.n << " uv=(" << e.uv.u << ", " << e.uv.v
                       << "): expected " << str(want) << ", got " << str(got);
        }
    EXPECT_EQ(mismatches, 0) << what << ": " << mismatches << " of " << compared << " pixels differ" << detail.str();
    return compared;
}

// ---------------------------------------------------------------------------------------------
// Textures made in memory: the scene's "Tex" layer is given these pixels.

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

inline std::function<void(orbhost::Scene&)> replaceTexture(orbhost::Image image)
{
    return [image](orbhost::Scene& scene) {
        for (orbhost::Layer& l : scene.layers)
            if (l.displayName() == "Tex") {
                l.image = image;
                l.width = image.width, l.height = image.height;
            }
    };
}

// ---------------------------------------------------------------------------------------------
// Rendering with a chosen iterate order.

inline orbhost::Image renderWithIterate(const asmtest::SceneSetup& setup, orbhost::FrameRequest request,
                                        const orbhost::IterateOptions& iterate, int* passes = nullptr)
{
    orbhost::HostConfig config;
    config.iterate = iterate;
    if (passes) {
        *passes = 0;
        config.iterateObserver = [passes](const void*, A_long) { ++*passes; };
    }
    orbhost::EffectHost host(asmtest::modulePath(), config);
    orbhost::Image image;
    if (host.start() != PF_Err_NONE) {
        ADD_FAILURE() << "the module did not start";
        return image;
    }
    orbhost::Scene scene = orbhost::parseSceneText(asmtest::sceneJson(setup), "geometry.json", ".");
    if (setup.edit)
        setup.edit(scene);
    orbhost::bindScene(host, scene);
    EXPECT_EQ(host.renderFrame(request, &image), PF_Err_NONE);
    return image;
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

} // namespace geotest
