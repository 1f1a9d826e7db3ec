// Where the ellipsoid stands, how it is turned and how large it is, either from the
// effect's own controls or from a control layer's transform; then the opening about the
// pivot. Each step keeps its own precision: angles and the frame in single precision, the
// pivot's surface point in double, the semi-axes' shape factors in double.
#include "AEO/composition.h"
#include "AEO/interface.h"
#include "AEO/layer.h"
#include "scene/host_math.h"
#include "scene/param_values.h"
#include "scene/pixel_aspect.h"
#include "scene/scene_assembly.h"

#include <algorithm>
#include <cmath>

namespace {

// Just short of a quarter turn, so that an "Open Parameter" of exactly 1 stays finite.
constexpr double kNearlyQuarterTurn = 1.5707723583450859;
constexpr double kOpenScaleLimit = 10000.0;

struct Frame {
    Vec4 rows[3];   // orientation: images of the x, y and z axes
    Vec4 origin;    // T
    Vec4 radius;    // semi-axes before the opening
};

double openScaleOf(const PF_InData* in, double p, bool& inverted)
{
    inverted = false;
    double scale;
    if (p < 1.0) {
        scale = hostTan(in, p * kPi * 0.5) + 1.0;
    } else if (p == 1.0) {
        scale = hostTan(in, kNearlyQuarterTurn) + 1.0;
    } else {
        const double t = hostTan(in, p * kPi * 0.5) - 1.0;
        scale = t > 0.0 ? t : -t;
        inverted = true;
    }
    return std::clamp(scale, -kOpenScaleLimit, kOpenScaleLimit);
}

Matrix4 rotationRows(float x, float y, float z)
{
    const float cx = std::cos(x), sx = std::sin(x);
    const float cy = std::cos(y), sy = std::sin(y);
    const float cz = std::cos(z), sz = std::sin(z);
    Matrix4 rx, ry, rz;
    rx.m[0][0] = 1.0f, rx.m[1][1] = cx, rx.m[1][2] = sx, rx.m[2][1] = -sx, rx.m[2][2] = cx;
    ry.m[0][0] = cy, ry.m[0][2] = -sy, ry.m[1][1] = 1.0f, ry.m[2][0] = sy, ry.m[2][2] = cy;
    rz.m[0][0] = cz, rz.m[0][1] = sz, rz.m[1][0] = -sz, rz.m[1][1] = cz, rz.m[2][2] = 1.0f;
    // Row vectors: a point is turned about Z first, then Y, then X.
    return rz * ry * rx;
}

Vec4 row(const Matrix4& m, int i) { return {m.m[i][0], m.m[i][1], m.m[i][2], m.m[i][3]}; }

Frame frameFromControls(ParamValues& params, const RenderContext& ctx)
{
    Frame f;
    const Matrix4 turn = rotationRows(float(params.rawFixed(PARAM_ROTATION_X)) * kFixedToRealF * kDegreesToRadiansF,
                                      float(params.rawFixed(PARAM_ROTATION_Y)) * kFixedToRealF * kDegreesToRadiansF,
                                      float(params.rawFixed(PARAM_ROTATION_Z)) * kFixedToRealF * kDegreesToRadiansF);
    for (int i = 0; i < 3; ++i) {
        f.rows[i] = row(turn, i);
        f.rows[i].w = 0.0f;
    }
    // The point is in pixels of the layer as buffered; depth is never downsampled.
    const PF_PointDef position = params.point(PARAM_POSITION_XY);
    f.origin = {float(position.x_value * kFixedToReal / ctx.downsampleX),
                float(position.y_value * kFixedToReal / ctx.downsampleY),
                float(params.fixed(PARAM_POSITION_Z)), 1.0f};

    // The sliders reshape the sphere at constant volume: the product of the semi-axes stays R³.
    const double r = params.floatSlider(PARAM_RADIUS);
    const double t5 = std::tan((params.fixed(PARAM_ELLIPSE_Z_XY) + 1.0) * kPi * 0.25);
    const double t6 = std::tan((params.fixed(PARAM_ELLIPSE_X_Y) + 1.0) * kPi * 0.25);
    const double q = std::sqrt(t5);
    f.radius = {float(r / q * t6), float(r / q / t6), float(r * t5), 0.0f};
    return f;
}

// The control layer's scale becomes the semi-axes (100 % = 100 pixels), its rotation the
// orientation and its position the centre. A query that fails leaves its default: a zero
// matrix; no correction for the source's pixels; and for the layer's composition a width of 0
// and a ratio of {0, 1}, which collapses the x column.
Frame frameFromLayer(PF_InData* in, RenderContext& ctx, AEGP_LayerH layerHandle)
{
    AEO::Interface effect(in);
    const A_Time compTime = effect.compTime(in->current_time, in->time_scale);

    AEO::Layer layer(ctx.hostAccess, layerHandle);
    A_Matrix4 m = layer.toWorld(compTime);
    if (const AEGP_ItemH source = layer.sourceItem()) {
        AEO::Item item(in, source);
        const A_Ratio sourceAspect = item.pixelAspectRatio();
        if (sourceAspect.num != 0) {
            const double ratio = ratioValue(sourceAspect);
            for (int j = 0; j < 3; ++j) {
                m.mat[0][j] /= ratio;
            }
        }
    }
    // Applied whatever failed before: the matrix is in composition pixels either way.
    AEO::Composition comp(in, layer.parentComp());
    AEO::Item compItem(in, comp.item());
    correctPixelAspect(m, ratioValue(compItem.pixelAspectRatio()), compItem.width());

    const Matrix4 narrow = narrowMatrix(m);
    Frame f;
    float s[3];
    for (int i = 0; i < 3; ++i) {
        Vec4 r = row(narrow, i);
        s[i] = std::sqrt(r.x * r.x + r.y * r.y + r.z * r.z + r.w * r.w);
        // Each component divided by the length: a multiplication by its reciprocal can be
        // off in the last bit.
        if (s[i] > 0.0f) {
            r = {r.x / s[i], r.y / s[i], r.z / s[i], r.w / s[i]};
        }
        f.rows[i] = r;
    }
    f.origin = row(narrow, 3);

    const double g = std::pow(double(s[0]) * s[1] * s[2], 1.0 / 3.0);
    const double r = 100.0 * g > 1.0 ? 100.0 * g : 1.0;
    const double zr = s[2] / (r / 100.0);
    const double a = s[1] == 0.0f ? 1.0 : std::sqrt(double(s[0]) / s[1]);
    const double q = std::sqrt(zr);
    f.radius = {float(r / q * a), float(r / q / a), float(r * zr), 0.0f};
    return f;
}

Vec4 inverseOrZero(Vec4 r)
{
    return {r.x != 0.0f ? 1.0f / r.x : 0.0f, r.y != 0.0f ? 1.0f / r.y : 0.0f, r.z != 0.0f ? 1.0f / r.z : 0.0f, 0.0f};
}

Vec4 squared(Vec4 v) { return {v.x * v.x, v.y * v.y, v.z * v.z, v.w * v.w}; }

Vec4 turned(Vec4 v, const Frame& f) { return f.rows[0] * v.x + f.rows[1] * v.y + f.rows[2] * v.z; }

// Reflects the frame across the plane through the pivot with normal n: the pivot stays, the
// ellipsoid now bulges the other way.
void mirrorAtPivot(Frame& f, Vec4& pivot, Vec4 n)
{
    for (Vec4& r : f.rows) {
        r = r - n * (2.0f * dot3(r, n));
        r.w = 0.0f;
    }
    const float along = 2.0f * dot3(pivot, n);
    f.origin = f.origin + Vec4{n.x * along, n.y * along, n.z * along, 0.0f};
    pivot = pivot - Vec4{n.x * along, n.y * along, n.z * along, 0.0f};
}

} // namespace

