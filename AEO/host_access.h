// The record every command handler builds first: in_data and the three per-depth sampling
// suites, acquired on construction. Unlike SuiteHandler it never throws; a suite that
// could not be acquired is recorded with its error and left null.
#pragma once
#include "AEO/scoped_suite.h"

namespace AEO {

class HostAccess {
public:
    explicit HostAccess(PF_InData* inData)
        : inData_(inData), s8_(basic(inData)), s16_(basic(inData)), sFloat_(basic(inData)) {}

    PF_InData* inData() const { return inData_; }

    const PF_Sampling8Suite1* sampling8() const { return s8_.get(); }
    const PF_Sampling16Suite1* sampling16() const { return s16_.get(); }
    const PF_SamplingFloatSuite1* samplingFloat() const { return sFloat_.get(); }

    bool allSamplingSuites() const { return s8_.get() && s16_.get() && sFloat_.get(); }
    A_Err samplingFloatError() const { return sFloat_.error(); }

private:
    static const SPBasicSuite* basic(PF_InData* inData) { return inData ? inData->pica_basicP : nullptr; }

    PF_InData* inData_;
    // Members go in reverse order of declaration: the float suite is released first, then
    // the 16-bit one, then the 8-bit one.
    ScopedSuite<PF_Sampling8Suite1> s8_;
    ScopedSuite<PF_Sampling16Suite1> s16_;
    ScopedSuite<PF_SamplingFloatSuite1> sFloat_;
};

} // namespace AEO
