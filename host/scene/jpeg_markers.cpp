#include "host/scene/jpeg_markers.h"

#include <cstddef>

namespace orbhost {

bool jpegReachesEnd(const std::string& bytes)
{
    const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const auto isRestart = [](unsigned marker) { return marker >= 0xD0 && marker <= 0xD7; };
    if (bytes.size() < 4 || at(0) != 0xFF || at(1) != 0xD8)
        return false;
    std::size_t i = 2;
    while (i + 1 < bytes.size()) {
        if (at(i) != 0xFF)
            return false;
        const unsigned marker = at(i + 1);
        if (marker == 0xFF) {  // a fill byte before a marker
            ++i;
            continue;
        }
        if (marker == 0xD9)  // end of image
            return true;
        if (marker == 0x01 || isRestart(marker)) {  // markers without a segment
            i += 2;
            continue;
        }
        if (i + 3 >= bytes.size())
            return false;
        // The segment's length counts its two length bytes, not the marker.
        i += 2 + ((std::size_t(at(i + 2)) << 8) | at(i + 3));
        if (marker == 0xDA) {
            // A scan's coded data runs to the next marker; 0xFF00 is a coded 0xFF and restart
            // markers sit inside the data.
            while (i + 1 < bytes.size() && !(at(i) == 0xFF && at(i + 1) != 0x00 && !isRestart(at(i + 1))))
                ++i;
        }
    }
    return false;
}

}  // namespace orbhost
