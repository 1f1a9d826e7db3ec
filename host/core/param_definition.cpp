#include "host/core/param_definition.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace orbhost {

std::vector<std::string> ParamDefinition::choices() const
{
    std::vector<std::string> result;
    std::string current;
    for (char c : popupNames) {
        if (c == '|') {
            result.push_back(current);
            current.clear();
        } else {
            current += c;
        }
    }
    result.push_back(current);
    return result;
}

ParamDefinition copyDefinition(const PF_ParamDef& def, int index, int groupDepth)
{
    ParamDefinition param;
    param.index = index;
    param.def = def;
    param.groupDepth = groupDepth;
    param.name.assign(def.name_do_not_use_directly,
                      strnlen(def.name_do_not_use_directly, sizeof def.name_do_not_use_directly));
    param.uiFlags = def.ui_flags;
    if (def.param_type == PF_Param_POPUP) {
        if (def.u.pd.u.namesptr)
            param.popupNames = def.u.pd.u.namesptr;
    } else if (def.param_type == PF_Param_CHECKBOX) {
        if (def.u.bd.u.nameptr)
            param.checkboxLabel = def.u.bd.u.nameptr;
        // Checkboxes never interpolate.
        param.def.flags |= PF_ParamFlag_CANNOT_INTERP;
    } else if (def.param_type == PF_Param_FIX_SLIDER) {
        param.def.u.fd.value = def.u.fd.dephault;
    }
    return param;
}

PF_ParamDef recordFor(const ParamDefinition& param)
{
    PF_ParamDef record = param.def;
    record.uu.id = 0;
    record.ui_flags = param.uiFlags;
    if (record.param_type == PF_Param_POPUP)
        record.u.pd.u.namesptr = param.popupNames.c_str();
    else if (record.param_type == PF_Param_CHECKBOX)
        record.u.bd.u.nameptr = param.checkboxLabel.c_str();
    return record;
}

const char* paramTypeName(PF_ParamType type)
{
    switch (type) {
    case PF_Param_LAYER: return "layer";
    case PF_Param_SLIDER: return "slider";
    case PF_Param_FIX_SLIDER: return "fixed slider";
    case PF_Param_ANGLE: return "angle";
    case PF_Param_CHECKBOX: return "checkbox";
    case PF_Param_COLOR: return "color";
    case PF_Param_POINT: return "point";
    case PF_Param_POPUP: return "popup";
    case PF_Param_FLOAT_SLIDER: return "float slider";
    case PF_Param_GROUP_START: return "group start";
    case PF_Param_GROUP_END: return "group end";
    case PF_Param_BUTTON: return "button";
    case PF_Param_POINT_3D: return "3-D point";
    default: return "unsupported";
    }
}

PF_Fixed toFixed(double value)
{
    const double scaled = std::round(value * 65536.0);
    if (std::isnan(scaled))
        return 0;   // 16.16 has no NaN; a host sends something, and 0 is as good as any
    return PF_Fixed(std::clamp(scaled, -2147483648.0, 2147483647.0));
}

ParamValue defaultValue(const ParamDefinition& param, int layerWidth, int layerHeight)
{
    const PF_ParamDefUnion& u = param.def.u;
    ParamValue v;
    switch (param.def.param_type) {
    case PF_Param_FIX_SLIDER: v.number = u.fd.dephault / 65536.0; break;
    case PF_Param_FLOAT_SLIDER: v.number = u.fs_d.dephault; break;
    case PF_Param_SLIDER: v.number = u.sd.dephault; break;
    case PF_Param_ANGLE: v.number = u.ad.dephault / 65536.0; break;
    case PF_Param_CHECKBOX: v.number = u.bd.dephault ? 1 : 0; break;
    case PF_Param_POPUP: v.number = u.pd.dephault; break;
    case PF_Param_COLOR:
        v.color = {u.cd.dephault.red / 255.0f, u.cd.dephault.green / 255.0f,
                   u.cd.dephault.blue / 255.0f, u.cd.dephault.alpha / 255.0f};
        break;
    case PF_Param_POINT:
        // Point defaults are percentages of the layer.
        v.x = u.td.x_dephault / 65536.0 / 100.0 * layerWidth;
        v.y = u.td.y_dephault / 65536.0 / 100.0 * layerHeight;
        break;
    case PF_Param_LAYER: v.layer = -1; break;
    default: break;
    }
    return v;
}

void writeParamValue(const ParamDefinition& param, const ParamValue& value, double downsampleX,
                     double downsampleY, PF_ParamDef* out)
{
    PF_ParamDefUnion& u = out->u;
    switch (param.def.param_type) {
    case PF_Param_FIX_SLIDER: u.fd.value = toFixed(value.number); break;
    case PF_Param_FLOAT_SLIDER: u.fs_d.value = value.number; break;
    case PF_Param_SLIDER: u.sd.value = PF_ParamValue(std::lround(value.number)); break;
    case PF_Param_ANGLE: u.ad.value = toFixed(value.number); break;
    case PF_Param_CHECKBOX: u.bd.value = value.number != 0 ? 1 : 0; break;
    case PF_Param_POPUP: u.pd.value = PF_ParamValue(std::lround(value.number)); break;
    case PF_Param_COLOR: {
        auto byte = [](float c) { return A_u_char(std::lround(std::clamp(c, 0.0f, 1.0f) * 255.0f)); };
        u.cd.value = {byte(value.color[3]), byte(value.color[0]), byte(value.color[1]), byte(value.color[2])};
        break;
    }
    case PF_Param_POINT:
        // Points are in pixels of the layer as buffered: full resolution times downsample.
        u.td.x_value = toFixed(value.x * downsampleX);
        u.td.y_value = toFixed(value.y * downsampleY);
        break;
    default: break;
    }
}

bool validRange(const ParamDefinition& param, double* low, double* high)
{
    const PF_ParamDefUnion& u = param.def.u;
    switch (param.def.param_type) {
    case PF_Param_FIX_SLIDER: *low = u.fd.valid_min / 65536.0; *high = u.fd.valid_max / 65536.0; return true;
    case PF_Param_FLOAT_SLIDER: *low = u.fs_d.valid_min; *high = u.fs_d.valid_max; return true;
    case PF_Param_SLIDER: *low = u.sd.valid_min; *high = u.sd.valid_max; return true;
    case PF_Param_POPUP: *low = 1; *high = u.pd.num_choices; return true;
    default: return false;
    }
}

} // namespace orbhost
