// PF_Cmd_SMART_RENDER, provisional: checks out the input and the output and clears every
// output pixel to zero through the host's iterate_generic, one row per iteration. The sphere
// renderer takes over from here; the host calls, their order and the error rules stay.
#include "AEO/host_access.h"
#include "AEO/suite_handler.h"
#include "shell/commands.h"

#include <cstring>

namespace {

struct ClearRows {
    char* base;
    A_long rowbytes;
    std::size_t bytesPerRow;
};

PF_Err clearRow(void* refcon, A_long, A_long row, A_long)
{
    const auto& rows = *static_cast<const ClearRows*>(refcon);
    std::memset(rows.base + static_cast<std::ptrdiff_t>(row) * rows.rowbytes, 0, rows.bytesPerRow);
    return PF_Err_NONE;
}

std::size_t bytesPerPixel(PF_PixelFormat format)
{
    switch (format) {
    case PF_PixelFormat_ARGB128: return sizeof(PF_PixelFloat);
    case PF_PixelFormat_ARGB64: return sizeof(PF_Pixel16);
    default: return sizeof(PF_Pixel);   // anything else is treated as 8-bit
    }
}

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

PF_Err clearWorld(const PF_UtilCallbacks* utils, PF_EffectWorld& world, PF_PixelFormat format)
{
    if (!utils || !utils->iterate_generic) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    const std::size_t rowBytes = static_cast<std::size_t>(world.width) * bytesPerPixel(format);
    if (!world.data || world.width <= 0 || world.height <= 0 || world.rowbytes <= 0 ||
        rowBytes > static_cast<std::size_t>(world.rowbytes)) {
        return world.height <= 0 || world.width <= 0 ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
    }
    ClearRows rows{reinterpret_cast<char*>(world.data), world.rowbytes, rowBytes};
    return utils->iterate_generic(world.height, &rows, clearRow);
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
    if (!err) err = clearWorld(in_data->utils, *output, format);
    // The host checks the input and output back in when the command returns.
    return err;
}
