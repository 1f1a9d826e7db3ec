#include "console.h"

#include <cstdio>
#include <ostream>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace orbhost::cli {

void printMessage(std::ostream& out, const std::string& text)
{
    std::size_t from = 0;
    while (from < text.size()) {
        auto end = text.find('\n', from);
        if (end == std::string::npos)
            end = text.size();
        // A line that already names the program (built by a helper for its own use) keeps one prefix.
        const std::string line = text.substr(from, end - from);
        out << (line.rfind(kMessagePrefix, 0) == 0 ? "" : kMessagePrefix) << line << '\n';
        from = end + 1;
    }
    out << std::flush;
}

std::string errorText(PF_Err err)
{
    const char* name = nullptr;
    switch (err) {
    case PF_Err_NONE: name = "no error"; break;
    case PF_Err_OUT_OF_MEMORY: name = "out of memory"; break;
    case PF_Err_INTERNAL_STRUCT_DAMAGED: name = "internal structure damaged"; break;
    case PF_Err_INVALID_INDEX: name = "invalid index"; break;
    case PF_Err_UNRECOGNIZED_PARAM_TYPE: name = "unrecognized parameter type"; break;
    case PF_Err_INVALID_CALLBACK: name = "invalid callback"; break;
    case PF_Err_BAD_CALLBACK_PARAM: name = "bad callback parameter"; break;
    case PF_Interrupt_CANCEL: name = "interrupted"; break;
    case PF_Err_CANNOT_PARSE_KEYFRAME_TEXT: name = "cannot parse keyframe text"; break;
    default: break;
    }
    return name ? std::string(name) + " (" + std::to_string(err) + ")" : "error " + std::to_string(err);
}

bool stderrIsTerminal()
{
#if defined(_WIN32)
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(fileno(stderr)) != 0;
#endif
}

} // namespace orbhost::cli
