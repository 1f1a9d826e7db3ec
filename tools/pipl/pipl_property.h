// One property of a plug-in property list (PiPL), as a value that can live in a constexpr
// table: a key, a value kind and the value. pipl_encoder.h turns a list of them into bytes.
#pragma once
#include <cstdint>
#include <string_view>

namespace pipl {

// A four-character code as the host reads it: the big-endian value of its characters.
constexpr std::uint32_t fourCharCode(std::string_view code)
{
    std::uint32_t value = 0;
    for (char c : code) {
        value = (value << 8) | static_cast<unsigned char>(c);
    }
    return value;
}

enum class ValueKind { FourCharCode, PascalString, CString, Int32, ShortPair };

struct Property {
    std::uint32_t key = 0;
    ValueKind kind = ValueKind::Int32;
    std::uint32_t number = 0;       // FourCharCode, Int32
    std::uint16_t first = 0;        // ShortPair: major
    std::uint16_t second = 0;       // ShortPair: minor
    std::string_view text;          // PascalString, CString
};

constexpr Property codeProperty(std::string_view key, std::string_view code)
{
    return {fourCharCode(key), ValueKind::FourCharCode, fourCharCode(code), 0, 0, {}};
}

constexpr Property pascalProperty(std::string_view key, std::string_view text)
{
    return {fourCharCode(key), ValueKind::PascalString, 0, 0, 0, text};
}

constexpr Property cStringProperty(std::string_view key, std::string_view text)
{
    return {fourCharCode(key), ValueKind::CString, 0, 0, 0, text};
}

constexpr Property int32Property(std::string_view key, std::uint32_t value)
{
    return {fourCharCode(key), ValueKind::Int32, value, 0, 0, {}};
}

constexpr Property pairProperty(std::string_view key, std::uint16_t first, std::uint16_t second)
{
    return {fourCharCode(key), ValueKind::ShortPair, 0, first, second, {}};
}

} // namespace pipl
