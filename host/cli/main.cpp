// orbulon-render: renders a scene file with an effect module (Orbulon by default) to images.
// Exit codes: 0 success, 1 a render or I/O failure, 2 a bad scene or bad arguments; 129, 130 and
// 143 when SIGHUP, SIGINT or SIGTERM stopped it.
#include "console.h"
#include "describe.h"
#include "input_guard.h"
#include "memory_check.h"
#include "output_file.h"
#include "frame_range.h"
#include "fault_options.h"
#include "progress.h"
#include "run_stats.h"
#include "scene_input.h"

#include "host/core/host_errors.h"
#include "host/core/host_codes.h"
#include "host/core/scene_binding.h"
#include "host/scene/scene.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <iostream>

#if defined(_WIN32)
#include <io.h>
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace {

using namespace orbhost;
using cli::kMessagePrefix;

// -q: no progress, notes or warnings; errors still print.
bool quiet = false;

constexpr int kExitOk = 0, kExitFailure = 1, kExitUsage = 2;

#if defined(_WIN32)
constexpr const char* kDefaultModule = "Orbulon.aex";
#else
constexpr const char* kDefaultModule = "Orbulon.so";
#endif

std::filesystem::path programFolder(const char* argv0)
{
#if defined(_WIN32)
    char buffer[MAX_PATH];
    if (GetModuleFileNameA(nullptr, buffer, MAX_PATH))
        return std::filesystem::path(buffer).parent_path();
#else
    std::error_code ec;
    auto self = std::filesystem::read_symlink("/proc/self/exe", ec);
    if (!ec)
        return self.parent_path();
#endif
    return std::filesystem::absolute(argv0).parent_path();
}

// The whole of text as a decimal integer.
bool parseWholeInt(const std::string& text, int* value)
{
    try {
        std::size_t used = 0;
        *value = std::stoi(text, &used);
        return used == text.size();
    } catch (...) {
        return false;
    }
}

// "MAJOR.MINOR", the effect protocol version the host reports in in_data->version.
bool parseHostVersion(const std::string& text, PF_SpecVersion* version)
{
    const auto dot = text.find('.');
    int major = 0, minor = 0;
    if (dot == std::string::npos || !parseWholeInt(text.substr(0, dot), &major) ||
        !parseWholeInt(text.substr(dot + 1), &minor) || major < 0 || minor < 0 || major > 32767 || minor > 32767)
        return false;
    version->major = A_short(major);
    version->minor = A_short(minor);
    return true;
}

bool parseDownsample(const std::string& text, int* x, int* y)
{
    const auto comma = text.find(',');
    if (!parseWholeInt(text.substr(0, comma), x))
        return false;
    if (comma == std::string::npos)
        *y = *x;
    else if (!parseWholeInt(text.substr(comma + 1), y))
        return false;
    return *x >= 1 && *y >= 1 && *x <= kMaxDownsample && *y <= kMaxDownsample;
}

void printImbalances(const EffectHost& host, std::size_t fromRecord)
{
    const auto& log = host.commandLog();
    for (std::size_t i = fromRecord; i < log.size(); ++i)
        for (const Imbalance& imbalance : log[i].imbalances)
            if (!quiet)
                std::cerr << kMessagePrefix << "warning: " << commandName(log[i].cmd) << " left unbalanced: " << imbalance.what
                      << " (" << imbalance.count << ")\n";
}

// A failed UI command does not stop the render (the real host shows its error and goes on),
// but the user hears of it.
void printUiFailures(const EffectHost& host, std::size_t fromRecord)
{
    const auto& log = host.commandLog();
    for (std::size_t i = fromRecord; i < log.size(); ++i)
        if ((log[i].cmd == PF_Cmd_USER_CHANGED_PARAM || log[i].cmd == PF_Cmd_UPDATE_PARAMS_UI) && log[i].result &&
            !quiet)
            std::cerr << kMessagePrefix << "warning: " << commandName(log[i].cmd) << " failed: "
                      << cli::errorText(log[i].result) << '\n';
}

// Set-down, then what the set-down commands left unbalanced.
void shutDownAndReport(EffectHost& host)
{
    const std::size_t logStart = host.commandLog().size();
    host.shutdown();
    printImbalances(host, logStart);
}

std::string commandFailure(const EffectHost& host, PF_Err err)
{
    const CommandRecord& last = host.commandLog().back();
    std::string text = std::string(commandName(last.cmd)) + " failed: " + cli::errorText(err);
    if (!last.problem.empty())
        text += ": " + last.problem;
    if (!last.returnMsg.empty())
        text += " (effect says: " + last.returnMsg + ")";
    return text;
}

// Sends every command number from 0 to 40 that the set-up, set-down and render paths do not
// already send, and prints what the effect answered.
int sweepCommands(EffectHost& host)
{
    int failures = 0;
    for (PF_Cmd cmd = 0; cmd <= 40; ++cmd) {
        if (cmd == PF_Cmd_GLOBAL_SETUP || cmd == PF_Cmd_GLOBAL_SETDOWN || cmd == PF_Cmd_PARAMS_SETUP ||
            cmd == PF_Cmd_SMART_PRE_RENDER || cmd == PF_Cmd_SMART_RENDER)
            continue;
        const std::size_t logStart = host.commandLog().size();
        const PF_Err err = host.sendCommand(cmd);
        std::cout << "command " << cmd << ' ' << commandName(cmd) << ": " << err << '\n';
        printImbalances(host, logStart);
        failures += host.commandLog().back().problem.empty() ? 0 : 1;
    }
    return failures;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app{"Renders a scene with an effect module through the headless host."};
    // Under Wine users pass Unix paths, which would otherwise read as /option switches.
    app.allow_windows_style_options(false);
    std::string scenePath, outputPath, modulePath, frameRange, downsample, appName, hostVersion, statsJson;
    std::string progressOption;
    int frame = -1, bitDepth = 0, threads = 0;
    bool describe = false, about = false, stats = false, verbose = false, uiState = false, sweep = false;
    bool skipExisting = false;
    std::vector<std::string> failSuites, failNth, nullPointers, oldSuites;
    std::string rowBytes;
    bool unclampedParams = false;
    app.add_option("scene", scenePath, "Scene file (JSON)");
    app.failure_message([](const CLI::App*, const CLI::Error& e) {
        return std::string(kMessagePrefix) + e.what() + " (see --help)\n";
    });
    app.set_version_flag("--version", std::string("orbulon-render ") + ORBULON_VERSION);
    app.add_option("-o,--output", outputPath,
                   "Output image (.png, .exr, .tif, .pam); f_####.png or f_%04d.png numbers frames");
    app.add_option("--module", modulePath, "Effect module (default: the Orbulon module next to this program)");
    const CLI::Validator fromZero(
        [](std::string& text) {
            return text.starts_with("-") ? "frames count from 0; a negative frame does not exist" : "";
        },
        "FRAME");
    auto* frameOption =
        app.add_option("--frame", frame, "Frame to render (composition frame from 0)")->check(fromZero);
    app.add_option("--frames", frameRange,
                   "Frames A:B or A-B (cut at the scene's end), or A- to the end, numbered into the output name")
        ->excludes(frameOption);
    app.add_flag("-q,--quiet", quiet, "No progress, notes or warnings; errors still print");
    app.add_option("--progress", progressOption,
                   "auto: a bar on a terminal, one line per frame elsewhere (the default); lines; off")
        ->check(CLI::IsMember({"auto", "lines", "off"}));
    app.add_option("--bit-depth", bitDepth, "Bits per channel: 8, 16 or 32")->check(CLI::IsMember({8, 16, 32}));
    app.add_option("--downsample", downsample, "Render at 1/N resolution: N or X,Y");
    app.add_option("--threads", threads, "Iterate worker threads (0 or left out: one per core)")->check(CLI::NonNegativeNumber);
    app.add_flag("--describe", describe, "Print the property list and the registered parameters");
    app.add_flag("--about", about, "Print the effect's about text");
    app.add_flag("--stats", stats, "Print timings (median, min, max over a sequence) and peak memory");
    app.add_option("--stats-json", statsJson, "Write the --stats figures to this JSON file");
    std::string maxMemory;
    app.add_option("--max-memory", maxMemory, "Refuse frames estimated to need more than this (bytes, or with K, M, G, T)");
    app.add_flag("--skip-existing", skipExisting, "Leave frames whose output file already exists as they are");
    app.add_option("--host-version", hostVersion, "Report this effect protocol version, MAJOR.MINOR (default 13.27)");
    app.add_option("--app", appName, "Pose as another host application")->check(CLI::IsMember({"premiere", "aftereffects"}));
    app.add_flag("--verbose", verbose, "Log host calls, unsupported calls and suite requests");
    app.add_flag("--ui-state", uiState, "Print greyed-out and hidden parameters, expressions and layer names after the render");
    app.add_option("--fail-suite", failSuites, "Make the basic suite refuse this suite (repeatable)");
    app.add_option("--fail", failNth, std::string("Make the Nth attempt fail: ") + orbcli::kFailKinds);
    app.add_option("--null", nullPointers, "Hand the effect a null pointer there, e.g. in_data.utils (repeatable)");
    app.add_option("--old-suite", oldSuites, "Serve suite NAME only up to version V: NAME:V (repeatable)");
    app.add_option("--row-bytes", rowBytes, "Row layout of every world: padded, off-pixel or wide");
    app.add_flag("--unclamped-params", unclampedParams,
                 "Pass scene values outside a parameter's range (and \"nan\", \"inf\", \"-inf\") to the effect");
    app.add_flag("--command-sweep", sweep, "Send every command number 0..40 and print the answers");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return code == 0 ? kExitOk : kExitUsage;
    }

    const bool renders = !scenePath.empty() && !outputPath.empty();
    FaultPlan faults;
    faults.unavailableSuites.insert(failSuites.begin(), failSuites.end());
    for (const std::string& f : failNth) {
        if (!orbcli::planFault(f, faults)) {
            std::cerr << "orbulon-render: --fail " << f << ": expected " << orbcli::kFailKinds << '\n';
            return kExitUsage;
        }
    }
    for (const std::string& name : nullPointers) {
        if (!orbcli::planNullPointer(name, faults)) {
            std::cerr << "orbulon-render: --null " << name << ": expected one of " << orbcli::nullPointerNames() << '\n';
            return kExitUsage;
        }
    }
    for (const std::string& text : oldSuites) {
        if (!orbcli::planOldSuite(text, faults)) {
            std::cerr << "orbulon-render: --old-suite " << text << ": expected NAME:VERSION, e.g. \"AEGP Layer Suite:11\"\n";
            return kExitUsage;
        }
    }
    if (!rowBytes.empty() && !orbcli::planRowLayout(rowBytes, faults)) {
        std::cerr << "orbulon-render: --row-bytes " << rowBytes << ": expected padded, off-pixel or wide\n";
        return kExitUsage;
    }
    faults.unclampedParams = unclampedParams;
    if (!describe && !about && !renders && !sweep) {
        std::cerr << "orbulon-render: give a scene and -o OUTPUT (or --describe / --about)\n";
        return kExitUsage;
    }
    if (!scenePath.empty() && outputPath.empty() && !describe && !about) {
        std::cerr << "orbulon-render: no output file given (-o)\n";
        return kExitUsage;
    }
    int firstFrame = 0, lastFrame = 0, dsX = 0, dsY = 0;
    cli::FrameRange askedRange;
    if (!frameRange.empty()) {
        const cli::FrameRangeParse parsed = cli::parseFrameRange(frameRange);
        if (!parsed.range) {
            cli::printMessage(std::cerr, parsed.problem);
            return kExitUsage;
        }
        askedRange = *parsed.range;
    }
    if (!downsample.empty() && !parseDownsample(downsample, &dsX, &dsY)) {
        std::cerr << "orbulon-render: --downsample " << downsample << ": expected N or X,Y between 1 and "
                  << kMaxDownsample << '\n';
        return kExitUsage;
    }

    Scene scene;
    if (!scenePath.empty()) {
        try {
            if (scenePath == "-") {
                scene = cli::readSceneFromStdin();
            } else {
                orbcli::checkScenePath(scenePath);
                scene = loadScene(scenePath);
            }
            if (renders)
                checkOutputFormat(outputPath);
        } catch (const std::exception& e) {
            cli::printMessage(std::cerr, e.what());
            return kExitUsage;
        }
        // Frames from the command line must lie in the composition, as the scene's own must;
        // a range that runs past its end is cut there.
        const int frames = frameCount(scene);
        if (frame >= frames) {
            std::cerr << kMessagePrefix << "frame " << frame << " is past the end of " << scenePath << " (frames 0 to "
                      << frames - 1 << ")\n";
            return kExitUsage;
        }
        if (!frameRange.empty()) {
            const cli::FrameRangeFit fit = cli::fitToComposition(askedRange, frames, frameRange, scene.file);
            if (!fit.range) {
                cli::printMessage(std::cerr, fit.problem);
                return kExitUsage;
            }
            if (!fit.note.empty() && !quiet)
                cli::printMessage(std::cerr, "note: " + fit.note);
            firstFrame = fit.range->first;
            lastFrame = fit.range->last;
            if (const std::string problem = cli::numberingProblem(outputPath, *fit.range, "--frames " + frameRange);
                renders && !problem.empty()) {
                cli::printMessage(std::cerr, problem);
                return kExitUsage;
            }
        }
        // The scene's own range follows the rule --frames follows.
        const cli::FrameRange sceneRange{scene.render.firstFrame, scene.render.lastFrame};
        if (const std::string problem = cli::numberingProblem(outputPath, sceneRange, scenePath + " render.frames");
            renders && frameRange.empty() && frame < 0 && !problem.empty()) {
            cli::printMessage(std::cerr, problem);
            return kExitUsage;
        }
        if (renders) {
            try {
                orbcli::checkSceneImages(scene);
            } catch (const SceneError& e) {
                cli::printMessage(std::cerr, e.what());
                return kExitUsage;
            }
        }
    }

    HostConfig config;
    if (!hostVersion.empty() && !parseHostVersion(hostVersion, &config.version)) {
        std::cerr << kMessagePrefix << "--host-version " << hostVersion << ": expected MAJOR.MINOR, e.g. 13.1\n";
        return kExitUsage;
    }
    config.verbose = verbose;
    config.iterate.threads = threads;
    if (appName == "premiere")
        config.applId = kAppIdPremierePro;
    if (modulePath.empty())
        modulePath = (programFolder(argv[0]) / kDefaultModule).string();

    const auto start = std::chrono::steady_clock::now();
    try {
        EffectHost host(modulePath, config);
        host.faults() = faults;
        if (const std::string problem = orbcli::unknownSuiteProblem(host, failSuites); !problem.empty()) {
            cli::printMessage(std::cerr, problem);
            return kExitUsage;
        }
        if (!scenePath.empty())
            host.setComposition(compositionFromScene(scene));
        if (about) {
            std::string text;
            host.about(&text);
            if (!text.empty())
                std::cout << text << '\n';
        }
        if (PF_Err err = host.start()) {
            cli::printMessage(std::cerr, modulePath + ": " + commandFailure(host, err));
            return kExitFailure;
        }
        printUiFailures(host, 0);
        if (describe) {
            std::cout << host.properties().name << " (" << modulePath << ")\nProperty list:\n"
                      << describePipl(host.properties()) << "Parameters:\n";
            printParamTable(std::cout, host);
        }
        if (sweep && sweepCommands(host))
            return kExitFailure;
        if (!renders) {
            shutDownAndReport(host);
            return kExitOk;
        }

        try {
            bindScene(host, scene);
        } catch (const BindError& e) {
            cli::printMessage(std::cerr, e.what());
            return kExitUsage;
        }

        FrameRequest request;
        request.bitDepth = bitDepth ? bitDepth : scene.render.bitDepth;
        request.downsampleX = dsX ? dsX : scene.render.downsampleX;
        request.downsampleY = dsY ? dsY : scene.render.downsampleY;
        if (const int refused = orbcli::refuseOversizedFrames(scene, request, maxMemory))
            return refused;
        if (frameRange.empty()) {
            firstFrame = lastFrame = frame >= 0 ? frame : scene.render.firstFrame;
            if (frame < 0)
                lastFrame = scene.render.lastFrame;
        }
        // Nothing renders until every output, the statistics file included, has a folder that
        // takes files and none is an input.
        try {
            std::vector<std::string> outputs;
            for (int f = firstFrame; f <= lastFrame; ++f)
                outputs.push_back(cli::framePath(outputPath, f));
            if (!statsJson.empty())
                outputs.push_back(statsJson);
            orbcli::checkOutputsAreNotInputs(outputs, orbcli::sceneInputs(scene, scenePath));
            orbcli::prepareOutputFolders(outputs);
        } catch (const orbcli::RefusedPath& e) {
            cli::printMessage(std::cerr, e.what());
            return kExitUsage;
        }
        // Written into EXR and TIFF outputs: the scene file's name without its folder and extension.
        const std::string sceneName = scenePath == "-" ? "" : std::filesystem::path(scenePath).stem().string();
        // A bar on a terminal (for a sequence), one line per frame in a log or a pipe.
        cli::ProgressStyle style = cli::progressStyle(progressOption, quiet, cli::stderrIsTerminal());
        if (style == cli::ProgressStyle::Bar && lastFrame == firstFrame)
            style = cli::ProgressStyle::Off;
        orbcli::installStopHandlers(style == cli::ProgressStyle::Bar);
        cli::Progress progress(std::cerr, style, lastFrame - firstFrame + 1);
        // The frames this run expects to render, for the time left: skipped ones take none.
        std::vector<int> toRender;
        for (int f = firstFrame; f <= lastFrame; ++f)
            if (!skipExisting || !std::filesystem::exists(cli::framePath(outputPath, f)))
                toRender.push_back(f);
        const auto framesLeftAfter = [&](int f) {
            return int(toRender.end() - std::upper_bound(toRender.begin(), toRender.end(), f));
        };
        RunFigures figures;
        int failures = 0;
        for (int f = firstFrame; f <= lastFrame; ++f) {
            if (skipExisting && std::filesystem::exists(cli::framePath(outputPath, f))) {
                progress.frameSkipped(f, cli::framePath(outputPath, f), framesLeftAfter(f));
                continue;
            }
            const auto frameStart = std::chrono::steady_clock::now();
            request.seconds = f / scene.frameRate;
            const std::size_t logStart = host.commandLog().size();
            Image image;
            const PF_Err err = host.renderFrame(request, &image);
            printUiFailures(host, logStart);
            printImbalances(host, logStart);
            const std::string path = cli::framePath(outputPath, f);
            if (err) {
                cli::printMessage(std::cerr, path + ": frame " + std::to_string(f) + ": " + commandFailure(host, err));
                ++failures;
                continue;
            }
            figures.renderedPixels += (long long)image.width * image.height;
            try {
                orbcli::writeImageSafely(path, image, request.bitDepth, {scene.pixelAspect, sceneName, f, request.seconds});
            } catch (const std::exception& e) {
                std::cerr << "orbulon-render: " << e.what() << '\n';
                return kExitFailure;
            }
            figures.peakAfterFrame.push_back(peakMemoryBytes());
            progress.frameRendered(f, path,
                                   std::chrono::duration<double>(std::chrono::steady_clock::now() - frameStart).count(),
                                   framesLeftAfter(f));
        }
        progress.finish();
        if (uiState) {
            std::cout << "UI state after the render:\n";
            printUiState(std::cout, host);
        }
        shutDownAndReport(host);
        for (const std::string& line : orbcli::faultsNeverFired(host))
            cli::printMessage(std::cerr, "warning: " + line);
        for (const Imbalance& live : host.liveResources())
            if ((live.what == "handle" || live.what == "world") && !quiet)
                std::cerr << kMessagePrefix << "warning: at unload the effect still holds " << live.count << ' ' << live.what << "(s)\n";
        figures.wallSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (stats)
            printStats(std::cout, host, figures);
        if (!statsJson.empty()) {
            try {
                writeStatsJson(statsJson, host, figures);
            } catch (const std::exception& e) {
                cli::printMessage(std::cerr, e.what());
                return kExitFailure;
            }
        }
        return failures ? kExitFailure : kExitOk;
    } catch (const LoadError& e) {
        cli::printMessage(std::cerr, e.what());
        return kExitFailure;
    }
}
