// Procedural lat/long (equirectangular) textures for the example scenes. Every generator is
// deterministic: the same width gives the same pixels on every run. Images are width × width/2,
// row 0 at the north pole, column 0 at longitude 0; all pixels are opaque.
#pragma once

#include "host/scene/image.h"

namespace texgen {

// Oceans (deep and shallow), continents (greens, browns, mountains) and polar ice.
orbhost::Image makePlanet(int width);

// Test grid: 16 × 8 cells, numbered where they are 20 pixels or more, colour ramps in u and v, white borders, thicker lines on
// the equator and on the meridian u = 0.5.
orbhost::Image makeUvGrid(int width);

// Night sky: black, stars of many brightnesses, a faint milky band along a tilted great circle.
orbhost::Image makeStarField(int width);

// Cell size of makeUvGrid for an image of this width, in pixels.
int gridCellSize(int width);
inline constexpr int kGridColumns = 16, kGridRows = 8;

}  // namespace texgen
