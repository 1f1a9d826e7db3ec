// The probe effect: one parameter of each common type; logs every command and the values it
// checks out. PROBE_ACTIONS (read at global set-up), comma-separated: leak_checkout, leak_suite,
// leak_handle, leak_world, use_world, iterate_fail, over_release (gives back a suite it never
// took); aegp_rename (on a change of "Layer", names the layer after its source if unnamed and
// sets an expression naming it on "Watched"); aegp_leak (keeps an effect, a stream, two names).
#include "hostapi/host_api.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#define PROBE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

std::string gLog;
std::string gActions;
PF_Handle gGlobal = nullptr;
AEGP_PluginID gPluginId = 0;

bool wants(const char* action)
{
    return ("," + gActions + ",").find(std::string(",") + action + ",") != std::string::npos;
}

void logLine(const std::string& line) { gLog += line + "\n"; }

// Adds the definition, then clears it for the next one.
PF_Err add(PF_InData* in, PF_ParamDef& def, const char* name, PF_ParamType type, A_long id)
{
    std::strncpy(def.name_do_not_use_directly, name, sizeof def.name_do_not_use_directly - 1);
    def.param_type = type;
    def.uu.id = id;
    const PF_Err err = in->inter.add_param(in->effect_ref, -1, &def);
    def = {};
    return err;
}

PF_Err paramsSetup(PF_InData* in, PF_OutData* out)
{
    PF_Err err = PF_Err_NONE;
    PF_ParamDef d{};
    if ((err = add(in, d, "Layer", PF_Param_LAYER, 1))) return err;
    d.u.fd.valid_max = d.u.fd.slider_max = 100 << 16, d.u.fd.dephault = 50 << 16;
    if ((err = add(in, d, "Amount", PF_Param_FIX_SLIDER, 2))) return err;
    d.u.fs_d.valid_max = 10, d.u.fs_d.slider_max = 10, d.u.fs_d.dephault = 1, d.u.fs_d.value = 1;
    if ((err = add(in, d, "Scale", PF_Param_FLOAT_SLIDER, 3))) return err;
    if ((err = add(in, d, "Angle", PF_Param_ANGLE, 4))) return err;
    d.u.bd.u.nameptr = "on";
    if ((err = add(in, d, "Enable", PF_Param_CHECKBOX, 5))) return err;
    d.u.cd.dephault = {255, 255, 0, 0};
    if ((err = add(in, d, "Tint", PF_Param_COLOR, 6))) return err;
    d.u.td.x_dephault = 50 << 16, d.u.td.y_dephault = 50 << 16;
    if ((err = add(in, d, "Center", PF_Param_POINT, 7))) return err;
    d.u.pd.num_choices = 3, d.u.pd.dephault = 1, d.u.pd.u.namesptr = "One|Two|Three";
    if ((err = add(in, d, "Mode", PF_Param_POPUP, 8))) return err;
    if ((err = add(in, d, "Group", PF_Param_GROUP_START, 9))) return err;
    d.flags = PF_ParamFlag_SUPERVISE;
    d.u.fd.valid_max = 10 << 16, d.u.fd.slider_max = 10 << 16;
    if ((err = add(in, d, "Watched", PF_Param_FIX_SLIDER, 10))) return err;
    if ((err = add(in, d, "", PF_Param_GROUP_END, 11))) return err;
    out->num_params = 12;
    return PF_Err_NONE;
}

PF_Err globalSetup(PF_InData* in, PF_OutData* out)
{
    const char* actions = std::getenv("PROBE_ACTIONS");
    gActions = actions ? actions : "";
    out->my_version = 0x00080000;
    out->out_flags = PF_OutFlag_DEEP_COLOR_AWARE;
    out->out_flags2 = PF_OutFlag2_SUPPORTS_SMART_RENDER | PF_OutFlag2_FLOAT_COLOR_AWARE;
    const void* table = nullptr;
    if (in->pica_basicP->AcquireSuite(kAEGPUtilitySuite, 11, &table))
        return PF_Err_BAD_CALLBACK_PARAM;
    AEGP_PluginID id = 0;
    static_cast<const AEGP_UtilitySuite5*>(table)->AEGP_RegisterWithAEGP(nullptr, "Probe", &id);
    in->pica_basicP->ReleaseSuite(kAEGPUtilitySuite, 11);
    gGlobal = in->utils->host_new_handle(16);
    if (!gGlobal)
        return PF_Err_OUT_OF_MEMORY;
    out->global_data = gGlobal;
    gPluginId = id;
    return PF_Err_NONE;
}

