// The host object classes against the logging fake host: suite lifetimes, sticky errors, defaults.
#include "AEO/composition.h"
#include "AEO/effect_world.h"
#include "AEO/layer.h"
#include "AEO/memory.h"
#include "AEO/suite_handler.h"
#include "effect/fake_host.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using Names = std::vector<std::string>;

const AEGP_LayerH kLayer = reinterpret_cast<AEGP_LayerH>(0x10);
const A_Time kAt{2, 1};
constexpr A_Err kHostError = 77;

TEST(AeoSuites, DestructorReleasesDerivedSuitesFirstThenBaseSlotsInReverse)
{
    FakeHost host;
    AEO::HostAccess access(&host.in);
    host.clearLog();
    {
        AEO::CameraLayer camera(access, kLayer);
        camera.cameraType();
        camera.zoom(kAt);      // stream suite
        camera.flags();        // layer suite
        EXPECT_EQ(host.acquired, (Names{kAEGPCameraSuite, kAEGPStreamSuite, kAEGPLayerSuite}));
        camera.objectType();   // a held suite is not acquired twice
        EXPECT_EQ(host.acquired.size(), 3u);
    }
    EXPECT_EQ(host.released, (Names{kAEGPCameraSuite, kAEGPStreamSuite, kAEGPLayerSuite}));

    // The composition holds the camera suite only around its one camera call.
    host.released.clear();
    AEO::Composition comp(&host.in, nullptr);
    EXPECT_DOUBLE_EQ(comp.defaultCameraDistance(), 1777.0);
    EXPECT_EQ(host.released, Names{kAEGPCameraSuite});
}

