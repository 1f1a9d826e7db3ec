#include "AEO/composition.h"

namespace AEO {

Item::Item(const PF_InData* inData, AEGP_ItemH item) : item_(item), items_(basicOf(inData))
{
    call(items_, &AEGP_ItemSuite8::AEGP_GetItemDimensions, item_, &width_, &height_);
    if (lastError()) {
        width_ = height_ = 0;
    }
}

A_Ratio Item::pixelAspectRatio()
{
    return query(kNoRatio, items_, &AEGP_ItemSuite8::AEGP_GetItemPixelAspectRatio, item_);
}

Composition::Composition(const PF_InData* inData, AEGP_CompH comp)
    : basic_(basicOf(inData)), comp_(comp), comps_(basic_), layers_(basic_)
{
}

A_long Composition::layerCount()
{
    return query<A_long>(0, layers_, &AEGP_LayerSuite6::AEGP_GetCompNumLayers, comp_);
}

AEGP_LayerH Composition::layerByIndex(A_long index)
{
    return query<AEGP_LayerH>(nullptr, layers_, &AEGP_LayerSuite6::AEGP_GetCompLayerByIndex, comp_, index);
}

AEGP_ItemH Composition::item()
{
    return query<AEGP_ItemH>(nullptr, comps_, &AEGP_CompSuite5::AEGP_GetItemFromComp, comp_);
}

A_FpLong Composition::defaultCameraDistance()
{
    // Needed once per render: the camera suite is held only around this call.
    SuiteSlot<AEGP_CameraSuite2> cameras(basic_);
    return query<A_FpLong>(0.0, cameras, &AEGP_CameraSuite2::AEGP_GetDefaultCameraDistanceToImagePlane, comp_);
}

} // namespace AEO
