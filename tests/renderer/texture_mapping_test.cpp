// Where the texture lands on the sphere: the texel each pixel shows, the seam where U wraps,
// and the "Slide Texture" turn, checked against (U, V) worked out from the scene's geometry.
#include "renderer/renderer_support.h"

using namespace rtest;
using asmtest::renderScene;

namespace {

// Every texel a different colour: red and green tell its column and row, blue alternates.
orbhost::Image labelledTexture(int w, int h)
{
    return imageOf(w, h, [w, h](int x, int y) {
        return Rgba{(x + 0.5) / w, (y + 0.5) / h, (x + y) % 2 ? 0.75 : 0.25, 1};
    });
}

// A point sample of the texture at (U, V): sampler coordinates put texel centres on whole
// numbers (x = W·U, y = H·V, V already scaled by the row correction), and the part of the last
// column that lies past the right edge is read from the first column across the seam (at the
// opening's wider period, from column 0 too). Anything else off the texture is transparent.
TexelAt pointSampled(const orbhost::Image& tex)
{
    return [&tex](const UV& uv, bool& fragile) {
        fragile = fragile || uv.fragile;
        const int w = tex.width, h = tex.height;
        const double x = w * uv.u + 0.5, y = h * uv.v + 0.5;
        const auto nearEdge = [](double t) { return std::abs(t - std::round(t)) < 1e-3; };
        fragile = fragile || nearEdge(x) || nearEdge(y);
        int col = int(std::floor(x));
        const int row = int(std::floor(y));
        if (col >= w && w * (uv.u - uv.period) + 0.5 >= 0)
            col = 0;
        if (col < 0 || col >= w || row < 0 || row >= h)
            return Rgba{};
        return pixelAt(tex, col, row);
    };
}

struct TextureCase {
    const char* name;
    Placement placement;
    int width, height;
};

class TexturePlacement : public asmtest::AssemblyParamTest<TextureCase> {};

// With "Sharpness" 1 every lookup is a point sample, so each pixel shows exactly one texel:
// the one at (W·U, H·V) for the (U, V) its shading ray meets.
TEST_P(TexturePlacement, EachPixelShowsTheTexelAtItsCoordinates)
{
    const TextureCase& c = GetParam();
    const orbhost::Image tex = labelledTexture(c.width, c.height);
    const View view = defaultView();
    const Sphere sphere = place(c.placement, c.height);
    asmtest::SceneSetup setup = geometryScene(c.placement, {{"Texture", "\"Tex\""}, {"Sharpness", "1"}});
    setup.edit = replaceLayerImage(tex);
    const auto r = renderScene(setup, {0, 32});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const TexelAt surface = pointSampled(tex);
    const int compared = compareWithModel(r.image, 32, 1e-6, [&](int x, int y) {
        return expectPixel(view, sphere, x, y, Side::Full, surface);
    }, c.name);
    EXPECT_GT(compared, 15000);
}

INSTANTIATE_TEST_SUITE_P(
    Textures, TexturePlacement,
    testing::Values(TextureCase{"Globe8x6", {40, {80, 60, 0}, {-90, 0, -90}}, 8, 6},
                    TextureCase{"SeamFacingTheViewer7x5", {40, {80, 60, 0}, {-90, 0, 90}}, 7, 5},
                    TextureCase{"Unturned12x4", {40, {80, 60, 0}}, 12, 4},
                    TextureCase{"SlidAndTurned9x7", {38, {84, 57, 20}, {-70, 15, -100}, 0, 0.5, 0.5, 72}, 9, 7},
                    TextureCase{"Opened6x6", {36, {80, 60, 0}, {-90, 0, -90}, 0.5, 0.5, 0.5}, 6, 6}),
    [](const testing::TestParamInfo<TextureCase>& i) { return std::string(i.param.name); });

class TextureCentre : public asmtest::AssemblyTest {};

// A globe turned the default way faces the viewer with the middle of its texture: pixel
// (79, 59), whose ray passes just above and left of the centre, shows column W/2 and, with
// the row correction (V · (H − 1)), the middle row of an odd number of rows.
TEST_F(TextureCentre, FrontOfADefaultGlobeShowsTheMiddleTexel)
{
    const orbhost::Image tex = labelledTexture(4, 3);
    asmtest::SceneSetup setup = asmtest::sceneWith(
        {{"Texture", "\"Tex\""}, {"Sharpness", "1"}, {"Rotation X", "-90"}, {"Rotation Z", "-90"}});
    setup.edit = replaceLayerImage(tex);
    const auto r = renderScene(setup, {0, 32});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const Rgba centre = pixelAt(r.image, 79, 59);
    EXPECT_FLOAT_EQ(float(centre.r), 2.5f / 4) << "column 2 of 4";
    EXPECT_FLOAT_EQ(float(centre.g), 1.5f / 3) << "row 1 of 3";
    EXPECT_FLOAT_EQ(float(centre.a), 1.0f);
    // Right and down on screen are U and V growing: column 3 to the right, row 2 below.
    EXPECT_FLOAT_EQ(float(pixelAt(r.image, 79 + 35, 59).r), 3.5f / 4);
    EXPECT_FLOAT_EQ(float(pixelAt(r.image, 79, 59 + 35).g), 2.5f / 3);
}

// --- The seam ----------------------------------------------------------------------------------

struct SeamCase {
    const char* name;
    const char* sharpness;
};

class TextureSeam : public asmtest::AssemblyParamTest<SeamCase> {};

// A texture of one colour must look the same across the meridian where U wraps: the filtered
// lookups there reach past the texture's right edge and must be joined with the texels from its
// left edge, or the meridian shows as a line of lower alpha. The globe is turned so that the
// seam runs down the middle of the visible face; pixels near the poles are left out, where the
// footprint may reach off the top or bottom row.
TEST_P(TextureSeam, UniformTextureShowsNoSeam)
{
    const Placement p{40, {80, 60, 0}, {-90, 0, 90}};
    const View view = defaultView();
    const Sphere sphere = place(p, 48);
    const auto r = renderScene(geometryScene(p, {{"Texture", "\"Tex\""}, {"Sharpness", GetParam().sharpness}}),
                               {0, 32});
    ASSERT_EQ(r.result, PF_Err_NONE);
    int checked = 0, nearSeam = 0, bad = 0;
    std::ostringstream detail;
    for (int y = 0; y < asmtest::kHeight; ++y)
        for (int x = 0; x < asmtest::kWidth; ++x) {
            const SampleCount c = coverage(view, sphere, x, y);
            if (c.n != 9 || c.fragile)
                continue;
            const UV uv = uvAt(sphere, c.ray.o + c.ray.d * c.hit.tNear);
            if (std::abs(uv.v - 0.5) > 0.3)
                continue;
            ++checked;
            nearSeam += std::min(uv.u, 1 - uv.u) * 60 < 2 ? 1 : 0;
            const Rgba got = pixelAt(r.image, x, y);
            if ((std::abs(got.r - 1) > 1e-5 || std::abs(got.g) > 1e-5 || std::abs(got.b) > 1e-5 ||
                 std::abs(got.a - 1) > 1e-5) &&
                ++bad <= 6)
                detail << "\n  pixel (" << x << ", " << y << ") at U " << uv.u << ": " << str(got);
        }
    EXPECT_EQ(bad, 0) << "pixels that are not the texture's opaque red" << detail.str();
    EXPECT_GT(nearSeam, 40) << "pixels whose lookups straddle the seam";
    EXPECT_GT(checked, 2000);
}

INSTANTIATE_TEST_SUITE_P(Footprints, TextureSeam,
                         testing::Values(SeamCase{"DefaultSharpness", "0.5"}, SeamCase{"WidestFootprint", "0"}),
                         [](const testing::TestParamInfo<SeamCase>& i) { return std::string(i.param.name); });

// --- Slide --------------------------------------------------------------------------------------

class TextureSlide : public asmtest::AssemblyTest {};

// "Slide Texture" turns the texture about the sphere's axis by its angle in turns: a full turn
// of 360° leaves the picture as it was, and a quarter turn shows U + 1/4 (wrapped) everywhere.
TEST_F(TextureSlide, FullTurnChangesNothingAndAQuarterTurnShiftsU)
{
    Placement p{40, {80, 60, 0}, {-90, 0, -90}};
    const auto still = renderScene(geometryScene(p), {0, 32});
    p.slideDeg = 360;
    const auto full = renderScene(geometryScene(p), {0, 32});
    p.slideDeg = 90;
    const auto quarter = renderScene(geometryScene(p), {0, 32});
    p.slideDeg = -450;
    const auto back = renderScene(geometryScene(p), {0, 32});
    ASSERT_EQ(still.result, PF_Err_NONE);
    ASSERT_EQ(full.result, PF_Err_NONE);
    ASSERT_EQ(quarter.result, PF_Err_NONE);
    ASSERT_EQ(back.result, PF_Err_NONE);

    int differ = 0, shifted = 0, wrong = 0, wrongBack = 0;
    for (int y = 0; y < asmtest::kHeight; ++y)
        for (int x = 0; x < asmtest::kWidth; ++x) {
            const Rgba a = pixelAt(still.image, x, y), b = pixelAt(full.image, x, y);
            differ += std::abs(a.r - b.r) + std::abs(a.g - b.g) + std::abs(a.b - b.b) + std::abs(a.a - b.a) > 1e-6;
            if (a.a < 1)
                continue;
            const double want = std::fmod(a.r + 0.25, 1.0), wantBack = std::fmod(a.r + 0.75, 1.0);
            const auto off = [](double got, double w) { return std::min(std::abs(got - w), 1 - std::abs(got - w)); };
            ++shifted;
            wrong += off(pixelAt(quarter.image, x, y).r, want) > 1e-4 ||
                     std::abs(pixelAt(quarter.image, x, y).g - a.g) > 1e-6;
            wrongBack += off(pixelAt(back.image, x, y).r, wantBack) > 1e-4;
        }
    EXPECT_EQ(differ, 0) << "pixels changed by a full turn of the texture";
    EXPECT_GT(shifted, 4000);
    EXPECT_EQ(wrong, 0) << "pixels whose U is not moved by a quarter turn";
    EXPECT_EQ(wrongBack, 0) << "pixels whose U is not moved back by a turn and a quarter";
}

// --- Draft renders ------------------------------------------------------------------------------

// Texture filtering in a draft render. At half resolution the host hands over the texture at
// half its size, so the footprint, measured in the texels of that smaller world, spans the same
// part of the texture as at full resolution: fine detail is filtered no more than it was.

// A texture of columns two texels wide: red alternates dark and light, blue runs through three
// steps. Halved, each pair of equal columns becomes one column of the world the render sees.
Rgba columnColour(int column) { return {double(column % 2), 0.5, (column % 3) / 2.0, 1}; }

orbhost::Image pairedColumns(int halfWidth, int halfHeight)
{
    return imageOf(2 * halfWidth, 2 * halfHeight, [](int x, int) { return columnColour(x / 2); });
}

orbhost::Image halvedColumns(int halfWidth, int halfHeight)
{
    return imageOf(halfWidth, halfHeight, [](int x, int) { return columnColour(x); });
}

// The footprint, in texels of a w × h texture world, of one composition pixel at the point where
// the ray d from the eye meets the (closed) sphere at t, scaled by 1 − "Sharpness": the
// pixel's size at that distance (t / zoom), spread by how obliquely the ray meets the surface,
// over the arc length of the parallel (2π r sinθ) across and of the meridian (π r) down.
Rgba filteredTexel(const orbhost::Image& world, const Sphere& s, const Ray& ray,
                            double t, double zoom, double sharpnessFactor, double* radiusX = nullptr,
                            double scaleX = 1)
{
    const Vec3d p = ray.o + ray.d * t;
    const Vec3d unit = (p - s.centre) * (1 / s.radius);
    Vec3d tangent = cross(s.axes[2], unit);
    tangent = length(tangent) > 0 ? normalized(tangent) : s.axes[0];
    const double c1 = dot(ray.d, tangent);
    const double c2 = std::clamp(std::abs(dot(ray.d, unit)), 0.0001, 0.9999);
    const double q = 1 - c1 * c1 - c2 * c2;
    const double w = std::sqrt(1 - c2 * c2) * c2;
    const double zc = std::min(dot(unit, s.axes[2]), 1.0);
    const double sn = std::max(std::sqrt(1 - zc * zc), 1e-10);
    const double lu = s.radius * sn * 2 * kPiD, lv = s.radius * kPiD;
    const double size = t / zoom;
    const double fx = std::min(std::min(std::abs(std::sqrt(q * c2 * c2 + c1 * c1) / w * size * world.width / lu), 32768.0) *
                                   sharpnessFactor * scaleX,
                               128.0);
    const double fy = std::min(std::min(std::abs(std::sqrt(c2 * c2 * c1 * c1 + q) / w * size * world.height / lv), 32768.0) *
                                   sharpnessFactor,
                               128.0);
    if (radiusX)
        *radiusX = fx;
    const UV uv = uvAt(s, p);
    return areaSample(world, fixedCoord(world.width * uv.u), fixedCoord(world.height * uv.v), fixedRadius(fx),
                      fixedRadius(fy));
}

class DraftTexture : public asmtest::AssemblyTest {};

TEST_F(DraftTexture, HalfResolutionFiltersTheHalvedTextureByItsOwnSize)
{
    constexpr int kHalfWidth = 256, kHalfHeight = 8;
    const Placement p{40, {80, 60, 0}, {-90, 0, -90}};
    asmtest::SceneSetup setup = geometryScene(p, {{"Texture", R"("Tex")"}, {"Sharpness", "0.5"}});
    setup.edit = replaceLayerImage(pairedColumns(kHalfWidth, kHalfHeight));
    const auto r = asmtest::renderScene(setup, {0, 32, 2, 2});
    ASSERT_EQ(r.result, PF_Err_NONE);
    ASSERT_EQ(r.image.width, 80);
    ASSERT_EQ(r.passes.size(), 1u);
    EXPECT_EQ(r.passes[0].texture.width, kHalfWidth) << "the texture world is checked out at half size";

    const orbhost::Image world = halvedColumns(kHalfWidth, kHalfHeight);
    View view = defaultView();
    view.downsample = 2;
    const Sphere sphere = place(p, kHalfHeight);
    int compared = 0, wrong = 0, sensitive = 0;
    std::ostringstream detail;
    for (int y = 0; y < r.image.height; ++y)
        for (int x = 0; x < r.image.width; ++x) {
            const SampleCount c = coverage(view, sphere, x, y);
            if (c.n != 9 || c.fragile)
                continue;
            const UV uv = uvAt(sphere, c.ray.o + c.ray.d * c.hit.tNear);
            if (uv.u < 0.1 || uv.u > 0.9 || uv.v < 0.15 || uv.v > 0.85)
                continue;   // away from the seam and the poles
            double fx = 0;
            const Rgba want = filteredTexel(world, sphere, c.ray, c.hit.tNear, view.zoom, 0.5, &fx);
            if (fx > 8)
                continue;
            ++compared;
            const Rgba got = pixelAt(r.image, x, y);
            const double off = std::max({std::abs(got.r - want.r), std::abs(got.g - want.g), std::abs(got.b - want.b),
                                         std::abs(got.a - want.a)});
            if (off > 2e-3 && ++wrong <= 6)
                detail << "\n  pixel (" << x << ", " << y << ") u " << uv.u << ", footprint " << fx << ": expected "
                       << str(want) << ", got " << str(got);
            // Pixels where a footprint twice as wide would show differently: the filter's size
            // is visible in this picture.
            const Rgba wider = filteredTexel(world, sphere, c.ray, c.hit.tNear, view.zoom, 0.5, nullptr, 2);
            sensitive += std::abs(wider.r - want.r) > 0.05;
        }
    EXPECT_EQ(wrong, 0) << wrong << " of " << compared << " pixels differ" << detail.str();
    EXPECT_GT(compared, 300);
    EXPECT_GT(sensitive, 100);
}

} // namespace
