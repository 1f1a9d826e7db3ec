// Layer pixels made only when checked out, at the size the render needs, and the memory a
// frame is estimated to need before it renders.
#include "host/core/layer_pixels.h"
#include "host/core/memory_estimate.h"
#include "host/core/scene_binding.h"
#include "host/scene/scene.h"

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
    ASSERT_EQ(cache.makeWorld(worlds, solid, PF_PixelFormat_ARGB32, 16, 16, false, &world), PF_Err_NONE);
    EXPECT_EQ(world.width, 512);
    EXPECT_EQ(world.height, 512);
    EXPECT_EQ(cache.cachedBytes(), 512u * 512u * 4u) << "only the reduced rows are kept";
    worlds.dispose(world.data);
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
        ASSERT_EQ(cache.makeWorld(worlds, lazy, format, 4, 3, false, &a), PF_Err_NONE);
        ASSERT_EQ(cache.makeWorld(worlds, full, format, 4, 3, false, &b), PF_Err_NONE);
        ASSERT_EQ(a.width, b.width);
        ASSERT_EQ(a.height, b.height);
        const std::size_t rowBytes = std::size_t(a.width) * std::size_t(bytesPerPixel(format));
        for (int y = 0; y < a.height; ++y)
            EXPECT_EQ(std::memcmp(reinterpret_cast<char*>(a.data) + y * a.rowbytes,
                                  reinterpret_cast<char*>(b.data) + y * b.rowbytes, rowBytes),
                      0)
                << "row " << y << " (edge blocks are partial)";
        worlds.dispose(a.data);
        worlds.dispose(b.data);
    }
}

TEST(FrameMemoryEstimate, GrowsWithSizeAndNamesWhatDrivesIt)
{
    const Scene huge = sceneText(R"({"width": 30000, "height": 30000})", R"([{"name": "Sphere", "type": "solid"}])");
    const MemoryEstimate full = estimateFrameMemory(huge, 8, 1, 1);
    EXPECT_GT(full.total, 20ull << 30);
    const MemoryEstimate small = estimateFrameMemory(huge, 8, 16, 16);
    EXPECT_LT(small.total, full.total / 200);
    const std::string refusal = memoryRefusal(full, 8ull << 30, std::nullopt);
    EXPECT_NE(refusal.find("more than --max-memory 8.0 GiB"), std::string::npos) << refusal;
    EXPECT_NE(refusal.find("30000x30000"), std::string::npos) << refusal;
    EXPECT_EQ(memoryRefusal(small, 8ull << 30, std::nullopt), "");
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
