// An effect module opened from disk: the shared library (Linux .so, Windows .aex), its
// property list and its resolved entry point.
#pragma once
#include "host/core/pipl.h"

#include <string>

namespace orbhost {

class EffectModule {
public:
    // Opens the module, reads and validates its property list (Linux: the sidecar file with
    // the extension replaced by ".pipl"; Windows: resource PiPL 16000) and resolves the
    // entry point it names. Throws LoadError naming the file on any failure.
    explicit EffectModule(const std::string& path);
    ~EffectModule();
    EffectModule(const EffectModule&) = delete;
    EffectModule& operator=(const EffectModule&) = delete;

    const std::string& path() const { return path_; }
    const PropertyList& properties() const { return properties_; }
    PF_FilterProc entryPoint() const { return entry_; }
    // Any other exported symbol (tests use it to reach helpers of a probe module); null if absent.
    void* symbol(const char* name) const;

private:
    std::string path_;
    void* library_ = nullptr;
    PropertyList properties_;
    PF_FilterProc entry_ = nullptr;
};

// The sidecar property-list path used on Linux: "dir/Name.so" -> "dir/Name.pipl".
std::string sidecarPiplPath(const std::string& modulePath);

} // namespace orbhost
