// PF_Cmd_PARAMS_SETUP: registers the rows of kParamTable in order.
#include "shell/commands.h"
#include "shell/param_table.h"

namespace {

// Everything of the definition except its name, which only the host's strcpy may write.
void describeParam(const ParamSpec& spec, PF_ParamDef& def)
{
    def.param_type = spec.type;
    def.flags = spec.flags;
    def.ui_flags = spec.uiFlags;
    def.uu.id = spec.diskId;
    switch (spec.type) {
    case PF_Param_LAYER:
        def.u.ld.dephault = spec.dflt;
        break;
    case PF_Param_FIX_SLIDER:
        def.u.fd.value = spec.dflt;
        def.u.fd.dephault = spec.dflt;
        def.u.fd.valid_min = spec.validMin;
        def.u.fd.valid_max = spec.validMax;
        def.u.fd.slider_min = spec.sliderMin;
        def.u.fd.slider_max = spec.sliderMax;
        def.u.fd.precision = spec.precision;
        break;
    case PF_Param_FLOAT_SLIDER:
        def.u.fs_d.value = spec.floatDefault;
        def.u.fs_d.dephault = spec.floatDefault;
        def.u.fs_d.valid_min = spec.floatValidMin;
        def.u.fs_d.valid_max = spec.floatValidMax;
        def.u.fs_d.slider_min = spec.floatSliderMin;
        def.u.fs_d.slider_max = spec.floatSliderMax;
        def.u.fs_d.precision = spec.precision;
        def.u.fs_d.curve_tolerance = spec.curveTolerance;
        break;
    case PF_Param_ANGLE:
        def.u.ad.value = spec.dflt;
        def.u.ad.dephault = spec.dflt;
        break;
    case PF_Param_CHECKBOX:
        def.u.bd.value = spec.dflt;
        def.u.bd.dephault = static_cast<PF_Boolean>(spec.dflt);
        def.u.bd.u.nameptr = spec.text;
        break;
    case PF_Param_POPUP:
        def.u.pd.value = spec.dflt;
        def.u.pd.num_choices = spec.numChoices;
        def.u.pd.dephault = static_cast<A_short>(spec.dflt);
        def.u.pd.u.namesptr = spec.text;
        break;
    case PF_Param_POINT:
        def.u.td.x_value = spec.dflt;
        def.u.td.y_value = spec.defaultY;
        def.u.td.x_dephault = spec.dflt;
        def.u.td.y_dephault = spec.defaultY;
        break;
    case PF_Param_COLOR:
        def.u.cd.value = spec.color;
        def.u.cd.dephault = spec.color;
        break;
    default:   // group start and end carry nothing beyond the common fields
        break;
    }
}

} // namespace

PF_Err paramsSetup(PF_InData* in_data, PF_OutData* out_data)
{
    if (!in_data->inter.add_param || !in_data->utils || !in_data->utils->ansi.strcpy) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    for (const ParamSpec& spec : kParamTable) {
        PF_ParamDef def{};
        describeParam(spec, def);
        if (spec.name) {
            in_data->utils->ansi.strcpy(def.name_do_not_use_directly, spec.name);
        }
        // Index -1 appends; the table order is the parameter order.
        if (const PF_Err err = in_data->inter.add_param(in_data->effect_ref, -1, &def)) {
            return err;
        }
    }
    out_data->num_params = PARAM_NUM_PARAMS;
    return PF_Err_NONE;
}
