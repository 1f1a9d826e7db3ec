#include "host/scene/image.h"

#include "host/scene/file_bytes.h"
#include "host/scene/jpeg_markers.h"
#include "host/scene/library_messages.h"
#include "host/scene/pam.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <new>

#ifdef ORBULON_WITH_OIIO
#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>
#endif

namespace orbhost {
namespace {

std::string lowerExtension(const std::string& path)
{
    std::string ext = std::filesystem::path(path).extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return ext;
}

// A missing or unreadable file is reported as such, in the system's words, whatever the format.
void checkReadable(const std::string& path)
{
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        throw ImageError(path, "is a folder, not an image file");
    }
    errno = 0;
    if (std::FILE* probe = std::fopen(path.c_str(), "rb")) {
        std::fclose(probe);
    } else {
        throw ImageError(path, std::strerror(errno ? errno : ENOENT));
    }
}

void checkWritable(const std::string& path, const Image& image, int bitDepth)
{
    if (bitDepth != 8 && bitDepth != 16 && bitDepth != 32) {
        throw ImageError(path, "bit depth " + std::to_string(bitDepth) + " is not one of 8, 16, 32");
    }
    if (image.width <= 0 || image.height <= 0 ||
        image.rgba.size() != size_t(image.width) * size_t(image.height) * 4) {
        throw ImageError(path, "the image to write is empty or its pixel buffer does not match its size");
    }
}

#ifdef ORBULON_WITH_OIIO

// Writes the bytes as the whole file; a short write, a failed flush or close (a full disk, a
// quota) throws with the system's reason.
void writeFileBytes(const std::string& path, const unsigned char* bytes, size_t size)
{
    errno = 0;
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) {
        throw ImageError(path, std::string("cannot create the file: ") + std::strerror(errno ? errno : EIO));
    }
    errno = 0;
    const bool written = std::fwrite(bytes, 1, size, file) == size && std::fflush(file) == 0;
    const int writeErrno = errno;
    errno = 0;
    const bool closed = std::fclose(file) == 0;
    const int closeErrno = errno;
    if (!written || !closed) {
        const int cause = !written ? writeErrno : closeErrno;
        throw ImageError(path, std::string("cannot write the file: ") + std::strerror(cause ? cause : EIO));
    }
}

// The library's account of a failure, on one line: the first line of its error text, or what
// it printed while failing when it kept no text.
std::string libraryAccount(const std::string& error, const LibraryMessages& printed)
{
    std::string account = error.substr(0, error.find('\n'));
    if (account.empty())
        account = printed.text();
    return account.empty() ? "no reason given" : account;
}

// A file whose header reads but whose pixels do not decode.
std::string damaged(const std::string& error, const LibraryMessages& printed)
{
    return "the pixels cannot be decoded; the file is damaged or cut short (" + libraryAccount(error, printed) + ")";
}

// OpenImageIO hands back colour premultiplied unless asked not to; asking lets files that store
// straight colour (PNG, most TIFF) keep the colour of partly transparent pixels exactly.
// Reads the file's header into `file` and checks that the host can use the image.
const OIIO::ImageSpec& checkedHeader(const std::string& path, OIIO::ImageBuf& file)
{
    const LibraryMessages printed;
    if (!file.init_spec(path, 0, 0)) {
        throw ImageError(path, "cannot read the image: " + libraryAccount(file.geterror(), printed));
    }
    const OIIO::ImageSpec& imageFormat = file.nativespec();
    if (imageFormat.width <= 0 || imageFormat.height <= 0 || imageFormat.nchannels <= 0) {
        throw ImageError(path, "the image has no pixels");
    }
    if (imageFormat.width > kMaxImageSide || imageFormat.height > kMaxImageSide) {
        throw ImageError(path, "the image is " + std::to_string(imageFormat.width) + "x" + std::to_string(imageFormat.height) +
                                   ", larger than " + std::to_string(kMaxImageSide) + " pixels on a side");
    }
    return imageFormat;
}

ImageSize oiioSize(const std::string& path)
{
    // With a configuration the ImageBuf opens the file itself; without one it asks OpenImageIO's
    // shared image cache, which keeps a header by file name and reports a file rewritten in place
    // at its old size.
    const OIIO::ImageSpec config;
    OIIO::ImageBuf file(path, 0, 0, nullptr, &config);
    const OIIO::ImageSpec& imageFormat = checkedHeader(path, file);
    return {imageFormat.width, imageFormat.height};
}

