// The real Orbulon module's parameter UI through the host: which controls a control layer and
// the falloff mode grey out (as the host records them from PF_UpdateParamUI), the expression
// written onto the hidden "dammy" parameter, the stream hidden on older hosts, and the failure
// paths, after each of which every stream, effect reference, memory handle and suite is back.
#include "host/core/host_codes.h"
#include "host/core/host_state.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
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

struct NamedLayer {
    std::string own, source;
};

// "Sphere" carries the effect; the given layers follow it (composition layers 1, 2, ...).
std::unique_ptr<EffectHost> startOrbulon(const std::vector<NamedLayer>& layers = {{"Ctl", "Ctl"}},
                                         HostConfig config = {})
{
    auto host = std::make_unique<EffectHost>(orbulonPath(), config);
    Composition comp;
    comp.model.width = 64, comp.model.height = 48;
    addImageLayer(comp, "Sphere", solidImage(64, 48, 0, 0, 0, 1));
    for (const NamedLayer& layer : layers) {
        addImageLayer(comp, layer.source, solidImage(8, 8, 1, 0, 0, 1));
        comp.model.layers.back().name = layer.own;
    }
    host->setComposition(comp);
    EXPECT_EQ(host->start(), PF_Err_NONE);
    return host;
}

ParamValue layerValue(int layer)
{
    ParamValue v;
    v.layer = layer;
    return v;
}

ParamValue number(double n)
{
    ParamValue v;
    v.number = n;
    return v;
}

void hold(EffectHost& host, int index, ParamValue value)
{
    host.setParamValues(index, [value](double) { return value; });
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

// What the effect must give back within each command (data handles live across commands).
bool heldByCommands(const std::string& account)
{
    return account.find("stream") != std::string::npos || account.find("effect reference") != std::string::npos ||
           account.find("memory handle") != std::string::npos || account.starts_with("suite ") ||
           account == "handle" || account == "world";
}

void expectEveryCommandBalanced(const EffectHost& host)
{
    for (const CommandRecord& r : host.commandLog())
        for (const Imbalance& i : r.imbalances)
            ADD_FAILURE() << commandName(r.cmd) << " left unbalanced: " << i.what << " (" << i.count << ")";
    for (const Imbalance& live : host.liveResources())
        if (heldByCommands(live.what))
            ADD_FAILURE() << "still held: " << live.what << " (" << live.count << ")";
}

const CommandRecord& lastOf(const EffectHost& host, PF_Cmd cmd)
{
    for (auto it = host.commandLog().rbegin(); it != host.commandLog().rend(); ++it)
        if (it->cmd == cmd)
            return *it;
    throw std::runtime_error(std::string("no ") + commandName(cmd) + " was sent");
}

class ParamUi : public testing::Test {
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(orbulonPath()))
            GTEST_SKIP() << orbulonPath() << " not built";
    }
};

template <class Param>
class ParamUiWith : public ParamUi, public testing::WithParamInterface<Param> {};

} // namespace

// ---- control layer --------------------------------------------------------------------------

TEST_F(ParamUi, ChoosingAControlLayerGreysThePlacementControlsAndNamesItInTheExpression)
{
    auto host = startOrbulon();
    hold(*host, kControlLayer, layerValue(kCtlLayer));
    const std::size_t before = host->paramUiUpdates().size();
    ASSERT_EQ(host->renderFrame({}, nullptr), PF_Err_NONE);

    EXPECT_EQ(lastOf(*host, PF_Cmd_USER_CHANGED_PARAM).result, PF_Err_NONE);
    EXPECT_EQ(lastOf(*host, PF_Cmd_UPDATE_PARAMS_UI).result, PF_Err_NONE);
    // Placement controls in order, then the falloff distances of the default "None".
    const std::vector<std::pair<int, bool>> expected{{5, true},  {6, true},  {7, true},  {8, true},
                                                     {9, true},  {10, true}, {11, true}, {12, true},
                                                     {22, true}, {23, true}};
    EXPECT_EQ(updatesSince(*host, before), expected);
    for (int i = 1; i < int(host->params().size()); ++i) {
        const bool placement = i >= kEllipseZxy && i <= kRotationZ;
        const bool falloffDistance = i == kFalloffRadius || i == kFalloffDistance;
        EXPECT_EQ(greyed(*host, i), placement || falloffDistance) << host->params()[std::size_t(i)].name;
    }
    EXPECT_EQ(expressionOfDammy(*host), expressionFor("Ctl"));
    EXPECT_EQ(host->accounting().total("AEGP call refused"), 0);
    expectEveryCommandBalanced(*host);
}

