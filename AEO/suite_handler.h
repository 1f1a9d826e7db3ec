// Acquires suites on first request through the host's basic suite and releases every one
// it acquired when it goes out of scope. A suite the host cannot supply is reported by
// throwing PF_Err_BAD_CALLBACK_PARAM as an A_long, which EntryPointFunc returns.
#pragma once
#include "AEO/suite_versions.h"

#include <array>

namespace AEO {

class SuiteHandler {
public:
    explicit SuiteHandler(const SPBasicSuite* basic);
    ~SuiteHandler();
    SuiteHandler(const SuiteHandler&) = delete;
    SuiteHandler& operator=(const SuiteHandler&) = delete;

    template <class Suite>
    const Suite& get()
    {
        return *static_cast<const Suite*>(acquire(SuiteTraits<Suite>::name, SuiteTraits<Suite>::version));
    }

private:
    struct Held {
        const char* name = nullptr;
        A_long version = 0;
        const void* table = nullptr;
    };
    // More than any one command uses; exceeding it is reported like a missing suite.
    static constexpr int kCapacity = 24;

    const void* acquire(const char* name, A_long version);

    const SPBasicSuite* basic_;
    std::array<Held, kCapacity> held_{};
    int count_ = 0;
};

} // namespace AEO
