// Corners of the renderer that everyday scenes pass by: depth of field where the sphere meets
// the frame's border, in a draft (downsampled) render and on a stretched sphere; a slid texture
// on an opened sphere; texture filtering in a draft render; a spot light on a scaled light rig;
// the self shadow of a parallel light whose position lies near the sphere; pivot marks under
// fog; and reflections at steep latitudes of the map. Each case renders a small composition
// with the real module and compares its pixels with what the scene's geometry says they must
// be, worked out here in double precision.
#include "renderer/geometry_support.h"
#include "renderer/shading_support.h"

#include <set>

namespace {

using asmtest::num;
using asmtest::Vec3d;
using asmtest::dot;
using asmtest::length;
using asmtest::normalized;
using asmtest::operator+;
using asmtest::operator-;
using asmtest::operator*;

constexpr double kPiD = geotest::kPiD;

Vec3d cross(Vec3d a, Vec3d b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// ---------------------------------------------------------------------------------------------
// The host's area sample, as the renderer calls it.

// A coordinate in 16.16, rounded half away from zero.
double fixedCoord(double v)
{
    const double s = v * 65536.0;
    return std::trunc(s < 0 ? s - 0.5 : s + 0.5) / 65536.0;
}

// A radius in 16.16, rounded the same way and kept within 1/65536 .. 128 pixels.
double fixedRadius(double v)
{
    return std::clamp(std::trunc(v * 65536.0 + 0.5), 1.0, 8388608.0) / 65536.0;
}

struct AxisWeight {
    int index;
    double weight;
};

// The box [c − r, c + r] along an axis of `size` pixels, in sampler coordinates (pixel i spans
// [i − 0.5, i + 0.5]): each pixel weighs the length of it that the box covers over the box's
// whole length, so a box that reaches off the world loses what lies outside.
std::vector<AxisWeight> boxAxis(double c, double r, int size)
{
    std::vector<AxisWeight> w;
    const double lo = std::max(c + 0.5 - r, 0.0), hi = std::min(c + 0.5 + r, double(size));
    for (int i = int(std::floor(lo)); i < hi; ++i)
        w.push_back({i, (std::min(hi, i + 1.0) - std::max(lo, double(i))) / (2 * r)});
    return w;
}

// The area sample of an image (straight colour) at (x, y) with radii (rx, ry), all already
// in 16.16: alpha is the weighted coverage, colour the alpha-weighted average.
geotest::Rgba areaSample(const orbhost::Image& image, double x, double y, double rx, double ry)
{
    geotest::Rgba sum;
    for (const AxisWeight& wy : boxAxis(y, ry, image.height))
        for (const AxisWeight& wx : boxAxis(x, rx, image.width)) {
            const geotest::Rgba p = geotest::pixelOf(image, wx.index, wy.index);
            const double w = wx.weight * wy.weight * p.a;
            sum.r += w * p.r, sum.g += w * p.g, sum.b += w * p.b, sum.a += w;
        }
    if (sum.a <= 0)
        return {};
    return {sum.r / sum.a, sum.g / sum.a, sum.b / sum.a, sum.a};
}

// Gives the layer of that name these pixels (and their size).
std::function<void(orbhost::Scene&)> replaceLayerImage(std::string name, orbhost::Image image)
{
    return [name, image](orbhost::Scene& scene) {
        for (orbhost::Layer& layer : scene.layers)
            if (layer.displayName() == name) {
                layer.image = image;
                layer.width = image.width, layer.height = image.height;
            }
    };
}

// ---------------------------------------------------------------------------------------------
// Depth of field. The untextured sphere is opaque wherever it is drawn, so a pixel's alpha
// tells how far the blurred outline reaches: each wall's layer holds the pixel's coverage,
// every pixel is blurred by a box whose half-size follows the distance of its surface from
// the camera's focus, and the box is kept inside the frame.

constexpr double kDofZoom = 300;   // the camera stands 300 pixels in front of the frame

struct Optics {
    double focus = 150, aperture = 40;
    double blurScale() const { return kDofZoom / focus * (aperture / 10); }
    double radius(double depth) const
    {
        return blurScale() / (focus / std::max(std::abs(depth - focus), 0.00001) + 1);
    }
};

std::string dofCamera(const Optics& o)
{
    return R"({ "name": "Cam", "type": "camera", "position": [80, 60, -300], "pointOfInterest": [80, 60, 0],
                "camera": { "zoom": 300, "depthOfField": true, "focusDistance": )" +
           num(o.focus) + R"(, "aperture": )" + num(o.aperture) + R"(, "blurLevel": 100 } },)";
}

// An ellipsoid: its centre, its own axes in the world (rows) and its semi-axes along them.
struct Ellipsoid {
    Vec3d centre;
    std::array<Vec3d, 3> axes;
    Vec3d semi;
};

// The semi-axes that "Radius", "Ellipse Z/XY" and "Ellipse X/Y" make: the sliders reshape
// the sphere at a constant volume.
Ellipsoid ellipsoidOf(const geotest::Placement& p, double ellipseZ, double ellipseXY)
{
    const double t5 = std::tan((ellipseZ + 1) * kPiD / 4), t6 = std::tan((ellipseXY + 1) * kPiD / 4);
    const double q = std::sqrt(t5);
    return {p.position, geotest::orientation(p.rotationDeg), {p.radius / q * t6, p.radius / q / t6, p.radius * t5}};
}

// What the buffered pass keeps of one output pixel: its coverage and the depths of its two
// walls (for a pixel no sample hits, the ray's closest approach to the centre in both, or
// nothing when blur cannot reach it).
struct LayerPixel {
    float coverage = 0;
    double frontDepth = -1, backDepth = -1;
    bool hit = false;
    bool grazing = false;   // a sample ray grazes the outline: the coverage could go either way
    bool tie = false;       // the reach test of an empty pixel is a near tie
};

class BlurredFrame {
public:
    BlurredFrame(const Ellipsoid& e, const Optics& o, int downsampleX, int downsampleY)
        : e_(e), optics_(o), dsX_(downsampleX), dsY_(downsampleY), width_(asmtest::kWidth / downsampleX),
          height_(asmtest::kHeight / downsampleY), layer_(std::size_t(width_ * height_))
    {
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x)
                layer_[index(x, y)] = layerPixel(x, y);
    }

    int width() const { return width_; }
    int height() const { return height_; }
    const LayerPixel& layer(int x, int y) const { return layer_[index(x, y)]; }

    // The gathered alpha of a pixel: the near layer blurred by its depth over the far one.
    // `fragile` is set when any pixel that decides it is.
    double alpha(int x, int y, bool& fragile) const
    {
        const LayerPixel& p = layer(x, y);
        fragile = p.grazing || p.tie;
        const double nearDepth = std::min(p.frontDepth, p.backDepth);
        const double farDepth = std::max(p.frontDepth, p.backDepth);
        const double n = nearDepth < 0 ? 0 : blurred(x, y, optics_.radius(nearDepth), fragile);
        const double q = farDepth < 0 || n >= 1 ? 0 : blurred(x, y, optics_.radius(farDepth), fragile);
        return n + (1 - n) * q;
    }

private:
    std::size_t index(int x, int y) const { return std::size_t(y) * std::size_t(width_) + std::size_t(x); }

    struct Cast {
        bool hit = false;
        double a = 0, b = 0, disc = 0;
        Vec3d o{}, d{};   // in the ellipsoid's frame
        bool grazing = false;
    };

    Cast cast(double px, double py) const
    {
        const Vec3d eye{80, 60, -kDofZoom};
        const Vec3d dw = normalized({px * dsX_ - 80, py * dsY_ - 60, kDofZoom});
        Cast c;
        const Vec3d rel = eye - e_.centre;
        for (int i = 0; i < 3; ++i)
            c.o[i] = dot(rel, e_.axes[i]), c.d[i] = dot(dw, e_.axes[i]);
        double cq = -1;
        for (int i = 0; i < 3; ++i) {
            const double s = 1 / (e_.semi[i] * e_.semi[i]);
            c.a += c.d[i] * c.d[i] * s;
            c.b -= c.o[i] * c.d[i] * s;
            cq += c.o[i] * c.o[i] * s;
        }
        c.disc = c.b * c.b - cq * c.a;
        c.hit = c.disc >= 0;
        c.grazing = std::abs(c.disc / c.a) < 1e-4;
        return c;
    }

    LayerPixel layerPixel(int x, int y) const
    {
        LayerPixel p;
        const auto& s = geotest::kSamples;
        auto sample = [&](std::size_t i) {
            const Cast c = cast(x + s[i][0], y + s[i][1]);
            p.grazing = p.grazing || c.grazing;
            return c;
        };
        int corners = 0;
        Cast shading;
        for (std::size_t i = 5; i < 9; ++i) {
            shading = sample(i);
            corners += shading.hit;
        }
        int n = 0;
        if (corners == 4) {
            n = 9;
        } else if (corners > 0) {
            bool first = true;
            for (std::size_t i = 0; i < 9; ++i) {
                const Cast c = sample(i);
                if (!c.hit)
                    continue;
                ++n;
                if (first)
                    shading = c, first = false;
            }
        }
        if (n > 0) {
            const double root = std::sqrt(shading.disc);
            const double tNear = (shading.b - root) / shading.a, tFar = (shading.b + root) / shading.a;
            p.hit = true;
            p.coverage = float(n) / 9.0f;
            p.frontDepth = tNear > 0 ? tNear : -1;
            p.backDepth = tFar > 0 ? tFar : -1;
            return p;
        }
        // An empty pixel: blur reaches it when the gap between its last corner ray and the
        // sphere's bounding sphere, seen on the image plane, is less than the largest blur.
        const double t = shading.b / shading.a;
        const Vec3d closest = shading.o + shading.d * t;
        const double reach = std::max({e_.semi[0], e_.semi[1], e_.semi[2]});
        const double projected = kDofZoom * (length(closest) - reach) / t;
        const double k = optics_.blurScale();
        p.tie = std::abs(projected - k) < 0.01 * k;
        p.frontDepth = p.backDepth = k <= projected ? -1 : t;
        return p;
    }

    // The layer's coverage averaged over the box of half-size r (full-resolution pixels, so
    // 1/downsample of it in output pixels), clamped to the frame.
    double blurred(int x, int y, double r, bool& fragile) const
    {
        const double rx = r / dsX_, ry = r / dsY_;
        const double left = std::max(x - rx, 0.0), right = std::min(x + rx, double(width_ - 1));
        const double top = std::max(y - ry, 0.0), bottom = std::min(y + ry, double(height_ - 1));
        const auto wx = boxAxis(fixedCoord((left + right) / 2), fixedRadius((right - left) / 2), width_);
        const auto wy = boxAxis(fixedCoord((top + bottom) / 2), fixedRadius((bottom - top) / 2), height_);
        double sum = 0;
        for (const AxisWeight& v : wy)
            for (const AxisWeight& u : wx) {
                const LayerPixel& p = layer(u.index, v.index);
                sum += u.weight * v.weight * p.coverage;
                fragile = fragile || p.grazing;
            }
        return sum;
    }

    Ellipsoid e_;
    Optics optics_;
    int dsX_, dsY_, width_, height_;
    std::vector<LayerPixel> layer_;
};

struct BlurEdgeCase {
    std::string name;
    geotest::Placement placement;
    double ellipseXY = 0;
    int downsampleX = 1, downsampleY = 1;
};

void PrintTo(const BlurEdgeCase& c, std::ostream* os) { *os << c.name; }

class EdgeCasesBlur : public asmtest::AssemblyParamTest<BlurEdgeCase> {};

} // namespace

