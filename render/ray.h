#pragma once
// A viewing or shadow ray in the sphere's own frame.

#include "render/vector_matrix.h"

struct Ray {
    Vec4 origin;      // w = 1
    Vec4 direction;   // unit length; w is not read
};

// The terms of the ray's intersection with the ellipsoid, t = (B ∓ √D) / A.
struct RayQuadratic {
    double a = 0.0;
    double b = 0.0;
    double discriminant = 0.0;
};

// O + t·d in single precision, with w = 1.
inline Vec4 pointAt(const Ray& ray, float t)
{
    Vec4 p = ray.origin + ray.direction * t;
    p.w = 1.0f;
    return p;
}

// Lane-by-lane product.
inline Vec4 hadamard(Vec4 a, Vec4 b) { return {a.x * b.x, a.y * b.y, a.z * b.z, a.w * b.w}; }
