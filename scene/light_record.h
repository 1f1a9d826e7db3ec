// One composition light as the shading kernels read it, and the list that holds them.
// Records and the list's pointer array live in host memory handles (see light_list.h).
#pragma once
#include "render/colour_pixel.h"
#include "render/vector_matrix.h"

namespace AEO {
class HostAccess;
}

// A light in the sphere's own frame: row 3 of lightToSphere is its position, row 2 the
// light layer's local z axis (the way it points).
struct alignas(16) LightRecord {
    Matrix4 lightToSphere;
    Colour color;             // as the host's colour stream gives them
    A_long lightType;         // AEGP_LightType: 0 parallel, 1 spot, 2 point, 3 ambient
    double intensity;         // fraction: 1.0 = 100 %
    double cosHalfCone;       // cosine of half the cone angle
    double coneFeather;       // fraction
    float shadowDarkness;     // fraction in [0, 1]
    double shadowDiffusion;   // composition pixels, as the host gives it
    bool castsShadows;
};
static_assert(sizeof(LightRecord) == 144 && alignof(LightRecord) == 16);

// A growable array of record pointers. It grows by exactly one slot at a time.
struct LightList {
    A_long capacity = 0;
    A_long count = 0;
    LightRecord** items = nullptr;
    AEO::HostAccess* allocator = nullptr;
};
