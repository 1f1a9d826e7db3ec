#pragma once
// The depth effects: how far depth of field blurs a surface, whether blur can reach an
// empty pixel, and the fog or fade of the depth composite.

#include "render/colour_pixel.h"
#include "render/coverage.h"

struct RenderContext;

// Blur radius in full-resolution pixels of a surface at ray parameter `depth`: 0 at the
// focus distance, half the largest radius one focus distance away, the largest far off.
double blurRadius(const RenderContext& ctx, double depth);

// The depth the buffered pass stores for a pixel no sample ray hits: the ray parameter of the
// point nearest the sphere's centre, or −1 when no blur from the sphere can reach the pixel.
float emptyPixelDepth(const RenderContext& ctx, const PixelCoverage& empty);

// "Fog" or "Fade Out" of a shaded colour at ray parameter t; "Off" leaves it as it is.
Colour depthComposite(const RenderContext& ctx, const Colour& colour, double t);
