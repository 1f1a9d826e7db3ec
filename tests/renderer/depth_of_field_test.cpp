// Depth of field: the sphere's near and far walls are each averaged over a box whose half-size
// grows with the wall's distance from the camera's focus, and pixels next to the outline pick
// up the blurred edge. Seen through a composition camera 300 pixels in front of the sphere.
#include "renderer/renderer_support.h"

using namespace asmtest;
using namespace rtest;

namespace {

constexpr double kZoom = 300;

struct Optics {
    double focus = 150, aperture = 40, blurLevel = 100, boost = 100;

    // The largest blur radius, in pixels.
    double blurScale() const { return kZoom / focus * (aperture / 10) * (boost / 100 * blurLevel / 100); }
    // The blur radius of a surface at distance d along the ray.
    double radius(double d) const { return blurScale() / (focus / std::max(std::abs(d - focus), 0.00001) + 1); }
};

struct BlurCase {
    std::string name;
    Optics optics;
    std::string side = "Full";
    std::string mode = "On";
    int minSpilled = 50;   // empty pixels next to the outline that must pick up some blur (full size)
    // The untextured sphere (the (U, V) gradient, opaque everywhere), turned a quarter about x;
    // "Ellipse X/Y" reshapes it at a constant volume.
    Placement placement{40, {80, 60, 0}, {90, 0, 0}};
    double ellipseXY = 0;
    int downsampleX = 1, downsampleY = 1;
};

void PrintTo(const BlurCase& c, std::ostream* os) { *os << c.name; }

SceneSetup blurredScene(const BlurCase& c, const std::string& mode)
{
    const Optics& o = c.optics;
    return geometryScene(c.placement,
                         {{"Texture", "null"},
                          {"Depth Of Field", "\"" + mode + "\""},
                          {"Boost DOF Blur", num(o.boost)},
                          {"Render Side", "\"" + c.side + "\""},
                          {"Ellipse X/Y", num(c.ellipseXY)}},
                         R"({ "name": "Cam", "type": "camera", "position": [80, 60, -300], "pointOfInterest": [80, 60, 0],
                              "camera": { "zoom": 300, "depthOfField": true, "focusDistance": )" +
                             num(o.focus) + R"(, "aperture": )" + num(o.aperture) + R"(, "blurLevel": )" +
                             num(o.blurLevel) + " } },");
}

// What the gather pass must make of a frame: each wall's layer holds its colour with alpha =
// coverage where that wall may be shown; each pixel's two depths are its walls' distances, or
// for an empty pixel that the blur can reach the ray's closest approach to the sphere in both.
class BlurModel {
public:
    explicit BlurModel(const BlurCase& c)
        : optics_(c.optics), dsX_(c.downsampleX), dsY_(c.downsampleY), width_(kWidth / dsX_), height_(kHeight / dsY_),
          layer_(std::size_t(width_ * height_))
    {
        // The semi-axes that "Radius" and "Ellipse X/Y" make.
        const double t6 = std::tan((c.ellipseXY + 1) * kPiD / 4);
        semi_ = {c.placement.radius * t6, c.placement.radius / t6, c.placement.radius};
        centre_ = c.placement.position;
        axes_ = orientation(c.placement.rotationDeg);
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x)
                layer_[index(x, y)] = layerPixel(x, y, c.side != "Inside", c.side != "Outside");
    }

    int width() const { return width_; }
    int height() const { return height_; }
    bool hit(int x, int y) const { return layer_[index(x, y)].hit; }

    // The near layer blurred by its depth over the far one. `fragile` is set when a pixel that
    // decides it grazes the outline, or when an empty pixel lies right at the blur's reach.
    Rgba pixel(int x, int y, bool& fragile) const
    {
        const LayerPixel& p = layer_[index(x, y)];
        fragile = p.tie;
        const bool frontNear = p.backDepth > p.frontDepth;
        const double nearDepth = std::min(p.frontDepth, p.backDepth), farDepth = std::max(p.frontDepth, p.backDepth);
        const Rgba n = nearDepth < 0 ? Rgba{} : blurred(x, y, optics_.radius(nearDepth), frontNear, fragile);
        const Rgba q = farDepth < 0 || n.a >= 1 ? Rgba{} : blurred(x, y, optics_.radius(farDepth), !frontNear, fragile);
        return over(n, q);
    }

private:
    struct LayerPixel {
        Rgba front, back;
        double frontDepth = -1, backDepth = -1;
        bool hit = false;
        bool grazing = false;   // a sample ray grazes the outline: the coverage could go either way
        bool tie = false;       // the reach test of an empty pixel is a near tie
    };

