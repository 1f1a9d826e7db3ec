// The structure of a JPEG file, read without decoding it. A JPEG that is cut short decodes
// without an error (the decoder fills the missing rows with grey and only warns), so a file's
// completeness is told by its markers instead.
#pragma once

#include <string>

namespace orbhost {

// True when the bytes run from the start-of-image marker through whole segments and
// entropy-coded scans to an end-of-image marker.
bool jpegReachesEnd(const std::string& bytes);

}  // namespace orbhost
