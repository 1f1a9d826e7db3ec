// Scene parameter tracks bound to the probe's parameters: values, keys, and every kind of
// mistake reported with the file and the JSON path before anything renders.
#include "host/core/host_errors.h"
#include "host/core/scene_binding.h"
#include "probe_support.h"

#include "host/scene/scene.h"

#include <gtest/gtest.h>

using namespace orbhost;

namespace {

Scene sceneWith(const std::string& params)
{
    const std::string text = R"({
      "composition": { "width": 16, "height": 8, "frameRate": 10, "duration": 2 },
      "layers": [ { "name": "Base", "type": "solid" }, { "name": "Tex", "type": "solid", "width": 4, "height": 2 } ],
      "effect": { "layer": "Base", "params": { )" + params + R"( } } })";
    return parseSceneText(text, "scene.json", ".");
}

} // namespace

TEST(SceneBinding, ReportsEveryMistakeWithFileAndPath)
{
    struct Case {
        std::string params, expected;
    };
    const std::vector<Case> cases = {
        {R"("Nonsense": 1)", "scene.json: /effect/params/Nonsense: unknown parameter \"Nonsense\""},
        {R"("Amount": "lots")", "scene.json: /effect/params/Amount: \"Amount\" is a fixed slider and needs a number"},
        {R"("Amount": 101)", "scene.json: /effect/params/Amount: value 101 of \"Amount\" is outside its range 0 to 100"},
        {R"("Amount": {"keys": [[0, 10], [1, -1]]})", "value -1 of \"Amount\" is outside its range"},
        {R"("Mode": 4)", "/effect/params/Mode: choice 4 of \"Mode\" is outside 1 to 3"},
        {R"("Mode": "Four")", "\"Four\" is not a choice of \"Mode\" (\"One\", \"Two\", \"Three\")"},
        {R"("Enable": "yes")", "\"Enable\" is a checkbox and needs true or false"},
        {R"("Tint": [1, 2, 0])", "component 2 of the colour is above 1 (2 in \"Tint\")"},
        {R"("Center": [1])", "\"Center\" is a point and needs [x, y]"},
        {R"("Layer": "Nowhere")", "\"Nowhere\" (for \"Layer\") names no layer of the scene"},
        {R"("Group": 1)", "\"Group\" is a group start and takes no value"},
    };
    for (const Case& c : cases) {
        auto host = probetest::startProbe();
        ASSERT_EQ(host->start(), PF_Err_NONE);
        try {
            bindScene(*host, sceneWith(c.params));
            ADD_FAILURE() << c.params << " was accepted";
        } catch (const BindError& e) {
            EXPECT_NE(std::string(e.what()).find(c.expected), std::string::npos) << c.params << "\n" << e.what();
        }
        EXPECT_EQ(host->commandLog().back().cmd, PF_Cmd_UPDATE_PARAMS_UI) << "nothing rendered";
    }
}

TEST(SceneBinding, AllProblemsAreReportedTogether)
{
    auto host = probetest::startProbe();
    ASSERT_EQ(host->start(), PF_Err_NONE);
    try {
        bindScene(*host, sceneWith(R"("A": 1, "Amount": 500, "B": 2)"));
        FAIL() << "accepted";
    } catch (const BindError& e) {
        EXPECT_EQ(e.messages.size(), 3u) << e.what();
    }
}

TEST(SceneBinding, TracksBecomeValuesAtEachFrame)
{
    auto host = probetest::startProbe();
    ASSERT_EQ(host->start(), PF_Err_NONE);
    bindScene(*host, sceneWith(R"("Amount": {"keys": [[0, 10], [2, 50]]}, "Mode": "Two", "Layer": "Tex",
                                  "Tint": [0, 0, 1], "Center": {"keys": [[0, [0, 0]], [1, [8, 4]]]}, "Enable": true)"));
    HostState& s = host->state();
    EXPECT_DOUBLE_EQ(s.valueAt(2, 1.0).number, 30);
    EXPECT_DOUBLE_EQ(s.valueAt(8, 0.0).number, 2);
    EXPECT_EQ(s.valueAt(1, 0.0).layer, 1);
    EXPECT_EQ(s.valueAt(6, 0.0).color, (std::array<float, 4>{0, 0, 1, 1}));
    EXPECT_DOUBLE_EQ(s.valueAt(7, 0.5).x, 4);
    EXPECT_DOUBLE_EQ(s.valueAt(5, 0.5).number, 1);
    Image out;
    ASSERT_EQ(host->renderFrame({1.0, 8, 1, 1}, &out), PF_Err_NONE);
    EXPECT_NE(probetest::probeLog(*host).find("values t=10 layer=1,4,1 amount=1966080 "), std::string::npos)
        << probetest::probeLog(*host);
}
