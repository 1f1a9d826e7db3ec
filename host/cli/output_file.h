// Writing outputs safely: each file is written under a temporary name in its own folder
// and renamed into place only once it is complete, so that a reader, or a later run, never sees
// a half-written file under the final name, whatever stops the program.
#pragma once

#include "host/scene/image.h"

#include <string>

namespace orbcli {

// Exit codes when SIGHUP, SIGINT or SIGTERM stops the program: 128 plus the signal number.
inline constexpr int kExitHungUp = 129, kExitInterrupted = 130, kExitTerminated = 143;

// From here on SIGHUP (a closed terminal, a dropped connection; not on Windows), SIGINT and
// SIGTERM remove the temporary file being written, if any, print which file was left unwritten
// and end the program with kExitHungUp, kExitInterrupted or kExitTerminated. With
// `endOpenLine` the message starts on a new line, after a progress bar left open on a terminal.
void installStopHandlers(bool endOpenLine);

// The temporary name writeImageSafely uses for path: a hidden file in the same folder, with
// the same extension (the format follows it).
std::string temporaryPathFor(const std::string& path);

// Writes the image to a temporary file beside path, then renames it to path. On any failure
// the temporary file is removed and an ImageError names path and the cause.
void writeImageSafely(const std::string& path, const orbhost::Image& image, int bitDepth,
                      const orbhost::ImageMetadata& metadata = {});

// The same for a text file (the --stats-json figures).
void writeTextSafely(const std::string& path, const std::string& text);

}  // namespace orbcli
