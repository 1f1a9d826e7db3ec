// A minimal host for driving EntryPointFunc in tests: in_data/out_data, the utility
// callbacks (handles, strcpy, iterate_generic), add_param recording copies, and a basic
// suite that serves a few suites and counts every acquisition and release.
#pragma once
#include "hostapi/host_api.h"
#include "shell/entry_point.h"

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
    static constexpr SPErr kSuiteNotFound = kSPSuiteNotFoundError;
    static constexpr AEGP_PluginID kPluginId = 77;

    PF_InData in{};
    PF_OutData out{};

    std::vector<PF_ParamDef> added;   // add_param copies
    int failAddParamAt = 0;           // 1-based call that fails; 0: none
    PF_Err addParamError = PF_Err_OUT_OF_MEMORY;
    int strcpyCalls = 0;

    std::set<std::string> missingSuites;
    std::map<std::pair<std::string, int>, int> held;   // acquisitions not yet released
    std::vector<std::string> releases;                 // suite names, in release order
    int acquisitions = 0;
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
        world_.PF_GetPixelFormat = [](const PF_EffectWorld*, PF_PixelFormat* f) { *f = PF_PixelFormat_ARGB32; return PF_Err_NONE; };
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

    int suitesHeld() const
    {
        int count = 0;
        for (const auto& entry : held) count += entry.second;
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

    static FakeHost*& current()
    {
        static FakeHost* host = nullptr;
        return host;
    }

    static SPErr acquireSuite(const char* name, int32 version, const void** suite)
    {
        FakeHost& host = *current();
        const std::map<std::pair<std::string, int>, const void*> served = {
            {{"AEGP Utility Suite", 11}, &host.utility_},     {{"PF ANSI Suite", 1}, &host.ansi_},
            {{"PF World Suite", 2}, &host.world_},            {{"PF Sampling8 Suite", 1}, &host.sampling8_},
            {{"PF Sampling16 Suite", 1}, &host.sampling16_}, {{"PF SamplingFloat Suite", 1}, &host.samplingFloat_},
        };
        const auto found = served.find({name, version});
        *suite = host.missingSuites.count(name) || found == served.end() ? nullptr : found->second;
        if (!*suite) return kSuiteNotFound;
        ++host.held[{name, version}];
        ++host.acquisitions;
        return 0;
    }
    static SPErr releaseSuite(const char* name, int32 version)
    {
        --current()->held[{name, version}];
        current()->releases.emplace_back(name);
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
