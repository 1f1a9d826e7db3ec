// "AEGP Layer Suite" versions 12 and 11: the composition's layers top to bottom (index 0 =
// topmost), their names, switches, times and layer-to-world matrices. The two versions differ
// only in how names travel: UTF-16 in memory handles (12) or 8-bit buffers (11).
#include "host/core/aegp_access.h"
#include "host/core/unsupported_slots.h"
#include "host/core/utf16_text.h"

#include <cstring>

namespace orbhost {
namespace {

A_Err getCompNumLayers(AEGP_CompH comp, A_long* count)
{
    HostState* host = compHost("AEGP_GetCompNumLayers", comp);
    if (!host || !count)
        return A_Err_PARAMETER;
    *count = A_long(host->composition.model.layers.size());
    return A_Err_NONE;
}

A_Err getCompLayerByIndex(AEGP_CompH comp, A_long index, AEGP_LayerH* layer)
{
    HostState* host = compHost("AEGP_GetCompLayerByIndex", comp);
    if (!host || !layer)
        return A_Err_PARAMETER;
    *layer = host->aegp.layer(index);
    return *layer ? A_Err_NONE : badArgument("AEGP_GetCompLayerByIndex", "layer index out of range");
}

A_Err getLayerIndex(AEGP_LayerH layerH, A_long* index)
{
    LayerCall call("AEGP_GetLayerIndex", layerH);
    if (!call || !index)
        return A_Err_PARAMETER;
    *index = call.index;
    return A_Err_NONE;
}

// Cameras and lights have no source item: null, no error.
A_Err getLayerSourceItem(AEGP_LayerH layerH, AEGP_ItemH* item)
{
    LayerCall call("AEGP_GetLayerSourceItem", layerH);
    if (!call || !item)
        return A_Err_PARAMETER;
    const bool hasSource = call.layer->kind != LayerKind::Camera && call.layer->kind != LayerKind::Light;
    *item = hasSource ? call.host->aegp.sourceItem(call.index) : nullptr;
    return A_Err_NONE;
}

A_Err getLayerParentComp(AEGP_LayerH layerH, AEGP_CompH* comp)
{
    LayerCall call("AEGP_GetLayerParentComp", layerH);
    if (!call || !comp)
        return A_Err_PARAMETER;
    *comp = call.host->aegp.comp();
    return A_Err_NONE;
}

// v12: both names in new UTF-16 memory handles the caller frees; the layer's own name is empty
// when the user never named it.
A_Err getLayerNameUtf16(AEGP_PluginID, AEGP_LayerH layerH, AEGP_MemHandle* ownName, AEGP_MemHandle* sourceName)
{
    LayerCall call("AEGP_GetLayerName", layerH);
    if (!call)
        return A_Err_PARAMETER;
    const auto give = [&](AEGP_MemHandle* out, const std::string& text, const char* what) {
        if (!out)
            return true;
        const std::u16string utf16 = utf16FromUtf8(text);
        *out = newMemHandle(*call.host, what, utf16.c_str(), (utf16.size() + 1) * sizeof(char16_t));
        return *out != nullptr;
    };
    if (!give(ownName, call.layer->name, "layer name"))
        return A_Err_ALLOC;
    if (!give(sourceName, call.layer->sourceName, "layer source name"))
        return A_Err_ALLOC;
    return A_Err_NONE;
}

// v11: 8-bit names cut to AEGP_MAX_LAYER_NAME_SIZE bytes with the NUL.
A_Err getLayerName8(AEGP_LayerH layerH, A_char* ownName, A_char* sourceName)
{
    LayerCall call("AEGP_GetLayerName", layerH);
    if (!call)
        return A_Err_PARAMETER;
    const auto put = [](A_char* out, const std::string& text) {
        if (!out)
            return;
        const std::string cut = utf8Prefix(text, AEGP_MAX_LAYER_NAME_SIZE);
        std::memcpy(out, cut.c_str(), cut.size() + 1);
    };
    put(ownName, call.layer->name);
    put(sourceName, call.layer->sourceName);
    return A_Err_NONE;
}

A_Err setLayerNameUtf16(AEGP_LayerH layerH, const A_UTF16Char* name)
{
    LayerCall call("AEGP_SetLayerName", layerH);
    if (!call || !name)
        return name ? A_Err_PARAMETER : badArgument("AEGP_SetLayerName", "null name");
    call.layer->name = utf8FromUtf16(name);
    call.host->note("AEGP_SetLayerName: layer " + std::to_string(call.index) + " is now \"" + call.layer->name + "\"");
    return A_Err_NONE;
}

A_Err setLayerName8(AEGP_LayerH layerH, const A_char* name)
{
    LayerCall call("AEGP_SetLayerName", layerH);
    if (!call || !name)
        return name ? A_Err_PARAMETER : badArgument("AEGP_SetLayerName", "null name");
    call.layer->name = name;
    call.host->note("AEGP_SetLayerName: layer " + std::to_string(call.index) + " is now \"" + call.layer->name + "\"");
    return A_Err_NONE;
}

bool isThreeD(const LayerModel& layer)
{
    return layer.threeD || layer.kind == LayerKind::Camera || layer.kind == LayerKind::Light;
}

A_Err getLayerFlags(AEGP_LayerH layerH, AEGP_LayerFlags* flags)
{
    LayerCall call("AEGP_GetLayerFlags", layerH);
    if (!call || !flags)
        return A_Err_PARAMETER;
    const LayerModel& layer = *call.layer;
    const bool av = layer.kind != LayerKind::Camera && layer.kind != LayerKind::Light;
    *flags = (layer.videoOn ? AEGP_LayerFlag_VIDEO_ACTIVE : 0) | (av ? AEGP_LayerFlag_EFFECTS_ACTIVE : 0) |
             (isThreeD(layer) ? AEGP_LayerFlag_LAYER_IS_3D : 0) |
             (layer.transform.hasPointOfInterest ? AEGP_LayerFlag_LOOK_AT_POI : 0) |
             (layer.kind == LayerKind::Null ? AEGP_LayerFlag_NULL_LAYER : 0);
    return A_Err_NONE;
}

// In point and duration; in layer time the in point is 0.
A_Err layerTime(const char* name, AEGP_LayerH layerH, AEGP_LTimeMode mode, A_Time* time, bool inPoint)
{
    LayerCall call(name, layerH);
    if (!call || !time)
        return A_Err_PARAMETER;
    if (mode != AEGP_LTimeMode_LayerTime && mode != AEGP_LTimeMode_CompTime)
        return badArgument(name, "unknown time mode");
    const double seconds = !inPoint ? call.layer->duration : mode == AEGP_LTimeMode_CompTime ? call.layer->inPoint : 0.0;
    *time = timeFromSeconds(seconds, call.host->timeScale);
    return A_Err_NONE;
}

A_Err getLayerInPoint(AEGP_LayerH layerH, AEGP_LTimeMode mode, A_Time* time)
{
    return layerTime("AEGP_GetLayerInPoint", layerH, mode, time, true);
}

A_Err getLayerDuration(AEGP_LayerH layerH, AEGP_LTimeMode mode, A_Time* time)
{
    return layerTime("AEGP_GetLayerDuration", layerH, mode, time, false);
}

A_Err getLayerOffset(AEGP_LayerH layerH, A_Time* offset)
{
    LayerCall call("AEGP_GetLayerOffset", layerH);
    if (!call || !offset)
        return A_Err_PARAMETER;
    *offset = timeFromSeconds(call.layer->inPoint, call.host->timeScale);
    return A_Err_NONE;
}

A_Err getLayerStretch(AEGP_LayerH layerH, A_Ratio* stretch)
{
    LayerCall call("AEGP_GetLayerStretch", layerH);
    if (!call || !stretch)
        return A_Err_PARAMETER;
    *stretch = {1, 1};
    return A_Err_NONE;
}

A_Err getLayerObjectType(AEGP_LayerH layerH, AEGP_ObjectType* type)
{
    LayerCall call("AEGP_GetLayerObjectType", layerH);
    if (!call || !type)
        return A_Err_PARAMETER;
    *type = call.layer->kind == LayerKind::Camera  ? AEGP_ObjectType_CAMERA
            : call.layer->kind == LayerKind::Light ? AEGP_ObjectType_LIGHT
                                                   : AEGP_ObjectType_AV;
    return A_Err_NONE;
}

A_Err isLayer3D(AEGP_LayerH layerH, A_Boolean* is3D)
{
    LayerCall call("AEGP_IsLayer3D", layerH);
    if (!call || !is3D)
        return A_Err_PARAMETER;
    *is3D = isThreeD(*call.layer);
    return A_Err_NONE;
}

A_Err isLayer2D(AEGP_LayerH layerH, A_Boolean* is2D)
{
    LayerCall call("AEGP_IsLayer2D", layerH);
    if (!call || !is2D)
        return A_Err_PARAMETER;
    *is2D = !isThreeD(*call.layer);
    return A_Err_NONE;
}

A_Err isVideoActive(AEGP_LayerH layerH, AEGP_LTimeMode mode, const A_Time* time, A_Boolean* active)
{
    LayerCall call("AEGP_IsVideoActive", layerH);
    double seconds = 0;
    if (!call || !active)
        return A_Err_PARAMETER;
    if (!compSeconds(*call.host, call.index, mode, time, &seconds))
        return badArgument("AEGP_IsVideoActive", "bad time or time mode");
    *active = isActiveAt(*call.layer, seconds);
    return A_Err_NONE;
}

A_Err convertCompToLayerTime(AEGP_LayerH layerH, const A_Time* compTime, A_Time* layerTime)
{
    LayerCall call("AEGP_ConvertCompToLayerTime", layerH);
    if (!call || !compTime || !layerTime || compTime->scale == 0)
        return call ? badArgument("AEGP_ConvertCompToLayerTime", "null time or zero scale") : A_Err_PARAMETER;
    *layerTime = timeFromSeconds(double(compTime->value) / compTime->scale - call.layer->inPoint, compTime->scale);
    return A_Err_NONE;
}

A_Err convertLayerToCompTime(AEGP_LayerH layerH, const A_Time* layerTime, A_Time* compTime)
{
    LayerCall call("AEGP_ConvertLayerToCompTime", layerH);
    double seconds = 0;
    if (!call || !compTime)
        return A_Err_PARAMETER;
    if (!compSeconds(*call.host, call.index, AEGP_LTimeMode_LayerTime, layerTime, &seconds))
        return badArgument("AEGP_ConvertLayerToCompTime", "null time or zero scale");
    *compTime = timeFromSeconds(seconds, layerTime->scale);
    return A_Err_NONE;
}

// Layer ids are 1 + the layer's index: stable while the composition is.
A_Err getLayerID(AEGP_LayerH layerH, AEGP_LayerIDVal* id)
{
    LayerCall call("AEGP_GetLayerID", layerH);
    if (!call || !id)
        return A_Err_PARAMETER;
    *id = AEGP_LayerIDVal(call.index + 1);
    return A_Err_NONE;
}

A_Err getLayerFromLayerID(AEGP_CompH comp, AEGP_LayerIDVal id, AEGP_LayerH* layer)
{
    HostState* host = compHost("AEGP_GetLayerFromLayerID", comp);
    if (!host || !layer)
        return A_Err_PARAMETER;
    *layer = host->aegp.layer(int(id) - 1);
    return *layer ? A_Err_NONE : badArgument("AEGP_GetLayerFromLayerID", "no layer has that id");
}

// Layer space (layer pixels) → world (composition pixels), parents included.
A_Err getLayerToWorldXform(AEGP_LayerH layerH, const A_Time* compTime, A_Matrix4* transform)
{
    LayerCall call("AEGP_GetLayerToWorldXform", layerH);
    double seconds = 0;
    if (!call || !transform)
        return A_Err_PARAMETER;
    if (!compSeconds(*call.host, call.index, AEGP_LTimeMode_CompTime, compTime, &seconds))
        return badArgument("AEGP_GetLayerToWorldXform", "null time or zero scale");
    const Matrix4 worldFromLayer = layerToWorld(call.host->composition.model, call.index, seconds);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            transform->mat[r][c] = worldFromLayer[std::size_t(r)][std::size_t(c)];
    return A_Err_NONE;
}

A_Err getLayerParent(AEGP_LayerH layerH, AEGP_LayerH* parent)
{
    LayerCall call("AEGP_GetLayerParent", layerH);
    if (!call || !parent)
        return A_Err_PARAMETER;
    *parent = call.host->aegp.layer(call.layer->parent);   // null when it has none
    return A_Err_NONE;
}

// The slots both versions share (same order, same signatures).
template <class Suite>
void fillShared(Suite& s)
{
    s.AEGP_GetCompNumLayers = getCompNumLayers;
    s.AEGP_GetCompLayerByIndex = getCompLayerByIndex;
    s.AEGP_GetLayerIndex = getLayerIndex;
    s.AEGP_GetLayerSourceItem = getLayerSourceItem;
    s.AEGP_GetLayerParentComp = getLayerParentComp;
    s.AEGP_GetLayerFlags = getLayerFlags;
    s.AEGP_GetLayerInPoint = getLayerInPoint;
    s.AEGP_GetLayerDuration = getLayerDuration;
    s.AEGP_GetLayerOffset = getLayerOffset;
    s.AEGP_GetLayerStretch = getLayerStretch;
    s.AEGP_GetLayerObjectType = getLayerObjectType;
    s.AEGP_IsLayer3D = isLayer3D;
    s.AEGP_IsLayer2D = isLayer2D;
    s.AEGP_IsVideoActive = isVideoActive;
    s.AEGP_ConvertCompToLayerTime = convertCompToLayerTime;
    s.AEGP_ConvertLayerToCompTime = convertLayerToCompTime;
    s.AEGP_GetLayerID = getLayerID;
    s.AEGP_GetLayerToWorldXform = getLayerToWorldXform;
    s.AEGP_GetLayerParent = getLayerParent;
    s.AEGP_GetLayerFromLayerID = getLayerFromLayerID;
}

constexpr char kLayerSuite11[] = "AEGP Layer Suite v11";

} // namespace

const AEGP_LayerSuite6* aegpLayerSuite12()
{
    static const AEGP_LayerSuite6 suite =
        tableOfStandIns<AEGP_LayerSuite6, kAEGPLayerSuite, A_Err_GENERIC>([](AEGP_LayerSuite6& s) {
            fillShared(s);
            s.AEGP_GetLayerName = getLayerNameUtf16;
            s.AEGP_SetLayerName = setLayerNameUtf16;
        });
    return &suite;
}

const AEGP_LayerSuite5* aegpLayerSuite11()
{
    static const AEGP_LayerSuite5 suite =
        tableOfStandIns<AEGP_LayerSuite5, kLayerSuite11, A_Err_GENERIC>([](AEGP_LayerSuite5& s) {
            fillShared(s);
            s.AEGP_GetLayerName = getLayerName8;
            s.AEGP_SetLayerName = setLayerName8;
        });
    return &suite;
}

} // namespace orbhost
