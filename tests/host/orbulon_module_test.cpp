// The real Orbulon module through the host: what of the parameter UI only the host can see, and
// its failure paths, after each of which every stream, effect reference, handle and suite is back.
#include "host/core/host_codes.h"
#include "probe_support.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

using namespace orbhost;

namespace {

constexpr int kControlLayer = 4, kEllipseZxy = 5, kRotationZ = 12;
constexpr int kFalloff = 21, kFalloffRadius = 22, kFalloffDistance = 23, kDammy = 49;
constexpr int kCtlLayer = 1;   // the composition layer tests choose as control layer

std::string orbulonPath() { return std::string(ORBULON_BUILD_DIR) + "/Orbulon.so"; }

std::string expressionFor(const std::string& layerName)
{
    return "try{length(thisComp.layer(\"" + layerName + "\").toWorld([1,1,1]));}catch(e){value;}\n";
}

// "Sphere" carries the effect; layers named {own, source} follow it (composition layers 1, 2, ...).
std::unique_ptr<EffectHost> loadOrbulon(const std::vector<std::pair<std::string, std::string>>& layers = {{"Ctl", "Ctl"}},
                                        HostConfig config = {}, bool start = true)
{
    auto host = std::make_unique<EffectHost>(orbulonPath(), config);
    Composition comp;
    comp.model.width = 64, comp.model.height = 48;
    addImageLayer(comp, "Sphere", solidImage(64, 48, 0, 0, 0, 1));
    for (const auto& [own, source] : layers) {
        addImageLayer(comp, source, solidImage(8, 8, 1, 0, 0, 1));
        comp.model.layers.back().name = own;
    }
    host->setComposition(comp);
    if (start) {
        EXPECT_EQ(host->start(), PF_Err_NONE);
    }
    return host;
}

void hold(EffectHost& host, int index, ParamValue v) { host.setParamValues(index, [v](double) { return v; }); }

void holdControlLayer(EffectHost& host)
{
    ParamValue v;
    v.layer = kCtlLayer;
    hold(host, kControlLayer, v);
}

bool greyed(const EffectHost& host, int index) { return host.params()[std::size_t(index)].uiFlags & PF_PUI_DISABLED; }

// The PF_UpdateParamUI calls made since `from`, as (index, greyed) pairs.
std::vector<std::pair<int, bool>> updatesSince(const EffectHost& host, std::size_t from)
{
    std::vector<std::pair<int, bool>> updates;
    for (std::size_t i = from; i < host.paramUiUpdates().size(); ++i) {
        const ParamUiUpdate& u = host.paramUiUpdates()[i];
        EXPECT_TRUE(u.fromParams) << "update of " << u.index << " did not hand back the host's params[] entry";
        EXPECT_EQ(u.cmd, PF_Cmd_UPDATE_PARAMS_UI) << "update of " << u.index;
        updates.emplace_back(u.index, (u.uiFlags & PF_PUI_DISABLED) != 0);
    }
    return updates;
}

std::string expressionOfDammy(const EffectHost& host)
{
    const auto it = host.paramStreams().find(kDammy);
    return it == host.paramStreams().end() ? "(never set)" : it->second.expression;
}

// Data handles may live across commands; nothing else may.
void expectEveryCommandBalanced(const EffectHost& host)
{
    for (const CommandRecord& r : host.commandLog())
        for (const Imbalance& i : r.imbalances)
            ADD_FAILURE() << commandName(r.cmd) << " left unbalanced: " << i.what << " (" << i.count << ")";
    for (const Imbalance& live : host.liveResources()) {
        const std::string& a = live.what;
        if (a.find("stream") != std::string::npos || a.find("effect reference") != std::string::npos ||
            a.find("memory handle") != std::string::npos || a.starts_with("suite ") || a == "handle" || a == "world")
            ADD_FAILURE() << "still held: " << a << " (" << live.count << ")";
    }
}

class Orbulon : public testing::Test {
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(orbulonPath()))
            GTEST_SKIP() << orbulonPath() << " not built";
    }
};

} // namespace

