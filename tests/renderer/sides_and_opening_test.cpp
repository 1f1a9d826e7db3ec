// Which walls are drawn ("Render Side", a camera inside the sphere), how "Open Parameter" cuts
// the sphere open about its fixed point and turns it inside out past 1, and "Show Pivot".
#include "renderer/renderer_model.h"

using namespace rtest;
using asmtest::renderScene;

namespace {

struct PictureCase {
    const char* name;
    Placement placement;
    int side = 1;            // "Render Side": 1 Full, 2 Inside, 3 Outside
    bool pivot = false;      // "Show Pivot"
    bool parallel = false;   // an orthographic camera layer instead of the default camera
};

class UntexturedSphere : public asmtest::AssemblyParamTest<PictureCase> {};

// Untextured walls show their (U, V), so each pixel tells which wall and point it shows. "Full"
// draws the near wall over the far, "Outside" the near alone, "Inside" the far alone; past "Open
// Parameter" 1 the last two trade places. The opening stretches the texture about the fixed
// point, then "Slide Texture" turns it.
TEST_P(UntexturedSphere, PixelsShowTheCoordinatesOfTheWallsTheSideAllows)
{
    const PictureCase& c = GetParam();
    const auto r = renderScene(geometryScene(c.placement,
                                             {{"Render Side", std::to_string(c.side)}, {"Show Pivot", c.pivot ? "true" : "false"}},
                                             c.parallel ? cameraLayerJson(false, 300, 300) : ""),
                               {0, 32});
    ASSERT_EQ(r.result, PF_Err_NONE);
    EXPECT_EQ(r.ctx().renderSide, unsigned(c.placement.open > 1 && c.side != 1 ? 5 - c.side : c.side));
    const auto model = [&](int x, int y) { return expectPixel(r.ctx(), x, y, gradientColour, c.pivot); };
    // From inside, "Outside" leaves the frame empty, as it does where the near wall is the opening.
    const int drawn = compareWithModel(r.image, 1e-6, model, c.name);
    EXPECT_EQ(drawn > 1000, std::string(c.name) != "CameraInsideOutside" && std::string(c.name) != "OpenedAwayOutside");
}

const Vec3d kGlobe{-90, 0, -90};

INSTANTIATE_TEST_SUITE_P(
    Pictures, UntexturedSphere,
    testing::Values(
        PictureCase{"Unturned", {40, {80, 60, 0}}},
        PictureCase{"TurnedAndMoved", {35, {70, 55, 60}, {30, 45, -20}}},
        PictureCase{"ParallelGlobe", {45, {85, 58, 0}, kGlobe}, 1, false, true},
        PictureCase{"ParallelTiltedInside", {38, {80, 60, 10}, {-60, 25, 110}}, 2, false, true},
        PictureCase{"OutsideViewInside", {40, {80, 60, 0}, kGlobe}, 2},
        PictureCase{"OutsideViewOutside", {40, {80, 60, 0}, kGlobe}, 3},
        // The default camera stands 222 pixels in front of the frame: inside a sphere of 300,
        // where only the far wall shows.
        PictureCase{"CameraInsideFull", {300, {80, 60, 0}, kGlobe}},
        PictureCase{"CameraInsideInside", {300, {80, 60, 0}, {-60, 20, 10}}, 2},
        PictureCase{"CameraInsideOutside", {300, {80, 60, 0}, kGlobe}, 3},
        PictureCase{"OpenedOffCentrePivotFull", {40, {80, 60, 0}, kGlobe, 0.5, 0.375, 0.625}},
        PictureCase{"WideOpenFull", {30, {80, 60, 0}, kGlobe, 0.875}},
        // Pivot at the back: the near wall is the open part and the cap is seen through it.
        PictureCase{"OpenedAwayFull", {40, {80, 60, 0}, {-90, 0, 90}, 0.5}},
        PictureCase{"OpenedAwayOutside", {40, {80, 60, 0}, {-90, 0, 90}, 0.5}, 3},
        PictureCase{"WideOpenSidewaysFull", {40, {80, 60, 0}, {-90, 0, 0}, 0.875}},
        PictureCase{"InsideOutHalfOutside", {30, {80, 60, 0}, kGlobe, 1.5}, 3},
        PictureCase{"InsideOutClosedFull", {35, {80, 60, 0}, kGlobe, 2}},
        PictureCase{"InsideOutClosedInside", {35, {80, 60, 0}, kGlobe, 2}, 2},
        PictureCase{"QuarterOpenSlidBackOffCentre", {40, {80, 60, 0}, kGlobe, 0.25, 0.375, 0.5625, -100}},
        PictureCase{"OpeningTurnedToTheSide", {36, {80, 60, 0}, {-90, 0, 0}, 0.5, 0.5, 0.5, 150}},
        PictureCase{"PivotOffCentre", {40, {80, 60, 0}, kGlobe, 0, 0.625, 0.375}, 1, true},
        PictureCase{"PivotKeptByTheOpening", {40, {80, 60, 0}, kGlobe, 0.5, 0.5625, 0.4375}, 1, true},
        PictureCase{"PivotInsideOut", {30, {80, 60, 0}, kGlobe, 1.5, 0.5625, 0.5}, 1, true}),
    [](const testing::TestParamInfo<PictureCase>& i) { return std::string(i.param.name); });

// The pivot marks are drawn over the finished surface: fog leaves them pure.
TEST(PivotUnderFog, MarksStayPureWhileTheSurfaceIsFogged)
{
    const DepthComposite fog{2, 0, 400, {0.4, 0.6, 0.2}};   // exact in the 8-bit colour control
    const auto r = renderScene(geometryScene({40, {80, 60, 0}, kGlobe, 0.5, 0.5625, 0.4375},
                                             {{"Show Pivot", "true"}, {"Mode", R"("Fog")"}, {"Start depth", "0"},
                                              {"End depth", num(fog.end)}, {"Fog Color", jsonPoint(fog.fog)}}),
                               {0, 32});
    ASSERT_EQ(r.result, PF_Err_NONE);
    int marked = 0;
    const auto model = [&](int x, int y) {
        const Shot s = shot(r.ctx(), x, y);
        const UV uv = s.n > 0 ? textureUV(r.ctx(), pointAt(s.ray, s.tNear)) : UV{};
        Rgba want = expectPixel(r.ctx(), x, y, gradientColour, true);
        if (s.n == 9 && insideTexture(uv)) {
            const Rgba plain = gradientColour({}, uv), mark = withPivotMarks(r.ctx(), uv, plain);
            const bool isMark = mark.r != plain.r || mark.g != plain.g || mark.b != plain.b;
            marked += isMark;
            want = isMark ? mark : applyDepth(fog, plain, s.tNear);
        }
        return s.n == 9 ? want : pixelAt(r.image, x, y);
    };
    compareWithModel(r.image, 2e-5, model, "fogged pivot");
    EXPECT_GT(marked, 20);
}

} // namespace