TEST_F(ParamUi, ClearingTheControlLayerReEnablesAllButEllipseZxyAndEmptiesTheExpression)
{
    auto host = startOrbulon();
    host->setParamValues(kControlLayer, [](double t) { return layerValue(t < 0.5 ? kCtlLayer : -1); });
    ASSERT_EQ(host->renderFrame({0.0}, nullptr), PF_Err_NONE);
    ASSERT_EQ(expressionOfDammy(*host), expressionFor("Ctl"));

    const std::size_t before = host->paramUiUpdates().size();
    ASSERT_EQ(host->renderFrame({1.0}, nullptr), PF_Err_NONE);
    const std::vector<std::pair<int, bool>> expected{{6, false},  {7, false},  {8, false}, {9, false}, {10, false},
                                                     {11, false}, {12, false}, {22, true}, {23, true}};
    EXPECT_EQ(updatesSince(*host, before), expected);
    EXPECT_TRUE(greyed(*host, kEllipseZxy)) << "\"Ellipse Z/XY\" stays greyed once a control layer greyed it";
    for (int i = kEllipseZxy + 1; i <= kRotationZ; ++i)
        EXPECT_FALSE(greyed(*host, i)) << host->params()[std::size_t(i)].name;
    EXPECT_EQ(expressionOfDammy(*host), "");
    expectEveryCommandBalanced(*host);
}

TEST_F(ParamUi, OnlyAChangeOfTheControlLayerTouchesTheDammyStream)
{
    auto host = startOrbulon();
    hold(*host, kControlLayer, layerValue(kCtlLayer));
    const long long streamsBefore = host->accounting().total("AEGP stream of parameter 49 (taken)");
    for (int index : {1, 3, kFalloff, kDammy})
        EXPECT_EQ(host->userChangedParam(index, 0.0), PF_Err_NONE) << index;
    EXPECT_EQ(host->accounting().total("AEGP stream of parameter 49 (taken)"), streamsBefore);
    EXPECT_EQ(expressionOfDammy(*host), "(never set)");
    EXPECT_EQ(host->composition().model.layers[kCtlLayer].name, "Ctl");
    expectEveryCommandBalanced(*host);
}

// The expression carries the layer's 8-bit name byte for byte: nothing is escaped, so a
// quote breaks the expression (it then falls back to the parameter's own value).
class ExpressionNames : public ParamUiWith<std::string> {};

TEST_P(ExpressionNames, TheExpressionCarriesTheNameUnchanged)
{
    auto host = startOrbulon({{GetParam(), "solid.png"}});
    hold(*host, kControlLayer, layerValue(kCtlLayer));
    ASSERT_EQ(host->renderFrame({}, nullptr), PF_Err_NONE);
    EXPECT_EQ(expressionOfDammy(*host), expressionFor(GetParam()));
    EXPECT_EQ(host->composition().model.layers[kCtlLayer].name, GetParam()) << "a named layer keeps its name";
    expectEveryCommandBalanced(*host);
}

INSTANTIATE_TEST_SUITE_P(Names, ExpressionNames,
                         testing::Values("Ctl", "Say \"hi\"", "back\\slash", "two  spaces", "Wolke \xE2\x98\x81"),
                         [](const auto& info) { return "case" + std::to_string(info.index); });

TEST_F(ParamUi, AnUnnamedControlLayerIsNamedAfterItsSourceAndTheExpressionUsesThatName)
{
    auto host = startOrbulon({{"", "clouds \"night\".png"}});
    hold(*host, kControlLayer, layerValue(kCtlLayer));
    const long long v12Before = host->accounting().total("suite \"AEGP Layer Suite\" v12 (taken)");
    const long long v11Before = host->accounting().total("suite \"AEGP Layer Suite\" v11 (taken)");
    ASSERT_EQ(host->userChangedParam(kControlLayer, 0.0), PF_Err_NONE);

    EXPECT_EQ(host->composition().model.layers[kCtlLayer].name, "clouds \"night\".png");
    EXPECT_EQ(host->composition().model.layers[kCtlLayer].sourceName, "clouds \"night\".png");
    EXPECT_EQ(expressionOfDammy(*host), expressionFor("clouds \"night\".png"));
    // The names travel in UTF-16 for the test and the rename, in 8 bits for the expression.
    EXPECT_GT(host->accounting().total("suite \"AEGP Layer Suite\" v12 (taken)"), v12Before);
    EXPECT_GT(host->accounting().total("suite \"AEGP Layer Suite\" v11 (taken)"), v11Before);
    EXPECT_EQ(host->accounting().total("AEGP call refused"), 0);
    expectEveryCommandBalanced(*host);
}

