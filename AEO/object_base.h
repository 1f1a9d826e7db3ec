// Base of the host object classes. Each object owns one host handle and the suites it needs;
// its first host error sticks, and every later call returns its default without reaching
// the host, so a routine can run to its end and check lastError() once.
//
// A suite the host cannot hand out is not such an error: the call that needed it is not made
// and returns its default, the acquisition's error stays in the suite's slot, and the object
// goes on with its other suites (and asks for the missing one again on its next use). One
// absent suite, say the light suite, so costs only the values that come from it.
#pragma once
#include "AEO/suite_slot.h"

#include <utility>

namespace AEO {

// Defaults returned by skipped or failed calls.
inline constexpr A_long kUnknownType = -1;
inline constexpr A_Time kNoTime{0, 1};
inline constexpr A_Ratio kNoRatio{0, 1};

class ObjectBase {
public:
    ObjectBase() = default;
    virtual ~ObjectBase() = default;
    ObjectBase(const ObjectBase&) = delete;
    ObjectBase& operator=(const ObjectBase&) = delete;

    A_Err lastError() const { return lastError_; }

protected:
    static const SPBasicSuite* basicOf(const PF_InData* inData) { return inData ? inData->pica_basicP : nullptr; }
    static PF_ProgPtr effectRefOf(const PF_InData* inData) { return inData ? inData->effect_ref : nullptr; }

    // Calls one function of the slot's suite unless an error is pending; true when the call
    // was made and succeeded. A suite the host cannot supply skips the call without touching
    // the object's error; a table without that function counts as the object's error.
    template <class Suite, class Fn, class... Args>
    bool call(SuiteSlot<Suite>& slot, Fn Suite::*fn, Args&&... args)
    {
        if (lastError_ != PF_Err_NONE) {
            return false;
        }
        const Suite* suite = slot.get();
        if (!suite) {
            return false;
        }
        if (!(suite->*fn)) {
            lastError_ = PF_Err_BAD_CALLBACK_PARAM;
            return false;
        }
        lastError_ = (suite->*fn)(std::forward<Args>(args)...);
        return lastError_ == PF_Err_NONE;
    }

    // Like call(), for functions whose last argument receives the result; returns
    // fallback when the call is skipped or fails.
    template <class T, class Suite, class Fn, class... Args>
    T query(T fallback, SuiteSlot<Suite>& slot, Fn Suite::*fn, Args&&... args)
    {
        T value = fallback;
        return call(slot, fn, std::forward<Args>(args)..., &value) ? value : fallback;
    }

    // Lets a constructor drop an error it handles itself.
    void clearError() { lastError_ = PF_Err_NONE; }

private:
    A_Err lastError_ = PF_Err_NONE;
};

} // namespace AEO
