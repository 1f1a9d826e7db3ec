#include "effect_allocations.h"

#include <dlfcn.h>
#include <execinfo.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace effect_allocations {
namespace {

std::atomic<const void*> gModuleBase{nullptr};
std::atomic<bool> gArmed{false}, gFired{false};
std::atomic<int> gCount{0}, gFailAt{0};
thread_local bool tInside = false;   // backtrace and dladdr may allocate themselves

const void* baseOf(const void* address)
{
    Dl_info info{};
    return dladdr(address, &info) ? info.dli_fbase : nullptr;
}

// Whether the allocation that called us came from the watched module: the first caller
// outside this program's allocator that is not a shared runtime library (libstdc++, libc)
// decides. Frame 0 is the operator itself.
[[gnu::always_inline]] inline bool fromWatchedModule()
{
    void* frames[48];
    const int n = backtrace(frames, 48);
    static const void* const program = baseOf(reinterpret_cast<const void*>(&arm));
    for (int i = 1; i < n; ++i) {
        const void* base = baseOf(frames[i]);
        if (base == gModuleBase.load())
            return true;
        if (base == program)
            return false;
    }
    return false;
}

[[gnu::always_inline]] inline bool failThis()
{
    if (!gArmed.load(std::memory_order_relaxed) || tInside)
        return false;
    tInside = true;
    const bool counted = fromWatchedModule();
    tInside = false;
    if (!counted)
        return false;
    const int nth = ++gCount;
    if (nth != gFailAt.load())
        return false;
    gFired = true;
    return true;
}

void* allocate(std::size_t size, std::size_t alignment)
{
    if (size == 0)
        size = 1;
    if (alignment <= alignof(std::max_align_t))
        return std::malloc(size);
    void* p = nullptr;
    return posix_memalign(&p, alignment, size) == 0 ? p : nullptr;
}

}  // namespace

void watchModule(const void* addressInside)
{
    gModuleBase = baseOf(addressInside);
    void* frames[4];
    backtrace(frames, 4);   // loads the unwinder now, not inside a counted allocation
}

void arm(int failAt)
{
    gCount = 0;
    gFailAt = failAt;
    gFired = false;
    gArmed = true;
}

int disarm()
{
    gArmed = false;
    return gCount.load();
}

bool fired() { return gFired.load(); }

}  // namespace effect_allocations

using effect_allocations::allocate;
using effect_allocations::failThis;

// Inlined, like failThis, so that the backtrace's frame 0 stays the operator itself.
namespace {
[[gnu::always_inline]] inline void* allocateOrThrow(std::size_t size, std::size_t alignment)
{
    if (void* p = failThis() ? nullptr : allocate(size, alignment))
        return p;
    throw std::bad_alloc();
}
[[gnu::always_inline]] inline void* allocateOrNull(std::size_t size, std::size_t alignment) noexcept
{
    return failThis() ? nullptr : allocate(size, alignment);
}
}  // namespace

void* operator new(std::size_t size) { return allocateOrThrow(size, 0); }
void* operator new[](std::size_t size) { return allocateOrThrow(size, 0); }
void* operator new(std::size_t size, std::align_val_t a) { return allocateOrThrow(size, std::size_t(a)); }
void* operator new[](std::size_t size, std::align_val_t a) { return allocateOrThrow(size, std::size_t(a)); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocateOrNull(size, 0); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocateOrNull(size, 0); }
void* operator new(std::size_t size, std::align_val_t a, const std::nothrow_t&) noexcept { return allocateOrNull(size, std::size_t(a)); }
void* operator new[](std::size_t size, std::align_val_t a, const std::nothrow_t&) noexcept { return allocateOrNull(size, std::size_t(a)); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
