#include "host/core/accounting.h"

namespace orbhost {

void Accounting::take(const std::string& key, long long n)
{
    std::lock_guard lock(mutex_);
    outstanding_[key] += n;
    totals_[key + " (taken)"] += n;
}

void Accounting::giveBack(const std::string& key, long long n)
{
    std::lock_guard lock(mutex_);
    outstanding_[key] -= n;
    totals_[key + " (given back)"] += n;
}

void Accounting::count(const std::string& event, long long n)
{
    std::lock_guard lock(mutex_);
    totals_[event] += n;
}

long long Accounting::outstanding(const std::string& key) const
{
    std::lock_guard lock(mutex_);
    auto it = outstanding_.find(key);
    return it == outstanding_.end() ? 0 : it->second;
}

long long Accounting::total(const std::string& event) const
{
    std::lock_guard lock(mutex_);
    auto it = totals_.find(event);
    return it == totals_.end() ? 0 : it->second;
}

std::map<std::string, long long> Accounting::outstandingSnapshot() const
{
    std::lock_guard lock(mutex_);
    return outstanding_;
}

std::map<std::string, long long> Accounting::totals() const
{
    std::lock_guard lock(mutex_);
    return totals_;
}

std::vector<Imbalance> Accounting::difference(const std::map<std::string, long long>& before,
                                              const std::map<std::string, long long>& after)
{
    std::vector<Imbalance> result;
    for (const auto& [key, now] : after) {
        auto it = before.find(key);
        const long long then = it == before.end() ? 0 : it->second;
        if (now != then)
            result.push_back({key, now - then});
    }
    for (const auto& [key, then] : before)
        if (!after.contains(key) && then != 0)
            result.push_back({key, -then});
    return result;
}

} // namespace orbhost
