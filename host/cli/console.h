// What orbulon-render prints besides images and progress: message lines and error names.
#pragma once

#include "hostapi/host_api.h"

#include <iosfwd>
#include <string>

namespace orbhost::cli {

// Every message the program prints starts with this.
inline constexpr const char* kMessagePrefix = "orbulon-render: ";

// Writes text to out with kMessagePrefix before each of its lines.
void printMessage(std::ostream& out, const std::string& text);

// An effect error code with its name: "out of memory (4)", "error 99" for unknown codes.
std::string errorText(PF_Err err);

// True when standard error is a terminal (not a pipe or a file).
bool stderrIsTerminal();

} // namespace orbhost::cli
