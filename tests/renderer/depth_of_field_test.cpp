// Depth of field: each wall is averaged over a box that grows with its distance from the
// camera's focus, seen through a camera 300 pixels in front of the sphere.
#include "renderer/renderer_model.h"

using namespace asmtest;
using namespace rtest;

namespace {

constexpr double kZoom = 300;

struct Optics {
    double focus = 150, aperture = 40, blurLevel = 100, boost = 100;

    double blurScale() const { return kZoom / focus * (aperture / 10) * (boost / 100 * blurLevel / 100); }
    double radius(double d) const { return blurScale() / (focus / std::max(std::abs(d - focus), 0.00001) + 1); }
};

struct BlurCase {
    std::string name;
    Optics optics;
    std::string side = "Full";
    int minSpilled = 50;   // empty pixels next to the outline that must pick up some blur (full size)
    Placement placement{40, {80, 60, 0}, {90, 0, 0}};
    double ellipseXY = 0;
    int downsampleX = 1, downsampleY = 1;
};

void PrintTo(const BlurCase& c, std::ostream* os) { *os << c.name; }

SceneSetup blurredScene(const BlurCase& c)
{
    const Optics& o = c.optics;
    return geometryScene(c.placement,
                         {{"Texture", "null"},
                          {"Depth Of Field", R"("On")"},
                          {"Boost DOF Blur", num(o.boost)},
                          {"Render Side", "\"" + c.side + "\""},
                          {"Ellipse X/Y", num(c.ellipseXY)}},
                         R"({ "name": "Cam", "type": "camera", "position": [80, 60, -300], "pointOfInterest": [80, 60, 0],
                              "camera": { "zoom": 300, "depthOfField": true, "focusDistance": )" +
                             num(o.focus) + R"(, "aperture": )" + num(o.aperture) + R"(, "blurLevel": )" +
                             num(o.blurLevel) + " } },");
}

// Each wall's layer holds its colour, alpha = coverage, where the side shows it; a pixel's depths
// are its walls' distances, or for an empty pixel within the blur's reach the ray's closest approach.
class BlurModel {
public:
    BlurModel(const BlurCase& c, const ContextSnapshot& ctx)
        : optics_(c.optics), dsX_(c.downsampleX), dsY_(c.downsampleY), width_(kWidth / dsX_), height_(kHeight / dsY_),
          layer_(std::size_t(width_ * height_))
    {
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x)
                layer_[index(x, y)] = layerPixel(ctx, x, y, c.side != "Inside", c.side != "Outside");
    }

    int width() const { return width_; }
    int height() const { return height_; }
    bool hit(int x, int y) const { return layer_[index(x, y)].hit; }

    // The near layer blurred by its depth over the far one; `fragile` right at the blur's reach.
    Rgba pixel(int x, int y, bool& fragile) const
    {
        const LayerPixel& p = layer_[index(x, y)];
        fragile = p.tie;
        const bool frontNear = p.backDepth > p.frontDepth;
        const double nearDepth = std::min(p.frontDepth, p.backDepth), farDepth = std::max(p.frontDepth, p.backDepth);
        const Rgba n = nearDepth < 0 ? Rgba{} : blurred(x, y, optics_.radius(nearDepth), frontNear);
        const Rgba q = farDepth < 0 || n.a >= 1 ? Rgba{} : blurred(x, y, optics_.radius(farDepth), !frontNear);
        return over(n, q);
    }

private:
    struct LayerPixel {
        Rgba front, back;
        double frontDepth = -1, backDepth = -1;
        bool hit = false, tie = false;
    };

    std::size_t index(int x, int y) const { return std::size_t(y) * std::size_t(width_) + std::size_t(x); }

    LayerPixel layerPixel(const ContextSnapshot& ctx, int x, int y, bool front, bool back) const
    {
        LayerPixel p;
        const Shot s = shot(ctx, x, y);
        if (s.n > 0) {
            const auto wall = [&](double t) {
                Rgba c = gradientColour({}, textureUV(ctx, pointAt(s.ray, t)));
                c.a = s.n / 9.0;
                return c;
            };
            p.hit = true;
            if (front && s.tNear > 0)
                p.front = wall(s.tNear), p.frontDepth = s.tNear;
            if (back && s.tFar > 0)
                p.back = wall(s.tFar), p.backDepth = s.tFar;
            return p;
        }
        // Blur reaches an empty pixel when its last corner ray passes the bounding sphere
        // closer, on the image plane, than the largest blur.
        const double t = s.q.b / s.q.a;
        const double reach = std::max({std::abs(ctx.radius.x), std::abs(ctx.radius.y), std::abs(ctx.radius.z)});
        const double projected = kZoom * (length(wide(s.ray.o) + wide(s.ray.d) * t) - reach) / t;
        const double k = optics_.blurScale();
        p.tie = std::abs(projected - k) < 0.02 * std::max(k, 1e-9);
        p.frontDepth = p.backDepth = k <= projected ? -1 : t;
        return p;
    }

