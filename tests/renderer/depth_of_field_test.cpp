// Depth of field: the sphere's near and far walls are each averaged over a box whose half-size
// grows with the wall's distance from the camera's focus, and pixels next to the outline pick
// up the blurred edge. Seen through a composition camera 300 pixels in front of the sphere.
#include "shading_support.h"

using namespace asmtest;
using namespace shadetest;

namespace {

constexpr double kZoom = 300;
const Eye kCameraEye{{80, 60, -kZoom}, kZoom};

struct Optics {
    double focus = 150, aperture = 40, blurLevel = 100, boost = 100;
    bool cameraDepthOfField = true;

    // The largest blur radius, in pixels.
    double blurScale() const { return kZoom / focus * (aperture / 10) * (boost / 100 * blurLevel / 100); }
    // The blur radius of a surface at distance d along the ray.
    double radius(double d) const { return blurScale() / (focus / std::max(std::abs(d - focus), 0.00001) + 1); }
};

std::string cameraLayer(const Optics& o)
{
    return R"({ "name": "Cam", "type": "camera", "position": [80, 60, -300], "pointOfInterest": [80, 60, 0],
                "camera": { "zoom": 300, "depthOfField": )" +
           std::string(o.cameraDepthOfField ? "true" : "false") + R"(, "focusDistance": )" + num(o.focus) +
           R"(, "aperture": )" + num(o.aperture) + R"(, "blurLevel": )" + num(o.blurLevel) + " } },";
}

// The untextured sphere (the (U, V) gradient, opaque everywhere), turned a quarter about x,
// lit by emission only.
SceneSetup blurredScene(const Optics& o, const std::string& side, const std::string& mode = "On")
{
    Surface s;
    std::map<std::string, std::string> params = surfaceParams(s);
    params["Texture"] = "null";
    params["Depth Of Field"] = "\"" + mode + "\"";
    params["Boost DOF Blur"] = num(o.boost);
    params["Render Side"] = "\"" + side + "\"";
    return sceneWith(params, cameraLayer(o));
}

// The colour of the untextured sphere at p: red U, green V of the point in the sphere's own
// frame (x along the composition's x, y along its z, z pointing up the screen).
Rgba gradientAt(Vec3d p, const Ball& ball)
{
    const Vec3d d = (p - ball.centre) * (1 / ball.radius);
    const Vec3d q = normalized({d[0], d[2], -d[1]});
    const double v = 1 - std::acos(q[2]) / kPi;
    double u = -std::atan2(q[1], q[0]) / (2 * kPi);
    if (u < 0)
        u += 1;
    return {u, v, 0, 1};
}

// 16.16 fixed point, rounded half away from zero, as the sampler is handed its box.
double fixedOf(double v) { return std::round(v * 65536) / 65536; }

// The weights with which a box of half-size r about column (or row) u covers the pixels of an
// axis of `size` pixels: the box is first clamped to the frame (shrinking it, moving its
// centre inward), then handed over as centre and radius; the sampler spans [centre − radius +
// 0.5, centre + radius + 0.5] in pixel edges and divides by the box's whole length.
std::vector<std::pair<int, double>> boxWeights(int u, double r, int size)
{
    const double lo = std::max(u - r, 0.0), hi = std::min(u + r, double(size - 1));
    const double centre = fixedOf((lo + hi) / 2), radius = std::max(fixedOf((hi - lo) / 2), 1 / 65536.0);
    const double a = std::max(centre - radius + 0.5, 0.0), b = std::min(centre + radius + 0.5, double(size));
    std::vector<std::pair<int, double>> w;
    for (int i = int(std::floor(a)); i < b; ++i)
        w.emplace_back(i, (std::min(b, i + 1.0) - std::max(a, double(i))) / (2 * radius));
    return w;
}

// What the gather pass must make of a frame: each wall's layer holds its colour with alpha =
// coverage where that wall may be shown; each pixel's two depths are its walls' distances, or for an empty
// pixel that the blur can reach the ray's closest approach to the sphere in both.
class BlurModel {
public:
    BlurModel(const Optics& o, bool front, bool back) : optics_(o)
    {
        const Ball ball;
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                const PixelView v = viewOf(kCameraEye, ball, x, y);
                const std::size_t i = index(x, y);
                const double c = v.hits / 9.0;
                if (v.hits > 0) {
                    if (front) {
                        frontLayer_[i] = gradientAt(kCameraEye.position + v.dir * v.cross.tNear, ball);
                        frontLayer_[i].a = c;
                    }
                    if (back) {
                        backLayer_[i] = gradientAt(kCameraEye.position + v.dir * v.cross.tFar, ball);
                        backLayer_[i].a = c;
                    }
                    frontDepth_[i] = front ? v.cross.tNear : -1;
                    backDepth_[i] = back ? v.cross.tFar : -1;
                } else {
                    const double t = v.cross.closest;
                    const double projected = kZoom * v.cross.gap / t;
                    projected_[i] = projected;
                    const double depth = o.blurScale() <= projected ? -1 : t;
                    frontDepth_[i] = backDepth_[i] = depth;
                }
            }
    }

