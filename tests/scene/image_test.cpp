// Image files written and read back, what lies on disk, and messages for bad files.
#include "host/scene/image.h"
#include "temp_folder.h"

#include <gtest/gtest.h>

#include <cmath>

#ifdef ORBULON_WITH_OIIO
#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imageio.h>
#endif

namespace orbhost {
namespace {

// 4 x 2 pixels: opaque, partly transparent with colour, fully transparent with colour, black,
// white; 0.999 is nearer 255 than 254, so truncating instead of rounding fails the tolerance.
Image testImage()
{
    Image image;
    image.width = 4;
    image.height = 2;
    image.rgba = {0.8f, 0.4f, 0.2f, 1.0f,   0.8f, 0.4f, 0.2f, 0.25f, 1.0f, 0.0f, 0.5f, 0.5f,  0.6f, 0.6f, 0.6f, 0.0f,
                  0.0f, 0.0f, 0.0f, 1.0f,   1.0f, 1.0f, 1.0f, 1.0f,  0.1f, 0.9f, 0.3f, 0.75f, 0.2f, 0.3f, 0.999f, 0.1f};
    return image;
}

constexpr size_t kZeroAlphaPixel = 3;

struct RoundTrip {
    const char* ext;
    int bitDepth;
    double tolerance;
    bool keepsColourUnderZeroAlpha;  // false where the file stores premultiplied colour
    const char* stored = "";         // the samples' type on disk ("" for PAM, which the library does not read)
};

#ifdef ORBULON_WITH_OIIO
struct OnDisk {
    OIIO::TypeDesc format;
    std::vector<float> values;
};

OnDisk readRaw(const std::string& path)
{
    OIIO::ImageBuf file(path);
    if (!file.init_spec(path, 0, 0)) {
        ADD_FAILURE() << "cannot open " << path << ": " << file.geterror();
        return {};
    }
    const OIIO::ImageSpec& onDisk = file.nativespec();
    OnDisk disk{onDisk.format, {}};
    disk.values.resize(size_t(onDisk.image_pixels()) * size_t(onDisk.nchannels));
    file.get_pixels(file.roi(), OIIO::TypeDesc::FLOAT, disk.values.data());
    return disk;
}
#endif

void PrintTo(const RoundTrip& c, std::ostream* os) { *os << c.ext << " " << c.bitDepth << " bit"; }

class ImageRoundTrip : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(ImageRoundTrip, KeepsStraightColour)
{
    const RoundTrip& c = GetParam();
    testing::TempFolder folder("roundtrip");
    // A name per depth: OpenImageIO's shared cache would answer a rewritten name with its old header.
    const std::string path = folder.file("out" + std::to_string(c.bitDepth) + c.ext);
    const Image written = testImage();
    writeImage(path, written, c.bitDepth);
    const Image read = readImage(path);
    ASSERT_EQ(read.width, written.width);
    ASSERT_EQ(read.height, written.height);
    ASSERT_EQ(read.rgba.size(), written.rgba.size());
    for (size_t i = 0; i < written.rgba.size(); ++i) {
        if (i / 4 == kZeroAlphaPixel && i % 4 != 3 && !c.keepsColourUnderZeroAlpha) {
            continue;
        }
        EXPECT_NEAR(read.rgba[i], written.rgba[i], c.tolerance)
            << c.ext << " " << c.bitDepth << " bit: pixel " << i / 4 << " channel " << i % 4;
    }
#ifdef ORBULON_WITH_OIIO
    if (!*c.stored)
        return;
    const OnDisk disk = readRaw(path);
    EXPECT_STREQ(disk.format.c_str(), c.stored);
    if (!c.keepsColourUnderZeroAlpha) {  // premultiplied on disk
        ASSERT_EQ(disk.values.size(), 32u);
        EXPECT_NEAR(disk.values[4], 0.8 * 0.25, c.tolerance) << "pixel 1 red";
        EXPECT_NEAR(disk.values[7], 0.25, c.tolerance) << "pixel 1 alpha";
        EXPECT_EQ(disk.values[12], 0.0f) << "zero alpha leaves no colour";
    }
#endif
}

const RoundTrip kRoundTrips[] = {
    {".pam", 8, 0.5 / 255 + 1e-6, true},
    {".pam", 16, 0.5 / 65535 + 1e-7, true},
    {".pam", 32, 0.5 / 65535 + 1e-7, true},
#ifdef ORBULON_WITH_OIIO
    {".png", 8, 0.5 / 255 + 1e-6, true, "uint8"},
    {".png", 16, 0.5 / 65535 + 1e-7, true, "uint16"},
    {".png", 32, 0.5 / 65535 + 1e-7, true, "uint16"},
    {".tif", 8, 0.5 / 255 + 1e-6, true, "uint8"},
    {".tiff", 16, 0.5 / 65535 + 1e-7, true, "uint16"},
    {".tif", 32, 1e-7, true, "float"},
    {".exr", 8, 1e-3, false, "half"},   // half: 11 significant bits
    {".exr", 16, 1e-3, false, "half"},
    {".exr", 32, 1e-6, false, "float"},
#endif
};

INSTANTIATE_TEST_SUITE_P(Formats, ImageRoundTrip, ::testing::ValuesIn(kRoundTrips));

TEST(PamFile, HeaderAndSamplesFollowTheFormat)
{
    testing::TempFolder folder("pamfile");
    // Hand-made: grey + alpha, 16-bit samples, big-endian; 0x8000 is 32768 / 65535.
    const std::string header = "P7\n# made by hand\nWIDTH 2\nHEIGHT 1\nDEPTH 2\nMAXVAL 65535\nTUPLTYPE GRAYSCALE_ALPHA\nENDHDR\n";
    folder.write("grey.pam", header + std::string("\x80\x00\xff\xff\x00\x00\x00\x00", 8));
    const Image grey = readImage(folder.file("grey.pam"));
    ASSERT_EQ(grey.width, 2);
    EXPECT_FLOAT_EQ(grey.rgba[0], 32768.0f / 65535.0f);
    EXPECT_EQ(grey.rgba[1], grey.rgba[0]);
    EXPECT_EQ(grey.rgba[2], grey.rgba[0]);
    EXPECT_EQ(grey.rgba[3], 1.0f);
    EXPECT_EQ(grey.rgba[7], 0.0f);

    // Written files: RGB_ALPHA, 8-bit samples for 8, big-endian 16-bit ones otherwise.
    for (const int bitDepth : {8, 16}) {
        const std::string path = folder.file("out" + std::to_string(bitDepth) + ".pam");
        writeImage(path, testImage(), bitDepth);
        std::ifstream file(path, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        const std::string header = "P7\nWIDTH 4\nHEIGHT 2\nDEPTH 4\nMAXVAL " +
                                   std::string(bitDepth == 8 ? "255" : "65535") + "\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
        EXPECT_EQ(bytes.substr(0, header.size()), header) << bitDepth;
        ASSERT_EQ(bytes.size(), header.size() + 4 * 2 * 4 * size_t(bitDepth / 8)) << bitDepth;
        EXPECT_EQ(static_cast<unsigned char>(bytes[header.size()]), bitDepth == 8 ? 204 : 0xcc) << "0.8 of full scale";
    }
}

struct BadFile {
    const char* label;
    const char* name;
    const char* contents;   // nullptr: the file does not exist
    const char* problem;
};

void PrintTo(const BadFile& c, std::ostream* os) { *os << c.label; }

class ImageReadErrors : public ::testing::TestWithParam<BadFile> {};

TEST_P(ImageReadErrors, NameTheFileAndTheProblem)
{
    const BadFile& c = GetParam();
    testing::TempFolder folder("readerrors");
    if (c.contents != nullptr) {
        folder.write(c.name, c.contents);
    }
    const std::string path = folder.file(c.name);
    try {
        readImage(path);
        FAIL() << c.label << ": read without complaint";
    } catch (const ImageError& e) {
        const std::string message = e.what();
        EXPECT_EQ(message.rfind(path + ": ", 0), 0u) << c.label << ": " << message;
        EXPECT_NE(message.find(c.problem), std::string::npos) << c.label << ": " << message;
        EXPECT_NE(e.problem.find(c.problem), std::string::npos) << c.label << ": " << e.problem;
    }
}

const BadFile kBadFiles[] = {
    {"missing pam", "none.pam", nullptr, "No such file"},
    {"not a pam", "x.pam", "P6\n1 1\n255\nabc", "not a PAM file"},
    {"no end of header", "x.pam", "P7\nWIDTH 1\nHEIGHT 1\n", "no ENDHDR"},
    {"missing depth", "x.pam", "P7\nWIDTH 1\nHEIGHT 1\nMAXVAL 255\nENDHDR\n", "DEPTH"},
    {"depth five", "x.pam", "P7\nWIDTH 1\nHEIGHT 1\nDEPTH 5\nMAXVAL 255\nENDHDR\n", "DEPTH '5'"},
    {"width not a number", "x.pam", "P7\nWIDTH one\nHEIGHT 1\nDEPTH 4\nMAXVAL 255\nENDHDR\n", "WIDTH 'one'"},
    {"huge width", "x.pam", "P7\nWIDTH 99999999999\nHEIGHT 1\nDEPTH 4\nMAXVAL 255\nENDHDR\n", "WIDTH"},
    {"data cut short", "x.pam", "P7\nWIDTH 100\nHEIGHT 100\nDEPTH 4\nMAXVAL 255\nENDHDR\nabc", "cut short"},
#ifdef ORBULON_WITH_OIIO
    {"missing png", "none.png", nullptr, "No such file"},
    {"text as png", "x.png", "hello", "cannot read the image"},
#endif
};

INSTANTIATE_TEST_SUITE_P(BadFiles, ImageReadErrors, ::testing::ValuesIn(kBadFiles));

TEST(ImageWriteErrors, NameTheFileAndTheProblem)
{
    testing::TempFolder folder("writeerrors");
    Image wrongSize = testImage();
    wrongSize.rgba.pop_back();
    struct Case { std::string path; Image image; int bitDepth; const char* problem; };
    const Case cases[] = {
        {folder.file("a.pam"), testImage(), 12, "bit depth 12"},
        {folder.file("a.pam"), wrongSize, 8, "does not match"},
        {folder.file("a.pam"), Image{}, 8, "empty"},
        {folder.file("no/such/folder/a.pam"), testImage(), 8, "cannot create the file"},
    };
    for (const Case& c : cases) {
        try {
            writeImage(c.path, c.image, c.bitDepth);
            ADD_FAILURE() << c.path << ": written without complaint";
        } catch (const ImageError& e) {
            const std::string message = e.what();
            EXPECT_EQ(message.rfind(c.path + ": ", 0), 0u) << message;
            EXPECT_NE(message.find(c.problem), std::string::npos) << message;
        }
    }
}

#ifdef ORBULON_WITH_OIIO

TEST(ImageFiles, FilesWithoutAlphaReadAsOpaque)
{
    testing::TempFolder folder("opaque");
    struct Case { const char* name; int channels; double tolerance; };
    for (const Case& c : {Case{"rgb.jpg", 3, 0.03}, Case{"grey.png", 1, 0.5 / 255 + 1e-6}}) {
        const std::string path = folder.file(c.name);
        auto output = OIIO::ImageOutput::create(path);
        ASSERT_TRUE(output) << c.name;
        const OIIO::ImageSpec imageFormat(16, 16, c.channels, OIIO::TypeDesc::UINT8);
        const std::vector<float> pixels(16 * 16 * size_t(c.channels), 0.6f);
        ASSERT_TRUE(output->open(path, imageFormat) && output->write_image(OIIO::TypeDesc::FLOAT, pixels.data()) &&
                    output->close())
            << c.name;
        const Image image = readImage(path);
        ASSERT_EQ(image.width, 16) << c.name;
        for (size_t i = 0; i < image.rgba.size(); ++i) {
            EXPECT_NEAR(image.rgba[i], i % 4 == 3 ? 1.0 : 0.6, c.tolerance) << c.name << " value " << i;
        }
    }
}

// Found by the image_reader fuzz target: the library's shared cache answered with an old size.
TEST(ImageFiles, FileRewrittenInPlaceIsReadAnew)
{
    testing::TempFolder folder("rewritten");
    for (const char* name : {"t.png", "t.exr", "t.tif"}) {
        const std::string path = folder.file(name);
        writeImage(path, solidImage(8, 4, 1, 0, 0, 1), 16);
        ASSERT_EQ(readImageSize(path).width, 8) << name;
        writeImage(path, solidImage(3, 5, 0, 1, 0, 1), 16);
        const ImageSize size = readImageSize(path);
        EXPECT_EQ(size.width, 3) << name;
        EXPECT_EQ(size.height, 5) << name;
        const Image image = readImage(path);
        EXPECT_EQ(image.width, 3) << name;
        EXPECT_EQ(image.height, 5) << name;
    }
}

#endif  // ORBULON_WITH_OIIO

}  // namespace
}  // namespace orbhost
