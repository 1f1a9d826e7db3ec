#include "shell/global_data.h"

#include <new>

namespace {

constexpr A_u_longlong kObjectOffset = sizeof(PF_Handle);
constexpr A_u_longlong kBlockSize = kObjectOffset + sizeof(GlobalData);
static_assert(alignof(GlobalData) <= kObjectOffset);

GlobalData* objectIn(void* block)
{
    return std::launder(reinterpret_cast<GlobalData*>(static_cast<char*>(block) + kObjectOffset));
}

} // namespace

PF_Handle createGlobalData(const PF_UtilCallbacks& utils, A_Err registerError, AEGP_PluginID pluginId)
{
    PF_Handle handle = utils.host_new_handle(kBlockSize);
    if (!handle) {
        return nullptr;
    }
    void* block = utils.host_lock_handle(handle);
    if (!block || utils.host_get_handle_size(handle) < kBlockSize) {
        if (block) {
            utils.host_unlock_handle(handle);
        }
        utils.host_dispose_handle(handle);
        return nullptr;
    }
    *static_cast<PF_Handle*>(block) = handle;
    new (static_cast<char*>(block) + kObjectOffset) GlobalData(registerError, pluginId);
    return handle;   // stays locked until set-down
}

void destroyGlobalData(const PF_UtilCallbacks& utils, PF_Handle handle)
{
    if (void* block = utils.host_lock_handle(handle)) {
        objectIn(block)->~GlobalData();
    }
    utils.host_unlock_handle(handle);
    utils.host_dispose_handle(handle);
}

const GlobalData* globalDataIn(PF_Handle lockedHandle)
{
    return lockedHandle && *lockedHandle ? objectIn(*lockedHandle) : nullptr;
}