// Every pixel's alpha against the blurred outline worked out from the camera's optics. Where
// the sphere runs off the left edge of the frame the blur box shrinks to what lies inside the
// frame, so the sphere stays opaque right up to the border; a draft render blurs by the same
// share of the picture as a full one (the box measured in full-resolution pixels); and blur
// spills past the tips of a stretched sphere just as it does past its sides.
TEST_P(EdgeCasesBlur, BlurredOutlineMatchesTheOptics)
{
    const BlurEdgeCase& c = GetParam();
    const Optics optics;
    asmtest::SceneSetup setup = geotest::geometryScene(c.placement,
                                                       {{"Texture", "null"},
                                                        {"Depth Of Field", R"("On")"},
                                                        {"Ellipse X/Y", num(c.ellipseXY)}},
                                                       dofCamera(optics));
    const auto r = asmtest::renderScene(setup, {0, 32, c.downsampleX, c.downsampleY});
    ASSERT_EQ(r.result, PF_Err_NONE);
    ASSERT_EQ(r.passes.size(), 2u) << "a buffered and a gather pass";

    const BlurredFrame model(ellipsoidOf(c.placement, 0, c.ellipseXY), optics, c.downsampleX, c.downsampleY);
    ASSERT_EQ(r.image.width, model.width());
    ASSERT_EQ(r.image.height, model.height());
    int compared = 0, wrong = 0, edgeOpaque = 0, spilled = 0, partial = 0;
    std::ostringstream detail;
    for (int y = 0; y < model.height(); ++y)
        for (int x = 0; x < model.width(); ++x) {
            bool fragile = false;
            const double want = model.alpha(x, y, fragile);
            if (fragile)
                continue;
            ++compared;
            const double got = geotest::pixelOf(r.image, x, y).a;
            if (std::abs(got - want) > 1e-3 && ++wrong <= 6)
                detail << "\n  pixel (" << x << ", " << y << "): alpha " << got << ", expected " << want;
            edgeOpaque += x == 0 && want > 0.999;
            spilled += !model.layer(x, y).hit && want > 0.01;
            partial += want > 0.01 && want < 0.99;
        }
    EXPECT_EQ(wrong, 0) << c.name << ": " << wrong << " of " << compared << " pixels differ" << detail.str();
    EXPECT_GT(compared, model.width() * model.height() * 9 / 10);
    EXPECT_GT(partial, 100 / (c.downsampleX * c.downsampleY)) << c.name << ": the blurred outline was checked";
    if (c.placement.position[0] - c.placement.radius < 0) {
        EXPECT_GT(edgeOpaque, 20) << c.name << ": the sphere is opaque along the frame's left edge";
    }
    EXPECT_GT(spilled, 40 / (c.downsampleX * c.downsampleY)) << c.name << ": blur spills past the outline";
}

