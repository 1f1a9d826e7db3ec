// Non-null stand-ins for every function the host does not implement: each returns an error
// code and names itself in the verbose log, so a probing effect gets an answer, not a crash.
#pragma once
#include "hostapi/host_api.h"

#include <cstring>
#include <utility>

namespace orbhost {

void reportUnsupportedCall(const char* owner, int slot);

// Every stand-in is called through its slot's own function type, never its real one, and
// clang's -fsanitize=function checks exactly that; the stand-ins opt out of the check, as
// the x64 calling conventions make the call safe (see fillUnsupportedSlots).
#if defined(__clang__)
#define ORBULON_CALLED_THROUGH_ANY_TYPE __attribute__((no_sanitize("function")))
#else
#define ORBULON_CALLED_THROUGH_ANY_TYPE
#endif

template <const char* Owner, A_long Error, int Slot>
ORBULON_CALLED_THROUGH_ANY_TYPE A_long unsupportedCall()
{
    reportUnsupportedCall(Owner, Slot);
    return Error;
}

template <const char* Owner, A_long Error, std::size_t... Slots>
void fillUnsupportedSlots(void** slots, std::index_sequence<Slots...>)
{
    // A function taking no arguments tolerates being called with any: on x64 the caller owns
    // the argument area in both calling conventions.
    ((slots[Slots] = reinterpret_cast<void*>(&unsupportedCall<Owner, Error, int(Slots)>)), ...);
}

// Fills a table made only of function pointers (a suite, a callback block) with stand-ins;
// the caller then overwrites the slots it implements.
template <const char* Owner, A_long Error, class Table>
void fillUnsupported(Table& table)
{
    constexpr std::size_t count = sizeof(Table) / sizeof(void*);
    void* slots[count];
    fillUnsupportedSlots<Owner, Error>(slots, std::make_index_sequence<count>{});
    std::memcpy(static_cast<void*>(&table), slots, sizeof slots);
}

// A table of stand-ins with the slots the host serves filled in by `implement(table)`; every
// suite and callback block is built this way once and then handed out unchanged.
template <class Table, const char* Owner, A_long Error, class Implement>
Table tableOfStandIns(Implement implement)
{
    Table table;
    fillUnsupported<Owner, Error>(table);
    implement(table);
    return table;
}

} // namespace orbhost
