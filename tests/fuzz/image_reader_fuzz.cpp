// The image readers on arbitrary files: the built-in PAM reader and, through OpenImageIO, PNG,
// EXR, TIFF and JPEG. The first byte picks the file name's extension (the readers choose the
// format by it), the rest is the file. A file they cannot use must be refused with an
// ImageError; an image they accept must have the size its header gave and one RGBA pixel
// per position.
#include "host/scene/image.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

// Decoding is skipped above this many pixels: the header alone says how much the file would
// take, and the host checks that against the memory it has before it decodes (memory_check),
// so a short file claiming 30000 × 30000 is not a fault of the reader.
constexpr long long kMaxDecodedPixels = 1LL << 20;

std::string makeScratchFolder()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "orbulon-fuzz-image-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        std::perror("mkdtemp");
        std::abort();
    }
    return pattern;
}

void removeScratchFolder();

const std::string& scratchFolder()
{
    static const std::string folder = makeScratchFolder();
    // Registered after the folder's name exists, so it runs while the name still does.
    static const bool removedAtExit = (std::atexit(removeScratchFolder), true);
    (void)removedAtExit;
    return folder;
}

void removeScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(scratchFolder(), ignored);
}

void require(bool holds, const char* promise)
{
    if (!holds) {
        std::fprintf(stderr, "accepted image breaks a promise: %s\n", promise);
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const char* const extensions[] = {".pam", ".png", ".exr", ".tif", ".jpg"};
    const char* ext = extensions[size > 0 ? data[0] % 5 : 0];
    // One path for every input, as a long-running host reads a texture again after it was
    // replaced: nothing read from the last file may stick to the next one. (The saved pair
    // regressions/image_reader/exr_rewritten_* replays in name order for that reason.)
    const std::string path = scratchFolder() + "/input" + ext;
    {
        std::FILE* file = std::fopen(path.c_str(), "wb");
        require(file != nullptr, "scratch file writable");
        if (size > 1)
            std::fwrite(data + 1, 1, size - 1, file);
        std::fclose(file);
    }

    orbhost::ImageSize header;
    try {
        header = orbhost::readImageSize(path);
    } catch (const orbhost::ImageError&) {
        return 0;
    }
    require(header.width >= 1 && header.width <= orbhost::kMaxImageSide && header.height >= 1 &&
                header.height <= orbhost::kMaxImageSide,
            "header size in range");
    if (static_cast<long long>(header.width) * header.height > kMaxDecodedPixels)
        return 0;

    try {
        const orbhost::Image image = orbhost::readImage(path);
        require(image.width == header.width && image.height == header.height, "pixels of the header's size");
        require(image.rgba.size() == std::size_t(image.width) * std::size_t(image.height) * 4, "RGBA per pixel");
    } catch (const orbhost::ImageError&) {
        // A header that reads but data that does not: refused, as it should be.
    }
    return 0;
}
