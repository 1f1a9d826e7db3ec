// Frame ranges and numbered output names for orbulon-render: one rule for the command line
// and the scene.
#pragma once

#include <climits>
#include <optional>
#include <string>

namespace orbhost::cli {

struct FrameRange {
    // A range given as "A-" runs to the end of the composition, whatever its length.
    static constexpr int kToEnd = INT_MAX;
    int first = 0, last = 0;  // inclusive, composition frames from 0
    int count() const { return last - first + 1; }
};

// "A:B" or "A-B" (or a single frame "N"), both ends from 0 and A <= B, or "A-" / "A:" to the
// end (last = kToEnd); otherwise an error message that names the text.
struct FrameRangeParse {
    std::optional<FrameRange> range;
    std::string problem;
};
FrameRangeParse parseFrameRange(const std::string& text);

// The part of `asked` (from "--frames TEXT") that lies in a composition of `frameCount` frames.
// A range that runs past the end is cut at the last frame, with a note saying so unless it was
// open-ended, so that the last chunk of a sequence split into equal chunks renders what is
// left; a range that starts past the end renders nothing and is refused with a problem.
struct FrameRangeFit {
    std::optional<FrameRange> range;
    std::string note, problem;
};
FrameRangeFit fitToComposition(const FrameRange& asked, int frameCount, const std::string& text,
                               const std::string& sceneName);

// True when the file name (not a folder) holds a frame number slot: a run of '#' (also
// "[####]", the brackets being no part of the name) or a printf-style %d / %0Nd.
bool isNumbered(const std::string& pattern);

// The output name for one frame: the last slot in the file name gets the frame number, padded
// with zeros to the run's length ("f_####.png", 7 -> "f_0007.png"; "f_%04d.png" and
// "f_[####].png" likewise). Without a slot the pattern comes back unchanged.
std::string framePath(const std::string& pattern, int frame);

// Empty when `pattern` can take every frame of `range`; otherwise the message: a range of more
// than one frame needs a numbered output name. `source` says where the range came from
// ("--frames 0:9", "the scene's render.frames").
std::string numberingProblem(const std::string& pattern, const FrameRange& range, const std::string& source);

} // namespace orbhost::cli
