// Every AEGP call refuses a null, foreign, stale or wrong-kind handle and takes nothing;
// references, streams and memory handles are accounted.
#include "probe_support.h"

#include <gtest/gtest.h>

#include <functional>

using namespace aegptest;

namespace {

enum class Kind { Effect, Layer, Comp, Item, EffectRef, Stream, Memory };
const char* const kKindNames[] = {"effect_ref", "layer", "comp", "item", "effect reference", "stream", "memory handle"};

struct Call {
    const char* name;
    Kind kind;
    std::function<A_Err(const Suites&, void*)> call;
};

template <class H>
H as(void* handle)
{
    return static_cast<H>(handle);
}

std::vector<Call> servedCalls()
{
    static A_long n;
    static A_Time time;
    static A_Matrix4 matrix;
    static AEGP_LayerH layer;
    static AEGP_ItemH item;
    static AEGP_CompH comp;
    static AEGP_EffectRefH effect;
    static AEGP_StreamRefH stream;
    static AEGP_MemHandle memory;
    static A_Boolean yes;
    static A_char name[AEGP_MAX_LAYER_NAME_SIZE];
    static AEGP_StreamVal2 value;
    static void* pointer;
    static A_FpLong number;
    static A_Ratio ratio;
    static AEGP_ItemType itemType;
    static A_u_long flags;
    static const A_Time t{0, 10};
    static const A_UTF16Char newName[] = {'N', 0};
    using L = AEGP_LayerH;
    using S = AEGP_StreamRefH;
    using M = AEGP_MemHandle;
    return {
        {"GetEffectLayer", Kind::Effect, [](const Suites& s, void* h) { return s.pf->AEGP_GetEffectLayer(as<PF_ProgPtr>(h), &layer); }},
        {"GetNewEffectForEffect", Kind::Effect, [](const Suites& s, void* h) { return s.pf->AEGP_GetNewEffectForEffect(1, as<PF_ProgPtr>(h), &effect); }},
        {"ConvertEffectToCompTime", Kind::Effect, [](const Suites& s, void* h) { return s.pf->AEGP_ConvertEffectToCompTime(as<PF_ProgPtr>(h), 0, 10, &time); }},
        {"GetEffectCamera", Kind::Effect, [](const Suites& s, void* h) { return s.pf->AEGP_GetEffectCamera(as<PF_ProgPtr>(h), &t, &layer); }},
        {"GetEffectCameraMatrix", Kind::Effect, [](const Suites& s, void* h) { return s.pf->AEGP_GetEffectCameraMatrix(as<PF_ProgPtr>(h), &t, &matrix, nullptr, nullptr, nullptr); }},
        {"GetCompNumLayers", Kind::Comp, [](const Suites& s, void* h) { return s.layer12->AEGP_GetCompNumLayers(as<AEGP_CompH>(h), &n); }},
        {"GetCompLayerByIndex", Kind::Comp, [](const Suites& s, void* h) { return s.layer12->AEGP_GetCompLayerByIndex(as<AEGP_CompH>(h), 0, &layer); }},
        {"GetLayerFromLayerID", Kind::Comp, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerFromLayerID(as<AEGP_CompH>(h), 1, &layer); }},
        {"GetItemFromComp", Kind::Comp, [](const Suites& s, void* h) { return s.comp->AEGP_GetItemFromComp(as<AEGP_CompH>(h), &item); }},
        {"GetCompFramerate", Kind::Comp, [](const Suites& s, void* h) { return s.comp->AEGP_GetCompFramerate(as<AEGP_CompH>(h), &number); }},
        {"GetCompFrameDuration", Kind::Comp, [](const Suites& s, void* h) { return s.comp->AEGP_GetCompFrameDuration(as<AEGP_CompH>(h), &time); }},
        {"GetDefaultCameraDistance", Kind::Comp, [](const Suites& s, void* h) { return s.camera->AEGP_GetDefaultCameraDistanceToImagePlane(as<AEGP_CompH>(h), &number); }},
        {"GetCompFromItem", Kind::Item, [](const Suites& s, void* h) { return s.comp->AEGP_GetCompFromItem(as<AEGP_ItemH>(h), &comp); }},
        {"GetItemType", Kind::Item, [](const Suites& s, void* h) { return s.item->AEGP_GetItemType(as<AEGP_ItemH>(h), &itemType); }},
        {"GetItemDimensions", Kind::Item, [](const Suites& s, void* h) { return s.item->AEGP_GetItemDimensions(as<AEGP_ItemH>(h), &n, &n); }},
        {"GetItemPixelAspectRatio", Kind::Item, [](const Suites& s, void* h) { return s.item->AEGP_GetItemPixelAspectRatio(as<AEGP_ItemH>(h), &ratio); }},
        {"GetLayerIndex", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerIndex(as<L>(h), &n); }},
        {"GetLayerSourceItem", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerSourceItem(as<L>(h), &item); }},
        {"GetLayerParentComp", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerParentComp(as<L>(h), &comp); }},
        {"GetLayerName v12", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerName(1, as<L>(h), &memory, &memory); }},
        {"GetLayerName v11", Kind::Layer, [](const Suites& s, void* h) { return s.layer11->AEGP_GetLayerName(as<L>(h), name, name); }},
        {"SetLayerName v12", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_SetLayerName(as<L>(h), newName); }},
        {"SetLayerName v11", Kind::Layer, [](const Suites& s, void* h) { return s.layer11->AEGP_SetLayerName(as<L>(h), "N"); }},
        {"GetLayerFlags", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerFlags(as<L>(h), &n); }},
        {"GetLayerInPoint", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerInPoint(as<L>(h), AEGP_LTimeMode_CompTime, &time); }},
        {"GetLayerDuration", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerDuration(as<L>(h), AEGP_LTimeMode_LayerTime, &time); }},
        {"GetLayerOffset", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerOffset(as<L>(h), &time); }},
        {"GetLayerStretch", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerStretch(as<L>(h), &ratio); }},
        {"GetLayerObjectType", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerObjectType(as<L>(h), &n); }},
        {"IsLayer3D", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_IsLayer3D(as<L>(h), &yes); }},
        {"IsLayer2D", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_IsLayer2D(as<L>(h), &yes); }},
        {"IsVideoActive", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_IsVideoActive(as<L>(h), AEGP_LTimeMode_CompTime, &t, &yes); }},
        {"ConvertCompToLayerTime", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_ConvertCompToLayerTime(as<L>(h), &t, &time); }},
        {"ConvertLayerToCompTime", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_ConvertLayerToCompTime(as<L>(h), &t, &time); }},
        {"GetLayerID", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerID(as<L>(h), &n); }},
        {"GetLayerToWorldXform", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerToWorldXform(as<L>(h), &t, &matrix); }},
        {"GetLayerParent", Kind::Layer, [](const Suites& s, void* h) { return s.layer12->AEGP_GetLayerParent(as<L>(h), &layer); }},
        {"GetCameraType", Kind::Layer, [](const Suites& s, void* h) { return s.camera->AEGP_GetCameraType(as<L>(h), &flags); }},
        {"GetLightType", Kind::Layer, [](const Suites& s, void* h) { return s.light->AEGP_GetLightType(as<L>(h), &flags); }},
        {"IsStreamLegal", Kind::Layer, [](const Suites& s, void* h) { return s.stream->AEGP_IsStreamLegal(as<L>(h), AEGP_LayerStream_POSITION, &yes); }},
        {"GetLayerStreamValue", Kind::Layer, [](const Suites& s, void* h) { return s.stream->AEGP_GetLayerStreamValue(as<L>(h), AEGP_LayerStream_POSITION, AEGP_LTimeMode_CompTime, &t, false, &value, nullptr); }},
        {"GetLayerNumEffects", Kind::Layer, [](const Suites& s, void* h) { return s.effect->AEGP_GetLayerNumEffects(as<L>(h), &n); }},
        {"GetLayerEffectByIndex", Kind::Layer, [](const Suites& s, void* h) { return s.effect->AEGP_GetLayerEffectByIndex(1, as<L>(h), 0, &effect); }},
        {"GetEffectNumParamStreams", Kind::EffectRef, [](const Suites& s, void* h) { return s.stream->AEGP_GetEffectNumParamStreams(as<AEGP_EffectRefH>(h), &n); }},
        {"GetNewEffectStreamByIndex", Kind::EffectRef, [](const Suites& s, void* h) { return s.stream->AEGP_GetNewEffectStreamByIndex(1, as<AEGP_EffectRefH>(h), 1, &stream); }},
        {"DisposeEffect", Kind::EffectRef, [](const Suites& s, void* h) { return s.effect->AEGP_DisposeEffect(as<AEGP_EffectRefH>(h)); }},
        {"DisposeStream", Kind::Stream, [](const Suites& s, void* h) { return s.stream->AEGP_DisposeStream(as<S>(h)); }},
        {"DuplicateStreamRef", Kind::Stream, [](const Suites& s, void* h) { return s.stream->AEGP_DuplicateStreamRef(1, as<S>(h), &stream); }},
        {"GetExpressionState", Kind::Stream, [](const Suites& s, void* h) { return s.stream->AEGP_GetExpressionState(1, as<S>(h), &yes); }},
        {"SetExpressionState", Kind::Stream, [](const Suites& s, void* h) { return s.stream->AEGP_SetExpressionState(1, as<S>(h), true); }},
        {"GetExpression", Kind::Stream, [](const Suites& s, void* h) { return s.stream->AEGP_GetExpression(1, as<S>(h), &memory); }},
        {"SetExpression", Kind::Stream, [](const Suites& s, void* h) { return s.stream->AEGP_SetExpression(1, as<S>(h), "x"); }},
        {"GetDynamicStreamFlags", Kind::Stream, [](const Suites& s, void* h) { return s.dynamic->AEGP_GetDynamicStreamFlags(as<S>(h), &flags); }},
        {"SetDynamicStreamFlag", Kind::Stream, [](const Suites& s, void* h) { return s.dynamic->AEGP_SetDynamicStreamFlag(as<S>(h), AEGP_DynStreamFlag_HIDDEN, false, true); }},
        {"FreeMemHandle", Kind::Memory, [](const Suites& s, void* h) { return s.memory->AEGP_FreeMemHandle(as<M>(h)); }},
        {"LockMemHandle", Kind::Memory, [](const Suites& s, void* h) { return s.memory->AEGP_LockMemHandle(as<M>(h), &pointer); }},
        {"UnlockMemHandle", Kind::Memory, [](const Suites& s, void* h) { return s.memory->AEGP_UnlockMemHandle(as<M>(h)); }},
        {"GetMemHandleSize", Kind::Memory, [](const Suites& s, void* h) { return s.memory->AEGP_GetMemHandleSize(as<M>(h), &flags); }},
        {"ResizeMemHandle", Kind::Memory, [](const Suites& s, void* h) { return s.memory->AEGP_ResizeMemHandle("x", 8, as<M>(h)); }},
    };
}

} // namespace

