#include "support/host_warnings.h"

#include "host/core/host_state.h"

#include <gtest/gtest.h>

#include <atomic>

namespace orbhost::testing {
namespace {

std::atomic<int> gExpecting{0};

void failUnlessExpected(const std::string& text)
{
    if (gExpecting.load() == 0)
        ADD_FAILURE() << "unexpected host warning: " << text;
}

// Installed before main, so that every test of the program is watched.
const bool gInstalled = [] {
    setWarningObserver(&failUnlessExpected);
    return true;
}();

}  // namespace

ExpectHostWarnings::ExpectHostWarnings() { ++gExpecting; }
ExpectHostWarnings::~ExpectHostWarnings() { --gExpecting; }

}  // namespace orbhost::testing
