// One direct pass without depth of field, a buffered and a gather pass over four temporary
// worlds with it; and frames whose sampling suites are missing or unusable.
#include "renderer/renderer_model.h"

using namespace asmtest;
using namespace rtest;

namespace {

std::string camera(bool depthOfField, const std::string& extra = "")
{
    return R"({ "name": "Cam", "type": "camera", "position": [80, 60, -300], "pointOfInterest": [80, 60, 0],
                "camera": { "zoom": 300, "focusDistance": 150, "aperture": 40, "depthOfField": )" +
           std::string(depthOfField ? "true" : "false") + " }" + extra + " },";
}

struct PassCase {
    std::string name;
    std::string layers;
    std::map<std::string, std::string> params;
    int bitDepth;
    bool buffered;
};

void PrintTo(const PassCase& c, std::ostream* os) { *os << c.name; }

class PassStructure : public AssemblyParamTest<PassCase> {};

} // namespace

// Without depth of field one iterate over the frame and no temporary world; with it two, the
// four worlds made before the first (renderScene checks they are all given back).
TEST_P(PassStructure, OnePassOrTwoWithFourWorlds)
{
    const PassCase& c = GetParam();
    const Rendered r = renderScene(sceneWith(c.params, c.layers), {0, c.bitDepth, 1, 1});
    ASSERT_EQ(r.result, PF_Err_NONE);
    ASSERT_EQ(r.passes.size(), c.buffered ? 2u : 1u);
    for (const ContextSnapshot& p : r.passes) {
        EXPECT_EQ(p.iterations, kWidth * kHeight);
        EXPECT_EQ(p.depthOfFieldActive, c.buffered);
        EXPECT_EQ(p.passWorldsSet, (std::array<bool, 4>{c.buffered, c.buffered, c.buffered, c.buffered}));
    }
    EXPECT_EQ(r.host->accounting().total("world (taken)"), c.buffered ? 4 : 0);
    EXPECT_EQ(pixelAt(r.image, 80, 60).a, 1.0) << c.name;
}

INSTANTIATE_TEST_SUITE_P(
    Passes, PassStructure,
    testing::Values(
        PassCase{"DefaultCameraWithDepthOfFieldOn", "", {{"Depth Of Field", R"("On")"}}, 8, false},
        PassCase{"CameraWithDepthOfFieldOff", camera(true), {{"Depth Of Field", R"("Off")"}}, 8, false},
        PassCase{"CameraSettingsWithTheCamerasSwitchOff", camera(false), {{"Depth Of Field", R"("Camera Settings")"}}, 16, false},
        PassCase{"CompositionCameraNotUsed", camera(true),
                 {{"Depth Of Field", R"("On")"}, {"Use Composition Camera", "false"}}, 32, false},
        PassCase{"CameraSwitchedOffInTheComposition", camera(true, R"(, "video": false)"), {{"Depth Of Field", R"("On")"}}, 8, false},
        PassCase{"OnAt8Bits", camera(false), {{"Depth Of Field", R"("On")"}}, 8, true},
        PassCase{"CameraSettingsWithTheCamerasSwitchOn", camera(true), {{"Depth Of Field", R"("Camera Settings")"}}, 16, true}),
    [](const auto& info) { return info.param.name; });

namespace {

// The host's world suite, noting the worlds made (pixels, format) and given back, in order.
struct WorldLog {
    std::vector<std::pair<const void*, PF_PixelFormat>> made;
    std::vector<const void*> disposed;
};
WorldLog gWorldLog;

PF_WorldSuite2 recordingWorldSuite()
{
    PF_WorldSuite2 t = *orbhost::worldSuite();
    t.PF_NewWorld = [](PF_ProgPtr ref, A_long width, A_long height, PF_Boolean clear, PF_PixelFormat format,
                       PF_EffectWorld* world) -> PF_Err {
        const PF_Err err = orbhost::worldSuite()->PF_NewWorld(ref, width, height, clear, format, world);
        if (!err)
            gWorldLog.made.emplace_back(world->data, format);
        return err;
    };
    t.PF_DisposeWorld = [](PF_ProgPtr ref, PF_EffectWorld* world) -> PF_Err {
        const void* data = world ? world->data : nullptr;
        const PF_Err err = orbhost::worldSuite()->PF_DisposeWorld(ref, world);
        if (!err)
            gWorldLog.disposed.push_back(data);
        return err;
    };
    return t;
}

const PF_WorldSuite2 kRecordingWorlds = recordingWorldSuite();

class PassWorlds : public AssemblyTest {};

} // namespace

