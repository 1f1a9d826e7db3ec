// The real module on a small lit, textured composition, and the checks every hostile host case
// shares: nothing escaped or was left held, and a rendered frame holds only pixels it wrote.
#pragma once
#include "host/core/host_errors.h"
#include "host/core/host_state.h"
#include "host/core/scene_binding.h"
#include "host/scene/scene.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace orbhost::testing {

inline std::string orbulonPath() { return std::string(ORBULON_BUILD_DIR) + "/Orbulon.so"; }

// 48 × 32: the effect on a solid, the grid as texture and reflection map, a point and an ambient
// light, a camera with depth of field. `params` (JSON members) add to or replace the effect's.
inline Scene hostileScene(const std::string& params = "", const std::string& effectLayer = "")
{
    std::string effectParams = params;
    for (const char* value : {R"("Texture": "Grid")", R"("Reflection Map": "Grid")", R"("Radius": 14)",
                              R"("Position XY": [24, 16])", R"("Reflection Intensity": 40)"}) {
        const std::string key(value, std::string_view(value).find(':'));
        if (params.find(key) == std::string::npos)
            effectParams += (effectParams.empty() ? "" : ", ") + std::string(value);
    }
    const std::string text = R"({
      "composition": {"width": 48, "height": 32, "frameRate": 25, "duration": 1},
      "layers": [
        {"name": "Camera", "type": "camera", "position": [24, 16, -60], "pointOfInterest": [24, 16, 0],
         "camera": {"zoom": 60, "depthOfField": true, "focusDistance": 50, "aperture": 80, "blurLevel": 100}},
        {"name": "Key", "type": "light", "position": [0, 0, -80], "light": {"type": "point", "intensity": 100}},
        {"name": "Fill", "type": "light", "light": {"type": "ambient", "intensity": 20}},
        )" + (effectLayer.empty() ? std::string(R"({"name": "Sphere", "type": "solid", "color": [0, 0, 0, 1]})") : effectLayer) +
                             R"(,
        {"name": "Grid", "type": "image", "file": "textures/grid.pam", "video": false},
        {"name": "Ctl", "type": "null", "threeD": true}
      ],
      "effect": {"layer": "Sphere", "params": {)" + effectParams + R"(}}
    })";
    return parseSceneText(text, "hostile.json", std::string(ORBULON_SOURCE_DIR) + "/scenes");
}

// The module with the scene bound after a clean start (unless `start` is false); `adjust`
// edits the composition first (a scene file cannot hold a layer without pixels).
inline std::unique_ptr<EffectHost> hostileHost(const Scene& scene, bool start = true,
                                               const std::function<void(Composition&)>& adjust = {})
{
    HostConfig config;
    config.iterate.threads = 2;
    auto host = std::make_unique<EffectHost>(orbulonPath(), config);
    Composition comp = compositionFromScene(scene);
    if (adjust)
        adjust(comp);
    host->setComposition(comp);
    if (start) {
        EXPECT_EQ(host->start(), PF_Err_NONE);
        bindScene(*host, scene);
        if (adjust)
            host->setComposition(comp);   // binding set the scene's own; the values stay
    }
    return host;
}

// No exception escaped, no command left anything unbalanced, nothing is held after shutdown.
inline void expectBalanced(EffectHost& host)
{
    host.shutdown();
    for (const CommandRecord& r : host.commandLog()) {
        EXPECT_TRUE(r.problem.empty()) << commandName(r.cmd) << ": " << r.problem;
        for (const Imbalance& i : r.imbalances)
            ADD_FAILURE() << commandName(r.cmd) << " left unbalanced: " << i.what << " (" << i.count << ")";
    }
    EXPECT_EQ(host.state().handles.liveCount(), 0u);
    EXPECT_EQ(host.state().worlds.liveCount(), 0u);
}

// Every channel finite, in 0..1 unless float, and written (a new output is opaque magenta).
inline void expectDefined(const Image& image, int bitDepth, const std::string& what)
{
    int undefined = 0, untouched = 0;
    for (std::size_t i = 0; i < image.rgba.size(); i += 4) {
        const float* p = &image.rgba[i];
        for (int c = 0; c < 4; ++c)
            if (!std::isfinite(p[c]) || (bitDepth != 32 && (p[c] < 0 || p[c] > 1)))
                ++undefined;
        if (p[0] == 1 && p[1] == 0 && p[2] == 1 && p[3] == 1)
            ++untouched;
    }
    EXPECT_EQ(undefined, 0) << what << ": channels not finite or out of range";
    EXPECT_EQ(untouched, 0) << what << ": pixels the effect never wrote";
}

class HostileHost : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!std::filesystem::exists(orbulonPath()))
            GTEST_SKIP() << orbulonPath() << " not built";
    }
};

}  // namespace orbhost::testing
