// Counts of everything the effect takes from the host and must give back (suites, handles,
// worlds, parameter and layer checkouts), and the imbalances found after a command.
#pragma once
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace orbhost {

// One thing the effect holds more (or fewer) of than it should, e.g. {"suite \"PF World
// Suite\" v2 acquired but not released", 1}.
struct Imbalance {
    std::string what;
    long long count = 0;
};

// Thread-safe running counters. "Outstanding" counters go up on take and down on give back;
// "total" counters only count events (for statistics and tests).
class Accounting {
public:
    void take(const std::string& key, long long n = 1);
    void giveBack(const std::string& key, long long n = 1);
    void count(const std::string& event, long long n = 1);

    long long outstanding(const std::string& key) const;
    long long total(const std::string& event) const;
    std::map<std::string, long long> outstandingSnapshot() const;
    std::map<std::string, long long> totals() const;

    // Keys whose outstanding count differs between two snapshots (what a command left behind).
    static std::vector<Imbalance> difference(const std::map<std::string, long long>& before,
                                             const std::map<std::string, long long>& after);

private:
    mutable std::mutex mutex_;
    std::map<std::string, long long> outstanding_;
    std::map<std::string, long long> totals_;
};

} // namespace orbhost