Image readWithOiio(const std::string& path)
{
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);
    OIIO::ImageBuf file(path, 0, 0, nullptr, &config);
    const OIIO::ImageSpec& imageFormat = checkedHeader(path, file);
    const int channels = imageFormat.nchannels;
    int alpha = imageFormat.alpha_channel;
    if (alpha < 0 && (channels == 2 || channels == 4)) {
        alpha = channels - 1;
    }
    const bool grey = channels <= 2;
    const bool premultiplied = alpha >= 0 && imageFormat.get_int_attribute("oiio:UnassociatedAlpha", 0) == 0;

    Image image;
    image.width = imageFormat.width;
    image.height = imageFormat.height;
    const size_t pixels = size_t(imageFormat.width) * size_t(imageFormat.height);
    std::vector<float> raw;
    try {
        raw.resize(pixels * size_t(channels));
        image.rgba.resize(pixels * 4);
    } catch (const std::bad_alloc&) {
        throw ImageError(path, "the image is too large to hold in memory (" + std::to_string(imageFormat.width) + "x" +
                                   std::to_string(imageFormat.height) + ")");
    }
    const LibraryMessages printed;
    if (!file.read(0, 0, true, OIIO::TypeDesc::FLOAT) ||
        !file.get_pixels(file.roi(), OIIO::TypeDesc::FLOAT, raw.data())) {
        throw ImageError(path, damaged(file.geterror(), printed));
    }

    for (size_t p = 0; p < pixels; ++p) {
        const float* in = &raw[p * size_t(channels)];
        float* out = &image.rgba[p * 4];
        out[0] = in[0];
        out[1] = grey ? in[0] : in[std::min(1, channels - 1)];
        out[2] = grey ? in[0] : in[std::min(2, channels - 1)];
        out[3] = alpha >= 0 ? in[alpha] : 1.0f;
        if (premultiplied && out[3] > 0.0f) {
            for (int c = 0; c < 3; ++c) {
                out[c] /= out[3];
            }
        }
    }
    return image;
}

// Decodes every pixel of the file a strip at a time, keeping none: a tile row, or as many
// scanlines as fit a few megabytes.
void decodeInStrips(const std::string& path)
{
    const LibraryMessages printed;
    auto in = OIIO::ImageInput::open(path);
    if (!in) {
        throw ImageError(path, "cannot read the image: " + libraryAccount(OIIO::geterror(), printed));
    }
    const OIIO::ImageSpec layout = in->spec_dimensions(0);
    const bool tiled = layout.tile_width > 0;
    const size_t rowFloats = size_t(std::max(layout.width, 1)) * size_t(std::max(layout.nchannels, 1));
    const int rows = tiled ? std::max(layout.tile_height, 1) : int(std::clamp<size_t>((size_t(1) << 22) / rowFloats, 1, 64));
    std::vector<float> strip;
    try {
        strip.resize(rowFloats * size_t(rows) * size_t(std::max(layout.depth, 1)));
    } catch (const std::bad_alloc&) {
        throw ImageError(path, "the image is too large to check in memory");
    }
    for (int y = layout.y; y < layout.y + layout.height; y += rows) {
        const int end = std::min(y + rows, layout.y + layout.height);
        const bool decoded =
            tiled ? in->read_tiles(0, 0, layout.x, layout.x + layout.width, y, end, layout.z, layout.z + std::max(layout.depth, 1),
                                   0, layout.nchannels, OIIO::TypeDesc::FLOAT, strip.data())
                  : in->read_scanlines(0, 0, y, end, layout.z, 0, layout.nchannels, OIIO::TypeDesc::FLOAT, strip.data());
        if (!decoded) {
            throw ImageError(path, damaged(in->geterror(), printed));
        }
    }
}

// Standard attributes that OpenImageIO maps to each format's own fields (the EXR header,
// TIFF tags), and the frame and time as attributes of ours where the format keeps any name.
void describe(OIIO::ImageSpec& imageFormat, const ImageMetadata& metadata, bool exr)
{
    imageFormat.attribute("PixelAspectRatio", float(metadata.pixelAspect));
    std::string description;
    if (!metadata.sceneName.empty()) {
        imageFormat.attribute("DocumentName", metadata.sceneName);
        description = "scene " + metadata.sceneName;
    }
    if (metadata.frame >= 0) {
        char time[64];
        std::snprintf(time, sizeof time, "frame %d, time %.6g s", metadata.frame, metadata.seconds);
        description += (description.empty() ? "" : ", ") + std::string(time);
        if (exr) {
            imageFormat.attribute("orbulon:frame", metadata.frame);
            imageFormat.attribute("orbulon:time", float(metadata.seconds));
        }
    }
    if (!description.empty())
        imageFormat.attribute("ImageDescription", description);
}

