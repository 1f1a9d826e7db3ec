// Orbulon's plug-in property list, in the order the host expects it. Every value that also
// reaches the host at run time comes from shell/effect_identity.h.
#pragma once
#include "shell/effect_identity.h"
#include "tools/pipl/pipl_property.h"

#include <array>

// Layout version of the list's contents (major, minor).
inline constexpr std::uint16_t kPiplVersionMajor = 2;
inline constexpr std::uint16_t kPiplVersionMinor = 0;

inline constexpr std::array kOrbulonPipl = {
    pipl::codeProperty("kind", "eFKT"),
    pipl::pascalProperty("name", kEffectName),
    pipl::pascalProperty("catg", kEffectCategory),
    pipl::cStringProperty("8664", kEntryPointName),
    pipl::pairProperty("ePVR", kPiplVersionMajor, kPiplVersionMinor),
    // The effect interface version the code is written against.
    pipl::pairProperty("eSVR", PF_PLUG_IN_VERSION, 0),
    pipl::int32Property("eVER", kEffectVersion),
    pipl::int32Property("eINF", 0),
    pipl::int32Property("eGLO", static_cast<std::uint32_t>(kEffectOutFlags)),
    pipl::int32Property("eGL2", static_cast<std::uint32_t>(kEffectOutFlags2)),
    pipl::pascalProperty("eMNA", kEffectMatchName),
    pipl::int32Property("aeFL", 0),
};
static_assert(kOrbulonPipl.size() == 12);
