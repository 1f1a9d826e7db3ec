#include "host/core/ansi_and_handles.h"

#include "host/core/host_state.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace orbhost {
namespace {

int ansiSprintf(A_char* buffer, const A_char* format, ...)
{
    va_list args;
    va_start(args, format);
    const int written = std::vsprintf(buffer, format, args);
    va_end(args);
    return written;
}

A_char* ansiStrcpy(A_char* to, const A_char* from)
{
    return std::strcpy(to, from);
}

// Plain wrappers: the C library's own symbols may be overloaded or intrinsics.
A_FpLong fAtan(A_FpLong x) { return std::atan(x); }
A_FpLong fAtan2(A_FpLong y, A_FpLong x) { return std::atan2(y, x); }
A_FpLong fCeil(A_FpLong x) { return std::ceil(x); }
A_FpLong fCos(A_FpLong x) { return std::cos(x); }
A_FpLong fExp(A_FpLong x) { return std::exp(x); }
A_FpLong fFabs(A_FpLong x) { return std::fabs(x); }
A_FpLong fFloor(A_FpLong x) { return std::floor(x); }
A_FpLong fFmod(A_FpLong x, A_FpLong y) { return std::fmod(x, y); }
A_FpLong fHypot(A_FpLong x, A_FpLong y) { return std::hypot(x, y); }
A_FpLong fLog(A_FpLong x) { return std::log(x); }
A_FpLong fLog10(A_FpLong x) { return std::log10(x); }
A_FpLong fPow(A_FpLong x, A_FpLong y) { return std::pow(x, y); }
A_FpLong fSin(A_FpLong x) { return std::sin(x); }
A_FpLong fSqrt(A_FpLong x) { return std::sqrt(x); }
A_FpLong fTan(A_FpLong x) { return std::tan(x); }
A_FpLong fAsin(A_FpLong x) { return std::asin(x); }
A_FpLong fAcos(A_FpLong x) { return std::acos(x); }

// The block and the suite list the same functions in the same order under the same names.
template <class Table>
Table withAnsiFunctions(Table t)
{
    t.atan = fAtan, t.atan2 = fAtan2, t.ceil = fCeil, t.cos = fCos, t.exp = fExp, t.fabs = fFabs;
    t.floor = fFloor, t.fmod = fFmod, t.hypot = fHypot, t.log = fLog, t.log10 = fLog10;
    t.pow = fPow, t.sin = fSin, t.sqrt = fSqrt, t.tan = fTan, t.sprintf = ansiSprintf;
    t.strcpy = ansiStrcpy, t.asin = fAsin, t.acos = fAcos;
    return t;
}

} // namespace

PF_ANSICallbacksBlock ansiBlock()
{
    return withAnsiFunctions(PF_ANSICallbacksBlock{});
}

PF_Handle hostNewHandle(A_u_longlong size)
{
    HostState* host = activeHost();
    if (!host)
        return nullptr;
    if (injectFault(host->faultCounters.handleAllocations, host->faults.failHandleAllocation)) {
        host->note("injected failure: handle allocation");
        return nullptr;
    }
    PF_Handle handle = host->handles.allocate(size);
    if (handle)
        host->accounting.take("handle");
    return handle;
}

void* hostLockHandle(PF_Handle handle)
{
    HostState* host = activeHost();
    if (!host)
        return nullptr;
    void* p = host->handles.lock(handle);
    if (p)
        host->accounting.count("handle lock");
    else
        host->note("lock of an unknown handle");
    return p;
}

void hostUnlockHandle(PF_Handle handle)
{
    if (HostState* host = activeHost()) {
        if (host->handles.unlock(handle))
            host->accounting.count("handle unlock");
        else
            host->note("unlock of an unknown handle");
    }
}

void hostDisposeHandle(PF_Handle handle)
{
    if (HostState* host = activeHost()) {
        if (host->handles.dispose(handle))
            host->accounting.giveBack("handle");
        else
            host->warn("dispose of an unknown or already disposed handle");
    }
}

A_u_longlong hostGetHandleSize(PF_Handle handle)
{
    A_u_longlong size = 0;
    if (HostState* host = activeHost())
        host->handles.size(handle, &size);
    return size;
}

PF_Err hostResizeHandle(A_u_longlong size, PF_Handle* handle)
{
    HostState* host = activeHost();
    return host ? host->handles.resize(size, handle) : PF_Err_BAD_CALLBACK_PARAM;
}

const PF_ANSICallbacksSuite1* ansiSuite()
{
    static const PF_ANSICallbacksSuite1 suite = withAnsiFunctions(PF_ANSICallbacksSuite1{});
    return &suite;
}

const HandleSuite1* handleSuite()
{
    static const HandleSuite1 suite{hostNewHandle, hostLockHandle, hostUnlockHandle,
                                    hostDisposeHandle, hostGetHandleSize, hostResizeHandle};
    return &suite;
}

} // namespace orbhost
