// A small host for the effect's own code (effect_tests and aeo_tests): in_data, out_data, the
// utility callbacks, add_param recording copies, and a basic suite serving a few hand-filled
// suites. Acquisitions, releases and suite calls are logged by name.
#pragma once
#include "hostapi/host_api.h"
#include "shell/entry_point.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

class FakeHost {
public:
    static constexpr AEGP_PluginID kPluginId = 77;

    PF_InData in{};
    PF_OutData out{};

    std::vector<PF_ParamDef> added;   // add_param copies
    int failAddParamAt = 0;           // 1-based call that fails; 0: none
    PF_Err addParamError = PF_Err_OUT_OF_MEMORY;
    int strcpyCalls = 0;

    std::set<std::string> missing;     // answered "not found"
    std::set<std::string> tableless;   // answered "found" with a null table
    std::vector<std::string> acquired, refused, released, calls;   // in order
    std::map<std::pair<std::string, int>, int> held;                // acquisitions not yet released
    A_Err nextError = 0;       // returned (once) by the next suite call
    std::string failingCall;   // this suite function returns failingError every time
    A_Err failingError = 0;
    PF_PixelFormat worldFormat = PF_PixelFormat_ARGB32;
    std::u16string layerName = u"Key Light";
    int freedMemHandles = 0;
    std::string registeredName = "(none)";
    const void* registeredRefcon = reinterpret_cast<const void*>(1);

    bool refuseHandles = false;
    A_u_longlong handleShortfall = 0;   // the host hands out this many bytes less than asked
    struct Block {
        void* data;   // *handle
        A_u_longlong size;
        int locks;
    };
    std::map<PF_Handle, Block*> handles;
    int disposed = 0;
    int iterateCalls = 0;

    FakeHost()
    {
        current() = this;
        in.inter.add_param = &addParam;
        in.utils = &utils_;
        in.pica_basicP = &basic_;
        in.appl_id = 0x46585443;   // 'FXTC'
        in.num_params = out.num_params = 1;
        utils_.host_new_handle = &newHandle;
        utils_.host_lock_handle = [](PF_Handle h) -> void* { ++current()->handles.at(h)->locks; return *h; };
        utils_.host_unlock_handle = [](PF_Handle h) { --current()->handles.at(h)->locks; };
        utils_.host_dispose_handle = &disposeHandle;
        utils_.host_get_handle_size = [](PF_Handle h) { return current()->handles.at(h)->size; };
        utils_.ansi.strcpy = ansi_.strcpy = &hostStrcpy;
        utils_.ansi.sprintf = ansi_.sprintf = &hostSprintf;
        utils_.iterate_generic = &iterateGeneric;
        basic_.AcquireSuite = &acquireSuite;
        basic_.ReleaseSuite = &releaseSuite;
        utility_.AEGP_RegisterWithAEGP = &registerWithAegp;
        fillAeoSuites();
    }
    ~FakeHost()
    {
        for (auto& [handle, block] : handles) {
            std::free(block->data);
            delete block;
        }
        current() = nullptr;
    }
    FakeHost(const FakeHost&) = delete;
    FakeHost& operator=(const FakeHost&) = delete;

    PF_Err run(PF_Cmd cmd, void* extra = nullptr) { return EntryPointFunc(cmd, &in, &out, nullptr, nullptr, extra); }
    SPBasicSuite* basic() { return &basic_; }
    void clearLog() { acquired.clear(), refused.clear(), released.clear(), calls.clear(); }
    long count(const std::string& function) const { return std::count(calls.begin(), calls.end(), function); }
    int suitesHeld() const
    {
        int count = 0;
        for (const auto& [suite, n] : held) count += n;
        return count;
    }
    const Block* block(PF_Handle handle) const { return handles.count(handle) ? handles.at(handle) : nullptr; }

private:
    PF_UtilCallbacks utils_{};
    SPBasicSuite basic_{};
    AEGP_UtilitySuite5 utility_{};
    PF_ANSICallbacksSuite1 ansi_{};
    PF_WorldSuite2 world_{};
    PF_Sampling8Suite1 sampling8_{};
    PF_Sampling16Suite1 sampling16_{};
    PF_SamplingFloatSuite1 samplingFloat_{};
    AEGP_LayerSuite6 layers_{};
    AEGP_StreamSuite4 streams_{};
    AEGP_CameraSuite2 cameras_{};
    AEGP_ItemSuite8 items_{};
    AEGP_MemorySuite1 memory_{};

