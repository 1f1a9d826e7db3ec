// How a frame is rendered: one direct pass without depth of field, a buffered and a gather
// pass over four temporary worlds with it; and what happens
// when the sampling suites the kernels need are missing or unusable.
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

// Without depth of field one iterate over the whole frame and no temporary world; with it two
// iterates over the whole frame, the four temporary worlds made before the first and all four
// disposed of by the end (renderScene checks that nothing is left held).
TEST_P(PassStructure, OnePassOrTwoWithFourWorlds)
{
    const PassCase& c = GetParam();
    const Rendered r = renderScene(sceneWith(c.params, c.layers), {0, c.bitDepth, 1, 1});
    ASSERT_EQ(r.result, PF_Err_NONE);
    const std::size_t passes = c.buffered ? 2 : 1;
    ASSERT_EQ(r.passes.size(), passes);
    EXPECT_EQ(r.host->iteratePasses().size(), passes);
    for (const ContextSnapshot& p : r.passes) {
        EXPECT_EQ(p.iterations, kWidth * kHeight);
        EXPECT_EQ(p.depthOfFieldActive, c.buffered);
        if (c.buffered) {
            EXPECT_EQ(p.passWorldsSet, (std::array<bool, 4>{true, true, true, true}));
        }
    }
    const orbhost::Accounting& a = r.host->accounting();
    const long long worlds = c.buffered ? 4 : 0;
    EXPECT_EQ(a.total("world (taken)"), worlds);
    EXPECT_EQ(a.total("world (given back)"), worlds);
    EXPECT_EQ(a.outstanding("world"), 0);
    EXPECT_EQ(a.total("iterate_generic pass"), static_cast<long long>(passes));

    // Either way the sphere is drawn: its middle is opaque.
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

// A world suite that notes, in order, the worlds the effect makes (pixel pointer and format)
// and gives back (pixel pointer); everything else is the host's own.
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

// With depth of field the four worlds are made in slot order, two at the output's depth and two
// 8-bit, and given back in the reverse order: 3, 2, 1, 0.
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

// Tables that lack their area sample, everything else served by the host's own.
const PF_Sampling8Suite1 kNoArea8 = [] { auto t = *orbhost::sampling8Suite(); t.area_sample = nullptr; return t; }();
const PF_SamplingFloatSuite1 kNoAreaFloat = [] { auto t = *orbhost::samplingFloatSuite(); t.area_sample_float = nullptr; return t; }();

template <class Table>
std::function<void(orbhost::EffectHost&)> serving(const char* name, const Table* table)
{
    return [name, table](orbhost::EffectHost& host) { host.provideSuite(name, 1, table); };
}

} // namespace

// A missing 8- or 16-bit sampling suite ends the frame quietly with nothing drawn, at any
// depth; a missing float suite ends it with the suite's error. A suite whose area sample the
// kernels of the frame's depth would need but cannot call fails the frame with
// PF_Err_BAD_CALLBACK_PARAM before any pass; the same gap in a suite of another depth does
// not matter. Either way everything taken is given back (renderScene checks).
TEST_P(SamplingSuites, MissingOrUnusableSuites)
{
    const SuiteCase& c = GetParam();
    Surface s;
    const Rendered r = renderScene(litScene(s, {SceneLight{"point", {40, 30, -200}}}), {0, c.bitDepth, 1, 1}, c.prepare);
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
