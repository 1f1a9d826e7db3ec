#include "host/core/effect_module.h"

#include "host/core/host_errors.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace orbhost {
namespace {

// Resource id and type under which an effect DLL carries its property list.
constexpr int kPiplResourceId = 16000;

void* openLibrary(const std::string& path)
{
#if defined(_WIN32)
    HMODULE module = LoadLibraryA(path.c_str());
    if (!module)
        throw LoadError(path + ": cannot load the module (Windows error " +
                        std::to_string(GetLastError()) + ")");
    return reinterpret_cast<void*>(module);
#else
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        const char* why = dlerror();
        throw LoadError(path + ": cannot load the module: " + (why ? why : "unknown reason"));
    }
    return library;
#endif
}

void closeLibrary(void* library)
{
    if (!library)
        return;
#if defined(_WIN32)
    FreeLibrary(reinterpret_cast<HMODULE>(library));
#else
    dlclose(library);
#endif
}

void* findSymbol(void* library, const char* name)
{
#if defined(_WIN32)
    return reinterpret_cast<void*>(GetProcAddress(reinterpret_cast<HMODULE>(library), name));
#else
    return dlsym(library, name);
#endif
}

std::vector<std::uint8_t> readPiplBytes([[maybe_unused]] void* library, const std::string& path)
{
#if defined(_WIN32)
    HMODULE module = reinterpret_cast<HMODULE>(library);
    HRSRC resource = FindResourceA(module, MAKEINTRESOURCEA(kPiplResourceId), "PiPL");
    if (!resource)
        throw LoadError(path + ": no plug-in property list (resource PiPL " +
                        std::to_string(kPiplResourceId) + ")");
    HGLOBAL loaded = LoadResource(module, resource);
    const DWORD size = SizeofResource(module, resource);
    const auto* data = static_cast<const std::uint8_t*>(loaded ? LockResource(loaded) : nullptr);
    if (!data)
        throw LoadError(path + ": the plug-in property list resource cannot be read");
    return std::vector<std::uint8_t>(data, data + size);
#else
    (void)kPiplResourceId;
    const std::string sidecar = sidecarPiplPath(path);
    std::ifstream in(sidecar, std::ios::binary);
    if (!in)
        throw LoadError(path + ": no plug-in property list (expected " + sidecar + ")");
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {});
#endif
}

} // namespace

std::string sidecarPiplPath(const std::string& modulePath)
{
    return std::filesystem::path(modulePath).replace_extension(".pipl").string();
}

EffectModule::EffectModule(const std::string& path) : path_(path)
{
    if (!std::filesystem::exists(path))
        throw LoadError(path + ": no such file");
    // The property list is read before any code of the module runs where the platform allows
    // it (Linux sidecar); on Windows it lives inside the library.
#if !defined(_WIN32)
    const std::string sidecar = sidecarPiplPath(path);
    properties_ = decodePipl(readPiplBytes(nullptr, path), sidecar);
    validateEffectPipl(properties_, sidecar);
    library_ = openLibrary(path);
#else
    library_ = openLibrary(path);
    try {
        properties_ = decodePipl(readPiplBytes(library_, path), path);
        validateEffectPipl(properties_, path);
    } catch (...) {
        closeLibrary(library_);
        throw;
    }
#endif
    entry_ = reinterpret_cast<PF_FilterProc>(findSymbol(library_, properties_.entryPoint.c_str()));
    if (!entry_) {
        closeLibrary(library_);
        library_ = nullptr;
        throw LoadError(path + ": the entry point \"" + properties_.entryPoint +
                        "\" named by the property list is not exported");
    }
}

EffectModule::~EffectModule()
{
    closeLibrary(library_);
}

void* EffectModule::symbol(const char* name) const
{
    return findSymbol(library_, name);
}

} // namespace orbhost
