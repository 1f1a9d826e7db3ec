#include "run_stats.h"

#include "output_file.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>
#include <ostream>
#include <stdexcept>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#include <psapi.h>
#else
#include <sys/resource.h>
#endif

namespace orbhost {

long long peakMemoryBytes()
{
#if defined(_WIN32)
    PROCESS_MEMORY_COUNTERS counters{};
    if (GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters))
        return (long long)counters.PeakWorkingSetSize;
    return 0;
#else
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return (long long)usage.ru_maxrss * 1024;   // Linux reports kilobytes
#endif
}

namespace {

// Times of one command kind or one pass, in seconds.
struct Spread {
    std::vector<double> seconds;
    double total() const
    {
        double sum = 0;
        for (double s : seconds)
            sum += s;
        return sum;
    }
    double median() const
    {
        std::vector<double> sorted = seconds;
        std::sort(sorted.begin(), sorted.end());
        const std::size_t n = sorted.size();
        return n == 0 ? 0 : n % 2 ? sorted[n / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
    }
    double min() const { return seconds.empty() ? 0 : *std::min_element(seconds.begin(), seconds.end()); }
    double max() const { return seconds.empty() ? 0 : *std::max_element(seconds.begin(), seconds.end()); }
};

// The host's own share of the times above: making layer worlds per command, building area
// sampling tables per pass. The rest of a pass is the effect's kernel and the iterate itself.
struct Summary {
    std::map<PF_Cmd, Spread> commands;
    std::map<PF_Cmd, Spread> layerPixels;
    std::vector<Spread> passes;       // pass k of every frame
    std::vector<Spread> areaTables;
    std::vector<long long> iterations;  // per pass, summed over frames
    double pixelsPerSecond = 0;
};

Summary summarize(const EffectHost& host, long long renderedPixels, int frames)
{
    Summary s;
    for (const CommandRecord& r : host.commandLog()) {
        s.commands[r.cmd].seconds.push_back(r.seconds);
        s.layerPixels[r.cmd].seconds.push_back(r.layerPixelSeconds);
    }
    // Every frame runs the same passes; when the count does not divide evenly, each pass stands alone.
    const auto& passes = host.iteratePasses();
    const std::size_t perFrame =
        frames > 0 && passes.size() % std::size_t(frames) == 0 ? passes.size() / std::size_t(frames) : passes.size();
    s.passes.resize(perFrame);
    s.areaTables.resize(perFrame);
    s.iterations.resize(perFrame);
    for (std::size_t i = 0; i < passes.size() && perFrame; ++i) {
        s.passes[i % perFrame].seconds.push_back(passes[i].seconds);
        s.areaTables[i % perFrame].seconds.push_back(passes[i].areaTableSeconds);
        s.iterations[i % perFrame] += passes[i].iterations;
    }
    const auto render = s.commands.find(PF_Cmd_SMART_RENDER);
    const double renderSeconds = render == s.commands.end() ? 0 : render->second.total();
    s.pixelsPerSecond = renderSeconds > 0 ? double(renderedPixels) / renderSeconds : 0;
    return s;
}

} // namespace

void printStats(std::ostream& out, const EffectHost& host, const RunFigures& run)
{
    const Summary s = summarize(host, run.renderedPixels, run.frames());
    char line[200];
    std::snprintf(line, sizeof line, "%-24s %6s %10s %10s %10s %10s\n", "command", "calls", "total ms", "median ms",
                  "min ms", "max ms");
    out << line;
    for (const auto& [cmd, spread] : s.commands) {
        std::snprintf(line, sizeof line, "%-24s %6zu %10.3f %10.3f %10.3f %10.3f\n", commandName(cmd),
                      spread.seconds.size(), spread.total() * 1000, spread.median() * 1000, spread.min() * 1000,
                      spread.max() * 1000);
        out << line;
        const Spread& layers = s.layerPixels.at(cmd);
        if (layers.total() > 0) {
            std::snprintf(line, sizeof line, "  of which layer pixels        %10.3f %10.3f %10.3f %10.3f\n",
                          layers.total() * 1000, layers.median() * 1000, layers.min() * 1000, layers.max() * 1000);
            out << line;
        }
    }
    for (std::size_t k = 0; k < s.passes.size(); ++k) {
        const Spread& p = s.passes[k];
        std::snprintf(line, sizeof line, "iterate pass %-3zu %10lld iterations %6zu runs %10.3f %10.3f %10.3f %10.3f\n",
                      k + 1, s.iterations[k], p.seconds.size(), p.total() * 1000, p.median() * 1000, p.min() * 1000,
                      p.max() * 1000);
        out << line;
        const Spread& tables = s.areaTables[k];
        if (tables.total() > 0) {
            std::snprintf(line, sizeof line, "  of which area tables                                %10.3f %10.3f %10.3f %10.3f\n",
                          tables.total() * 1000, tables.median() * 1000, tables.min() * 1000, tables.max() * 1000);
            out << line;
        }
    }
    if (s.pixelsPerSecond > 0) {
        std::snprintf(line, sizeof line, "pixels per second (smart render): %.0f\n", s.pixelsPerSecond);
        out << line;
    }
    std::snprintf(line, sizeof line, "frames: %d, wall time: %.3f s, peak memory: %.1f MiB\n", run.frames(),
                  run.wallSeconds, double(peakMemoryBytes()) / (1024.0 * 1024.0));
    out << line;
    if (run.frames() > 1) {
        out << "peak memory after frame";
        const auto after = [&](int n) {
            std::snprintf(line, sizeof line, "%s %d: %.1f MiB", n > 1 ? "," : "", n,
                          double(run.peakAfterFrame[std::size_t(n - 1)]) / (1024.0 * 1024.0));
            out << line;
        };
        int n = 1;
        for (; n < run.frames(); n *= 10)
            after(n);
        after(run.frames());
        out << '\n';
    }
}

void writeStatsJson(const std::string& path, const EffectHost& host, const RunFigures& run)
{
    const Summary s = summarize(host, run.renderedPixels, run.frames());
    const auto ms = [](const Spread& spread) {
        return nlohmann::json{{"count", spread.seconds.size()}, {"total_ms", spread.total() * 1000},
                              {"median_ms", spread.median() * 1000}, {"min_ms", spread.min() * 1000},
                              {"max_ms", spread.max() * 1000}};
    };
    nlohmann::json doc;
    doc["frames"] = run.frames();
    doc["wall_seconds"] = run.wallSeconds;
    doc["peak_memory_bytes"] = peakMemoryBytes();
    doc["peak_memory_after_frame_bytes"] = run.peakAfterFrame;
    doc["pixels_per_second"] = s.pixelsPerSecond;
    doc["commands"] = nlohmann::json::object();
    for (const auto& [cmd, spread] : s.commands) {
        doc["commands"][commandName(cmd)] = ms(spread);
        doc["commands"][commandName(cmd)]["layer_pixels"] = ms(s.layerPixels.at(cmd));
    }
    doc["iterate_passes"] = nlohmann::json::array();
    for (std::size_t k = 0; k < s.passes.size(); ++k) {
        nlohmann::json pass = ms(s.passes[k]);
        pass["iterations"] = s.iterations[k];
        pass["area_tables"] = ms(s.areaTables[k]);
        doc["iterate_passes"].push_back(pass);
    }
    orbcli::writeTextSafely(path, doc.dump(2) + '\n');
}

} // namespace orbhost
