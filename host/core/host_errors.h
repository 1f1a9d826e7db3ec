// Exceptions the host library throws for problems a user must fix (a module that cannot
// be loaded, a scene that does not fit the effect). Effect failures are host error codes.
#pragma once
#include <stdexcept>
#include <string>
#include <vector>

namespace orbhost {

// "FILE: problem" for a module that cannot be opened or described.
struct LoadError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// All problems found while binding a scene to the effect's parameters, one message each
// ("FILE: /json/pointer: problem"); what() joins them with line breaks.
struct BindError : std::runtime_error {
    explicit BindError(std::vector<std::string> messages);
    std::vector<std::string> messages;
};

} // namespace orbhost
