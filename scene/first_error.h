// The first host error of a chain of host calls, in the form a command returns it.
#pragma once
#include "hostapi/host_api.h"

class FirstError {
public:
    // A suite the host does not have is reported as the host reports a bad callback.
    void keep(A_Err err)
    {
        if (error_ == PF_Err_NONE && err != PF_Err_NONE) {
            error_ = err == kSPSuiteNotFoundError ? PF_Err_BAD_CALLBACK_PARAM : err;
        }
    }
    PF_Err value() const { return error_; }
    explicit operator bool() const { return error_ != PF_Err_NONE; }

private:
    PF_Err error_ = PF_Err_NONE;
};
