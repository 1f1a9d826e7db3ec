// PF_Cmd_SMART_RENDER: checks out the input and output, builds the render context, checks
// out the texture and reflection layers, and runs the passes through the host's generic
// iterate: one direct pass, or with depth of field a buffered and a gather pass over four
// temporary worlds. Everything it creates lives on this stack and is given back in reverse
// order, also when a step fails or an exception passes.
#include "AEO/effect_world.h"
#include "AEO/host_access.h"
#include "AEO/suite_handler.h"
#include "render/render_passes.h"
#include "scene/param_checkout.h"
#include "scene/render_context.h"
#include "scene/scene_assembly.h"
#include "scene/silhouette_bounds.h"
#include "shell/commands.h"
#include "shell/effect_param_id.h"

#include <array>
#include <optional>

namespace {

// "PF World Suite" version 2 is acquired for this one query and released at once.
PF_Err readPixelFormat(const SPBasicSuite* basic, const PF_EffectWorld& world, PF_PixelFormat& format)
{
    const AEO::ScopedSuite<PF_WorldSuite2> worldSuite(basic);
    if (worldSuite.error()) {
        return worldSuite.error();
    }
    return worldSuite.get()->PF_GetPixelFormat ? worldSuite.get()->PF_GetPixelFormat(&world, &format)
                                               : PF_Err_BAD_CALLBACK_PARAM;
}

double scaleOf(const PF_RationalScale& r) { return r.den ? static_cast<double>(r.num) / r.den : 1.0; }

PF_Err iterate(const PF_InData* in, const PF_EffectWorld& output, RenderContext& ctx, PassCallback pass)
{
    if (!in->utils || !in->utils->iterate_generic) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    return in->utils->iterate_generic(output.height * output.width, &ctx, pass);
}

// Front and back colour at the output's depth, front and back depth as 8-bit worlds that
// hold one float per pixel; disposed in the reverse order of their creation.
PF_Err renderWithDepthOfField(PF_InData* in, const PF_EffectWorld& output, RenderContext& ctx,
                              const PassCallbacks& passes)
{
    const PF_PixelFormat colourFormat =
        ctx.pixelFormat == PF_PixelFormat_ARGB128 || ctx.pixelFormat == PF_PixelFormat_ARGB64 ? ctx.pixelFormat
                                                                                              : PF_PixelFormat_ARGB32;
    const std::array<PF_PixelFormat, 4> formats{colourFormat, colourFormat, PF_PixelFormat_ARGB32,
                                                PF_PixelFormat_ARGB32};
    std::array<std::optional<AEO::NewEffectWorld>, 4> worlds;
    bool allCreated = true;
    for (std::size_t i = 0; i < worlds.size(); ++i) {
        worlds[i].emplace(in, output.width, output.height, formats[i]);
        ctx.passWorlds[i] = &worlds[i]->world();
        allCreated = allCreated && worlds[i]->created();
    }
    // A world the host could not create fails the frame here. Host objects usually leave
    // such a failure to the next host call, but here the next call is a pass that would
    // write into an empty world: that departs from the usual rule on purpose.
    PF_Err err = allCreated ? PF_Err_NONE : PF_Err_OUT_OF_MEMORY;
    if (!err) {
        err = iterate(in, output, ctx, passes.buffered);
    }
    if (!err) {
        err = iterate(in, output, ctx, passes.gather);
    }
    for (std::size_t i = worlds.size(); i-- > 0;) {
        ctx.passWorlds[i] = nullptr;
        worlds[i].reset();
    }
    return err;
}

} // namespace

PF_Err smartRender(PF_InData* in_data, PF_OutData*, PF_SmartRenderExtra* extra)
{
    if (!extra || !extra->cb || !extra->cb->checkout_layer_pixels || !extra->cb->checkout_output) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    AEO::SuiteHandler suites(in_data->pica_basicP);
    AEO::HostAccess host(in_data);
    // Only the float suite's error is reported: missing 8- or 16-bit suites skip the frame quietly.
    if (!host.allSamplingSuites()) {
        return host.samplingFloatError();
    }

    PF_EffectWorld* input = nullptr;
    PF_EffectWorld* output = nullptr;
    PF_PixelFormat format = PF_PixelFormat_ARGB32;
    // The input is checked out but not read: the picture is made entirely by the effect.
    PF_Err err = extra->cb->checkout_layer_pixels(in_data->effect_ref, kInputCheckoutId, &input);
    if (!err) err = extra->cb->checkout_output(in_data->effect_ref, &output);
    if (!err && !output) err = PF_Err_BAD_CALLBACK_PARAM;
    if (!err) err = readPixelFormat(in_data->pica_basicP, *output, format);

    RenderContext ctx(in_data);
    ctx.downsampleX = scaleOf(in_data->downsample_x);
    ctx.downsampleY = scaleOf(in_data->downsample_y);
    ctx.pixelAspect = scaleOf(in_data->pixel_aspect_ratio);
    ctx.pixelFormat = format;
    // Scene assembly does not fail the frame: a failed host query leaves its defaults in the
    // context (see scene_assembly.h). Only the driver's own steps decide the result.
    if (!err) {
        err = assembleScene(in_data, ctx);
    }

    PF_ParamDef layer{};
    // The two layer checkouts are the render's own steps: their errors are the frame's.
    ParamCheckout texture(in_data);
    ctx.textureWorld = texture.get(PARAM_TEXTURE, &layer).u.ld;
    err |= texture.error();   // either error makes the frame fail; which one is secondary

    // Only a chosen reflection layer counts: its record carries the layer in reserved0.
    ParamCheckout reflection(in_data);
    if (reflection.get(PARAM_REFLECTION_MAP, &layer).u.ld.reserved0) {
        ctx.reflectionWorld = reflection.get(PARAM_REFLECTION_MAP, &layer).u.ld;
        err |= reflection.error();
    }
    ctx.outputWorld = output;

    if (!err) {
        boundSilhouette(ctx);
    }

    const PassCallbacks passes = passCallbacksFor(ctx.pixelFormat);
    // The kernels sample through the context's own suite of the output's depth; a render
    // they could not finish fails here, before any pass starts.
    if (!err && !passes.canSample(ctx)) {
        err = PF_Err_BAD_CALLBACK_PARAM;
    }
    if (!err) {
        err = ctx.depthOfFieldActive ? renderWithDepthOfField(in_data, *output, ctx, passes)
                                     : iterate(in_data, *output, ctx, passes.direct);
    }
    // The host checks the input and output back in when the command returns.
    return err;
}
