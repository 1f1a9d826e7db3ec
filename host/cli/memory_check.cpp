#include "memory_check.h"

#include "host/core/memory_estimate.h"

#include <iostream>

namespace orbcli {

int refuseOversizedFrames(const orbhost::Scene& scene, const orbhost::FrameRequest& request,
                          const std::string& maxMemory)
{
    std::uint64_t limit = 0;
    if (!maxMemory.empty()) {
        const auto parsed = orbhost::parseByteSize(maxMemory);
        if (!parsed) {
            std::cerr << "orbulon-render: --max-memory " << maxMemory
                      << ": expected a size in bytes, optionally with K, M, G or T (e.g. 8G)\n";
            return 2;
        }
        limit = *parsed;
    }
    const orbhost::MemoryEstimate estimate =
        orbhost::estimateFrameMemory(scene, request.bitDepth, request.downsampleX, request.downsampleY);
    const std::string refusal = orbhost::memoryRefusal(estimate, limit, orbhost::availableMemory());
    if (refusal.empty())
        return 0;
    std::cerr << "orbulon-render: " << scene.file << ": " << refusal << "\n";
    return 1;
}

}  // namespace orbcli
