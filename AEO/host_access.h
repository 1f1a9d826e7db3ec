// The record every command handler builds first: in_data and the three per-depth sampling
// suites, acquired on construction. Unlike SuiteHandler it never throws; a suite that
// could not be acquired is recorded with its error and left null.
#pragma once
#include "AEO/suite_versions.h"

namespace AEO {

class HostAccess {
public:
    explicit HostAccess(PF_InData* inData);
    ~HostAccess();   // releases the acquired suites: float, then 16-bit, then 8-bit
    HostAccess(const HostAccess&) = delete;
    HostAccess& operator=(const HostAccess&) = delete;

    PF_InData* inData() const { return inData_; }

    const PF_Sampling8Suite1* sampling8() const { return static_cast<const PF_Sampling8Suite1*>(s8_.table); }
    const PF_Sampling16Suite1* sampling16() const { return static_cast<const PF_Sampling16Suite1*>(s16_.table); }
    const PF_SamplingFloatSuite1* samplingFloat() const { return static_cast<const PF_SamplingFloatSuite1*>(sFloat_.table); }

    bool allSamplingSuites() const { return s8_.table && s16_.table && sFloat_.table; }
    A_Err samplingFloatError() const { return sFloat_.error; }

private:
    struct Slot {
        const void* table = nullptr;
        A_Err error = PF_Err_NONE;
        bool acquired = false;   // the host counted an acquisition that must be released
    };
    template <class Suite> Slot acquire() const;
    template <class Suite> void release(const Slot& slot) const;

    PF_InData* inData_;
    const SPBasicSuite* basic_;
    Slot s8_;
    Slot s16_;
    Slot sFloat_;
};

} // namespace AEO
