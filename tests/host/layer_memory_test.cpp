// Layer pixels made only when checked out, at the size the render needs, and frame memory.
#include "host/core/host_codes.h"
#include "host/core/layer_pixels.h"
#include "host/core/memory_estimate.h"
#include "host/core/scene_binding.h"
#include "host/scene/scene.h"
#include "scene/temp_folder.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace orbhost;

namespace {

Scene sceneText(const std::string& comp, const std::string& layers, const std::string& params = "")
{
    return parseSceneText(R"({"composition": )" + comp + R"(, "layers": )" + layers +
                              R"(, "effect": {"layer": "Sphere", "params": {)" + params + "}}}",
                          "scene.json", ".");
}

void expectSameRows(const PF_EffectWorld& a, const PF_EffectWorld& b, std::size_t rowBytes)
{
    for (int y = 0; y < a.height; ++y)
        EXPECT_EQ(std::memcmp(static_cast<char*>(static_cast<void*>(a.data)) + y * a.rowbytes,
                              static_cast<char*>(static_cast<void*>(b.data)) + y * b.rowbytes, rowBytes),
                  0)
            << "row " << y;
}

} // namespace

TEST(LazyLayerPixels, HiddenSolidsAndNullsHoldNoPixelsUntilCheckedOut)
{
    std::string layers = R"([{"name": "Sphere", "type": "solid"})";
    for (int i = 0; i < 10; ++i)
        layers += R"(, {"name": "H)" + std::to_string(i) + R"(", "type": "solid", "video": false, "color": [1, 0, 0]})";
    layers += R"(, {"name": "N", "type": "null"}, {"name": "C", "type": "camera"}])";
    const Scene scene = sceneText(R"({"width": 1920, "height": 1080})", layers);
    for (const Layer& layer : scene.layers)
        EXPECT_TRUE(layer.image.rgba.empty()) << layer.displayName();
    const Composition comp = compositionFromScene(scene);
    ASSERT_EQ(comp.pixels.size(), 13u);
    for (std::size_t i = 0; i < 12; ++i) {
        ASSERT_TRUE(comp.pixels[i]);
        EXPECT_NE(comp.pixels[i].solidColor(), nullptr) << "layer " << i << " is described, not filled";
    }
    EXPECT_FALSE(comp.pixels[12]) << "cameras have no pixels";
    EXPECT_EQ(comp.pixels[1].width(), 1920);
}

TEST(LazyLayerPixels, ADownsampledSolidCostsOnlyItsReducedWorld)
{
    WorldRegistry worlds;
    LayerPixelCache cache;
    const LayerPixels solid = LayerPixels::solid(8192, 8192, {0.2f, 0.4f, 0.6f, 1});
    PF_EffectWorld world{};
    ASSERT_EQ(cache.makeWorld(worlds, solid, PF_PixelFormat_ARGB32, 16, 16, &world), PF_Err_NONE);
    EXPECT_EQ(world.width, 512);
    EXPECT_EQ(world.height, 512);
    EXPECT_EQ(cache.cachedBytes(), 512u * (512u * 4u + kRowPaddingBytes)) << "only the reduced world is kept";
    cache.clear(worlds);
    EXPECT_EQ(worlds.liveCount(), 0u);
}