    struct Cast {
        bool hit = false, grazing = false;
        double a = 0, b = 0, disc = 0;
        Vec3d o{}, d{};   // in the ellipsoid's frame
    };

    std::size_t index(int x, int y) const { return std::size_t(y) * std::size_t(width_) + std::size_t(x); }

    Cast cast(double px, double py) const
    {
        const Vec3d eye{80, 60, -kZoom};
        const Vec3d dw = normalized({px * dsX_ - 80, py * dsY_ - 60, kZoom});
        Cast c;
        const Vec3d rel = eye - centre_;
        double cq = -1;
        for (int i = 0; i < 3; ++i) {
            c.o[i] = dot(rel, axes_[i]), c.d[i] = dot(dw, axes_[i]);
            const double s = 1 / (semi_[i] * semi_[i]);
            c.a += c.d[i] * c.d[i] * s;
            c.b -= c.o[i] * c.d[i] * s;
            cq += c.o[i] * c.o[i] * s;
        }
        c.disc = c.b * c.b - cq * c.a;
        c.hit = c.disc >= 0;
        c.grazing = std::abs(c.disc / c.a) < 1e-4;
        return c;
    }

    // The untextured look at the ellipsoid's point o + d·t: red U, green V.
    Rgba gradientAt(const Cast& c, double t) const
    {
        const Vec3d p = c.o + c.d * t;
        const Vec3d q = normalized({p[0] / semi_[0], p[1] / semi_[1], p[2] / semi_[2]});
        double u = -std::atan2(q[1], q[0]) / (2 * kPiD);
        if (u < 0)
            u += 1;
        return {u, 1 - std::acos(std::clamp(q[2], -1.0, 1.0)) / kPiD, 0, 1};
    }

    LayerPixel layerPixel(int x, int y, bool front, bool back) const
    {
        LayerPixel p;
        auto sample = [&](std::size_t i) {
            const Cast c = cast(x + kSamples[i][0], y + kSamples[i][1]);
            p.grazing = p.grazing || c.grazing;
            return c;
        };
        int corners = 0, n = 0;
        Cast shading;
        for (std::size_t i = 5; i < 9; ++i) {
            shading = sample(i);
            corners += shading.hit;
        }
        if (corners == 4) {
            n = 9;
        } else if (corners > 0) {
            for (std::size_t i = 0; i < 9; ++i) {
                const Cast c = sample(i);
                if (c.hit && n++ == 0)
                    shading = c;
            }
        }
        if (n > 0) {
            const double root = std::sqrt(shading.disc);
            const double tNear = (shading.b - root) / shading.a, tFar = (shading.b + root) / shading.a;
            p.hit = true;
            if (front && tNear > 0) {
                p.front = gradientAt(shading, tNear), p.front.a = n / 9.0;
                p.frontDepth = tNear;
            }
            if (back && tFar > 0) {
                p.back = gradientAt(shading, tFar), p.back.a = n / 9.0;
                p.backDepth = tFar;
            }
            return p;
        }
        // An empty pixel: blur reaches it when the gap between its last corner ray and the
        // sphere's bounding sphere, seen on the image plane, is less than the largest blur.
        const double t = shading.b / shading.a;
        const double reach = std::max({semi_[0], semi_[1], semi_[2]});
        const double projected = kZoom * (length(shading.o + shading.d * t) - reach) / t;
        const double k = optics_.blurScale();
        p.tie = std::abs(projected - k) < 0.02 * std::max(k, 1e-9);
        p.frontDepth = p.backDepth = k <= projected ? -1 : t;
        return p;
    }

    // The sampler's box average of a layer over half-size r (full-resolution pixels, so
    // 1/downsample of it in output pixels), the box clamped to the frame.
    Rgba blurred(int x, int y, double r, bool front, bool& fragile) const
    {
        const double rx = r / dsX_, ry = r / dsY_;
        const double left = std::max(x - rx, 0.0), right = std::min(x + rx, double(width_ - 1));
        const double top = std::max(y - ry, 0.0), bottom = std::min(y + ry, double(height_ - 1));
        return areaSample(
            [&](int i, int j) {
                const LayerPixel& p = layer_[index(i, j)];
                fragile = fragile || p.grazing;
                return front ? p.front : p.back;
            },
            width_, height_, fixedCoord((left + right) / 2), fixedCoord((top + bottom) / 2),
            fixedRadius((right - left) / 2), fixedRadius((bottom - top) / 2));
    }

