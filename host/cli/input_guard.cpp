#include "input_guard.h"

#include "output_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>
#include <system_error>

namespace orbcli {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(const std::string& path, const std::string& problem)
{
    throw RefusedPath(path + ": " + problem);
}

// The same file as any of the inputs: equivalent() for files that exist, and the normalised
// absolute path for the rest.
bool sameFile(const fs::path& a, const fs::path& b)
{
    std::error_code ec;
    if (fs::exists(a, ec) && fs::exists(b, ec)) {
        const bool same = fs::equivalent(a, b, ec);
        if (!ec)
            return same;
    }
    const fs::path ca = fs::weakly_canonical(a, ec);
    if (ec)
        return false;
    const fs::path cb = fs::weakly_canonical(b, ec);
    return !ec && ca == cb;
}

}  // namespace

void checkScenePath(const std::string& scenePath)
{
    std::error_code ec;
    const fs::file_status status = fs::status(scenePath, ec);
    if (ec || !fs::exists(status))
        return;
    if (fs::is_directory(status))
        refuse(scenePath, "is a folder, not a scene file");
    if (!fs::is_regular_file(status))
        refuse(scenePath, "is not a regular file (a device or pipe?), not a scene file");
    const std::uintmax_t size = fs::file_size(scenePath, ec);
    if (!ec && size > kMaxSceneBytes)
        refuse(scenePath, "is " + std::to_string(size) + " bytes, more than any scene (the limit is " +
                              std::to_string(kMaxSceneBytes) + " bytes); is it the right file?");
}

void checkSceneImages(const orbhost::Scene& scene)
{
    for (const orbhost::Layer& layer : scene.layers) {
        if (layer.kind != orbhost::LayerKind::Image || layer.file.empty())
            continue;
        try {
            orbhost::checkImageDecodes(layer.file);
        } catch (const orbhost::ImageError& e) {
            throw orbhost::SceneError(scene.file + ": " + layer.jsonPath + "/file: cannot read image '" + layer.file +
                                      "' of layer \"" + layer.displayName() +
                                      "\": " + (e.problem.empty() ? e.what() : e.problem));
        }
    }
}

std::vector<std::string> sceneInputs(const orbhost::Scene& scene, const std::string& scenePath)
{
    std::vector<std::string> inputs{scenePath};
    for (const orbhost::Layer& layer : scene.layers)
        if (!layer.file.empty())
            inputs.push_back(layer.file);
    return inputs;
}

void checkOutputsAreNotInputs(const std::vector<std::string>& outputs, const std::vector<std::string>& inputs)
{
    std::error_code ec;
    std::set<std::string> seen;
    for (const std::string& output : outputs) {
        if (!seen.insert(output).second)
            continue;
        // The inputs have all been read, so an output name that does not exist is none of them.
        if (!fs::exists(output, ec))
            continue;
        for (const std::string& input : inputs) {
            if (sameFile(output, input))
                refuse(output, "is one of the render's inputs (" + input + "); choose another output name");
        }
    }
}

void prepareOutputFolders(const std::vector<std::string>& outputs)
{
    std::set<fs::path> folders;
    std::vector<std::string> probes;
    for (const std::string& output : outputs) {
        fs::path folder = fs::path(output).parent_path();
        if (folder.empty())
            folder = ".";
        if (folders.insert(folder).second)
            probes.push_back(output);
    }
    for (const std::string& output : probes) {
        std::error_code ec;
        if (fs::is_directory(output, ec))
            refuse(output, "is a folder; the output must be a file name");
        fs::path folder = fs::path(output).parent_path();
        if (folder.empty())
            folder = ".";
        if (!fs::is_directory(folder, ec)) {
            fs::create_directories(folder, ec);
            if (ec)
                refuse(folder.string(), "cannot create the output folder: " + ec.message());
        }
        const std::string probe = temporaryPathFor(output);
        errno = 0;
        std::FILE* file = std::fopen(probe.c_str(), "wb");
        if (!file)
            refuse(folder.string(), std::string("cannot write in the output folder: ") +
                                        std::strerror(errno ? errno : EACCES));
        std::fclose(file);
        fs::remove(probe, ec);
    }
}

}  // namespace orbcli