// ---- falloff --------------------------------------------------------------------------------

struct FalloffCase {
    const char* name;
    int value;
    bool radiusGreyed, distanceGreyed;
};

void PrintTo(const FalloffCase& c, std::ostream* os) { *os << c.name; }

class FalloffModes : public ParamUiWith<FalloffCase> {};

TEST_P(FalloffModes, GreyTheDistancesTheModeDoesNotUse)
{
    const FalloffCase& c = GetParam();
    auto host = startOrbulon();
    // Another mode first, so that the host sees the mode under test as a change.
    const int other = c.value == 2 ? 3 : 2;
    host->setParamValues(kFalloff, [value = c.value, other](double t) { return number(t < 0.5 ? other : value); });
    ASSERT_EQ(host->renderFrame({0.0}, nullptr), PF_Err_NONE);
    const std::size_t before = host->paramUiUpdates().size();
    ASSERT_EQ(host->renderFrame({1.0}, nullptr), PF_Err_NONE);
    const auto updates = updatesSince(*host, before);
    ASSERT_GE(updates.size(), 2u);
    EXPECT_EQ(updates[updates.size() - 2], std::make_pair(kFalloffRadius, c.radiusGreyed));
    EXPECT_EQ(updates.back(), std::make_pair(kFalloffDistance, c.distanceGreyed));
    EXPECT_EQ(greyed(*host, kFalloffRadius), c.radiusGreyed);
    EXPECT_EQ(greyed(*host, kFalloffDistance), c.distanceGreyed);
    expectEveryCommandBalanced(*host);
}

