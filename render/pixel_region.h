#pragma once
// What the frame's silhouette bounds (scene/silhouette_bounds.h) tell of one pixel before
// any ray is cast.
#include "scene/render_context.h"

enum class PixelRegion {
    Unknown,      // no bound decides: the full coverage test
    Covered,      // all four corner samples meet the ellipsoid
    Empty,        // no corner sample meets it
    BeyondBlur,   // empty, and blur from the ellipsoid cannot reach it either
};

inline bool inSpan(const ColumnSpan& span, A_long x) { return x >= span.begin && x < span.end; }

inline PixelRegion pixelRegion(const RenderContext& ctx, A_long x, A_long y)
{
    const SilhouetteBounds& bounds = ctx.silhouette;
    if (!bounds.row || y >= bounds.rows)
        return PixelRegion::Unknown;
    const SilhouetteRow& row = bounds.row[y];
    if (!inSpan(row.blurred, x))
        return PixelRegion::BeyondBlur;
    if (!inSpan(row.touched, x))
        return PixelRegion::Empty;
    return inSpan(row.covered, x) ? PixelRegion::Covered : PixelRegion::Unknown;
}
