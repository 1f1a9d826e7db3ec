// The ellipsoid's silhouette as a conic over output pixel positions. A primary ray meets the
// ellipsoid where the discriminant D of its quadratic is not negative; D is a quadratic form in
// the ray's direction (perspective) or origin (parallel), both of which are affine in the
// pixel position, so {D ≥ 0} is a conic region of the output: an ellipse whenever the eye is
// outside the ellipsoid and the whole ellipsoid lies on one side of the eye's plane. Moving
// the form by a margin that exceeds the kernels' rounding of D (they work from float lanes)
// gives an ellipse certainly containing every sample that can hit and one certainly inside
// every sample that does.
#include "scene/silhouette_bounds.h"

#include "scene/light_list.h"
#include "scene/render_context.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace {

#ifdef ORBULON_NO_SHORTCUTS
constexpr bool kShortcuts = false;
#else
constexpr bool kShortcuts = true;
#endif

using Vec3 = std::array<double, 3>;
using Mat3 = std::array<Vec3, 3>;

// The kernels' lanes are floats: every value they combine into D carries a relative error of
// a few times 2^-24. The margin is this many times that, measured on D's largest terms.
constexpr double kFloatRounding = 0x1p-24;
constexpr double kRoundingSafety = 64.0;
// Slack on every span, in output pixels, for the rounding of the sample positions themselves.
constexpr double kColumnSlack = 2.0;
constexpr double kRowSlack = 0.25;
// No bounds when the eye is at or inside the ellipsoid (its quadric below this), when the
// camera's axes are not orthonormal to this tolerance, or when the opening is this large.
constexpr double kMinEyeQuadric = 0.01;
constexpr double kRigidTolerance = 1e-4;
constexpr double kMaxOpenScale = 1000.0;
// Blur's reach is bounded only while the largest blur is well below the zoom; the reach
// sphere then gets this much relative slack, plus one pixel.
constexpr double kMaxBlurToZoom = 0.25;
constexpr double kReachSlack = 1e-3;

double dot(const Vec3& a, const Vec3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
double norm(const Vec3& a) { return std::sqrt(dot(a, a)); }
Vec3 operator*(const Vec3& a, double s) { return {a[0] * s, a[1] * s, a[2] * s}; }
Vec3 operator+(const Vec3& a, const Vec3& b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
Vec3 rowOf(const Matrix4& m, int i) { return {m.m[i][0], m.m[i][1], m.m[i][2]}; }

bool finite(const Vec3& v) { return std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2]); }

// f(x, y) = a·x² + 2b·xy + c·y² + 2d·x + 2e·y + g at output pixel position (x, y).
struct Conic {
    double a, b, c, d, e, g;
};

// The form v·K·vᵀ of sphere-frame vectors v = w·P, w = (x, y, 1), plus a constant.
Conic conicOf(const Mat3& p, const Mat3& k, double constant)
{
    Mat3 n{};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int u = 0; u < 3; ++u)
                for (int v = 0; v < 3; ++v)
                    n[i][j] += p[i][u] * k[u][v] * p[j][v];
    return {n[0][0], n[0][1], n[1][1], n[0][2], n[1][2], n[2][2] + constant};
}

// The primary rays' geometry over output pixel positions: P maps (x, y, 1) to the direction
// (perspective) or the origin (parallel) of the ray through that position.
struct RayFrame {
    bool perspective = true;
    Mat3 p{};
    Vec3 eye{};             // perspective: the eye the kernels use for D
    Vec3 direction{};       // parallel: the unit direction
    double reachMax = 0.0;  // the largest lane magnitude of what D is computed from
};

// The discriminant's form for the quadric Σ sᵢ·vᵢ² = 1, shifted by `margin` in D's units (per
// unit direction), so that {f ≥ 0} is where D ≥ −margin.
Conic discriminantConic(const RayFrame& rays, const Vec3& s, double eyeQuadric, double margin)
{
    Mat3 k{};
    if (rays.perspective) {
        // D·|v|² = (E·S·v)² − C·(v·S·v) for the unnormalised direction v.
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                k[i][j] = s[i] * rays.eye[i] * s[j] * rays.eye[j] - (i == j ? eyeQuadric * s[i] - margin : 0.0);
        return conicOf(rays.p, k, 0.0);
    }
    // D = (O·S·d)² − (O·S·O − 1)·A with A = d·S·d, for the origin O.
    const Vec3& d = rays.direction;
    const double a = d[0] * d[0] * s[0] + d[1] * d[1] * s[1] + d[2] * d[2] * s[2];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            k[i][j] = s[i] * d[i] * s[j] * d[j] - (i == j ? a * s[i] : 0.0);
    return conicOf(rays.p, k, a + margin);
}

