// The command protocol as the probe effect sees it: order, values, times, supervision.
#include "probe_support.h"

#include <gtest/gtest.h>

#include <regex>

using namespace orbhost;
using probetest::probeLog;
using probetest::startProbe;

namespace {

std::vector<int> commandsIn(const std::string& log)
{
    std::vector<int> cmds;
    std::regex line("cmd (\\d+)");
    for (auto it = std::sregex_iterator(log.begin(), log.end(), line); it != std::sregex_iterator(); ++it)
        cmds.push_back(std::stoi((*it)[1]));
    return cmds;
}

std::string valuesLine(const std::string& log, int which = 0)
{
    std::size_t at = 0;
    for (int i = 0; i <= which; ++i) {
        at = log.find("values ", at);
        if (at == std::string::npos)
            return "";
        if (i < which)
            ++at;
    }
    return log.substr(at, log.find('\n', at) - at);
}

} // namespace

TEST(Protocol, CommandsArriveInTheHostsOrder)
{
    auto host = startProbe();
    std::string about;
    ASSERT_EQ(host->about(&about), PF_Err_NONE);   // ABOUT may come before set-up
    EXPECT_EQ(about, "Probe effect");
    ASSERT_EQ(host->start(), PF_Err_NONE);
    Image out;
    ASSERT_EQ(host->renderFrame({0.0, 8, 1, 1}, &out), PF_Err_NONE);
    host->shutdown();
    // ABOUT, GLOBAL_SETUP, PARAMS_SETUP, SEQUENCE_SETUP, UPDATE_PARAMS_UI (supervised
    // parameter), pre-render, render, SEQUENCE_SETDOWN, GLOBAL_SETDOWN.
    EXPECT_EQ(commandsIn(probeLog(*host)), (std::vector<int>{0, 1, 4, 5, 14, 23, 24, 8, 3}));
    EXPECT_EQ(host->params().size(), 12u);
    EXPECT_TRUE(host->warnings().empty()) << host->warnings().front();
}

// At pre-render the input layer's checkout reports the whole layer at the frame's resolution
// (a part pixel left over by the downsampling counts) as its largest rectangle, and the
// request, here that same whole layer, as its result.
TEST(Protocol, PreRenderCheckoutReportsTheWholeLayerAtTheFramesResolution)
{
    struct Case {
        int downsampleX, downsampleY;
        const char* line;
    };
    const Case cases[] = {
        {1, 1, "prerender err=0 result=0,0,16,8 max=0,0,16,8"},
        {2, 2, "prerender err=0 result=0,0,8,4 max=0,0,8,4"},
        {3, 2, "prerender err=0 result=0,0,6,4 max=0,0,6,4"},
        {1, 3, "prerender err=0 result=0,0,16,3 max=0,0,16,3"},
    };
    for (const Case& c : cases) {
        auto host = startProbe();
        ASSERT_EQ(host->start(), PF_Err_NONE);
        Image out;
        ASSERT_EQ(host->renderFrame({0.0, 8, c.downsampleX, c.downsampleY}, &out), PF_Err_NONE);
        const std::string log = probeLog(*host);
        const auto at = log.find("prerender ");
        ASSERT_NE(at, std::string::npos) << log;
        EXPECT_EQ(log.substr(at, log.find('\n', at) - at), c.line)
            << "downsampled " << c.downsampleX << " x " << c.downsampleY;
    }
}

TEST(Protocol, SceneValuesReachTheEffectInItsUnits)
{
    auto host = startProbe();
    ASSERT_EQ(host->start(), PF_Err_NONE);
    ParamValue v[9];
    v[1].layer = 1, v[2].number = 12.5, v[3].number = 2.25, v[4].number = -45, v[5].number = 1;
    v[6].color = {0, 1, 0, 0.5f}, v[7].x = 4, v[7].y = 6, v[8].number = 3;
    for (int i = 1; i <= 8; ++i)
        host->setParamValues(i, [value = v[i]](double) { return value; });
    Image out;
    ASSERT_EQ(host->renderFrame({0.5, 8, 2, 2}, &out), PF_Err_NONE);
    // Layer 4 x 2 at half resolution is 2 wide; points scale with the downsample factor.
    EXPECT_EQ(valuesLine(probeLog(*host)),
              "values t=5 layer=1,2,1 amount=819200 scale=2.25 angle=-2949120 enable=1 tint=128,0,255,0 "
              "center=131072,196608 mode=3 watched=0");
    ASSERT_EQ(out.width, 8);   // 16 x 8 at half resolution
    ASSERT_EQ(out.height, 4);
    EXPECT_NEAR(out.rgba[1], 1.0f, 1e-6);   // green from the tint
    EXPECT_NEAR(out.rgba[3], 128 / 255.0f, 1e-6);
}

TEST(Protocol, KeyframedValuesFollowTheFrameTime)
{
    auto host = startProbe();
    ASSERT_EQ(host->start(), PF_Err_NONE);
    host->setParamValues(2, [](double t) { ParamValue v; v.number = 10 + 40 * t; return v; });
    Image out;
    ASSERT_EQ(host->renderFrame({0.0, 8, 1, 1}, &out), PF_Err_NONE);
    ASSERT_EQ(host->renderFrame({1.5, 16, 1, 1}, &out), PF_Err_NONE);
    const std::string log = probeLog(*host);
    EXPECT_NE(valuesLine(log, 0).find("t=0 layer=0,0,0 amount=655360 "), std::string::npos) << log;
    EXPECT_NE(valuesLine(log, 1).find("t=15 layer=0,0,0 amount=4587520 "), std::string::npos) << log;
}

TEST(Protocol, ChangingASupervisedParameterSendsUserChangedThenUpdate)
{
    auto host = startProbe();
    ASSERT_EQ(host->start(), PF_Err_NONE);
    host->setParamValues(10, [](double t) { ParamValue v; v.number = t < 1 ? 0 : 3; return v; });
    Image out;
    ASSERT_EQ(host->renderFrame({0.0, 8, 1, 1}, &out), PF_Err_NONE);   // unchanged: no UI commands
    ASSERT_EQ(host->renderFrame({1.0, 8, 1, 1}, &out), PF_Err_NONE);
    const std::string log = probeLog(*host);
    const auto cmds = commandsIn(log);
    EXPECT_EQ(std::vector<int>(cmds.begin() + 3, cmds.end()), (std::vector<int>{14, 23, 24, 13, 14, 23, 24}));
    EXPECT_NE(log.find("changed 10 value 196608"), std::string::npos) << log;
}

