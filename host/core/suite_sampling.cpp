// "PF Sampling8/16/Float Suite" version 1, wired to the sampling module: checks that the
// source world's format matches the suite's depth, then samples.
#include "host/core/host_state.h"
#include "host/core/unsupported_slots.h"
#include "host/core/world_registry.h"

#if __has_include("host/sampling/samplers.h") && __has_include("host/sampling/area_table.h")
#define ORBHOST_HAVE_SAMPLING 1
#include "host/sampling/area_table.h"
#include "host/sampling/samplers.h"
#endif

namespace orbhost {

class SamplingCacheHolder {
public:
#if ORBHOST_HAVE_SAMPLING
    AreaTableCache cache;
    void invalidate(const void* data) { cache.invalidate(data); }
    void invalidateAll() { cache.invalidateAll(); }
#else
    void invalidate(const void*) {}
    void invalidateAll() {}
#endif
};

SamplingCacheHolder* makeSamplingCache()
{
    return new SamplingCacheHolder;
}

void destroySamplingCache(SamplingCacheHolder* holder)
{
    delete holder;
}

void HostState::invalidateSamplingCache(const void* data)
{
    if (sampling)
        sampling->invalidate(data);
}

void HostState::invalidateSamplingCacheAll()
{
    if (sampling)
        sampling->invalidateAll();
}

namespace {

template <class Pixel> constexpr PF_PixelFormat formatOf();
template <> constexpr PF_PixelFormat formatOf<PF_Pixel>() { return PF_PixelFormat_ARGB32; }
template <> constexpr PF_PixelFormat formatOf<PF_Pixel16>() { return PF_PixelFormat_ARGB64; }
template <> constexpr PF_PixelFormat formatOf<PF_PixelFloat>() { return PF_PixelFormat_ARGB128; }

enum class Kind { Nearest, Subpixel, Area };

template <class Pixel, Kind kind>
PF_Err sample(PF_ProgPtr ref, PF_Fixed x, PF_Fixed y, const PF_SampPB* params, Pixel* out)
{
    HostState* host = hostFromRef(ref);
    if (!host || !params || !params->src || !out)
        return PF_Err_BAD_CALLBACK_PARAM;
    auto format = host->worlds.format(params->src->data);
    if (!format || *format != formatOf<Pixel>())
        return PF_Err_BAD_CALLBACK_PARAM;
#if ORBHOST_HAVE_SAMPLING
    const PF_Quality quality = host->inData.quality;
    if constexpr (kind == Kind::Nearest)
        return sampleNearest<Pixel>(*params->src, x, y, out);
    else if constexpr (kind == Kind::Subpixel)
        return sampleSubpixel<Pixel>(*params->src, x, y, quality, out);
    else
        return sampleArea<Pixel>(host->sampling->cache, *params->src, x, y, params->x_radius,
                                 params->y_radius, quality, out);
#else
    (void)x, (void)y;
    return PF_Err_INVALID_CALLBACK;
#endif
}

} // namespace

const PF_Sampling8Suite1* sampling8Suite()
{
    static const PF_Sampling8Suite1 suite = [] {
        PF_Sampling8Suite1 s;
        fillUnsupported<kPFSampling8Suite, PF_Err_INVALID_CALLBACK>(s);
        s.nn_sample = sample<PF_Pixel, Kind::Nearest>;
        s.subpixel_sample = sample<PF_Pixel, Kind::Subpixel>;
        s.area_sample = sample<PF_Pixel, Kind::Area>;
        return s;
    }();
    return &suite;
}

const PF_Sampling16Suite1* sampling16Suite()
{
    static const PF_Sampling16Suite1 suite = [] {
        PF_Sampling16Suite1 s;
        fillUnsupported<kPFSampling16Suite, PF_Err_INVALID_CALLBACK>(s);
        s.nn_sample16 = sample<PF_Pixel16, Kind::Nearest>;
        s.subpixel_sample16 = sample<PF_Pixel16, Kind::Subpixel>;
        s.area_sample16 = sample<PF_Pixel16, Kind::Area>;
        return s;
    }();
    return &suite;
}

const PF_SamplingFloatSuite1* samplingFloatSuite()
{
    static const PF_SamplingFloatSuite1 suite = [] {
        PF_SamplingFloatSuite1 s;
        fillUnsupported<kPFSamplingFloatSuite, PF_Err_INVALID_CALLBACK>(s);
        s.nn_sample_float = sample<PF_PixelFloat, Kind::Nearest>;
        s.subpixel_sample_float = sample<PF_PixelFloat, Kind::Subpixel>;
        s.area_sample_float = sample<PF_PixelFloat, Kind::Area>;
        return s;
    }();
    return &suite;
}

} // namespace orbhost
