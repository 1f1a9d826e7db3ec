// This program replaces the global operator new and delete. Armed, the replacement counts the
// allocations made from inside one module (the effect: its own code, or the C++ runtime called
// from it) and makes the Nth of them fail, as std::bad_alloc or, for the nothrow forms, null.
// The host's own allocations are never counted nor failed: a bad_alloc thrown inside a host
// callback would test the host, not the effect.
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
