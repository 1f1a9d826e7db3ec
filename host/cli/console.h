// What orbulon-render prints besides images: error names and the progress line.
#pragma once

#include "hostapi/host_api.h"

#include <chrono>
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

// "\rframe F [####......] done/total  0.25 s/frame, 3 s left" on one line of standard error.
class ProgressLine {
public:
    ProgressLine(std::ostream& out, int total);
    void frameDone(int frame);
    void finish();  // ends the line

private:
    std::ostream& out_;
    int total_ = 0, done_ = 0;
    std::chrono::steady_clock::time_point start_;
};

} // namespace orbhost::cli
