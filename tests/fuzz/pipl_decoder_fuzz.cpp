// The property-list decoder on arbitrary resource bytes, as the loader meets them in a module
// it did not build: a list it cannot decode, or one that is not an effect's, must be refused
// with a LoadError; a list it decodes must account for every byte of the resource and be
// printable for --describe.
#include "host/core/host_errors.h"
#include "host/core/pipl.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kHeaderBytes = 10, kRecordHeaderBytes = 16;

void require(bool holds, const char* promise)
{
    if (!holds) {
        std::fprintf(stderr, "decoded property list breaks a promise: %s\n", promise);
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::vector<std::uint8_t> bytes(data, data + size);
    orbhost::PropertyList list;
    try {
        list = orbhost::decodePipl(bytes, "fuzz.pipl");
    } catch (const orbhost::LoadError&) {
        return 0;
    }
    std::size_t covered = kHeaderBytes;
    for (const orbhost::PiplProperty& p : list.properties) {
        require(p.key.size() == 4, "four-character keys");
        covered += kRecordHeaderBytes + p.data.size();
    }
    require(covered == size, "records cover the resource exactly");
    orbhost::describePipl(list);
    try {
        orbhost::validateEffectPipl(list, "fuzz.pipl");
        require(list.kind == "eFKT" && !list.entryPoint.empty(), "an accepted effect has a kind and entry point");
    } catch (const orbhost::LoadError&) {
    }
    return 0;
}