    // The box average over half-size r (full-resolution pixels), the box clamped to the frame.
    Rgba blurred(int x, int y, double r, bool front) const
    {
        const double rx = r / dsX_, ry = r / dsY_;
        const double left = std::max(x - rx, 0.0), right = std::min(x + rx, double(width_ - 1));
        const double top = std::max(y - ry, 0.0), bottom = std::min(y + ry, double(height_ - 1));
        return areaSample([&](int i, int j) { return front ? layer_[index(i, j)].front : layer_[index(i, j)].back; }, width_,
                          height_, fixedCoord((left + right) / 2), fixedCoord((top + bottom) / 2),
                          fixedRadius((right - left) / 2), fixedRadius((bottom - top) / 2));
    }

    Optics optics_;
    int dsX_, dsY_, width_, height_;
    std::vector<LayerPixel> layer_;
};

class DepthOfFieldBlur : public AssemblyParamTest<BlurCase> {};

} // namespace

// Every pixel against the blur the camera's optics give: the outline spreads into empty pixels,
// pixels beyond reach stay clear, the opaque near wall hides the far one. Off the frame's edge
// the box shrinks, so the sphere stays opaque up to the border; a draft render blurs by the same
// share of the picture.
TEST_P(DepthOfFieldBlur, BlursEachWallByItsDistanceFromTheFocus)
{
    const BlurCase& c = GetParam();
    const Rendered r = renderScene(blurredScene(c), {0, 32, c.downsampleX, c.downsampleY});
    ASSERT_EQ(r.result, PF_Err_NONE);
    ASSERT_EQ(r.passes.size(), 2u) << "a buffered pass and a gather pass";
    EXPECT_NEAR(r.passes[0].blurScale, c.optics.blurScale(), 1e-6 * std::max(1.0, c.optics.blurScale()));

    const BlurModel model(c, r.ctx());
    ASSERT_EQ(r.image.width, model.width());
    ASSERT_EQ(r.image.height, model.height());
    const int area = c.downsampleX * c.downsampleY;
    int failures = 0, compared = 0, spilled = 0, empty = 0, partial = 0, edgeOpaque = 0;
    for (int y = 0; y < model.height(); ++y)
        for (int x = 0; x < model.width(); ++x) {
            bool fragile = false;
            const Rgba want = model.pixel(x, y, fragile);
            if (fragile)
                continue;
            ++compared;
            const Rgba got = pixelAt(r.image, x, y);
            const std::string where = c.name + " at (" + std::to_string(x) + ", " + std::to_string(y) + ")";
            // Empty pixels exactly zero; a nearly transparent pixel's colour is ill-defined.
            if (want.a == 0 || std::abs(got.a - want.a) > 1e-3)
                matches(got, want, want.a == 0 ? 0 : 1e-3, where, failures);
            else
                matches(got, want, want.a > 0.01 ? 2e-3 : 0.2, where, failures);
            spilled += !model.hit(x, y) && want.a > 0.01;
            empty += want.a == 0;
            partial += want.a > 0.01 && want.a < 0.99;
            edgeOpaque += x == 0 && want.a > 0.999;
        }
    EXPECT_GT(compared, model.width() * model.height() * 9 / 10);
    EXPECT_GE(spilled, c.minSpilled / area) << c.name << ": blur reaches past the outline";
    if (c.optics.blurScale() == 0) {
        EXPECT_EQ(spilled, 0) << c.name << ": a sharp camera spills nothing";
    } else {
        EXPECT_GT(partial, 100 / area) << c.name << ": the blurred outline was checked";
    }
    EXPECT_GT(empty, 5000 / area) << c.name << ": far from the sphere the frame stays empty";
    if (c.placement.position[0] - c.placement.radius < 0) {
        EXPECT_GT(edgeOpaque, 20) << c.name << ": the sphere is opaque along the frame's left edge";
    }
}

INSTANTIATE_TEST_SUITE_P(
    DepthOfField, DepthOfFieldBlur,
    testing::Values(
        // Focus 150 pixels from the camera: the sphere (260 to 340) is behind it; K = 8.
        BlurCase{"FocusInFront", {150, 40}},
        // Focus behind the sphere, where the far wall is sharper than the near one.
        BlurCase{"FocusBehind", {500, 500.0 / 3}},
        // Focus on the near wall blurs the outline slightly; a closed aperture not at all.
        BlurCase{"FocusOnTheNearWall", {260, 30}, "Full", 0},
        BlurCase{"ApertureClosed", {150, 0}, "Full", 0},
        // "Inside" empties the near layer, "Outside" the far one.
        BlurCase{"InsideShowsTheFarWallBlurred", {150, 40}, "Inside"},
        BlurCase{"OutsideShowsTheNearWallBlurred", {400, 60}, "Outside"},
        // Half the sphere lies left of the frame.
        BlurCase{"CutByTheLeftEdge", {}, "Full", 41, {30, {12, 60, 0}, {90, 0, 0}}},
        // Off the right and bottom edges: the boxes shrink at the last column and row.
        BlurCase{"CutByTheRightAndBottomEdges", {}, "Full", 30, {30, {148, 108, 0}, {90, 0, 0}}},
        // A draft render at half resolution.
        BlurCase{"HalfResolution", {}, "Full", 41, {40, {80, 60, 0}, {90, 0, 0}}, 0, 2, 2},
        // Nearly twice as wide as high: blur spills past the tips, 47 pixels either side.
        BlurCase{"StretchedSideways", {}, "Full", 41, {25, {80, 60, 0}, {90, 0, 0}}, 0.375}),
    [](const auto& info) { return info.param.name; });
