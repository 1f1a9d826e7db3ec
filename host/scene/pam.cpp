#include "host/scene/pam.h"

#include "host/scene/file_bytes.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>

namespace orbhost {
namespace {

struct PamHeader {
    int width = 0, height = 0, depth = 0, maxval = 0;
    std::string tupleType;
    size_t dataOffset = 0;
};

int parseHeaderInt(const std::string& path, const std::string& key, const std::string& text, int lo, int hi)
{
    size_t used = 0;
    long long value = 0;
    try {
        value = std::stoll(text, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used == 0 || used != text.size() || value < lo || value > hi) {
        throw ImageError(path, "bad PAM header: " + key + " '" + text + "' is not a whole number in " +
                                   std::to_string(lo) + ".." + std::to_string(hi));
    }
    return static_cast<int>(value);
}

PamHeader parseHeader(const std::string& path, const std::string& bytes)
{
    if (bytes.compare(0, 3, "P7\n") != 0) {
        throw ImageError(path, "not a PAM file (it must start with 'P7')");
    }
    PamHeader header;
    size_t pos = 3;
    for (;;) {
        const size_t end = bytes.find('\n', pos);
        if (end == std::string::npos) {
            throw ImageError(path, "bad PAM header: no ENDHDR line");
        }
        std::istringstream line(bytes.substr(pos, end - pos));
        pos = end + 1;
        std::string key, value;
        line >> key;
        if (key.empty() || key[0] == '#') {
            continue;
        }
        if (key == "ENDHDR") {
            break;
        }
        std::getline(line >> std::ws, value);
        while (!value.empty() && std::isspace(static_cast<unsigned char>(value.back()))) {
            value.pop_back();
        }
        if (key == "WIDTH") {
            header.width = parseHeaderInt(path, key, value, 1, kMaxImageSide);
        } else if (key == "HEIGHT") {
            header.height = parseHeaderInt(path, key, value, 1, kMaxImageSide);
        } else if (key == "DEPTH") {
            header.depth = parseHeaderInt(path, key, value, 1, 4);
        } else if (key == "MAXVAL") {
            header.maxval = parseHeaderInt(path, key, value, 1, 65535);
        } else if (key == "TUPLTYPE") {
            header.tupleType = value;
        } else {
            throw ImageError(path, "bad PAM header: unknown field '" + key + "'");
        }
    }
    if (header.width == 0 || header.height == 0 || header.depth == 0 || header.maxval == 0) {
        throw ImageError(path, "bad PAM header: WIDTH, HEIGHT, DEPTH and MAXVAL are all required");
    }
    header.dataOffset = pos;
    return header;
}

// The header of a file whose data is all there.
PamHeader checkedHeader(const std::string& path, const std::string& bytes)
{
    const PamHeader header = parseHeader(path, bytes);
    const int bytesPerSample = header.maxval > 255 ? 2 : 1;
    const uint64_t samples = uint64_t(header.width) * uint64_t(header.height) * uint64_t(header.depth);
    const uint64_t expected = samples * uint64_t(bytesPerSample);
    if (bytes.size() - header.dataOffset < expected) {
        throw ImageError(path, "PAM data is cut short: expected " + std::to_string(expected) + " bytes, found " +
                                   std::to_string(bytes.size() - header.dataOffset));
    }
    return header;
}

std::string pamBytes(const std::string& path)
{
    FileBytes file = readFileBytes(path);
    if (!file.error.empty()) {
        throw ImageError(path, file.error);
    }
    return std::move(file.bytes);
}

}  // namespace

ImageSize readPamSize(const std::string& path)
{
    const PamHeader header = checkedHeader(path, pamBytes(path));
    return {header.width, header.height};
}

Image readPam(const std::string& path)
{
    const std::string bytes = pamBytes(path);
    const PamHeader header = checkedHeader(path, bytes);
    const int bytesPerSample = header.maxval > 255 ? 2 : 1;

    Image image;
    image.width = header.width;
    image.height = header.height;
    image.rgba.resize(size_t(header.width) * size_t(header.height) * 4);
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data() + header.dataOffset);
    const float scale = 1.0f / float(header.maxval);
    auto sampleAt = [&](uint64_t index) {
        // Samples wider than a byte are big-endian.
        const unsigned value = bytesPerSample == 2 ? (unsigned(data[2 * index]) << 8) | data[2 * index + 1] : data[index];
        return float(value) * scale;
    };
    const bool grey = header.depth <= 2;
    const bool hasAlpha = header.depth == 2 || header.depth == 4;
    const size_t pixels = size_t(header.width) * size_t(header.height);
    for (size_t p = 0; p < pixels; ++p) {
        const uint64_t first = uint64_t(p) * uint64_t(header.depth);
        float* out = &image.rgba[p * 4];
        out[0] = sampleAt(first);
        out[1] = grey ? out[0] : sampleAt(first + 1);
        out[2] = grey ? out[0] : sampleAt(first + 2);
        out[3] = hasAlpha ? sampleAt(first + uint64_t(header.depth) - 1) : 1.0f;
    }
    return image;
}

void writePam(const std::string& path, const Image& image, int bitDepth)
{
    const int maxval = bitDepth == 8 ? 255 : 65535;
    std::string out = "P7\nWIDTH " + std::to_string(image.width) + "\nHEIGHT " + std::to_string(image.height) +
                      "\nDEPTH 4\nMAXVAL " + std::to_string(maxval) + "\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
    const size_t headerSize = out.size();
    const int bytesPerSample = maxval > 255 ? 2 : 1;
    out.resize(headerSize + image.rgba.size() * size_t(bytesPerSample));
    auto* data = reinterpret_cast<unsigned char*>(out.data() + headerSize);
    for (size_t i = 0; i < image.rgba.size(); ++i) {
        const float v = image.rgba[i];
        // NaN counts as 0; the comparison form sends it to the low side.
        const float clamped = v > 0.0f ? std::min(v, 1.0f) : 0.0f;
        // Half away from zero, as lround, without a library call per channel: the float
        // product plus one half is exact in double, and truncation is floor for x ≥ 0.
        const auto q = static_cast<unsigned>(double(clamped * float(maxval)) + 0.5);
        if (bytesPerSample == 2) {
            data[2 * i] = static_cast<unsigned char>(q >> 8);
            data[2 * i + 1] = static_cast<unsigned char>(q & 0xff);
        } else {
            data[i] = static_cast<unsigned char>(q);
        }
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) {
        throw ImageError(path, std::string("cannot create the file: ") + std::strerror(errno));
    }
    file.write(out.data(), std::streamsize(out.size()));
    if (!file.flush()) {
        throw ImageError(path, std::string("cannot write the file: ") + std::strerror(errno ? errno : EIO));
    }
    // Closing can be where a delayed write fails (network file systems, quotas).
    errno = 0;
    file.close();
    if (!file) {
        throw ImageError(path, std::string("cannot write the file: ") + std::strerror(errno ? errno : EIO));
    }
}

}  // namespace orbhost