INSTANTIATE_TEST_SUITE_P(
    EdgeCases, EdgeCasesBlur,
    testing::Values(
        // Half the sphere lies left of the frame.
        BlurEdgeCase{"CutByTheLeftEdge", {30, {12, 60, 0}, {90, 0, 0}}},
        // A draft render at half resolution, and at half resolution across only.
        BlurEdgeCase{"HalfResolution", {40, {80, 60, 0}, {90, 0, 0}}, 0, 2, 2},
        BlurEdgeCase{"HalfResolutionAcross", {40, {80, 60, 0}, {90, 0, 0}}, 0, 2, 1},
        // Nearly twice as wide as it is high and thin in depth: the tips lie 47 pixels either
        // side of the centre.
        BlurEdgeCase{"StretchedSideways", {25, {80, 60, 0}, {90, 0, 0}}, 0.375}),
    [](const auto& info) { return info.param.name; });

namespace {

// Blur that reaches past the tips of the long axis: the empty pixels just beyond them, on the
// rows through the middle, pick up some of the outline.
class EdgeCasesBlurReach : public asmtest::AssemblyTest {};

} // namespace

TEST_F(EdgeCasesBlurReach, BlurReachesPastTheTipsOfAStretchedSphere)
{
    const Optics optics;
    const geotest::Placement p{25, {80, 60, 0}, {90, 0, 0}};
    asmtest::SceneSetup setup = geotest::geometryScene(
        p, {{"Texture", "null"}, {"Depth Of Field", R"("On")"}, {"Ellipse X/Y", "0.375"}}, dofCamera(optics));
    const auto r = asmtest::renderScene(setup, {0, 32, 1, 1});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const BlurredFrame model(ellipsoidOf(p, 0, 0.375), optics, 1, 1);
    // The tips lie about 47 pixels either side of the centre (the ellipsoid's long semi-axis).
    for (int side : {-1, 1}) {
        int reached = 0;
        for (int y = 57; y <= 63; ++y) {
            int x = 80;
            while (model.layer(x, y).hit)
                x += side;
            // The first three empty pixels beyond the outline.
            for (int i = 0; i < 3; ++i, x += side)
                reached += geotest::pixelOf(r.image, x, y).a > 0.02;
        }
        EXPECT_GE(reached, 15) << (side < 0 ? "left" : "right") << " tip: empty pixels next to it that the blur reaches";
    }
}

