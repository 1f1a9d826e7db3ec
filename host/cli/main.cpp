// orbulon-render: renders a scene file with an effect module (Orbulon by default) to images.
// Exit codes: 0 success, 2 bad scene or arguments, 1 effect or render failure.
#include "describe.h"
#include "run_stats.h"

#include "host/core/host_errors.h"
#include "host/core/host_codes.h"
#include "host/core/scene_binding.h"
#include "host/scene/scene.h"

#include <CLI/CLI.hpp>

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

bool stdoutIsTerminal()
{
#if defined(_WIN32)
    return _isatty(_fileno(stdout));
#else
    return isatty(fileno(stdout));
#endif
}

// "out_####.png" with frame 7 -> "out_0007.png"; the longest run of '#' is the number.
std::string framePath(const std::string& pattern, int frame)
{
    const auto first = pattern.find('#');
    if (first == std::string::npos)
        return pattern;
    auto last = first;
    while (last < pattern.size() && pattern[last] == '#')
        ++last;
    char digits[32];
    std::snprintf(digits, sizeof digits, "%0*d", int(last - first), frame);
    return pattern.substr(0, first) + digits + pattern.substr(last);
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

bool parseRange(const std::string& text, int* a, int* b)
{
    const auto colon = text.find(':');
    return colon != std::string::npos && parseWholeInt(text.substr(0, colon), a) &&
           parseWholeInt(text.substr(colon + 1), b) && *a <= *b;
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
            std::cerr << "warning: " << commandName(log[i].cmd) << " left unbalanced: " << imbalance.what
                      << " (" << imbalance.count << ")\n";
}

// A failed UI command does not stop the render (the real host shows its error and goes on),
// but the user hears of it.
void printUiFailures(const EffectHost& host, std::size_t fromRecord)
{
    const auto& log = host.commandLog();
    for (std::size_t i = fromRecord; i < log.size(); ++i)
        if ((log[i].cmd == PF_Cmd_USER_CHANGED_PARAM || log[i].cmd == PF_Cmd_UPDATE_PARAMS_UI) && log[i].result)
            std::cerr << "warning: " << commandName(log[i].cmd) << " failed with error " << log[i].result << '\n';
}

// Set-down, then what the set-down commands left unbalanced.
void shutDownAndReport(EffectHost& host)
{
    const std::size_t logStart = host.commandLog().size();
    host.shutdown();
    printImbalances(host, logStart);
}

// "\rframe F [####......] done/total" on one terminal line.
void printProgress(int frame, int done, int total)
{
    constexpr int width = 30;
    const int filled = done * width / total;
    std::cout << "\rframe " << frame << " [" << std::string(std::size_t(filled), '#')
              << std::string(std::size_t(width - filled), '.') << "] " << done << '/' << total << std::flush;
}

std::string commandFailure(const EffectHost& host, PF_Err err)
{
    const CommandRecord& last = host.commandLog().back();
    std::string text = std::string(commandName(last.cmd)) + " failed with error " + std::to_string(err);
    if (!last.problem.empty())
        text += ": " + last.problem;
    if (!last.returnMsg.empty())
        text += " (effect says: " + last.returnMsg + ")";
    return text;
}

// "--fail KIND:N": the Nth attempt of that kind fails.
bool planFault(const std::string& text, FaultPlan& plan)
{
    const auto colon = text.find(':');
    int nth = 0;
    if (colon == std::string::npos || !parseWholeInt(text.substr(colon + 1), &nth) || nth < 1)
        return false;
    const std::string kind = text.substr(0, colon);
    if (kind == "handle")
        plan.failHandleAllocation = nth;
    else if (kind == "world")
        plan.failWorldCreation = nth;
    else if (kind == "add_param")
        plan.failAddParam = nth;
    else if (kind == "checkout")
        plan.failCheckout = nth;
    else if (kind == "stream")
        plan.failStreamRead = nth;
    else if (kind == "param_ui")
        plan.failParamUiUpdate = nth;
    else
        return false;
    return true;
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
    std::string scenePath, outputPath, modulePath, frameRange, downsample, appName, hostVersion;
    int frame = -1, bitDepth = 0, threads = 0;
    bool describe = false, about = false, stats = false, verbose = false, uiState = false, sweep = false;
    std::vector<std::string> failSuites, failNth;
    app.add_option("scene", scenePath, "Scene file (JSON)");
    app.add_option("-o,--output", outputPath, "Output image (.png, .exr, .tif, .pam); a #### run numbers frames");
    app.add_option("--module", modulePath, "Effect module (default: the Orbulon module next to this program)");
    app.add_option("--frame", frame, "Frame to render (composition frame from 0)")->check(CLI::NonNegativeNumber);
    app.add_option("--frames", frameRange, "Frames A:B to render, numbered into the output pattern");
    app.add_option("--bit-depth", bitDepth, "Bits per channel: 8, 16 or 32")->check(CLI::IsMember({8, 16, 32}));
    app.add_option("--downsample", downsample, "Render at 1/N resolution: N or X,Y");
    app.add_option("--threads", threads, "Iterate worker threads (default: one per core)")->check(CLI::PositiveNumber);
    app.add_flag("--describe", describe, "Print the property list and the registered parameters");
    app.add_flag("--about", about, "Print the effect's about text");
    app.add_flag("--stats", stats, "Print timings and peak memory");
    app.add_option("--host-version", hostVersion, "Report this effect protocol version, MAJOR.MINOR (default 13.27)");
    app.add_option("--app", appName, "Pose as another host application")->check(CLI::IsMember({"premiere", "aftereffects"}));
    app.add_flag("--verbose", verbose, "Log host calls, unsupported calls and suite requests");
    app.add_flag("--ui-state", uiState, "Print greyed-out and hidden parameters, expressions and layer names after the render");
    app.add_option("--fail-suite", failSuites, "Make the basic suite refuse this suite (repeatable)");
    app.add_option("--fail", failNth, "Make the Nth attempt fail: handle:N, world:N, add_param:N, checkout:N, stream:N or param_ui:N");
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
        if (!planFault(f, faults)) {
            std::cerr << "orbulon-render: --fail " << f << ": expected handle:N, world:N, add_param:N, checkout:N, stream:N or param_ui:N\n";
            return kExitUsage;
        }
    }
    if (!describe && !about && !renders && !sweep) {
        std::cerr << "orbulon-render: give a scene and -o OUTPUT (or --describe / --about)\n";
        return kExitUsage;
    }
    if (!scenePath.empty() && outputPath.empty() && !describe && !about) {
        std::cerr << "orbulon-render: no output file given (-o)\n";
        return kExitUsage;
    }
    int firstFrame = 0, lastFrame = 0, dsX = 0, dsY = 0;
    if (!frameRange.empty() && !parseRange(frameRange, &firstFrame, &lastFrame)) {
        std::cerr << "orbulon-render: --frames " << frameRange << ": expected A:B with A <= B\n";
        return kExitUsage;
    }
    if (!downsample.empty() && !parseDownsample(downsample, &dsX, &dsY)) {
        std::cerr << "orbulon-render: --downsample " << downsample << ": expected N or X,Y between 1 and "
                  << kMaxDownsample << '\n';
        return kExitUsage;
    }
    if (!frameRange.empty() && firstFrame != lastFrame && outputPath.find('#') == std::string::npos) {
        std::cerr << "orbulon-render: " << outputPath << ": several frames need a #### pattern in the output name\n";
        return kExitUsage;
    }

    Scene scene;
    if (!scenePath.empty()) {
        try {
            scene = loadScene(scenePath);
            if (renders)
                checkOutputFormat(outputPath);
        } catch (const std::exception& e) {
            std::cerr << e.what() << '\n';
            return kExitUsage;
        }
        // Frames from the command line must lie in the composition, as the scene's own must.
        const int frames = frameCount(scene);
        const int lastAsked = frameRange.empty() ? frame : lastFrame;
        if (lastAsked >= frames) {
            std::cerr << "orbulon-render: frame " << lastAsked << " is past the end of " << scenePath << " (frames 0 to "
                      << frames - 1 << ")\n";
            return kExitUsage;
        }
    }

    HostConfig config;
    if (!hostVersion.empty() && !parseHostVersion(hostVersion, &config.version)) {
        std::cerr << "orbulon-render: --host-version " << hostVersion << ": expected MAJOR.MINOR, e.g. 13.1\n";
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
        if (!scenePath.empty())
            host.setComposition(compositionFromScene(scene));
        if (about) {
            std::string text;
            host.about(&text);
            if (!text.empty())
                std::cout << text << '\n';
        }
        if (PF_Err err = host.start()) {
            std::cerr << modulePath << ": " << commandFailure(host, err) << '\n';
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
            std::cerr << e.what() << '\n';
            return kExitUsage;
        }

        FrameRequest request;
        request.bitDepth = bitDepth ? bitDepth : scene.render.bitDepth;
        request.downsampleX = dsX ? dsX : scene.render.downsampleX;
        request.downsampleY = dsY ? dsY : scene.render.downsampleY;
        if (frameRange.empty()) {
            firstFrame = lastFrame = frame >= 0 ? frame : scene.render.firstFrame;
            if (frame < 0 && outputPath.find('#') != std::string::npos)
                lastFrame = scene.render.lastFrame;
        }
        const bool progress = stdoutIsTerminal() && lastFrame > firstFrame;
        long long pixels = 0;
        int failures = 0;
        for (int f = firstFrame; f <= lastFrame; ++f) {
            request.seconds = f / scene.frameRate;
            const std::size_t logStart = host.commandLog().size();
            Image image;
            const PF_Err err = host.renderFrame(request, &image);
            printUiFailures(host, logStart);
            printImbalances(host, logStart);
            const std::string path = framePath(outputPath, f);
            if (err) {
                std::cerr << path << ": frame " << f << ": " << commandFailure(host, err) << '\n';
                ++failures;
                continue;
            }
            pixels += (long long)image.width * image.height;
            try {
                writeImage(path, image, request.bitDepth);
            } catch (const std::exception& e) {
                std::cerr << e.what() << '\n';
                return kExitUsage;
            }
            if (progress)
                printProgress(f, f - firstFrame + 1, lastFrame - firstFrame + 1);
        }
        if (progress)
            std::cout << '\n';
        if (uiState) {
            std::cout << "UI state after the render:\n";
            printUiState(std::cout, host);
        }
        shutDownAndReport(host);
        for (const Imbalance& live : host.liveResources())
            if (live.what == "handle" || live.what == "world")
                std::cerr << "warning: at unload the effect still holds " << live.count << ' ' << live.what << "(s)\n";
        if (stats)
            printStats(std::cout, host, pixels,
                       std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        return failures ? kExitFailure : kExitOk;
    } catch (const LoadError& e) {
        std::cerr << e.what() << '\n';
        return kExitFailure;
    }
}
