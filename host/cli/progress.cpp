#include "progress.h"

#include "console.h"

#include <cstdio>
#include <ostream>

namespace orbhost::cli {

ProgressStyle progressStyle(const std::string& option, bool quiet, bool terminal)
{
    if (option == "lines")
        return ProgressStyle::Lines;
    if (option == "off" || quiet)
        return ProgressStyle::Off;
    return terminal ? ProgressStyle::Bar : ProgressStyle::Lines;
}

Progress::Progress(std::ostream& out, ProgressStyle style, int total)
    : out_(out), style_(style), total_(total > 0 ? total : 1)
{
}

void Progress::frameRendered(int frame, const std::string& path, double seconds, int framesLeft)
{
    ++rendered_;
    renderSeconds_ += seconds;
    report(frame, path, "rendered", seconds, framesLeft);
}

void Progress::frameSkipped(int frame, const std::string& path, int framesLeft)
{
    report(frame, path, "skipped", 0.0, framesLeft);
}

void Progress::report(int frame, const std::string& path, const char* status, double seconds, int framesLeft)
{
    ++done_;
    // Skipped frames take no time, so only rendered ones set the pace.
    const double perFrame = rendered_ ? renderSeconds_ / rendered_ : 0.0;
    char left[32] = "?";
    if (rendered_ || framesLeft == 0)
        std::snprintf(left, sizeof left, "%.0f", perFrame * framesLeft);
    if (style_ == ProgressStyle::Lines) {
        char fields[160];
        std::snprintf(fields, sizeof fields, "progress frame=%d done=%d/%d status=%s seconds=%.2f left=%s file=", frame,
                      done_, total_, status, seconds, left);
        out_ << kMessagePrefix << fields << path << '\n' << std::flush;
    } else if (style_ == ProgressStyle::Bar) {
        constexpr int width = 30;
        const int filled = done_ * width / total_;
        char timing[96];
        std::snprintf(timing, sizeof timing, "  %.2f s/frame, %s s left", perFrame, left);
        out_ << "\rframe " << frame << " [" << std::string(std::size_t(filled), '#')
             << std::string(std::size_t(width - filled), '.') << "] " << done_ << '/' << total_ << timing << "   "
             << std::flush;
    }
}

void Progress::finish()
{
    if (style_ == ProgressStyle::Bar && done_ > 0)
        out_ << '\n' << std::flush;
}

} // namespace orbhost::cli
