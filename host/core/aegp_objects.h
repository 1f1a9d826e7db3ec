// The opaque handles the AEGP suites hand out: layers, the composition, project items, effect
// references and parameter streams. Each handle points at a cell the host never frees, so a
// stale handle (a disposed stream, a layer of an earlier composition) never names a newer
// object: lookups answer "unknown" and the suites return A_Err_PARAMETER.
#pragma once
#include "hostapi/host_api.h"

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

namespace orbhost {

enum class AegpKind { Layer, Comp, Item, EffectRef, Stream };

// Item handles name the composition's own item or the source of one layer.
inline constexpr int kCompositionItem = -1;

class AegpObjects {
public:
    // Fresh layer, composition and item handles for a composition of `layers` layers; the
    // previous composition's handles go stale.
    void resetComposition(int layers);

    AEGP_LayerH layer(int index) const;           // null when out of range
    AEGP_CompH comp() const;
    AEGP_ItemH compItem() const;
    AEGP_ItemH sourceItem(int layer) const;       // null when out of range

    std::optional<int> layerIndex(AEGP_LayerH handle) const;
    bool isComp(AEGP_CompH handle) const;
    std::optional<int> itemSource(AEGP_ItemH handle) const;   // kCompositionItem or a layer index

    AEGP_EffectRefH newEffectRef();
    bool isEffectRef(AEGP_EffectRefH handle) const;
    bool disposeEffectRef(AEGP_EffectRefH handle);            // false when unknown or disposed

    // A stream of parameter `param` of the effect reference `owner`.
    AEGP_StreamRefH newStream(int param, AEGP_EffectRefH owner);
    std::optional<int> streamParam(AEGP_StreamRefH handle) const;
    // Whether the effect reference the stream was made from is still live.
    bool streamOwnerLive(AEGP_StreamRefH handle) const;
    AEGP_EffectRefH streamOwner(AEGP_StreamRefH handle) const;
    bool disposeStream(AEGP_StreamRefH handle);

private:
    struct Entry {
        AegpKind kind;
        int value;            // layer or parameter index, item source
        const void* owner;    // streams: their effect reference
    };
    void* newHandle(AegpKind kind, int value, const void* owner = nullptr);
    std::optional<Entry> find(const void* handle, AegpKind kind) const;
    bool forget(const void* handle, AegpKind kind);

    mutable std::mutex mutex_;
    std::deque<std::unique_ptr<void*>> cells_;
    std::unordered_map<const void*, Entry> live_;
    std::vector<void*> layers_, sourceItems_;
    void* comp_ = nullptr;
    void* compItem_ = nullptr;
};

} // namespace orbhost
