// "PF Sampling8/16/Float Suite" version 1, wired to the sampling module: checks that the
// source world's format matches the suite's depth, then samples.
#include "host/core/host_state.h"
#include "host/core/unsupported_slots.h"
#include "host/core/world_registry.h"
#include "host/sampling/area_table.h"
#include "host/sampling/samplers.h"

namespace orbhost {

void HostState::invalidateSamplingCache(const void* data)
{
    samplingTables->invalidate(data);
}

void HostState::invalidateSamplingCacheAll()
{
    // Kept layer worlds are read-only: their tables stay valid from frame to frame.
    samplingTables->invalidateAllBut([this](const void* data) { return layerPixels.owns(data); });
}

namespace {

// What tells the three suites apart: pixel type, world format, name and the three slots.
template <class Suite> struct SamplingSuite;

template <> struct SamplingSuite<PF_Sampling8Suite1> {
    using Pixel = PF_Pixel;
    static constexpr PF_PixelFormat format = PF_PixelFormat_ARGB32;
    static constexpr const char* name = kPFSampling8Suite;
    static constexpr auto nearest = &PF_Sampling8Suite1::nn_sample;
    static constexpr auto subpixel = &PF_Sampling8Suite1::subpixel_sample;
    static constexpr auto area = &PF_Sampling8Suite1::area_sample;
};

template <> struct SamplingSuite<PF_Sampling16Suite1> {
    using Pixel = PF_Pixel16;
    static constexpr PF_PixelFormat format = PF_PixelFormat_ARGB64;
    static constexpr const char* name = kPFSampling16Suite;
    static constexpr auto nearest = &PF_Sampling16Suite1::nn_sample16;
    static constexpr auto subpixel = &PF_Sampling16Suite1::subpixel_sample16;
    static constexpr auto area = &PF_Sampling16Suite1::area_sample16;
};

template <> struct SamplingSuite<PF_SamplingFloatSuite1> {
    using Pixel = PF_PixelFloat;
    static constexpr PF_PixelFormat format = PF_PixelFormat_ARGB128;
    static constexpr const char* name = kPFSamplingFloatSuite;
    static constexpr auto nearest = &PF_SamplingFloatSuite1::nn_sample_float;
    static constexpr auto subpixel = &PF_SamplingFloatSuite1::subpixel_sample_float;
    static constexpr auto area = &PF_SamplingFloatSuite1::area_sample_float;
};

enum class Kind { Nearest, Subpixel, Area };

template <class Suite, Kind kind>
PF_Err sample(PF_ProgPtr ref, PF_Fixed x, PF_Fixed y, const PF_SampPB* params,
              typename SamplingSuite<Suite>::Pixel* out)
{
    using Pixel = typename SamplingSuite<Suite>::Pixel;
    HostState* host = hostFromRef(ref);
    if (!host || !params || !params->src || !out)
        return PF_Err_BAD_CALLBACK_PARAM;
    auto format = host->worlds.format(params->src->data);
    if (!format || *format != SamplingSuite<Suite>::format)
        return PF_Err_BAD_CALLBACK_PARAM;
    const PF_Quality quality = host->inData.quality;
    if constexpr (kind == Kind::Nearest)
        return sampleNearest<Pixel>(*params->src, x, y, out);
    else if constexpr (kind == Kind::Subpixel)
        return sampleSubpixel<Pixel>(*params->src, x, y, quality, out);
    else
        return sampleArea<Pixel>(*host->samplingTables, *params->src, x, y, params->x_radius,
                                 params->y_radius, quality, out);
}

template <class Suite>
const Suite* samplingSuite()
{
    using Traits = SamplingSuite<Suite>;
    static const Suite suite =
        tableOfStandIns<Suite, Traits::name, PF_Err_INVALID_CALLBACK>([](Suite& s) {
            s.*Traits::nearest = sample<Suite, Kind::Nearest>;
            s.*Traits::subpixel = sample<Suite, Kind::Subpixel>;
            s.*Traits::area = sample<Suite, Kind::Area>;
        });
    return &suite;
}

} // namespace

const PF_Sampling8Suite1* sampling8Suite() { return samplingSuite<PF_Sampling8Suite1>(); }
const PF_Sampling16Suite1* sampling16Suite() { return samplingSuite<PF_Sampling16Suite1>(); }
const PF_SamplingFloatSuite1* samplingFloatSuite() { return samplingSuite<PF_SamplingFloatSuite1>(); }

} // namespace orbhost
