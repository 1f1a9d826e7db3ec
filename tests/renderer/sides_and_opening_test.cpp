// Which walls of the sphere are drawn ("Render Side", a camera inside the sphere), how "Open
// Parameter" cuts the sphere open about its fixed point and turns it inside out past 1, and the
// pivot marks of "Show Pivot": rendered pictures against the scene's geometry.
#include "renderer/renderer_support.h"

using namespace rtest;
using asmtest::renderScene;

namespace {

std::string sideParam(Side s) { return std::to_string(int(s)); }

struct PictureCase {
    const char* name;
    Placement placement;
    Side side = Side::Full;
    bool pivot = false;      // "Show Pivot"
    bool parallel = false;   // an orthographic camera layer instead of the default camera
    double tolerance = 3e-4;
};

class UntexturedSphere : public asmtest::AssemblyParamTest<PictureCase> {};

// Without a texture the walls show their (U, V) as red and green, so each pixel tells which
// wall, and which point of it, it shows, and along which ray: a fully covered pixel the (U, V)
// where the ray through (x + 5/6, y + 5/6) meets the sphere, a silhouette pixel that of the
// first of its nine samples, in casting order, that hits. "Full" draws the near wall over the
// far one, "Outside" only the near wall and "Inside" only the far wall; past "Open Parameter"
// 1 the sphere is inside out and the last two trade places. The opening stretches the texture
// about the fixed point and "Slide Texture" then turns it, opening and all. "Show Pivot"
// paints the fixed point blue, the meridian through it green and the parallel red, in (U, V)
// after the opening's stretch, over whatever the surface shows.
TEST_P(UntexturedSphere, PixelsShowTheCoordinatesOfTheWallsTheSideAllows)
{
    const PictureCase& c = GetParam();
    const View view = c.parallel ? cameraView(false, 300, 300) : defaultView();
    const Sphere sphere = place(c.placement);
    const auto r = renderScene(geometryScene(c.placement,
                                             {{"Render Side", sideParam(c.side)}, {"Show Pivot", c.pivot ? "true" : "false"}},
                                             c.parallel ? cameraLayerJson(false, 300, 300) : ""),
                               {0, 32});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const auto model = [&](int x, int y) { return expectPixel(view, sphere, x, y, c.side, gradientColour, c.pivot); };
    EXPECT_GT(compareWithModel(r.image, 32, c.tolerance, model, c.name), 15000);
    if (!c.pivot)
        return;
    // The picture does show all three marks where the model puts them.
    int blue = 0, green = 0, red = 0;
    for (int y = 0; y < asmtest::kHeight; ++y)
        for (int x = 0; x < asmtest::kWidth; ++x) {
            const Expected e = model(x, y);
            const Rgba got = pixelAt(r.image, x, y);
            if (e.n != 9 || e.fragile)
                continue;
            blue += e.colour.b == 1 && got.b == 1 && got.r == 0 && got.g == 0;
            green += e.colour.g == 1 && e.colour.r == 0 && got.g == 1 && got.r == 0;
            red += e.colour.r == 1 && e.colour.g == 0 && got.r == 1 && got.g == 0;
        }
    EXPECT_GE(blue, 1);
    EXPECT_GE(green, 10);
    EXPECT_GE(red, 10);
}

const Vec3d kGlobe{-90, 0, -90};

INSTANTIATE_TEST_SUITE_P(
    Pictures, UntexturedSphere,
    testing::Values(
        PictureCase{"Unturned", {40, {80, 60, 0}}, Side::Full, false, false, 2e-4},
        PictureCase{"GlobeTurn", {40, {80, 60, 0}, kGlobe}, Side::Full, false, false, 2e-4},
        PictureCase{"TurnedAndMoved", {35, {70, 55, 60}, {30, 45, -20}}, Side::Full, false, false, 2e-4},
        PictureCase{"ParallelGlobe", {45, {85, 58, 0}, kGlobe}, Side::Full, false, true, 2e-4},
        PictureCase{"ParallelTilted", {38, {80, 60, 10}, {-60, 25, 110}}, Side::Full, false, true, 2e-4},
        PictureCase{"OutsideViewInside", {40, {80, 60, 0}, kGlobe}, Side::Inside},
        PictureCase{"OutsideViewOutside", {40, {80, 60, 0}, kGlobe}, Side::Outside},
        // The default camera stands 222 pixels in front of the frame: inside a sphere of 300.
        PictureCase{"CameraInsideFull", {300, {80, 60, 0}, kGlobe}, Side::Full},
        PictureCase{"CameraInsideInside", {300, {80, 60, 0}, {-60, 20, 10}}, Side::Inside},
        PictureCase{"CameraInsideOutside", {300, {80, 60, 0}, kGlobe}, Side::Outside},
        PictureCase{"OpenedFull", {40, {80, 60, 0}, kGlobe, 0.5}, Side::Full},
        PictureCase{"OpenedOffCentrePivotFull", {40, {80, 60, 0}, kGlobe, 0.5, 0.375, 0.625}, Side::Full},
        PictureCase{"WideOpenFull", {30, {80, 60, 0}, kGlobe, 0.875}, Side::Full},
        // Pivot at the back: the near wall is the open part and the textured cap is seen from
        // within, through it.
        PictureCase{"OpenedAwayFull", {40, {80, 60, 0}, {-90, 0, 90}, 0.5}, Side::Full},
        PictureCase{"OpenedAwayOutside", {40, {80, 60, 0}, {-90, 0, 90}, 0.5}, Side::Outside},
        // Pivot on the right-hand side: both walls show in parts of the picture.
        PictureCase{"WideOpenSidewaysFull", {40, {80, 60, 0}, {-90, 0, 0}, 0.875}, Side::Full},
        PictureCase{"InsideOutHalfFull", {30, {80, 60, 0}, kGlobe, 1.5}, Side::Full},
        PictureCase{"InsideOutHalfOutside", {30, {80, 60, 0}, kGlobe, 1.5}, Side::Outside},
        PictureCase{"InsideOutClosedFull", {35, {80, 60, 0}, kGlobe, 2}, Side::Full},
        PictureCase{"InsideOutClosedInside", {35, {80, 60, 0}, kGlobe, 2}, Side::Inside},
        PictureCase{"InsideOutClosedOutside", {35, {80, 60, 0}, kGlobe, 2, 0.625, 0.375}, Side::Outside},
        PictureCase{"HalfOpenSlidAFifth", {40, {80, 60, 0}, kGlobe, 0.5, 0.5, 0.5, 72}},
        PictureCase{"QuarterOpenSlidBackOffCentre", {40, {80, 60, 0}, kGlobe, 0.25, 0.375, 0.5625, -100}},
        PictureCase{"OpeningTurnedToTheSide", {36, {80, 60, 0}, {-90, 0, 0}, 0.5, 0.5, 0.5, 150}},
        PictureCase{"PivotFrontCentre", {40, {80, 60, 0}, kGlobe}, Side::Full, true},
        PictureCase{"PivotOffCentre", {40, {80, 60, 0}, kGlobe, 0, 0.625, 0.375}, Side::Full, true},
        PictureCase{"PivotKeptByTheOpening", {40, {80, 60, 0}, kGlobe, 0.5, 0.5625, 0.4375}, Side::Full, true},
        PictureCase{"PivotInsideOut", {30, {80, 60, 0}, kGlobe, 1.5, 0.5625, 0.5}, Side::Full, true}),
    [](const testing::TestParamInfo<PictureCase>& i) { return std::string(i.param.name); });

class CameraInsideSphere : public asmtest::AssemblyTest {};

// From inside the sphere every ray meets the far wall only: "Full" and "Inside" cover the
// whole frame, opaque, and "Outside" leaves it empty.
TEST_F(CameraInsideSphere, OnlyTheFarWallShows)
{
    const Placement p{300, {80, 60, 0}, kGlobe};
    const auto sum = [](const orbhost::Image& im, int channel) {
        double s = 0;
        for (std::size_t i = std::size_t(channel); i < im.rgba.size(); i += 4)
            s += std::abs(im.rgba[i]);
        return s;
    };
    const double pixels = asmtest::kWidth * asmtest::kHeight;
    for (Side side : {Side::Full, Side::Inside}) {
        const auto r = renderScene(geometryScene(p, {{"Render Side", sideParam(side)}}), {0, 8});
        ASSERT_EQ(r.result, PF_Err_NONE);
        EXPECT_EQ(sum(r.image, 3), pixels) << int(side) << ": every pixel opaque";
    }
    const auto outside = renderScene(geometryScene(p, {{"Render Side", sideParam(Side::Outside)}}), {0, 8});
    ASSERT_EQ(outside.result, PF_Err_NONE);
    for (int ch = 0; ch < 4; ++ch)
        EXPECT_EQ(sum(outside.image, ch), 0.0) << "Outside: channel " << ch << " of an empty frame";
}

// --- Opening ------------------------------------------------------------------------------------

class OpenSphere : public asmtest::AssemblyTest {};

// A closed sphere ("Open Parameter" 0, or 2 where it is inside out but closed again) has no
// hole: every fully covered pixel is opaque. In between, the opening (which lies opposite the
// fixed point, here the back of the globe) grows with the parameter. Only the far wall is
// drawn, so that a hole leaves its pixel transparent instead of showing the other wall; on the
// inside-out sphere at 2 the far wall is the one "Outside" names.
TEST_F(OpenSphere, ClosedAtTheEndsAndOpeningInBetween)
{
    const View view = defaultView();
    struct Holes {
        int full = 0, clear = 0;
        double share() const { return full ? double(clear) / full : -1; }
    };
    auto holes = [&](double open, Side side) {
        const Placement p{40, {80, 60, 0}, kGlobe, open};
        const Sphere sphere = place(p);
        const auto r = renderScene(geometryScene(p, {{"Render Side", sideParam(side)}}), {0, 32});
        EXPECT_EQ(r.result, PF_Err_NONE);
        Holes h;
        for (int y = 0; y < asmtest::kHeight; ++y)
            for (int x = 0; x < asmtest::kWidth; ++x)
                if (coverage(view, sphere, x, y).n == 9) {
                    ++h.full;
                    h.clear += pixelAt(r.image, x, y).a < 1 ? 1 : 0;
                }
        return h;
    };
    const Holes closed = holes(0, Side::Inside), half = holes(0.5, Side::Inside);
    const Holes more = holes(0.875, Side::Inside), insideOut = holes(2, Side::Outside);
    EXPECT_GT(closed.full, 4000);
    EXPECT_EQ(closed.clear, 0) << "closed sphere";
    EXPECT_GT(insideOut.full, 4000);
    EXPECT_EQ(insideOut.clear, 0) << "inside-out sphere closed again at 2";
    EXPECT_GT(half.share(), 0.05);
    EXPECT_GT(more.share(), half.share());
}

// At "Open Parameter" 1 the sphere has grown into an almost flat sheet through the fixed
// point, with the texture kept at its size on the unopened sphere: the whole map, 2πr wide and
// πr tall, lies flat in the plane that touches the sphere at the pivot, centred on it, and
// nothing else shows. Here the pivot is the front of the globe, 16 pixels in front of the frame.
TEST_F(OpenSphere, AtOneTheTextureLiesFlatThroughThePivot)
{
    const double r = 16;
    const Placement p{r, {80, 60, 0}, kGlobe, 1};
    const auto out = renderScene(geometryScene(p), {0, 32});
    ASSERT_EQ(out.result, PF_Err_NONE);
    const View view = defaultView();
    const double sheetZ = -r;
    int inside = 0, outside = 0, wrong = 0;
    std::ostringstream detail;
    for (int y = 0; y < asmtest::kHeight; ++y)
        for (int x = 0; x < asmtest::kWidth; ++x) {
            // The shading ray of a fully covered pixel, through (x + 5/6, y + 5/6).
            const double px = x + 5.0 / 6, py = y + 5.0 / 6;
            const double s = (sheetZ - view.eye[2]) / view.zoom;
            const double sx = (px - view.centreX) * s, sy = (py - view.centreY) * s;
            const double u = 0.5 + sx / (2 * kPiD * r), v = 0.5 + sy / (kPiD * r);
            const auto nearEdge = [](double t) { return std::abs(t) < 0.01 || std::abs(t - 1) < 0.01; };
            if (nearEdge(u) || nearEdge(v))
                continue;
            const bool shown = u > 0 && u < 1 && v > 0 && v < 1;
            const Rgba want = shown ? Rgba{u, v, 0, 1} : Rgba{};
            const Rgba got = pixelAt(out.image, x, y);
            (shown ? inside : outside)++;
            if ((std::abs(got.r - want.r) > 0.01 || std::abs(got.g - want.g) > 0.01 || got.b != 0 ||
                 got.a != want.a) &&
                ++wrong <= 6)
                detail << "\n  pixel (" << x << ", " << y << "): expected " << str(want) << ", got " << str(got);
        }
    EXPECT_EQ(wrong, 0) << detail.str();
    EXPECT_GT(inside, 4000);
    EXPECT_GT(outside, 8000);
}

// Opening the sphere keeps the fixed point where it was on screen: the blue pivot dot covers the
// same pixels at "Open Parameter" 0 and 0.5.
TEST_F(OpenSphere, PivotDotStaysPutWhileOpening)
{
    std::vector<std::pair<int, int>> dots[2];
    const double opens[2] = {0, 0.5};
    for (int i = 0; i < 2; ++i) {
        const Placement p{40, {80, 60, 0}, kGlobe, opens[i], 0.5625, 0.4375};
        const auto r = renderScene(geometryScene(p, {{"Show Pivot", "true"}}), {0, 8});
        ASSERT_EQ(r.result, PF_Err_NONE);
        for (int y = 0; y < asmtest::kHeight; ++y)
            for (int x = 0; x < asmtest::kWidth; ++x) {
                const Rgba c = pixelAt(r.image, x, y);
                if (c.b == 1 && c.r == 0 && c.g == 0 && c.a == 1)
                    dots[i].push_back({x, y});
            }
    }
    EXPECT_FALSE(dots[0].empty());
    EXPECT_EQ(dots[0], dots[1]);
}

// Pivot marks under fog. "Show Pivot" is a guide drawn on top of the finished surface: fog
// tints the surface by its distance but leaves the marks pure blue, green and red.

struct PivotFogCase {
    const char* name;
    Placement placement;
};

class PivotUnderFog : public asmtest::AssemblyParamTest<PivotFogCase> {};

TEST_P(PivotUnderFog, MarksStayPureWhileTheSurfaceIsFogged)
{
    const PivotFogCase& c = GetParam();
    const Vec3d fog{0.4, 0.6, 0.2};   // exact in the 8-bit colour control
    const double end = 400;
    const auto r = asmtest::renderScene(geometryScene(c.placement, {{"Show Pivot", "true"},
                                                                    {"Mode", R"("Fog")"},
                                                                    {"Start depth", "0"},
                                                                    {"End depth", num(end)},
                                                                    {"Fog Color", jsonPoint(fog)}}),
                                        {0, 32});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const View view = defaultView();
    const Sphere sphere = place(c.placement);
    int blue = 0, green = 0, red = 0, fogged = 0, wrong = 0;
    std::ostringstream detail;
    for (int y = 0; y < asmtest::kHeight; ++y)
        for (int x = 0; x < asmtest::kWidth; ++x) {
            const SampleCount cov = coverage(view, sphere, x, y);
            if (cov.n != 9 || cov.fragile)
                continue;
            const UV uv = uvAt(sphere, cov.ray.o + cov.ray.d * cov.hit.tNear);
            bool fragile = false;
            const Rgba surface = gradientColour(uv, fragile);
            const Rgba marked = withPivotMarks(sphere, uv, surface, fragile);
            if (fragile || surface.a < 1)
                continue;
            const bool mark = marked.r != surface.r || marked.g != surface.g || marked.b != surface.b;
            Rgba want = marked;
            if (!mark) {
                const double f = std::clamp(cov.hit.tNear / end, 0.0, 1.0);
                want = {f * fog[0] + (1 - f) * surface.r, f * fog[1] + (1 - f) * surface.g,
                        f * fog[2] + (1 - f) * surface.b, 1};
                ++fogged;
            } else {
                blue += want.b == 1 && want.r == 0;
                green += want.g == 1 && want.r == 0;
                red += want.r == 1 && want.g == 0;
            }
            const Rgba got = pixelAt(r.image, x, y);
            const double tolerance = mark ? 0 : 5e-4;
            const double off = std::max({std::abs(got.r - want.r), std::abs(got.g - want.g), std::abs(got.b - want.b),
                                         std::abs(got.a - want.a)});
            if (off > tolerance && ++wrong <= 6)
                detail << "\n  pixel (" << x << ", " << y << ")" << (mark ? " (a mark)" : "") << ": expected "
                       << str(want) << ", got " << str(got);
        }
    EXPECT_EQ(wrong, 0) << c.name << detail.str();
    EXPECT_GE(blue, 1) << "the pivot dot";
    EXPECT_GE(green, 10) << "the meridian";
    EXPECT_GE(red, 10) << "the parallel";
    EXPECT_GT(fogged, 3000);
}

INSTANTIATE_TEST_SUITE_P(
    Pivots, PivotUnderFog,
    testing::Values(PivotFogCase{"FrontOfTheGlobe", {40, {80, 60, 0}, {-90, 0, -90}, 0, 0.5625, 0.4375}},
                    PivotFogCase{"OpenedGlobe", {40, {80, 60, 0}, {-90, 0, -90}, 0.5, 0.5625, 0.4375}}),
    [](const testing::TestParamInfo<PivotFogCase>& i) { return std::string(i.param.name); });

} // namespace
