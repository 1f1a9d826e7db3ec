#include "AEO/stream.h"

namespace AEO {

Stream::Stream(const PF_InData* inData, AEGP_StreamRefH stream)
    : stream_(stream), streams_(basicOf(inData)), dynamicStreams_(basicOf(inData))
{
}

bool Stream::setExpression(AEGP_PluginID pluginId, const char* expression)
{
    return call(streams_, &AEGP_StreamSuite4::AEGP_SetExpression, pluginId, stream_, expression ? expression : "");
}

AEGP_DynStreamFlags Stream::dynamicFlags()
{
    return query<AEGP_DynStreamFlags>(0, dynamicStreams_, &AEGP_DynamicStreamSuite4::AEGP_GetDynamicStreamFlags,
                                      stream_);
}

bool Stream::setDynamicFlag(AEGP_DynStreamFlags flag, bool undoable, bool set)
{
    return call(dynamicStreams_, &AEGP_DynamicStreamSuite4::AEGP_SetDynamicStreamFlag, stream_, flag,
                A_Boolean(undoable), A_Boolean(set));
}

bool Stream::dispose()
{
    if (!stream_) {
        return true;
    }
    const bool disposed = call(streams_, &AEGP_StreamSuite4::AEGP_DisposeStream, stream_);
    if (disposed) {
        stream_ = nullptr;
    }
    return disposed;
}

} // namespace AEO
