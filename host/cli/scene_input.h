// The scene argument "-": a scene read from standard input.
#pragma once

#include "host/scene/scene.h"

#include <string>

namespace orbhost::cli {

// The name messages give a scene read from standard input.
inline constexpr const char* kStdinSceneName = "standard input";

// Reads the whole of standard input as scene text; image paths in it are relative to the
// current folder. Throws SceneError for a malformed or invalid scene, or one over 64 MiB.
Scene readSceneFromStdin();

} // namespace orbhost::cli
