// Host-side constants shared by the suites and callbacks.
#pragma once
#include "hostapi/host_api.h"

namespace orbhost {

// AcquireSuite's answer for a (name, version) pair the host does not serve: 'S!Fd'.
inline constexpr SPErr kSuiteNotFoundError = 0x53214664;

// in_data->appl_id values ('FXTC' After Effects, 'PrMr' Premiere), as multi-char constants.
inline constexpr A_long kApplIdAfterEffects = 0x46585443;
inline constexpr A_long kApplIdPremiere = 0x50724D72;

// Extra bytes at the end of every row of a host world, so that code assuming packed rows
// shows its fault.
inline constexpr int kRowPaddingBytes = 32;

// Byte written into row padding and uncleared memory.
inline constexpr unsigned char kPoisonByte = 0xCD;

} // namespace orbhost
