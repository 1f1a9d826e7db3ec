// Images as the host keeps them in memory, and reading and writing them as files.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace orbhost {

// Largest width or height of any image, layer or composition the host handles, in pixels.
inline constexpr int kMaxImageSide = 30000;

// Straight (not premultiplied) colour, 4 floats per pixel in r, g, b, a order, row 0 at the
// top; 1.0 is full scale.
struct Image {
    int width = 0, height = 0;
    std::vector<float> rgba;
};

struct ImageSize {
    int width = 0, height = 0;
};

// Message "PATH: problem"; `problem` keeps the part after the path when it is known, so that
// callers can quote the file the way the user wrote it.
struct ImageError : std::runtime_error {
    using std::runtime_error::runtime_error;
    ImageError(const std::string& path, const std::string& problem)
        : std::runtime_error(path + ": " + problem), problem(problem) {}
    std::string problem;
};

// PNG, EXR, TIFF and JPEG through OpenImageIO when the build has it; .pam always.
Image readImage(const std::string& path);
// The size of the image in the file, after checking that it can be read (format, header, size
// limits), without decoding its pixels.
ImageSize readImageSize(const std::string& path);
// Decodes every pixel of the file without keeping them, so that a damaged or cut-short file is
// found before anything needs its pixels; throws ImageError saying what is wrong, in this
// program's words (what the decoding library printed is caught, not shown).
void checkImageDecodes(const std::string& path);

// What a render writes into its image files besides the pixels, where the format has room:
// EXR and TIFF carry all of it, the others none.
struct ImageMetadata {
    double pixelAspect = 1.0;   // width of a pixel over its height
    std::string sceneName;      // empty: not written
    int frame = -1;             // composition frame; negative: no frame or time written
    double seconds = 0.0;       // composition time of that frame
};

// Format by extension: .png 8 or 16 bits straight alpha (32 gives 16); .exr half (8, 16) or
// float (32) with premultiplied alpha; .tif/.tiff 8, 16 or float, straight alpha; .pam 8 bits
// when bitDepth is 8, else 16, straight alpha. Without OpenImageIO only .pam works.
void writeImage(const std::string& path, const Image& image, int bitDepth, const ImageMetadata& metadata = {});
// Throws the ImageError writeImage would give for a file name of a kind it cannot write, so
// that a program can refuse it before rendering.
void checkOutputFormat(const std::string& path);

// An image of the given size filled with one straight colour.
Image solidImage(int width, int height, float r, float g, float b, float a);

}  // namespace orbhost
