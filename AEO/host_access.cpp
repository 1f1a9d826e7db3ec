#include "AEO/host_access.h"

namespace AEO {

HostAccess::HostAccess(PF_InData* inData)
    : inData_(inData), basic_(inData ? inData->pica_basicP : nullptr),
      s8_(acquire<PF_Sampling8Suite1>()), s16_(acquire<PF_Sampling16Suite1>()),
      sFloat_(acquire<PF_SamplingFloatSuite1>())
{
}

HostAccess::~HostAccess()
{
    release<PF_SamplingFloatSuite1>(sFloat_);
    release<PF_Sampling16Suite1>(s16_);
    release<PF_Sampling8Suite1>(s8_);
}

template <class Suite>
HostAccess::Slot HostAccess::acquire() const
{
    Slot slot;
    if (!basic_ || !basic_->AcquireSuite || !basic_->ReleaseSuite) {
        slot.error = PF_Err_BAD_CALLBACK_PARAM;
        return slot;
    }
    const void* table = nullptr;
    slot.error = basic_->AcquireSuite(SuiteTraits<Suite>::name, SuiteTraits<Suite>::version, &table);
    if (slot.error == PF_Err_NONE) {
        slot.acquired = true;
        slot.table = table;
        if (!table) {
            slot.error = PF_Err_BAD_CALLBACK_PARAM;
        }
    }
    return slot;
}

template <class Suite>
void HostAccess::release(const Slot& slot) const
{
    if (slot.acquired) {
        basic_->ReleaseSuite(SuiteTraits<Suite>::name, SuiteTraits<Suite>::version);
    }
}

} // namespace AEO
