// PF_Cmd_PARAMS_SETUP: registers the rows of kParamTable in order.
#include "AEO/host_access.h"
#include "AEO/suite_handler.h"
#include "shell/commands.h"
#include "shell/param_table.h"

namespace {

// Everything of the definition except its name, which only the host's strcpy may write.
void describeParam(const ParamRow& row, PF_ParamDef& def)
{
    def.param_type = row.type;
    def.flags = row.flags;
    def.ui_flags = row.uiFlags;
    def.uu.id = row.diskId;
    switch (row.type) {
    case PF_Param_LAYER:
        def.u.ld.dephault = row.dflt;
        break;
    case PF_Param_FIX_SLIDER:
        def.u.fd.value = row.dflt;
        def.u.fd.dephault = row.dflt;
        def.u.fd.valid_min = row.validMin;
        def.u.fd.valid_max = row.validMax;
        def.u.fd.slider_min = row.sliderMin;
        def.u.fd.slider_max = row.sliderMax;
        def.u.fd.precision = row.precision;
        break;
    case PF_Param_FLOAT_SLIDER:
        def.u.fs_d.value = row.floatDefault;
        def.u.fs_d.dephault = row.floatDefault;
        def.u.fs_d.valid_min = row.floatValidMin;
        def.u.fs_d.valid_max = row.floatValidMax;
        def.u.fs_d.slider_min = row.floatSliderMin;
        def.u.fs_d.slider_max = row.floatSliderMax;
        def.u.fs_d.precision = row.precision;
        def.u.fs_d.curve_tolerance = row.curveTolerance;
        break;
    case PF_Param_ANGLE:
        def.u.ad.value = row.dflt;
        def.u.ad.dephault = row.dflt;
        break;
    case PF_Param_CHECKBOX:
        def.u.bd.value = row.dflt;
        def.u.bd.dephault = static_cast<PF_Boolean>(row.dflt);
        def.u.bd.u.nameptr = row.text;
        break;
    case PF_Param_POPUP:
        def.u.pd.value = row.dflt;
        def.u.pd.num_choices = row.numChoices;
        def.u.pd.dephault = static_cast<A_short>(row.dflt);
        def.u.pd.u.namesptr = row.text;
        break;
    case PF_Param_POINT:
        def.u.td.x_value = row.dflt;
        def.u.td.y_value = row.defaultY;
        def.u.td.x_dephault = row.dflt;
        def.u.td.y_dephault = row.defaultY;
        break;
    case PF_Param_COLOR:
        def.u.cd.value = row.color;
        def.u.cd.dephault = row.color;
        break;
    default:   // group start and end carry nothing beyond the common fields
        break;
    }
}

} // namespace

PF_Err paramsSetup(PF_InData* in_data, PF_OutData* out_data)
{
    // Every handler holds the host records for its whole run, like the others; registration
    // itself asks no suite of them. The AEGP suites go back first, then the sampling suites.
    AEO::HostAccess host(in_data);
    AEO::SuiteHandler suites(in_data->pica_basicP);
    if (!in_data->inter.add_param || !in_data->utils || !in_data->utils->ansi.strcpy) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    for (const ParamRow& row : kParamTable) {
        PF_ParamDef def{};
        describeParam(row, def);
        if (row.name) {
            in_data->utils->ansi.strcpy(def.name_do_not_use_directly, row.name);
        }
        // Index -1 appends; the table order is the parameter order.
        if (const PF_Err err = in_data->inter.add_param(in_data->effect_ref, -1, &def)) {
            return err;
        }
    }
    out_data->num_params = PARAM_NUM_PARAMS;
    return PF_Err_NONE;
}
