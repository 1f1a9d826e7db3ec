#include "tools/pipl/pipl_encoder.h"

#include <stdexcept>
#include <string>

namespace pipl {
namespace {

constexpr std::uint16_t kReservedWord = 1;   // Windows-only word in front of the header
constexpr std::uint32_t kListVersion = 0;

void put16(std::vector<std::uint8_t>& out, std::uint16_t value)
{
    out.push_back(static_cast<std::uint8_t>(value));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}

void put32(std::vector<std::uint8_t>& out, std::uint32_t value)
{
    put16(out, static_cast<std::uint16_t>(value));
    put16(out, static_cast<std::uint16_t>(value >> 16));
}

void padToFour(std::vector<std::uint8_t>& data)
{
    while (data.size() % 4 != 0) {
        data.push_back(0);
    }
}

std::vector<std::uint8_t> encodeValue(const Property& property)
{
    std::vector<std::uint8_t> data;
    switch (property.kind) {
    case ValueKind::FourCharCode:
    case ValueKind::Int32:
        // A code is its big-endian value stored little-endian, so both are one dword.
        put32(data, property.number);
        break;
    case ValueKind::ShortPair:
        put16(data, property.first);
        put16(data, property.second);
        break;
    case ValueKind::PascalString:
        if (property.text.size() > 255) {
            throw std::length_error("Pascal string longer than 255 characters: " +
                                    std::string(property.text));
        }
        data.push_back(static_cast<std::uint8_t>(property.text.size()));
        data.insert(data.end(), property.text.begin(), property.text.end());
        padToFour(data);
        break;
    case ValueKind::CString:
        data.insert(data.end(), property.text.begin(), property.text.end());
        data.push_back(0);
        padToFour(data);
        break;
    }
    return data;
}

} // namespace

std::vector<std::uint8_t> encode(std::span<const Property> properties)
{
    std::vector<std::uint8_t> out;
    put16(out, kReservedWord);
    put32(out, kListVersion);
    put32(out, static_cast<std::uint32_t>(properties.size()));
    for (const Property& property : properties) {
        const std::vector<std::uint8_t> data = encodeValue(property);
        put32(out, kVendorCode);
        put32(out, property.key);
        put32(out, 0);   // property id
        put32(out, static_cast<std::uint32_t>(data.size()));
        out.insert(out.end(), data.begin(), data.end());
    }
    return out;
}

} // namespace pipl
