// How much of each pixel the sphere covers: alpha against the nine-sample rule at the kernels'
// precision, and summed alpha against the disc the scene's camera must see.
#include "renderer/renderer_model.h"

using namespace rtest;
using asmtest::renderScene;

namespace {

struct CoverageCase {
    const char* name;
    bool perspective;
    double zoom, distance;   // camera layer; zoom 0: the composition's default camera
    Placement placement;
    int bitDepth;
    int downsample = 1;
};

// Each pixel's alpha is n/9 of its samples inside the silhouette, truncated to the output
// depth; summed alpha is the disc's area (radius r in a parallel view, zoom · r / √(d² − r²)
// for an eye at distance d on the axis) within a small share of its perimeter.
class Coverage : public asmtest::AssemblyParamTest<CoverageCase> {};

TEST_P(Coverage, AlphaIsTheShareOfSamplesInsideTheSilhouette)
{
    const CoverageCase& c = GetParam();
    const double zoom = c.zoom == 0 ? 160 * 50.0 / 36 : c.zoom, distance = c.zoom == 0 ? zoom : c.distance;
    const auto r = renderScene(geometryScene(c.placement, {}, c.zoom == 0 ? "" : cameraLayerJson(c.perspective, zoom, distance)),
                               {0, c.bitDepth, c.downsample, c.downsample});
    ASSERT_EQ(r.result, PF_Err_NONE);
    ASSERT_EQ(r.image.width, asmtest::kWidth / c.downsample);
    double sum = 0;
    int full = 0, partial = 0;
    compareWithModel(r.image, 1e-6, [&](int x, int y) {
        Rgba p = pixelAt(r.image, x, y);
        const int n = shot(r.ctx(), x, y).n;
        sum += p.a, full += n == 9, partial += n > 0 && n < 9;
        p.a = quantised(float(n) / 9.0f, c.bitDepth);
        return p;
    }, "alpha");
    EXPECT_GT(full, 1000 / (c.downsample * c.downsample));
    EXPECT_GT(partial, 50 / c.downsample);
    const Placement& p = c.placement;
    if (!c.perspective || (p.position[0] == 80 && p.position[1] == 60)) {
        const double d = p.position[2] + distance;
        const double R = (c.perspective ? zoom * p.radius / std::sqrt(d * d - p.radius * p.radius) : p.radius) / c.downsample;
        EXPECT_NEAR(sum, kPiD * R * R, 0.03 * 2 * kPiD * R) << "summed alpha against a disc of radius " << R;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Discs, Coverage,
    testing::Values(CoverageCase{"Parallel8", false, 300, 300, {40, {80, 60, 0}}, 8},
                    CoverageCase{"ParallelOffCentre16", false, 300, 300, {25.5, {61.25, 47.5, 30}}, 16},
                    CoverageCase{"DefaultCamera8", true, 0, 0, {40, {80, 60, 0}}, 8},
                    CoverageCase{"CloseCameraFloat", true, 120, 120, {40, {80, 60, 0}}, 32},
                    CoverageCase{"CloseCameraBehindPlane16", true, 120, 120, {30, {80, 60, 80}}, 16},
                    CoverageCase{"DefaultCameraOffAxisFloat", true, 0, 0, {30, {50, 75, -40}, {10, 20, 30}}, 32},
                    CoverageCase{"DefaultCameraHalfSize8", true, 0, 0, {40, {80, 60, 0}}, 8, 2},
                    CoverageCase{"ParallelQuarterSizeFloat", false, 300, 300, {44, {80, 60, 0}}, 32, 4}),
    [](const testing::TestParamInfo<CoverageCase>& i) { return std::string(i.param.name); });

// A sphere smaller than the corner samples' spacing, between them, leaves the pixel empty though
// the centre sample would hit; on a corner sample it shows as 1/9 of one pixel.
TEST(TinySphere, VanishesBetweenCornerSamplesAndShowsAsANinthOnOne)
{
    for (const double at : {0.5, 5.0 / 6}) {
        const Placement p{0.2, {80 + at, 60 + at, 0}, {90, 0, 0}};
        const auto r = renderScene(geometryScene(p, {}, cameraLayerJson(false, 300, 300)), {0, 32});
        ASSERT_EQ(r.result, PF_Err_NONE);
        double total = 0;
        for (std::size_t i = 3; i < r.image.rgba.size(); i += 4)
            total += r.image.rgba[i];
        EXPECT_FLOAT_EQ(float(total), at == 0.5 ? 0.0f : 1.0f / 9.0f) << "sphere at +" << at;
        EXPECT_FLOAT_EQ(pixelAt(r.image, 80, 60).a, at == 0.5 ? 0.0f : 1.0f / 9.0f);
    }
}

} // namespace

// At a parallel ray's silhouette D = B² − C·A nearly cancels, so rounding d·s in B to float
// moves samples across the edge; these steep ellipsoids show it at some pixels.
TEST(ParallelSilhouette, CountsSamplesFromLanesWidenedBeforeTheProducts)
{
    int disagreeing = 0;
    for (int bitDepth : {8, 16, 32})
        for (const Vec3d turn : {Vec3d{33, 71, 12}, Vec3d{-58, 23, 101}, Vec3d{17, -64, -39}}) {
            const auto r = renderScene(geometryScene({57.3, {80, 60, 0}, turn}, {{"Ellipse Z/XY", "0.43"}, {"Ellipse X/Y", "-0.27"}},
                                                     cameraLayerJson(false, 300, 300)),
                                       {0, bitDepth});
            ASSERT_EQ(r.result, PF_Err_NONE);
            int mismatches = 0;
            for (int y = 0; y < r.image.height; ++y)
                for (int x = 0; x < r.image.width; ++x) {
                    const int n = shot(r.ctx(), x, y).n;
                    disagreeing += n != shot(r.ctx(), x, y, ParallelB::FloatProduct).n;
                    mismatches += std::abs(pixelAt(r.image, x, y).a - quantised(float(n) / 9.0f, bitDepth)) > 1e-6;
                }
            EXPECT_EQ(mismatches, 0) << bitDepth << " bits, turned " << asmtest::str(turn);
        }
    EXPECT_GT(disagreeing, 0) << "the scenes no longer tell the two forms of B apart";
}
