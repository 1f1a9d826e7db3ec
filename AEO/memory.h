// A host memory handle handed to the effect (names, expressions). The object frees it.
#pragma once
#include "AEO/object_base.h"

#include <string>

namespace AEO {

class Memory : public ObjectBase {
public:
    Memory(const PF_InData* inData, AEGP_MemHandle handle);
    Memory(const SPBasicSuite* basic, AEGP_MemHandle handle);
    // Frees the handle unless an error is pending: after a failed call the handle's
    // state is unknown, and freeing it twice is worse than leaking it.
    ~Memory() override;

    AEGP_MemHandle handle() const { return handle_; }
    AEGP_MemSize size();
    // The handle's contents up to the first zero unit, or empty when they cannot be read.
    std::string text();
    std::u16string utf16Text();

private:
    template <class Char>
    std::basic_string<Char> readText();

    AEGP_MemHandle handle_;
    SuiteSlot<AEGP_MemorySuite1> memory_;
};

} // namespace AEO
