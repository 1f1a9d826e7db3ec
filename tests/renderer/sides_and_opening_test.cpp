// Which walls of the sphere are drawn ("Render Side", a camera inside the sphere), how "Open
// Parameter" cuts the sphere open about its fixed point and turns it inside out past 1, and the
// pivot marks of "Show Pivot": rendered pictures against the scene's geometry.
#include "renderer/geometry_support.h"

using namespace geotest;
using asmtest::renderScene;

namespace {

std::string sideParam(Side s) { return std::to_string(int(s)); }

struct SideCase {
    const char* name;
    Placement placement;
    Side side;
};

class RenderSide : public asmtest::AssemblyParamTest<SideCase> {};

// "Full" draws the near wall over the far one, "Outside" only the near wall and "Inside" only
// the far wall. Past "Open Parameter" 1 the sphere is inside out and the last two trade places.
// Without a texture the walls show their (U, V) as red and green, so each pixel tells which
// wall, and which point of it, it shows.
TEST_P(RenderSide, PixelsShowTheWallsTheSideAllows)
{
    const SideCase& c = GetParam();
    const View view = defaultView();
    const Sphere sphere = place(c.placement);
    const auto r = renderScene(geometryScene(c.placement, {{"Render Side", sideParam(c.side)}}), {0, 32});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const int compared = compareWithModel(r.image, 32, 3e-4, [&](int x, int y) {
        return expectPixel(view, sphere, x, y, c.side, gradientColour);
    }, c.name);
    EXPECT_GT(compared, 15000);
}

const Vec3d kGlobe{-90, 0, -90};

INSTANTIATE_TEST_SUITE_P(
    Sides, RenderSide,
    testing::Values(
        SideCase{"OutsideViewFull", {40, {80, 60, 0}, kGlobe}, Side::Full},
        SideCase{"OutsideViewInside", {40, {80, 60, 0}, kGlobe}, Side::Inside},
        SideCase{"OutsideViewOutside", {40, {80, 60, 0}, kGlobe}, Side::Outside},
        // The default camera stands 222 pixels in front of the frame: inside a sphere of 300.
        SideCase{"CameraInsideFull", {300, {80, 60, 0}, kGlobe}, Side::Full},
        SideCase{"CameraInsideInside", {300, {80, 60, 0}, {-60, 20, 10}}, Side::Inside},
        SideCase{"CameraInsideOutside", {300, {80, 60, 0}, kGlobe}, Side::Outside},
        SideCase{"OpenedFull", {40, {80, 60, 0}, kGlobe, 0.5}, Side::Full},
        SideCase{"OpenedOffCentrePivotFull", {40, {80, 60, 0}, kGlobe, 0.5, 0.375, 0.625}, Side::Full},
        SideCase{"WideOpenFull", {30, {80, 60, 0}, kGlobe, 0.875}, Side::Full},
        // Pivot at the back: the near wall is the open part and the textured cap is seen from
        // within, through it.
        SideCase{"OpenedAwayFull", {40, {80, 60, 0}, {-90, 0, 90}, 0.5}, Side::Full},
        SideCase{"OpenedAwayOutside", {40, {80, 60, 0}, {-90, 0, 90}, 0.5}, Side::Outside},
        // Pivot on the right-hand side: both walls show in parts of the picture.
        SideCase{"WideOpenSidewaysFull", {40, {80, 60, 0}, {-90, 0, 0}, 0.875}, Side::Full},
        SideCase{"InsideOutHalfFull", {30, {80, 60, 0}, kGlobe, 1.5}, Side::Full},
        SideCase{"InsideOutHalfOutside", {30, {80, 60, 0}, kGlobe, 1.5}, Side::Outside},
        SideCase{"InsideOutClosedFull", {35, {80, 60, 0}, kGlobe, 2}, Side::Full},
        SideCase{"InsideOutClosedInside", {35, {80, 60, 0}, kGlobe, 2}, Side::Inside},
        SideCase{"InsideOutClosedOutside", {35, {80, 60, 0}, kGlobe, 2, 0.625, 0.375}, Side::Outside}),
    [](const testing::TestParamInfo<SideCase>& i) { return std::string(i.param.name); });

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
        EXPECT_EQ(sum(r.image, 3), pixels) << sideName(side) << ": every pixel opaque";
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
                    h.clear += pixelOf(r.image, x, y).a < 1 ? 1 : 0;
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
            const Rgba got = pixelOf(out.image, x, y);
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

// --- Pivot marks ----------------------------------------------------------------------------------

struct PivotCase {
    const char* name;
    Placement placement;
};

class PivotMarks : public asmtest::AssemblyParamTest<PivotCase> {};

// "Show Pivot" paints the fixed point blue, the meridian through it green and the parallel
// through it red, in (U, V) after the opening's stretch, over whatever the surface shows.
TEST_P(PivotMarks, MarksSitAtTheFixedPoint)
{
    const PivotCase& c = GetParam();
    const View view = defaultView();
    const Sphere sphere = place(c.placement);
    const auto r = renderScene(geometryScene(c.placement, {{"Show Pivot", "true"}}), {0, 32});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const auto model = [&](int x, int y) {
        return expectPixel(view, sphere, x, y, Side::Full, gradientColour, true);
    };
    EXPECT_GT(compareWithModel(r.image, 32, 3e-4, model, c.name), 15000);

    // The picture does show all three marks where the model puts them.
    int blue = 0, green = 0, red = 0;
    double bx = 0, by = 0;
    for (int y = 0; y < asmtest::kHeight; ++y)
        for (int x = 0; x < asmtest::kWidth; ++x) {
            const Expected e = model(x, y);
            if (e.n != 9 || e.fragile)
                continue;
            const Rgba got = pixelOf(r.image, x, y);
            if (e.colour.b == 1 && got.b == 1 && got.r == 0 && got.g == 0)
                ++blue, bx += x, by += y;
            green += e.colour.g == 1 && e.colour.r == 0 && got.g == 1 && got.r == 0 ? 1 : 0;
            red += e.colour.r == 1 && e.colour.g == 0 && got.r == 1 && got.g == 0 ? 1 : 0;
        }
    EXPECT_GE(blue, 1);
    EXPECT_GE(green, 10);
    EXPECT_GE(red, 10);
}

INSTANTIATE_TEST_SUITE_P(
    Pivots, PivotMarks,
    testing::Values(PivotCase{"FrontCentre", {40, {80, 60, 0}, kGlobe}},
                    PivotCase{"OffCentre", {40, {80, 60, 0}, kGlobe, 0, 0.625, 0.375}},
                    PivotCase{"OpenedKeepsThePivot", {40, {80, 60, 0}, kGlobe, 0.5, 0.5625, 0.4375}},
                    PivotCase{"InsideOut", {30, {80, 60, 0}, kGlobe, 1.5, 0.5625, 0.5}}),
    [](const testing::TestParamInfo<PivotCase>& i) { return std::string(i.param.name); });

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
                const Rgba c = pixelOf(r.image, x, y);
                if (c.b == 1 && c.r == 0 && c.g == 0 && c.a == 1)
                    dots[i].push_back({x, y});
            }
    }
    EXPECT_FALSE(dots[0].empty());
    EXPECT_EQ(dots[0], dots[1]);
}

} // namespace
