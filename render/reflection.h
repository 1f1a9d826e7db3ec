#pragma once
// The reflection map: the mirrored view ray picks a colour from a lat/long environment layer
// fixed to the composition, tinted by "Metal", filtered by the sphere itself under "Self
// Shadow", and weighted toward grazing angles by "Reflection Rolloff".

#include "render/colour_pixel.h"
#include "render/ray.h"

struct RenderContext;

// Adds the reflection at P (normal N facing the viewer, base colour T) to `sum`.
template <class Pixel>
void shadeReflection(const RenderContext& ctx, const Ray& ray, Vec4 p, Vec4 n, const Colour& base, Colour& sum);
