// How much of each pixel the sphere covers: rendered images compared with the disc the scene's
// camera must see and with the nine-sample rule evaluated independently in double precision.
#include "renderer/kernel_model.h"
#include "renderer/renderer_support.h"

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

View viewOf(const CoverageCase& c)
{
    View v = c.zoom == 0 ? defaultView() : cameraView(c.perspective, c.zoom, c.distance);
    v.downsample = c.downsample;
    return v;
}

std::string layersOf(const CoverageCase& c)
{
    return c.zoom == 0 ? std::string() : cameraLayerJson(c.perspective, c.zoom, c.distance);
}

// The radius of the disc the sphere covers on screen when its centre lies on the camera's
// axis: a parallel view shows the radius itself; a perspective eye at distance d from the
// centre sees the tangent cone of half-angle asin(r/d), which the image plane at distance
// `zoom` cuts in a circle of radius zoom · r / sqrt(d² - r²).
double discRadius(const CoverageCase& c)
{
    const View v = viewOf(c);
    const double r = c.placement.radius;
    if (!v.perspective)
        return r;
    const double d = c.placement.position[2] - v.eye[2];
    return v.zoom * r / std::sqrt(d * d - r * r);
}

bool onAxis(const CoverageCase& c)
{
    const View v = viewOf(c);
    return !v.perspective || (c.placement.position[0] == v.centreX && c.placement.position[1] == v.centreY);
}

class Coverage : public asmtest::AssemblyParamTest<CoverageCase> {};

// Summed alpha is the disc's area to within a small share of its perimeter; every pixel's
// alpha is n/9 for the number n of its nine samples inside the silhouette (none when no corner
// hits, nine when all four corners do), truncated to the output depth: exactly 1 inside and 0
// outside.
TEST_P(Coverage, AlphaIsTheShareOfSamplesInsideTheSilhouette)
{
    const CoverageCase& c = GetParam();
    const View view = viewOf(c);
    const Sphere sphere = place(c.placement);
    const auto r = renderScene(geometryScene(c.placement, {}, layersOf(c)),
                               {0, c.bitDepth, c.downsample, c.downsample});
    ASSERT_EQ(r.result, PF_Err_NONE);
    ASSERT_EQ(r.image.width, asmtest::kWidth / c.downsample);
    ASSERT_EQ(r.image.height, asmtest::kHeight / c.downsample);

    double sum = 0;
    int full = 0, partial = 0, mismatches = 0, offGrid = 0;
    std::ostringstream detail;
    for (int y = 0; y < r.image.height; ++y)
        for (int x = 0; x < r.image.width; ++x) {
            const double a = pixelAt(r.image, x, y).a;
            sum += a;
            bool onGrid = false;
            for (int n = 0; n <= 9; ++n)
                onGrid = onGrid || std::abs(a - quantised(coverageFraction(n), c.bitDepth)) < 1e-6;
            offGrid += onGrid ? 0 : 1;
            const SampleCount model = coverage(view, sphere, x, y);
            if (model.fragile)
                continue;
            const double want = quantised(coverageFraction(model.n), c.bitDepth);
            full += model.n == 9 ? 1 : 0;
            partial += model.n > 0 && model.n < 9 ? 1 : 0;
            if (std::abs(a - want) > 1e-6 && ++mismatches <= 6)
                detail << "\n  pixel (" << x << ", " << y << "): " << model.n << "/9 of its samples inside, alpha "
                       << want << " expected, got " << a;
        }
    EXPECT_EQ(mismatches, 0) << detail.str();
    EXPECT_EQ(offGrid, 0) << "alpha values that are not a ninth of full coverage at this depth";
    EXPECT_GT(full, 1000 / (c.downsample * c.downsample));
    EXPECT_GT(partial, 50 / c.downsample);

    if (onAxis(c)) {
        // In output pixels: a downsampled frame shows the composition at 1/downsample.
        const double R = discRadius(c) / c.downsample;
        EXPECT_NEAR(sum, kPiD * R * R, 0.03 * 2 * kPiD * R)
            << "summed alpha against the area of a disc of radius " << R;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Discs, Coverage,
    testing::Values(
        CoverageCase{"Parallel8", false, 300, 300, {40, {80, 60, 0}}, 8},
        CoverageCase{"ParallelFloat", false, 300, 300, {40, {80, 60, 0}}, 32},
        CoverageCase{"ParallelOffCentre16", false, 300, 300, {25.5, {61.25, 47.5, 30}}, 16},
        CoverageCase{"DefaultCamera8", true, 0, 0, {40, {80, 60, 0}}, 8},
        CoverageCase{"CloseCameraFloat", true, 120, 120, {40, {80, 60, 0}}, 32},
        CoverageCase{"CloseCameraBehindPlane16", true, 120, 120, {30, {80, 60, 80}}, 16},
        CoverageCase{"DefaultCameraOffAxisFloat", true, 0, 0, {30, {50, 75, -40}, {10, 20, 30}}, 32},
        CoverageCase{"DefaultCameraHalfSize8", true, 0, 0, {40, {80, 60, 0}}, 8, 2},
        CoverageCase{"ParallelQuarterSizeFloat", false, 300, 300, {44, {80, 60, 0}}, 32, 4}),
    [](const testing::TestParamInfo<CoverageCase>& i) { return std::string(i.param.name); });

// A sphere smaller than the spacing of a pixel's corner samples that falls between them leaves
// the pixel empty, even though the pixel's centre sample would hit it.
class TinySphere : public asmtest::AssemblyTest {};

TEST_F(TinySphere, VanishesBetweenCornerSamplesAndShowsAsANinthOnOne)
{
    const Placement p{0.2, {80.5, 60.5, 0}};   // parallel view: a disc of radius 0.2 at a pixel centre
    const auto r = renderScene(geometryScene(p, {}, cameraLayerJson(false, 300, 300)), {0, 32});
    ASSERT_EQ(r.result, PF_Err_NONE);
    double sum = 0;
    for (float v : r.image.rgba)
        sum += std::abs(v);
    EXPECT_EQ(sum, 0.0) << "no corner sample hits, so nothing may be drawn";

    // Moved onto a corner sample (80 + 5/6, 60 + 5/6) the same sphere shows, as 1/9 of a pixel
    // (turned so that the ray meets it on its equator).
    const Placement onCorner{0.2, {80 + 5.0 / 6, 60 + 5.0 / 6, 0}, {90, 0, 0}};
    const auto s = renderScene(geometryScene(onCorner, {}, cameraLayerJson(false, 300, 300)), {0, 32});
    ASSERT_EQ(s.result, PF_Err_NONE);
    EXPECT_FLOAT_EQ(pixelAt(s.image, 80, 60).a, 1.0f / 9.0f);
    double total = 0;
    for (int y = 0; y < s.image.height; ++y)
        for (int x = 0; x < s.image.width; ++x)
            total += pixelAt(s.image, x, y).a;
    EXPECT_FLOAT_EQ(float(total), 1.0f / 9.0f);
}

} // namespace

