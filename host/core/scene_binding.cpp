#include "host/core/scene_binding.h"

#include "host/core/host_errors.h"

#include <cmath>
#include <memory>

namespace orbhost {
namespace {

using nlohmann::json;

std::string describe(const json& value)
{
    std::string text = value.dump();
    return text.size() > 40 ? text.substr(0, 37) + "..." : text;
}

std::string numberText(double v)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
}

// Converts one key value; returns an empty string or the problem.
// `layerNames` are the layers' display names, top to bottom.
std::string convert(const ParamDefinition& param, const json& value, const std::vector<std::string>& layerNames,
                    ParamValue* out)
{
    const PF_ParamType type = param.def.param_type;
    switch (type) {
    case PF_Param_FIX_SLIDER:
    case PF_Param_FLOAT_SLIDER:
    case PF_Param_SLIDER:
    case PF_Param_ANGLE: {
        if (!value.is_number())
            return std::string("\"") + param.name + "\" is a " + paramTypeName(type) + " and needs a number, not " + describe(value);
        out->number = value.get<double>();
        double low = 0, high = 0;
        if (validRange(param, &low, &high) && (out->number < low || out->number > high))
            return "value " + numberText(out->number) + " of \"" + param.name + "\" is outside its range " +
                   numberText(low) + " to " + numberText(high);
        return {};
    }
    case PF_Param_CHECKBOX:
        if (value.is_boolean())
            out->number = value.get<bool>() ? 1 : 0;
        else if (value.is_number() && (value == 0 || value == 1))
            out->number = value.get<double>();
        else
            return std::string("\"") + param.name + "\" is a checkbox and needs true or false, not " + describe(value);
        return {};
    case PF_Param_POPUP: {
        const std::vector<std::string> choices = param.choices();
        if (value.is_string()) {
            for (std::size_t i = 0; i < choices.size(); ++i)
                if (choices[i] == value.get<std::string>()) {
                    out->number = double(i + 1);
                    return {};
                }
            std::string list;
            for (const std::string& c : choices)
                list += (list.empty() ? "" : ", ") + ("\"" + c + "\"");
            return "\"" + value.get<std::string>() + "\" is not a choice of \"" + param.name + "\" (" + list + ")";
        }
        if (value.is_number_integer()) {
            const long long n = value.get<long long>();
            if (n < 1 || n > param.def.u.pd.num_choices)
                return "choice " + std::to_string(n) + " of \"" + param.name + "\" is outside 1 to " +
                       std::to_string(param.def.u.pd.num_choices);
            out->number = double(n);
            return {};
        }
        return std::string("\"") + param.name + "\" is a popup and needs a 1-based choice number or its text, not " + describe(value);
    }
    case PF_Param_COLOR: {
        if (!value.is_array() || (value.size() != 3 && value.size() != 4))
            return std::string("\"") + param.name + "\" is a color and needs [r, g, b] or [r, g, b, a], not " + describe(value);
        for (std::size_t i = 0; i < value.size(); ++i) {
            if (!value[i].is_number())
                return std::string("\"") + param.name + "\" needs numbers in its color, not " + describe(value[i]);
            const double c = value[i].get<double>();
            if (c < 0 || c > 1)
                return "color component " + numberText(c) + " of \"" + param.name + "\" is outside 0 to 1";
            out->color[i] = float(c);
        }
        if (value.size() == 3)
            out->color[3] = 1.0f;
        return {};
    }
    case PF_Param_POINT:
        if (!value.is_array() || value.size() != 2 || !value[0].is_number() || !value[1].is_number())
            return std::string("\"") + param.name + "\" is a point and needs [x, y] in layer pixels, not " + describe(value);
        out->x = value[0].get<double>();
        out->y = value[1].get<double>();
        return {};
    case PF_Param_LAYER:
        if (value.is_null()) {
            out->layer = -1;
            return {};
        }
        if (value.is_string()) {
            for (std::size_t i = 0; i < layerNames.size(); ++i)
                if (layerNames[i] == value.get<std::string>()) {
                    out->layer = int(i);
                    return {};
                }
            return "\"" + value.get<std::string>() + "\" (for \"" + param.name + "\") names no layer of the scene";
        }
        return std::string("\"") + param.name + "\" is a layer parameter and needs a layer name or null, not " + describe(value);
    default:
        return std::string("\"") + param.name + "\" is a " + paramTypeName(type) + " and takes no value";
    }
}

bool holdsValue(PF_ParamType type)
{
    return type == PF_Param_POPUP || type == PF_Param_CHECKBOX || type == PF_Param_LAYER;
}

} // namespace

Composition compositionFromScene(const Scene& scene)
{
    Composition comp;
    comp.model = compositionModel(scene);
    for (std::size_t i = 0; i < scene.layers.size(); ++i) {
        const Layer& layer = scene.layers[i];
        // Cameras and lights have no pixels.
        comp.pixels.push_back(layer.image.width > 0 ? std::make_shared<const Image>(layer.image) : nullptr);
        if (layer.displayName() == scene.effectLayer)
            comp.effectLayer = int(i);
    }
    return comp;
}

void bindScene(EffectHost& host, const Scene& scene)
{
    std::vector<std::string> problems;
    std::vector<std::pair<int, std::shared_ptr<ParamTrack>>> bound;
    // Layer parameters name layers by what the user sees; renames by the effect come later and
    // do not change what a track refers to.
    auto names = std::make_shared<std::vector<std::string>>();
    for (const Layer& layer : scene.layers)
        names->push_back(layer.displayName());
    const std::vector<std::string>& layerNames = *names;
    for (const ParamTrack& track : scene.params) {
        const std::string where = scene.file + ": " + track.jsonPath + ": ";
        const int index = host.paramIndex(track.name);
        if (index < 0) {
            problems.push_back(where + "unknown parameter \"" + track.name + "\"");
            continue;
        }
        const ParamDefinition& param = host.params()[std::size_t(index)];
        bool ok = true;
        for (const ParamKey& key : track.keys) {
            ParamValue value;
            const std::string problem = convert(param, key.value, layerNames, &value);
            if (!problem.empty()) {
                problems.push_back(where + problem);
                ok = false;
                break;
            }
        }
        if (ok)
            bound.emplace_back(index, std::make_shared<ParamTrack>(track));
    }
    if (!problems.empty())
        throw BindError(problems);

    host.setComposition(compositionFromScene(scene));
    for (auto& [index, track] : bound) {
        const ParamDefinition param = host.params()[std::size_t(index)];
        host.setParamValues(index, [param, track, names](double seconds) {
            const json value = holdsValue(param.def.param_type) ? heldValueAt(*track, seconds)
                                                                 : valueAt(*track, seconds);
            ParamValue result;
            convert(param, value, *names, &result);
            return result;
        });
    }
}

} // namespace orbhost
