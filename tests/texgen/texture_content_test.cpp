// What each texture shows, checked on the generators' pixels at the committed sizes.
#include "tools/texgen/noise.h"
#include "tools/texgen/textures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

using orbhost::Image;

struct Pixel {
    float r, g, b;
    float max() const { return std::max({r, g, b}); }
    float min() const { return std::min({r, g, b}); }
};

Pixel at(const Image& image, int x, int y)
{
    const float* p = &image.rgba[(std::size_t(y) * image.width + x) * 4];
    return {p[0], p[1], p[2]};
}

const Image& planet()
{
    static const Image image = texgen::makePlanet(1024);
    return image;
}

TEST(Planet, IsOpaqueAndTwoToOne)
{
    const Image& image = planet();
    ASSERT_EQ(image.width, 1024);
    ASSERT_EQ(image.height, 512);
    for (std::size_t i = 3; i < image.rgba.size(); i += 4)
        ASSERT_EQ(image.rgba[i], 1.0f) << "pixel " << i / 4;
}

TEST(Planet, PolesAreIce)
{
    const Image& image = planet();
    for (int y : {0, 5, 10, image.height - 11, image.height - 6, image.height - 1}) {
        int ice = 0;
        for (int x = 0; x < image.width; ++x)
            ice += at(image, x, y).min() > 0.75f;
        EXPECT_EQ(ice, image.width) << "row " << y << " (latitude " << texgen::rowLatitude(y, image.height) << ")";
    }
}

TEST(Planet, EquatorHasWaterAndLandButNoIce)
{
    const Image& image = planet();
    int water = 0, land = 0, ice = 0, total = 0;
    for (int y = image.height / 2 - 15; y < image.height / 2 + 15; ++y) {
        for (int x = 0; x < image.width; ++x, ++total) {
            const Pixel p = at(image, x, y);
            water += p.b > std::max(p.r, p.g);        // blue dominates: sea
            land += p.b < std::max(p.r, p.g) - 0.05f;  // green or brown dominates: land
            ice += p.min() > 0.85f;
        }
    }
    EXPECT_GT(water, total / 4) << "water " << water << " of " << total;
    EXPECT_GT(land, total / 5) << "land " << land << " of " << total;
    EXPECT_LT(ice, total / 200) << "ice " << ice << " of " << total;
}

// Cell borders at multiples of the cell size, thick lines on the equator and the middle
// meridian, a colour ramp in u across the cells, and a label in every cell.
class GridAtWidth : public testing::TestWithParam<int> {};

TEST_P(GridAtWidth, BordersCellsAndLabels)
{
    const Image image = texgen::makeUvGrid(GetParam());
    const int cell = texgen::gridCellSize(image.width);
    ASSERT_EQ(cell * texgen::kGridColumns, image.width);
    ASSERT_EQ(cell * texgen::kGridRows, image.height);
    const auto white = [&](int x, int y) { return at(image, x, y).min() == 1.0f; };
    for (int row = 0; row < texgen::kGridRows; ++row) {
        float lastRed = -1;
        for (int column = 0; column < texgen::kGridColumns; ++column) {
            const int left = column * cell, top = row * cell;
            for (int k = 0; k < cell; ++k) {
                ASSERT_TRUE(white(left, top + k)) << "left border of cell " << column << "," << row << " at " << k;
                ASSERT_TRUE(white(left + k, top)) << "top border of cell " << column << "," << row << " at " << k;
            }
            const int inner = std::max(1, cell / 32) + 1;
            const Pixel corner = at(image, left + inner, top + inner);
            EXPECT_FALSE(white(left + inner, top + inner)) << "cell " << column << "," << row;
            if (column % 2 == 0) {   // same checker shade in every other column
                EXPECT_GT(corner.r, lastRed) << "red should grow with u; cell " << column << "," << row;
                lastRed = corner.r;
            }
            int label = 0;
            for (int y = top + cell / 4; y < top + 3 * cell / 4; ++y)
                for (int x = left + cell / 8; x < left + 7 * cell / 8; ++x)
                {
                    const Pixel p = at(image, x, y);
                    label += std::abs(p.r - corner.r) + std::abs(p.g - corner.g) + std::abs(p.b - corner.b) > 0.3f;
                }
            EXPECT_GE(label, 7) << "no label in cell " << column << "," << row;
        }
    }
    for (int x = 0; x < image.width; ++x) {
        EXPECT_TRUE(white(x, image.height / 2 - 1) && white(x, image.height / 2)) << "equator at x " << x;
    }
    for (int y = 0; y < image.height; ++y)
        EXPECT_TRUE(white(image.width / 2 - 1, y) && white(image.width / 2, y)) << "meridian at y " << y;
}

INSTANTIATE_TEST_SUITE_P(Widths, GridAtWidth, testing::Values(512, 1024, 2048));

TEST(StarField, MostlyBlackWithSomeBrightStars)
{
    const Image image = texgen::makeStarField(1024);
    const int total = image.width * image.height;
    int dark = 0, bright = 0;
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            dark += at(image, x, y).max() < 0.15f;
            bright += at(image, x, y).max() > 0.8f;
        }
    }
    EXPECT_GT(dark, total * 95 / 100) << "dark pixels " << dark << " of " << total;
    EXPECT_GT(bright, 20) << "bright pixels";
    EXPECT_LT(bright, total / 200) << "bright pixels";
}

}  // namespace
