// The iterate callbacks of the three render passes, one per pixel depth. Each call handles
// the output pixel x = i mod width, y = i div width with the render context as refcon.
#pragma once
#include "hostapi/host_api.h"

struct RenderContext;

using PassCallback = PF_Err (*)(void* refcon, A_long threadIndex, A_long i, A_long iterations);

struct PassCallbacks {
    PassCallback direct;     // depth of field off: the whole render
    PassCallback buffered;   // depth of field on: front and back layers into the pass worlds
    PassCallback gather;     // then: blur and composite the layers into the output
    // Whether the context holds the sampling suite these kernels call.
    bool (*canSample)(const RenderContext& ctx);
};

// The callbacks for an output pixel format; anything but 'ae16' and 'ae32' is 8-bit.
PassCallbacks passCallbacksFor(PF_PixelFormat format);
