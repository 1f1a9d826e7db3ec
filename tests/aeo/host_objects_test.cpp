// The host object classes against a logging fake host: when suites are acquired and given
// back, that the first error stops an object's host calls, and the values that come back.
#include "AEO/composition.h"
#include "AEO/effect.h"
#include "AEO/effect_world.h"
#include "AEO/interface.h"
#include "AEO/layer.h"
#include "AEO/memory.h"
#include "AEO/stream.h"
#include "AEO/suite_handler.h"
#include "aeo/fake_host.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

using aeotest::FakeHost;
using Names = std::vector<std::string>;

const AEGP_LayerH kLayer = reinterpret_cast<AEGP_LayerH>(0x10);
const A_Time kAt{2, 1};
constexpr A_Err kHostError = 77;

TEST(AeoSuites, ObjectsThatMakeNoCallAcquireNothing)
{
    FakeHost host;
    {
        AEO::HostAccess access(&host.inData);   // its sampling suites are not served
        AEO::Interface effect(&host.inData);
        AEO::Composition comp(&host.inData, nullptr);
        AEO::CameraLayer camera(access, kLayer);
        AEO::LightLayer light(access, kLayer);
        AEO::Stream stream(&host.inData, nullptr);
        AEO::Effect effectRef(&host.inData, nullptr);
        AEO::Memory memory(&host.inData, nullptr);
    }
    EXPECT_EQ(host.acquired, Names{});
    EXPECT_EQ(host.released, Names{});
    EXPECT_EQ(host.calls, Names{});
}

TEST(AeoSuites, DestructorReleasesDerivedSuitesFirstThenBaseSlotsInReverse)
{
    FakeHost host;
    AEO::HostAccess access(&host.inData);
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
    AEO::Composition comp(&host.inData, nullptr);
    EXPECT_DOUBLE_EQ(comp.defaultCameraDistance(), 1777.0);
    EXPECT_EQ(host.released, Names{kAEGPCameraSuite});
}

// Each operation's first call fails; a second call on the same object returns the default
// again without reaching the host.
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
        AEO::HostAccess access(&host.inData);
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

// A suite the host cannot hand out costs only the calls that need it: they return their
// defaults without reaching the host, the object keeps no error, its other suites go on
// working, and the suite is asked for again on each use until the host has it.
TEST(AeoSuites, MissingSuiteSkipsOnlyItsOwnCallsAndIsAskedForAgain)
{
    FakeHost host;
    host.missing = {kAEGPCameraSuite};
    AEO::HostAccess access(&host.inData);
    host.refused.clear();   // the sampling suites, which this host does not serve
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

    // The composition needs the camera suite for the default camera only: without it that
    // distance is 0, and its layers can still be counted.
    host.missing = {kAEGPCameraSuite};
    host.calls.clear();
    AEO::Composition comp(&host.inData, nullptr);
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
        AEO::SuiteSlot<AEGP_CameraSuite2> unused(&host.basic);   // never asked: nothing to give back
        AEO::SuiteSlot<AEGP_LightSuite2> lights(&host.basic);   // never served by this host
        EXPECT_EQ(lights.get(), nullptr);
        EXPECT_EQ(lights.error(), kSPSuiteNotFoundError);
        AEO::SuiteSlot<AEGP_CameraSuite2> cameras(&host.basic);
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
        AEO::ScopedSuite<AEGP_CameraSuite2> cameras(&host.basic);
        EXPECT_EQ(cameras.get(), nullptr);
        EXPECT_EQ(cameras.error(), PF_Err_BAD_CALLBACK_PARAM);
        EXPECT_EQ(host.released, Names{kAEGPCameraSuite}) << "given back before the object goes";
        AEO::SuiteSlot<PF_WorldSuite2> worlds(&host.basic);
        EXPECT_EQ(worlds.get(), nullptr);
        EXPECT_EQ(worlds.error(), PF_Err_BAD_CALLBACK_PARAM);
    }
    EXPECT_EQ(host.acquired, (Names{kAEGPCameraSuite, kPFWorldSuite}));
    EXPECT_EQ(host.released, (Names{kAEGPCameraSuite, kPFWorldSuite})) << "each exactly once";
}

