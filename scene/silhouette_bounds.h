#pragma once
// Where the ellipsoid can be on the output, row by row: computed once per frame before the
// passes, so that they skip work that cannot change a pixel. Each bound keeps a margin wider
// than every rounding of the kernels' own rays; where no such margin can be given (the eye
// in or at the ellipsoid, a camera that is not a rigid frame, a huge opening, values that are
// not finite) there are no bounds and every pixel takes the full path.
#include "hostapi/host_api.h"

struct RenderContext;

// Output columns [begin, end) of one row.
struct ColumnSpan {
    A_long begin = 0;
    A_long end = 0;
};

struct SilhouetteRow {
    ColumnSpan touched;   // outside it no corner sample of a pixel meets the ellipsoid
    ColumnSpan covered;   // inside it all four corner samples do
    ColumnSpan blurred;   // outside it blur from the ellipsoid cannot reach an empty pixel
};

// One row per output row, in host memory (ctx.silhouette), or none.
struct SilhouetteBounds {
    A_long rows = 0;
    SilhouetteRow* row = nullptr;
};

// Fills ctx.silhouette for ctx.outputWorld. Without a trustworthy bound, or without host
// memory for it, the context is left without one.
void boundSilhouette(RenderContext& ctx);

// Gives the rows back to the host.
void releaseSilhouette(RenderContext& ctx);