// The margin that covers the kernels' rounding of D against the quadric s.
double roundingMargin(const RayFrame& rays, const Vec3& s)
{
    const double sMax = std::max({s[0], s[1], s[2]});
    const double o = rays.reachMax;
    const double largestTerms = (o * sMax) * (o * sMax) + (o * o * sMax + 1.0) * sMax;
    return kRoundingSafety * kFloatRounding * largestTerms;
}

// A conic region that is a bounded ellipse, with the rows where its leftmost and rightmost
// points lie.
struct Ellipse {
    Conic f{};
    bool empty = false;
    double top = 0, bottom = 0, yLeft = 0, yRight = 0;
};

std::optional<Ellipse> ellipseOf(const Conic& f)
{
    for (double v : {f.a, f.b, f.c, f.d, f.e, f.g})
        if (!std::isfinite(v))
            return std::nullopt;
    const double det = f.a * f.c - f.b * f.b;
    if (!(f.a < 0.0 && f.c < 0.0 && det > 1e-9 * (f.a * f.c + f.b * f.b)))
        return std::nullopt;
    Ellipse e;
    e.f = f;
    const double xc = (f.b * f.e - f.c * f.d) / det;
    const double yc = (f.b * f.d - f.a * f.e) / det;
    const double atCentre = f.g + f.d * xc + f.e * yc;
    if (!(atCentre > 0.0)) {
        e.empty = true;
        return e;
    }
    const double halfWidth = std::sqrt(atCentre * -f.c / det);
    const double halfHeight = std::sqrt(atCentre * -f.a / det);
    e.top = yc - halfHeight;
    e.bottom = yc + halfHeight;
    e.yRight = yc - halfWidth * f.b / f.c;
    e.yLeft = yc + halfWidth * f.b / f.c;
    if (!std::isfinite(e.top) || !std::isfinite(e.bottom) || !std::isfinite(e.yLeft) || !std::isfinite(e.yRight))
        return std::nullopt;
    return e;
}

// The columns where f ≥ 0 on row y; false when there are none (or, with `touching`, the
// single column where the row touches the ellipse).
bool rowInterval(const Conic& f, double y, bool touching, double& left, double& right)
{
    const double t = f.b * y + f.d;
    double disc = t * t - f.a * (f.c * y * y + 2.0 * f.e * y + f.g);
    if (disc < 0.0) {
        if (!touching)
            return false;
        disc = 0.0;
    }
    const double root = std::sqrt(disc);
    left = (-t + root) / f.a;
    right = (-t - root) / f.a;
    return true;
}

// A column in [0, width]; NaN, which no bound may rest on, is left to the callers.
A_long clampColumn(double x, A_long width) { return x > 0.0 ? A_long(std::min(x, double(width))) : 0; }

// Every column whose corner samples (x + 1/6 .. x + 5/6) may fall in the ellipse anywhere on
// the rows y0 .. y1. The rightmost point of the band is on the row nearest to the ellipse's
// rightmost point, since the right boundary is concave in y; likewise on the left.
ColumnSpan reachingSpan(const Ellipse& e, double y0, double y1, A_long width)
{
    const double ya = std::max(y0, e.top), yb = std::min(y1, e.bottom);
    if (e.empty || !(ya <= yb))
        return {};
    double left, right, unused;
    rowInterval(e.f, std::clamp(e.yLeft, ya, yb), true, left, unused);
    rowInterval(e.f, std::clamp(e.yRight, ya, yb), true, unused, right);
    if (std::isnan(left) || std::isnan(right))
        return {0, width};
    const ColumnSpan span{clampColumn(std::floor(left - kColumnSlack), width),
                          clampColumn(std::ceil(right + kColumnSlack) + 1.0, width)};
    return span.begin < span.end ? span : ColumnSpan{};
}

// Every column whose corner samples lie in the ellipse on all rows y0 .. y1: an ellipse is
// convex, so it is enough that they do on the first and the last.
ColumnSpan insideSpan(const Ellipse& e, double y0, double y1, A_long width)
{
    double l0, r0, l1, r1;
    if (e.empty || !rowInterval(e.f, y0, false, l0, r0) || !rowInterval(e.f, y1, false, l1, r1) ||
        std::isnan(l0 + r0 + l1 + r1))
        return {};
    const ColumnSpan span{clampColumn(std::ceil(std::max(l0, l1) + kColumnSlack), width),
                          clampColumn(std::floor(std::min(r0, r1) - kColumnSlack), width)};
    return span.begin < span.end ? span : ColumnSpan{};
}

