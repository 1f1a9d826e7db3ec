// This program replaces the global operator new and delete. Armed, it counts the allocations
// made from inside one module (the effect, or the C++ runtime called from it) and fails the Nth.
// The host's own are never failed: a bad_alloc inside a host callback would test the host.
#pragma once

namespace effect_allocations {

// The module whose allocations count: any address inside it (its entry point).
void watchModule(const void* addressInside);
// Counts from zero; failAt = 0 only counts.
void arm(int failAt);
// Stops counting; returns the number of counted allocations (the failed one included).
int disarm();
bool fired();

}  // namespace effect_allocations
