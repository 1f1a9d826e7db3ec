// Readable listings for orbulon-render: the registered parameters and their UI state.
#pragma once
#include "host/core/effect_host.h"

#include <iosfwd>

namespace orbhost {

// index, group nesting, name, type, range, default, flags, disk id: one row per parameter.
void printParamTable(std::ostream& out, const EffectHost& host);

// Parameters whose UI flags grey them out or hide them, the expressions the effect set on its
// parameter streams, and the layers' names as the effect left them.
void printUiState(std::ostream& out, const EffectHost& host);

} // namespace orbhost
