#include "host/core/memory_estimate.h"

#include "host/core/layer_pixels.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif

namespace orbhost {
namespace {

std::uint64_t worldBytes(int width, int height, int bitDepth)
{
    const std::uint64_t perPixel = bitDepth == 8 ? 4 : bitDepth == 16 ? 8 : 16;
    return std::uint64_t(width) * std::uint64_t(height) * perPixel;
}

std::string sizeText(int width, int height)
{
    return std::to_string(width) + "x" + std::to_string(height);
}

// Layers the effect's parameters may check out: every string a parameter track holds that is
// the name of a layer with pixels.
std::set<std::string> namedLayers(const Scene& scene)
{
    std::set<std::string> names;
    for (const ParamTrack& track : scene.params)
        for (const ParamKey& key : track.keys)
            if (key.value.is_string()) {
                const Layer* layer = findLayer(scene, key.value.get<std::string>());
                if (layer && layer->kind != LayerKind::Camera && layer->kind != LayerKind::Light)
                    names.insert(layer->displayName());
            }
    return names;
}

} // namespace

MemoryEstimate estimateFrameMemory(const Scene& scene, int bitDepth, int downsampleX, int downsampleY)
{
    MemoryEstimate estimate;
    const Layer& effect = effectLayer(scene);
    const int w = downsampledSize(effect.width, downsampleX), h = downsampledSize(effect.height, downsampleY);
    const std::string size = sizeText(w, h);
    estimate.parts.push_back({"the " + size + " output world", worldBytes(w, h, bitDepth)});
    estimate.parts.push_back({"the " + size + " output image in float", std::uint64_t(w) * std::uint64_t(h) * 16});
    // The input is checked out like any layer: a world and the packed copy kept for reuse.
    estimate.parts.push_back({"the effect layer '" + effect.displayName() + "' as a " + size + " world (twice)",
                              2 * worldBytes(w, h, bitDepth)});
    // An image file is decoded at full size, in float, while its first world is made; the
    // largest such file sets the peak, since one is converted at a time.
    std::uint64_t largestDecode = 0;
    std::string largestName;
    std::set<std::string> used = namedLayers(scene);
    used.insert(effect.displayName());
    for (const std::string& name : used) {
        const Layer& layer = *findLayer(scene, name);
        const std::uint64_t decode = std::uint64_t(layer.width) * std::uint64_t(layer.height) * 16;
        if (layer.kind == LayerKind::Image && layer.image.width == 0 && decode > largestDecode)
            largestDecode = decode, largestName = name;
    }
    if (largestDecode > 0) {
        const Layer& layer = *findLayer(scene, largestName);
        estimate.parts.push_back({"the image of layer '" + largestName + "' decoded at " +
                                      sizeText(layer.width, layer.height) + " in float",
                                  largestDecode});
    }
    for (const std::string& name : used) {
        if (name == effect.displayName())
            continue;
        const Layer& layer = *findLayer(scene, name);
        const int lw = downsampledSize(layer.width, downsampleX), lh = downsampledSize(layer.height, downsampleY);
        estimate.parts.push_back({"layer '" + name + "' as a " + sizeText(lw, lh) + " world (twice)",
                                  2 * worldBytes(lw, lh, bitDepth)});
    }
    std::stable_sort(estimate.parts.begin(), estimate.parts.end(),
                     [](const MemoryPart& a, const MemoryPart& b) { return a.bytes > b.bytes; });
    for (const MemoryPart& part : estimate.parts)
        estimate.total += part.bytes;
    return estimate;
}

std::optional<std::uint64_t> availableMemory()
{
#if defined(_WIN32)
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    if (GlobalMemoryStatusEx(&status))
        return std::uint64_t(status.ullAvailPhys);
    return std::nullopt;
#else
    std::ifstream meminfo("/proc/meminfo");
    std::string key;
    std::uint64_t kib = 0;
    std::string unit;
    while (meminfo >> key >> kib >> unit)
        if (key == "MemAvailable:")
            return kib * 1024;
    return std::nullopt;
#endif
}

std::string formatBytes(std::uint64_t bytes)
{
    const char* units[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
    double value = double(bytes);
    int unit = 0;
    while (value >= 1024 && unit < 4)
        value /= 1024, ++unit;
    char text[32];
    std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", value, units[unit]);
    return text;
}

std::string memoryRefusal(const MemoryEstimate& estimate, std::uint64_t limit, std::optional<std::uint64_t> available)
{
    std::string over;
    if (limit > 0 && estimate.total > limit)
        over = "--max-memory " + formatBytes(limit);
    else if (available && estimate.total > *available)
        over = "the " + formatBytes(*available) + " of memory available";
    if (over.empty())
        return {};
    std::string parts;
    for (std::size_t i = 0; i < estimate.parts.size() && i < 3; ++i)
        parts += (i ? ", " : "") + estimate.parts[i].what + " " + formatBytes(estimate.parts[i].bytes);
    return "a frame needs about " + formatBytes(estimate.total) + ", more than " + over + " (" + parts +
           "); a larger downsample or a lower bit depth needs less";
}

std::optional<std::uint64_t> parseByteSize(const std::string& text)
{
    std::size_t digits = 0;
    while (digits < text.size() && std::isdigit(static_cast<unsigned char>(text[digits])))
        ++digits;
    if (digits == 0 || digits > 15 || text.size() > digits + 1)
        return std::nullopt;
    std::uint64_t value = std::stoull(text.substr(0, digits));
    if (text.size() == digits + 1) {
        const char* units = "KMGT";
        const char* at = std::strchr(units, std::toupper(static_cast<unsigned char>(text[digits])));
        if (at == nullptr || *at == '\0')
            return std::nullopt;
        for (const char* u = units; u <= at; ++u)
            value *= 1024;
    }
    if (value == 0)
        return std::nullopt;
    return value;
}

} // namespace orbhost