TEST(AeoSuites, FirstErrorSticksAndLaterCallsReturnTheDefault)
{
    struct Case {
        const char* what;
        std::function<double(AEO::LightLayer&, AEO::CameraLayer&)> op;
        double fallback;
    };
    const Case cases[] = {
        {"flags", [](auto& l, auto&) { return double(l.flags()); }, 0.0},
        {"object type", [](auto& l, auto&) { return double(l.objectType()); }, -1.0},
        {"camera type", [](auto&, auto& c) { return double(c.cameraType()); }, -1.0},
        {"intensity", [](auto& l, auto&) { return l.intensity(kAt); }, 0.0},
        {"to-world [3][3]", [](auto& l, auto&) { return l.toWorld(kAt).mat[3][3]; }, 0.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        FakeHost host;
        AEO::HostAccess access(&host.in);
        AEO::LightLayer light(access, kLayer);
        AEO::CameraLayer camera(access, kLayer);
        host.nextError = kHostError;
        EXPECT_EQ(c.op(light, camera), c.fallback) << "on failure";
        EXPECT_EQ(light.lastError() | camera.lastError(), kHostError);
        const size_t callsAfterFailure = host.calls.size();
        EXPECT_EQ(c.op(light, camera), c.fallback) << "after failure";
        EXPECT_EQ(host.calls.size(), callsAfterFailure) << "reached the host after its error";
    }
}

// Calls needing a missing suite return defaults and leave no error; the suite is asked for again.
TEST(AeoSuites, MissingSuiteSkipsOnlyItsOwnCallsAndIsAskedForAgain)
{
    FakeHost host;
    host.missing = {kAEGPCameraSuite};
    AEO::HostAccess access(&host.in);
    host.clearLog();
    {
        AEO::CameraLayer camera(access, kLayer);
        EXPECT_EQ(camera.cameraType(), -1);
        EXPECT_EQ(camera.lastError(), 0);
        EXPECT_EQ(camera.flags(), AEGP_LayerFlag_VIDEO_ACTIVE) << "the layer suite still answers";
        EXPECT_EQ(camera.cameraType(), -1);
        EXPECT_EQ(host.calls, Names{"GetLayerFlags"});
        EXPECT_EQ(host.refused, (Names{kAEGPCameraSuite, kAEGPCameraSuite}));

        host.missing.clear();
        EXPECT_EQ(camera.cameraType(), 1) << "served once the host has the suite";
        EXPECT_EQ(host.acquired, (Names{kAEGPLayerSuite, kAEGPCameraSuite}));
    }
    EXPECT_EQ(host.released, (Names{kAEGPCameraSuite, kAEGPLayerSuite})) << "each acquired suite once";

    // The composition needs the camera suite for the default camera distance only.
    host.missing = {kAEGPCameraSuite};
    host.calls.clear();
    AEO::Composition comp(&host.in, nullptr);
    EXPECT_EQ(comp.defaultCameraDistance(), 0.0);
    EXPECT_EQ(comp.lastError(), 0);
    EXPECT_EQ(comp.layerCount(), 3);
    EXPECT_EQ(host.calls, Names{"GetCompNumLayers"});
}

// The slot itself: the acquisition's error is kept until an acquisition succeeds.
TEST(AeoSuites, SuiteSlotKeepsTheAcquisitionErrorAndGivesBackATablelessSuiteAtOnce)
{
    FakeHost host;
    {
        AEO::SuiteSlot<AEGP_CameraSuite2> unused(host.basic());   // never asked: nothing to give back
        AEO::SuiteSlot<AEGP_LightSuite2> lights(host.basic());   // never served by this host
        EXPECT_EQ(lights.get(), nullptr);
        EXPECT_EQ(lights.error(), kSPSuiteNotFoundError);
        AEO::SuiteSlot<AEGP_CameraSuite2> cameras(host.basic());
        host.missing = {kAEGPCameraSuite};
        EXPECT_EQ(cameras.get(), nullptr);
        EXPECT_EQ(cameras.error(), kSPSuiteNotFoundError);
        host.missing.clear();
        EXPECT_NE(cameras.get(), nullptr);
        EXPECT_EQ(cameras.error(), 0);
    }
    EXPECT_EQ(host.acquired, Names{kAEGPCameraSuite});
    EXPECT_EQ(host.released, Names{kAEGPCameraSuite});

    // A host that answers yes but hands out no table has counted an acquisition all the same:
    // the suite is given back at once, reported as a bad callback, and not given back again.
    host.tableless = {kAEGPCameraSuite, kPFWorldSuite};
    host.acquired.clear();
    host.released.clear();
    {
        AEO::ScopedSuite<AEGP_CameraSuite2> cameras(host.basic());
        EXPECT_EQ(cameras.get(), nullptr);
        EXPECT_EQ(cameras.error(), PF_Err_BAD_CALLBACK_PARAM);
        EXPECT_EQ(host.released, Names{kAEGPCameraSuite}) << "given back before the object goes";
        AEO::SuiteSlot<PF_WorldSuite2> worlds(host.basic());
        EXPECT_EQ(worlds.get(), nullptr);
        EXPECT_EQ(worlds.error(), PF_Err_BAD_CALLBACK_PARAM);
    }
    EXPECT_EQ(host.acquired, (Names{kAEGPCameraSuite, kPFWorldSuite}));
    EXPECT_EQ(host.released, (Names{kAEGPCameraSuite, kPFWorldSuite})) << "each exactly once";
}

TEST(AeoSuites, SuiteHandlerReleasesInReverseOrderOfAcquisition)
{
    FakeHost host;
    {
        AEO::SuiteHandler suites(host.basic());
        EXPECT_NE(suites.get<AEGP_ItemSuite8>().AEGP_GetItemDimensions, nullptr);
        EXPECT_NE(suites.get<AEGP_LayerSuite6>().AEGP_GetLayerFlags, nullptr);
        suites.get<AEGP_ItemSuite8>();
        EXPECT_NE(suites.get<AEGP_StreamSuite4>().AEGP_GetLayerStreamValue, nullptr);
        EXPECT_EQ(host.acquired, (Names{kAEGPItemSuite, kAEGPLayerSuite, kAEGPStreamSuite}));
        EXPECT_EQ(host.released, Names{}) << "nothing is given back while the handler lives";
    }
    EXPECT_EQ(host.released, (Names{kAEGPStreamSuite, kAEGPLayerSuite, kAEGPItemSuite}));
}

// Values the frames rely on are checked through the headless host; here the layer name (two
// handles to free) and what a failed item reports.
TEST(AeoValues, LayerNameFreesBothHandlesAndAFailedItemReportsDefaults)
{
    FakeHost host;
    AEO::HostAccess access(&host.in);
    AEO::LightLayer light(access, kLayer);
    EXPECT_EQ(light.name(1), u"Key Light");
    EXPECT_EQ(host.freedMemHandles, 2);   // the layer's and the source's name
    EXPECT_EQ(light.lastError(), 0);

    const A_Ratio par = AEO::Item(&host.in, nullptr).pixelAspectRatio();
    EXPECT_EQ(par.num, 10);
    EXPECT_EQ(par.den, 11u);
    host.nextError = kHostError;
    AEO::Item failed(&host.in, nullptr);
    EXPECT_EQ(failed.width(), 0);
    EXPECT_EQ(failed.height(), 0);
    EXPECT_EQ(failed.pixelAspectRatio().num, 0);
    EXPECT_EQ(failed.pixelAspectRatio().den, 1u);
}

TEST(AeoOwnership, NewEffectWorldDisposesWhatItCreated)
{
    // A failed creation leaves an empty world, no error on the object, nothing to dispose.
    FakeHost host;
    host.nextError = PF_Err_OUT_OF_MEMORY;
    {
        AEO::NewEffectWorld world(&host.in, 64, 32, PF_PixelFormat_ARGB64);
        EXPECT_FALSE(world.created());
        EXPECT_EQ(world.lastError(), 0);
        EXPECT_EQ(world.world().width, 0);
        EXPECT_EQ(world.bytesPerPixel(), 0);
    }
    EXPECT_EQ(host.calls, Names{"NewWorld"});

    // A world the host made is given back even when a later call on the object failed: here
    // the pixel format cannot be read after the world was made.
    host.clearLog();
    host.failingCall = "GetPixelFormat";
    host.failingError = kHostError;
    {
        AEO::NewEffectWorld world(&host.in, 16, 8, PF_PixelFormat_ARGB128);
        EXPECT_TRUE(world.created());
        EXPECT_EQ(world.lastError(), kHostError);
        EXPECT_EQ(world.pixelFormat(), PF_PixelFormat_INVALID);
        EXPECT_EQ(world.world().width, 16);
    }
    EXPECT_EQ(host.calls, (Names{"NewWorld", "GetPixelFormat", "DisposeWorld"}));
    EXPECT_EQ(host.released, Names{kPFWorldSuite});
}

// The handle is freed when the object goes, unless an error is pending.
TEST(AeoOwnership, ReadingMemoryTextUnlocksWhatItLockedAndFreesTheHandle)
{
    FakeHost host;
    const AEGP_MemHandle handle = reinterpret_cast<AEGP_MemHandle>(0x20);
    {
        AEO::Memory memory(&host.in, handle);
        EXPECT_EQ(memory.utf16Text(), u"Key Light");
        EXPECT_EQ(host.count("LockMemHandle"), 1);
        EXPECT_EQ(host.count("UnlockMemHandle"), 1);
        host.layerName = u"\u4241\u4443";   // read as 8-bit text: "ABCD" on a little-endian host
        EXPECT_EQ(memory.text(), "ABCD");
        EXPECT_EQ(host.count("LockMemHandle"), 2);
        EXPECT_EQ(host.count("UnlockMemHandle"), 2);
        EXPECT_EQ(memory.lastError(), 0);
    }
    EXPECT_EQ(host.freedMemHandles, 1);
    EXPECT_EQ(host.calls.back(), "FreeMemHandle") << "unlocked before it is freed";

    {
        AEO::Memory memory(&host.in, handle);
        host.nextError = kHostError;
        EXPECT_EQ(memory.size(), 0u);
    }
    EXPECT_EQ(host.freedMemHandles, 1);
}

TEST(AeoWorldPixels, PixelFormatGivesBytesPerPixel)
{
    const std::pair<PF_PixelFormat, A_long> cases[] = {
        {PF_PixelFormat_ARGB128, 16}, {PF_PixelFormat_ARGB64, 8}, {PF_PixelFormat_ARGB32, 4}, {PF_PixelFormat_BGRA32, 0}};
    for (const auto& [format, bytes] : cases) {
        FakeHost host;
        host.worldFormat = format;
        AEO::EffectWorld world(&host.in, PF_EffectWorld{});
        EXPECT_EQ(world.pixelFormat(), format);
        EXPECT_EQ(world.bytesPerPixel(), bytes) << "format " << format;
    }
}

TEST(AeoWorldPixels, PixelColourScalesEachDepthToOne)
{
    FakeHost host;
    PF_Pixel16 pixels16[2] = {{0, 0, 0, 0}, {32768, 16384, 0, 32768}};
    PF_EffectWorld w{};
    w.data = reinterpret_cast<PF_PixelPtr>(pixels16);
    w.width = 2;
    w.height = 1;
    w.rowbytes = sizeof pixels16;
    host.worldFormat = PF_PixelFormat_ARGB64;
    AEO::EffectWorld world16(&host.in, w);
    const PF_PixelFloat p = world16.pixelColor(1, 0);
    EXPECT_FLOAT_EQ(p.alpha, 1.0f);
    EXPECT_FLOAT_EQ(p.red, 0.5f);
    EXPECT_FLOAT_EQ(p.blue, 1.0f);
    EXPECT_FLOAT_EQ(world16.pixelColor(2, 0).alpha, 0.0f);   // outside the world

    PF_Pixel8 pixel8{255, 51, 0, 255};
    w.data = &pixel8;
    w.width = 1;
    w.rowbytes = sizeof pixel8;
    host.worldFormat = PF_PixelFormat_ARGB32;
    AEO::EffectWorld world8(&host.in, w);
    EXPECT_FLOAT_EQ(world8.pixelColor(0, 0).red, 0.2f);
}

} // namespace
