#include "host/core/host_state.h"

#include "host/sampling/area_table.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <iostream>
#include <new>

namespace orbhost {

HostState::HostState(std::shared_ptr<EffectModule> m, HostConfig c)
    : module(std::move(m)), config(c), samplingTables(std::make_unique<AreaTableCache>())
{
    registerHostSuites(*this);
}

HostState::~HostState() = default;

void HostState::note(const std::string& text) const
{
    if (config.verbose)
        (config.log ? *config.log : std::cerr) << "[host] " << text << '\n';
}

namespace {
std::atomic<void (*)(const std::string&)> gWarningObserver{nullptr};
}

void setWarningObserver(void (*observer)(const std::string& text))
{
    gWarningObserver = observer;
}

void HostState::warn(const std::string& text)
{
    warnings.push_back(text);
    if (auto observer = gWarningObserver.load())
        observer(text);
    (config.log ? *config.log : std::cerr) << "warning: " << text << '\n';
}

A_long HostState::toTime(double compSeconds) const
{
    return A_long(std::llround((compSeconds - effectLayerIn()) * double(timeScale)));
}

double HostState::toSeconds(A_long time, A_u_long scale) const
{
    return (scale ? double(time) / double(scale) : 0.0) + effectLayerIn();
}

double HostState::effectLayerIn() const
{
    const LayerModel* layer = modelLayer(composition.effectLayer);
    return layer ? layer->inPoint : 0.0;
}

const LayerModel* HostState::modelLayer(int index) const
{
    if (index < 0 || index >= int(composition.model.layers.size()))
        return nullptr;
    return &composition.model.layers[std::size_t(index)];
}

const LayerPixels* HostState::layerPixelsOf(int index) const
{
    if (index < 0 || index >= int(composition.pixels.size()) || !composition.pixels[std::size_t(index)])
        return nullptr;
    return &composition.pixels[std::size_t(index)];
}

int HostState::layerWidth() const
{
    const LayerPixels* pixels = layerPixelsOf(composition.effectLayer);
    return pixels ? pixels->width() : composition.model.width;
}

int HostState::layerHeight() const
{
    const LayerPixels* pixels = layerPixelsOf(composition.effectLayer);
    return pixels ? pixels->height() : composition.model.height;
}

PF_LRect HostState::layerBufferRect() const
{
    return {0, 0, downsampledSize(layerWidth(), frame.downsampleX),
            downsampledSize(layerHeight(), frame.downsampleY)};
}

int HostState::layerOfParam(int index, double seconds) const
{
    return index == 0 ? composition.effectLayer : valueAt(index, seconds).layer;
}

PF_Err HostState::checkOutLayerWorld(int layerIndex, PF_EffectWorld* world)
{
    std::memset(world, 0, sizeof *world);
    const LayerModel* layer = modelLayer(layerIndex);
    if (!layer || !composition.pixels[std::size_t(layerIndex)])
        return PF_Err_NONE;
    if (injectFault(faultCounters.hostWorlds, faults.failHostWorld)) {
        note("injected failure: pixels of layer " + std::to_string(layerIndex));
        return PF_Err_OUT_OF_MEMORY;
    }
    try {
        const auto start = std::chrono::steady_clock::now();
        const PF_Err err = layerPixels.makeWorld(worlds, composition.pixels[std::size_t(layerIndex)],
                                                 pixelFormatForDepth(frame.bitDepth), frame.downsampleX,
                                                 frame.downsampleY, world);
        layerPixelSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        if (err)
            return err;
    } catch (const ImageError& e) {
        warn("layer " + std::to_string(layerIndex) + ": " + e.what());
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    } catch (const std::bad_alloc&) {
        warn("layer " + std::to_string(layerIndex) + ": not enough memory for its pixels");
        return PF_Err_OUT_OF_MEMORY;
    }
    accounting.count("layer pixels made: layer " + std::to_string(layerIndex));
    world->reserved0 = aegp.layer(layerIndex);
    world->pix_aspect_ratio = pixelAspectRatio(layer->pixelAspect);
    return PF_Err_NONE;
}

void HostState::disposeWorld(const void* data)
{
    // A layer's kept world outlives its checkouts (LayerPixelCache).
    if (!data || layerPixels.owns(data))
        return;
    invalidateSamplingCache(data);
    worlds.dispose(data);
}

void HostState::checkInLayerPixels(LayerCheckout& checkout)
{
    disposeWorld(checkout.world->data);
    checkout.world.reset();
    accounting.giveBack("layer pixels checkout");
}

void HostState::checkInParam(const ParamCheckoutRecord& record)
{
    disposeWorld(record.pixels);
    accounting.giveBack("parameter checkout");
}

ParamValue HostState::valueAt(int index, double seconds) const
{
    if (index > 0 && index < int(valueTracks.size()) && valueTracks[std::size_t(index)])
        return valueTracks[std::size_t(index)](seconds);
    if (index < 0 || index >= int(params.size()))
        return {};
    return defaultValue(params[std::size_t(index)], layerWidth(), layerHeight());
}

PF_ParamDef HostState::paramRecordAt(int index, double seconds) const
{
    const ParamDefinition& param = params[std::size_t(index)];
    PF_ParamDef record = recordFor(param);
    if (param.def.param_type == PF_Param_LAYER) {
        std::memset(&record.u.ld, 0, sizeof record.u.ld);
        const int layerIndex = layerOfParam(index, seconds);
        if (modelLayer(layerIndex))
            record.u.ld.reserved0 = aegp.layer(layerIndex);
        return record;
    }
    writeParamValue(param, valueAt(index, seconds), 1.0 / std::max(1, frame.downsampleX),
                    1.0 / std::max(1, frame.downsampleY), &record);
    return record;
}

} // namespace orbhost
