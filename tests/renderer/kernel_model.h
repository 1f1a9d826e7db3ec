// The kernels' arithmetic written out step by step at the precision each step is defined in:
// float where the renderer keeps floats, double where it widens, the processor's own
// reciprocal square root estimate where it normalises. It reads the context as a pass saw it
// (the snapshot) and shares no code with the renderer, so comparing its results bit for bit
// with a render catches a step computed at the wrong precision, which the double-precision
// scene model cannot see.
#pragma once
#include "renderer/renderer_support.h"

#include <xmmintrin.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace kmodel {

using F4 = std::array<float, 3>;   // x, y, z lanes

inline F4 rowOf(const Matrix4& m, int i) { return {m.m[i][0], m.m[i][1], m.m[i][2]}; }
inline F4 lanes(const Vec4& v) { return {v.x, v.y, v.z}; }

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

// The ray through (x + ox, y + oy): x' and y' in double, stored as floats; the direction (and
// for parallel rays the origin) combined lane by lane in float, left to right.
inline Ray sampleRay(const asmtest::ContextSnapshot& c, int x, int y, double ox, double oy)
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

// Which form the parallel ray's B takes: every lane widened before the products (the
// renderer's), or the lane product d·s rounded to float first (a slip that moves silhouettes).
enum class ParallelB { DoubleLanes, FloatProduct };

// A, B and D in double from the float lanes.
inline Quadratic quadratic(const asmtest::ContextSnapshot& c, const Ray& r, ParallelB form = ParallelB::DoubleLanes)
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
        const double ds = form == ParallelB::DoubleLanes ? double(r.d[i]) * s[i] : double(r.d[i] * s[i]);
        b += double(r.o[i]) * ds;
        o2 += double(r.o[i]) * r.o[i] * s[i];
    }
    q.b = -b;
    q.d = q.b * q.b - (o2 - 1) * q.a;
    return q;
}

using rtest::kSamples;

// The number of the pixel's nine samples inside the silhouette: four corners first, all nine
// only where the corners disagree.
inline int hitCount(const asmtest::ContextSnapshot& c, int x, int y, ParallelB form = ParallelB::DoubleLanes)
{
    const auto at = [&](std::size_t i) { return quadratic(c, sampleRay(c, x, y, kSamples[i][0], kSamples[i][1]), form); };
    int corners = 0;
    for (std::size_t i = 5; i < 9; ++i)
        corners += at(i).d >= 0 ? 1 : 0;
    if (corners == 0 || corners == 4)
        return corners == 0 ? 0 : 9;
    int n = 0;
    for (std::size_t i = 0; i < 9; ++i) {
        const Quadratic q = at(i);
        n += q.a != 0 && q.d >= 0 ? 1 : 0;
    }
    return n;
}

// The near wall along the ray: t = (B − √D) / A in double, then P = O + t·d in float lanes.
inline F4 nearPoint(const Ray& r, const Quadratic& q)
{
    const float t = float((q.b - std::sqrt(q.d)) / q.a);
    return {r.o[0] + r.d[0] * t, r.o[1] + r.d[1] * t, r.o[2] + r.d[2] * t};
}

struct UV {
    double u = 0, v = 0;
};

// (U, V) of a surface point, then the opening's stretch, the slide and the wrap, as the
// untextured look paints them: the arc functions are the double ones rounded to float, the
// divisions by π and 2π and all of the deformation in double.
inline UV textureUV(const asmtest::ContextSnapshot& c, const F4& p)
{
    const F4 q = normalise({p[0] * c.invRadius.x, p[1] * c.invRadius.y, p[2] * c.invRadius.z});
    const double z = q[2] > 1.0f ? 1.0 : q[2] < -1.0f ? -1.0 : double(q[2]);
    UV uv;
    uv.v = 1.0 - double(float(std::acos(z))) / 3.141592653589793;
    if (q[0] != 0.0f || q[1] != 0.0f) {
        uv.u = -double(float(std::atan2(double(q[1]), double(q[0])))) / (2.0 * 3.141592653589793);
        if (uv.u < 0.0)
            uv.u += 1.0;
    }
    const double k = c.openScale, w = (k - 1.0) * std::sin(3.141592653589793 * uv.v) + 1.0;
    double u = w * (uv.u - c.fixedPointU) + c.fixedPointU + c.slideTurns;
    u -= std::floor(u / w) * w;
    return {u, (uv.v - c.fixedPointV) * k + c.fixedPointV};
}

// The colour a point light gives the untextured surface at P with "Emit" 0 and "Specular"
// 0: the light's colour × the base colour × ("Diffuse" · k), where k = −(N·L)·intensity with
// L the unit vector from the light to P: its length a float square root, its division in
// double; N the ellipsoid's normal turned toward the ray. Red, green and blue.
inline std::array<float, 3> pointLit(const asmtest::ContextSnapshot& c, const Ray& ray, const F4& p, const UV& uv)
{
    const asmtest::LightSnapshot& light = c.lights.at(0);
    const F4 from = rowOf(light.lightToSphere, 3);
    const F4 l{p[0] - from[0], p[1] - from[1], p[2] - from[2]};
    const double distance = std::max(double(std::sqrt(l[0] * l[0] + l[1] * l[1] + l[2] * l[2])), 1e-15);
    const F4 toPoint{float(l[0] / distance), float(l[1] / distance), float(l[2] / distance)};
    F4 n = normalise({p[0] * c.invRadiusSq.x, p[1] * c.invRadiusSq.y, p[2] * c.invRadiusSq.z});
    if (n[0] * ray.d[0] + n[1] * ray.d[1] + n[2] * ray.d[2] > 0.0f)
        n = {n[0] * -1.0f, n[1] * -1.0f, n[2] * -1.0f};
    const float d = n[0] * toPoint[0] + n[1] * toPoint[1] + n[2] * toPoint[2];
    if (!(d <= 0.0f))
        return {0, 0, 0};   // lit from behind, without transmission
    const float k = float(-double(d) * light.intensity);
    const float base[3] = {float(uv.u), float(uv.v), 0.0f};
    std::array<float, 3> out{};
    for (int i = 0; i < 3; ++i)
        out[i] = light.argb[i + 1] * base[i] * 1.0f * (c.diffuse * k);
    return out;
}

} // namespace kmodel
