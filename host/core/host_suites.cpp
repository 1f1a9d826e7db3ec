// The table of suites the host serves, by exact (name, version).
#include "host/core/ansi_and_handles.h"
#include "host/core/host_state.h"
#include "host/core/unsupported_slots.h"

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

} // namespace

void registerHostSuites(HostState& host)
{
    auto serve = [&](const char* name, int version, const void* table) {
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