// ---------------------------------------------------------------------------------------------
// "Slide Texture" on an opened sphere: the opening stretches the texture about the fixed point
// first, and the slide then turns the stretched texture (and its opening) by its angle.

namespace {

struct SlideCase {
    const char* name;
    geotest::Placement placement;
};

class EdgeCasesOpenedSlide : public asmtest::AssemblyParamTest<SlideCase> {};

} // namespace

TEST_P(EdgeCasesOpenedSlide, SlideTurnsTheOpenedTexture)
{
    using namespace geotest;
    const SlideCase& c = GetParam();
    const View view = defaultView();
    const Sphere sphere = place(c.placement);
    const auto r = asmtest::renderScene(geometryScene(c.placement), {0, 32});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const int compared = compareWithModel(r.image, 32, 3e-4, [&](int x, int y) {
        return expectPixel(view, sphere, x, y, Side::Full, gradientColour);
    }, c.name);
    EXPECT_GT(compared, 15000);
}

INSTANTIATE_TEST_SUITE_P(
    EdgeCases, EdgeCasesOpenedSlide,
    testing::Values(SlideCase{"HalfOpenSlidAFifth", {40, {80, 60, 0}, {-90, 0, -90}, 0.5, 0.5, 0.5, 72}},
                    SlideCase{"QuarterOpenSlidBackOffCentre", {40, {80, 60, 0}, {-90, 0, -90}, 0.25, 0.375, 0.5625, -100}},
                    SlideCase{"OpeningTurnedToTheSide", {36, {80, 60, 0}, {-90, 0, 0}, 0.5, 0.5, 0.5, 150}}),
    [](const testing::TestParamInfo<SlideCase>& i) { return std::string(i.param.name); });

