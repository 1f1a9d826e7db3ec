// What a lit sphere must look like, worked out from the scene alone: the rays of a pixel, where
// they meet the sphere, how the composition's lights, the surface settings and the depth
// composite colour the point they meet. The renderer's pictures are compared with these.
//
// Everything here is in composition space. The scenes keep the camera looking straight along
// +z from in front of the frame's centre, so a pixel's ray is fixed by the pixel alone.
#pragma once
#include "assembly/assembly_support.h"

#include <cstdio>

namespace shadetest {

using asmtest::Vec3d;
using asmtest::dot;
using asmtest::length;
using asmtest::normalized;
using asmtest::operator+;
using asmtest::operator-;
using asmtest::operator*;

inline Vec3d mul(Vec3d a, Vec3d b) { return {a[0] * b[0], a[1] * b[1], a[2] * b[2]}; }
inline Vec3d uniform(double v) { return {v, v, v}; }
inline Vec3d neg(Vec3d a) { return {-a[0], -a[1], -a[2]}; }

// A pixel of a rendered image: straight colour and alpha.
struct Rgba {
    double r = 0, g = 0, b = 0, a = 0;
    Vec3d rgb() const { return {r, g, b}; }
};

inline Rgba pixelAt(const orbhost::Image& image, int x, int y)
{
    const float* p = &image.rgba[4 * (std::size_t(y) * std::size_t(image.width) + std::size_t(x))];
    return {p[0], p[1], p[2], p[3]};
}

inline std::string describe(Rgba c)
{
    char text[96];
    std::snprintf(text, sizeof text, "(r %.5f, g %.5f, b %.5f, a %.5f)", c.r, c.g, c.b, c.a);
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

// The camera: where it stands and its zoom; it looks along +z at a 160 × 120 frame.
struct Eye {
    Vec3d position;
    double zoom;
};

inline constexpr double kDefaultDistance = 160 * 50.0 / 36;   // the default camera of a 160-wide composition
inline Eye defaultEye() { return {{80, 60, -kDefaultDistance}, kDefaultDistance}; }

struct Ball {
    Vec3d centre{80, 60, 0};
    double radius = 40;
};

// A ray from the eye through the point (sx, sy) of the output, in pixels from its top left.
inline Vec3d rayThrough(const Eye& eye, double sx, double sy) { return normalized({sx - 80, sy - 60, eye.zoom}); }

// Where a unit ray from the eye crosses the sphere: both parameters when it does, and the
// parameter of the ray's closest approach to the centre with the distance left there to the
// surface.
struct Crossing {
    bool hit = false;
    double tNear = 0, tFar = 0;
    double closest = 0, gap = 0;
};

inline Crossing crossing(const Eye& eye, const Ball& ball, Vec3d d)
{
    const Vec3d oc = eye.position - ball.centre;
    const double b = -dot(oc, d);
    const double disc = b * b - (dot(oc, oc) - ball.radius * ball.radius);
    Crossing c;
    c.closest = b;
    c.gap = length(oc + d * b) - ball.radius;
    if (disc >= 0) {
        c.hit = true;
        c.tNear = b - std::sqrt(disc);
        c.tFar = b + std::sqrt(disc);
    }
    return c;
}

// The samples of one pixel: the four corners first; when they disagree all nine, in the
// order the renderer casts them. `hits` counts the samples on the sphere; the pixel is shaded
// along the ray of the first hit (the last corner when every corner hits or none does).
struct PixelView {
    int hits = 0;
    Vec3d dir;
    Crossing cross;
};

inline PixelView viewOf(const Eye& eye, const Ball& ball, int x, int y)
{
    static constexpr double k1 = 1.0 / 6, k2 = 0.5, k3 = 5.0 / 6;
    static constexpr double samples[9][2] = {{k2, k2}, {k1, k2}, {k2, k3}, {k3, k2}, {k2, k1},
                                             {k1, k1}, {k1, k3}, {k3, k1}, {k3, k3}};
    PixelView v;
    int corners = 0;
    for (int i = 5; i < 9; ++i) {
        v.dir = rayThrough(eye, x + samples[i][0], y + samples[i][1]);
        v.cross = crossing(eye, ball, v.dir);
        corners += v.cross.hit;
    }
    if (corners == 0 || corners == 4) {
        v.hits = corners == 0 ? 0 : 9;
        return v;
    }
    bool first = true;
    for (const auto& s : samples) {
        const Vec3d d = rayThrough(eye, x + s[0], y + s[1]);
        const Crossing c = crossing(eye, ball, d);
        if (c.hit) {
            ++v.hits;
            if (first)
                v.dir = d, v.cross = c, first = false;
        }
    }
    return v;
}

// A light as the scene writes it.
struct SceneLight {
    std::string type = "point";    // parallel, spot, point, ambient
    Vec3d position{0, 0, -300};
    Vec3d aim{80, 60, 0};
    double intensity = 100;        // percent
    Vec3d color{1, 1, 1};
    double coneAngle = 90, coneFeather = 50;
    bool castsShadows = false;
    double shadowDarkness = 100;
};

inline std::string jsonPoint(Vec3d p) { return "[" + asmtest::num(p[0]) + ", " + asmtest::num(p[1]) + ", " + asmtest::num(p[2]) + "]"; }

inline std::string lightLayers(const std::vector<SceneLight>& lights)
{
    std::string json;
    for (std::size_t i = 0; i < lights.size(); ++i) {
        const SceneLight& l = lights[i];
        json += R"({ "name": "Light )" + std::to_string(i + 1) + R"(", "type": "light", "position": )" +
                jsonPoint(l.position) + R"(, "pointOfInterest": )" + jsonPoint(l.aim) + R"(, "light": { "type": ")" +
                l.type + R"(", "intensity": )" + asmtest::num(l.intensity) + R"(, "color": )" + jsonPoint(l.color) +
                R"(, "coneAngle": )" + asmtest::num(l.coneAngle) + R"(, "coneFeather": )" +
                asmtest::num(l.coneFeather) + R"(, "castsShadows": )" + (l.castsShadows ? "true" : "false") +
                R"(, "shadowDarkness": )" + asmtest::num(l.shadowDarkness) + " } },";
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

// The texture layer the scenes add for a Surface (above the effect's layer, so it does not
// disturb the default layers) and the parameters that choose it and set the surface up. The
// sphere is turned a quarter about x so that the camera sees the texture's middle band, far
// from its edges and poles.
inline constexpr const char* kPaint = "Paint";

inline std::string paintLayer(const Surface& s)
{
    return R"({ "name": "Paint", "type": "solid", "width": 60, "height": 48, "color": [)" + asmtest::num(s.texture[0]) +
           ", " + asmtest::num(s.texture[1]) + ", " + asmtest::num(s.texture[2]) + ", " + asmtest::num(s.texture[3]) +
           "] },";
}

inline std::map<std::string, std::string> surfaceParams(const Surface& s)
{
    return {{"Texture", R"("Paint")"},
            {"Rotation X", "90"},
            {"Emit", asmtest::num(s.emit)},
            {"Ambient", asmtest::num(s.ambient)},
            {"Diffuse", asmtest::num(s.diffuse)},
            {"Specular", asmtest::num(s.specular)},
            {"Roughness", asmtest::num(s.roughness)},
            {"Metal", asmtest::num(s.metal)},
            {"Light Transmission", asmtest::num(s.transmission)},
            {"Self Shadow", s.selfShadow ? "true" : "false"},
            {"Falloff", std::to_string(s.falloff)},
            {"Falloff Radius", asmtest::num(s.falloffRadius)},
            {"Falloff Distance", asmtest::num(s.falloffDistance)}};
}

// A scene of the default sphere with this surface, these lights and any further parameters.
inline asmtest::SceneSetup litScene(const Surface& s, const std::vector<SceneLight>& lights,
                                    const std::map<std::string, std::string>& extra = {})
{
    std::map<std::string, std::string> params = surfaceParams(s);
    for (const auto& [name, value] : extra)
        params[name] = value;
    return asmtest::sceneWith(params, paintLayer(s) + lightLayers(lights));
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
        const double cosHalf = std::cos(l.coneAngle / 2 * kPi / 180);
        const double s01 = std::clamp((dot(toPoint, axis) - cosHalf) / ((1 - cosHalf) * l.coneFeather / 100), 0.0, 1.0);
        return {toPoint, s01 * f};
    }
    return {toPoint, f};
}

// The colour that the sphere's far side lets through towards a light behind the surface
// point p (1 where nothing of the sphere lies between them). Ray u from p; the solid texture
// shows the same colour everywhere.
inline Vec3d sphereFilter(const Surface& s, const Ball& ball, Vec3d p, Vec3d u, const SceneLight* light)
{
    const double far = -2 * dot(u, p - ball.centre);   // the other root; p itself is the near one
    const double lightAt = light && light->type != "parallel" ? dot(light->position - p, u) : far + 1;
    if (!(lightAt > far && far > 0))
        return uniform(1);
    const double a = s.texture[3];
    return s.colour() * (a * s.transmission / 100) + uniform(1 - a);
}

// One light's share at the surface point p with normal n (facing the viewer), seen along d.
inline Vec3d lightShare(const Surface& s, const Ball& ball, const SceneLight& l, Vec3d d, Vec3d p, Vec3d n)
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
        Rgba fog{dc.fog[0], dc.fog[1], dc.fog[2], f};
        Rgba out = over(fog, c);
        out.a = c.a;   // fog tints, it never makes the surface more opaque
        return out;
    }
    if (dc.mode == 3)
        c.a *= std::clamp(1 - ramp, 0.0, 1.0);
    return c;
}

