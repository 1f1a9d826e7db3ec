#include "scene/light_list.h"

#include "AEO/host_access.h"

#include <cstdint>
#include <cstring>

namespace {

constexpr std::size_t kHandleSlot = 8;   // the handle kept in front of every block
// Room to move a record from an 8-byte-aligned block start onto the next 16-byte boundary
// past the slot that records where the block began.
constexpr std::size_t kRecordSlack = 23;

static_assert(sizeof(PF_Handle) <= kHandleSlot);

const PF_UtilCallbacks* utilsOf(const PF_InData* inData) { return inData ? inData->utils : nullptr; }

} // namespace

void* allocateHostBlock(const PF_InData* inData, std::size_t bytes)
{
    const PF_UtilCallbacks* utils = utilsOf(inData);
    if (!utils || !utils->host_new_handle || !utils->host_lock_handle || !utils->host_unlock_handle ||
        !utils->host_dispose_handle || !utils->host_get_handle_size) {
        return nullptr;
    }
    const std::size_t total = bytes + kHandleSlot;
    PF_Handle handle = utils->host_new_handle(total);
    if (!handle) {
        return nullptr;
    }
    auto* base = static_cast<char*>(utils->host_lock_handle(handle));
    if (!base || utils->host_get_handle_size(handle) < total) {
        utils->host_unlock_handle(handle);
        utils->host_dispose_handle(handle);
        return nullptr;
    }
    std::memcpy(base, &handle, sizeof handle);
    return base + kHandleSlot;
}

void releaseHostBlock(const PF_InData* inData, void* block)
{
    const PF_UtilCallbacks* utils = utilsOf(inData);
    if (!block || !utils) {
        return;
    }
    PF_Handle handle = nullptr;
    std::memcpy(&handle, static_cast<char*>(block) - kHandleSlot, sizeof handle);
    utils->host_unlock_handle(handle);
    utils->host_dispose_handle(handle);
}

LightRecord* newLightRecord(const PF_InData* inData)
{
    void* block = allocateHostBlock(inData, sizeof(LightRecord) + kRecordSlack);
    if (!block) {
        return nullptr;
    }
    const auto start = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t aligned = (start + kRecordSlack) & ~std::uintptr_t(15);
    // The block's own address sits just before the record, for releaseLightRecord.
    std::memcpy(reinterpret_cast<void*>(aligned - sizeof(void*)), &block, sizeof block);
    auto* record = reinterpret_cast<LightRecord*>(aligned);
    std::memset(static_cast<void*>(record), 0, sizeof *record);
    return record;
}

void releaseLightRecord(const PF_InData* inData, LightRecord* record)
{
    if (!record) {
        return;
    }
    void* block = nullptr;
    std::memcpy(&block, reinterpret_cast<char*>(record) - sizeof(void*), sizeof block);
    releaseHostBlock(inData, block);
}

namespace {

const PF_InData* inDataOf(const LightList& list) { return list.allocator ? list.allocator->inData() : nullptr; }

} // namespace

bool appendLight(LightList& list, LightRecord* record)
{
    const A_long newCount = list.count + 1;
    if (newCount > list.capacity) {
        // One slot more each time: scenes have a handful of lights, and the host's
        // allocator is cheap next to a frame's render.
        auto* items = static_cast<LightRecord**>(allocateHostBlock(inDataOf(list), sizeof(LightRecord*) * newCount));
        if (!items) {
            return false;
        }
        if (list.count > 0) {
            std::memcpy(items, list.items, sizeof(LightRecord*) * list.count);
        }
        releaseHostBlock(inDataOf(list), list.items);
        list.items = items;
        list.capacity = newCount;
    }
    list.items[list.count] = record;
    list.count = newCount;
    return true;
}

void releaseLights(LightList& list)
{
    for (A_long i = 0; i < list.count; ++i) {
        releaseLightRecord(inDataOf(list), list.items[i]);
    }
    list.count = 0;
    releaseHostBlock(inDataOf(list), list.items);
    list.items = nullptr;
    list.capacity = 0;
}

