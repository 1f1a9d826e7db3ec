#include "AEO/layer.h"

#include "AEO/memory.h"

#include <array>

namespace AEO {

Layer::Layer(const HostAccess& host, AEGP_LayerH layer)
    : layer_(layer), layers_(basicOf(host.inData())), layers8_(basicOf(host.inData())),
      streams_(basicOf(host.inData())), host_(host)
{
}

AEGP_CompH Layer::parentComp()
{
    return query<AEGP_CompH>(nullptr, layers_, &AEGP_LayerSuite6::AEGP_GetLayerParentComp, layer_);
}

AEGP_LayerFlags Layer::flags()
{
    return query<AEGP_LayerFlags>(0, layers_, &AEGP_LayerSuite6::AEGP_GetLayerFlags, layer_);
}

A_Time Layer::inPoint()
{
    return query(kNoTime, layers_, &AEGP_LayerSuite6::AEGP_GetLayerInPoint, layer_, AEGP_LTimeMode_CompTime);
}

A_Time Layer::duration()
{
    return query(kNoTime, layers_, &AEGP_LayerSuite6::AEGP_GetLayerDuration, layer_, AEGP_LTimeMode_CompTime);
}

AEGP_ObjectType Layer::objectType()
{
    return query<AEGP_ObjectType>(kUnknownType, layers_, &AEGP_LayerSuite6::AEGP_GetLayerObjectType, layer_);
}

A_Matrix4 Layer::toWorld(const A_Time& compTime)
{
    return query(A_Matrix4{}, layers_, &AEGP_LayerSuite6::AEGP_GetLayerToWorldXform, layer_, &compTime);
}

AEGP_ItemH Layer::sourceItem()
{
    return query<AEGP_ItemH>(nullptr, layers_, &AEGP_LayerSuite6::AEGP_GetLayerSourceItem, layer_);
}

std::string Layer::name8()
{
    // One spare zero so that a host filling the whole buffer still leaves a terminated name.
    std::array<A_char, AEGP_MAX_LAYER_NAME_SIZE + 1> layerName{};
    std::array<A_char, AEGP_MAX_LAYER_NAME_SIZE + 1> sourceName{};
    if (!call(layers8_, &AEGP_LayerSuite5::AEGP_GetLayerName, layer_, layerName.data(), sourceName.data())) {
        return {};
    }
    return layerName.data();
}

Layer::Names Layer::names(AEGP_PluginID pluginId)
{
    // The names arrive in memory handles that only the memory suite can free: without it
    // they are not asked for, rather than left with the host.
    const ScopedSuite<AEGP_MemorySuite1> memorySuite(basicOf(host_.inData()));
    if (!memorySuite.get()) {
        return {};
    }
    AEGP_MemHandle layerName = nullptr;
    AEGP_MemHandle sourceName = nullptr;
    call(layers_, &AEGP_LayerSuite6::AEGP_GetLayerName, pluginId, layer_, &layerName, &sourceName);
    // Both handles are the effect's to free, whatever came of the call.
    Memory layerMemory(basicOf(host_.inData()), layerName);
    Memory sourceMemory(basicOf(host_.inData()), sourceName);
    if (lastError()) {
        return {};
    }
    return {layerMemory.utf16Text(), sourceMemory.utf16Text()};
}

bool Layer::setName(const std::u16string& name)
{
    static_assert(sizeof(A_UTF16Char) == sizeof(char16_t));
    return call(layers_, &AEGP_LayerSuite6::AEGP_SetLayerName, layer_,
                reinterpret_cast<const A_UTF16Char*>(name.c_str()));
}

AEGP_StreamVal2 Layer::streamVal(AEGP_LayerStream stream, const A_Time& compTime)
{
    AEGP_StreamVal2 value{};
    AEGP_StreamType type = 0;
    if (!call(streams_, &AEGP_StreamSuite4::AEGP_GetLayerStreamValue, layer_, stream, AEGP_LTimeMode_CompTime,
              &compTime, A_Boolean(false), &value, &type)) {
        return AEGP_StreamVal2{};
    }
    return value;
}

A_FpLong Layer::streamValue(AEGP_LayerStream stream, const A_Time& compTime)
{
    return streamVal(stream, compTime).one_d;
}

AEGP_ColorVal Layer::streamColor(AEGP_LayerStream stream, const A_Time& compTime)
{
    return streamVal(stream, compTime).color;
}

A_long CameraLayer::cameraType()
{
    return A_long(query<AEGP_CameraType>(AEGP_CameraType_NONE, cameras_, &AEGP_CameraSuite2::AEGP_GetCameraType,
                                         handle()));
}

A_long LightLayer::lightType()
{
    return A_long(query<AEGP_LightType>(AEGP_LightType_NONE, lights_, &AEGP_LightSuite2::AEGP_GetLightType,
                                        handle()));
}

} // namespace AEO
