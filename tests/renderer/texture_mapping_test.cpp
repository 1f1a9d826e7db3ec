// Where the texture lands: the texel each pixel shows, the seam where U wraps (moved by the
// opening), and the filter footprint of a draft render.
#include "renderer/renderer_model.h"

using namespace rtest;
using asmtest::renderScene;

namespace {

// Red and green tell a texel's column and row, blue alternates.
orbhost::Image labelledTexture(int w, int h)
{
    return imageOf(w, h, [w, h](int x, int y) { return Rgba{(x + 0.5) / w, (y + 0.5) / h, (x + y) % 2 ? 0.75 : 0.25, 1}; });
}

struct TextureCase {
    const char* name;
    Placement placement;
    int width, height;
    int side = 1;
    bool periodShows = false;   // the seam's period taken in float would change some pixels
};

class TexturePlacement : public asmtest::AssemblyParamTest<TextureCase> {};

// With "Sharpness" 1 a lookup is a point sample at (W·U, H·V·(1 − 1/H)), joined within one texel
// of the seam by one from the texture's other end. On the sheet "Open Parameter" 1 makes, the
// seam's period is about 10⁴ texture widths, so its square root's precision shows at the left edge.
TEST_P(TexturePlacement, EachPixelShowsTheTexelAtItsCoordinates)
{
    const TextureCase& c = GetParam();
    const orbhost::Image tex = labelledTexture(c.width, c.height);
    asmtest::SceneSetup setup = geometryScene(c.placement, {{"Texture", "\"Tex\""}, {"Sharpness", "1"}, {"Render Side", std::to_string(c.side)}});
    setup.edit = replaceLayerImage(tex);
    const auto r = renderScene(setup, {0, 32});
    ASSERT_EQ(r.result, PF_Err_NONE);
    int periodSensitive = 0;
    const auto model = [&](int x, int y) {
        const TexelAt texel = [&](const F4& p, const UV& uv) {
            const Rgba want = textureSample(r.ctx(), tex, p, uv, 0, 0);
            const Rgba other = textureSample(r.ctx(), tex, p, uv, 0, 0, true);
            periodSensitive += want.a != other.a || want.r != other.r;
            return want;
        };
        return expectPixel(r.ctx(), x, y, texel);
    };
    EXPECT_GT(compareWithModel(r.image, 1e-6, model, c.name), 3000);
    if (c.periodShows) {
        EXPECT_GT(periodSensitive, 10) << "pixels that a float square root in the seam's period would change";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Textures, TexturePlacement,
    testing::Values(TextureCase{"Globe8x6", {40, {80, 60, 0}, {-90, 0, -90}}, 8, 6},
                    TextureCase{"SeamFacingTheViewer7x5", {40, {80, 60, 0}, {-90, 0, 90}}, 7, 5},
                    TextureCase{"SlidAndTurned9x7", {38, {84, 57, 20}, {-70, 15, -100}, 0, 0.5, 0.5, 72}, 9, 7},
                    TextureCase{"Opened6x6", {36, {80, 60, 0}, {-90, 0, -90}, 0.5, 0.5, 0.5}, 6, 6},
                    // So wide that W·U rounded to float would move the sample across texel edges.
                    TextureCase{"Wide16384x4", {40, {80, 60, 0}, {-90, 0, -90}}, 16384, 4},
                    // The sheet through a pivot at 45° latitude, the seam's period about 7071.
                    TextureCase{"OpenedToASheet256x8", {150, {80, 60, 0}, {-135, 0, -90}, 1, 0.5, 0.75, -172.8}, 256, 8, 3, true}),
    [](const testing::TestParamInfo<TextureCase>& i) { return std::string(i.param.name); });

// Filtered lookups across the meridian where U wraps join both ends of the texture, so a
// uniform texture shows no line of lower alpha there (the poles left out).
TEST(TextureSeam, UniformTextureShowsNoSeam)
{
    for (const char* sharpness : {"0.5", "0"}) {
        const auto r = renderScene(geometryScene({40, {80, 60, 0}, {-90, 0, 90}}, {{"Texture", "\"Tex\""}, {"Sharpness", sharpness}}),
                                   {0, 32});
        ASSERT_EQ(r.result, PF_Err_NONE);
        int checked = 0, nearSeam = 0, failures = 0;
        for (int y = 0; y < asmtest::kHeight; ++y)
            for (int x = 0; x < asmtest::kWidth; ++x) {
                const Shot s = shot(r.ctx(), x, y);
                const UV uv = s.n == 9 ? textureUV(r.ctx(), pointAt(s.ray, s.tNear)) : UV{0, 0};
                if (std::abs(uv.v - 0.5) > 0.3)
                    continue;
                ++checked;
                nearSeam += std::min(uv.u, 1 - uv.u) * 60 < 2;
                matches(pixelAt(r.image, x, y), {1, 0, 0, 1}, 1e-5, std::string("sharpness ") + sharpness, failures);
            }
        EXPECT_GT(nearSeam, 40) << "pixels whose lookups straddle the seam";
        EXPECT_GT(checked, 2000);
    }
}

// Columns two texels wide: red alternates, blue runs through three steps.
Rgba columnColour(int column) { return {double(column % 2), 0.5, (column % 3) / 2.0, 1}; }

// The footprint of one composition pixel on the closed sphere, × (1 − "Sharpness"): its size
// there (t / zoom), spread by the ray's obliquity, over the parallel's (2π r sinθ) and the
// meridian's (π r) arc lengths.
Rgba filteredTexel(const ContextSnapshot& c, const orbhost::Image& world, const Shot& s, double sharpnessFactor,
                   double* radiusX = nullptr, double scaleX = 1)
{
    const F4 P = pointAt(s.ray, s.tNear);
    const double r = c.radius.x;
    const Vec3d unit = wide(P) * (1 / r), d = wide(s.ray.d);
    Vec3d tangent = cross({0, 0, 1}, unit);
    tangent = length(tangent) > 0 ? normalized(tangent) : Vec3d{1, 0, 0};
    const double c1 = dot(d, tangent), c2 = std::clamp(std::abs(dot(d, unit)), 0.0001, 0.9999);
    const double q = 1 - c1 * c1 - c2 * c2, w = std::sqrt(1 - c2 * c2) * c2;
    const double zc = std::min(unit[2], 1.0), sn = std::max(std::sqrt(1 - zc * zc), 1e-10);
    const double size = s.tNear / -c.viewPlaneZ;
    const double fx = std::min(std::min(std::sqrt(q * c2 * c2 + c1 * c1) / w * size * world.width / (r * sn * 2 * kPiD), 32768.0) *
                                   sharpnessFactor * scaleX, 128.0);
    const double fy = std::min(std::min(std::sqrt(c2 * c2 * c1 * c1 + q) / w * size * world.height / (r * kPiD), 32768.0) *
                                   sharpnessFactor, 128.0);
    if (radiusX)
        *radiusX = fx;
    return textureSample(c, world, P, textureUV(c, P), fx, fy);
}

// At half resolution the host hands over the texture at half size; measured in its texels the
// footprint spans the same part of the texture as at full resolution.
TEST(DraftTexture, HalfResolutionFiltersTheHalvedTextureByItsOwnSize)
{
    constexpr int kHalfWidth = 256, kHalfHeight = 8;
    asmtest::SceneSetup setup = geometryScene({40, {80, 60, 0}, {-90, 0, -90}}, {{"Texture", R"("Tex")"}, {"Sharpness", "0.5"}});
    setup.edit = replaceLayerImage(imageOf(2 * kHalfWidth, 2 * kHalfHeight, [](int x, int) { return columnColour(x / 2); }));
    const auto r = renderScene(setup, {0, 32, 2, 2});
    ASSERT_EQ(r.result, PF_Err_NONE);
    ASSERT_EQ(r.image.width, 80);
    EXPECT_EQ(r.ctx().texture.width, kHalfWidth) << "the texture world is checked out at half size";
    const orbhost::Image world = imageOf(kHalfWidth, kHalfHeight, [](int x, int) { return columnColour(x); });
    int compared = 0, failures = 0, sensitive = 0;
    for (int y = 0; y < r.image.height; ++y)
        for (int x = 0; x < r.image.width; ++x) {
            const Shot s = shot(r.ctx(), x, y);
            const UV uv = s.n == 9 ? textureUV(r.ctx(), pointAt(s.ray, s.tNear)) : UV{};
            if (uv.u < 0.1 || uv.u > 0.9 || uv.v < 0.15 || uv.v > 0.85)
                continue;   // away from the seam and the poles
            double fx = 0;
            const Rgba want = filteredTexel(r.ctx(), world, s, 0.5, &fx);
            if (fx > 8)
                continue;
            ++compared;
            matches(pixelAt(r.image, x, y), want, 2e-3, "pixel " + std::to_string(x) + ", " + std::to_string(y), failures);
            sensitive += std::abs(filteredTexel(r.ctx(), world, s, 0.5, nullptr, 2).r - want.r) > 0.05;
        }
    EXPECT_GT(compared, 300);
    EXPECT_GT(sensitive, 100);
}

} // namespace
