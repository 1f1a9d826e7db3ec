#pragma once
// The 1-based values of the popups the kernels branch on.

#include "hostapi/host_api.h"

enum FalloffMode : A_u_long { kFalloffNone = 1, kFalloffSmooth = 2, kFalloffInverseSquareClamped = 3 };
enum RenderSide : A_u_long { kSideFull = 1, kSideInside = 2, kSideOutside = 3 };
enum DepthCompositeMode : A_u_long { kCompositeOff = 1, kCompositeFog = 2, kCompositeFadeOut = 3 };
