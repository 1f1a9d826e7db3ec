// The portable arbitrary map (P7) format, built in so that every build, including the one
// without an image library, can read and write images.
#pragma once

#include "host/scene/image.h"

#include <string>

namespace orbhost {

// Reads DEPTH 1 (grey), 2 (grey + alpha), 3 (RGB) or 4 (RGB_ALPHA), MAXVAL 1..65535; alpha is
// taken as straight.
Image readPam(const std::string& path);
// The size, after the same checks as readPam (the data must be all there) but without decoding.
ImageSize readPamSize(const std::string& path);

// Writes RGB_ALPHA with MAXVAL 255 (bitDepth 8) or 65535 (otherwise), straight alpha.
void writePam(const std::string& path, const Image& image, int bitDepth);

}  // namespace orbhost
