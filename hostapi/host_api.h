// The host's effect and AEGP interface: types, records, suites and constants, with the
// Win64 layout in every build. Everything here uses the host SDK's own identifiers, so a
// build configured with ORBULON_AE_SDK_DIR compiles the same code against the SDK headers.
#pragma once

#if defined(ORBULON_USE_AE_SDK)
#include "AE_Effect.h"
#include "AE_EffectCB.h"
#include "AE_EffectCBSuites.h"
#include "AE_EffectSuites.h"
#include "AE_GeneralPlug.h"
#include "AE_Macros.h"
#include "SPBasic.h"
#else
#include "hostapi/host_constants.h"
#include "hostapi/host_suites.h"
#include "hostapi/host_layout_checks.h"

// The basic suite's answer to an unknown (name, version) pair: 'S!Fd' read as a big-endian
// four-character code.
inline constexpr SPErr kSPSuiteNotFoundError = 0x53214664;
#endif

// in_data->appl_id of the two hosts that load effects of this kind ('FXTC' and 'PrMr').
inline constexpr A_AppID kAppIdAfterEffects = 0x46585443;
inline constexpr A_AppID kAppIdPremierePro = 0x50724D72;

#include <cstdint>

// PF_VERSION packing of a plug-in version number (out_data->my_version and the 'eVER' property).
constexpr A_u_long orbulonPackVersion(A_u_long major, A_u_long minor, A_u_long bugFix,
                                      A_u_long stage, A_u_long build)
{
    return (((major >> 3) & 0xF) << 26) | ((major & 0x7) << 19) | ((minor & 0xF) << 15) |
           ((bugFix & 0xF) << 11) | ((stage & 0x3) << 9) | (build & 0x1FF);
}
static_assert(orbulonPackVersion(1, 1, 5, 3, 1) == 568833);
static_assert(orbulonPackVersion(13, 2, 1, 2, 3) == 69798915);
