#include "AEO/memory.h"

namespace AEO {

Memory::Memory(const PF_InData* inData, AEGP_MemHandle handle) : Memory(basicOf(inData), handle) {}

Memory::Memory(const SPBasicSuite* basic, AEGP_MemHandle handle) : handle_(handle), memory_(basic) {}

Memory::~Memory()
{
    if (handle_) {
        call(memory_, &AEGP_MemorySuite1::AEGP_FreeMemHandle, handle_);
    }
}

AEGP_MemSize Memory::size()
{
    return handle_ ? query<AEGP_MemSize>(0, memory_, &AEGP_MemorySuite1::AEGP_GetMemHandleSize, handle_) : 0;
}

template <class Char>
std::basic_string<Char> Memory::readText()
{
    const AEGP_MemSize units = size() / sizeof(Char);
    void* data = nullptr;
    if (units == 0 || !call(memory_, &AEGP_MemorySuite1::AEGP_LockMemHandle, handle_, &data) || !data) {
        return {};
    }
    // Bounded by the handle's size: a name the host did not terminate is cut, not overrun.
    const Char* chars = static_cast<const Char*>(data);
    std::basic_string<Char> result;
    for (AEGP_MemSize i = 0; i < units && chars[i] != Char(0); ++i) {
        result.push_back(chars[i]);
    }
    call(memory_, &AEGP_MemorySuite1::AEGP_UnlockMemHandle, handle_);
    return result;
}

std::string Memory::text() { return readText<char>(); }
std::u16string Memory::utf16Text() { return readText<char16_t>(); }

} // namespace AEO
