// Scene assembly: turns the effect's parameters and the host composition into the numbers
// of a RenderContext. Every routine reads the host through AEO objects that live only as
// long as the routine.
//
// A failed host query does not fail the frame: the AEO object that made it keeps the error
// and answers its later queries with defaults, and the fields that depend on it take those
// defaults. The routines therefore always return PF_Err_NONE; the smart-render driver alone
// decides on the frame's error, from the steps it runs itself.
#pragma once
#include "scene/render_context.h"

// Fills the context after the driver has set the downsample factors, pixel aspect and
// pixel format: sphere placement, camera, lights, then the shading and rendering values.
PF_Err assembleScene(PF_InData* inData, RenderContext& context);

// The sphere's frame, semi-axes, opening, pivot, slide and the texture's size.
PF_Err placeSphere(PF_InData* inData, RenderContext& context);
