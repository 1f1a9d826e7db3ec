// The reflection map: the view ray mirrored about the surface normal picks its colour from a
// latitude/longitude image fixed to the composition, weighted by "Reflection Intensity" and
// the rolloff towards grazing angles, tinted by "Metal". The sphere has no lights and no
// emission here, so what shows is the reflection alone.
#include "renderer/renderer_model.h"


using namespace asmtest;
using namespace rtest;

namespace {

// A map of 8 × 4 bands, each 8 pixels square, told apart by their red (column) and green
// (row) values.
constexpr int kBandsX = 8, kBandsY = 4, kBand = 8;
constexpr int kMapWidth = kBandsX * kBand, kMapHeight = kBandsY * kBand;

Vec3d bandColour(int column, int row) { return {(column + 0.5) / kBandsX, (row + 0.5) / kBandsY, 0.5}; }

orbhost::Image bandedMap()
{
    return imageOf(kMapWidth, kMapHeight, [](int x, int y) {
        const Vec3d c = bandColour(x / kBand, y / kBand);
        return Rgba{c[0], c[1], c[2], 1};
    });
}

// Where the mirrored ray of a pixel reads the map: the sample's centre in map pixels and its
// half-sizes, the weight that the view angle gives it and the map's latitude there. Towards
// the map's top and bottom rows a step across the view sweeps more of the map's width (its
// parallels are shorter there), so the sample widens across; `widen` false leaves that out.
struct MapRead {
    double x = 0, y = 0, rx = 0, ry = 0;
    double weight = 0, latitude = 0;
};

MapRead mapRead(const ContextSnapshot& ctx, int px, int py, double sharpness, double rolloff, double intensity, int width, int height,
                bool widen = true)
{
    const Shot v = shot(ctx, px, py);
    const WorldHit h = worldHit(ctx, v, v.tNear);
    const Vec3d d = h.d, n = h.n;   // the wall facing the viewer
    const double c = dot(n, d);
    const Vec3d r = normalized(d - n * (2 * c));
    const Vec3d b = normalized(cross(d, n));
    // How fast the mirrored ray sweeps the map as the view ray moves.
    const Vec3d x = cross(r, b);
    const Vec3d e = normalized(cross(r, {0, 1, 0}));
    const Vec3d g = cross(r, e);
    const double du = std::sqrt(dot(e, x) * dot(e, x) / (c * c) + dot(e, b) * dot(e, b));
    const double dv = std::sqrt(dot(g, x) * dot(g, x) / (c * c) + dot(g, b) * dot(g, b));
    // Latitude from y (up on screen is the map's first row), longitude from z and x.
    const double lat = 1 - std::acos(r[1]) / kPi;
    const double sv = 1 - lat * lat > 0 ? std::sqrt(1 - lat * lat) : 1e-5;
    double lon = std::atan2(r[2], r[0]) / (2 * kPi) - 0.25;
    lon -= std::floor(lon);
    MapRead m;
    m.x = width * lon, m.y = height * lat, m.latitude = lat;
    m.rx = std::max((widen ? du / sv : du) * (1 - sharpness), 1 / 65536.0);
    m.ry = std::max(dv * (1 - sharpness), 1 / 65536.0);
    m.weight = std::pow(1 - std::abs(c), 10 * rolloff / 100) * intensity / 100;
    return m;
}

struct PlacementCase {
    std::string name;
    std::map<std::string, std::string> params;
    double intensity = 100, metal = 0, sharpness = 0.5;
};

void PrintTo(const PlacementCase& c, std::ostream* os) { *os << c.name; }

class ReflectionPlacement : public AssemblyParamTest<PlacementCase> {};
class Reflection : public AssemblyTest {};

Surface dark(double metal = 0)
{
    Surface s;
    s.emit = 0;
    s.metal = metal;
    return s;
}

} // namespace

// Each pixel shows the host's area sample of the map where its mirrored ray points (× the
// tint and the weight): left of the sphere the map's left quarter, right of it the right
// quarter, the middle the map's centre, above it the upper rows, below the lower ones.
TEST_P(ReflectionPlacement, MirroredRaysReadTheBandTheyPointAt)
{
    const PlacementCase& c = GetParam();
    const Surface s = dark(c.metal);
    std::map<std::string, std::string> params = c.params;
    params["Reflection Map"] = R"("Refl")";
    params["Reflection Rolloff"] = "0";
    params["Reflection Intensity"] = num(c.intensity);
    params["Sharpness"] = num(c.sharpness);
    SceneSetup setup = litScene(s, {}, params);
    setup.edit = replaceLayerImage(bandedMap(), "Refl");
    const Rendered r = renderScene(setup, kFloat);
    ASSERT_EQ(r.result, PF_Err_NONE);

    const orbhost::Image map = bandedMap();
    int sensitive = 0;   // pixels where a sample not widened toward the poles would read otherwise
    const auto sample = [&](int x, int y, bool widen) {
        const MapRead m = mapRead(r.ctx(), x, y, c.sharpness, 0, c.intensity, kMapWidth, kMapHeight, widen);
        return areaSample(map, fixedCoord(m.x), fixedCoord(m.y), fixedRadius(m.rx), fixedRadius(m.ry));
    };
    expectPixels(
        r.image, facingPixels(r.ctx(), 2, 22, 0.3),
        [&](int x, int y) {
            const Rgba read = sample(x, y, true);
            sensitive += std::abs(read.r - sample(x, y, false).r) > 0.01;
            const Vec3d colour = mul(Vec3d{read.r, read.g, read.b}, s.tint()) * (c.intensity / 100);
            return Rgba{colour[0], colour[1], colour[2], 1};
        },
        2e-3, c.name);
    EXPECT_GT(sensitive, 0) << "pixels where the widening toward the poles shows";
}

