#include "aeo/fake_host.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace aeotest {

namespace {

FakeHost* active = nullptr;

A_Err rec(const char* function) { return FakeHost::current().record(function); }

// Stands in for host memory: the handle points at a pointer to the block.
void* nameBlock = nullptr;
AEGP_MemHandle nameHandle() { return reinterpret_cast<AEGP_MemHandle>(&nameBlock); }

const AEGP_LayerSuite6 kLayers = [] {
    AEGP_LayerSuite6 s{};
    s.AEGP_GetLayerFlags = [](AEGP_LayerH, AEGP_LayerFlags* f) { *f = AEGP_LayerFlag_VIDEO_ACTIVE; return rec("GetLayerFlags"); };
    s.AEGP_GetLayerObjectType = [](AEGP_LayerH, AEGP_ObjectType* t) { *t = AEGP_ObjectType_LIGHT; return rec("GetLayerObjectType"); };
    s.AEGP_GetCompNumLayers = [](AEGP_CompH, A_long* n) { *n = 3; return rec("GetCompNumLayers"); };
    s.AEGP_GetLayerToWorldXform = [](AEGP_LayerH, const A_Time* t, A_Matrix4* m) {
        for (int i = 0; i < 16; ++i)
            m->mat[i / 4][i % 4] = i + 0.5 * t->value;
        return rec("GetLayerToWorldXform");
    };
    s.AEGP_GetLayerName = [](AEGP_PluginID, AEGP_LayerH, AEGP_MemHandle* layer, AEGP_MemHandle* source) {
        *layer = *source = nameHandle();
        return rec("GetLayerName");
    };
    return s;
}();

const AEGP_StreamSuite4 kStreams = [] {
    AEGP_StreamSuite4 s{};
    s.AEGP_GetLayerStreamValue = [](AEGP_LayerH, AEGP_LayerStream stream, AEGP_LTimeMode, const A_Time*, A_Boolean,
                                    AEGP_StreamVal2* v, AEGP_StreamType*) {
        v->one_d = stream * 10.0;
        return rec("GetLayerStreamValue");
    };
    return s;
}();

const AEGP_CameraSuite2 kCameras = [] {
    AEGP_CameraSuite2 s{};
    s.AEGP_GetCameraType = [](AEGP_LayerH, AEGP_CameraType* t) { *t = 1; return rec("GetCameraType"); };
    s.AEGP_GetDefaultCameraDistanceToImagePlane = [](AEGP_CompH, A_FpLong* d) { *d = 1777.0; return rec("GetDefaultCameraDistance"); };
    return s;
}();

const AEGP_ItemSuite8 kItems = [] {
    AEGP_ItemSuite8 s{};
    s.AEGP_GetItemDimensions = [](AEGP_ItemH, A_long* w, A_long* h) { *w = 1920, *h = 1080; return rec("GetItemDimensions"); };
    s.AEGP_GetItemPixelAspectRatio = [](AEGP_ItemH, A_Ratio* r) { *r = {10, 11}; return rec("GetItemPixelAspectRatio"); };
    return s;
}();

const PF_WorldSuite2 kWorlds = [] {
    PF_WorldSuite2 s{};
    s.PF_NewWorld = [](PF_ProgPtr, A_long w, A_long h, PF_Boolean, PF_PixelFormat, PF_EffectWorld* world) {
        world->width = w, world->height = h;
        return rec("NewWorld");
    };
    s.PF_DisposeWorld = [](PF_ProgPtr, PF_EffectWorld*) { return rec("DisposeWorld"); };
    s.PF_GetPixelFormat = [](const PF_EffectWorld*, PF_PixelFormat* f) { *f = FakeHost::current().worldFormat; return rec("GetPixelFormat"); };
    return s;
}();

const AEGP_MemorySuite1 kMemory = [] {
    AEGP_MemorySuite1 s{};
    s.AEGP_FreeMemHandle = [](AEGP_MemHandle) { ++FakeHost::current().freedHandles; return rec("FreeMemHandle"); };
    s.AEGP_GetMemHandleSize = [](AEGP_MemHandle, AEGP_MemSize* n) {
        *n = AEGP_MemSize((FakeHost::current().layerName.size() + 1) * sizeof(char16_t));
        return rec("GetMemHandleSize");
    };
    s.AEGP_LockMemHandle = [](AEGP_MemHandle, void** p) {
        *p = const_cast<char16_t*>(FakeHost::current().layerName.c_str());
        return rec("LockMemHandle");
    };
    s.AEGP_UnlockMemHandle = [](AEGP_MemHandle) { return rec("UnlockMemHandle"); };
    return s;
}();

struct Served {
    const char* name;
    A_u_long version;
    const void* table;
};
const Served kServed[] = {
    {kAEGPLayerSuite, kAEGPLayerSuiteVersion6, &kLayers}, {kAEGPStreamSuite, kAEGPStreamSuiteVersion4, &kStreams},
    {kAEGPCameraSuite, kAEGPCameraSuiteVersion2, &kCameras}, {kAEGPItemSuite, kAEGPItemSuiteVersion8, &kItems},
    {kPFWorldSuite, kPFWorldSuiteVersion2, &kWorlds}, {kAEGPMemorySuite, kAEGPMemorySuiteVersion1, &kMemory},
};

bool listed(const std::vector<std::string>& names, const char* name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

SPErr acquire(const char* name, int32 version, const void** table)
{
    FakeHost& host = FakeHost::current();
    *table = nullptr;
    for (const Served& s : kServed)
        if (!listed(host.missing, name) && std::strcmp(s.name, name) == 0 && int32(s.version) == version)
            *table = s.table;
    if (listed(host.tableless, name))
        *table = nullptr;
    else if (!*table) {
        host.refused.push_back(name);
        return kSPSuiteNotFoundError;
    }
    host.acquired.push_back(name);
    return 0;
}

SPErr release(const char* name, int32)
{
    FakeHost::current().released.push_back(name);
    return 0;
}

} // namespace

FakeHost::FakeHost()
{
    active = this;
    basic.AcquireSuite = acquire;
    basic.ReleaseSuite = release;
    inData.pica_basicP = &basic;
}

FakeHost::~FakeHost() { active = nullptr; }

FakeHost& FakeHost::current() { return *active; }

A_Err FakeHost::record(const char* function)
{
    calls.push_back(function);
    if (!failingCall.empty() && failingCall == function)
        return failingError;
    return std::exchange(nextError, 0);
}

} // namespace aeotest