INSTANTIATE_TEST_SUITE_P(Modes, FalloffModes,
                         testing::Values(FalloffCase{"None", 1, true, true}, FalloffCase{"Smooth", 2, false, false},
                                         FalloffCase{"InverseSquareClamped", 3, false, true}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(ParamUi, AFalloffValueOutsideTheListLeavesTheDistancesAsTheyWere)
{
    auto host = startOrbulon();
    host->setParamValues(kFalloff, [](double t) { return number(t < 0.5 ? 2 : 4); });
    ASSERT_EQ(host->renderFrame({0.0}, nullptr), PF_Err_NONE);
    const std::size_t before = host->paramUiUpdates().size();
    ASSERT_EQ(host->renderFrame({1.0}, nullptr), PF_Err_NONE);
    for (const auto& [index, isGreyed] : updatesSince(*host, before))
        EXPECT_TRUE(index != kFalloffRadius && index != kFalloffDistance) << "updated " << index;
    EXPECT_FALSE(greyed(*host, kFalloffRadius));
    EXPECT_FALSE(greyed(*host, kFalloffDistance));
}

// ---- host version ---------------------------------------------------------------------------

struct VersionCase {
    A_short major, minor;
    bool streamHidden;
};

void PrintTo(const VersionCase& c, std::ostream* os) { *os << c.major << '.' << c.minor; }

class HostVersions : public ParamUiWith<VersionCase> {};

TEST_P(HostVersions, HostsBefore13Point2GetTheDammyStreamHidden)
{
    const VersionCase& c = GetParam();
    HostConfig config;
    config.version = {c.major, c.minor};
    auto host = startOrbulon({{"Ctl", "Ctl"}}, config);   // start() sends the first UI update
    ASSERT_EQ(lastOf(*host, PF_Cmd_UPDATE_PARAMS_UI).result, PF_Err_NONE);
    const auto it = host->paramStreams().find(kDammy);
    const A_u_long flags = it == host->paramStreams().end() ? 0 : it->second.dynamicFlags;
    EXPECT_EQ(flags, c.streamHidden ? AEGP_DynStreamFlag_HIDDEN : 0u);
    EXPECT_TRUE(host->params()[kDammy].uiFlags & PF_PUI_INVISIBLE);
    EXPECT_TRUE(greyed(*host, kFalloffRadius)) << "the UI update went on after the stream step";
    expectEveryCommandBalanced(*host);
}

INSTANTIATE_TEST_SUITE_P(Versions, HostVersions,
                         testing::Values(VersionCase{12, 0, true}, VersionCase{13, 1, true}, VersionCase{13, 2, false},
                                         VersionCase{13, 27, false}, VersionCase{14, 0, false}),
                         [](const auto& info) {
                             return "v" + std::to_string(info.param.major) + "_" + std::to_string(info.param.minor);
                         });

// ---- failures -------------------------------------------------------------------------------

// With a control layer and "Smooth" the update makes ten calls: 5..12 greyed, 22 and 23 enabled.
class FailingUpdate : public ParamUiWith<int> {};

TEST_P(FailingUpdate, EndsTheHandlerWithItsErrorAndMakesNoLaterUpdate)
{
    const int failing = GetParam();   // 1-based within the command
    auto host = startOrbulon();
    hold(*host, kControlLayer, layerValue(kCtlLayer));
    hold(*host, kFalloff, number(2));
    host->faults().failParamUiUpdate = host->state().faultCounters.paramUiUpdates + failing;
    host->faults().injectedError = PF_Err_INVALID_INDEX;
    const std::size_t before = host->paramUiUpdates().size();

    EXPECT_EQ(host->updateParamsUI(0.0), PF_Err_INVALID_INDEX);
    const std::vector<int> order{5, 6, 7, 8, 9, 10, 11, 12, 22, 23};
    ASSERT_EQ(host->paramUiUpdates().size() - before, std::size_t(failing)) << "updates went on after the failure";
    for (int k = 0; k < failing; ++k)
        EXPECT_EQ(host->paramUiUpdates()[before + std::size_t(k)].index, order[std::size_t(k)]);
    EXPECT_EQ(host->paramUiUpdates().back().result, PF_Err_INVALID_INDEX);
    // Before the command 5..12 were enabled and the distances greyed ("None" at start-up):
    // only the updates made before the failure show.
    for (std::size_t k = 0; k < order.size(); ++k) {
        const bool applied = int(k) < failing - 1;
        const bool placement = order[k] <= kRotationZ;
        EXPECT_EQ(greyed(*host, order[k]), applied ? placement : !placement) << "parameter " << order[k];
    }
    expectEveryCommandBalanced(*host);
}

INSTANTIATE_TEST_SUITE_P(Attempts, FailingUpdate, testing::Values(1, 2, 8, 9, 10));

TEST_F(ParamUi, AHostWithoutTheParamUtilsSuiteFailsTheUpdateWith516AndGetsEverythingBack)
{
    HostConfig config;
    config.version = {13, 1};   // the older host's stream step holds a stream too
    auto host = std::make_unique<EffectHost>(orbulonPath(), config);
    Composition comp;
    comp.model.width = 64, comp.model.height = 48;
    addImageLayer(comp, "Sphere", solidImage(64, 48, 0, 0, 0, 1));
    addImageLayer(comp, "Ctl", solidImage(8, 8, 1, 0, 0, 1));
    host->setComposition(comp);
    host->faults().unavailableSuites.insert(kPFParamUtilsSuite);
    hold(*host, kControlLayer, layerValue(kCtlLayer));

    ASSERT_EQ(host->start(), PF_Err_NONE);   // the first UI update's failure does not stop the effect
    EXPECT_EQ(lastOf(*host, PF_Cmd_UPDATE_PARAMS_UI).result, PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(host->updateParamsUI(0.0), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_TRUE(host->paramUiUpdates().empty());
    EXPECT_FALSE(greyed(*host, kEllipseZxy));

    // The control layer's expression needs no param utils.
    EXPECT_EQ(host->userChangedParam(kControlLayer, 0.0), PF_Err_NONE);
    EXPECT_EQ(expressionOfDammy(*host), expressionFor("Ctl"));
    expectEveryCommandBalanced(*host);
}

// AEGP failures stay inside the host objects: both commands succeed, the UI is still greyed,
// and nothing is left held, whichever AEGP suite the host cannot supply.
class MissingAegpSuite : public ParamUiWith<const char*> {};

TEST_P(MissingAegpSuite, LeavesBothCommandsSucceedingAndBalanced)
{
    HostConfig config;
    config.version = {13, 1};
    auto host = startOrbulon({{"", "solid.png"}}, config);
    hold(*host, kControlLayer, layerValue(kCtlLayer));
    host->faults().unavailableSuites.insert(GetParam());

    EXPECT_EQ(host->userChangedParam(kControlLayer, 0.0), PF_Err_NONE);
    EXPECT_EQ(host->updateParamsUI(0.0), PF_Err_NONE);
    for (int i = kEllipseZxy; i <= kRotationZ; ++i)
        EXPECT_TRUE(greyed(*host, i)) << host->params()[std::size_t(i)].name;
    expectEveryCommandBalanced(*host);
}

INSTANTIATE_TEST_SUITE_P(Suites, MissingAegpSuite,
                         testing::Values(kAEGPPFInterfaceSuite, kAEGPEffectSuite, kAEGPStreamSuite,
                                         kAEGPDynamicStreamSuite, kAEGPLayerSuite, kAEGPMemorySuite),
                         [](const auto& info) {
                             std::string name = info.param;
                             std::erase(name, ' ');
                             return name;
                         });
