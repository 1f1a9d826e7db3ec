// Layer space → world (composition) space.
//
// Pixel aspect. World x is measured in composition pixels, which are pixelAspect square units
// wide; a layer's own x is measured in its source pixels. Turning about Z or Y only keeps shapes
// when done in square units, so each local matrix works in square units in the middle of its
// chain and converts at both ends:
//
//   worldFromLayer = T(−anchor) · Q(layer aspect) · S · R · R_aim · Q(1 / parent aspect) · T(position)
//
// with Q(a) = diag(a, 1, 1), "parent aspect" the parent layer's source aspect or, at the top,
// the composition's. When the aspects agree and nothing turns, the Q factors cancel and a
// position in composition pixels lands exactly there. An effect that wants square units
// divides row 0 by the layer's source aspect and scales the x column by the composition's
// aspect (about the frame centre for the translation); applied to this matrix that leaves the
// plain rotation and scale, which is the point of the construction. Cameras and lights have
// no source: their own aspect is 1.
#include "host/comp/composition_model.h"
#include "host/comp/matrix4.h"

#include <cmath>
#include <cstddef>
#include <vector>

namespace orbhost {
namespace {

Vec3 operator-(Vec3 a, Vec3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
Vec3 operator*(Vec3 a, double f) { return {a.x * f, a.y * f, a.z * f}; }
double length(Vec3 v) { return std::sqrt(v.x * v.x + v.y * v.y + v.z * v.z); }
Vec3 cross(Vec3 a, Vec3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

bool hasSource(const LayerModel& layer) {
    return layer.kind != LayerKind::Camera && layer.kind != LayerKind::Light;
}

double usableAspect(double aspect) { return aspect > 0 && std::isfinite(aspect) ? aspect : 1.0; }

// Width of one unit of the layer's own x axis, in square units.
double ownAspect(const LayerModel& layer) {
    return hasSource(layer) ? usableAspect(layer.pixelAspect) : 1.0;
}

Matrix4 aspectScaling(double aspect) { return scaling({aspect, 1, 1}); }

// The turn that points local +z along `direction` (square units) while keeping local x level
// (no roll). Looking straight along ±y leaves no level x: x = +x then. No direction, no turn.
Matrix4 aimRotation(Vec3 direction) {
    const double distance = length(direction);
    if (!(distance > 0) || !std::isfinite(distance)) return identityMatrix();
    const Vec3 z = direction * (1.0 / distance);
    Vec3 x = cross({0, 1, 0}, z);
    const double xLength = length(x);
    x = xLength > 1e-12 ? x * (1.0 / xLength) : Vec3{1, 0, 0};
    const Vec3 y = cross(z, x);
    return {{{x.x, x.y, x.z, 0}, {y.x, y.y, y.z, 0}, {z.x, z.y, z.z, 0}, {0, 0, 0, 1}}};
}

// parentFromLayer for one layer; `parentAspect` is the width of the parent space's x unit.
Matrix4 localMatrix(const LayerModel& layer, double seconds, double parentAspect) {
    const LayerTransform& t = layer.transform;
    const bool source = hasSource(layer);
    const bool flat = source && !layer.threeD;   // a 2-D layer: on the z = 0 plane, turns about Z only

    Vec3 anchor = source ? t.anchorPoint.at(seconds) : Vec3{};
    Vec3 scale = source ? t.scale.at(seconds) * 0.01 : Vec3{1, 1, 1};
    Vec3 position = t.position.at(seconds);
    if (flat) {
        anchor.z = 0;
        position.z = 0;
        scale.z = 1;   // keeps the matrix invertible; a flat layer's points have z = 0 anyway
    }

    Matrix4 m = multiply(translation(anchor * -1.0), aspectScaling(ownAspect(layer)));
    m = multiply(m, scaling(scale));
    m = multiply(m, rotationZ(t.rotationZ.at(seconds)));
    if (!flat) {
        const Vec3 orientation = t.orientation.at(seconds);
        m = multiply(m, rotationY(t.rotationY.at(seconds)));
        m = multiply(m, rotationX(t.rotationX.at(seconds)));
        m = multiply(m, rotationZ(orientation.z));
        m = multiply(m, rotationY(orientation.y));
        m = multiply(m, rotationX(orientation.x));
        if (t.hasPointOfInterest) {
            Vec3 direction = t.pointOfInterest.at(seconds) - position;
            direction.x *= parentAspect;
            m = multiply(m, aimRotation(direction));
        }
    }
    m = multiply(m, aspectScaling(1.0 / parentAspect));
    return multiply(m, translation(position));
}

}  // namespace

Matrix4 layerToWorld(const CompositionModel& comp, int layer, double seconds) {
    const auto count = static_cast<int>(comp.layers.size());
    Matrix4 world = identityMatrix();
    // Walk up the parents, each layer at most once: scenes reject cycles, but a model built
    // some other way must still give an answer.
    std::vector<bool> visited(comp.layers.size(), false);
    for (int current = layer; current >= 0 && current < count && !visited[current];) {
        visited[current] = true;
        const LayerModel& model = comp.layers[current];
        const int parent = model.parent;
        const bool hasParent = parent >= 0 && parent < count && !visited[parent];
        const double parentAspect =
            hasParent ? ownAspect(comp.layers[parent]) : usableAspect(comp.pixelAspect);
        world = multiply(world, localMatrix(model, seconds, parentAspect));
        current = hasParent ? parent : -1;
    }
    return world;
}

}  // namespace orbhost