// The handler holds every suite it was asked for until it goes, then gives them back in the
// reverse order of their acquisition; a suite asked for twice is held once.
TEST(AeoSuites, SuiteHandlerReleasesInReverseOrderOfAcquisition)
{
    FakeHost host;
    {
        AEO::SuiteHandler suites(&host.basic);
        EXPECT_NE(suites.get<AEGP_ItemSuite8>().AEGP_GetItemDimensions, nullptr);
        EXPECT_NE(suites.get<AEGP_LayerSuite6>().AEGP_GetLayerFlags, nullptr);
        suites.get<AEGP_ItemSuite8>();
        EXPECT_NE(suites.get<AEGP_StreamSuite4>().AEGP_GetLayerStreamValue, nullptr);
        EXPECT_EQ(host.acquired, (Names{kAEGPItemSuite, kAEGPLayerSuite, kAEGPStreamSuite}));
        EXPECT_EQ(host.released, Names{}) << "nothing is given back while the handler lives";
    }
    EXPECT_EQ(host.released, (Names{kAEGPStreamSuite, kAEGPLayerSuite, kAEGPItemSuite}));
}

TEST(AeoValues, LayerItemAndCompositionValuesComeBackPlainOrAsDefaults)
{
    FakeHost host;
    AEO::HostAccess access(&host.inData);
    AEO::LightLayer light(access, kLayer);
    const A_Matrix4 m = light.toWorld(kAt);
    EXPECT_DOUBLE_EQ(m.mat[0][0], 1.0);    // 0 + 0.5 * time
    EXPECT_DOUBLE_EQ(m.mat[2][3], 12.0);   // row 2, column 3
    EXPECT_EQ(light.flags() & AEGP_LayerFlag_VIDEO_ACTIVE, AEGP_LayerFlag_VIDEO_ACTIVE);
    EXPECT_EQ(light.objectType(), AEGP_ObjectType_LIGHT);
    EXPECT_DOUBLE_EQ(light.coneFeather(kAt), 10.0 * AEGP_LayerStream_CONE_FEATHER);
    EXPECT_DOUBLE_EQ(light.castsShadows(kAt), 10.0 * AEGP_LayerStream_CASTS_SHADOWS);
    EXPECT_EQ(light.name(1), u"Key Light");
    EXPECT_EQ(host.freedHandles, 2);   // the layer's and the source's name
    EXPECT_EQ(light.lastError(), 0);

    AEO::Item item(&host.inData, nullptr);
    EXPECT_EQ(item.width(), 1920);
    EXPECT_EQ(item.height(), 1080);
    const A_Ratio par = item.pixelAspectRatio();
    EXPECT_EQ(par.num, 10);
    EXPECT_EQ(par.den, 11u);

    AEO::Composition comp(&host.inData, nullptr);
    EXPECT_EQ(comp.layerCount(), 3);

    // Failed, the dimensions are zero and the ratio 0/1.
    host.nextError = kHostError;
    AEO::Item failed(&host.inData, nullptr);
    EXPECT_EQ(failed.width(), 0);
    EXPECT_EQ(failed.height(), 0);
    EXPECT_EQ(failed.pixelAspectRatio().num, 0);
    EXPECT_EQ(failed.pixelAspectRatio().den, 1u);
}