// ---------------------------------------------------------------------------------------------
// Texture filtering in a draft render. At half resolution the host hands over the texture at
// half its size, so the footprint, measured in the texels of that smaller world, spans the same
// part of the texture as at full resolution: fine detail is filtered no more than it was.

namespace {

// A texture of columns two texels wide: red alternates dark and light, blue runs through three
// steps. Halved, each pair of equal columns becomes one column of the world the render sees.
geotest::Rgba columnColour(int column) { return {double(column % 2), 0.5, (column % 3) / 2.0, 1}; }

orbhost::Image pairedColumns(int halfWidth, int halfHeight)
{
    return geotest::imageOf(2 * halfWidth, 2 * halfHeight, [](int x, int) { return columnColour(x / 2); });
}

orbhost::Image halvedColumns(int halfWidth, int halfHeight)
{
    return geotest::imageOf(halfWidth, halfHeight, [](int x, int) { return columnColour(x); });
}

// The footprint, in texels of a w × h texture world, of one composition pixel at the point where
// the ray d from the eye meets the (closed) sphere at t, scaled by 1 − "Sharpness": the
// pixel's size at that distance (t / zoom), spread by how obliquely the ray meets the surface,
// over the arc length of the parallel (2π r sinθ) across and of the meridian (π r) down.
geotest::Rgba filteredTexel(const orbhost::Image& world, const geotest::Sphere& s, const geotest::Ray& ray,
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
    const geotest::UV uv = geotest::uvAt(s, p);
    return areaSample(world, fixedCoord(world.width * uv.u), fixedCoord(world.height * uv.v), fixedRadius(fx),
                      fixedRadius(fy));
}

class EdgeCasesDraftTexture : public asmtest::AssemblyTest {};

} // namespace

