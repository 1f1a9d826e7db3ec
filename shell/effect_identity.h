// Who the effect is: names, version and capability flags. Global set-up hands these to the
// host and the property list (resources/orbulon_pipl.h) is built from the same constants,
// so the two cannot disagree.
#pragma once
#include "hostapi/host_api.h"

#include <string_view>

inline constexpr char kEffectName[] = "Orbulon";
inline constexpr char kEffectMatchName[] = "QUORVANTIS_Orbulon";
inline constexpr char kEffectCategory[] = "QUORVANTIS";
// Must spell the exported function's name (shell/entry_point.h).
inline constexpr char kEntryPointName[] = "EntryPointFunc";
inline constexpr char kAboutDescription[] = "Custom lens blur plugin for After Effects.";

inline constexpr A_u_long kVersionMajor = 1;
inline constexpr A_u_long kVersionMinor = 1;
inline constexpr A_u_long kVersionBugFix = 5;
inline constexpr A_u_long kVersionStage = PF_Stage_RELEASE;
inline constexpr A_u_long kVersionBuild = 1;
inline constexpr A_u_long kEffectVersion =
    orbulonPackVersion(kVersionMajor, kVersionMinor, kVersionBugFix, kVersionStage, kVersionBuild);

inline constexpr PF_OutFlags kEffectOutFlags =
    PF_OutFlag_KEEP_RESOURCE_OPEN | PF_OutFlag_DEEP_COLOR_AWARE;
// Not thread-safe on purpose: no PF_OutFlag2_SUPPORTS_THREADED_RENDERING.
inline constexpr PF_OutFlags2 kEffectOutFlags2 =
    PF_OutFlag2_I_USE_3D_CAMERA | PF_OutFlag2_I_USE_3D_LIGHTS |
    PF_OutFlag2_SUPPORTS_SMART_RENDER | PF_OutFlag2_FLOAT_COLOR_AWARE;

static_assert(kEffectVersion == 568833);
static_assert(kEffectOutFlags == 0x02000001);
static_assert(kEffectOutFlags2 == 0x1406);
static_assert(std::string_view(kEffectName).size() <= PF_MAX_EFFECT_NAME_LEN);
static_assert(std::string_view(kEffectCategory).size() <= PF_MAX_EFFECT_CATEGORY_NAME_LEN);