// Parallel rays at the silhouette: D = B² − C·A cancels almost entirely there, so a float
// rounding of the lane product d·s in B moves samples across the edge. Steeply turned
// ellipsoids under an orthographic camera, at the three depths: every pixel's alpha is the
// hit count of the float lanes widened to double before any product, and the scenes are
// chosen so that rounding d·s to float first would count otherwise at some pixels.
class ParallelSilhouette : public asmtest::AssemblyTest {};

TEST_F(ParallelSilhouette, CountsSamplesFromLanesWidenedBeforeTheProducts)
{
    int disagreeing = 0;
    for (int bitDepth : {8, 16, 32})
        for (const Vec3d turn : {Vec3d{33, 71, 12}, Vec3d{-58, 23, 101}, Vec3d{17, -64, -39}}) {
            asmtest::SceneSetup setup = geometryScene({57.3, {80, 60, 0}, turn}, {{"Ellipse Z/XY", "0.43"}, {"Ellipse X/Y", "-0.27"}},
                                                      cameraLayerJson(false, 300, 300));
            const auto r = renderScene(setup, {0, bitDepth});
            ASSERT_EQ(r.result, PF_Err_NONE);
            const asmtest::ContextSnapshot& c = r.ctx();
            ASSERT_FALSE(c.perspective);
            int mismatches = 0;
            std::ostringstream detail;
            for (int y = 0; y < r.image.height; ++y)
                for (int x = 0; x < r.image.width; ++x) {
                    const int n = kmodel::hitCount(c, x, y);
                    disagreeing += n != kmodel::hitCount(c, x, y, kmodel::ParallelB::FloatProduct) ? 1 : 0;
                    const double want = quantised(coverageFraction(n), bitDepth), got = pixelAt(r.image, x, y).a;
                    if (std::abs(got - want) > 1e-6 && ++mismatches <= 4)
                        detail << "\n  pixel (" << x << ", " << y << "): " << n << "/9, alpha " << want << " expected, got " << got;
                }
            EXPECT_EQ(mismatches, 0) << bitDepth << " bits, turned " << asmtest::str(turn) << detail.str();
        }
    std::printf("pixels whose count depends on the form of B: %d\n", disagreeing);
    EXPECT_GT(disagreeing, 0) << "the scenes no longer tell the two forms of B apart";
}
