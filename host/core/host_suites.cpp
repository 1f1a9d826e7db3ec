// The table of suites the host serves, by exact (name, version).
#include "host/core/ansi_and_handles.h"
#include "host/core/host_state.h"
#include "host/core/unsupported_slots.h"

#include <cstring>

namespace orbhost {

namespace {

// Suites an effect may acquire without using them on its render path: every entry fails
// with A_Err_GENERIC. Sixty-four slots cover the longest of them.
struct ErrorOnlyTable {
    void* slots[64];
};

template <const char* Name>
const ErrorOnlyTable* errorOnlyTable()
{
    static const ErrorOnlyTable table =
        tableOfStandIns<ErrorOnlyTable, Name, A_Err_GENERIC>([](ErrorOnlyTable&) {});
    return &table;
}

// Premiere Pro loads After Effects effects but has no After Effects composition: no layers,
// composition cameras or lights, streams or keyframes for these suites to describe. Posing as
// Premiere Pro, the host does not serve them; the effect-side suites, the AEGP Utility Suite
// (through which an effect registers at global set-up) and the AEGP Memory Suite stay.
constexpr const char* kCompositionSuites[] = {
    kAEGPPFInterfaceSuite, kAEGPLayerSuite, kAEGPCompSuite, kAEGPItemSuite, kAEGPCameraSuite,
    kAEGPLightSuite, kAEGPStreamSuite, kAEGPDynamicStreamSuite, kAEGPEffectSuite, kAEGPKeyframeSuite,
    kAEGPMaskSuite, kAEGPMaskOutlineSuite, kAEGPMarkerSuite, kAEGPTextDocumentSuite, kAEGPTextLayerSuite,
};

bool appServes(A_AppID app, const char* name)
{
    if (app != kAppIdPremierePro)
        return true;
    for (const char* refused : kCompositionSuites)
        if (std::strcmp(refused, name) == 0)
            return false;
    return true;
}

} // namespace

void registerHostSuites(HostState& host)
{
    auto serve = [&](const char* name, int version, const void* table) {
        if (appServes(host.config.applId, name))
            host.suites[{name, version}] = table;
    };
    serve(kPFWorldSuite, kPFWorldSuiteVersion2, worldSuite());
    serve(kPFSampling8Suite, kPFSampling8SuiteVersion1, sampling8Suite());
    serve(kPFSampling16Suite, kPFSampling16SuiteVersion1, sampling16Suite());
    serve(kPFSamplingFloatSuite, kPFSamplingFloatSuiteVersion1, samplingFloatSuite());
    serve(kPFParamUtilsSuite, kPFParamUtilsSuiteVersion1, paramUtilsSuite());
    serve(kPFANSISuite, kPFANSISuiteVersion1, ansiSuite());
    serve(kPFHandleSuite, kPFHandleSuiteVersion1, handleSuite());
    serve(kAEGPUtilitySuite, kAEGPUtilitySuiteVersion5, aegpUtilitySuite());
    serve(kAEGPPFInterfaceSuite, kAEGPPFInterfaceSuiteVersion1, aegpPFInterfaceSuite());
    serve(kAEGPLayerSuite, kAEGPLayerSuiteVersion6, aegpLayerSuite12());
    serve(kAEGPLayerSuite, kAEGPLayerSuiteVersion5, aegpLayerSuite11());
    serve(kAEGPCompSuite, kAEGPCompSuiteVersion5, aegpCompSuite());
    serve(kAEGPItemSuite, kAEGPItemSuiteVersion8, aegpItemSuite());
    serve(kAEGPCameraSuite, kAEGPCameraSuiteVersion2, aegpCameraSuite());
    serve(kAEGPLightSuite, kAEGPLightSuiteVersion2, aegpLightSuite());
    serve(kAEGPStreamSuite, kAEGPStreamSuiteVersion4, aegpStreamSuite());
    serve(kAEGPDynamicStreamSuite, kAEGPDynamicStreamSuiteVersion4, aegpDynamicStreamSuite());
    serve(kAEGPEffectSuite, kAEGPEffectSuiteVersion3, aegpEffectSuite());
    serve(kAEGPMemorySuite, kAEGPMemorySuiteVersion1, aegpMemorySuite());
    serve(kPFPathQuerySuite, kPFPathQuerySuiteVersion1, errorOnlyTable<kPFPathQuerySuite>());
    serve(kAEGPMaskSuite, 5, errorOnlyTable<kAEGPMaskSuite>());
    serve(kAEGPKeyframeSuite, 4, errorOnlyTable<kAEGPKeyframeSuite>());
    serve(kAEGPMarkerSuite, 2, errorOnlyTable<kAEGPMarkerSuite>());
    serve(kAEGPMaskOutlineSuite, 3, errorOnlyTable<kAEGPMaskOutlineSuite>());
    serve(kAEGPTextDocumentSuite, 1, errorOnlyTable<kAEGPTextDocumentSuite>());
    serve(kAEGPTextLayerSuite, 1, errorOnlyTable<kAEGPTextLayerSuite>());
}

} // namespace orbhost
