#include "host/core/aegp_objects.h"

namespace orbhost {

void* AegpObjects::newHandle(AegpKind kind, int value, const void* owner)
{
    cells_.push_back(std::make_unique<void*>(nullptr));
    void* handle = cells_.back().get();
    live_.emplace(handle, Entry{kind, value, owner});
    return handle;
}

std::optional<AegpObjects::Entry> AegpObjects::find(const void* handle, AegpKind kind) const
{
    std::lock_guard lock(mutex_);
    auto it = live_.find(handle);
    if (!handle || it == live_.end() || it->second.kind != kind)
        return std::nullopt;
    return it->second;
}

bool AegpObjects::forget(const void* handle, AegpKind kind)
{
    std::lock_guard lock(mutex_);
    auto it = live_.find(handle);
    if (!handle || it == live_.end() || it->second.kind != kind)
        return false;
    live_.erase(it);
    return true;
}

void AegpObjects::resetComposition(int layers)
{
    std::lock_guard lock(mutex_);
    for (void* old : layers_)
        live_.erase(old);
    for (void* old : sourceItems_)
        live_.erase(old);
    live_.erase(comp_);
    live_.erase(compItem_);
    layers_.clear();
    sourceItems_.clear();
    for (int i = 0; i < layers; ++i) {
        layers_.push_back(newHandle(AegpKind::Layer, i));
        sourceItems_.push_back(newHandle(AegpKind::Item, i));
    }
    comp_ = newHandle(AegpKind::Comp, 0);
    compItem_ = newHandle(AegpKind::Item, kCompositionItem);
}

AEGP_LayerH AegpObjects::layer(int index) const
{
    std::lock_guard lock(mutex_);
    return index >= 0 && index < int(layers_.size()) ? static_cast<AEGP_LayerH>(layers_[std::size_t(index)]) : nullptr;
}

AEGP_CompH AegpObjects::comp() const
{
    std::lock_guard lock(mutex_);
    return static_cast<AEGP_CompH>(comp_);
}

AEGP_ItemH AegpObjects::compItem() const
{
    std::lock_guard lock(mutex_);
    return static_cast<AEGP_ItemH>(compItem_);
}

AEGP_ItemH AegpObjects::sourceItem(int index) const
{
    std::lock_guard lock(mutex_);
    return index >= 0 && index < int(sourceItems_.size()) ? static_cast<AEGP_ItemH>(sourceItems_[std::size_t(index)])
                                                          : nullptr;
}

std::optional<int> AegpObjects::layerIndex(AEGP_LayerH handle) const
{
    if (auto entry = find(handle, AegpKind::Layer))
        return entry->value;
    return std::nullopt;
}

bool AegpObjects::isComp(AEGP_CompH handle) const
{
    return find(handle, AegpKind::Comp).has_value();
}

std::optional<int> AegpObjects::itemSource(AEGP_ItemH handle) const
{
    if (auto entry = find(handle, AegpKind::Item))
        return entry->value;
    return std::nullopt;
}

AEGP_EffectRefH AegpObjects::newEffectRef()
{
    std::lock_guard lock(mutex_);
    return static_cast<AEGP_EffectRefH>(newHandle(AegpKind::EffectRef, 0));
}

bool AegpObjects::isEffectRef(AEGP_EffectRefH handle) const
{
    return find(handle, AegpKind::EffectRef).has_value();
}

bool AegpObjects::disposeEffectRef(AEGP_EffectRefH handle)
{
    return forget(handle, AegpKind::EffectRef);
}

AEGP_StreamRefH AegpObjects::newStream(int param, AEGP_EffectRefH owner)
{
    std::lock_guard lock(mutex_);
    return static_cast<AEGP_StreamRefH>(newHandle(AegpKind::Stream, param, owner));
}

std::optional<int> AegpObjects::streamParam(AEGP_StreamRefH handle) const
{
    if (auto entry = find(handle, AegpKind::Stream))
        return entry->value;
    return std::nullopt;
}

bool AegpObjects::streamOwnerLive(AEGP_StreamRefH handle) const
{
    auto entry = find(handle, AegpKind::Stream);
    return entry && find(entry->owner, AegpKind::EffectRef).has_value();
}

AEGP_EffectRefH AegpObjects::streamOwner(AEGP_StreamRefH handle) const
{
    auto entry = find(handle, AegpKind::Stream);
    return entry ? static_cast<AEGP_EffectRefH>(const_cast<void*>(entry->owner)) : nullptr;
}

bool AegpObjects::disposeStream(AEGP_StreamRefH handle)
{
    return forget(handle, AegpKind::Stream);
}

} // namespace orbhost
