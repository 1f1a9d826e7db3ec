// One parameter checked out from the host at the effect's current time, checked in exactly
// once. Asking for the parameter already held is served from the held copy; asking for
// another checks the held one in first, so one object walks through any number of values.
#pragma once
#include "hostapi/host_api.h"

class ParamCheckout {
public:
    // Checks out parameter 0 (the input layer) first, as the host expects of a new checkout.
    explicit ParamCheckout(PF_InData* inData);
    ~ParamCheckout();
    ParamCheckout(const ParamCheckout&) = delete;
    ParamCheckout& operator=(const ParamCheckout&) = delete;

    // The parameter at the current time, copied into *copy and returned. After a failed
    // checkout the copy is whatever the host left (zeros from our own reset).
    const PF_ParamDef& get(PF_ParamIndex index, PF_ParamDef* copy);

    // The result of the last checkout or check-in.
    PF_Err error() const { return error_; }

private:
    PF_Err checkout();

    PF_Err error_ = PF_Err_NONE;
    PF_InData* inData_;
    PF_ParamDef param_{};
    A_long time_ = 0;
    PF_ParamIndex index_ = 0;
    bool held_ = false;
};