// Posing as Premiere Pro the host serves no composition suites: the effect still loads, shows no
// about text and draws a frame from its defaults.
TEST_F(Orbulon, PosingAsPremiereRefusesTheCompositionSuites)
{
    HostConfig config;
    config.applId = kAppIdPremierePro;
    auto host = loadOrbulon({}, config, false);
    std::string about = "unchanged";
    ASSERT_EQ(host->about(&about), PF_Err_NONE);
    EXPECT_EQ(about, "");
    ASSERT_EQ(host->start(), PF_Err_NONE);
    Image out;
    EXPECT_EQ(host->renderFrame({0.0, 8, 1, 1}, &out), PF_Err_NONE);
    EXPECT_GT(host->state().accounting.total(R"(missing suite "AEGP Comp Suite" v11)"), 0);
    EXPECT_EQ(host->state().accounting.total(R"(missing suite "AEGP Utility Suite" v11)"), 0);
    host->shutdown();
    expectEveryCommandBalanced(*host);
}

TEST_F(Orbulon, OnlyAChangeOfTheControlLayerTouchesTheDammyStream)
{
    auto host = loadOrbulon();
    holdControlLayer(*host);
    const long long streamsBefore = host->accounting().total("AEGP stream of parameter 49 (taken)");
    for (int index : {1, 3, kFalloff, kDammy})
        EXPECT_EQ(host->userChangedParam(index, 0.0), PF_Err_NONE) << index;
    EXPECT_EQ(host->accounting().total("AEGP stream of parameter 49 (taken)"), streamsBefore);
    EXPECT_EQ(expressionOfDammy(*host), "(never set)");
    expectEveryCommandBalanced(*host);
}

// The name goes into the expression unescaped (a quote breaks it, which falls back to the
// parameter's value); an unnamed layer is renamed after its source first (UTF-16), the expression
// reads 8 bits.
TEST_F(Orbulon, TheExpressionCarriesTheControlLayersNameUnchanged)
{
    const std::pair<std::string, std::string> layers[] = {
        {"Ctl", "solid.png"}, {"Say \"hi\"", "solid.png"}, {"back\\slash", "solid.png"},
        {"two  spaces", "solid.png"}, {"Wolke \xE2\x98\x81", "solid.png"}, {"", "clouds \"night\".png"}};
    for (const auto& [own, source] : layers) {
        SCOPED_TRACE("layer \"" + own + "\" from \"" + source + "\"");
        const std::string name = own.empty() ? source : own;
        auto host = loadOrbulon({{own, source}});
        holdControlLayer(*host);
        const long long v12Before = host->accounting().total("suite \"AEGP Layer Suite\" v12 (taken)");
        const long long v11Before = host->accounting().total("suite \"AEGP Layer Suite\" v11 (taken)");
        ASSERT_EQ(host->userChangedParam(kControlLayer, 0.0), PF_Err_NONE);
        EXPECT_EQ(host->composition().model.layers[kCtlLayer].name, name);
        EXPECT_EQ(host->composition().model.layers[kCtlLayer].sourceName, source);
        EXPECT_EQ(expressionOfDammy(*host), expressionFor(name));
        EXPECT_GT(host->accounting().total("suite \"AEGP Layer Suite\" v12 (taken)"), v12Before);
        EXPECT_GT(host->accounting().total("suite \"AEGP Layer Suite\" v11 (taken)"), v11Before);
        EXPECT_EQ(host->accounting().total("AEGP call refused"), 0);
        expectEveryCommandBalanced(*host);
    }
}

// Each mode greys the distances it does not use. A value outside the list (a saved project or
// another host can send one) leaves them as the mode before it ("Smooth": both enabled) left
// them, without an update.
TEST_F(Orbulon, EachFalloffModeGreysTheDistancesItDoesNotUse)
{
    struct Case { int mode; bool radiusGreyed, distanceGreyed; };
    for (const Case& c : {Case{1, true, true}, Case{2, false, false}, Case{3, false, true}, Case{4, false, false}}) {
        SCOPED_TRACE("falloff " + std::to_string(c.mode));
        auto host = loadOrbulon();
        host->setParamValues(kFalloff, [mode = c.mode](double t) {
            ParamValue v;
            v.number = t < 0.5 ? 2 : mode;
            return v;
        });
        ASSERT_EQ(host->renderFrame({0.0}, nullptr), PF_Err_NONE);
        const std::size_t before = host->paramUiUpdates().size();
        ASSERT_EQ(host->renderFrame({1.0}, nullptr), PF_Err_NONE);
        if (c.mode == 4) {
            for (const auto& [index, isGreyed] : updatesSince(*host, before))
                EXPECT_TRUE(index != kFalloffRadius && index != kFalloffDistance) << "updated " << index;
        }
        EXPECT_EQ(greyed(*host, kFalloffRadius), c.radiusGreyed);
        EXPECT_EQ(greyed(*host, kFalloffDistance), c.distanceGreyed);
        expectEveryCommandBalanced(*host);
    }
}