TEST(AegpHandles, EveryServedCallRefusesABadHandle)
{
    auto host = startedProbe();
    AEGP_LayerH staleLayer = host->state().aegp.layer(3);
    host->setComposition(fullComposition());   // every earlier layer, comp and item handle goes stale
    Suites s(*host);

    // One live handle of each kind; each call is given those of the other kinds.
    AEGP_EffectRefH effect = nullptr, disposedEffect = nullptr;
    AEGP_StreamRefH stream = nullptr, disposedStream = nullptr;
    AEGP_MemHandle memory = nullptr, freedMemory = nullptr;
    AEGP_CompH comp = nullptr;
    AEGP_ItemH item = nullptr;
    ASSERT_EQ(s.pf->AEGP_GetNewEffectForEffect(1, s.effectRef(), &effect), A_Err_NONE);
    ASSERT_EQ(s.stream->AEGP_GetNewEffectStreamByIndex(1, effect, 2, &stream), A_Err_NONE);
    ASSERT_EQ(s.memory->AEGP_NewMemHandle(1, "live", 8, AEGP_MemFlag_NONE, &memory), A_Err_NONE);
    ASSERT_EQ(s.pf->AEGP_GetNewEffectForEffect(1, s.effectRef(), &disposedEffect), A_Err_NONE);
    ASSERT_EQ(s.stream->AEGP_GetNewEffectStreamByIndex(1, effect, 2, &disposedStream), A_Err_NONE);
    ASSERT_EQ(s.memory->AEGP_NewMemHandle(1, "freed", 8, AEGP_MemFlag_NONE, &freedMemory), A_Err_NONE);
    ASSERT_EQ(s.effect->AEGP_DisposeEffect(disposedEffect), A_Err_NONE);
    ASSERT_EQ(s.stream->AEGP_DisposeStream(disposedStream), A_Err_NONE);
    ASSERT_EQ(s.memory->AEGP_FreeMemHandle(freedMemory), A_Err_NONE);
    ASSERT_EQ(s.layer12->AEGP_GetLayerParentComp(s.layer(0), &comp), A_Err_NONE);
    ASSERT_EQ(s.comp->AEGP_GetItemFromComp(comp, &item), A_Err_NONE);
    const std::vector<std::pair<Kind, void*>> live = {
        {Kind::Effect, s.effectRef()}, {Kind::Layer, s.layer(0)}, {Kind::Comp, comp}, {Kind::Item, item},
        {Kind::EffectRef, effect},     {Kind::Stream, stream},    {Kind::Memory, memory}};
    const std::map<Kind, void*> stale = {{Kind::Layer, staleLayer},      {Kind::EffectRef, disposedEffect},
                                         {Kind::Stream, disposedStream}, {Kind::Memory, freedMemory}};
    int foreign = 0;
    const auto before = host->accounting().outstandingSnapshot();
    for (const Call& call : servedCalls()) {
        std::vector<std::pair<std::string, void*>> bad = {{"null", nullptr}, {"foreign pointer", &foreign}};
        if (stale.contains(call.kind))
            bad.push_back({"stale", stale.at(call.kind)});
        for (const auto& [kind, handle] : live)
            if (kind != call.kind)
                bad.push_back({std::string("live ") + kKindNames[int(kind)], handle});
        for (const auto& [what, handle] : bad)
            EXPECT_EQ(call.call(s, handle), A_Err_PARAMETER) << call.name << " with a " << what;
    }
    EXPECT_EQ(host->accounting().outstandingSnapshot(), before) << "a refused call took something";
    // The live handles still work, and each goes back exactly once.
    EXPECT_EQ(s.stream->AEGP_DisposeStream(stream), A_Err_NONE);
    EXPECT_EQ(s.stream->AEGP_DisposeStream(stream), A_Err_PARAMETER);
    EXPECT_EQ(s.effect->AEGP_DisposeEffect(effect), A_Err_NONE);
    EXPECT_EQ(s.effect->AEGP_DisposeEffect(effect), A_Err_PARAMETER);
    EXPECT_EQ(s.memory->AEGP_FreeMemHandle(memory), A_Err_NONE);
    EXPECT_EQ(s.memory->AEGP_FreeMemHandle(memory), A_Err_PARAMETER);
    for (const Imbalance& left : host->liveResources())
        EXPECT_EQ(left.what.rfind("AEGP", 0), std::string::npos) << left.what << " (" << left.count << ")";
}

