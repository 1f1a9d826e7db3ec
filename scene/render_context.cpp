#include "scene/render_context.h"

#include "scene/light_list.h"
#include "scene/silhouette_bounds.h"

RenderContext::RenderContext(PF_InData* in)
    : inData(in), suites(in ? in->pica_basicP : nullptr), hostAccess(in)
{
    lights.allocator = &hostAccess;
}

// The members then release the sampling suites (float, 16-bit, 8-bit) and the AEGP suites.
RenderContext::~RenderContext()
{
    releaseSilhouette(*this);
    releaseLights(lights);
}
