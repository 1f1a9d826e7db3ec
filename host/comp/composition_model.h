// The composition as the host models it: layers top to bottom with their 3-D transforms,
// camera and light settings, times and switches. Scene files fill it; the AEGP suites serve
// it to effects. Coordinates are composition pixels: +x right, +y down, +z away from the
// viewer; matrices are row-vector (p' = p·M) with the translation in row 3.
#pragma once

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace orbhost {

struct Vec3 {
    double x = 0, y = 0, z = 0;
};

// A property that may be keyframed: keys sorted by composition time in seconds, interpolated
// linearly; a single key is a constant.
template <class T>
struct Animated {
    std::vector<std::pair<double, T>> keys;
    Animated() = default;
    Animated(T constant) : keys{{0.0, constant}} {}   // NOLINT: a plain value is a constant property
    T at(double seconds) const;   // linear between keys, held outside them; T{} without keys
};
// Defined in animated.cpp for the value types properties use.
extern template struct Animated<double>;
extern template struct Animated<Vec3>;
extern template struct Animated<std::array<double, 3>>;

enum class LayerKind { Solid, Image, Null, Camera, Light };
// Values as the host's AEGP_CameraType and AEGP_LightType number them.
enum class CameraType { Perspective = 0, Orthographic = 1 };
enum class LightType { Parallel = 0, Spot = 1, Point = 2, Ambient = 3 };

struct LayerTransform {
    Animated<Vec3> anchorPoint;                        // layer pixels
    Animated<Vec3> position;                           // composition (or parent) pixels
    Animated<Vec3> scale{Vec3{100, 100, 100}};         // percent
    Animated<Vec3> orientation;                        // degrees
    Animated<double> rotationX, rotationY, rotationZ;  // degrees
    bool hasPointOfInterest = false;                   // cameras and lights aim at it (auto-orient)
    Animated<Vec3> pointOfInterest;                    // same space as position
};

struct CameraSettings {
    CameraType type = CameraType::Perspective;
    Animated<double> zoom{0.0};            // pixels; 0 until set: the scene reader puts in the default distance
    Animated<double> depthOfField{0.0};    // 0 off, 1 on
    Animated<double> focusDistance{0.0};   // pixels
    Animated<double> aperture{0.0};        // pixels
    Animated<double> blurLevel{100.0};     // percent
};

struct LightSettings {
    LightType type = LightType::Point;
    Animated<double> intensity{100.0};                        // percent
    Animated<std::array<double, 3>> color{{1.0, 1.0, 1.0}};   // r, g, b in 0..1
    Animated<double> coneAngle{90.0};                         // degrees, full cone
    Animated<double> coneFeather{50.0};                       // percent
    Animated<double> castsShadows{0.0};                       // 0 / 1
    Animated<double> shadowDarkness{100.0};                   // percent
    Animated<double> shadowDiffusion{0.0};                    // pixels
};

struct LayerModel {
    std::string name;          // the layer's own name; empty when the user never named it
    std::string sourceName;    // its source's name (an image layer's file name, a solid's name)
    LayerKind kind = LayerKind::Solid;
    double inPoint = 0;        // composition seconds
    double duration = 0;       // composition seconds; visible on [inPoint, inPoint + duration)
    bool videoOn = true;       // the video (eye) switch
    bool threeD = false;       // 3-D layer switch (cameras and lights are always 3-D)
    int parent = -1;           // index of the parent layer, -1 for none
    int width = 0, height = 0; // source size in pixels (solids and images)
    double pixelAspect = 1.0;  // source pixel aspect
    LayerTransform transform;
    CameraSettings camera;     // cameras only
    LightSettings light;       // lights only

    // The name the user sees: its own, or its source's when it has none.
    const std::string& displayName() const { return name.empty() ? sourceName : name; }
};

struct CompositionModel {
    int width = 0, height = 0;
    double pixelAspect = 1.0, frameRate = 25.0, duration = 1.0;
    std::vector<LayerModel> layers;      // index 0 = topmost
    double defaultCameraDistance = 0;    // 0: width · 50 / 36 (a 50 mm lens on 36 mm film)
};

using Matrix4 = std::array<std::array<double, 4>, 4>;

// Whether the layer shows at that composition time: video on and inPoint ≤ t < inPoint + duration.
bool isActiveAt(const LayerModel& layer, double seconds);

// The distance of the composition's default camera from the image plane, in pixels.
double defaultCameraDistance(const CompositionModel& comp);

// Layer space → world: T(−anchor)·S·Rz·Ry·Rx·R(orientation)·R_aim·T(position), then the
// parents' matrices. World x is in composition pixels, layer x in source pixels; the turns are
// done in square units between the two (layer_to_world.cpp). A bad index gives the identity.
Matrix4 layerToWorld(const CompositionModel& comp, int layer, double seconds);

// The camera that views the composition: the topmost active camera layer, or -1 for none.
int effectCamera(const CompositionModel& comp, double seconds);

}  // namespace orbhost