TEST_F(Orbulon, HostsBefore13Point2GetTheDammyStreamHidden)
{
    struct Case {
        A_short major, minor;
        bool hidden;
    };
    for (const Case& c : {Case{12, 0, true}, Case{13, 1, true}, Case{13, 2, false}, Case{13, 27, false},
                          Case{14, 0, false}}) {
        SCOPED_TRACE("host " + std::to_string(c.major) + "." + std::to_string(c.minor));
        HostConfig config;
        config.version = {c.major, c.minor};
        auto host = loadOrbulon({{"Ctl", "Ctl"}}, config);   // start() sends the first UI update
        ASSERT_EQ(probetest::lastRecord(*host, PF_Cmd_UPDATE_PARAMS_UI).result, PF_Err_NONE);
        const auto it = host->paramStreams().find(kDammy);
        EXPECT_EQ(it == host->paramStreams().end() ? 0 : it->second.dynamicFlags, c.hidden ? AEGP_DynStreamFlag_HIDDEN : 0u);
        EXPECT_TRUE(host->params()[kDammy].uiFlags & PF_PUI_INVISIBLE);
        EXPECT_TRUE(greyed(*host, kFalloffRadius)) << "the UI update went on after the stream step";
        expectEveryCommandBalanced(*host);
    }
}

// With a control layer and "Smooth" the update makes ten calls (5..12 greyed, 22 and 23
// enabled); the failing one ends the handler, so only the updates before it are applied.
TEST_F(Orbulon, AFailingUpdateEndsTheHandlerWithItsErrorAndMakesNoLaterUpdate)
{
    const std::vector<int> order{5, 6, 7, 8, 9, 10, 11, 12, 22, 23};
    for (int failing : {1, 2, 8, 9, 10}) {
        SCOPED_TRACE("failing call " + std::to_string(failing));
        auto host = loadOrbulon();
        holdControlLayer(*host);
        ParamValue smooth;
        smooth.number = 2;
        hold(*host, kFalloff, smooth);
        host->faults().failParamUiUpdate = host->state().faultCounters.paramUiUpdates + failing;
        host->faults().injectedError = PF_Err_INVALID_INDEX;
        const std::size_t before = host->paramUiUpdates().size();

        EXPECT_EQ(host->updateParamsUI(0.0), PF_Err_INVALID_INDEX);
        const auto updates = updatesSince(*host, before);
        ASSERT_EQ(updates.size(), std::size_t(failing)) << "updates went on after the failure";
        for (std::size_t k = 0; k < updates.size(); ++k)
            EXPECT_EQ(updates[k].first, order[k]);
        EXPECT_EQ(host->paramUiUpdates().back().result, PF_Err_INVALID_INDEX);
        for (std::size_t k = 0; k < order.size(); ++k) {
            const bool applied = int(k) < failing - 1, placement = order[k] <= kRotationZ;
            EXPECT_EQ(greyed(*host, order[k]), applied ? placement : !placement) << "parameter " << order[k];
        }
        expectEveryCommandBalanced(*host);
    }
}

// A missing AEGP suite fails neither command and leaves the UI greyed (an older host, so the
// stream step runs too).
TEST_F(Orbulon, AMissingAegpSuiteLeavesBothUiCommandsSucceedingAndBalanced)
{
    for (const char* suite : {kAEGPPFInterfaceSuite, kAEGPEffectSuite, kAEGPStreamSuite, kAEGPDynamicStreamSuite,
                              kAEGPLayerSuite, kAEGPMemorySuite}) {
        SCOPED_TRACE(suite);
        HostConfig config;
        config.version = {13, 1};
        auto host = loadOrbulon({{"", "solid.png"}}, config);
        holdControlLayer(*host);
        host->faults().unavailableSuites.insert(suite);
        EXPECT_EQ(host->userChangedParam(kControlLayer, 0.0), PF_Err_NONE);
        EXPECT_EQ(host->updateParamsUI(0.0), PF_Err_NONE);
        for (int i = kEllipseZxy; i <= kRotationZ; ++i)
            EXPECT_TRUE(greyed(*host, i)) << host->params()[std::size_t(i)].name;
        expectEveryCommandBalanced(*host);
    }
}