// A file that went bad since the scene was loaded fails its checkout and leaves no world.
TEST(LazyLayerPixels, AnImageFileIsDecodedWhenCheckedOutAndNotKept)
{
    orbhost::testing::TempFolder folder("lazy-image");
    Image gradient;
    gradient.width = 9, gradient.height = 5;
    for (int i = 0; i < 45; ++i)
        gradient.rgba.insert(gradient.rgba.end(), {i / 45.0f, 1 - i / 45.0f, 0.5f, (i % 3) / 2.0f});
    writeImage(folder.file("g.pam"), gradient, 16);
    const Image stored = readImage(folder.file("g.pam"));

    WorldRegistry worlds;
    LayerPixelCache cache;
    const LayerPixels file = LayerPixels::file(folder.file("g.pam"), 9, 5);
    const LayerPixels memory(std::make_shared<const Image>(stored));
    PF_EffectWorld a{}, b{};
    ASSERT_EQ(cache.makeWorld(worlds, file, PF_PixelFormat_ARGB64, 2, 2, &a), PF_Err_NONE);
    ASSERT_EQ(cache.makeWorld(worlds, memory, PF_PixelFormat_ARGB64, 2, 2, &b), PF_Err_NONE);
    ASSERT_EQ(a.width, 5);
    ASSERT_EQ(a.height, 3);
    expectSameRows(a, b, std::size_t(a.width) * 8);
    EXPECT_EQ(cache.cachedBytes(), 2u * 3u * (5u * 8u + kRowPaddingBytes)) << "only reduced worlds are kept";
    PF_EffectWorld again{};
    ASSERT_EQ(cache.makeWorld(worlds, file, PF_PixelFormat_ARGB64, 2, 2, &again), PF_Err_NONE);
    EXPECT_EQ(again.data, a.data) << "a second checkout shares the kept world";
    cache.clear(worlds);

    writeImage(folder.file("g.pam"), solidImage(4, 4, 1, 1, 1, 1), 8);
    PF_EffectWorld c{};
    try {
        cache.makeWorld(worlds, file, PF_PixelFormat_ARGB32, 1, 1, &c);
        ADD_FAILURE() << "a file that changed size since loading was used";
    } catch (const ImageError& e) {
        EXPECT_NE(std::string(e.what()).find("now 4x4, not the 9x5"), std::string::npos) << e.what();
    }
    EXPECT_EQ(worlds.liveCount(), 0u);
    EXPECT_EQ(c.data, nullptr);
}

TEST(LazyLayerPixels, ASolidsWorldMatchesTheWorldOfItsFullImage)
{
    const std::array<float, 4> color{0.3f, 0.55f, 0.9f, 0.7f};
    for (const PF_PixelFormat format : {PF_PixelFormat_ARGB32, PF_PixelFormat_ARGB64, PF_PixelFormat_ARGB128}) {
        WorldRegistry worlds;
        LayerPixelCache cache;
        const LayerPixels lazy = LayerPixels::solid(37, 23, color);
        const LayerPixels full(std::make_shared<const Image>(solidImage(37, 23, color[0], color[1], color[2], color[3])));
        PF_EffectWorld a{}, b{};
        ASSERT_EQ(cache.makeWorld(worlds, lazy, format, 4, 3, &a), PF_Err_NONE);
        ASSERT_EQ(cache.makeWorld(worlds, full, format, 4, 3, &b), PF_Err_NONE);
        ASSERT_EQ(a.width, b.width);
        ASSERT_EQ(a.height, b.height);
        expectSameRows(a, b, std::size_t(a.width) * std::size_t(bytesPerPixel(format)));   // edge blocks are partial
        cache.clear(worlds);
    }
}

TEST(FrameMemoryEstimate, GrowsWithSizeAndNamesWhatDrivesIt)
{
    const Scene huge = sceneText(R"({"width": 30000, "height": 30000})", R"([{"name": "Sphere", "type": "solid"}])");
    const MemoryEstimate full = estimateFrameMemory(huge, 8, 1, 1);
    EXPECT_GT(full.total, 20ull << 30);
    const MemoryEstimate small = estimateFrameMemory(huge, 8, 16, 16);
    EXPECT_LT(small.total, full.total / 200);
    EXPECT_NE(memoryRefusal(full, 0, 1ull << 30).find("available"), std::string::npos);
}

TEST(FrameMemoryEstimate, CountsLayersTheParametersName)
{
    const std::string layers = R"([{"name": "Sphere", "type": "solid", "width": 100, "height": 100},
                                   {"name": "Big", "type": "solid", "width": 4000, "height": 4000}])";
    const Scene without = sceneText(R"({"width": 100, "height": 100})", layers);
    const Scene with = sceneText(R"({"width": 100, "height": 100})", layers, R"("Texture": "Big")");
    EXPECT_EQ(estimateFrameMemory(with, 8, 1, 1).total - estimateFrameMemory(without, 8, 1, 1).total,
              2ull * 4000 * 4000 * 4);
}

TEST(FrameMemoryEstimate, MaxMemorySizesReadWithUnits)
{
    EXPECT_EQ(parseByteSize("512"), 512u);
    EXPECT_EQ(parseByteSize("8G"), 8ull << 30);
    EXPECT_EQ(parseByteSize("300m"), 300ull << 20);
    EXPECT_FALSE(parseByteSize("8GB"));
    EXPECT_FALSE(parseByteSize("0"));
    EXPECT_FALSE(parseByteSize("lots"));
}

