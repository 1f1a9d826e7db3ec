#include "AEO/scoped_suite.h"

namespace AEO {

A_Err acquireSuite(const SPBasicSuite* basic, const char* name, A_long version, const void** table)
{
    *table = nullptr;
    if (!basic || !basic->AcquireSuite || !basic->ReleaseSuite) {
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    if (const A_Err err = basic->AcquireSuite(name, version, table)) {
        *table = nullptr;
        return err;
    }
    if (!*table) {
        basic->ReleaseSuite(name, version);
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    return PF_Err_NONE;
}

} // namespace AEO
