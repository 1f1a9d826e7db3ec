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
    std::map<std::string, std::string> shape = {};   // ellipse sliders; the disc's area is checked for spheres only
};

const std::map<std::string, std::string> kSteep{{"Ellipse Z/XY", "0.43"}, {"Ellipse X/Y", "-0.27"}};

// Each pixel's alpha is n/9 of its samples inside the silhouette, truncated to the output
// depth; summed alpha is the disc's area (radius r in a parallel view, zoom · r / √(d² − r²)
// for an eye at distance d on the axis) within a small share of its perimeter.
class Coverage : public asmtest::AssemblyParamTest<CoverageCase> {};

TEST_P(Coverage, AlphaIsTheShareOfSamplesInsideTheSilhouette)
{
    const CoverageCase& c = GetParam();
    const double zoom = c.zoom == 0 ? 160 * 50.0 / 36 : c.zoom, distance = c.zoom == 0 ? zoom : c.distance;
    const auto r = renderScene(geometryScene(c.placement, c.shape, c.zoom == 0 ? "" : cameraLayerJson(c.perspective, zoom, distance)),
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
    if (c.placement.radius < 1)
        return;   // a sphere between the corner samples is missed though the centre sample would hit
    EXPECT_GT(full, 1000 / (c.downsample * c.downsample));
    EXPECT_GT(partial, 50 / c.downsample);
    const Placement& p = c.placement;
    if (c.shape.empty() && (!c.perspective || (p.position[0] == 80 && p.position[1] == 60))) {
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
                    CoverageCase{"ParallelQuarterSizeFloat", false, 300, 300, {44, {80, 60, 0}}, 32, 4},
                    CoverageCase{"TinyBetweenCornerSamplesFloat", false, 300, 300, {0.2, {80.5, 60.5, 0}, {90, 0, 0}}, 32},
                    CoverageCase{"TinyOnACornerSampleFloat", false, 300, 300, {0.2, {80 + 5.0 / 6, 60 + 5.0 / 6, 0}, {90, 0, 0}}, 32},
                    // D = B² − C·A nearly cancels at their edge: d·s rounded to float in B shows.
                    CoverageCase{"ParallelSteepEllipsoid8", false, 300, 300, {57.3, {80, 60, 0}, {33, 71, 12}}, 8, 1, kSteep},
                    CoverageCase{"ParallelSteepEllipsoid16", false, 300, 300, {57.3, {80, 60, 0}, {-58, 23, 101}}, 16, 1, kSteep},
                    CoverageCase{"ParallelSteepEllipsoidFloat", false, 300, 300, {57.3, {80, 60, 0}, {17, -64, -39}}, 32, 1, kSteep}),
    [](const testing::TestParamInfo<CoverageCase>& i) { return std::string(i.param.name); });

} // namespace
