// The sampling math behind the host's "PF Sampling8/16/Float Suite": nearest neighbour,
// bilinear and box-filtered area samples of a read-only world.
//
// Pixel is PF_Pixel (0..255), PF_Pixel16 (0..32768) or PF_PixelFloat (1.0 = full), channels in
// the order alpha, red, green, blue, straight colour. x and y are 16.16 fixed with integer values
// at pixel centres. Everything outside the world reads as alpha 0. Results are alpha-weighted:
// alpha = Σ w·a, colour = Σ w·a·c / Σ w·a over normalised weights w, and a result without alpha
// is all zero. Integer results are rounded to nearest and clamped; float results are not clamped.
// A float pixel holding NaN or infinity counts as transparent.
//
// Every function returns PF_Err_NONE, PF_Err_BAD_CALLBACK_PARAM (516) for a null destination or
// an unreadable world (negative size, no data, rows shorter than a row of pixels), or
// PF_Err_OUT_OF_MEMORY when an area table cannot be built. They are safe to call from many threads.
#pragma once
#include "hostapi/host_api.h"
#include "host/sampling/area_table.h"

namespace orbhost {

// The pixel (floor(u + 0.5), floor(v + 0.5)).
template <class Pixel>
PF_Err sampleNearest(const PF_EffectWorld& src, PF_Fixed x, PF_Fixed y, Pixel* out);

// PF_Quality_HI: bilinear over the four pixels around (u, v). Any other quality: nearest neighbour.
template <class Pixel>
PF_Err sampleSubpixel(const PF_EffectWorld& src, PF_Fixed x, PF_Fixed y, PF_Quality quality,
                      Pixel* out);

// PF_Quality_HI: exact box filter over [u − rx, u + rx] × [v − ry, v + ry] (rx = |xRadius| / 65536),
// pixel i covering [i − 0.5, i + 0.5], weight = overlap / (4·rx·ry). A box reaching off the world
// loses the alpha of the part outside. Radii of any size work, down to one 65536th of a pixel
// (a box inside one pixel reads that pixel); a zero radius samples that axis at the point
// floor(u + 0.5) instead of over an interval. Any other quality: nearest neighbour.
// The cost does not depend on the radius: small boxes are summed pixel by pixel, larger ones
// read the world's summed-area table from `cache` (built on first use).
template <class Pixel>
PF_Err sampleArea(AreaTableCache& cache, const PF_EffectWorld& src, PF_Fixed x, PF_Fixed y,
                  PF_Fixed xRadius, PF_Fixed yRadius, PF_Quality quality, Pixel* out);

} // namespace orbhost
