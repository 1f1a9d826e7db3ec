// The name and version under which the effect asks the host for each suite it uses.
// Everything that acquires a suite goes through SuiteTraits, so a version is pinned here once.
#pragma once
#include "hostapi/host_api.h"

namespace AEO {

template <const char* Name, A_u_long Version>
struct SuiteId {
    static constexpr const char* name = Name;
    static constexpr A_long version = static_cast<A_long>(Version);
};

template <class Suite>
struct SuiteTraits;   // deliberately undefined: a suite missing here does not compile

// Effect-side suites.
template <> struct SuiteTraits<PF_Sampling8Suite1> : SuiteId<kPFSampling8Suite, kPFSampling8SuiteVersion1> {};
template <> struct SuiteTraits<PF_Sampling16Suite1> : SuiteId<kPFSampling16Suite, kPFSampling16SuiteVersion1> {};
template <> struct SuiteTraits<PF_SamplingFloatSuite1> : SuiteId<kPFSamplingFloatSuite, kPFSamplingFloatSuiteVersion1> {};
template <> struct SuiteTraits<PF_WorldSuite2> : SuiteId<kPFWorldSuite, kPFWorldSuiteVersion2> {};
template <> struct SuiteTraits<PF_ParamUtilsSuite1> : SuiteId<kPFParamUtilsSuite, kPFParamUtilsSuiteVersion1> {};
template <> struct SuiteTraits<PF_ANSICallbacksSuite1> : SuiteId<kPFANSISuite, kPFANSISuiteVersion1> {};
template <> struct SuiteTraits<PF_PathQuerySuite1> : SuiteId<kPFPathQuerySuite, kPFPathQuerySuiteVersion1> {};

// AEGP suites.
template <> struct SuiteTraits<AEGP_UtilitySuite5> : SuiteId<kAEGPUtilitySuite, kAEGPUtilitySuiteVersion5> {};
template <> struct SuiteTraits<AEGP_PFInterfaceSuite1> : SuiteId<kAEGPPFInterfaceSuite, kAEGPPFInterfaceSuiteVersion1> {};
template <> struct SuiteTraits<AEGP_LayerSuite6> : SuiteId<kAEGPLayerSuite, kAEGPLayerSuiteVersion6> {};
template <> struct SuiteTraits<AEGP_LayerSuite5> : SuiteId<kAEGPLayerSuite, kAEGPLayerSuiteVersion5> {};
template <> struct SuiteTraits<AEGP_CompSuite5> : SuiteId<kAEGPCompSuite, kAEGPCompSuiteVersion5> {};
template <> struct SuiteTraits<AEGP_ItemSuite8> : SuiteId<kAEGPItemSuite, kAEGPItemSuiteVersion8> {};
template <> struct SuiteTraits<AEGP_CameraSuite2> : SuiteId<kAEGPCameraSuite, kAEGPCameraSuiteVersion2> {};
template <> struct SuiteTraits<AEGP_LightSuite2> : SuiteId<kAEGPLightSuite, kAEGPLightSuiteVersion2> {};
template <> struct SuiteTraits<AEGP_StreamSuite4> : SuiteId<kAEGPStreamSuite, kAEGPStreamSuiteVersion4> {};
template <> struct SuiteTraits<AEGP_DynamicStreamSuite4> : SuiteId<kAEGPDynamicStreamSuite, kAEGPDynamicStreamSuiteVersion4> {};
template <> struct SuiteTraits<AEGP_EffectSuite3> : SuiteId<kAEGPEffectSuite, kAEGPEffectSuiteVersion3> {};
template <> struct SuiteTraits<AEGP_KeyframeSuite4> : SuiteId<kAEGPKeyframeSuite, kAEGPKeyframeSuiteVersion4> {};
template <> struct SuiteTraits<AEGP_MaskOutlineSuite2> : SuiteId<kAEGPMaskOutlineSuite, kAEGPMaskOutlineSuiteVersion2> {};
template <> struct SuiteTraits<AEGP_TextDocumentSuite1> : SuiteId<kAEGPTextDocumentSuite, kAEGPTextDocumentSuiteVersion1> {};
template <> struct SuiteTraits<AEGP_MarkerSuite2> : SuiteId<kAEGPMarkerSuite, kAEGPMarkerSuiteVersion2> {};
template <> struct SuiteTraits<AEGP_MaskSuite4> : SuiteId<kAEGPMaskSuite, kAEGPMaskSuiteVersion4> {};
template <> struct SuiteTraits<AEGP_TextLayerSuite1> : SuiteId<kAEGPTextLayerSuite, kAEGPTextLayerSuiteVersion1> {};
template <> struct SuiteTraits<AEGP_MemorySuite1> : SuiteId<kAEGPMemorySuite, kAEGPMemorySuiteVersion1> {};

static_assert(SuiteTraits<AEGP_UtilitySuite5>::version == 11);
static_assert(SuiteTraits<AEGP_LayerSuite6>::version == 12);
static_assert(SuiteTraits<AEGP_CompSuite5>::version == 11);
static_assert(SuiteTraits<AEGP_ItemSuite8>::version == 13);
static_assert(SuiteTraits<AEGP_StreamSuite4>::version == 9);
static_assert(SuiteTraits<AEGP_DynamicStreamSuite4>::version == 5);
static_assert(SuiteTraits<AEGP_MaskOutlineSuite2>::version == 3);
static_assert(SuiteTraits<AEGP_MaskSuite4>::version == 5);
static_assert(SuiteTraits<PF_ParamUtilsSuite1>::version == 2);

} // namespace AEO
