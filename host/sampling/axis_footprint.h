// One axis of a sampling box: which pixels it touches and how much of each it covers.
//
// Coordinates here are pixel edges: pixel i covers [i, i + 1), so a sampler coordinate u
// (integer values at pixel centres, 16.16 fixed) becomes e = u + 0.5.
#pragma once
#include "hostapi/host_api.h"

namespace orbhost {

struct AxisFootprint {
    int first = 0;     // first touched pixel, inside the world
    int last = -1;     // last touched pixel; last < first when the box misses the world
    double lo = 0;     // box edges clipped to the world, in pixel-edge coordinates
    double hi = 0;
    double scale = 1;  // 1 / unclipped box length, so that weights sum to 1 over the whole box

    bool empty() const { return last < first; }
    int count() const { return empty() ? 0 : last - first + 1; }
    // Normalised weight of pixel i (first <= i <= last): covered length / box length.
    double weight(int i) const;
};

// The box [u - r, u + r] along an axis of `size` pixels, with u = centre / 65536 and
// r = |radius| / 65536. A zero radius is the limit of a shrinking box: a point sample of the
// pixel floor(u + 0.5), the same pixel that the nearest-neighbour sampler reads.
AxisFootprint axisFootprint(PF_Fixed centre, PF_Fixed radius, int size);

} // namespace orbhost
