// One lazily acquired suite of a host object. Nothing is asked of the host until the first
// get(). A failed acquisition leaves the slot empty with the host's error in it, and the next
// get() asks again: a suite the host could not hand out a moment ago is not given up on for
// the rest of the object's life. The destructor gives back only what was acquired, so members
// declared in order release in reverse order.
#pragma once
#include "AEO/scoped_suite.h"

namespace AEO {

template <class Suite>
class SuiteSlot {
public:
    explicit SuiteSlot(const SPBasicSuite* basic) : basic_(basic) {}
    ~SuiteSlot()
    {
        if (table_) {
            basic_->ReleaseSuite(SuiteTraits<Suite>::name, SuiteTraits<Suite>::version);
        }
    }
    SuiteSlot(const SuiteSlot&) = delete;
    SuiteSlot& operator=(const SuiteSlot&) = delete;

    // The suite's table, or null when the host could not supply it this time (see error()).
    const Suite* get()
    {
        if (!table_) {
            error_ = acquireSuite(basic_, SuiteTraits<Suite>::name, SuiteTraits<Suite>::version, &table_);
        }
        return static_cast<const Suite*>(table_);
    }
    // The result of the latest acquisition: 0 once the suite is held.
    A_Err error() const { return error_; }

private:
    A_Err error_ = PF_Err_NONE;
    const void* table_ = nullptr;
    const SPBasicSuite* basic_;
};

} // namespace AEO
