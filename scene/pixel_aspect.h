// Composition pixels that are not square: the host's matrices work in composition pixels,
// the renderer in square units. Scaling the x column about the frame's horizontal centre
// turns one into the other while keeping the centre of the frame in place.
#pragma once
#include "hostapi/host_api.h"

inline void correctPixelAspect(A_Matrix4& m, double ratio, double width)
{
    m.mat[0][0] *= ratio;
    m.mat[1][0] *= ratio;
    m.mat[2][0] *= ratio;
    m.mat[3][0] = (m.mat[3][0] - width / 2.0) * ratio + width / 2.0;
}

inline double ratioValue(const A_Ratio& r) { return static_cast<double>(r.num) / static_cast<double>(r.den); }
