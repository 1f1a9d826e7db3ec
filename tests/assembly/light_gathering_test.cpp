// The composition's lights as the kernels get them.
#include "assembly_support.h"

using namespace asmtest;

namespace {

struct LightLayer {
    std::string type;                // parallel, spot, point, ambient
    Vec3d position;
    Vec3d color;
    double intensity, coneAngle, coneFeather, shadowDarkness, shadowDiffusion;
    bool castsShadows;
    std::string timing;              // extra JSON keys: video switch, in point, duration
    bool present;                    // switched on and present at 1 s
};

std::vector<LightLayer> twentyLights()
{
    const std::string types[] = {"parallel", "spot", "point", "ambient"};
    std::vector<LightLayer> lights;
    for (int i = 0; i < 20; ++i) {
        LightLayer l{types[i % 4], {10.0 + 7 * i, 20.0 + 3 * i - 40, -50.0 - 10 * i}, {i / 20.0, 0.5, 1 - i / 20.0},
                     i == 5 ? -20.0 : 50.0 + 10 * i, 30.0 + 7 * i, 5.0 * i, i * 5.0, i * 1.5, i % 3 == 0, "", true};
        lights.push_back(l);
    }
    // Present exactly at the in point; absent from the out point on; switched off; not yet in.
    lights[7].timing = R"(, "in": 1)";
    lights[11].timing = R"(, "duration": 1)", lights[11].present = false;
    lights[3].timing = R"(, "video": false)", lights[3].present = false;
    lights[15].timing = R"(, "in": 1.5)", lights[15].present = false;
    lights[18].timing = R"(, "in": 0.2, "duration": 0.5)", lights[18].present = false;
    // Shadow darkness beyond what the controls allow, set on the model directly below.
    lights[2].shadowDarkness = 150;
    lights[6].shadowDarkness = -10;
    return lights;
}

std::string lightLayersJson(const std::vector<LightLayer>& lights)
{
    std::string json;
    for (std::size_t i = 0; i < lights.size(); ++i) {
        const LightLayer& l = lights[i];
        std::ostringstream o;
        o << R"({ "name": "L)" << i << R"(", "type": "light", "position": )" << str(l.position)
          << R"(, "pointOfInterest": [80, 60, 0], "light": { "type": ")" << l.type << R"(", "intensity": )"
          << l.intensity << R"(, "color": )" << str(l.color) << R"(, "coneAngle": )" << l.coneAngle
          << R"(, "coneFeather": )" << l.coneFeather << R"(, "shadowDiffusion": )" << l.shadowDiffusion
          << R"(, "castsShadows": )" << (l.castsShadows ? "true" : "false") << " }" << l.timing << " },";
        json += o.str();
    }
    // str() writes parentheses; JSON wants brackets.
    for (char& ch : json)
        ch = ch == '(' ? '[' : ch == ')' ? ']' : ch;
    return json;
}

} // namespace

// Rendered at 1 s in front of a sphere turned a quarter about Z.
TEST_F(AssemblyTest, TwentyLightsBecomeRecordsInLayerOrder)
{
    const std::vector<LightLayer> lights = twentyLights();
    SceneSetup setup = sceneWith({{"Rotation Z", "90"}}, lightLayersJson(lights));
    setup.edit = [&lights](orbhost::Scene& scene) {
        for (std::size_t i = 0; i < lights.size(); ++i)
            scene.layers[i].light.shadowDarkness = lights[i].shadowDarkness;
    };
    const Rendered r = renderScene(setup, {1.0, 8, 1, 1});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const ContextSnapshot& x = r.ctx();
    const std::array<Vec3d, 3> sphereAxes{Vec3d{0, 1, 0}, Vec3d{-1, 0, 0}, Vec3d{0, 0, 1}};
    const Vec3d centre{80, 60, 0};
    const char* types[] = {"parallel", "spot", "point", "ambient"};

    std::size_t k = 0;
    for (std::size_t i = 0; i < lights.size(); ++i) {
        const LightLayer& l = lights[i];
        if (!l.present)
            continue;
        ASSERT_LT(k, x.lights.size()) << "too few records; missing layer L" << i;
        const LightSnapshot& got = x.lights[k++];
        const std::string what = "layer L" + std::to_string(i) + " (" + l.type + ")";
        EXPECT_STREQ(types[got.lightType & 3], l.type.c_str()) << what << ": type " << got.lightType;
        expectNear(row(got.lightToSphere, 3), intoFrame(l.position, sphereAxes, centre), what + ": position");
        if (l.type == "spot") {
            // A spot light's z axis points at its point of interest.
            const Vec3d aim = normalized(intoFrame({80, 60, 0}, sphereAxes, centre) - intoFrame(l.position, sphereAxes, centre));
            expectNear(row(got.lightToSphere, 2), aim, what + ": direction", 1e-4);
        }
        EXPECT_FLOAT_EQ(got.argb[0], 1.0f) << what << ": alpha";
        for (int ch = 0; ch < 3; ++ch)
            EXPECT_NEAR(got.argb[ch + 1], l.color[ch], 1e-6) << what << ": colour channel " << ch;
        EXPECT_NEAR(got.intensity, l.intensity / 100, 1e-9) << what;
        EXPECT_NEAR(got.cosHalfCone, std::cos(l.coneAngle / 2 * kPi / 180), 1e-9) << what;
        EXPECT_NEAR(got.coneFeather, l.coneFeather / 100, 1e-9) << what;
        EXPECT_FLOAT_EQ(got.shadowDarkness, std::clamp(l.shadowDarkness / 100, 0.0, 1.0)) << what;
        EXPECT_NEAR(got.shadowDiffusion, l.shadowDiffusion, 1e-9) << what;
        EXPECT_EQ(got.castsShadows, l.castsShadows) << what;
    }
    EXPECT_EQ(x.lights.size(), k) << "records for lights that are off or absent";
    EXPECT_EQ(x.lightCapacity, static_cast<A_long>(k)) << "the list grows one slot at a time";
    // A record and a new array per light, and the silhouette bounds' rows.
    EXPECT_EQ(r.handleAttempts, static_cast<int>(2 * k + 1));
}

// The effect's layer starts at 0.5 s; a light whose in point is 1 s is present at 1 s.
TEST_F(AssemblyTest, LightsAreJudgedAtCompositionTime)
{
    SceneSetup setup = sceneWith(
        {}, R"({ "name": "Late", "type": "light", "in": 1, "light": { "type": "spot", "intensity": 40, "coneAngle": 90 } },
               { "name": "Gone", "type": "light", "duration": 1, "light": { "type": "point", "intensity": 60 } },)");
    setup.sphereKeys = R"(, "in": 0.5)";
    const Rendered r = renderScene(setup, {1.0, 8, 1, 1});
    ASSERT_EQ(r.result, PF_Err_NONE);
    ASSERT_EQ(r.ctx().lights.size(), 1u);
    EXPECT_NEAR(r.ctx().lights[0].intensity, 0.4, 1e-9);
    EXPECT_NEAR(r.ctx().lights[0].cosHalfCone, std::sqrt(0.5), 1e-9);
}