// The primary rays of the output as the kernels cast them, or none when the camera's axes do
// not form a rigid frame (the margins assume they do).
std::optional<RayFrame> rayFrameOf(const RenderContext& ctx, A_long width, A_long height)
{
    const Vec3 r0 = rowOf(ctx.cameraToSphere, 0), r1 = rowOf(ctx.cameraToSphere, 1);
    const Vec3 r2 = rowOf(ctx.cameraToSphere, 2), r3 = rowOf(ctx.cameraToSphere, 3);
    const Vec3 rows[3] = {r0, r1, r2};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            if (!(std::abs(dot(rows[i], rows[j]) - (i == j ? 1.0 : 0.0)) < kRigidTolerance))
                return std::nullopt;
    if (!finite(r3))
        return std::nullopt;

    // x' = (x / downsampleX − viewCenterX)·pixelAspect and y' = y / downsampleY − viewCenterY.
    const double sx = ctx.pixelAspect / ctx.downsampleX, ox = -ctx.viewCenterX * ctx.pixelAspect;
    const double sy = 1.0 / ctx.downsampleY, oy = -double(ctx.viewCenterY);
    const double xMax = std::max(std::abs(ox), std::abs(sx * width + ox));
    const double yMax = std::max(std::abs(oy), std::abs(sy * height + oy));

    RayFrame rays;
    rays.perspective = ctx.perspective;
    if (ctx.perspective) {
        rays.p = {r0 * sx, r1 * sy, r0 * ox + r1 * oy + r2 * -double(ctx.viewPlaneZ)};
        rays.eye = {ctx.cameraOrigin[0], ctx.cameraOrigin[1], ctx.cameraOrigin[2]};
        rays.reachMax = norm(rays.eye);
    } else {
        const double reach = std::max({std::abs(ctx.radius.x), std::abs(ctx.radius.y), std::abs(ctx.radius.z)});
        rays.p = {r0 * sx, r1 * sy, r0 * ox + r1 * oy + r2 * -reach + r3};
        rays.direction = r2 * (1.0 / norm(r2));
        rays.reachMax = xMax + yMax + reach + norm(r3);
    }
    for (const Vec3& row : rays.p)
        if (!finite(row))
            return std::nullopt;
    return rays;
}

// B, and with it the closest approach t* = B / A of the empty-pixel test, keeps one sign with
// room to spare over the whole frame. (Where B is exactly zero the test could write a depth of
// −0, which counts as a surface; such pixels must take the full path.)
bool closestApproachKeepsSign(const RayFrame& rays, const Vec3& s, A_long width, A_long height)
{
    const Vec3 weight = rays.perspective ? Vec3{rays.eye[0] * s[0], rays.eye[1] * s[1], rays.eye[2] * s[2]}
                                         : Vec3{rays.direction[0] * s[0], rays.direction[1] * s[1], rays.direction[2] * s[2]};
    int positive = 0, negative = 0;
    for (double x : {0.0, double(width)})
        for (double y : {0.0, double(height)}) {
            const Vec3 v = rays.p[0] * x + rays.p[1] * y + rays.p[2];
            const double b = dot(v, weight);
            const double scale = norm(v) * norm(weight);
            positive += b > 1e-3 * scale ? 1 : 0;
            negative += b < -1e-3 * scale ? 1 : 0;
        }
    return positive == 4 || negative == 4;
}

// The radius about the centre within which a ray must pass for blur to reach its pixel: the
// empty-pixel test lets blur through only where |P| < max(a, b, c) + K·t* / Z, and t* is
// bounded by |P| and the ray's origin.
std::optional<double> blurReachRadius(const RenderContext& ctx, const RayFrame& rays, double maxRadius,
                                      A_long width, A_long height)
{
    const double k = ctx.blurScale, z = std::abs(double(ctx.viewPlaneZ));
    if (!(k >= 0.0 && z > 0.0 && k < kMaxBlurToZoom * z && std::isfinite(k) && std::isfinite(z)))
        return std::nullopt;
    double reach;
    if (rays.perspective) {
        // t* = |P − E| ≤ |P| + |E|, so t* < (R + |E|) / (1 − K/Z) wherever blur can reach.
        const double farthest = (maxRadius + norm(rays.eye)) / (1.0 - k / z);
        reach = maxRadius + k * farthest / z;
    } else {
        // t* ≤ |P| + |O|, and |O| is at most the line's distance from the centre plus the
        // origin's reach along the rays.
        double along = 0.0;
        for (double x : {0.0, double(width)})
            for (double y : {0.0, double(height)})
                along = std::max(along, std::abs(dot(rays.p[0] * x + rays.p[1] * y + rays.p[2], rays.direction)));
        reach = (maxRadius + k * along / z) / (1.0 - 2.0 * k / z);
    }
    reach = reach * (1.0 + kReachSlack) + 1.0;
    if (!std::isfinite(reach))
        return std::nullopt;
    return reach;
}

