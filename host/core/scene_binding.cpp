#include "host/core/scene_binding.h"

#include "host/core/host_errors.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
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

// What a layer parameter can refer to: each layer's display name and, for cameras and lights
// (which have no pixels to check out), what it is.
struct LayerName {
    std::string name;
    const char* noPixels = nullptr;  // "a camera", "a light"; null for layers with pixels
};

// Levenshtein distance, ignoring case.
std::size_t editDistance(const std::string& a, const std::string& b)
{
    const auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; };
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (lower(a[i - 1]) == lower(b[j - 1]) ? 0 : 1)});
            diagonal = above;
        }
    }
    return row[b.size()];
}

// " (did you mean \"Radius\"?)" for the registered name closest to `name`, or "" when none is
// close enough to be a likely slip (at most half the name's length away).
std::string closestName(const std::string& name, const std::vector<ParamDefinition>& params)
{
    const ParamDefinition* best = nullptr;
    std::size_t bestDistance = 0;
    for (const ParamDefinition& param : params) {
        if (param.name.empty())
            continue;
        const std::size_t d = editDistance(name, param.name);
        if (best == nullptr || d < bestDistance)
            best = &param, bestDistance = d;
    }
    if (best == nullptr || bestDistance > std::max<std::size_t>(2, name.size() / 2))
        return {};
    return " (did you mean \"" + best->name + "\"?)";
}

// "nan", "inf" and "-inf", which JSON cannot write as numbers; false for any other value.
bool specialNumber(const json& value, double* number)
{
    if (!value.is_string())
        return false;
    const std::string text = value.get<std::string>();
    if (text == "nan")
        *number = std::numeric_limits<double>::quiet_NaN();
    else if (text == "inf" || text == "-inf")
        *number = text == "inf" ? std::numeric_limits<double>::infinity() : -std::numeric_limits<double>::infinity();
    else
        return false;
    return true;
}

// Converts one key value; returns an empty string or the problem. Unclamped, values outside
// the valid range (and "nan", "inf", "-inf") pass as they are.
// `layerNames` are the layers' display names, top to bottom.
std::string convert(const ParamDefinition& param, const json& value, const std::vector<LayerName>& layerNames,
                    bool unclamped, ParamValue* out)
{
    const PF_ParamType type = param.def.param_type;
    switch (type) {
    case PF_Param_FIX_SLIDER:
    case PF_Param_FLOAT_SLIDER:
    case PF_Param_SLIDER:
    case PF_Param_ANGLE: {
        if (unclamped && specialNumber(value, &out->number))
            return {};
        if (!value.is_number())
            return std::string("\"") + param.name + "\" is a " + paramTypeName(type) + " and needs a number, not " + describe(value);
        out->number = value.get<double>();
        double low = 0, high = 0;
        if (!unclamped && validRange(param, &low, &high) && (out->number < low || out->number > high))
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
            if (!unclamped && (n < 1 || n > param.def.u.pd.num_choices))
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
                return "component " + std::to_string(i + 1) + " of the colour is " + (c < 0 ? "below 0" : "above 1") +
                       " (" + numberText(c) + " in \"" + param.name + "\"); colour components are between 0 and 1";
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
                if (layerNames[i].name == value.get<std::string>()) {
                    if (layerNames[i].noPixels != nullptr)
                        return "\"" + param.name + "\" needs a layer with pixels; \"" + layerNames[i].name + "\" is " +
                               layerNames[i].noPixels;
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
        // Cameras and lights have no pixels; solids and nulls (transparent) are made from their
        // colour, and image layers decoded from their file, only when the effect checks them out,
        // unless a caller gave them an image.
        if (layer.image.width > 0)
            comp.pixels.push_back(std::make_shared<const Image>(layer.image));
        else if (layer.kind == LayerKind::Image)
            comp.pixels.push_back(LayerPixels::file(layer.file, layer.width, layer.height));
        else if (layer.kind == LayerKind::Solid)
            comp.pixels.push_back(LayerPixels::solid(layer.width, layer.height, layer.color));
        else if (layer.kind == LayerKind::Null)
            comp.pixels.push_back(LayerPixels::solid(layer.width, layer.height, {0, 0, 0, 0}));
        else
            comp.pixels.push_back(nullptr);
        if (layer.displayName() == scene.effectLayer)
            comp.effectLayer = int(i);
    }
    return comp;
}

void bindScene(EffectHost& host, const Scene& scene)
{
    std::vector<std::string> problems;
    std::vector<std::pair<int, std::shared_ptr<ParamTrack>>> bound;
    const bool unclamped = host.faults().unclampedParams;
    // Layer parameters name layers by what the user sees; renames by the effect come later and
    // do not change what a track refers to.
    auto names = std::make_shared<std::vector<LayerName>>();
    for (const Layer& layer : scene.layers)
        names->push_back({layer.displayName(), layer.kind == LayerKind::Camera  ? "a camera"
                                               : layer.kind == LayerKind::Light ? "a light"
                                                                                : nullptr});
    const std::vector<LayerName>& layerNames = *names;
    for (const ParamTrack& track : scene.params) {
        const std::string where = scene.file + ": " + track.jsonPath + ": ";
        const int index = host.paramIndex(track.name);
        if (index < 0) {
            problems.push_back(where + "unknown parameter \"" + track.name + "\"" + closestName(track.name, host.params()));
            continue;
        }
        const ParamDefinition& param = host.params()[std::size_t(index)];
        bool ok = true;
        for (const ParamKey& key : track.keys) {
            ParamValue value;
            const std::string problem = convert(param, key.value, layerNames, unclamped, &value);
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
    // Not a structured binding: clang before 16 cannot capture one in a lambda.
    for (const auto& entry : bound) {
        const int index = entry.first;
        const std::shared_ptr<ParamTrack> track = entry.second;
        const ParamDefinition param = host.params()[std::size_t(index)];
        host.setParamValues(index, [param, track, names, unclamped](double seconds) {
            const json value = holdsValue(param.def.param_type) ? heldValueAt(*track, seconds)
                                                                 : valueAt(*track, seconds);
            ParamValue result;
            convert(param, value, *names, unclamped, &result);
            return result;
        });
    }
}

} // namespace orbhost
