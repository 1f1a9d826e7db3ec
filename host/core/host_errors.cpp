#include "host/core/host_errors.h"

namespace orbhost {
namespace {
std::string joined(const std::vector<std::string>& messages)
{
    std::string text;
    for (const std::string& m : messages)
        text += (text.empty() ? "" : "\n") + m;
    return text;
}
} // namespace

BindError::BindError(std::vector<std::string> m) : std::runtime_error(joined(m)), messages(std::move(m)) {}

} // namespace orbhost
