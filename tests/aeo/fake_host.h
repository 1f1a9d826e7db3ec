// A basic suite that serves a few hand-filled suite tables. Every acquisition, release and
// suite call is logged by name, and the next call can be made to fail with a chosen error.
#pragma once
#include "hostapi/host_api.h"

#include <string>
#include <vector>

namespace aeotest {

struct FakeHost {
    FakeHost();
    ~FakeHost();

    SPBasicSuite basic{};
    PF_InData inData{};

    std::vector<std::string> acquired;   // suite names, in order
    std::vector<std::string> refused;    // acquisitions answered "not found", in order
    std::vector<std::string> released;
    std::vector<std::string> calls;      // suite function names, in order
    std::vector<std::string> missing;    // suite names the host pretends not to have

    A_Err nextError = 0;                 // returned (once) by the next suite call
    PF_PixelFormat worldFormat = PF_PixelFormat_ARGB32;
    std::u16string layerName = u"Key Light";
    int freedHandles = 0;

    // Records a suite call; returns the injected error, if any.
    A_Err record(const char* function);
    static FakeHost& current();
};

} // namespace aeotest