    static FakeHost*& current()
    {
        static FakeHost* host = nullptr;
        return host;
    }
    static A_Err rec(const char* function)
    {
        FakeHost& host = *current();
        host.calls.push_back(function);
        if (!host.failingCall.empty() && host.failingCall == function) return host.failingError;
        return std::exchange(host.nextError, 0);
    }
    // Stands in for host memory holding a layer name: the handle points at a pointer.
    static AEGP_MemHandle nameHandle()
    {
        static void* block = nullptr;
        return reinterpret_cast<AEGP_MemHandle>(&block);
    }

    // The object-class suites answer with fixed values, each call logged.
    void fillAeoSuites()
    {
        layers_.AEGP_GetLayerFlags = [](AEGP_LayerH, AEGP_LayerFlags* f) { *f = AEGP_LayerFlag_VIDEO_ACTIVE; return rec("GetLayerFlags"); };
        layers_.AEGP_GetLayerObjectType = [](AEGP_LayerH, AEGP_ObjectType* t) { *t = AEGP_ObjectType_LIGHT; return rec("GetLayerObjectType"); };
        layers_.AEGP_GetCompNumLayers = [](AEGP_CompH, A_long* n) { *n = 3; return rec("GetCompNumLayers"); };
        layers_.AEGP_GetLayerToWorldXform = [](AEGP_LayerH, const A_Time* t, A_Matrix4* m) {
            for (int i = 0; i < 16; ++i) m->mat[i / 4][i % 4] = i + 0.5 * t->value;
            return rec("GetLayerToWorldXform");
        };
        layers_.AEGP_GetLayerName = [](AEGP_PluginID, AEGP_LayerH, AEGP_MemHandle* layer, AEGP_MemHandle* source) {
            *layer = *source = nameHandle();
            return rec("GetLayerName");
        };
        streams_.AEGP_GetLayerStreamValue = [](AEGP_LayerH, AEGP_LayerStream stream, AEGP_LTimeMode, const A_Time*,
                                               A_Boolean, AEGP_StreamVal2* v, AEGP_StreamType*) {
            v->one_d = stream * 10.0;
            return rec("GetLayerStreamValue");
        };
        cameras_.AEGP_GetCameraType = [](AEGP_LayerH, AEGP_CameraType* t) { *t = 1; return rec("GetCameraType"); };
        cameras_.AEGP_GetDefaultCameraDistanceToImagePlane = [](AEGP_CompH, A_FpLong* d) { *d = 1777.0; return rec("GetDefaultCameraDistance"); };
        items_.AEGP_GetItemDimensions = [](AEGP_ItemH, A_long* w, A_long* h) { *w = 1920, *h = 1080; return rec("GetItemDimensions"); };
        items_.AEGP_GetItemPixelAspectRatio = [](AEGP_ItemH, A_Ratio* r) { *r = {10, 11}; return rec("GetItemPixelAspectRatio"); };
        world_.PF_NewWorld = [](PF_ProgPtr, A_long w, A_long h, PF_Boolean, PF_PixelFormat, PF_EffectWorld* world) {
            world->width = w, world->height = h;
            return rec("NewWorld");
        };
        world_.PF_DisposeWorld = [](PF_ProgPtr, PF_EffectWorld*) { return rec("DisposeWorld"); };
        world_.PF_GetPixelFormat = [](const PF_EffectWorld*, PF_PixelFormat* f) { *f = current()->worldFormat; return rec("GetPixelFormat"); };
        memory_.AEGP_FreeMemHandle = [](AEGP_MemHandle) { ++current()->freedMemHandles; return rec("FreeMemHandle"); };
        memory_.AEGP_GetMemHandleSize = [](AEGP_MemHandle, AEGP_MemSize* n) {
            *n = AEGP_MemSize((current()->layerName.size() + 1) * sizeof(char16_t));
            return rec("GetMemHandleSize");
        };
        memory_.AEGP_LockMemHandle = [](AEGP_MemHandle, void** p) {
            *p = const_cast<char16_t*>(current()->layerName.c_str());
            return rec("LockMemHandle");
        };
        memory_.AEGP_UnlockMemHandle = [](AEGP_MemHandle) { return rec("UnlockMemHandle"); };
    }

