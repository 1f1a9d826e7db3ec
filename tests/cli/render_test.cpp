// The example scene in every output format, size and depth.
#include "cli/cli_scene.h"
#include "host/scene/image.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace orbhost::testing {
namespace {

struct ImageFacts {
    int width = 0, height = 0, channels = 0;
    int bits = 0;  // per channel as stored; 0 when unknown
};

ImageFacts readFacts(const std::string& path)
{
    if (path.ends_with(".pam")) {  // not a format OpenImageIO reads
        const Image image = readImage(path);
        return {image.width, image.height, 4, 0};
    }
    OIIO::ImageBuf file(path);
    if (!file.init_spec(path, 0, 0))
        return {};
    const OIIO::ImageSpec& onDisk = file.nativespec();
    return {onDisk.width, onDisk.height, onDisk.nchannels, int(onDisk.format.size()) * 8};
}

// Each extension picks its format; downsampling rounds the size up.
TEST(CliRender, WritesImageOfTheRightSizeAndDepth)
{
    struct Case {
        int width, height;  // composition size
        std::vector<std::string> args;
        const char* output;
        int outWidth, outHeight, bits;  // bits 0: not checked
    };
    const Case cases[] = {{640, 360, {}, "out.png", 640, 360, 8},
                          {640, 360, {"--bit-depth", "16"}, "out.png", 640, 360, 16},
                          {640, 360, {"--bit-depth", "32"}, "out.exr", 640, 360, 32},
                          {640, 360, {}, "out.pam", 640, 360, 0},
                          {101, 51, {"--downsample", "2"}, "out.png", 51, 26, 8},
                          {101, 51, {"--downsample", "3,2"}, "out.exr", 34, 26, 16}};
    // Each case writes a file of its own name: OpenImageIO's shared cache answers a name it has
    // read before with the header it read then.
    int written = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.output + (" " + ::testing::PrintToString(c.args)));
        const std::string output = std::to_string(written++) + c.output;
        const SceneFolder folder(withEdit(basicSceneText(), "\"width\": 640, \"height\": 360",
                                          "\"width\": " + std::to_string(c.width) + ", \"height\": " + std::to_string(c.height)));
        std::vector<std::string> args{folder.scene(), "-o", folder.file(output)};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const ProgramResult run = runProgram(args);
        ASSERT_EQ(run.exitCode, 0) << run.transcript();
        EXPECT_EQ(run.messages(), "");
        const ImageFacts facts = readFacts(folder.file(output));
        EXPECT_EQ(facts.width, c.outWidth);
        EXPECT_EQ(facts.height, c.outHeight);
        EXPECT_EQ(facts.channels, 4);
        EXPECT_EQ(c.bits ? facts.bits : 0, c.bits);
    }
}

TEST(CliMetadata, ExrAndTiffCarryPixelAspectSceneFrameAndTime)
{
    TempFolder folder(currentTestTag());
    folder.write("anamorphic.json",
                 withEdit(withEdit(basicSceneText(), "\"pixelAspect\": 1,", "\"pixelAspect\": 2,"), "\"frames\": [0, 0]",
                          "\"frames\": [0, 49]"));
    for (const std::string ext : {".exr", ".tif"}) {
        const std::string out = folder.file("f" + ext);
        const ProgramResult run =
            runProgram({folder.file("anamorphic.json"), "--frame", "10", "--downsample", "8", "-o", out});
        ASSERT_EQ(run.exitCode, 0) << run.transcript();
        OIIO::ImageBuf file(out);
        ASSERT_TRUE(file.init_spec(out, 0, 0)) << out;
        const OIIO::ImageSpec& header = file.nativespec();
        SCOPED_TRACE(ext);
        EXPECT_FLOAT_EQ(header.get_float_attribute("PixelAspectRatio", 0), 2.0f);
        EXPECT_EQ(header.get_string_attribute("DocumentName"), "anamorphic");
        EXPECT_EQ(header.get_string_attribute("ImageDescription"), "scene anamorphic, frame 10, time 0.4 s")
            << "frame 10 at 25 frames per second";
        if (ext == ".exr") {
            EXPECT_EQ(header.get_int_attribute("orbulon:frame", -1), 10);
            EXPECT_FLOAT_EQ(header.get_float_attribute("orbulon:time", -1), 0.4f);
        }
    }
}

}  // namespace
}  // namespace orbhost::testing
