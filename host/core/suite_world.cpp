// "PF World Suite" version 2: new worlds (padded rows, poison fill unless cleared), disposal,
// and the pixel format of any world the host made, recognised by its pixel pointer.
#include "host/core/host_state.h"
#include "host/core/unsupported_slots.h"

namespace orbhost {
namespace {

PF_Err newWorld(PF_ProgPtr ref, A_long width, A_long height, PF_Boolean clear, PF_PixelFormat format,
                PF_EffectWorld* world)
{
    HostState* host = hostFromRef(ref);
    if (!host || !world)
        return PF_Err_BAD_CALLBACK_PARAM;
    if (injectFault(host->faultCounters.worldCreations, host->faults.failWorldCreation)) {
        host->note("injected failure: world creation");
        return host->faults.injectedError;
    }
    if (PF_Err err = host->worlds.create(width, height, format, clear ? WorldFill::Cleared : WorldFill::Pattern, true, world))
        return err;
    {
        std::lock_guard lock(host->effectWorldsMutex);
        host->effectWorlds[world->data] = 1;
    }
    host->accounting.take("world");
    host->invalidateSamplingCache(world->data);
    return PF_Err_NONE;
}

PF_Err disposeWorld(PF_ProgPtr ref, PF_EffectWorld* world)
{
    HostState* host = hostFromRef(ref);
    if (!host || !world)
        return PF_Err_BAD_CALLBACK_PARAM;
    {
        std::lock_guard lock(host->effectWorldsMutex);
        if (host->effectWorlds.erase(world->data) == 0)
            return PF_Err_BAD_CALLBACK_PARAM;   // not a world the effect created (or twice)
    }
    host->disposeWorld(world->data);
    host->accounting.giveBack("world");
    world->data = nullptr;
    return PF_Err_NONE;
}

PF_Err getPixelFormat(const PF_EffectWorld* world, PF_PixelFormat* format)
{
    HostState* host = activeHost();
    if (!host || !world || !format)
        return PF_Err_BAD_CALLBACK_PARAM;
    auto known = host->worlds.format(world->data);
    if (!known)
        return PF_Err_BAD_CALLBACK_PARAM;   // *format left as it was
    *format = *known;
    return PF_Err_NONE;
}

} // namespace

const PF_WorldSuite2* worldSuite()
{
    static const PF_WorldSuite2 suite =
        tableOfStandIns<PF_WorldSuite2, kPFWorldSuite, PF_Err_INVALID_CALLBACK>([](PF_WorldSuite2& s) {
            s.PF_NewWorld = newWorld;
            s.PF_DisposeWorld = disposeWorld;
            s.PF_GetPixelFormat = getPixelFormat;
        });
    return &suite;
}

} // namespace orbhost