TEST(AeoOwnership, NewEffectWorldDisposesWhatItCreated)
{
    FakeHost host;
    host.worldFormat = PF_PixelFormat_ARGB64;
    {
        AEO::NewEffectWorld world(&host.inData, 64, 32, PF_PixelFormat_ARGB64);
        EXPECT_TRUE(world.created());
        EXPECT_EQ(world.world().width, 64);
        EXPECT_EQ(world.bytesPerPixel(), 8);
    }
    EXPECT_EQ(host.calls, (Names{"NewWorld", "GetPixelFormat", "DisposeWorld"}));
    EXPECT_EQ(host.released, Names{kPFWorldSuite});

    // A failed creation leaves an empty world, no error on the object, nothing to dispose.
    host.calls.clear();
    host.nextError = PF_Err_OUT_OF_MEMORY;
    {
        AEO::NewEffectWorld world(&host.inData, 64, 32, PF_PixelFormat_ARGB64);
        EXPECT_FALSE(world.created());
        EXPECT_EQ(world.lastError(), 0);
        EXPECT_EQ(world.world().width, 0);
        EXPECT_EQ(world.bytesPerPixel(), 0);
    }
    EXPECT_EQ(host.calls, Names{"NewWorld"});

    // A world the host made is given back even when a later call on the object failed: here
    // the pixel format cannot be read after the world was made.
    host.calls.clear();
    host.released.clear();
    host.failingCall = "GetPixelFormat";
    host.failingError = kHostError;
    {
        AEO::NewEffectWorld world(&host.inData, 16, 8, PF_PixelFormat_ARGB128);
        EXPECT_TRUE(world.created());
        EXPECT_EQ(world.lastError(), kHostError);
        EXPECT_EQ(world.pixelFormat(), PF_PixelFormat_INVALID);
        EXPECT_EQ(world.world().width, 16);
    }
    EXPECT_EQ(host.calls, (Names{"NewWorld", "GetPixelFormat", "DisposeWorld"}));
    EXPECT_EQ(host.released, Names{kPFWorldSuite});
}

// Reading a handle's text locks it for the read and unlocks it again, whichever width; the
// handle is freed when the object goes, unless an error is pending.
TEST(AeoOwnership, ReadingMemoryTextUnlocksWhatItLockedAndFreesTheHandle)
{
    FakeHost host;
    const AEGP_MemHandle handle = reinterpret_cast<AEGP_MemHandle>(0x20);
    {
        AEO::Memory memory(&host.inData, handle);
        EXPECT_EQ(memory.utf16Text(), u"Key Light");
        EXPECT_EQ(host.count("LockMemHandle"), 1);
        EXPECT_EQ(host.count("UnlockMemHandle"), 1);
        host.layerName = u"\u4241\u4443";   // read as 8-bit text: "ABCD" on a little-endian host
        EXPECT_EQ(memory.text(), "ABCD");
        EXPECT_EQ(host.count("LockMemHandle"), 2);
        EXPECT_EQ(host.count("UnlockMemHandle"), 2);
        EXPECT_EQ(memory.lastError(), 0);
    }
    EXPECT_EQ(host.freedHandles, 1);
    EXPECT_EQ(host.calls.back(), "FreeMemHandle") << "unlocked before it is freed";

    // With an error pending the handle is not freed.
    {
        AEO::Memory memory(&host.inData, handle);
        host.nextError = kHostError;
        EXPECT_EQ(memory.size(), 0u);
    }
    EXPECT_EQ(host.freedHandles, 1);
}

TEST(AeoWorldPixels, PixelFormatGivesBytesPerPixel)
{
    struct Case {
        PF_PixelFormat format;
        A_Err error;
        PF_PixelFormat expectedFormat;
        A_long bytesPerPixel;
    };
    for (const Case& c : {Case{PF_PixelFormat_ARGB128, 0, PF_PixelFormat_ARGB128, 16},
                          Case{PF_PixelFormat_ARGB64, 0, PF_PixelFormat_ARGB64, 8},
                          Case{PF_PixelFormat_ARGB32, 0, PF_PixelFormat_ARGB32, 4},
                          Case{PF_PixelFormat_BGRA32, 0, PF_PixelFormat_BGRA32, 0},
                          Case{PF_PixelFormat_ARGB128, kHostError, PF_PixelFormat_INVALID, 0}}) {
        SCOPED_TRACE("format " + std::to_string(c.format) + " error " + std::to_string(c.error));
        FakeHost host;
        host.worldFormat = c.format;
        host.nextError = c.error;
        AEO::EffectWorld world(&host.inData, PF_EffectWorld{});
        EXPECT_EQ(world.pixelFormat(), c.expectedFormat);
        EXPECT_EQ(world.bytesPerPixel(), c.bytesPerPixel);
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
    AEO::EffectWorld world16(&host.inData, w);
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
    AEO::EffectWorld world8(&host.inData, w);
    EXPECT_FLOAT_EQ(world8.pixelColor(0, 0).red, 0.2f);
}

} // namespace
