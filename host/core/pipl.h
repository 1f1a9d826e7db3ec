// The plug-in property list (PiPL) of an effect module: decoding and validation of the
// Windows little-endian binary form (header word 1, version, count, then 8BIM records).
#pragma once
#include "hostapi/host_api.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orbhost {

// One record as stored. key is the four-character code in reading order ("kind", "eGLO").
struct PiplProperty {
    std::string key;
    std::vector<std::uint8_t> data;
};

// The decoded list with the values a host needs picked out of it.
struct PropertyList {
    std::vector<PiplProperty> properties;
    std::string kind;               // "eFKT" for an effect
    std::string name, category, matchName, entryPoint, supportUrl;
    std::optional<std::uint32_t> effectVersion;   // 'eVER', PF_VERSION packing
    std::optional<std::uint32_t> globalFlags;     // 'eGLO'
    std::optional<std::uint32_t> globalFlags2;    // 'eGL2'
    std::optional<std::uint32_t> infoFlags;       // 'eINF'
    std::optional<std::uint32_t> aeFlags;         // 'aeFL'
    std::optional<std::pair<int, int>> piplVersion;   // 'ePVR' major, minor
    std::optional<std::pair<int, int>> apiVersion;    // 'eSVR' major, minor
};

// Decodes every property; throws LoadError("FILE: problem") for a truncated or inconsistent
// list. Does not check what an effect needs: see validateEffectPipl.
PropertyList decodePipl(const std::vector<std::uint8_t>& bytes, const std::string& fileForMessages);

// Requires kind 'eFKT' and an x64 entry point name; throws LoadError naming the file.
void validateEffectPipl(const PropertyList& list, const std::string& fileForMessages);

// "0x%08X": how property values and flag words are shown.
std::string hexWord(std::uint32_t value);

// A readable multi-line listing of every property (for --describe).
std::string describePipl(const PropertyList& list);

} // namespace orbhost
