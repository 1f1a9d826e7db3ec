// 4×4 matrices in the composition's row-vector convention (p' = p·M, translation in row 3)
// and the elementary transforms that layer matrices are built from. Angles are in degrees,
// as the host's streams give them.
#pragma once

#include "host/comp/composition_model.h"

#include <cmath>
#include <numbers>

namespace orbhost {

inline Matrix4 identityMatrix() {
    return {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
}

// a·b: a point goes through a first, then b.
inline Matrix4 multiply(const Matrix4& a, const Matrix4& b) {
    Matrix4 product{};
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 4; ++column)
            for (int k = 0; k < 4; ++k) product[row][column] += a[row][k] * b[k][column];
    return product;
}

inline Matrix4 translation(Vec3 offset) {
    Matrix4 m = identityMatrix();
    m[3] = {offset.x, offset.y, offset.z, 1};
    return m;
}

inline Matrix4 scaling(Vec3 factor) {
    Matrix4 m = identityMatrix();
    m[0][0] = factor.x;
    m[1][1] = factor.y;
    m[2][2] = factor.z;
    return m;
}

inline double radiansFromDegrees(double degrees) { return degrees * std::numbers::pi / 180.0; }

// Right-handed turns about the composition axes; with y down, a positive Z turn sends +x
// towards +y (clockwise on screen).
inline Matrix4 rotationX(double degrees) {
    const double c = std::cos(radiansFromDegrees(degrees)), s = std::sin(radiansFromDegrees(degrees));
    return {{{1, 0, 0, 0}, {0, c, s, 0}, {0, -s, c, 0}, {0, 0, 0, 1}}};
}

inline Matrix4 rotationY(double degrees) {
    const double c = std::cos(radiansFromDegrees(degrees)), s = std::sin(radiansFromDegrees(degrees));
    return {{{c, 0, -s, 0}, {0, 1, 0, 0}, {s, 0, c, 0}, {0, 0, 0, 1}}};
}

inline Matrix4 rotationZ(double degrees) {
    const double c = std::cos(radiansFromDegrees(degrees)), s = std::sin(radiansFromDegrees(degrees));
    return {{{c, s, 0, 0}, {-s, c, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}};
}

// A point (w = 1) through m.
inline Vec3 transformPoint(Vec3 p, const Matrix4& m) {
    return {p.x * m[0][0] + p.y * m[1][0] + p.z * m[2][0] + m[3][0],
            p.x * m[0][1] + p.y * m[1][1] + p.z * m[2][1] + m[3][1],
            p.x * m[0][2] + p.y * m[1][2] + p.z * m[2][2] + m[3][2]};
}

}  // namespace orbhost