TEST_F(EdgeCasesDraftTexture, HalfResolutionFiltersTheHalvedTextureByItsOwnSize)
{
    using namespace geotest;
    constexpr int kHalfWidth = 256, kHalfHeight = 8;
    const Placement p{40, {80, 60, 0}, {-90, 0, -90}};
    asmtest::SceneSetup setup = geometryScene(p, {{"Texture", R"("Tex")"}, {"Sharpness", "0.5"}});
    setup.edit = replaceTexture(pairedColumns(kHalfWidth, kHalfHeight));
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
            const Rgba got = pixelOf(r.image, x, y);
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

// ---------------------------------------------------------------------------------------------
// A spot light on a scaled rig. A light parented to a scaled null carries the scale in its
// axis; the cone test takes the axis as it is, so a rig at 90 % narrows the lit cone and one at
// 125 % widens it.

namespace {

struct RigCase {
    std::string name;
    double scale;          // percent, on all three axes
    double coneAngle, coneFeather;
};

void PrintTo(const RigCase& c, std::ostream* os) { *os << c.name; }

class EdgeCasesScaledSpot : public asmtest::AssemblyParamTest<RigCase> {};

} // namespace

TEST_P(EdgeCasesScaledSpot, ConeFollowsTheRigScale)
{
    using namespace shadetest;
    const RigCase& c = GetParam();
    Surface s;
    s.emit = 10, s.diffuse = 100, s.specular = 0;
    // The rig stands at the sphere's centre with its anchor at its origin: a point p of the
    // rig's space lands at centre + p · scale. The spot is 200 pixels in front of the sphere,
    // aimed at its centre.
    const double k = c.scale / 100;
    const Vec3d centre{80, 60, 0}, lightAt{80, 60, -200};
    const Vec3d local = (lightAt - centre) * (1 / k);
    const std::string layers =
        paintLayer(s) +
        R"({ "name": "Rig", "type": "null", "threeD": true, "anchorPoint": [0, 0, 0], "position": [80, 60, 0], "scale": [)" +
        num(c.scale) + ", " + num(c.scale) + ", " + num(c.scale) + R"(] },
           { "name": "Spot", "type": "light", "parent": "Rig", "position": )" +
        jsonPoint(local) + R"(, "pointOfInterest": [0, 0, 0], "light": { "type": "spot", "intensity": 100, "color": [1, 1, 1], "coneAngle": )" +
        num(c.coneAngle) + R"(, "coneFeather": )" + num(c.coneFeather) + " } },";
    const auto r = asmtest::renderScene(asmtest::sceneWith(surfaceParams(s), layers), kFloat);
    ASSERT_EQ(r.result, PF_Err_NONE);
    ASSERT_EQ(r.ctx().lights.size(), 1u);

    const Eye eye = defaultEye();
    const Ball ball;
    const Vec3d axis = normalized(centre - lightAt) * k;   // the rig's scale is part of the axis
    const double cosHalf = std::cos(c.coneAngle / 2 * kPiD / 180);
    const auto model = [&](int x, int y) {
        const PixelView v = viewOf(eye, ball, x, y);
        const Vec3d point = eye.position + v.dir * v.cross.tNear;
        const Vec3d n = normalized(point - ball.centre);
        const Vec3d toPoint = normalized(point - lightAt);
        const double cone =
            std::clamp((dot(toPoint, axis) - cosHalf) / ((1 - cosHalf) * c.coneFeather / 100), 0.0, 1.0);
        const double facing = std::max(-dot(n, toPoint), 0.0);
        const Vec3d colour = s.colour() * (s.emit / 100 + s.diffuse / 100 * facing * cone);
        return Rgba{colour[0], colour[1], colour[2], 1};
    };
    expectPixels(r.image, facingPixels(eye, ball), model, 1e-3, c.name);
}

INSTANTIATE_TEST_SUITE_P(
    EdgeCases, EdgeCasesScaledSpot,
    testing::Values(
        // 90 %: the whole face falls in the cone's dim feathered rim.
        RigCase{"ShrunkRigDimsTheSpot", 90, 60, 100},
        // 125 %: the face is lit fully, out to where an unscaled spot fades.
        RigCase{"EnlargedRigWidensTheSpot", 125, 60, 100},
        // 97 %: the rim crosses the face.
        RigCase{"SlightlyShrunkRig", 97, 40, 50}),
    [](const auto& info) { return info.param.name; });

// ---------------------------------------------------------------------------------------------
// Self shadow of a parallel light. A parallel light shines from everywhere along its
// direction; where its layer happens to stand does not decide whether the sphere lies between
// it and a surface point. Here it shines towards the camera from behind the sphere while its
// position lies inside the sphere or in front of it: the front face is lit only through the
// far side, filtered by the texture there.

namespace {

struct ParallelShadowCase {
    std::string name;
    shadetest::SceneLight light;
    double transmission = 50;
};

void PrintTo(const ParallelShadowCase& c, std::ostream* os) { *os << c.name; }

class EdgeCasesParallelShadow : public asmtest::AssemblyParamTest<ParallelShadowCase> {};

shadetest::SceneLight parallelFrom(Vec3d position, Vec3d aim, double darkness, Vec3d colour = {1, 1, 1})
{
    shadetest::SceneLight l;
    l.type = "parallel";
    l.position = position, l.aim = aim, l.color = colour;
    l.castsShadows = true, l.shadowDarkness = darkness;
    return l;
}

} // namespace

TEST_P(EdgeCasesParallelShadow, PositionDoesNotLiftTheShadow)
{
    using namespace shadetest;
    const ParallelShadowCase& c = GetParam();
    Surface s;
    s.emit = 10, s.diffuse = 100, s.specular = 0, s.transmission = c.transmission, s.selfShadow = true;
    s.texture = {0.9, 0.5, 0.2, 1};
    const std::vector<SceneLight> lights{c.light};
    const auto r = asmtest::renderScene(litScene(s, lights), kFloat);
    ASSERT_EQ(r.result, PF_Err_NONE);
    const Eye eye = defaultEye();
    const Ball ball;
    expectPixels(
        r.image, facingPixels(eye, ball),
        [&](int x, int y) { return expectedPixel(s, lights, {}, eye, ball, x, y); }, 1e-3, c.name);
}

INSTANTIATE_TEST_SUITE_P(
    EdgeCases, EdgeCasesParallelShadow,
    testing::Values(
        ParallelShadowCase{"PositionInsideTheSphere", parallelFrom({80, 60, 10}, {80, 60, -500}, 100)},
        ParallelShadowCase{"PositionInFrontOfTheSphere", parallelFrom({80, 60, -100}, {80, 60, -600}, 100)},
        ParallelShadowCase{"ObliqueWithPartDarkness", parallelFrom({90, 50, 5}, {30, 110, -300}, 60, {1, 0.8, 0.6}), 80}),
    [](const auto& info) { return info.param.name; });

// ---------------------------------------------------------------------------------------------
// Pivot marks under fog. "Show Pivot" is a guide drawn on top of the finished surface: fog
// tints the surface by its distance but leaves the marks pure blue, green and red.

namespace {

struct PivotFogCase {
    const char* name;
    geotest::Placement placement;
};

class EdgeCasesPivotUnderFog : public asmtest::AssemblyParamTest<PivotFogCase> {};

} // namespace

TEST_P(EdgeCasesPivotUnderFog, MarksStayPureWhileTheSurfaceIsFogged)
{
    using namespace geotest;
    const PivotFogCase& c = GetParam();
    const Vec3d fog{0.4, 0.6, 0.2};   // exact in the 8-bit colour control
    const double end = 400;
    const auto r = asmtest::renderScene(geometryScene(c.placement, {{"Show Pivot", "true"},
                                                                    {"Mode", R"("Fog")"},
                                                                    {"Start depth", "0"},
                                                                    {"End depth", num(end)},
                                                                    {"Fog Color", shadetest::jsonPoint(fog)}}),
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
            const Rgba got = pixelOf(r.image, x, y);
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
    EdgeCases, EdgeCasesPivotUnderFog,
    testing::Values(PivotFogCase{"FrontOfTheGlobe", {40, {80, 60, 0}, {-90, 0, -90}, 0, 0.5625, 0.4375}},
                    PivotFogCase{"OpenedGlobe", {40, {80, 60, 0}, {-90, 0, -90}, 0.5, 0.5625, 0.4375}}),
    [](const testing::TestParamInfo<PivotFogCase>& i) { return std::string(i.param.name); });

// ---------------------------------------------------------------------------------------------
// Reflections at steep latitudes. Towards the map's top and bottom rows a step across the view
// sweeps more of the map's width (its parallels are shorter there), so the sample widens
// across: a map of one-pixel columns blurs more in the lower part of the sphere, whose mirrored
// rays head down the composition.

namespace {

constexpr int kMapWidth = 64, kMapHeight = 16;

// One-pixel columns: red alternates, green climbs in fours, blue is constant.
orbhost::Image columnMap()
{
    return geotest::imageOf(kMapWidth, kMapHeight, [](int x, int) {
        return geotest::Rgba{double(x % 2), (x / 4 % 4) / 3.0, 0.5, 1};
    });
}

// The map's colour that the mirrored ray of pixel (x, y) picks up. `latitudeWidening` false
// leaves out the widening towards the rows at the top and bottom.
geotest::Rgba reflectedAt(const orbhost::Image& map, const shadetest::Eye& eye, const shadetest::Ball& ball,
                          int px, int py, double sharpnessFactor, double* latitude, bool latitudeWidening = true)
{
    const shadetest::PixelView v = shadetest::viewOf(eye, ball, px, py);
    const Vec3d d = v.dir;
    const Vec3d p = eye.position + d * v.cross.tNear;
    const Vec3d n = (p - ball.centre) * (1 / ball.radius);   // the near wall faces the eye
    const double c = dot(n, d);
    const Vec3d m = normalized(d - n * (2 * c));
    const Vec3d b = normalized(cross(d, n));
    const Vec3d sweep = cross(m, b);
    const Vec3d e = normalized(cross(m, {0, 1, 0}));
    const Vec3d g = cross(m, e);
    const double du = std::sqrt(dot(e, sweep) * dot(e, sweep) / (c * c) + dot(e, b) * dot(e, b));
    const double dv = std::sqrt(dot(g, sweep) * dot(g, sweep) / (c * c) + dot(g, b) * dot(g, b));
    const double lat = 1 - std::acos(m[1]) / kPiD;
    const double sv = 1 - lat * lat > 0 ? std::sqrt(1 - lat * lat) : 1e-5;
    double lon = std::atan2(m[2], m[0]) / (2 * kPiD) - 0.25;
    lon -= std::floor(lon);
    *latitude = lat;
    const double rx = (latitudeWidening ? du / sv : du) * sharpnessFactor;
    return areaSample(map, fixedCoord(map.width * lon), fixedCoord(map.height * lat), fixedRadius(rx),
                      fixedRadius(dv * sharpnessFactor));
}

class EdgeCasesSteepReflection : public asmtest::AssemblyTest {};

} // namespace

TEST_F(EdgeCasesSteepReflection, SampleWidensAcrossTowardsThePoles)
{
    using namespace shadetest;
    Surface s;
    s.emit = 0;
    asmtest::SceneSetup setup = litScene(s, {}, {{"Reflection Map", R"("Refl")"},
                                                 {"Reflection Rolloff", "0"},
                                                 {"Reflection Intensity", "100"},
                                                 {"Sharpness", "0.5"}});
    const orbhost::Image map = columnMap();
    setup.edit = replaceLayerImage("Refl", map);
    const auto r = asmtest::renderScene(setup, kFloat);
    ASSERT_EQ(r.result, PF_Err_NONE);

    const Eye eye = defaultEye();
    const Ball ball;
    int compared = 0, sensitive = 0, failures = 0;
    for (int y = 62; y < 100; ++y)
        for (int x = 40; x < 120; ++x) {
            const PixelView v = viewOf(eye, ball, x, y);
            if (v.hits != 9)
                continue;
            double lat = 0;
            const geotest::Rgba want = reflectedAt(map, eye, ball, x, y, 0.5, &lat);
            if (lat < 0.55 || lat > 0.97)
                continue;
            ++compared;
            const std::string where = "pixel (" + std::to_string(x) + ", " + std::to_string(y) + ") at latitude " +
                                      std::to_string(lat);
            if (!matches(pixelAt(r.image, x, y), {want.r, want.g, want.b, 1}, 2e-3, where) && ++failures >= 5)
                return;
            double ignored = 0;
            const geotest::Rgba narrow = reflectedAt(map, eye, ball, x, y, 0.5, &ignored, false);
            sensitive += std::abs(narrow.r - want.r) > 0.05;
        }
    EXPECT_GT(compared, 300);
    EXPECT_GT(sensitive, 100) << "pixels where the widening shows";
}
