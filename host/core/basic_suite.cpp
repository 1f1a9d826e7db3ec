// The PICA basic suite: suites by exact (name, version), reference counted per command.
#include "host/core/host_state.h"
#include "host/core/unsupported_slots.h"

#include <cstdlib>
#include <cstring>

namespace orbhost {
namespace {

std::string suiteKey(const char* name, int32 version)
{
    return std::string("suite \"") + name + "\" v" + std::to_string(version);
}

SPErr acquireSuite(const char* name, int32 version, const void** suite)
{
    if (suite)
        *suite = nullptr;
    HostState* host = activeHost();
    if (!host || !name || !suite)
        return kSPSuiteNotFoundError;
    if (host->faults.unavailableSuites.contains(name)) {
        host->faultCounters.refusedSuites.insert(name);
        host->note(std::string("suite made unavailable: \"") + name + "\" v" + std::to_string(version));
        return kSPSuiteNotFoundError;
    }
    if (auto newest = host->faults.newestSuiteVersions.find(name);
        newest != host->faults.newestSuiteVersions.end() && version > newest->second) {
        host->faultCounters.olderSuites.insert(name);
        host->note(std::string("suite newer than this host: \"") + name + "\" v" + std::to_string(version));
        return kSPSuiteNotFoundError;
    }
    auto it = host->suites.find({name, int(version)});
    if (it == host->suites.end()) {
        host->note(std::string("suite not provided: \"") + name + "\" v" + std::to_string(version));
        host->accounting.count(std::string("missing ") + suiteKey(name, version));
        return kSPSuiteNotFoundError;
    }
    *suite = it->second;
    host->accounting.take(suiteKey(name, version));
    return kSPNoError;
}

SPErr releaseSuite(const char* name, int32 version)
{
    HostState* host = activeHost();
    if (!host || !name)
        return kSPSuiteNotFoundError;
    if (!host->suites.contains({name, int(version)}))
        return kSPSuiteNotFoundError;
    host->accounting.giveBack(suiteKey(name, version));
    return kSPNoError;
}

SPBoolean isEqual(const char* a, const char* b)
{
    return a && b && std::strcmp(a, b) == 0;
}

SPErr allocateBlock(size_t size, void** block)
{
    if (!block)
        return kSPSuiteNotFoundError;
    *block = std::malloc(size ? size : 1);
    return *block ? kSPNoError : SPErr(PF_Err_OUT_OF_MEMORY);
}

SPErr freeBlock(void* block)
{
    std::free(block);
    return kSPNoError;
}

SPErr reallocateBlock(void* block, size_t size, void** newBlock)
{
    if (!newBlock)
        return kSPSuiteNotFoundError;
    *newBlock = std::realloc(block, size ? size : 1);
    return *newBlock ? kSPNoError : SPErr(PF_Err_OUT_OF_MEMORY);
}

} // namespace

SPBasicSuite* basicSuite()
{
    static SPBasicSuite suite =
        tableOfStandIns<SPBasicSuite, kSPBasicSuite, kSPSuiteNotFoundError>([](SPBasicSuite& s) {
            s.AcquireSuite = acquireSuite;
            s.ReleaseSuite = releaseSuite;
            s.IsEqual = isEqual;
            s.AllocateBlock = allocateBlock;
            s.FreeBlock = freeBlock;
            s.ReallocateBlock = reallocateBlock;
        });
    return &suite;
}

} // namespace orbhost
