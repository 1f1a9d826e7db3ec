#include "frame_range.h"

#include <cstdio>

namespace orbhost::cli {
namespace {

// Where the frame number goes: characters [at, at + length) of the pattern, padded to width.
struct Slot {
    std::size_t at = std::string::npos, length = 0;
    int width = 0;
};

std::size_t fileNameStart(const std::string& pattern)
{
    const auto slash = pattern.find_last_of("/\\");
    return slash == std::string::npos ? 0 : slash + 1;
}

// The last '#' run or %d / %0Nd in the file name. A '#' run in brackets, "[####]", is the
// numbering of After Effects' render queue: the brackets go with the run.
Slot findSlot(const std::string& pattern)
{
    Slot slot;
    const std::size_t nameStart = fileNameStart(pattern);
    for (std::size_t i = nameStart; i < pattern.size(); ++i) {
        if (pattern[i] == '#') {
            std::size_t end = i;
            while (end < pattern.size() && pattern[end] == '#')
                ++end;
            const bool bracketed = i > nameStart && pattern[i - 1] == '[' && end < pattern.size() && pattern[end] == ']';
            slot = bracketed ? Slot{i - 1, end + 1 - (i - 1), int(end - i)} : Slot{i, end - i, int(end - i)};
            i = end - 1;
        } else if (pattern[i] == '%') {
            std::size_t end = i + 1;
            int width = 0;
            while (end < pattern.size() && pattern[end] >= '0' && pattern[end] <= '9' && width < 100)
                width = width * 10 + (pattern[end++] - '0');
            // "%d" or "%0Nd": the digits after % must start with 0 when there are any.
            const bool padded = end == i + 1 || pattern[i + 1] == '0';
            if (end < pattern.size() && pattern[end] == 'd' && padded && width < 100) {
                slot = {i, end + 1 - i, width};
                i = end;
            }
        }
    }
    return slot;
}

bool parseFrameNumber(const std::string& text, int* value)
{
    if (text.empty() || text.size() > 9)
        return false;
    const bool negative = text[0] == '-';
    if (text.size() == (negative ? 1u : 0u))
        return false;
    int v = 0;
    for (std::size_t i = negative ? 1 : 0; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9')
            return false;
        v = v * 10 + (text[i] - '0');
    }
    *value = negative ? -v : v;
    return true;
}

} // namespace

FrameRangeParse parseFrameRange(const std::string& text)
{
    const std::string expected = "--frames " + text + ": expected A:B or A-B with 0 <= A <= B, or A- to the end";
    // A '-' at the very start is a sign, so "-1-3" reads as -1 to 3 and is refused below.
    auto separator = text.find(':');
    if (separator == std::string::npos)
        separator = text.find('-', 1);
    int a = 0, b = 0;
    const bool single = separator == std::string::npos;
    const bool toEnd = !single && separator + 1 == text.size();
    if (!parseFrameNumber(text.substr(0, separator), &a) ||
        (!single && !toEnd && !parseFrameNumber(text.substr(separator + 1), &b)))
        return {std::nullopt, expected};
    if (single)
        b = a;
    if (toEnd)
        b = FrameRange::kToEnd;
    if (a < 0 || b < 0)
        return {std::nullopt, "--frames " + text + ": frames count from 0; a negative frame does not exist"};
    if (a > b)
        return {std::nullopt, expected};
    return {FrameRange{a, b}, ""};
}

FrameRangeFit fitToComposition(const FrameRange& asked, int frameCount, const std::string& text,
                               const std::string& sceneName)
{
    const std::string frames = " (frames 0 to " + std::to_string(frameCount - 1) + ")";
    if (asked.first >= frameCount)
        return {std::nullopt, "", "--frames " + text + ": frame " + std::to_string(asked.first) + " is past the end of " +
                                      sceneName + frames};
    if (asked.last < frameCount)
        return {asked, "", ""};
    const FrameRange fitted{asked.first, frameCount - 1};
    if (asked.last == FrameRange::kToEnd)
        return {fitted, "", ""};
    return {fitted,
            "--frames " + text + " runs past the end of " + sceneName + frames + "; rendering frames " +
                std::to_string(fitted.first) + " to " + std::to_string(fitted.last),
            ""};
}

bool isNumbered(const std::string& pattern) { return findSlot(pattern).at != std::string::npos; }

std::string framePath(const std::string& pattern, int frame)
{
    const Slot slot = findSlot(pattern);
    if (slot.at == std::string::npos)
        return pattern;
    char digits[128];
    std::snprintf(digits, sizeof digits, "%0*d", slot.width, frame);
    return pattern.substr(0, slot.at) + digits + pattern.substr(slot.at + slot.length);
}

std::string numberingProblem(const std::string& pattern, const FrameRange& range, const std::string& source)
{
    if (range.count() <= 1 || isNumbered(pattern))
        return "";
    return pattern + ": " + source + " asks for " + std::to_string(range.count()) + " frames (" +
           std::to_string(range.first) + " to " + std::to_string(range.last) +
           "), which need a numbered output name such as f_####.png or f_%04d.png; or pick one with --frame N";
}

} // namespace orbhost::cli
