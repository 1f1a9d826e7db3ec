// Every host warning fails the running test unless the test says it expects warnings: a
// warning is the host noticing something wrong (a checkout checked in twice, a leak), and a
// test that passes while the host complains has missed a fault.
#pragma once

namespace orbhost::testing {

// While one of these lives, host warnings are allowed (tests that provoke them on purpose, and
// then usually check host->warnings() themselves).
class ExpectHostWarnings {
public:
    ExpectHostWarnings();
    ~ExpectHostWarnings();
    ExpectHostWarnings(const ExpectHostWarnings&) = delete;
    ExpectHostWarnings& operator=(const ExpectHostWarnings&) = delete;
};

}  // namespace orbhost::testing
