// The C-library forwarding block and the host handle functions, shared by the utility
// callbacks and their suite forms ("PF ANSI Suite" 1, "PF Handle Suite" 2).
#pragma once
#include "hostapi/host_api.h"

namespace orbhost {

PF_ANSICallbacksBlock ansiBlock();

PF_Handle hostNewHandle(A_u_longlong size);
void* hostLockHandle(PF_Handle handle);
void hostUnlockHandle(PF_Handle handle);
void hostDisposeHandle(PF_Handle handle);
A_u_longlong hostGetHandleSize(PF_Handle handle);
PF_Err hostResizeHandle(A_u_longlong size, PF_Handle* handle);

// Function order of "PF Handle Suite" version 2 (the suite is not declared in hostapi/).
struct HandleSuite1 {
    PF_Handle (*host_new_handle)(A_u_longlong size);
    void* (*host_lock_handle)(PF_Handle handle);
    void (*host_unlock_handle)(PF_Handle handle);
    void (*host_dispose_handle)(PF_Handle handle);
    A_u_longlong (*host_get_handle_size)(PF_Handle handle);
    PF_Err (*host_resize_handle)(A_u_longlong size, PF_Handle* handle);
};

} // namespace orbhost