// A reused buffer must look new: cleared zero, pattern magenta, padding poisoned.
TEST(WorldPool, ReusedBuffersAreFilledAsNewOnesAndMemoryStaysFlat)
{
    WorldRegistry worlds;
    PF_EffectWorld first{};
    // 30 x 4 pixels at 4 bytes + 32 padding = 4 rows of 152 bytes; 7 x 8 pixels = 8 rows of 60.
    ASSERT_EQ(worlds.create(30, 4, PF_PixelFormat_ARGB32, WorldFill::Pattern, true, &first), PF_Err_NONE);
    std::memset(first.data, 0x5A, std::size_t(first.rowbytes) * 4);
    const void* buffer = first.data;
    ASSERT_TRUE(worlds.dispose(buffer));
    for (const WorldFill fill : {WorldFill::Cleared, WorldFill::Pattern}) {
        PF_EffectWorld world{};
        ASSERT_EQ(worlds.create(30, 4, PF_PixelFormat_ARGB32, fill, true, &world), PF_Err_NONE);
#if !defined(ORBULON_ADDRESS_SANITIZER)   // which keeps no spare buffers
        EXPECT_EQ(world.data, buffer) << "the disposed buffer is reused";
#endif
        const auto* bytes = reinterpret_cast<const unsigned char*>(world.data);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 30; ++x) {
                const unsigned char* p = bytes + y * world.rowbytes + x * 4;
                const PF_Pixel expected = fill == WorldFill::Cleared ? PF_Pixel{0, 0, 0, 0} : PF_Pixel{255, 255, 0, 255};
                ASSERT_EQ(std::memcmp(p, &expected, 4), 0) << "pixel " << x << "," << y;
            }
        for (int y = 0; y < 4; ++y)
            for (int b = 120; b < world.rowbytes; ++b)
                ASSERT_EQ(bytes[y * world.rowbytes + b], kPoisonByte) << "row " << y << " padding byte " << b;
        worlds.dispose(world.data);
    }
    for (int frame = 0; frame < 50; ++frame) {
        PF_EffectWorld a{}, b{};
        ASSERT_EQ(worlds.create(64, 64, PF_PixelFormat_ARGB128, WorldFill::Overwritten, true, &a), PF_Err_NONE);
        ASSERT_EQ(worlds.create(64, 64, PF_PixelFormat_ARGB128, WorldFill::Overwritten, true, &b), PF_Err_NONE);
        worlds.dispose(b.data);
        worlds.dispose(a.data);
    }
    EXPECT_EQ(worlds.liveCount(), 0u);
    EXPECT_LE(worlds.spareBytes(), 2u * 64u * (64u * 16u + 32u) + 4u * 152u) << "no growth over frames";
}

// A frame past kReleaseWhileCopyingBytes is copied out in steps that give pages back.
TEST(OutputImage, ALargeFrameCopiedBeforeDisposalEqualsAPlainCopy)
{
    for (RowLayout layout : {RowLayout::Padded, RowLayout::OffPixel}) {
        WorldRegistry worlds;
        worlds.setRowLayout(layout);
        PF_EffectWorld world{};
        // Rows not a whole number of pages, height not a whole number of copy steps.
        ASSERT_EQ(worlds.create(2113, 2011, PF_PixelFormat_ARGB128, WorldFill::Overwritten, true, &world), PF_Err_NONE);
        ASSERT_GE(std::size_t(world.rowbytes) * world.height, kReleaseWhileCopyingBytes);
        for (A_long y = 0; y < world.height; ++y) {
            auto* row = reinterpret_cast<PF_PixelFloat*>(reinterpret_cast<char*>(world.data) + y * std::size_t(world.rowbytes));
            for (A_long x = 0; x < world.width; ++x)
                row[x] = {float(x % 7) / 7, float(x) / 2113, float(y) / 2011, float((x + y) % 5)};
        }
        const Image plain = imageFromWorld(world, PF_PixelFormat_ARGB128);
        const Image streamed = imageFromWorldBeforeDisposal(world, PF_PixelFormat_ARGB128);
        EXPECT_EQ(streamed.width, plain.width);
        EXPECT_EQ(streamed.height, plain.height);
        EXPECT_TRUE(streamed.rgba == plain.rgba);
        EXPECT_TRUE(worlds.dispose(world.data));
    }
}
