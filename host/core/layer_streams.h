// The layer streams the host serves through AEGP_GetLayerStreamValue: which layer kinds have
// which stream, and its value in the stream's own units (pixels, percent, degrees, 0..1
// colours) at a composition time.
#pragma once
#include "host/comp/composition_model.h"
#include "hostapi/host_api.h"

#include <optional>

namespace orbhost {

struct LayerStreamValue {
    AEGP_StreamVal2 value{};
    AEGP_StreamType type = AEGP_StreamType_NO_DATA;
};

// Nothing when the layer's kind has no such stream (or the host does not model it).
std::optional<LayerStreamValue> layerStreamValue(const LayerModel& layer, AEGP_LayerStream stream, double seconds);

} // namespace orbhost
