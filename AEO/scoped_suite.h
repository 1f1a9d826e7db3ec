// One suite held through the host's basic suite for the life of the object. A suite the
// host cannot supply is recorded with the host's error, never thrown, so the caller decides
// what its absence means.
#pragma once
#include "AEO/suite_versions.h"

namespace AEO {

// Acquires (name, version) into *table. A host that answers yes but hands out no table has
// still counted an acquisition: it is given back at once and reported as a bad callback.
A_Err acquireSuite(const SPBasicSuite* basic, const char* name, A_long version, const void** table);

template <class Suite>
class ScopedSuite {
public:
    explicit ScopedSuite(const SPBasicSuite* basic)
        : basic_(basic), error_(acquireSuite(basic, SuiteTraits<Suite>::name, SuiteTraits<Suite>::version, &table_))
    {
    }
    ~ScopedSuite()
    {
        if (table_) {
            basic_->ReleaseSuite(SuiteTraits<Suite>::name, SuiteTraits<Suite>::version);
        }
    }
    ScopedSuite(const ScopedSuite&) = delete;
    ScopedSuite& operator=(const ScopedSuite&) = delete;

    const Suite* get() const { return static_cast<const Suite*>(table_); }
    A_Err error() const { return error_; }

private:
    const SPBasicSuite* basic_;
    const void* table_ = nullptr;
    A_Err error_;
};

} // namespace AEO
