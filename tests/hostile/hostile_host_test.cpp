// A hostile host: null records and callbacks, suites only in older versions, worlds with odd
// rows or no pixels, parameter checkouts that hand back junk or fail partway, values past
// every limit. Whatever the host does wrong, the effect answers with an error code or a frame
// of defined pixels, lets no exception out and leaves nothing held.
#include "hostile_support.h"
#include "support/host_warnings.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orbhost::testing {
namespace {

// A test name of letters, digits and underscores.
std::string testName(std::string name)
{
    std::replace_if(name.begin(), name.end(), [](unsigned char ch) { return !std::isalnum(ch); }, '_');
    return name;
}

// Where a null pointer is met: during set-up, or in a later command (ABOUT, the UI commands
// after a change of "Control Layer", or a frame).
struct NullCase {
    const char* pointer;
    PF_Cmd cmd;          // the command the pointer breaks
    PF_Err expected;     // what that command returns
};

class NullPointers : public HostileHost, public ::testing::WithParamInterface<NullCase> {};

// The pointer is null from the command the case names on; that command's result is checked.
TEST_P(NullPointers, TheCommandAnswersAndNothingIsHeld)
{
    const NullCase& c = GetParam();
    const Scene scene = hostileScene(R"("Control Layer": "Ctl", "Use Composition Camera": true, "Depth Of Field": "On")");
    auto host = hostileHost(scene, false);
    PF_Err err = PF_Err_NONE;
    if (c.cmd == PF_Cmd_GLOBAL_SETUP || c.cmd == PF_Cmd_PARAMS_SETUP) {
        host->faults().nullPointers = {c.pointer};
        err = host->start();
        EXPECT_EQ(host->commandLog().back().cmd, c.cmd);
    } else {
        EXPECT_EQ(host->start(), PF_Err_NONE);
        bindScene(*host, scene);
        host->faults().nullPointers = {c.pointer};
        if (c.cmd == PF_Cmd_ABOUT)
            err = host->about();
        else if (c.cmd == PF_Cmd_USER_CHANGED_PARAM)
            err = host->userChangedParam(host->paramIndex("Control Layer"), 0);
        else if (c.cmd == PF_Cmd_UPDATE_PARAMS_UI)
            err = host->updateParamsUI(0);
        else {
            Image out;
            host->renderFrame({0, 32, 1, 1}, &out);
            const CommandRecord& last = host->commandLog().back();
            EXPECT_EQ(last.cmd, c.cmd) << "the frame stops at the command the pointer breaks";
            err = last.result;
            if (last.result == PF_Err_NONE)
                expectDefined(out, 32, c.pointer);
        }
    }
    host->faults().nullPointers.clear();
    EXPECT_EQ(err, c.expected);
    expectBalanced(*host);
}

constexpr PF_Err kBad = PF_Err_BAD_CALLBACK_PARAM;

INSTANTIATE_TEST_SUITE_P(
    Orbulon, NullPointers,
    ::testing::Values(
        NullCase{"in_data.utils", PF_Cmd_GLOBAL_SETUP, kBad}, NullCase{"in_data.pica_basicP", PF_Cmd_GLOBAL_SETUP, kBad},
        NullCase{"utils.host_new_handle", PF_Cmd_GLOBAL_SETUP, kBad}, NullCase{"utils.host_get_handle_size", PF_Cmd_GLOBAL_SETUP, kBad},
        NullCase{"in_data.inter", PF_Cmd_PARAMS_SETUP, kBad}, NullCase{"inter.add_param", PF_Cmd_PARAMS_SETUP, kBad},
        NullCase{"utils.ansi.strcpy", PF_Cmd_PARAMS_SETUP, kBad}, NullCase{"in_data.effect_ref", PF_Cmd_PARAMS_SETUP, kBad},
        NullCase{"in_data.pica_basicP", PF_Cmd_ABOUT, kBad},
        NullCase{"utils.ansi.sprintf", PF_Cmd_ABOUT, PF_Err_NONE},   // the effect uses the suite's
        NullCase{"params", PF_Cmd_USER_CHANGED_PARAM, kBad}, NullCase{"params[4]", PF_Cmd_USER_CHANGED_PARAM, kBad},
        NullCase{"extra", PF_Cmd_USER_CHANGED_PARAM, kBad},
        // The UI commands keep their AEGP errors to themselves.
        NullCase{"in_data.pica_basicP", PF_Cmd_USER_CHANGED_PARAM, PF_Err_NONE},
        NullCase{"params", PF_Cmd_UPDATE_PARAMS_UI, kBad}, NullCase{"params[20]", PF_Cmd_UPDATE_PARAMS_UI, kBad},
        NullCase{"in_data.effect_ref", PF_Cmd_UPDATE_PARAMS_UI, kBad},
        NullCase{"extra", PF_Cmd_SMART_PRE_RENDER, kBad}, NullCase{"extra.cb", PF_Cmd_SMART_PRE_RENDER, kBad},
        NullCase{"in_data.effect_ref", PF_Cmd_SMART_PRE_RENDER, kBad},
        NullCase{"in_data.utils", PF_Cmd_SMART_RENDER, kBad}, NullCase{"in_data.pica_basicP", PF_Cmd_SMART_RENDER, kBad},
        NullCase{"in_data.inter", PF_Cmd_SMART_RENDER, kBad}, NullCase{"inter.checkout_param", PF_Cmd_SMART_RENDER, kBad},
        NullCase{"inter.checkin_param", PF_Cmd_SMART_RENDER, kBad}, NullCase{"utils.iterate_generic", PF_Cmd_SMART_RENDER, kBad},
        NullCase{"utils.host_new_handle", PF_Cmd_SMART_RENDER, PF_Err_NONE},   // drawn unlit
        NullCase{"utils.host_dispose_handle", PF_Cmd_SMART_RENDER, PF_Err_NONE}, NullCase{"output", PF_Cmd_SMART_RENDER, kBad},
        NullCase{"input", PF_Cmd_SMART_RENDER, PF_Err_NONE}),   // the input is never read
    [](const auto& info) { return testName(std::string(commandName(info.param.cmd)) + "_" + info.param.pointer); });

struct OldSuiteCase {
    const char* suite;
    int newest;          // the newest version the host serves
    PF_Err setup;        // what start() returns
    PF_Err frame;        // what the frame returns, when set-up succeeded
};

class OlderSuites : public HostileHost, public ::testing::WithParamInterface<OldSuiteCase> {};

TEST_P(OlderSuites, AnswerAsAMissingSuiteWouldAndHoldNothing)
{
    const OldSuiteCase& c = GetParam();
    const Scene scene = hostileScene(R"("Control Layer": "Ctl", "Use Composition Camera": true, "Depth Of Field": "On")");
    auto host = hostileHost(scene, false);
    host->faults().newestSuiteVersions[c.suite] = c.newest;
    ASSERT_EQ(host->start(), c.setup);
    if (c.setup == PF_Err_NONE) {
        bindScene(*host, scene);
        host->userChangedParam(host->paramIndex("Control Layer"), 0);
        Image out;
        EXPECT_EQ(host->renderFrame({0, 16, 1, 1}, &out), c.frame);
        if (c.frame == PF_Err_NONE)
            expectDefined(out, 16, c.suite);
    }
    EXPECT_TRUE(host->state().faultCounters.olderSuites.contains(c.suite)) << "the effect asked for a newer version";
    expectBalanced(*host);
}

INSTANTIATE_TEST_SUITE_P(
    Orbulon, OlderSuites,
    ::testing::Values(OldSuiteCase{kAEGPUtilitySuite, 10, kBad, PF_Err_NONE},
                      OldSuiteCase{kPFSamplingFloatSuite, 0, PF_Err_NONE, kSPSuiteNotFoundError},
                      OldSuiteCase{kPFSampling16Suite, 0, PF_Err_NONE, PF_Err_NONE},   // skipped, not failed
                      OldSuiteCase{kPFWorldSuite, 1, PF_Err_NONE, kSPSuiteNotFoundError},
                      OldSuiteCase{kAEGPLayerSuite, 11, PF_Err_NONE, PF_Err_NONE},
                      OldSuiteCase{kAEGPStreamSuite, 8, PF_Err_NONE, PF_Err_NONE},
                      OldSuiteCase{kAEGPCompSuite, 10, PF_Err_NONE, PF_Err_NONE},
                      OldSuiteCase{kAEGPItemSuite, 12, PF_Err_NONE, PF_Err_NONE},
                      OldSuiteCase{kAEGPPFInterfaceSuite, 0, PF_Err_NONE, PF_Err_NONE}),
    [](const auto& info) { return testName(std::string(info.param.suite) + "_" + std::to_string(info.param.newest)); });

// Rows that end one channel past their pixels, or lie far apart, change no pixel of any depth,
// with depth of field (the effect's own worlds) or without.
TEST_F(HostileHost, OddRowBytesChangeNoPixel)
{
    for (const char* dof : {"Off", "On"}) {
        const Scene scene = hostileScene(std::string(R"("Use Composition Camera": true, "Depth Of Field": ")") + dof + "\"");
        for (int depth : {8, 16, 32}) {
            Image padded;
            auto reference = hostileHost(scene);
            ASSERT_EQ(reference->renderFrame({0, depth, 1, 1}, &padded), PF_Err_NONE);
            for (RowLayout layout : {RowLayout::OffPixel, RowLayout::Wide}) {
                SCOPED_TRACE(std::string("depth of field ") + dof + ", " + std::to_string(depth) + " bits, layout " +
                             std::to_string(int(layout)));
                auto host = hostileHost(scene, false);
                host->faults().rowLayout = layout;
                ASSERT_EQ(host->start(), PF_Err_NONE);
                bindScene(*host, scene);
                Image out;
                ASSERT_EQ(host->renderFrame({0, depth, 1, 1}, &out), PF_Err_NONE);
                EXPECT_EQ(out.rgba, padded.rgba);
                expectBalanced(*host);
            }
        }
    }
}

// An effect layer or a texture of width or height 0 or 1: an error or a defined frame of the
// layer's size.
TEST_F(HostileHost, LayersOfNoneOrOnePixelRenderDefinedFrames)
{
    const std::pair<int, int> sizes[] = {{0, 0}, {1, 1}, {1, 32}, {48, 1}, {0, 32}, {48, 0}};
    const Scene effectScene = hostileScene(R"("Use Composition Camera": true, "Depth Of Field": "On")");
    const Scene textureScene = hostileScene(R"("Texture": "Tiny", "Reflection Map": "Tiny")",
                                            R"({"name": "Sphere", "type": "solid", "color": [0, 0, 0, 1]},
                                               {"name": "Tiny", "type": "solid", "color": [1, 0.5, 0, 1]})");
    for (const std::pair<int, int>& size : sizes) {
        const int w = size.first, h = size.second;   // plain names: lambdas below capture them
        for (bool effectLayer : {true, false}) {
            SCOPED_TRACE(std::string(effectLayer ? "effect layer " : "texture ") + std::to_string(w) + "x" + std::to_string(h));
            auto host = hostileHost(effectLayer ? effectScene : textureScene, true, [&](Composition& comp) {
                const std::size_t layer = effectLayer ? std::size_t(comp.effectLayer) : std::size_t(comp.effectLayer) + 1;
                comp.model.layers[layer].width = w;
                comp.model.layers[layer].height = h;
                comp.pixels[layer] = LayerPixels::solid(w, h, {1, 0.5f, 0, 1});
            });
            for (int depth : {8, 32}) {
                Image out;
                const PF_Err err = host->renderFrame({0, depth, 1, 1}, &out);
                EXPECT_TRUE(err == PF_Err_NONE || err == kBad) << err;
                EXPECT_EQ(out.width, effectLayer ? w : 48);
                EXPECT_EQ(out.height, effectLayer ? h : 32);
                if (err == PF_Err_NONE)
                    expectDefined(out, depth, "frame");
            }
            expectBalanced(*host);
        }
    }
}

// One kind of bad checkout, made to happen at every checkout (or layer world) of a frame in turn.
struct CheckoutCase {
    const char* name;
    int FaultPlan::*nth;
    bool junkOnFailure;
    bool worlds;              // counts host worlds rather than checkouts
};

class BadCheckouts : public HostileHost, public ::testing::WithParamInterface<CheckoutCase> {};

TEST_P(BadCheckouts, EveryCheckoutOfAFrameInTurn)
{
    const CheckoutCase& c = GetParam();
    const Scene scene = hostileScene(R"("Control Layer": "Ctl", "Use Composition Camera": true, "Depth Of Field": "On")");
    int attempts = 0;
    {
        auto clean = hostileHost(scene);
        const FaultCounters before = clean->state().faultCounters;
        Image out;
        ASSERT_EQ(clean->renderFrame({0, 8, 1, 1}, &out), PF_Err_NONE);
        const FaultCounters& after = clean->state().faultCounters;
        attempts = c.worlds ? after.hostWorlds - before.hostWorlds : after.checkouts - before.checkouts;
    }
    ASSERT_GT(attempts, 3);
    for (int nth = 1; nth <= attempts; ++nth) {
        SCOPED_TRACE(std::string(c.name) + " at attempt " + std::to_string(nth) + " of " + std::to_string(attempts));
        auto host = hostileHost(scene);
        const FaultCounters& done = host->state().faultCounters;
        host->faults().*c.nth = (c.worlds ? done.hostWorlds : done.checkouts) + nth;
        host->faults().junkInFailedCheckouts = c.junkOnFailure;
        for (int depth : {8, 32}) {
            Image out;
            const PF_Err err = host->renderFrame({0, depth, 1, 1}, &out);
            EXPECT_TRUE(err == PF_Err_NONE || err == PF_Err_OUT_OF_MEMORY || err == kBad) << err;
            if (err == PF_Err_NONE)
                expectDefined(out, depth, "frame");
        }
        expectBalanced(*host);
    }
}

INSTANTIATE_TEST_SUITE_P(Orbulon, BadCheckouts,
                         ::testing::Values(CheckoutCase{"junk", &FaultPlan::junkCheckout, false, false},
                                           CheckoutCase{"mistyped", &FaultPlan::mistypedCheckout, false, false},
                                           CheckoutCase{"failed_leaving_junk", &FaultPlan::failCheckout, true, false},
                                           CheckoutCase{"layer_world_out_of_memory", &FaultPlan::failHostWorld, false, true}),
                         [](const auto& info) { return std::string(info.param.name); });

// Every numeric parameter at values a saved project or another host can send: past every
// limit, and NaN and infinities where the type holds them. Each frame is an error or defined.
TEST_F(HostileHost, UnclampedValuesOfEveryParameter)
{
    constexpr double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    const Scene scene = hostileScene(R"("Use Composition Camera": true, "Depth Of Field": "On", "Self Shadow": true)");
    auto host = hostileHost(scene);
    const std::vector<ParamDefinition> params = host->params();
    int frames = 0;
    for (const ParamDefinition& p : params) {
        const PF_ParamType type = p.def.param_type;
        double low = 0, high = 0;
        std::vector<double> numbers;
        if (type == PF_Param_FLOAT_SLIDER)
            numbers = {-inf, inf, nan, -1e300, 1e300, -std::numeric_limits<double>::denorm_min()};
        else if (type == PF_Param_POINT)
            numbers = {-1e9, 1e9, nan};
        else if (type == PF_Param_FIX_SLIDER || type == PF_Param_ANGLE || type == PF_Param_POPUP) {
            validRange(p, &low, &high);   // an angle has none: 0
            numbers = {low - 1, high + 1, -32768.0, 32767.99, 0.0, nan};
        }
        for (double v : numbers) {
            SCOPED_TRACE(p.name + " = " + std::to_string(v));
            ParamValue value;
            value.number = value.x = v;   // a point takes (v, -v)
            value.y = -v;
            host->setParamValues(p.index, [value](double) { return value; });
            for (int depth : {8, 32}) {
                Image out;
                const PF_Err err = host->renderFrame({0, depth, 1, 1}, &out);
                EXPECT_EQ(err, PF_Err_NONE);
                if (err == PF_Err_NONE)
                    expectDefined(out, depth, "frame");
                ++frames;
            }
        }
        bindScene(*host, scene);   // back to the scene's values
    }
    EXPECT_GT(frames, 300);
    expectBalanced(*host);
}

// Told to, the scene binding passes out-of-range values and special numbers through.
TEST_F(HostileHost, UnclampedSceneValuesReachTheEffect)
{
    const Scene scene = hostileScene(R"("Radius": "inf", "Emit": 250, "Falloff": 7, "Rotation X": -40000, "Roughness": "nan")");
    auto host = hostileHost(scene, false);
    host->faults().unclampedParams = true;
    ASSERT_EQ(host->start(), PF_Err_NONE);
    bindScene(*host, scene);
    Image out;
    EXPECT_EQ(host->renderFrame({0, 32, 1, 1}, &out), PF_Err_NONE);
    expectDefined(out, 32, "frame");
    EXPECT_EQ(host->state().valueAt(host->paramIndex("Radius"), 0).number, std::numeric_limits<double>::infinity());
    EXPECT_EQ(host->state().valueAt(host->paramIndex("Falloff"), 0).number, 7);
    EXPECT_EQ(host->state().valueAt(host->paramIndex("Emit"), 0).number, 250);
    expectBalanced(*host);
}

}  // namespace
}  // namespace orbhost::testing
