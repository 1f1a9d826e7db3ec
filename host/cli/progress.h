// How orbulon-render reports frames as they finish: a bar redrawn on one line of a terminal, or
// one plain line per frame for logs and the programs that read them.
#pragma once

#include <iosfwd>
#include <string>

namespace orbhost::cli {

enum class ProgressStyle { Off, Bar, Lines };

// --progress auto|lines|off (empty: auto). auto draws the bar on a terminal and writes lines
// anywhere else, and -q silences it; lines and off hold whatever -q and the terminal say.
ProgressStyle progressStyle(const std::string& option, bool quiet, bool terminal);

// The line written for each frame, its fields always in this order (the file last, so that it
// may hold spaces):
//   orbulon-render: progress frame=12 done=3/25 status=rendered seconds=1.23 left=27 file=out/f_0012.png
// status is "rendered" or "skipped" (its output existed, --skip-existing; seconds=0); left is the
// estimated seconds until the last frame, from the mean time of the frames rendered so far, or
// "?" while no frame has been rendered and some remain.
class Progress {
public:
    Progress(std::ostream& out, ProgressStyle style, int total);
    // framesLeft: how many frames after this one will be rendered (not skipped).
    void frameRendered(int frame, const std::string& path, double seconds, int framesLeft);
    void frameSkipped(int frame, const std::string& path, int framesLeft);
    // Ends the bar's line.
    void finish();

private:
    void report(int frame, const std::string& path, const char* status, double seconds, int framesLeft);

    std::ostream& out_;
    ProgressStyle style_;
    int total_ = 0, done_ = 0, rendered_ = 0;
    double renderSeconds_ = 0;
};

} // namespace orbhost::cli
