// The reflection map: the mirrored view ray reads a latitude/longitude image fixed to the
// composition, weighted by "Reflection Intensity" and the rolloff towards grazing angles, tinted
// by "Metal". Without lights or emission the reflection alone shows.
#include "renderer/renderer_model.h"

using namespace asmtest;
using namespace rtest;

namespace {

// 8 × 4 bands of 8 × 8 pixels: red tells the column, green the row.
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

// Where a pixel's mirrored ray reads the map (centre and half-sizes in map pixels). Towards the
// poles the map's parallels are shorter, so the sample widens across; `widen` false leaves that out.
struct MapRead {
    double x = 0, y = 0, rx = 0, ry = 0;
};

MapRead mapRead(const ContextSnapshot& ctx, int px, int py, double sharpness, int width, int height, bool widen = true)
{
    const Shot v = shot(ctx, px, py);
    const WorldHit h = worldHit(ctx, v, v.tNear);
    const Vec3d d = h.d, n = h.n;
    const double c = dot(n, d);
    const Vec3d r = normalized(d - n * (2 * c));
    const Vec3d b = normalized(cross(d, n));
    const Vec3d x = cross(r, b);
    const Vec3d e = normalized(cross(r, {0, 1, 0}));
    const Vec3d g = cross(r, e);
    const double du = std::sqrt(dot(e, x) * dot(e, x) / (c * c) + dot(e, b) * dot(e, b));
    const double dv = std::sqrt(dot(g, x) * dot(g, x) / (c * c) + dot(g, b) * dot(g, b));
    const double lat = 1 - std::acos(r[1]) / kPi;
    const double sv = 1 - lat * lat > 0 ? std::sqrt(1 - lat * lat) : 1e-5;
    double lon = std::atan2(r[2], r[0]) / (2 * kPi) - 0.25;
    lon -= std::floor(lon);
    MapRead m;
    m.x = width * lon, m.y = height * lat;
    m.rx = std::max((widen ? du / sv : du) * (1 - sharpness), 1 / 65536.0);
    m.ry = std::max(dv * (1 - sharpness), 1 / 65536.0);
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

} // namespace

// Each pixel shows the host's area sample of the map where its mirrored ray points, × tint
// and weight.
TEST_P(ReflectionPlacement, MirroredRaysReadTheBandTheyPointAt)
{
    const PlacementCase& c = GetParam();
    const Surface s{.emit = 0, .metal = c.metal};
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
        const MapRead m = mapRead(r.ctx(), x, y, c.sharpness, kMapWidth, kMapHeight, widen);
        return areaSample(map, fixedCoord(m.x), fixedCoord(m.y), fixedRadius(m.rx), fixedRadius(m.ry));
    };
    compareWithModel(
        r.image, 2e-3,
        [&](int x, int y) {
            const Rgba read = sample(x, y, true);
            sensitive += std::abs(read.r - sample(x, y, false).r) > 0.01;
            const Vec3d colour = mul(Vec3d{read.r, read.g, read.b}, s.tint()) * (c.intensity / 100);
            return Rgba{colour[0], colour[1], colour[2], 1};
        },
        c.name, facingPixels(r.ctx(), 2, 22, 0.3));
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

// On a plain green map the reflection is the weight alone, bit for bit: (1 − |N·D|)^(10 · rolloff) × intensity.
TEST_P(ReflectionRolloff, WeighsTheReflectionByTheViewAngle)
{
    const RolloffCase& c = GetParam();
    const Surface s{.emit = 0, .metal = c.metal, .transmission = 50, .selfShadow = c.selfShadow};
    const Rendered r = renderScene(litScene(s, {}, {{"Reflection Map", R"("Refl")"},
                                                    {"Reflection Rolloff", num(c.rolloff)},
                                                    {"Reflection Intensity", num(c.intensity)}}),
                                   kFloat);
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& ctx = r.ctx();
    const auto model = [&](int x, int y) {   // N·D in float, the power in double narrowed once
        const Shot v = shot(ctx, x, y);
        const F4 p = pointAt(v.ray, v.tNear), n = normalise({p[0] * ctx.invRadiusSq.x, p[1] * ctx.invRadiusSq.y, p[2] * ctx.invRadiusSq.z});
        const float cosine = n[0] * v.ray.d[0] + n[1] * v.ray.d[1] + n[2] * v.ray.d[2];
        const double grazing = std::max(0.0, 1.0 - std::abs(double(cosine)));
        return Rgba{0, float(std::pow(grazing, 10.0 * ctx.reflectionRolloff) * ctx.reflectionIntensity) * float(s.tint()[1]), 0, 1};
    };
    compareWithModel(r.image, 0, model, c.name, facingPixels(ctx, 3, 22, 0.2));
}

INSTANTIATE_TEST_SUITE_P(Reflection, ReflectionRolloff,
                         testing::Values(RolloffCase{"NoRolloffIsUniform", 0, 100},
                                         RolloffCase{"DefaultRolloff", 10, 100},
                                         RolloffCase{"HalfRolloff", 50, 80},
                                         RolloffCase{"FullRolloff", 100, 100},
                                         RolloffCase{"MetalTakesTheTexturesGreen", 10, 100, 100},
                                         // A closed sphere never stands in its own mirrored rays.
                                         RolloffCase{"SelfShadowOnAClosedSphere", 10, 100, 0, true}),
                         [](const auto& info) { return info.param.name; });

// With "Reflection Intensity" 0, or without a map layer, the picture is the one without reflection.
TEST_F(Reflection, NoneWithoutIntensityOrMap)
{
    const Surface s{.emit = 70};
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
}
