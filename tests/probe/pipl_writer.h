// Property lists for test modules (and broken ones for the loader's tests), encoded by the
// project's own property-list encoder.
#pragma once
#include "tools/pipl/pipl_encoder.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace probe {

// The probe module's list: an effect whose entry point is "ProbeMain".
inline std::vector<std::uint8_t> probePipl(std::string_view entryPoint = "ProbeMain", std::string_view kind = "eFKT")
{
    const pipl::Property list[] = {
        pipl::codeProperty("kind", kind),
        pipl::pascalProperty("name", "Probe"),
        pipl::pascalProperty("catg", "Tests"),
        pipl::cStringProperty("8664", entryPoint),
        pipl::pairProperty("ePVR", 2, 0),
        pipl::pairProperty("eSVR", 13, 27),
        pipl::int32Property("eVER", 0x00080000),
        pipl::int32Property("eINF", 0),
        pipl::int32Property("eGLO", 0x02000000),   // deep colour aware
        pipl::int32Property("eGL2", 0x00001400),   // smart render, float colour
        pipl::pascalProperty("eMNA", "TEST Probe"),
        pipl::int32Property("aeFL", 0),
    };
    return pipl::encode(list);
}

// A list that says what kind of plug-in it is and nothing else: no entry point.
inline std::vector<std::uint8_t> piplWithoutEntryPoint()
{
    const pipl::Property list[] = {pipl::codeProperty("kind", "eFKT")};
    return pipl::encode(list);
}

} // namespace probe