TEST(AegpHandles, ExpressionsAndRenamesAreRecordedWithBalancedAccounts)
{
    auto host = startedProbe("aegp_rename");
    ParamValue chosen;
    chosen.layer = 1;   // the unnamed image layer
    host->setParamValues(1, [chosen](double) { return chosen; });
    ASSERT_EQ(host->userChangedParam(1, 0.0), PF_Err_NONE);
    EXPECT_TRUE(host->commandLog().back().imbalances.empty()) << host->commandLog().back().imbalances.front().what;

    // The recorded expression reads back in a memory handle of its own; DISABLED cannot be set.
    Suites s(*host);
    AEGP_EffectRefH effect = nullptr;
    AEGP_StreamRefH stream = nullptr;
    AEGP_MemHandle text = nullptr;
    void* data = nullptr;
    ASSERT_EQ(s.pf->AEGP_GetNewEffectForEffect(1, s.effectRef(), &effect), A_Err_NONE);
    ASSERT_EQ(s.stream->AEGP_GetNewEffectStreamByIndex(1, effect, 10, &stream), A_Err_NONE);
    ASSERT_EQ(s.stream->AEGP_GetExpression(1, stream, &text), A_Err_NONE);
    ASSERT_EQ(s.memory->AEGP_LockMemHandle(text, &data), A_Err_NONE);
    EXPECT_STREQ(static_cast<const char*>(data), "thisComp.layer(\"tex.png\")\n");
    EXPECT_EQ(host->accounting().outstanding("AEGP memory handle \"expression\""), 1);
    EXPECT_EQ(s.dynamic->AEGP_SetDynamicStreamFlag(stream, AEGP_DynStreamFlag_DISABLED, true, true), A_Err_PARAMETER);
    EXPECT_EQ(s.dynamic->AEGP_SetDynamicStreamFlag(stream, AEGP_DynStreamFlag_ELIDED, false, true), A_Err_PARAMETER);
    s.memory->AEGP_UnlockMemHandle(text);
    s.memory->AEGP_FreeMemHandle(text);
    s.stream->AEGP_DisposeStream(stream);
    s.effect->AEGP_DisposeEffect(effect);
    EXPECT_EQ(host->accounting().outstanding("AEGP memory handle \"expression\""), 0);
}

TEST(AegpHandles, LeakedReferencesAreReportedByNameAndCount)
{
    auto host = startedProbe("aegp_leak");
    Image out;
    ASSERT_EQ(host->renderFrame({0.0, 8, 1, 1}, &out), PF_Err_NONE);
    std::map<std::string, long long> leaks;
    for (const Imbalance& i : probetest::lastRecord(*host, PF_Cmd_SMART_RENDER).imbalances)
        leaks[i.what] = i.count;
    const std::map<std::string, long long> expected = {{"AEGP effect reference", 1},
                                                       {"AEGP stream of parameter 2", 1},
                                                       {"AEGP memory handle \"layer name\"", 1},
                                                       {"AEGP memory handle \"layer source name\"", 1}};
    EXPECT_EQ(leaks, expected);
}
