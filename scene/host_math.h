// Maths that must agree with the host's own: tangents go through the host's ANSI callbacks,
// so that the opening and the highlight exponent match what the host computes elsewhere.
#pragma once
#include "hostapi/host_api.h"

#include <cmath>

inline double hostTan(const PF_InData* inData, double x)
{
    if (inData && inData->utils && inData->utils->ansi.tan) {
        return inData->utils->ansi.tan(x);
    }
    return std::tan(x);
}
