// "AEGP Memory Suite" version 1: memory handles the effect owns (its own and those the host
// returns names and expressions in). Each is accounted under the name it was made for, so a
// leak report says what was left: AEGP memory handle "layer name" (1).
#include "host/core/aegp_access.h"
#include "host/core/unsupported_slots.h"

#include <cstring>

namespace orbhost {
namespace {

PF_Handle asHandle(AEGP_MemHandle memory)
{
    return reinterpret_cast<PF_Handle>(memory);
}

// The active host, if the handle is one of its live memory handles.
HostState* memoryHost(const char* call, AEGP_MemHandle memory)
{
    HostState* host = activeHost();
    if (host && host->memHandles.isLive(asHandle(memory)))
        return host;
    badArgument(call, memory ? "unknown or freed memory handle" : "null memory handle");
    return nullptr;
}

A_Err newMemHandleCall(AEGP_PluginID, const A_char* what, AEGP_MemSize size, AEGP_MemFlag flags, AEGP_MemHandle* memory)
{
    HostState* host = activeHost();
    if (!host || !memory)
        return badArgument("AEGP_NewMemHandle", "null result or no command running");
    PF_Handle handle = host->memHandles.allocate(size);
    *memory = reinterpret_cast<AEGP_MemHandle>(handle);
    if (!handle)
        return A_Err_ALLOC;
    if (flags & AEGP_MemFlag_CLEAR)
        std::memset(*handle, 0, size);
    const std::string name = what && *what ? what : "unnamed";
    host->memHandleNames[handle] = name;
    host->accounting.take(memHandleAccount(name));
    return A_Err_NONE;
}

A_Err freeMemHandle(AEGP_MemHandle memory)
{
    HostState* host = memoryHost("AEGP_FreeMemHandle", memory);
    if (!host)
        return A_Err_PARAMETER;
    if (host->memHandles.lockCount(asHandle(memory)) > 0)
        host->note("AEGP_FreeMemHandle: the handle is still locked");
    host->memHandles.dispose(asHandle(memory));
    auto name = host->memHandleNames.extract(asHandle(memory));
    host->accounting.giveBack(memHandleAccount(name.empty() ? "unnamed" : name.mapped()));
    return A_Err_NONE;
}

A_Err lockMemHandle(AEGP_MemHandle memory, void** pointer)
{
    HostState* host = memoryHost("AEGP_LockMemHandle", memory);
    if (!host || !pointer)
        return A_Err_PARAMETER;
    *pointer = host->memHandles.lock(asHandle(memory));
    return A_Err_NONE;
}

A_Err unlockMemHandle(AEGP_MemHandle memory)
{
    HostState* host = memoryHost("AEGP_UnlockMemHandle", memory);
    if (!host)
        return A_Err_PARAMETER;
    if (host->memHandles.lockCount(asHandle(memory)) == 0)
        return badArgument("AEGP_UnlockMemHandle", "the handle is not locked");
    host->memHandles.unlock(asHandle(memory));
    return A_Err_NONE;
}

A_Err getMemHandleSize(AEGP_MemHandle memory, AEGP_MemSize* size)
{
    HostState* host = memoryHost("AEGP_GetMemHandleSize", memory);
    A_u_longlong bytes = 0;
    if (!host || !size || !host->memHandles.size(asHandle(memory), &bytes))
        return A_Err_PARAMETER;
    *size = AEGP_MemSize(bytes);
    return A_Err_NONE;
}

// A locked block may not move.
A_Err resizeMemHandle(const A_char*, AEGP_MemSize newSize, AEGP_MemHandle memory)
{
    HostState* host = memoryHost("AEGP_ResizeMemHandle", memory);
    if (!host)
        return A_Err_PARAMETER;
    if (host->memHandles.lockCount(asHandle(memory)) > 0)
        return badArgument("AEGP_ResizeMemHandle", "the handle is locked");
    PF_Handle handle = asHandle(memory);
    return host->memHandles.resize(newSize, &handle) == PF_Err_NONE ? A_Err_NONE : A_Err_ALLOC;
}

A_Err setMemReportingOn(A_Boolean)
{
    return A_Err_NONE;
}

A_Err getMemStats(AEGP_PluginID, A_long* count, A_long* size)
{
    HostState* host = activeHost();
    if (!host || !count || !size)
        return A_Err_PARAMETER;
    A_long total = 0;
    for (const auto& [handle, name] : host->memHandleNames) {
        A_u_longlong bytes = 0;
        host->memHandles.size(static_cast<PF_Handle>(const_cast<void*>(handle)), &bytes);
        total += A_long(bytes);
    }
    *count = A_long(host->memHandleNames.size());
    *size = total;
    return A_Err_NONE;
}

} // namespace

const AEGP_MemorySuite1* aegpMemorySuite()
{
    static const AEGP_MemorySuite1 suite =
        tableOfStandIns<AEGP_MemorySuite1, kAEGPMemorySuite, A_Err_GENERIC>([](AEGP_MemorySuite1& s) {
            s.AEGP_NewMemHandle = newMemHandleCall;
            s.AEGP_FreeMemHandle = freeMemHandle;
            s.AEGP_LockMemHandle = lockMemHandle;
            s.AEGP_UnlockMemHandle = unlockMemHandle;
            s.AEGP_GetMemHandleSize = getMemHandleSize;
            s.AEGP_ResizeMemHandle = resizeMemHandle;
            s.AEGP_SetMemReportingOn = setMemReportingOn;
            s.AEGP_GetMemStats = getMemStats;
        });
    return &suite;
}

} // namespace orbhost