PF_Err placeSphere(PF_InData* in, RenderContext& ctx)
{
    ParamValues params(in);

    ctx.slideTurns = params.fixed(PARAM_SLIDE_TEXTURE) / 360.0;
    bool inverted = false;
    ctx.openScale = openScaleOf(in, params.fixed(PARAM_OPEN_PARAMETER), inverted);
    ctx.openInverted = inverted;
    ctx.fixedPointU = params.fixed(PARAM_FIXED_POINT_U);
    ctx.fixedPointV = params.fixed(PARAM_FIXED_POINT_V);

    const PF_LayerDef texture = params.layer(PARAM_TEXTURE);
    if (texture.data) {
        ctx.textureWidth = texture.width / ctx.downsampleX;
        ctx.textureHeight = texture.height / ctx.downsampleY;
    } else {
        ctx.textureWidth = in->width;
        ctx.textureHeight = in->height;
    }

    // A chosen layer parameter carries the layer's handle in its first reserved field.
    const auto control = static_cast<AEGP_LayerH>(params.layer(PARAM_CONTROL_LAYER).reserved0);
    Frame f = control ? frameFromLayer(in, ctx, control) : frameFromControls(params, ctx);

    Vec4 invRadius = inverseOrZero(f.radius);
    Vec4 invRadiusSq = squared(invRadius);

    // The pivot: the surface point at (U, V), the inverse of the texture mapping.
    const double theta = (1.0 - ctx.fixedPointV) * kPi;
    const double phi = (1.0 - ctx.fixedPointU) * 2.0 * kPi;
    const Vec4 local{float(f.radius.x * std::sin(theta) * std::cos(phi)),
                     float(f.radius.y * std::sin(theta) * std::sin(phi)), float(f.radius.z * std::cos(theta)), 0.0f};
    const Vec4 normal =
        normalize3(turned({local.x * invRadiusSq.x, local.y * invRadiusSq.y, local.z * invRadiusSq.z, 0.0f}, f));
    Vec4 pivot = turned(local, f);

    if (ctx.openInverted) {
        mirrorAtPivot(f, pivot, normal);
    }
    // Growing by openScale about the pivot keeps the pivot where it is.
    const float toPivot = float(1.0 - ctx.openScale);
    f.origin = f.origin + Vec4{pivot.x * toPivot, pivot.y * toPivot, pivot.z * toPivot, 0.0f};

    Matrix4 toWorld;
    for (int i = 0; i < 3; ++i) {
        toWorld.m[i][0] = f.rows[i].x, toWorld.m[i][1] = f.rows[i].y, toWorld.m[i][2] = f.rows[i].z;
        toWorld.m[i][3] = 0.0f;
    }
    toWorld.m[3][0] = f.origin.x, toWorld.m[3][1] = f.origin.y, toWorld.m[3][2] = f.origin.z, toWorld.m[3][3] = 1.0f;
    ctx.sphereToWorld = toWorld;
    ctx.worldToSphere = inverseMatrix(toWorld);

    // After the opening x and y are inverted without a zero test (a zero radius gives
    // infinities there) while z keeps 0 for a flat ellipsoid: the ray test relies on both.
    const float scale = float(ctx.openScale);
    ctx.radius = f.radius * scale;
    ctx.radiusSq = squared(ctx.radius);
    ctx.invRadius = {1.0f / ctx.radius.x, 1.0f / ctx.radius.y, ctx.radius.z > 0.0f ? 1.0f / ctx.radius.z : 0.0f, 0.0f};
    ctx.invRadiusSq = squared(ctx.invRadius);
    return PF_Err_NONE;
}
