// A basic suite that serves a few hand-filled suite tables. Every acquisition, release and
// suite call is logged by name; the next call, or every call of one function, can be made to
// fail with a chosen error, and a suite can be answered "found" without a table.
#pragma once
#include "hostapi/host_api.h"

#include <algorithm>
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
    std::vector<std::string> tableless;  // suite names answered "found" with a null table

    A_Err nextError = 0;                 // returned (once) by the next suite call
    std::string failingCall;             // this suite function returns failingError every time
    A_Err failingError = 0;
    PF_PixelFormat worldFormat = PF_PixelFormat_ARGB32;
    std::u16string layerName = u"Key Light";
    int freedHandles = 0;

    // Records a suite call; returns the injected error, if any.
    A_Err record(const char* function);
    static FakeHost& current();

    // How many times the named suite function was called.
    long count(const std::string& function) const { return std::count(calls.begin(), calls.end(), function); }
};

} // namespace aeotest