// The four worlds are made in slot order, two at the output's depth and two 8-bit, and given
// back in reverse.
TEST_F(PassWorlds, MadeInSlotOrderAndGivenBackInReverse)
{
    for (auto [depth, format] : {std::pair{8, PF_PixelFormat_ARGB32}, std::pair{16, PF_PixelFormat_ARGB64},
                                 std::pair{32, PF_PixelFormat_ARGB128}}) {
        SCOPED_TRACE(std::to_string(depth) + " bits");
        gWorldLog = {};
        const Rendered r = renderScene(sceneWith({{"Depth Of Field", R"("On")"}}, camera(false)), {0, depth, 1, 1},
                                       [](orbhost::EffectHost& host) {
                                           host.provideSuite(kPFWorldSuite, kPFWorldSuiteVersion2, &kRecordingWorlds);
                                       });
        ASSERT_EQ(r.result, PF_Err_NONE);
        ASSERT_EQ(r.passes.size(), 2u);
        ASSERT_EQ(gWorldLog.made.size(), 4u);
        const PF_PixelFormat formats[4] = {format, format, PF_PixelFormat_ARGB32, PF_PixelFormat_ARGB32};
        for (int i = 0; i < 4; ++i)
            EXPECT_EQ(gWorldLog.made[i].second, formats[i]) << "slot " << i;
        const std::vector<const void*> reverse{gWorldLog.made[3].first, gWorldLog.made[2].first,
                                               gWorldLog.made[1].first, gWorldLog.made[0].first};
        EXPECT_EQ(gWorldLog.disposed, reverse);
    }
}

namespace {

struct SuiteCase {
    std::string name;
    int bitDepth;
    std::function<void(orbhost::EffectHost&)> prepare;
    PF_Err result;
};

void PrintTo(const SuiteCase& c, std::ostream* os) { *os << c.name; }

class SamplingSuites : public AssemblyParamTest<SuiteCase> {};

std::function<void(orbhost::EffectHost&)> without(const char* suite)
{
    return [suite](orbhost::EffectHost& host) { host.faults().unavailableSuites.insert(suite); };
}

const PF_Sampling8Suite1 kNoArea8 = [] { auto t = *orbhost::sampling8Suite(); t.area_sample = nullptr; return t; }();
const PF_SamplingFloatSuite1 kNoAreaFloat = [] { auto t = *orbhost::samplingFloatSuite(); t.area_sample_float = nullptr; return t; }();

template <class Table>
std::function<void(orbhost::EffectHost&)> serving(const char* name, const Table* table)
{
    return [name, table](orbhost::EffectHost& host) { host.provideSuite(name, 1, table); };
}

} // namespace

// A missing 8- or 16-bit sampling suite ends the frame quietly with nothing drawn; a missing
// float suite with the suite's error. A suite of the frame's depth without its area sample fails
// it with PF_Err_BAD_CALLBACK_PARAM before any pass; one of another depth does not matter.
TEST_P(SamplingSuites, MissingOrUnusableSuites)
{
    const SuiteCase& c = GetParam();
    const Rendered r = renderScene(litScene({}, {SceneLight{"point", {40, 30, -200}}}), {0, c.bitDepth, 1, 1}, c.prepare);
    EXPECT_EQ(r.result, c.result);
    EXPECT_EQ(r.image.width, kWidth);
    if (c.result == PF_Err_NONE && !c.name.starts_with("Missing")) {
        ASSERT_EQ(r.passes.size(), 1u);
        EXPECT_EQ(pixelAt(r.image, 80, 60).a, 1.0) << "the frame is drawn";
    } else {
        EXPECT_TRUE(r.passes.empty()) << "no pass runs";
        EXPECT_TRUE(std::all_of(r.image.rgba.begin(), r.image.rgba.end(), [](float v) { return v == 0.0f; }));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Passes, SamplingSuites,
    testing::Values(SuiteCase{"Missing8BitSuiteAt16Bits", 16, without(kPFSampling8Suite), PF_Err_NONE},
                    SuiteCase{"Missing8BitSuiteAt8Bits", 8, without(kPFSampling8Suite), PF_Err_NONE},
                    SuiteCase{"Missing16BitSuiteAt8Bits", 8, without(kPFSampling16Suite), PF_Err_NONE},
                    SuiteCase{"Missing16BitSuiteAtFloat", 32, without(kPFSampling16Suite), PF_Err_NONE},
                    SuiteCase{"MissingFloatSuiteAt8Bits", 8, without(kPFSamplingFloatSuite), kSPSuiteNotFoundError},
                    SuiteCase{"FloatSuiteWithoutAreaSampleAtFloat", 32, serving(kPFSamplingFloatSuite, &kNoAreaFloat),
                              PF_Err_BAD_CALLBACK_PARAM},
                    SuiteCase{"EightBitSuiteWithoutAreaSampleAt8Bits", 8, serving(kPFSampling8Suite, &kNoArea8), PF_Err_BAD_CALLBACK_PARAM},
                    SuiteCase{"EightBitSuiteWithoutAreaSampleAtFloat", 32, serving(kPFSampling8Suite, &kNoArea8), PF_Err_NONE},
                    SuiteCase{"FloatSuiteWithoutAreaSampleAt16Bits", 16, serving(kPFSamplingFloatSuite, &kNoAreaFloat), PF_Err_NONE}),
    [](const auto& info) { return info.param.name; });
