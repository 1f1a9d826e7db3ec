// Host-side constants shared by the suites and callbacks.
#pragma once
#include "hostapi/host_api.h"

namespace orbhost {

// Extra bytes at the end of every row of a host world, so that code assuming packed rows
// shows its fault.
inline constexpr int kRowPaddingBytes = 32;

// Byte written into row padding and uncleared memory.
inline constexpr unsigned char kPoisonByte = 0xCD;

} // namespace orbhost
