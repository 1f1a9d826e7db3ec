// A 5 × 7 pixel font for the digits 0–9, enough to number the cells of the test grid.
#pragma once

#include <string_view>

namespace texgen {

inline constexpr int kGlyphWidth = 5, kGlyphHeight = 7, kGlyphAdvance = 6;

// Whether pixel (column, row) of the digit's glyph is set; false outside the 5 × 7 box and for
// characters other than '0'..'9'.
bool glyphPixel(char digit, int column, int row);

// Width in font pixels of text set with kGlyphAdvance per character (no trailing gap).
int textWidth(std::string_view text);

}  // namespace texgen
