// A composition and its project item.
#pragma once
#include "AEO/object_base.h"

namespace AEO {

class Item : public ObjectBase {
public:
    // Reads the item's dimensions at once: every user of an item needs them.
    Item(const PF_InData* inData, AEGP_ItemH item);

    A_long width() const { return width_; }
    A_long height() const { return height_; }
    A_Ratio pixelAspectRatio();

private:
    AEGP_ItemH item_;
    SuiteSlot<AEGP_ItemSuite8> items_;
    A_long width_ = 0;
    A_long height_ = 0;
};

class Composition : public ObjectBase {
public:
    Composition(const PF_InData* inData, AEGP_CompH comp);

    AEGP_CompH handle() const { return comp_; }
    A_long layerCount();
    AEGP_LayerH layerByIndex(A_long index);
    AEGP_ItemH item();
    // Distance from the default camera to the image plane, in composition pixels.
    A_FpLong defaultCameraDistance();

private:
    const SPBasicSuite* basic_;
    AEGP_CompH comp_;
    SuiteSlot<AEGP_CompSuite5> comps_;
    SuiteSlot<AEGP_LayerSuite6> layers_;
};

} // namespace AEO