    Optics optics_;
    int dsX_, dsY_, width_, height_;
    Vec3d semi_, centre_;
    std::array<Vec3d, 3> axes_;
    std::vector<LayerPixel> layer_;
};

class DepthOfFieldBlur : public AssemblyParamTest<BlurCase> {};
class DepthOfField : public AssemblyTest {};

} // namespace

// Every pixel of the frame against the blur worked out from the camera's optics: the blurred
// outline spreads into the empty pixels next to it and thins the sphere's own edge pixels;
// pixels beyond the blur's reach stay fully transparent; inside, the opaque near wall hides
// the far one; colours are the walls' own, averaged as the blur mixes them. Where the sphere
// runs off the frame the box shrinks to what lies inside it, so the sphere stays opaque up to
// the border; a draft render blurs by the same share of the picture as a full one.
TEST_P(DepthOfFieldBlur, BlursEachWallByItsDistanceFromTheFocus)
{
    const BlurCase& c = GetParam();
    const Rendered r = renderScene(blurredScene(c, c.mode), {0, 32, c.downsampleX, c.downsampleY});
    ASSERT_EQ(r.result, PF_Err_NONE);
    ASSERT_EQ(r.passes.size(), 2u) << "a buffered pass and a gather pass";
    EXPECT_NEAR(r.passes[0].blurScale, c.optics.blurScale(), 1e-6 * std::max(1.0, c.optics.blurScale()));

    const BlurModel model(c);
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
            if (failures < 5) {
                if (want.a == 0) {
                    if (!(got.r == 0 && got.g == 0 && got.b == 0 && got.a == 0)) {
                        ADD_FAILURE() << where << ": expected all zero, got " << str(got);
                        ++failures;
                    }
                } else if (std::abs(got.a - want.a) > 1e-3) {
                    ADD_FAILURE() << where << ": alpha " << got.a << ", expected " << want.a;
                    ++failures;
                } else if (!matches(got, want, want.a > 0.01 ? 2e-3 : 0.2, where)) {
                    ++failures;   // (the colour of a nearly transparent pixel is ill-defined)
                }
            }
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
        BlurCase{"OutsideShowsTheNearWallBlurred", {400, 60}, "Outside"},
        // Half the sphere lies left of the frame.
        BlurCase{"CutByTheLeftEdge", {}, "Full", "On", 41, {30, {12, 60, 0}, {90, 0, 0}}},
        // Half the sphere lies right of the frame and below it: the blur boxes there shrink at
        // the last column and row.
        BlurCase{"CutByTheRightAndBottomEdges", {}, "Full", "On", 30, {30, {148, 108, 0}, {90, 0, 0}}},
        // A draft render at half resolution, and at half resolution across only.
        BlurCase{"HalfResolution", {}, "Full", "On", 41, {40, {80, 60, 0}, {90, 0, 0}}, 0, 2, 2},
        BlurCase{"HalfResolutionAcross", {}, "Full", "On", 41, {40, {80, 60, 0}, {90, 0, 0}}, 0, 2, 1},
        // Nearly twice as wide as it is high and thin in depth: the tips lie 47 pixels either
        // side of the centre, and blur spills past them as it does past the sides.
        BlurCase{"StretchedSideways", {}, "Full", "On", 41, {25, {80, 60, 0}, {90, 0, 0}}, 0.375}),
    [](const auto& info) { return info.param.name; });

// With the aperture closed the two-pass render shows what the direct pass shows: the same
// colours wherever the sphere covers a pixel fully (the opaque near wall hiding the far one,
// whose colour differs on the untextured sphere), the same empty pixels, and at the outline
// the two walls' coverage-weighted layers over each other (alpha c + (1 − c)·c, c alone when
// only one wall may show).
TEST_F(DepthOfField, ClosedApertureMatchesTheDirectPass)
{
    for (const std::string side : {"Full", "Inside"}) {
        const BlurCase closed{"", {150, 0}, side};
        const Rendered direct = renderScene(blurredScene(closed, "Off"), kFloat);
        const Rendered blurred = renderScene(blurredScene(closed, "On"), kFloat);
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