    Rgba pixel(int x, int y) const
    {
        const std::size_t i = index(x, y);
        const bool frontNear = backDepth_[i] > frontDepth_[i];
        const double nearDepth = std::min(frontDepth_[i], backDepth_[i]);
        const double farDepth = std::max(frontDepth_[i], backDepth_[i]);
        const auto& nearLayer = frontNear ? frontLayer_ : backLayer_;
        const auto& farLayer = frontNear ? backLayer_ : frontLayer_;
        const Rgba n = nearDepth < 0 ? Rgba{} : average(nearLayer, x, y, optics_.radius(nearDepth));
        const Rgba q = farDepth < 0 || n.a >= 1 ? Rgba{} : average(farLayer, x, y, optics_.radius(farDepth));
        return over(n, q);
    }

    // How far an empty pixel is from the blur's reach, relative to it; large for hit pixels.
    double reachMargin(int x, int y) const
    {
        const double p = projected_[index(x, y)];
        return std::abs(p - optics_.blurScale()) / std::max(optics_.blurScale(), 1e-9);
    }

private:
    static std::size_t index(int x, int y) { return std::size_t(y) * kWidth + std::size_t(x); }

    // The sampler's box average: alpha-weighted colour, straight again afterwards.
    Rgba average(const std::vector<Rgba>& layer, int x, int y, double r) const
    {
        Rgba sum;
        for (auto [i, wx] : boxWeights(x, r, kWidth))
            for (auto [j, wy] : boxWeights(y, r, kHeight)) {
                const Rgba& p = layer[index(i, j)];
                const double w = wx * wy * p.a;
                sum.r += w * p.r, sum.g += w * p.g, sum.b += w * p.b, sum.a += w;
            }
        if (sum.a > 0)
            sum.r /= sum.a, sum.g /= sum.a, sum.b /= sum.a;
        return sum;
    }

    Optics optics_;
    std::vector<Rgba> frontLayer_ = std::vector<Rgba>(kWidth * kHeight);
    std::vector<Rgba> backLayer_ = std::vector<Rgba>(kWidth * kHeight);
    std::vector<double> frontDepth_ = std::vector<double>(kWidth * kHeight, -1.0);
    std::vector<double> backDepth_ = std::vector<double>(kWidth * kHeight, -1.0);
    std::vector<double> projected_ = std::vector<double>(kWidth * kHeight, 1e9);
};

struct BlurCase {
    std::string name;
    Optics optics;
    std::string side = "Full";
    std::string mode = "On";
    int minSpilled = 50;   // empty pixels next to the outline that must pick up some blur
};

void PrintTo(const BlurCase& c, std::ostream* os) { *os << c.name; }

class DepthOfFieldBlur : public AssemblyParamTest<BlurCase> {};
class DepthOfField : public AssemblyTest {};

} // namespace

