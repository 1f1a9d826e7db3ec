// The test grid: numbered cells whose colour ramps with u (red) and v (green), so that both a
// cell's number and its tint say where on the sphere it lies.
#include "tools/texgen/bitmap_font.h"
#include "tools/texgen/colour.h"
#include "tools/texgen/textures.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace texgen {

namespace {

constexpr Rgb kLine{1, 1, 1}, kDarkText{0, 0, 0}, kLightText{1, 1, 1};

// Draws `text` centred in the cell whose top-left corner is (left, top), inside its borders of
// `line` pixels; a label that does not fit there (cells under 20 pixels) is left out.
void drawLabel(orbhost::Image& image, const std::string& text, int left, int top, int cell, int line, Rgb colour)
{
    const int scale = std::max(1, cell / 20);
    if (textWidth(text) * scale > cell - 2 * line || kGlyphHeight * scale > cell - 2 * line)
        return;
    const int x0 = left + (cell - textWidth(text) * scale) / 2, y0 = top + (cell - kGlyphHeight * scale) / 2;
    for (int i = 0; i < int(text.size()); ++i)
        for (int row = 0; row < kGlyphHeight * scale; ++row)
            for (int column = 0; column < kGlyphWidth * scale; ++column)
                if (glyphPixel(text[i], column / scale, row / scale))
                    setPixel(image, x0 + (i * kGlyphAdvance) * scale + column, y0 + row, colour);
}

}  // namespace

int gridCellSize(int width)
{
    return width / kGridColumns;
}

orbhost::Image makeUvGrid(int width)
{
    orbhost::Image image = latLongImage(width);
    const int cell = gridCellSize(width), line = std::max(1, cell / 32);
    const int w = image.width, h = image.height;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            const bool border = x % cell < line || y % cell < line || std::abs(2 * y + 1 - h) < 2 * line ||
                                std::abs(2 * x + 1 - w) < 2 * line;
            const double u = (x + 0.5) / w, v = (y + 0.5) / h;
            const double shade = (x / cell + y / cell) % 2 == 0 ? 1.0 : 0.6;
            setPixel(image, x, y, border ? kLine : scaled(Rgb{u, v, 0.35}, shade));
        }
    }
    for (int row = 0; row < kGridRows; ++row) {
        for (int column = 0; column < kGridColumns; ++column) {
            const double u = (column + 0.5) / kGridColumns, v = (row + 0.5) / kGridRows;
            const double shade = (row + column) % 2 == 0 ? 1.0 : 0.6;
            const double luma = shade * (0.3 * u + 0.59 * v + 0.11 * 0.35);
            drawLabel(image, std::to_string(row * kGridColumns + column), column * cell + line / 2,
                      row * cell + line / 2, cell, line, luma < 0.35 ? kLightText : kDarkText);
        }
    }
    return image;
}

}  // namespace texgen