// A suite acquired for the length of one action.
template <class Suite>
struct Acquired {
    PF_InData* in;
    const char* name;
    int version;
    const Suite* suite = nullptr;
    Acquired(PF_InData* i, const char* n, int v) : in(i), name(n), version(v)
    {
        const void* table = nullptr;
        if (!in->pica_basicP->AcquireSuite(name, version, &table))
            suite = static_cast<const Suite*>(table);
    }
    ~Acquired()
    {
        if (suite)
            in->pica_basicP->ReleaseSuite(name, version);
    }
};

std::string utf16Text(const AEGP_MemorySuite1* mem, AEGP_MemHandle handle)
{
    void* data = nullptr;
    std::string text;
    if (!handle || mem->AEGP_LockMemHandle(handle, &data))
        return "?";
    for (const A_UTF16Char* c = static_cast<const A_UTF16Char*>(data); *c; ++c)
        text += char(*c < 0x80 ? *c : '?');
    mem->AEGP_UnlockMemHandle(handle);
    return text;
}

// What the effect does when the user picks a control layer: name it if it has no name of its
// own, then refer to it by name from an expression.
void renameAndRefer(PF_InData* in, PF_ParamDef* params[])
{
    Acquired<AEGP_PFInterfaceSuite1> pf(in, kAEGPPFInterfaceSuite, 1);
    Acquired<AEGP_StreamSuite4> streams(in, kAEGPStreamSuite, 9);
    Acquired<AEGP_DynamicStreamSuite4> dynamic(in, kAEGPDynamicStreamSuite, 5);
    Acquired<AEGP_EffectSuite3> effects(in, kAEGPEffectSuite, 3);
    Acquired<AEGP_LayerSuite6> layers(in, kAEGPLayerSuite, 12);
    Acquired<AEGP_LayerSuite5> layers11(in, kAEGPLayerSuite, 11);
    Acquired<AEGP_MemorySuite1> mem(in, kAEGPMemorySuite, 1);
    if (!pf.suite || !streams.suite || !dynamic.suite || !effects.suite || !layers.suite || !layers11.suite || !mem.suite) {
        logLine("aegp suites missing");
        return;
    }
    AEGP_EffectRefH effect = nullptr;
    AEGP_StreamRefH stream = nullptr;
    A_Err err = pf.suite->AEGP_GetNewEffectForEffect(gPluginId, in->effect_ref, &effect);
    if (!err)
        err = streams.suite->AEGP_GetNewEffectStreamByIndex(gPluginId, effect, 10, &stream);
    auto layer = static_cast<AEGP_LayerH>(params[1]->u.ld.reserved0);
    std::string expression;
    if (!err && layer) {
        AEGP_MemHandle own = nullptr, source = nullptr;
        err = layers.suite->AEGP_GetLayerName(gPluginId, layer, &own, &source);
        const std::string ownName = utf16Text(mem.suite, own), sourceName = utf16Text(mem.suite, source);
        logLine("names own=\"" + ownName + "\" source=\"" + sourceName + "\"");
        if (!err && ownName.empty()) {
            void* data = nullptr;
            mem.suite->AEGP_LockMemHandle(source, &data);
            err = layers.suite->AEGP_SetLayerName(layer, static_cast<const A_UTF16Char*>(data));
            mem.suite->AEGP_UnlockMemHandle(source);
        }
        mem.suite->AEGP_FreeMemHandle(own);
        mem.suite->AEGP_FreeMemHandle(source);
        A_char name[AEGP_MAX_LAYER_NAME_SIZE] = {};
        if (!err)
            err = layers11.suite->AEGP_GetLayerName(layer, name, nullptr);
        expression = std::string("thisComp.layer(\"") + name + "\")\n";
    }
    if (!err)
        err = streams.suite->AEGP_SetExpression(gPluginId, stream, expression.c_str());
    if (!err)
        err = dynamic.suite->AEGP_SetDynamicStreamFlag(stream, AEGP_DynStreamFlag_HIDDEN, false, true);
    logLine("rename err=" + std::to_string(err));
    if (stream)
        streams.suite->AEGP_DisposeStream(stream);
    if (effect)
        effects.suite->AEGP_DisposeEffect(effect);
}

