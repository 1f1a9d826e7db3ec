#include "host/scene/scene_json.h"

#include "host/scene/scene.h"

#include <cmath>
#include <sstream>

namespace orbhost {
namespace {

// RFC 6901: '~' is written "~0" and '/' is written "~1" inside a reference token.
std::string pointerToken(std::string_view key)
{
    std::string token;
    for (const char c : key) {
        if (c == '~') {
            token += "~0";
        } else if (c == '/') {
            token += "~1";
        } else {
            token += c;
        }
    }
    return token;
}

std::string numberText(double value)
{
    std::ostringstream text;
    text << value;
    return text.str();
}

}  // namespace

JsonPlace child(const JsonPlace& place, std::string_view key)
{
    return {place.file, place.pointer + "/" + pointerToken(key)};
}

JsonPlace child(const JsonPlace& place, size_t index)
{
    return {place.file, place.pointer + "/" + std::to_string(index)};
}

void fail(const JsonPlace& place, const std::string& problem)
{
    if (place.pointer.empty()) {
        throw SceneError(place.file + ": " + problem);
    }
    throw SceneError(place.file + ": " + place.pointer + ": " + problem);
}

std::string describeType(const nlohmann::json& value)
{
    switch (value.type()) {
    case nlohmann::json::value_t::object: return "an object";
    case nlohmann::json::value_t::array: return "an array";
    case nlohmann::json::value_t::string: return "a string";
    case nlohmann::json::value_t::boolean: return "a boolean";
    case nlohmann::json::value_t::null: return "null";
    default: return "a number";
    }
}

const nlohmann::json& expectObject(const nlohmann::json& value, const JsonPlace& place)
{
    if (!value.is_object()) {
        fail(place, "expected an object, got " + describeType(value));
    }
    return value;
}

const nlohmann::json& expectArray(const nlohmann::json& value, const JsonPlace& place)
{
    if (!value.is_array()) {
        fail(place, "expected an array, got " + describeType(value));
    }
    return value;
}

void rejectUnknownKeys(const nlohmann::json& object, const JsonPlace& place,
                       std::initializer_list<std::string_view> allowed)
{
    rejectUnknownKeys(object, place, std::vector<std::string_view>(allowed));
}

void rejectUnknownKeys(const nlohmann::json& object, const JsonPlace& place,
                       const std::vector<std::string_view>& allowed)
{
    for (const auto& item : object.items()) {
        bool known = false;
        for (const std::string_view key : allowed) {
            known = known || key == item.key();
        }
        if (!known) {
            std::string list;
            for (const std::string_view key : allowed) {
                list += (list.empty() ? "" : ", ") + std::string(key);
            }
            fail(child(place, item.key()), "unknown key '" + item.key() + "' (allowed here: " + list + ")");
        }
    }
}

const nlohmann::json* findKey(const nlohmann::json& object, std::string_view key)
{
    const auto it = object.find(key);
    return it == object.end() ? nullptr : &*it;
}

const nlohmann::json& requireKey(const nlohmann::json& object, const JsonPlace& place, std::string_view key)
{
    const nlohmann::json* value = findKey(object, key);
    if (value == nullptr) {
        fail(place, "missing required key '" + std::string(key) + "'");
    }
    return *value;
}

double readNumber(const nlohmann::json& value, const JsonPlace& place)
{
    if (!value.is_number()) {
        fail(place, "expected a number, got " + describeType(value));
    }
    const double number = value.get<double>();
    if (!std::isfinite(number)) {
        fail(place, "expected a finite number");
    }
    return number;
}

int readInt(const nlohmann::json& value, const JsonPlace& place, int lo, int hi)
{
    const double number = readNumber(value, place);
    if (number != std::floor(number)) {
        fail(place, "expected a whole number, got " + numberText(number));
    }
    if (number < lo || number > hi) {
        fail(place, "must be between " + std::to_string(lo) + " and " + std::to_string(hi) + ", got " +
                        numberText(number));
    }
    return static_cast<int>(number);
}

double readPositive(const nlohmann::json& value, const JsonPlace& place)
{
    const double number = readNumber(value, place);
    if (!(number > 0)) {
        fail(place, "must be greater than 0, got " + numberText(number));
    }
    return number;
}

double readNumberIn(const nlohmann::json& value, const JsonPlace& place, double lo, double hi)
{
    const double number = readNumber(value, place);
    if (number < lo || number > hi) {
        if (std::isinf(hi)) {
            fail(place, "must be at least " + numberText(lo) + ", got " + numberText(number));
        }
        if (std::isinf(lo)) {
            fail(place, "must be at most " + numberText(hi) + ", got " + numberText(number));
        }
        fail(place, "must be between " + numberText(lo) + " and " + numberText(hi) + ", got " + numberText(number));
    }
    return number;
}

bool readBool(const nlohmann::json& value, const JsonPlace& place)
{
    if (!value.is_boolean()) {
        fail(place, "expected true or false, got " + describeType(value));
    }
    return value.get<bool>();
}

std::string readNonEmptyString(const nlohmann::json& value, const JsonPlace& place)
{
    if (!value.is_string()) {
        fail(place, "expected a string, got " + describeType(value));
    }
    std::string text = value.get<std::string>();
    if (text.empty()) {
        fail(place, "must not be empty");
    }
    return text;
}

std::array<float, 4> readColor(const nlohmann::json& value, const JsonPlace& place)
{
    if (!value.is_array() || (value.size() != 3 && value.size() != 4)) {
        fail(place, "expected a colour [r, g, b] or [r, g, b, a], got " + describeType(value) +
                        (value.is_array() ? " of " + std::to_string(value.size()) + " values" : ""));
    }
    std::array<float, 4> color{0, 0, 0, 1};
    for (size_t i = 0; i < value.size(); ++i) {
        const JsonPlace at = child(place, i);
        const double c = readNumber(value[i], at);
        if (c < 0 || c > 1) {
            fail(at, "component " + std::to_string(i + 1) + " of the colour is " + (c < 0 ? "below 0" : "above 1") +
                         " (" + numberText(c) + "); colour components are between 0 and 1");
        }
        color[i] = static_cast<float>(c);
    }
    return color;
}

}  // namespace orbhost