INSTANTIATE_TEST_SUITE_P(
    Reflection, ReflectionPlacement,
    testing::Values(PlacementCase{"FullIntensity", {}},
                    PlacementCase{"PartIntensity", {}, 60},
                    PlacementCase{"MetalTintsWithTheTexture", {}, 100, 100},
                    PlacementCase{"SharpestSample", {}, 100, 0, 0},
                    // The map belongs to the composition: turning the sphere moves its texture,
                    // not its reflection.
                    PlacementCase{"SphereTurned", {{"Rotation Z", "30"}}, 80, 50}),
    [](const auto& info) { return info.param.name; });

namespace {

struct RolloffCase {
    std::string name;
    double rolloff, intensity;
    double metal = 0;
    bool selfShadow = false;
};

void PrintTo(const RolloffCase& c, std::ostream* os) { *os << c.name; }

class ReflectionRolloff : public AssemblyParamTest<RolloffCase> {};

} // namespace

// On a plain green map the reflection is the weight alone: (1 − |N·D|)^(10 · rolloff) ×
// intensity, uniform at rolloff 0, and otherwise faint where the surface faces the eye and
// strong towards the outline.
TEST_P(ReflectionRolloff, WeighsTheReflectionByTheViewAngle)
{
    const RolloffCase& c = GetParam();
    Surface s = dark(c.metal);
    s.selfShadow = c.selfShadow;
    s.transmission = 50;
    const Rendered r = renderScene(litScene(s, {}, {{"Reflection Map", R"("Refl")"},
                                                    {"Reflection Rolloff", num(c.rolloff)},
                                                    {"Reflection Intensity", num(c.intensity)}}),
                                   kFloat);
    ASSERT_EQ(r.result, PF_Err_NONE);
    const auto model = [&](int x, int y) {
        const MapRead m = mapRead(r.ctx(), x, y, 0.5, c.rolloff, c.intensity, 30, 12);
        return Rgba{0, m.weight * s.tint()[1], 0, 1};
    };
    expectPixels(r.image, facingPixels(r.ctx(), 3, 22, 0.2), model, 1e-3, c.name);

    // The middle of the face against a pixel near the outline on the same row.
    const Rgba middle = pixelAt(r.image, 79, 59), outline = pixelAt(r.image, 44, 59);
    if (c.rolloff == 0) {
        EXPECT_NEAR(middle.g, outline.g, 1e-6) << c.name;
    } else {
        EXPECT_LT(middle.g, 0.5 * outline.g) << c.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Reflection, ReflectionRolloff,
                         testing::Values(RolloffCase{"NoRolloffIsUniform", 0, 100},
                                         RolloffCase{"NoRolloffPartIntensity", 0, 35},
                                         RolloffCase{"DefaultRolloff", 10, 100},
                                         RolloffCase{"HalfRolloff", 50, 80},
                                         RolloffCase{"FullRolloff", 100, 100},
                                         RolloffCase{"MetalTakesTheTexturesGreen", 10, 100, 100},
                                         // A closed sphere never stands in its own mirrored rays.
                                         RolloffCase{"SelfShadowOnAClosedSphere", 10, 100, 0, true}),
                         [](const auto& info) { return info.param.name; });

// With "Reflection Intensity" 0, or without a map layer, the picture is exactly the one
// without reflection: the emitted texture colour.
TEST_F(Reflection, NoneWithoutIntensityOrMap)
{
    Surface s;
    s.emit = 70;
    const Rendered plain = renderScene(litScene(s, {}), kFloat);
    ASSERT_EQ(plain.result, PF_Err_NONE);
    const std::map<std::string, std::string> variants[] = {
        {{"Reflection Map", R"("Refl")"}, {"Reflection Intensity", "0"}},
        {{"Reflection Map", "null"}, {"Reflection Intensity", "100"}},
    };
    for (const auto& params : variants) {
        const Rendered r = renderScene(litScene(s, {}, params), kFloat);
        ASSERT_EQ(r.result, PF_Err_NONE);
        EXPECT_EQ(r.image.rgba, plain.image.rgba) << params.begin()->second << " / " << params.rbegin()->second;
    }
    expectPixels(
        plain.image, facingPixels(plain.ctx()),
        [&](int x, int y) { return expectedPixel(plain.ctx(), s, {}, {}, x, y); }, 1e-4, "emission only");
}
