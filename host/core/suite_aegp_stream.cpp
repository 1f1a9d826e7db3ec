// "AEGP Stream Suite" version 9: layer stream values, the streams of the effect's parameters
// (stream index = parameter index; the effect disposes of each), and expressions, which the
// host stores as 8-bit text and never evaluates.
#include "host/core/aegp_access.h"
#include "host/core/layer_streams.h"
#include "host/core/stream_call.h"
#include "host/core/unsupported_slots.h"

#include <cstring>

namespace orbhost {
namespace {

A_Err isStreamLegal(AEGP_LayerH layerH, AEGP_LayerStream stream, A_Boolean* legal)
{
    LayerCall call("AEGP_IsStreamLegal", layerH);
    if (!call || !legal)
        return A_Err_PARAMETER;
    *legal = layerStreamValue(*call.layer, stream, 0.0).has_value();
    return A_Err_NONE;
}

A_Err getEffectNumParamStreams(AEGP_EffectRefH effect, A_long* count)
{
    HostState* host = activeHost();
    if (!host || !host->aegp.isEffectRef(effect))
        return badArgument("AEGP_GetEffectNumParamStreams", "unknown or disposed effect reference");
    if (!count)
        return A_Err_PARAMETER;
    *count = A_long(host->params.size());
    return A_Err_NONE;
}

A_Err getNewEffectStreamByIndex(AEGP_PluginID, AEGP_EffectRefH effect, PF_ParamIndex index, AEGP_StreamRefH* stream)
{
    HostState* host = activeHost();
    if (!host || !host->aegp.isEffectRef(effect))
        return badArgument("AEGP_GetNewEffectStreamByIndex", "unknown or disposed effect reference");
    if (!stream)
        return A_Err_PARAMETER;
    *stream = nullptr;
    if (index < 0 || index >= PF_ParamIndex(host->params.size()))
        return badArgument("AEGP_GetNewEffectStreamByIndex", "parameter index out of range");
    *stream = host->aegp.newStream(index, effect);
    host->accounting.take(streamAccount(index));
    return A_Err_NONE;
}

A_Err disposeStream(AEGP_StreamRefH stream)
{
    HostState* host = activeHost();
    const std::optional<int> param = host ? host->aegp.streamParam(stream) : std::nullopt;
    if (!param || !host->aegp.disposeStream(stream))
        return badArgument("AEGP_DisposeStream", "unknown or already disposed stream");
    host->accounting.giveBack(streamAccount(*param));
    return A_Err_NONE;
}

A_Err duplicateStreamRef(AEGP_PluginID, AEGP_StreamRefH stream, AEGP_StreamRefH* duplicate)
{
    StreamCall call("AEGP_DuplicateStreamRef", stream);
    if (!call || !duplicate)
        return A_Err_PARAMETER;
    *duplicate = call.host->aegp.newStream(call.param, call.host->aegp.streamOwner(stream));
    call.host->accounting.take(streamAccount(call.param));
    return A_Err_NONE;
}

A_Err getLayerStreamValue(AEGP_LayerH layerH, AEGP_LayerStream which, AEGP_LTimeMode mode, const A_Time* time,
                          A_Boolean, AEGP_StreamVal2* value, AEGP_StreamType* type)
{
    LayerCall call("AEGP_GetLayerStreamValue", layerH);
    double seconds = 0;
    if (!call || !value)
        return A_Err_PARAMETER;
    if (!compSeconds(*call.host, call.index, mode, time, &seconds))
        return badArgument("AEGP_GetLayerStreamValue", "bad time or time mode");
    HostState& host = *call.host;
    if (injectFault(host.faultCounters.streamReads, host.faults.failStreamRead)) {
        host.note("AEGP_GetLayerStreamValue: injected failure");
        return A_Err_GENERIC;
    }
    const std::optional<LayerStreamValue> found = layerStreamValue(*call.layer, which, seconds);
    if (!found)
        return badArgument("AEGP_GetLayerStreamValue",
                           ("layer " + std::to_string(call.index) + " has no stream " + std::to_string(which)).c_str());
    *value = found->value;
    if (type)
        *type = found->type;
    return A_Err_NONE;
}

A_Err getExpressionState(AEGP_PluginID, AEGP_StreamRefH stream, A_Boolean* enabled)
{
    StreamCall call("AEGP_GetExpressionState", stream);
    if (!call || !enabled)
        return A_Err_PARAMETER;
    *enabled = call.state().expressionEnabled;
    return A_Err_NONE;
}

A_Err setExpressionState(AEGP_PluginID, AEGP_StreamRefH stream, A_Boolean enabled)
{
    StreamCall call("AEGP_SetExpressionState", stream);
    if (!call)
        return A_Err_PARAMETER;
    call.state().expressionEnabled = enabled != 0;
    return A_Err_NONE;
}

// The expression as 8-bit text in a new memory handle the caller frees.
A_Err getExpression(AEGP_PluginID, AEGP_StreamRefH stream, AEGP_MemHandle* text)
{
    StreamCall call("AEGP_GetExpression", stream);
    if (!call || !text)
        return A_Err_PARAMETER;
    const std::string& expression = call.state().expression;
    *text = newMemHandle(*call.host, "expression", expression.c_str(), expression.size() + 1);
    return *text ? A_Err_NONE : A_Err_ALLOC;
}

// The text is copied; "" removes the expression.
A_Err setExpression(AEGP_PluginID, AEGP_StreamRefH stream, const A_char* text)
{
    StreamCall call("AEGP_SetExpression", stream);
    if (!call || !text)
        return text ? A_Err_PARAMETER : badArgument("AEGP_SetExpression", "null text");
    call.state().expression = text;
    call.host->note("AEGP_SetExpression on parameter " + std::to_string(call.param) + ": \"" + text + "\"");
    return A_Err_NONE;
}

} // namespace

const AEGP_StreamSuite4* aegpStreamSuite()
{
    static const AEGP_StreamSuite4 suite =
        tableOfStandIns<AEGP_StreamSuite4, kAEGPStreamSuite, A_Err_GENERIC>([](AEGP_StreamSuite4& s) {
            s.AEGP_IsStreamLegal = isStreamLegal;
            s.AEGP_GetEffectNumParamStreams = getEffectNumParamStreams;
            s.AEGP_GetNewEffectStreamByIndex = getNewEffectStreamByIndex;
            s.AEGP_DisposeStream = disposeStream;
            s.AEGP_GetLayerStreamValue = getLayerStreamValue;
            s.AEGP_GetExpressionState = getExpressionState;
            s.AEGP_SetExpressionState = setExpressionState;
            s.AEGP_GetExpression = getExpression;
            s.AEGP_SetExpression = setExpression;
            s.AEGP_DuplicateStreamRef = duplicateStreamRef;
        });
    return &suite;
}

} // namespace orbhost
