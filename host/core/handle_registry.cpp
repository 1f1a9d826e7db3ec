#include "host/core/handle_registry.h"

#include "host/core/host_codes.h"

#include <cstdlib>
#include <cstring>

namespace orbhost {

HandleRegistry::~HandleRegistry()
{
    for (auto& [handle, block] : blocks_)
        std::free(*block.master);
}

PF_Handle HandleRegistry::allocate(A_u_longlong size)
{
    // One byte at least, so that a zero-size handle still has a unique block.
    void* memory = std::malloc(size ? size : 1);
    if (!memory)
        return nullptr;
    std::memset(memory, kPoisonByte, size);
    Block block;
    block.master = std::make_unique<void*>(memory);
    block.size = size;
    PF_Handle handle = block.master.get();
    std::lock_guard lock(mutex_);
    blocks_.emplace(handle, std::move(block));
    return handle;
}

void* HandleRegistry::lock(PF_Handle handle)
{
    std::lock_guard lock(mutex_);
    auto it = blocks_.find(handle);
    if (it == blocks_.end())
        return nullptr;
    ++it->second.locks;
    return *handle;
}

bool HandleRegistry::unlock(PF_Handle handle)
{
    std::lock_guard lock(mutex_);
    auto it = blocks_.find(handle);
    if (it == blocks_.end())
        return false;
    if (it->second.locks > 0)
        --it->second.locks;
    return true;
}

bool HandleRegistry::dispose(PF_Handle handle)
{
    std::lock_guard lock(mutex_);
    auto it = blocks_.find(handle);
    if (it == blocks_.end())
        return false;
    std::free(*handle);
    blocks_.erase(it);
    return true;
}

bool HandleRegistry::size(PF_Handle handle, A_u_longlong* size) const
{
    std::lock_guard lock(mutex_);
    auto it = blocks_.find(handle);
    if (it == blocks_.end())
        return false;
    *size = it->second.size;
    return true;
}

PF_Err HandleRegistry::resize(A_u_longlong newSize, PF_Handle* handle)
{
    if (!handle)
        return PF_Err_BAD_CALLBACK_PARAM;
    std::lock_guard lock(mutex_);
    auto it = blocks_.find(*handle);
    if (it == blocks_.end())
        return PF_Err_BAD_CALLBACK_PARAM;
    void* memory = std::realloc(**handle, newSize ? newSize : 1);
    if (!memory)
        return PF_Err_OUT_OF_MEMORY;
    if (newSize > it->second.size)
        std::memset(static_cast<char*>(memory) + it->second.size, kPoisonByte,
                    newSize - it->second.size);
    // The master pointer's address stays; only its content follows the block.
    **handle = memory;
    it->second.size = newSize;
    return PF_Err_NONE;
}

bool HandleRegistry::isLive(PF_Handle handle) const
{
    std::lock_guard lock(mutex_);
    return blocks_.contains(handle);
}

int HandleRegistry::lockCount(PF_Handle handle) const
{
    std::lock_guard lock(mutex_);
    auto it = blocks_.find(handle);
    return it == blocks_.end() ? 0 : it->second.locks;
}

std::size_t HandleRegistry::liveCount() const
{
    std::lock_guard lock(mutex_);
    return blocks_.size();
}

} // namespace orbhost