void leakAegpObjects(PF_InData* in)
{
    Acquired<AEGP_PFInterfaceSuite1> pf(in, kAEGPPFInterfaceSuite, 1);
    Acquired<AEGP_StreamSuite4> streams(in, kAEGPStreamSuite, 9);
    Acquired<AEGP_LayerSuite6> layers(in, kAEGPLayerSuite, 12);
    if (!pf.suite || !streams.suite || !layers.suite)
        return;
    AEGP_EffectRefH effect = nullptr;
    AEGP_StreamRefH stream = nullptr;
    AEGP_LayerH layer = nullptr;
    AEGP_MemHandle own = nullptr, source = nullptr;
    pf.suite->AEGP_GetNewEffectForEffect(gPluginId, in->effect_ref, &effect);
    streams.suite->AEGP_GetNewEffectStreamByIndex(gPluginId, effect, 2, &stream);
    pf.suite->AEGP_GetEffectLayer(in->effect_ref, &layer);
    layers.suite->AEGP_GetLayerName(gPluginId, layer, &own, &source);
}

struct IterateState {
    std::vector<std::atomic<int>>* visits;
    std::atomic<int> maxThread{0};
    PF_EffectWorld* output;
    PF_Pixel color;
    bool fail;
    int bitdepth;
};

PF_Err fillPixel(void* refcon, A_long thread, A_long i, A_long)
{
    auto* s = static_cast<IterateState*>(refcon);
    if (s->fail && i == 10)
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    (*s->visits)[std::size_t(i)]++;
    int seen = s->maxThread.load();
    while (thread > seen && !s->maxThread.compare_exchange_weak(seen, thread)) {
    }
    const A_long x = i % s->output->width, y = i / s->output->width;
    auto* row = reinterpret_cast<char*>(s->output->data) + std::size_t(y) * s->output->rowbytes;
    const PF_Pixel c = s->color;
    if (s->bitdepth == 8)
        reinterpret_cast<PF_Pixel*>(row)[x] = c;
    else if (s->bitdepth == 16)
        reinterpret_cast<PF_Pixel16*>(row)[x] = {A_u_short(c.alpha * 32768 / 255), A_u_short(c.red * 32768 / 255),
                                                 A_u_short(c.green * 32768 / 255), A_u_short(c.blue * 32768 / 255)};
    else
        reinterpret_cast<PF_PixelFloat*>(row)[x] = {c.alpha / 255.0f, c.red / 255.0f, c.green / 255.0f, c.blue / 255.0f};
    return PF_Err_NONE;
}

PF_Err smartRender(PF_InData* in, PF_SmartRenderExtra* extra)
{
    char line[256];
    PF_ParamDef p[12];
    PF_Err err = PF_Err_NONE;
    for (int i = 1; i <= 10 && !err; ++i) {
        if (i == 9)
            continue;
        err = in->inter.checkout_param(in->effect_ref, i, in->current_time, in->time_step, in->time_scale, &p[i]);
    }
    if (err)
        return err;
    std::snprintf(line, sizeof line,
                  "values t=%d layer=%d,%d,%d amount=%d scale=%g angle=%d enable=%d tint=%d,%d,%d,%d center=%d,%d mode=%d watched=%d",
                  int(in->current_time), p[1].u.ld.data != nullptr, int(p[1].u.ld.width), p[1].u.ld.reserved0 != nullptr,
                  int(p[2].u.fd.value), p[3].u.fs_d.value, int(p[4].u.ad.value), int(p[5].u.bd.value),
                  p[6].u.cd.value.alpha, p[6].u.cd.value.red, p[6].u.cd.value.green, p[6].u.cd.value.blue,
                  int(p[7].u.td.x_value), int(p[7].u.td.y_value), int(p[8].u.pd.value), int(p[10].u.fd.value));
    logLine(line);
    const PF_Pixel tint = p[6].u.cd.value;
    for (int i = 1; i <= 10; ++i)
        if (i != 9 && !(i == 2 && wants("leak_checkout")))
            in->inter.checkin_param(in->effect_ref, &p[i]);

    if (wants("aegp_leak"))
        leakAegpObjects(in);

    PF_EffectWorld* input = nullptr;
    PF_EffectWorld* output = nullptr;
    if ((err = extra->cb->checkout_layer_pixels(in->effect_ref, 0, &input)))
        return err;
    PF_EffectWorld* twice = nullptr;   // a second checkout of the same layer must be refused
    logLine("checkout again err=" + std::to_string(extra->cb->checkout_layer_pixels(in->effect_ref, 0, &twice)));
    if ((err = extra->cb->checkout_output(in->effect_ref, &output)))
        return err;

    const void* table = nullptr;
    if (wants("leak_suite"))
        in->pica_basicP->AcquireSuite(kPFWorldSuite, 2, &table);
    if (wants("leak_handle"))
        in->utils->host_new_handle(64);
    if (wants("over_release"))
        in->pica_basicP->ReleaseSuite(kPFWorldSuite, 2);
    if (wants("leak_world") || wants("use_world")) {
        if (in->pica_basicP->AcquireSuite(kPFWorldSuite, 2, &table))
            return PF_Err_BAD_CALLBACK_PARAM;
        const auto* ws = static_cast<const PF_WorldSuite2*>(table);
        PF_EffectWorld world{};
        err = ws->PF_NewWorld(in->effect_ref, 4, 3, 0, PF_PixelFormat_ARGB64, &world);
        if (!err) {
            PF_EffectWorld copy = world;
            PF_PixelFormat format = 0;
            const PF_Err fmtErr = ws->PF_GetPixelFormat(&copy, &format);
            std::snprintf(line, sizeof line, "world err=%d format=%d rowbytes=%d firstpixel=%d", int(fmtErr), int(format),
                          int(world.rowbytes), int(reinterpret_cast<PF_Pixel16*>(world.data)->alpha));
            logLine(line);
            if (!wants("leak_world"))
                ws->PF_DisposeWorld(in->effect_ref, &world);
        }
        in->pica_basicP->ReleaseSuite(kPFWorldSuite, 2);
        if (err)
            return err;
    }

    std::vector<std::atomic<int>> visits(std::size_t(output->width) * std::size_t(output->height));
    IterateState state{&visits, {0}, output, tint, wants("iterate_fail"), extra->input->bitdepth};
    err = in->utils->iterate_generic(A_long(visits.size()), &state, fillPixel);
    int wrong = 0;
    for (auto& v : visits)
        wrong += v.load() != 1;
    std::snprintf(line, sizeof line, "iterate err=%d wrong=%d maxthread=%d", int(err), wrong, state.maxThread.load());
    logLine(line);
    return err;
}

