#include "host/core/pipl.h"

#include "host/core/host_errors.h"

#include <cstdio>
#include <sstream>

namespace orbhost {
namespace {

constexpr std::size_t kHeaderSize = 10;   // reserved word, version, count
constexpr std::size_t kRecordHeader = 16; // vendor, key, id, length

std::uint32_t readU32(const std::uint8_t* p)
{
    return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
           std::uint32_t(p[3]) << 24;
}

// Four-character codes are stored as their big-endian value written little-endian, so the
// characters appear reversed in the file.
std::string readCode(const std::uint8_t* p)
{
    return std::string{char(p[3]), char(p[2]), char(p[1]), char(p[0])};
}

std::string printable(const std::string& code)
{
    std::string out;
    for (char c : code) {
        if (c >= 0x20 && c < 0x7F) {
            out += c;
        } else {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\x%02X", unsigned(std::uint8_t(c)));
            out += buf;
        }
    }
    return out;
}

[[noreturn]] void fail(const std::string& file, const std::string& problem)
{
    throw LoadError(file + ": plug-in property list: " + problem);
}

std::string pascalString(const PiplProperty& p, const std::string& file)
{
    if (p.data.empty() || std::size_t(p.data[0]) + 1 > p.data.size())
        fail(file, "property '" + printable(p.key) + "' holds a malformed Pascal string");
    return std::string(p.data.begin() + 1, p.data.begin() + 1 + p.data[0]);
}

std::string cString(const PiplProperty& p, const std::string& file)
{
    std::string s;
    for (std::uint8_t c : p.data) {
        if (c == 0)
            return s;
        s += char(c);
    }
    fail(file, "property '" + printable(p.key) + "' holds a string without its terminating NUL");
}

std::uint32_t value32(const PiplProperty& p, const std::string& file)
{
    if (p.data.size() != 4)
        fail(file, "property '" + printable(p.key) + "' should hold 4 bytes, holds " +
                       std::to_string(p.data.size()));
    return readU32(p.data.data());
}

std::pair<int, int> shortPair(const PiplProperty& p, const std::string& file)
{
    const std::uint32_t v = value32(p, file);
    return {int(v & 0xFFFF), int(v >> 16)};
}

} // namespace

PropertyList decodePipl(const std::vector<std::uint8_t>& bytes, const std::string& file)
{
    if (bytes.size() < kHeaderSize)
        fail(file, "only " + std::to_string(bytes.size()) + " bytes, too short for the header");
    if (bytes[0] != 1 || bytes[1] != 0)
        fail(file, "header word is not 1 (not a Windows property list)");
    const std::uint32_t count = readU32(&bytes[6]);
    PropertyList list;
    std::size_t at = kHeaderSize;
    for (std::uint32_t i = 0; i < count; ++i) {
        if (at + kRecordHeader > bytes.size())
            fail(file, "property " + std::to_string(i + 1) + " of " + std::to_string(count) +
                           " runs past the end of the data");
        const std::string vendor = readCode(&bytes[at]);
        PiplProperty prop;
        prop.key = readCode(&bytes[at + 4]);
        const std::uint32_t length = readU32(&bytes[at + 12]);
        if (vendor != "8BIM")
            fail(file, "property " + std::to_string(i + 1) + " has vendor '" + printable(vendor) +
                           "', expected '8BIM'");
        if (length > bytes.size() - at - kRecordHeader)
            fail(file, "property '" + printable(prop.key) + "' claims " + std::to_string(length) +
                           " bytes, more than remain");
        prop.data.assign(bytes.begin() + at + kRecordHeader,
                         bytes.begin() + at + kRecordHeader + length);
        at += kRecordHeader + length;
        list.properties.push_back(std::move(prop));
    }
    if (at != bytes.size())
        fail(file, std::to_string(bytes.size() - at) + " bytes follow the last of " +
                       std::to_string(count) + " properties");

    for (const PiplProperty& p : list.properties) {
        if (p.key == "kind") {
            value32(p, file);
            list.kind = readCode(p.data.data());
        } else if (p.key == "name") list.name = pascalString(p, file);
        else if (p.key == "catg") list.category = pascalString(p, file);
        else if (p.key == "eMNA") list.matchName = pascalString(p, file);
        else if (p.key == "eURL") list.supportUrl = pascalString(p, file);
        else if (p.key == "8664") list.entryPoint = cString(p, file);
        else if (p.key == "eVER") list.effectVersion = value32(p, file);
        else if (p.key == "eGLO") list.globalFlags = value32(p, file);
        else if (p.key == "eGL2") list.globalFlags2 = value32(p, file);
        else if (p.key == "eINF") list.infoFlags = value32(p, file);
        else if (p.key == "aeFL") list.aeFlags = value32(p, file);
        else if (p.key == "ePVR") list.piplVersion = shortPair(p, file);
        else if (p.key == "eSVR") list.apiVersion = shortPair(p, file);
    }
    return list;
}

void validateEffectPipl(const PropertyList& list, const std::string& file)
{
    if (list.kind.empty())
        fail(file, "no 'kind' property");
    if (list.kind != "eFKT")
        fail(file, "kind is '" + printable(list.kind) + "', not an effect ('eFKT')");
    if (list.entryPoint.empty())
        fail(file, "no x64 entry point ('8664' property)");
}

std::string hexWord(std::uint32_t value)
{
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%08X", unsigned(value));
    return buf;
}

std::string describePipl(const PropertyList& list)
{
    std::ostringstream out;
    for (const PiplProperty& p : list.properties) {
        out << "  " << printable(p.key) << "  ";
        if (p.key == "kind") out << printable(list.kind);
        else if (p.key == "name") out << '"' << list.name << '"';
        else if (p.key == "catg") out << '"' << list.category << '"';
        else if (p.key == "eMNA") out << '"' << list.matchName << '"';
        else if (p.key == "eURL") out << '"' << list.supportUrl << '"';
        else if (p.key == "8664") out << '"' << list.entryPoint << '"';
        else if ((p.key == "ePVR" || p.key == "eSVR") && p.data.size() == 4) {
            const std::uint32_t v = readU32(p.data.data());
            out << (v & 0xFFFF) << '.' << (v >> 16);
        } else if (p.key == "eVER" && p.data.size() == 4) {
            const std::uint32_t v = readU32(p.data.data());
            out << v << " (" << (((v >> 19) & 7) | (((v >> 26) & 0xF) << 3)) << '.' << ((v >> 15) & 0xF)
                << '.' << ((v >> 11) & 0xF) << " stage " << ((v >> 9) & 3) << " build " << (v & 0x1FF)
                << ')';
        } else if (p.data.size() == 4) {
            out << hexWord(readU32(p.data.data()));
        } else {
            out << p.data.size() << " bytes";
        }
        out << '\n';
    }
    return out.str();
}

} // namespace orbhost
