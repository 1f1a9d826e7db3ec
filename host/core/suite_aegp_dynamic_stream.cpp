// "AEGP Dynamic Stream Suite" version 5: the dynamic flags of the effect's parameter streams,
// recorded per parameter (nothing a render shows; orbulon-render --ui-state prints them).
#include "host/core/aegp_access.h"
#include "host/core/stream_call.h"
#include "host/core/unsupported_slots.h"

#include <bit>

namespace orbhost {
namespace {

A_Err getDynamicStreamFlags(AEGP_StreamRefH stream, AEGP_DynStreamFlags* flags)
{
    StreamCall call("AEGP_GetDynamicStreamFlags", stream);
    if (!call || !flags)
        return A_Err_PARAMETER;
    *flags = call.state().dynamicFlags;
    return A_Err_NONE;
}

// One flag at a time; DISABLED may not be set this way, and without undo HIDDEN is the only
// flag that may change.
A_Err setDynamicStreamFlag(AEGP_StreamRefH stream, AEGP_DynStreamFlags flag, A_Boolean undoable, A_Boolean set)
{
    constexpr const char* name = "AEGP_SetDynamicStreamFlag";
    StreamCall call(name, stream);
    if (!call)
        return A_Err_PARAMETER;
    if (std::popcount(flag) != 1)
        return badArgument(name, "needs exactly one flag");
    if (flag == AEGP_DynStreamFlag_DISABLED)
        return badArgument(name, "DISABLED cannot be set on a stream");
    if (!undoable && flag != AEGP_DynStreamFlag_HIDDEN)
        return badArgument(name, "only HIDDEN may change without undo");
    A_u_long& flags = call.state().dynamicFlags;
    flags = set ? (flags | flag) : (flags & ~flag);
    call.host->note(std::string(name) + ": parameter " + std::to_string(call.param) + " flag " + std::to_string(flag) +
                    (set ? " set" : " cleared"));
    return A_Err_NONE;
}

} // namespace

const AEGP_DynamicStreamSuite4* aegpDynamicStreamSuite()
{
    static const AEGP_DynamicStreamSuite4 suite = tableOfStandIns<AEGP_DynamicStreamSuite4, kAEGPDynamicStreamSuite,
                                                                  A_Err_GENERIC>([](AEGP_DynamicStreamSuite4& s) {
        s.AEGP_GetDynamicStreamFlags = getDynamicStreamFlags;
        s.AEGP_SetDynamicStreamFlag = setDynamicStreamFlag;
    });
    return &suite;
}

} // namespace orbhost
