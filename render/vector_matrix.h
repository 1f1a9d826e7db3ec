#pragma once
// Single-precision vectors and 4x4 matrices shared by scene assembly and the per-pixel
// kernels. Matrices are stored row by row and used with row vectors: a point p maps to p·M,
// rows 0 to 2 are the images of the x, y and z axes and row 3 is the translation.

#include "hostapi/host_api.h"

#include <cmath>

#if defined(__SSE__) || defined(_M_X64) || defined(_M_AMD64)
#include <xmmintrin.h>
#define ORBULON_HAVE_SSE 1
#endif

inline constexpr double kPi = 3.141592653589793;
// Degrees to radians: the double factor, and the float one the single-precision steps use.
inline constexpr double kDegreesToRadians = 0.017453292519943295;
inline constexpr float kDegreesToRadiansF = 0.017453292f;

// Four floats; w is 1 for points that translate and 0 for directions. Dot and cross products
// look at x, y and z only.
struct Vec4 {
    float x = 0.0f, y = 0.0f, z = 0.0f, w = 0.0f;
};

struct Matrix4 {
    float m[4][4] = {};
};

inline Vec4 operator+(Vec4 a, Vec4 b) { return {a.x + b.x, a.y + b.y, a.z + b.z, a.w + b.w}; }
inline Vec4 operator-(Vec4 a, Vec4 b) { return {a.x - b.x, a.y - b.y, a.z - b.z, a.w - b.w}; }
inline Vec4 operator*(Vec4 v, float s) { return {v.x * s, v.y * s, v.z * s, v.w * s}; }

// x·x' + y·y' + z·z'.
inline float dot3(Vec4 a, Vec4 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

// a × b with w = 0.
inline Vec4 cross3(Vec4 a, Vec4 b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x, 0.0f};
}

// 1/sqrt(q) as the processor estimates it (about 12 bits on x86); exact where there is no SSE.
inline float reciprocalSqrtEstimate(float q)
{
#ifdef ORBULON_HAVE_SSE
    return _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(q)));
#else
    return 1.0f / std::sqrt(q);
#endif
}

// v scaled to unit length in x, y, z (w is kept). The estimate gets one Newton–Raphson step,
// e' = 0.5·e·(3 − q·e·e), which roughly squares its relative error. A zero vector gives NaNs;
// callers that can meet one test the length first.
inline Vec4 normalize3(Vec4 v)
{
    const float q = dot3(v, v);
    const float e = reciprocalSqrtEstimate(q);
    const float s = (0.5f * e) * (3.0f - q * e * e);
    return {v.x * s, v.y * s, v.z * s, v.w};
}

inline Matrix4 identityMatrix()
{
    Matrix4 r;
    for (int i = 0; i < 4; ++i)
        r.m[i][i] = 1.0f;
    return r;
}

// a·b: applying the result is applying a, then b.
inline Matrix4 operator*(const Matrix4& a, const Matrix4& b)
{
    Matrix4 r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.m[i][j] = a.m[i][0] * b.m[0][j] + a.m[i][1] * b.m[1][j] + a.m[i][2] * b.m[2][j] +
                        a.m[i][3] * b.m[3][j];
    return r;
}

// (x, y, z, 1)·M with w forced to 1: the point moves with the translation.
inline Vec4 transformPoint(Vec4 p, const Matrix4& M)
{
    const auto& m = M.m;
    return {p.x * m[0][0] + p.y * m[1][0] + p.z * m[2][0] + m[3][0],
            p.x * m[0][1] + p.y * m[1][1] + p.z * m[2][1] + m[3][1],
            p.x * m[0][2] + p.y * m[1][2] + p.z * m[2][2] + m[3][2], 1.0f};
}

// (x, y, z, 0)·M: rotation and scale only, w = 0.
inline Vec4 transformDirection(Vec4 d, const Matrix4& M)
{
    const auto& m = M.m;
    return {d.x * m[0][0] + d.y * m[1][0] + d.z * m[2][0],
            d.x * m[0][1] + d.y * m[1][1] + d.z * m[2][1],
            d.x * m[0][2] + d.y * m[1][2] + d.z * m[2][2], 0.0f};
}