    static SPErr acquireSuite(const char* name, int32 version, const void** suite)
    {
        FakeHost& host = *current();
        const std::map<std::pair<std::string, int>, const void*> served = {
            {{kAEGPUtilitySuite, 11}, &host.utility_}, {{kPFANSISuite, 1}, &host.ansi_}, {{kPFWorldSuite, 2}, &host.world_},
            {{kPFSampling8Suite, 1}, &host.sampling8_}, {{kPFSampling16Suite, 1}, &host.sampling16_},
            {{kPFSamplingFloatSuite, 1}, &host.samplingFloat_}, {{kAEGPLayerSuite, kAEGPLayerSuiteVersion6}, &host.layers_},
            {{kAEGPStreamSuite, kAEGPStreamSuiteVersion4}, &host.streams_}, {{kAEGPCameraSuite, 2}, &host.cameras_},
            {{kAEGPItemSuite, kAEGPItemSuiteVersion8}, &host.items_}, {{kAEGPMemorySuite, 1}, &host.memory_},
        };
        const auto found = served.find({name, version});
        *suite = host.missing.count(name) || host.tableless.count(name) || found == served.end() ? nullptr : found->second;
        if (!*suite && !host.tableless.count(name)) {
            host.refused.push_back(name);
            return kSPSuiteNotFoundError;
        }
        ++host.held[{name, version}];
        host.acquired.push_back(name);
        return 0;
    }
    static SPErr releaseSuite(const char* name, int32 version)
    {
        --current()->held[{name, version}];
        current()->released.emplace_back(name);
        return 0;
    }
    static PF_Err addParam(PF_ProgPtr, PF_ParamIndex index, PF_ParamDefPtr def)
    {
        FakeHost& host = *current();
        if (index != -1) return PF_Err_INVALID_INDEX;
        host.added.push_back(*def);
        return static_cast<int>(host.added.size()) == host.failAddParamAt ? host.addParamError : PF_Err_NONE;
    }
    static A_char* hostStrcpy(A_char* to, const A_char* from) { ++current()->strcpyCalls; return std::strcpy(to, from); }
    static int hostSprintf(A_char* to, const A_char* format, ...)
    {
        va_list args;
        va_start(args, format);
        const int n = std::vsnprintf(to, PF_MAX_EFFECT_MSG_LEN + 1, format, args);
        va_end(args);
        return n;
    }
    static A_Err registerWithAegp(AEGP_GlobalRefcon refcon, const A_char* name, AEGP_PluginID* id)
    {
        current()->registeredName = name;
        current()->registeredRefcon = refcon;
        *id = kPluginId;
        return A_Err{0};
    }
    static PF_Handle newHandle(A_u_longlong size)
    {
        FakeHost& host = *current();
        if (host.refuseHandles) return nullptr;
        const A_u_longlong given = size - host.handleShortfall;
        auto* block = new Block{std::calloc(1, given), given, 0};
        auto handle = reinterpret_cast<PF_Handle>(&block->data);
        host.handles[handle] = block;
        return handle;
    }
    static void disposeHandle(PF_Handle handle)
    {
        FakeHost& host = *current();
        std::free(host.handles.at(handle)->data);
        delete host.handles.at(handle);
        host.handles.erase(handle);
        ++host.disposed;
    }
    static PF_Err iterateGeneric(A_long iterations, void* refcon, PF_Err (*fn)(void*, A_long, A_long, A_long))
    {
        ++current()->iterateCalls;
        for (A_long i = 0; i < iterations; ++i)
            if (const PF_Err err = fn(refcon, 0, i, iterations)) return err;
        return PF_Err_NONE;
    }
};
