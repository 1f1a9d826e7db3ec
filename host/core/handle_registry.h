// Host memory handles (PF_Handle = void**): a master pointer that never moves, a block
// filled with a non-zero pattern when fresh, an exact size, and a lock count.
#pragma once
#include "hostapi/host_api.h"

#include <map>
#include <memory>
#include <mutex>

namespace orbhost {

class HandleRegistry {
public:
    ~HandleRegistry();

    PF_Handle allocate(A_u_longlong size);     // NULL when the memory cannot be had
    void* lock(PF_Handle handle);              // NULL for an unknown handle
    bool unlock(PF_Handle handle);             // false for an unknown handle
    bool dispose(PF_Handle handle);            // false for an unknown handle
    bool size(PF_Handle handle, A_u_longlong* size) const;
    PF_Err resize(A_u_longlong newSize, PF_Handle* handle);

    bool isLive(PF_Handle handle) const;
    int lockCount(PF_Handle handle) const;
    std::size_t liveCount() const;

private:
    struct Block {
        std::unique_ptr<void*> master;   // the cell the PF_Handle points at
        A_u_longlong size = 0;
        int locks = 0;
    };
    mutable std::mutex mutex_;
    std::map<PF_Handle, Block> blocks_;
};

} // namespace orbhost