PF_Err preRender(PF_InData* in, PF_PreRenderExtra* extra)
{
    PF_CheckoutResult result{};
    const PF_Err err = extra->cb->checkout_layer(in->effect_ref, 0, 0, &extra->input->output_request,
                                                 in->current_time, in->time_step, in->time_scale, &result);
    extra->output->result_rect = result.result_rect;
    extra->output->max_result_rect = result.max_result_rect;
    const PF_LRect& r = result.result_rect;
    const PF_LRect& m = result.max_result_rect;
    char line[160];
    std::snprintf(line, sizeof line, "prerender err=%d result=%d,%d,%d,%d max=%d,%d,%d,%d", int(err), int(r.left),
                  int(r.top), int(r.right), int(r.bottom), int(m.left), int(m.top), int(m.right), int(m.bottom));
    logLine(line);
    return err;
}

} // namespace

PROBE_EXPORT const char* ProbeLog() { return gLog.c_str(); }
PROBE_EXPORT void ProbeClearLog() { gLog.clear(); }

PROBE_EXPORT PF_Err ProbeMain(PF_Cmd cmd, PF_InData* in, PF_OutData* out, PF_ParamDef* params[], PF_LayerDef*, void* extra)
{
    logLine("cmd " + std::to_string(cmd));
    switch (cmd) {
    case PF_Cmd_GLOBAL_SETUP: return globalSetup(in, out);
    case PF_Cmd_GLOBAL_SETDOWN:
        if (in->global_data)
            in->utils->host_dispose_handle(in->global_data);
        return PF_Err_NONE;
    case PF_Cmd_PARAMS_SETUP: return paramsSetup(in, out);
    case PF_Cmd_ABOUT: std::strcpy(out->return_msg, "Probe effect"); return PF_Err_NONE;
    case PF_Cmd_USER_CHANGED_PARAM:
        logLine("changed " + std::to_string(static_cast<PF_UserChangedParamExtra*>(extra)->param_index) + " value " +
                std::to_string(params[10]->u.fd.value));
        if (wants("aegp_rename") && static_cast<PF_UserChangedParamExtra*>(extra)->param_index == 1)
            renameAndRefer(in, params);
        return PF_Err_NONE;
    case PF_Cmd_SMART_PRE_RENDER: return preRender(in, static_cast<PF_PreRenderExtra*>(extra));
    case PF_Cmd_SMART_RENDER: return smartRender(in, static_cast<PF_SmartRenderExtra*>(extra));
    default: return PF_Err_NONE;
    }
}
