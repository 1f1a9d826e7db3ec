#include "render/vector_matrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iostream>
#include <random>

namespace {

constexpr unsigned kSeed = 20240611u;

TEST(VectorMatrix, NormalisedVectorsHaveUnitLength)
{
    std::cout << "random seed " << kSeed << '\n';
    std::mt19937 rng(kSeed);
    std::uniform_real_distribution<float> coord(-1000.0f, 1000.0f);
    for (int i = 0; i < 10000; ++i) {
        const Vec4 v{coord(rng), coord(rng), coord(rng), 1.0f};
        const Vec4 n = normalize3(v);
        const double len = std::sqrt(double(n.x) * n.x + double(n.y) * n.y + double(n.z) * n.z);
        // One Newton step leaves a relative error near 1e-7 plus float rounding.
        ASSERT_NEAR(len, 1.0, 2e-6) << "seed " << kSeed << " case " << i << " v=(" << v.x
                                    << ", " << v.y << ", " << v.z << ")";
        ASSERT_EQ(n.w, 1.0f);
    }
}

Matrix4 rotationScaleTranslation(std::mt19937& rng)
{
    std::uniform_real_distribution<float> angle(-3.14159f, 3.14159f), scale(0.2f, 5.0f),
        offset(-2000.0f, 2000.0f);
    const float a = angle(rng), b = angle(rng);
    Matrix4 rz = identityMatrix(), rx = identityMatrix(), s = identityMatrix(), t = identityMatrix();
    rz.m[0][0] = std::cos(a), rz.m[0][1] = std::sin(a), rz.m[1][0] = -std::sin(a), rz.m[1][1] = std::cos(a);
    rx.m[1][1] = std::cos(b), rx.m[1][2] = std::sin(b), rx.m[2][1] = -std::sin(b), rx.m[2][2] = std::cos(b);
    s.m[0][0] = scale(rng), s.m[1][1] = scale(rng), s.m[2][2] = scale(rng);
    t.m[3][0] = offset(rng), t.m[3][1] = offset(rng), t.m[3][2] = offset(rng);
    return s * rz * rx * t;
}

TEST(VectorMatrix, InverseTimesMatrixIsIdentity)
{
    std::cout << "random seed " << kSeed << '\n';
    std::mt19937 rng(kSeed);
    for (int n = 0; n < 1000; ++n) {
        const Matrix4 m = rotationScaleTranslation(rng);
        const Matrix4 p = inverseMatrix(m) * m;
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) {
                // The translation row meets offsets up to a few thousand pixels.
                const float tol = i == 3 ? 2e-3f : 1e-5f;
                ASSERT_NEAR(p.m[i][j], i == j ? 1.0f : 0.0f, tol)
                    << "seed " << kSeed << " matrix " << n << " inverse*m [" << i << "][" << j << "]";
            }
    }
}

TEST(VectorMatrix, PointsAndDirectionsMapThroughRowVectorTransform)
{
    // A quarter turn about z (x axis → y axis), then a move by (10, 20, 30).
    Matrix4 m = identityMatrix();
    m.m[0][0] = 0, m.m[0][1] = 1, m.m[1][0] = -1, m.m[1][1] = 0;
    m.m[3][0] = 10, m.m[3][1] = 20, m.m[3][2] = 30;

    const Vec4 p = transformPoint({2, 3, 4, 1}, m), d = transformDirection({2, 3, 4, 0}, m);
    EXPECT_TRUE(p.x == 7 && p.y == 22 && p.z == 34 && p.w == 1) << p.x << ' ' << p.y << ' ' << p.z;
    EXPECT_TRUE(d.x == -3 && d.y == 2 && d.z == 4 && d.w == 0) << d.x << ' ' << d.y << ' ' << d.z;
}

} // namespace
