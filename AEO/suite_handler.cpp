#include "AEO/suite_handler.h"
#include "AEO/scoped_suite.h"

#include <cstring>

namespace AEO {

SuiteHandler::SuiteHandler(const SPBasicSuite* basic) : basic_(basic) {}

SuiteHandler::~SuiteHandler()
{
    for (int i = count_ - 1; i >= 0; --i) {
        basic_->ReleaseSuite(held_[i].name, held_[i].version);
    }
}

const void* SuiteHandler::acquire(const char* name, A_long version)
{
    for (int i = 0; i < count_; ++i) {
        if (held_[i].version == version && std::strcmp(held_[i].name, name) == 0) {
            return held_[i].table;
        }
    }
    const void* table = nullptr;
    if (count_ == kCapacity || acquireSuite(basic_, name, version, &table) != PF_Err_NONE) {
        throw A_long{PF_Err_BAD_CALLBACK_PARAM};
    }
    held_[count_++] = Held{name, version, table};
    return table;
}

} // namespace AEO
