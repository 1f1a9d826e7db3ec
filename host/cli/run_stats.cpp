#include "run_stats.h"

#include <cstdio>
#include <map>
#include <ostream>

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

void printStats(std::ostream& out, const EffectHost& host, long long renderedPixels, double wallSeconds)
{
    struct Sum { int count = 0; double seconds = 0; };
    std::map<PF_Cmd, Sum> byCommand;
    for (const CommandRecord& r : host.commandLog()) {
        byCommand[r.cmd].count++;
        byCommand[r.cmd].seconds += r.seconds;
    }
    char line[160];
    out << "command                   calls   total ms\n";
    for (const auto& [cmd, sum] : byCommand) {
        std::snprintf(line, sizeof line, "%-24s %6d %10.3f\n", commandName(cmd), sum.count, sum.seconds * 1000);
        out << line;
    }
    int pass = 0;
    for (const IteratePass& p : host.iteratePasses()) {
        std::snprintf(line, sizeof line, "iterate pass %-3d %10d iterations %10.3f ms\n", ++pass, int(p.iterations),
                      p.seconds * 1000);
        out << line;
    }
    const auto render = byCommand.find(PF_Cmd_SMART_RENDER);
    const double renderSeconds = render == byCommand.end() ? 0 : render->second.seconds;
    if (renderSeconds > 0) {
        std::snprintf(line, sizeof line, "pixels per second (smart render): %.0f\n", double(renderedPixels) / renderSeconds);
        out << line;
    }
    std::snprintf(line, sizeof line, "wall time: %.3f s, peak memory: %.1f MiB\n", wallSeconds,
                  double(peakMemoryBytes()) / (1024.0 * 1024.0));
    out << line;
}

} // namespace orbhost