// Every pixel of the frame against the blur worked out from the camera's optics: the blurred
// outline spreads into the empty pixels next to it and thins the sphere's own edge pixels;
// pixels beyond the blur's reach stay fully transparent; inside, the opaque near wall hides
// the far one; colours are the walls' own, averaged as the blur mixes them.
TEST_P(DepthOfFieldBlur, BlursEachWallByItsDistanceFromTheFocus)
{
    const BlurCase& c = GetParam();
    const Rendered r = renderScene(blurredScene(c.optics, c.side, c.mode), kFloat);
    ASSERT_EQ(r.result, PF_Err_NONE);
    ASSERT_EQ(r.passes.size(), 2u) << "a buffered pass and a gather pass";
    EXPECT_NEAR(r.passes[0].blurScale, c.optics.blurScale(), 1e-6 * std::max(1.0, c.optics.blurScale()));

    const BlurModel model(c.optics, c.side != "Inside", c.side != "Outside");
    int failures = 0, spilled = 0, empty = 0;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            if (model.reachMargin(x, y) < 0.02)
                continue;   // an empty pixel right at the blur's reach could go either way
            const Rgba want = model.pixel(x, y);
            const Rgba got = pixelAt(r.image, x, y);
            const std::string where = c.name + " at (" + std::to_string(x) + ", " + std::to_string(y) + ")";
            if (failures < 5) {
                if (want.a == 0) {
                    if (!(got.r == 0 && got.g == 0 && got.b == 0 && got.a == 0)) {
                        ADD_FAILURE() << where << ": expected all zero, got " << describe(got);
                        ++failures;
                    }
                } else if (!matches(got, want, want.a > 0.01 ? 2e-3 : 0.2, where)) {
                    ++failures;   // (the colour of a nearly transparent pixel is ill-defined)
                }
            }
            spilled += viewOf(kCameraEye, Ball{}, x, y).hits == 0 && want.a > 0.01;
            empty += want.a == 0;
        }
    EXPECT_GE(spilled, c.minSpilled) << c.name << ": blur reaches past the outline";
    if (c.optics.blurScale() == 0) {
        EXPECT_EQ(spilled, 0) << c.name << ": a sharp camera spills nothing";
    }
    EXPECT_GT(empty, 5000) << c.name << ": far from the sphere the frame stays empty";
}

INSTANTIATE_TEST_SUITE_P(
    DepthOfField, DepthOfFieldBlur,
    testing::Values(
        // Focus 150 pixels from the camera: the sphere (260 to 340) is behind it; K = 8.
        BlurCase{"FocusInFront", {150, 40}},
        // The same K from a boosted blur at a lower blur level.
        BlurCase{"BoostedBlurLevel", {150, 40, 40, 250}},
        // "Camera Settings" follows the camera's own switch.
        BlurCase{"CameraSettings", {150, 40}, "Full", "Camera Settings"},
        // Focus behind the sphere, where the far wall is sharper than the near one.
        BlurCase{"FocusBehind", {500, 500.0 / 3}},
        // Focus on the near wall: a slight blur at the outline only.
        BlurCase{"FocusOnTheNearWall", {260, 30}, "Full", "On", 0},
        // A closed aperture: every pixel is its own sample.
        BlurCase{"ApertureClosed", {150, 0}, "Full", "On", 0},
        // "Inside": the near layer is empty, so the far wall alone is blurred and shown.
        BlurCase{"InsideShowsTheFarWallBlurred", {150, 40}, "Inside"},
        // "Outside": the far layer is empty.
        BlurCase{"OutsideShowsTheNearWallBlurred", {400, 60}, "Outside"}),
    [](const auto& info) { return info.param.name; });

// With the aperture closed the two-pass render shows what the direct pass shows: the same
// colours wherever the sphere covers a pixel fully (the opaque near wall hiding the far one,
// whose colour differs on the untextured sphere), the same empty pixels, and at the outline
// the two walls' coverage-weighted layers over each other (alpha c + (1 − c)·c, c alone when
// only one wall may show).
TEST_F(DepthOfField, ClosedApertureMatchesTheDirectPass)
{
    for (const std::string side : {"Full", "Inside"}) {
        const Optics closed{150, 0};
        const Rendered direct = renderScene(blurredScene(closed, side, "Off"), kFloat);
        const Rendered blurred = renderScene(blurredScene(closed, side, "On"), kFloat);
        ASSERT_EQ(direct.result, PF_Err_NONE);
        ASSERT_EQ(blurred.result, PF_Err_NONE);
        ASSERT_EQ(direct.passes.size(), 1u);
        ASSERT_EQ(blurred.passes.size(), 2u);
        int failures = 0, partial = 0;
        for (int y = 0; y < kHeight && failures < 5; ++y)
            for (int x = 0; x < kWidth && failures < 5; ++x) {
                const Rgba d = pixelAt(direct.image, x, y), b = pixelAt(blurred.image, x, y);
                const std::string where = side + " at (" + std::to_string(x) + ", " + std::to_string(y) + ")";
                const double c = d.a;
                const double want = side == "Full" ? c + (1 - c) * c : c;
                partial += c > 0 && c < 1;
                if (std::abs(b.a - want) > 1e-5) {
                    ADD_FAILURE() << where << ": alpha " << b.a << ", expected " << want;
                    ++failures;
                } else if ((c == 1 || (side == "Inside" && c > 0)) && !matches(b, d, 1e-5, where)) {
                    ++failures;
                }
            }
        EXPECT_GT(partial, 100) << side << ": the outline was checked";
    }
}