void writeWithOiio(const std::string& path, const Image& image, int bitDepth, const std::string& ext,
                   const ImageMetadata& metadata)
{
    const bool exr = ext == ".exr";
    OIIO::TypeDesc type = OIIO::TypeDesc::UINT16;
    if (exr) {
        type = bitDepth == 32 ? OIIO::TypeDesc::FLOAT : OIIO::TypeDesc::HALF;
    } else if (bitDepth == 8) {
        type = OIIO::TypeDesc::UINT8;
    } else if (bitDepth == 32 && ext != ".png") {
        type = OIIO::TypeDesc::FLOAT;
    }
    OIIO::ImageSpec imageFormat(image.width, image.height, 4, type);
    if (exr || ext == ".tif" || ext == ".tiff")
        describe(imageFormat, metadata, exr);
    std::vector<float> premultiplied;
    const float* pixels = image.rgba.data();
    if (exr) {
        // EXR stores associated alpha by definition.
        premultiplied = image.rgba;
        for (size_t i = 0; i < premultiplied.size(); i += 4) {
            for (int c = 0; c < 3; ++c) {
                premultiplied[i + c] *= premultiplied[i + 3];
            }
        }
        pixels = premultiplied.data();
    } else {
        imageFormat.attribute("oiio:UnassociatedAlpha", 1);
    }
    auto output = OIIO::ImageOutput::create(path);
    if (!output) {
        throw ImageError(path, "cannot write this kind of file: " + OIIO::geterror());
    }
    // Some of OpenImageIO's writers (PNG among them) do not report a failed write to the disk,
    // so the file is encoded in memory and written here, where every step is checked.
    std::vector<unsigned char> encoded;
    OIIO::Filesystem::IOVecOutput memory(encoded);
    const bool inMemory = output->supports("ioproxy") && output->set_ioproxy(&memory);
    if (!output->open(path, imageFormat) || !output->write_image(OIIO::TypeDesc::FLOAT, pixels) || !output->close()) {
        throw ImageError(path, "cannot write the image: " + output->geterror());
    }
    if (inMemory) {
        writeFileBytes(path, encoded.data(), encoded.size());
    }
}

#endif  // ORBULON_WITH_OIIO

}  // namespace

Image readImage(const std::string& path)
{
    const std::string ext = lowerExtension(path);
    if (ext == ".pam") {
        return readPam(path);
    }
    checkReadable(path);
#ifdef ORBULON_WITH_OIIO
    return readWithOiio(path);
#else
    throw ImageError(path, "this build reads only .pam images ('" + ext + "' needs OpenImageIO)");
#endif
}

ImageSize readImageSize(const std::string& path)
{
    const std::string ext = lowerExtension(path);
    if (ext == ".pam") {
        return readPamSize(path);
    }
    checkReadable(path);
#ifdef ORBULON_WITH_OIIO
    return oiioSize(path);
#else
    throw ImageError(path, "this build reads only .pam images ('" + ext + "' needs OpenImageIO)");
#endif
}

void checkImageDecodes(const std::string& path)
{
    const std::string ext = lowerExtension(path);
    if (ext == ".pam") {
        readPamSize(path);  // reads the whole file and checks its length against the header
        return;
    }
    checkReadable(path);
#ifdef ORBULON_WITH_OIIO
    decodeInStrips(path);
    if (ext == ".jpg" || ext == ".jpeg") {
        const FileBytes file = readFileBytes(path);
        if (!file.error.empty()) {
            throw ImageError(path, file.error);
        }
        if (!jpegReachesEnd(file.bytes)) {
            throw ImageError(path, "the file is cut short or damaged: its JPEG data stops before the end-of-image marker");
        }
    }
#else
    throw ImageError(path, "this build reads only .pam images ('" + ext + "' needs OpenImageIO)");
#endif
}

void checkOutputFormat(const std::string& path)
{
    const std::string ext = lowerExtension(path);
    if (ext == ".pam") {
        return;
    }
    if (ext != ".png" && ext != ".exr" && ext != ".tif" && ext != ".tiff") {
        throw ImageError(path, "cannot write '" + ext + "' files; use .png, .exr, .tif, .tiff or .pam");
    }
#ifndef ORBULON_WITH_OIIO
    throw ImageError(path, "this build writes only .pam images ('" + ext + "' needs OpenImageIO)");
#endif
}

void writeImage(const std::string& path, const Image& image, int bitDepth, [[maybe_unused]] const ImageMetadata& metadata)
{
    checkOutputFormat(path);
    checkWritable(path, image, bitDepth);
    const std::string ext = lowerExtension(path);
    if (ext == ".pam") {
        writePam(path, image, bitDepth);
        return;
    }
#ifdef ORBULON_WITH_OIIO
    writeWithOiio(path, image, bitDepth, ext, metadata);
#endif
}

Image solidImage(int width, int height, float r, float g, float b, float a)
{
    Image image;
    image.width = width;
    image.height = height;
    image.rgba.resize(size_t(width) * size_t(height) * 4);
    for (size_t i = 0; i < image.rgba.size(); i += 4) {
        image.rgba[i] = r;
        image.rgba[i + 1] = g;
        image.rgba[i + 2] = b;
        image.rgba[i + 3] = a;
    }
    return image;
}

}  // namespace orbhost