// The colour of one wall where the ray d meets it at t.
inline Rgba wallColour(const Surface& s, const std::vector<SceneLight>& lights, const DepthComposite& dc,
                       const Eye& eye, const Ball& ball, Vec3d d, double t)
{
    const Vec3d p = eye.position + d * t;
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
inline Rgba expectedPixel(const Surface& s, const std::vector<SceneLight>& lights, const DepthComposite& dc,
                          const Eye& eye, const Ball& ball, int x, int y)
{
    const PixelView v = viewOf(eye, ball, x, y);
    if (v.hits == 0)
        return {};
    Rgba out = wallColour(s, lights, dc, eye, ball, v.dir, v.cross.tNear);
    if (out.a < 1)
        out = over(out, wallColour(s, lights, dc, eye, ball, v.dir, v.cross.tFar));
    out.a *= v.hits / 9.0;
    return out;
}

// Pixels well inside the sphere's outline and away from the texture's poles and seam, where a
// solid texture reads back as its own colour: every `step`-th pixel that the sphere covers
// fully, within `band` rows of the middle, that the ray meets at |N·D| > minFacing.
inline std::vector<std::pair<int, int>> facingPixels(const Eye& eye, const Ball& ball, int step = 3, int band = 22,
                                                     double minFacing = 0.35)
{
    std::vector<std::pair<int, int>> out;
    for (int y = 60 - band; y <= 60 + band; y += step)
        for (int x = 0; x < 160; x += step) {
            const PixelView v = viewOf(eye, ball, x, y);
            if (v.hits != 9)
                continue;
            const Vec3d p = eye.position + v.dir * v.cross.tNear;
            if (-dot(v.dir, (p - ball.centre) * (1 / ball.radius)) > minFacing)
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
    ADD_FAILURE() << where << ": got " << describe(got) << ", expected " << describe(want);
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

inline constexpr orbhost::FrameRequest kFloat{0, 32, 1, 1};

} // namespace shadetest
