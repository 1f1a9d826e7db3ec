// Encodes a property list in the Windows resource layout: little-endian integers,
// four-character codes stored reversed, strings padded to four bytes, no gaps.
#pragma once
#include "tools/pipl/pipl_property.h"

#include <cstdint>
#include <span>
#include <vector>

namespace pipl {

// Every property carries this vendor code.
inline constexpr std::uint32_t kVendorCode = fourCharCode("8BIM");

// The whole resource: header, then each property record. Throws std::length_error for a
// Pascal string longer than 255 characters.
std::vector<std::uint8_t> encode(std::span<const Property> properties);

} // namespace pipl
