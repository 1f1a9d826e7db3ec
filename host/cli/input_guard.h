// Checks made before anything renders: the scene file is a plausible scene, every image it
// names decodes, no output would replace one of the render's own inputs, and every output
// folder exists and takes files.
#pragma once

#include "host/scene/scene.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace orbcli {

// No real scene comes near this; anything larger is the wrong file (a render, a device).
inline constexpr std::uintmax_t kMaxSceneBytes = 64u * 1024 * 1024;

// Message "orbulon-render: FILE: problem".
struct RefusedPath : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Refuses a scene path that names something other than a regular file (a folder, a device,
// a pipe) or a file larger than kMaxSceneBytes. A missing file is left to the scene reader.
void checkScenePath(const std::string& scenePath);

// Decodes every image layer's file, so that a damaged or cut-short image is a bad input found
// before the first frame rather than a failure of every frame. Throws orbhost::SceneError:
// "SCENE: /layers/N/file: cannot read image 'FILE' of layer "NAME": problem".
void checkSceneImages(const orbhost::Scene& scene);

// The files the render reads: the scene file and every image a layer takes its pixels from.
std::vector<std::string> sceneInputs(const orbhost::Scene& scene, const std::string& scenePath);

// Refuses the outputs if any of them is the same file as one of the inputs.
void checkOutputsAreNotInputs(const std::vector<std::string>& outputs, const std::vector<std::string>& inputs);

// Creates each output's folder where it is missing and proves it takes new files by creating
// and removing the temporary file the write would use.
void prepareOutputFolders(const std::vector<std::string>& outputs);

}  // namespace orbcli
