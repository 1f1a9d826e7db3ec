// Checks on the JSON values of a scene file. Each failure throws SceneError naming the file
// and the RFC 6901 pointer of the offending value.
#pragma once

#include <nlohmann/json.hpp>

#include <array>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace orbhost {

// Where a value sits: the scene file and the JSON pointer inside it ("" for the document).
struct JsonPlace {
    std::string file;
    std::string pointer;
};

JsonPlace child(const JsonPlace& place, std::string_view key);
JsonPlace child(const JsonPlace& place, size_t index);

[[noreturn]] void fail(const JsonPlace& place, const std::string& problem);

const nlohmann::json& expectObject(const nlohmann::json& value, const JsonPlace& place);
const nlohmann::json& expectArray(const nlohmann::json& value, const JsonPlace& place);
void rejectUnknownKeys(const nlohmann::json& object, const JsonPlace& place,
                       std::initializer_list<std::string_view> allowed);
void rejectUnknownKeys(const nlohmann::json& object, const JsonPlace& place,
                       const std::vector<std::string_view>& allowed);
// The member, or nullptr when the key is absent.
const nlohmann::json* findKey(const nlohmann::json& object, std::string_view key);
const nlohmann::json& requireKey(const nlohmann::json& object, const JsonPlace& place, std::string_view key);

// A whole number (1920 or 1920.0) in lo..hi.
int readInt(const nlohmann::json& value, const JsonPlace& place, int lo, int hi);
// A finite number.
double readNumber(const nlohmann::json& value, const JsonPlace& place);
double readPositive(const nlohmann::json& value, const JsonPlace& place);
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

// A finite number in lo..hi; either bound may be infinite.
double readNumberIn(const nlohmann::json& value, const JsonPlace& place, double lo, double hi);
bool readBool(const nlohmann::json& value, const JsonPlace& place);
std::string readNonEmptyString(const nlohmann::json& value, const JsonPlace& place);
// [r, g, b] or [r, g, b, a], each in 0..1; alpha defaults to 1.
std::array<float, 4> readColor(const nlohmann::json& value, const JsonPlace& place);

// How a value reads in a message: "a string", "an array", ...
std::string describeType(const nlohmann::json& value);

}  // namespace orbhost
