#include "describe.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>
#include <ostream>
#include <string>

namespace orbhost {
namespace {

// Effects mark an open end of a range with a huge value (up to the largest double); such an end
// prints as "any".
std::string number(double v)
{
    if (!(std::abs(v) < 1e30))
        return "any";
    char buf[48];
    std::snprintf(buf, sizeof buf, "%.7g", v);
    return buf;
}

std::string rangeText(const ParamDefinition& p)
{
    const PF_ParamDefUnion& u = p.def.u;
    switch (p.def.param_type) {
    case PF_Param_FIX_SLIDER:
        return number(u.fd.valid_min / 65536.0) + ".." + number(u.fd.valid_max / 65536.0) + " (slider " +
               number(u.fd.slider_min / 65536.0) + ".." + number(u.fd.slider_max / 65536.0) + ")";
    case PF_Param_FLOAT_SLIDER:
        return number(u.fs_d.valid_min) + ".." + number(u.fs_d.valid_max) + " (slider " +
               number(u.fs_d.slider_min) + ".." + number(u.fs_d.slider_max) + ")";
    case PF_Param_SLIDER:
        return std::to_string(u.sd.valid_min) + ".." + std::to_string(u.sd.valid_max);
    case PF_Param_POPUP: return p.popupNames;
    default: return "";
    }
}

std::string defaultText(const ParamDefinition& p)
{
    const PF_ParamDefUnion& u = p.def.u;
    switch (p.def.param_type) {
    case PF_Param_FIX_SLIDER: return number(u.fd.dephault / 65536.0);
    case PF_Param_FLOAT_SLIDER: return number(u.fs_d.dephault);
    case PF_Param_SLIDER: return std::to_string(u.sd.dephault);
    case PF_Param_ANGLE: return number(u.ad.dephault / 65536.0) + " deg";
    case PF_Param_CHECKBOX: return u.bd.dephault ? "on" : "off";
    case PF_Param_POPUP: {
        const auto choices = p.choices();
        const int d = u.pd.dephault;
        return std::to_string(d) + (d >= 1 && d <= int(choices.size()) ? " (" + choices[std::size_t(d - 1)] + ")" : "");
    }
    case PF_Param_COLOR: {
        char buf[48];
        std::snprintf(buf, sizeof buf, "ARGB %d,%d,%d,%d", u.cd.dephault.alpha, u.cd.dephault.red,
                      u.cd.dephault.green, u.cd.dephault.blue);
        return buf;
    }
    case PF_Param_POINT:
        return number(u.td.x_dephault / 65536.0) + "%, " + number(u.td.y_dephault / 65536.0) + "%";
    case PF_Param_LAYER: return p.index == 0 ? "input" : (u.ld.dephault == PF_LayerDefault_MYSELF ? "this layer" : "none");
    default: return "";
    }
}

std::string flagsText(const ParamDefinition& p)
{
    std::string text;
    auto add = [&](bool on, const char* name) {
        if (!on)
            return;
        if (!text.empty())
            text += ' ';
        text += name;
    };
    add(p.def.flags & PF_ParamFlag_SUPERVISE, "SUPERVISE");
    add(p.def.flags & PF_ParamFlag_CANNOT_TIME_VARY, "CANNOT_TIME_VARY");
    add(p.def.flags & PF_ParamFlag_CANNOT_INTERP, "CANNOT_INTERP");
    add(p.def.flags & PF_ParamFlag_COLLAPSE_TWIRLY, "COLLAPSE_TWIRLY");
    add(p.uiFlags & PF_PUI_DISABLED, "ui:DISABLED");
    add(p.uiFlags & PF_PUI_INVISIBLE, "ui:INVISIBLE");
    return text;
}

// Text with control characters shown as escapes (an expression ends in a line feed).
std::string printable(const std::string& text)
{
    std::string shown;
    for (char c : text) {
        if (c == '\n')
            shown += "\\n";
        else if (c == '\t')
            shown += "\\t";
        else if (static_cast<unsigned char>(c) < 0x20) {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(c));
            shown += code;
        } else
            shown += c;
    }
    return shown;
}

} // namespace

void printParamTable(std::ostream& out, const EffectHost& host)
{
    // Every column is as wide as its widest cell, so long names and ranges keep the rest in line.
    using Row = std::array<std::string, 7>;
    std::vector<Row> rows{{"index", "name", "type", "range", "default", "flags", "disk id"}};
    for (const ParamDefinition& p : host.params()) {
        std::string name = std::string(std::size_t(p.groupDepth) * 2, ' ');
        if (p.def.param_type == PF_Param_GROUP_END)
            name += "(end of group)";
        else
            name += p.index == 0 ? "(input layer)" : p.name;
        rows.push_back({std::to_string(p.index), printable(name), paramTypeName(p.def.param_type), rangeText(p),
                        defaultText(p), flagsText(p), p.index == 0 ? "" : std::to_string(p.def.uu.id)});
    }
    std::array<std::size_t, 7> width{};
    for (const Row& row : rows)
        for (std::size_t c = 0; c < row.size(); ++c)
            width[c] = std::max(width[c], row[c].size());
    for (const Row& row : rows) {
        std::string line(width[0] - row[0].size(), ' ');  // the index is right-aligned
        line += row[0];
        for (std::size_t c = 1; c < row.size(); ++c) {
            line += c == 1 ? "  " : " ";
            line += row[c];
            if (c + 1 < row.size())
                line += std::string(width[c] - row[c].size(), ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out << line << '\n';
    }
}

void printUiState(std::ostream& out, const EffectHost& host)
{
    const auto& streams = host.paramStreams();
    const auto streamHidden = [&](int index) {
        auto it = streams.find(index);
        return it != streams.end() && (it->second.dynamicFlags & AEGP_DynStreamFlag_HIDDEN);
    };
    bool any = false;
    for (const ParamDefinition& p : host.params()) {
        const bool disabled = p.uiFlags & PF_PUI_DISABLED, hidden = p.uiFlags & PF_PUI_INVISIBLE;
        const bool streamHides = streamHidden(p.index);
        if (!disabled && !hidden && !streamHides)
            continue;
        any = true;
        out << "  " << p.index << " \"" << p.name << "\":" << (disabled ? " greyed out" : "")
            << (hidden ? " hidden" : "") << (streamHides ? " hidden (stream flag)" : "") << '\n';
    }
    if (!any)
        out << "  every parameter is enabled and visible\n";

    out << "Expressions:\n";
    any = false;
    for (const auto& [index, stream] : streams) {
        if (stream.expression.empty())
            continue;
        any = true;
        const std::string name = index < int(host.params().size()) ? host.params()[std::size_t(index)].name : "?";
        out << "  " << index << " \"" << name << "\"" << (stream.expressionEnabled ? "" : " (disabled)") << ": "
            << printable(stream.expression) << '\n';
    }
    if (!any)
        out << "  none\n";

    // Own names show what the effect renamed (it names a control layer for its expression).
    out << "Layer names (own name, source name):\n";
    const auto& layers = host.composition().model.layers;
    for (std::size_t i = 0; i < layers.size(); ++i)
        out << "  " << i << " \"" << layers[i].name << "\", \"" << layers[i].sourceName << "\"\n";
}

} // namespace orbhost