bool boundsAreTrusted(const RenderContext& ctx)
{
    const Vec4 r = ctx.radius, s = ctx.invRadiusSq;
    for (float v : {r.x, r.y, r.z, s.x, s.y, s.z})
        if (!(std::isfinite(v) && v != 0.0f))
            return false;
    if (!(s.x > 0.0f && s.y > 0.0f && s.z > 0.0f))
        return false;
    if (!(std::abs(ctx.openScale) <= kMaxOpenScale))
        return false;
    if (!(ctx.downsampleX > 0.0 && ctx.downsampleY > 0.0 && ctx.pixelAspect > 0.0) ||
        !std::isfinite(ctx.downsampleX + ctx.downsampleY + ctx.pixelAspect))
        return false;
    if (!std::isfinite(ctx.viewCenterX + ctx.viewCenterY + ctx.viewPlaneZ))
        return false;
    if (ctx.perspective && !(ctx.cameraQuadric > kMinEyeQuadric && ctx.viewPlaneZ != 0.0f))
        return false;
    return true;
}

} // namespace

void boundSilhouette(RenderContext& ctx)
{
    // The reference build of the effect (OrbulonReference.so) never bounds: every pixel takes
    // the full path there.
    if (!kShortcuts)
        return;
    const PF_EffectWorld* out = ctx.outputWorld;
    if (!out || out->width <= 0 || out->height <= 0 || !boundsAreTrusted(ctx))
        return;
    const A_long width = out->width, height = out->height;
    const std::optional<RayFrame> rays = rayFrameOf(ctx, width, height);
    if (!rays)
        return;

    const Vec3 s{ctx.invRadiusSq.x, ctx.invRadiusSq.y, ctx.invRadiusSq.z};
    const double margin = roundingMargin(*rays, s);
    const std::optional<Ellipse> reached = ellipseOf(discriminantConic(*rays, s, ctx.cameraQuadric, margin));
    const std::optional<Ellipse> inside = ellipseOf(discriminantConic(*rays, s, ctx.cameraQuadric, -margin));
    if (!reached)
        return;

    std::optional<Ellipse> blur;
    if (ctx.depthOfFieldActive && closestApproachKeepsSign(*rays, s, width, height)) {
        const double maxRadius = std::max({std::abs(ctx.radius.x), std::abs(ctx.radius.y), std::abs(ctx.radius.z)});
        if (const std::optional<double> reach = blurReachRadius(ctx, *rays, maxRadius, width, height)) {
            const double q = 1.0 / (*reach * *reach);
            const Vec3 sphere{q, q, q};
            const double eyeQuadric = dot(rays->eye, rays->eye) * q - 1.0;
            if (!rays->perspective || eyeQuadric > kMinEyeQuadric)
                blur = ellipseOf(discriminantConic(*rays, sphere, eyeQuadric, roundingMargin(*rays, sphere)));
        }
    }

    auto* rows = static_cast<SilhouetteRow*>(allocateHostBlock(ctx.inData, sizeof(SilhouetteRow) * std::size_t(height)));
    if (!rows)
        return;
    for (A_long y = 0; y < height; ++y) {
        // The band of rows that holds the pixel's corner samples, y + 1/6 and y + 5/6.
        const double y0 = y - kRowSlack, y1 = y + 1.0 + kRowSlack;
        SilhouetteRow& row = rows[y];
        row.touched = reachingSpan(*reached, y0, y1, width);
        row.covered = inside ? insideSpan(*inside, y0, y1, width) : ColumnSpan{};
        // Without depth of field nothing is blurred; without a bound on blur it may reach anywhere.
        row.blurred = row.touched;
        if (ctx.depthOfFieldActive) {
            const ColumnSpan reach = blur ? reachingSpan(*blur, y0, y1, width) : ColumnSpan{0, width};
            if (reach.begin < reach.end)
                row.blurred = row.touched.begin < row.touched.end
                                  ? ColumnSpan{std::min(reach.begin, row.touched.begin), std::max(reach.end, row.touched.end)}
                                  : reach;
        }
    }
    ctx.silhouette = {height, rows};
}

void releaseSilhouette(RenderContext& ctx)
{
    releaseHostBlock(ctx.inData, ctx.silhouette.row);
    ctx.silhouette = {};
}
