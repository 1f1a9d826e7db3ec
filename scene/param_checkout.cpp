#include "scene/param_checkout.h"

#include <cstring>

ParamCheckout::ParamCheckout(PF_InData* inData) : inData_(inData)
{
    time_ = inData_ ? inData_->current_time : 0;
    error_ = checkout();
}

ParamCheckout::~ParamCheckout()
{
    if (held_ && inData_->inter.checkin_param) {
        inData_->inter.checkin_param(inData_->effect_ref, &param_);
    }
}

PF_Err ParamCheckout::checkout()
{
    std::memset(&param_, 0, sizeof param_);
    held_ = false;
    // Without checkin_param a checkout could never be given back: none is made.
    if (!inData_ || !inData_->inter.checkout_param || !inData_->inter.checkin_param) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    const PF_Err err = inData_->inter.checkout_param(inData_->effect_ref, index_, inData_->current_time,
                                                     inData_->time_step, inData_->time_scale, &param_);
    // A failed checkout is not checked in, neither by the next get() nor by the destructor.
    // That departs on purpose from the rule that clean-up runs whatever failed: after a
    // failure the record holds nothing of the host's, and handing the host back a parameter
    // it never gave out is the one call here that could do harm.
    held_ = err == PF_Err_NONE;
    return err;
}

const PF_ParamDef& ParamCheckout::get(PF_ParamIndex index, PF_ParamDef* copy)
{
    const A_long now = inData_ ? inData_->current_time : 0;
    if (index != index_ || now != time_) {
        index_ = index;
        time_ = now;
        if (held_) {
            error_ = inData_->inter.checkin_param ? inData_->inter.checkin_param(inData_->effect_ref, &param_)
                                                  : PF_Err_BAD_CALLBACK_PARAM;
            held_ = false;
        }
        error_ = checkout();
    }
    std::memcpy(copy, &param_, sizeof param_);
    return *copy;
}