// Host matrices are double; the context keeps single precision.
inline Matrix4 narrowMatrix(const double (&src)[4][4])
{
    Matrix4 r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.m[i][j] = static_cast<float>(src[i][j]);
    return r;
}

inline Matrix4 narrowMatrix(const A_Matrix4& src) { return narrowMatrix(src.mat); }

inline A_Matrix4 widenMatrix(const Matrix4& src)
{
    A_Matrix4 r{};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            r.mat[i][j] = src.m[i][j];
    return r;
}

// M⁻¹ as adjugate / determinant, all in single precision. The twelve 2×2 minors of the top
// and bottom row pairs give every cofactor (Laplace expansion by complementary minors).
// There is no test for a zero determinant: a singular M yields infinities or NaNs, as the
// scene never builds one from a usable layer.
inline Matrix4 inverseMatrix(const Matrix4& M)
{
    const auto& a = M.m;
    // Minors of rows 0 and 1.
    const float s0 = a[0][0] * a[1][1] - a[1][0] * a[0][1];
    const float s1 = a[0][0] * a[1][2] - a[1][0] * a[0][2];
    const float s2 = a[0][0] * a[1][3] - a[1][0] * a[0][3];
    const float s3 = a[0][1] * a[1][2] - a[1][1] * a[0][2];
    const float s4 = a[0][1] * a[1][3] - a[1][1] * a[0][3];
    const float s5 = a[0][2] * a[1][3] - a[1][2] * a[0][3];
    // Minors of rows 2 and 3.
    const float c5 = a[2][2] * a[3][3] - a[3][2] * a[2][3];
    const float c4 = a[2][1] * a[3][3] - a[3][1] * a[2][3];
    const float c3 = a[2][1] * a[3][2] - a[3][1] * a[2][2];
    const float c2 = a[2][0] * a[3][3] - a[3][0] * a[2][3];
    const float c1 = a[2][0] * a[3][2] - a[3][0] * a[2][2];
    const float c0 = a[2][0] * a[3][1] - a[3][0] * a[2][1];

    const float det = s0 * c5 - s1 * c4 + s2 * c3 + s3 * c2 - s4 * c1 + s5 * c0;
    const float k = 1.0f / det;

    Matrix4 r;
    r.m[0][0] = (a[1][1] * c5 - a[1][2] * c4 + a[1][3] * c3) * k;
    r.m[0][1] = (-a[0][1] * c5 + a[0][2] * c4 - a[0][3] * c3) * k;
    r.m[0][2] = (a[3][1] * s5 - a[3][2] * s4 + a[3][3] * s3) * k;
    r.m[0][3] = (-a[2][1] * s5 + a[2][2] * s4 - a[2][3] * s3) * k;

    r.m[1][0] = (-a[1][0] * c5 + a[1][2] * c2 - a[1][3] * c1) * k;
    r.m[1][1] = (a[0][0] * c5 - a[0][2] * c2 + a[0][3] * c1) * k;
    r.m[1][2] = (-a[3][0] * s5 + a[3][2] * s2 - a[3][3] * s1) * k;
    r.m[1][3] = (a[2][0] * s5 - a[2][2] * s2 + a[2][3] * s1) * k;

    r.m[2][0] = (a[1][0] * c4 - a[1][1] * c2 + a[1][3] * c0) * k;
    r.m[2][1] = (-a[0][0] * c4 + a[0][1] * c2 - a[0][3] * c0) * k;
    r.m[2][2] = (a[3][0] * s4 - a[3][1] * s2 + a[3][3] * s0) * k;
    r.m[2][3] = (-a[2][0] * s4 + a[2][1] * s2 - a[2][3] * s0) * k;

    r.m[3][0] = (-a[1][0] * c3 + a[1][1] * c1 - a[1][2] * c0) * k;
    r.m[3][1] = (a[0][0] * c3 - a[0][1] * c1 + a[0][2] * c0) * k;
    r.m[3][2] = (-a[3][0] * s3 + a[3][1] * s1 - a[3][2] * s0) * k;
    r.m[3][3] = (a[2][0] * s3 - a[2][1] * s1 + a[2][2] * s0) * k;
    return r;
}
