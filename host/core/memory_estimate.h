// What a frame will need in memory, worked out from the scene before anything renders, and
// what the machine has to give, so that a render too large is refused with a message instead
// of being killed part way.
#pragma once
#include "host/scene/scene.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orbhost {

struct MemoryPart {
    std::string what;   // e.g. "the effect layer 'Sphere' as a 30000x30000 world"
    std::uint64_t bytes = 0;
};

struct MemoryEstimate {
    std::uint64_t total = 0;
    std::vector<MemoryPart> parts;   // largest first
};

// Peak memory for rendering one frame of the scene at this bit depth and downsample, beyond what
// is already loaded: the output world and its float copy, the effect layer's world and the
// worlds of the layers its parameters name (each with the copy kept for the next checkout).
MemoryEstimate estimateFrameMemory(const Scene& scene, int bitDepth, int downsampleX, int downsampleY);

// Bytes the system can still hand out (MemAvailable on Linux), or nothing when unknown.
std::optional<std::uint64_t> availableMemory();

// "1.2 GiB", "340 MiB", "12 KiB".
std::string formatBytes(std::uint64_t bytes);

// Empty when the estimate fits under the limit (0: none) and under what is available; otherwise
// the reason, giving the estimate and its largest parts.
std::string memoryRefusal(const MemoryEstimate& estimate, std::uint64_t limit,
                          std::optional<std::uint64_t> available);

// "--max-memory" values: bytes with an optional K, M, G or T (powers of 1024); nothing when bad.
std::optional<std::uint64_t> parseByteSize(const std::string& text);

} // namespace orbhost
