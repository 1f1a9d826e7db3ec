// The composition as an effect reads it through the AEGP suites (matrices and the active camera
// are checked in tests/comp/).
#include "probe_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <stdexcept>

using namespace aegptest;

TEST(AegpComposition, LayersComeTopToBottomFromTheEffectsComposition)
{
    auto host = startedProbe();
    Suites s(*host);
    AEGP_LayerH effectLayer = nullptr;
    AEGP_CompH comp = nullptr;
    ASSERT_EQ(s.pf->AEGP_GetEffectLayer(s.effectRef(), &effectLayer), A_Err_NONE);
    ASSERT_EQ(s.layer12->AEGP_GetLayerParentComp(effectLayer, &comp), A_Err_NONE);
    A_long count = 0;
    ASSERT_EQ(s.layer12->AEGP_GetCompNumLayers(comp, &count), A_Err_NONE);
    ASSERT_EQ(count, 8);
    const char* expected[] = {"Base", "", "Rig", "Child", "Off Cam", "Late Cam", "Cam", "Key"};
    for (A_long i = 0; i < count; ++i) {
        AEGP_LayerH layer = nullptr;
        A_long index = -1;
        A_char name[AEGP_MAX_LAYER_NAME_SIZE];
        ASSERT_EQ(s.layer12->AEGP_GetCompLayerByIndex(comp, i, &layer), A_Err_NONE);
        ASSERT_EQ(s.layer11->AEGP_GetLayerIndex(layer, &index), A_Err_NONE);
        ASSERT_EQ(s.layer11->AEGP_GetLayerName(layer, name, nullptr), A_Err_NONE);
        EXPECT_EQ(index, i);
        EXPECT_STREQ(name, expected[i]) << "layer " << i;
    }
    EXPECT_EQ(s.layer(0), effectLayer);
    AEGP_LayerH past = nullptr, parent = nullptr;
    EXPECT_EQ(s.layer12->AEGP_GetCompLayerByIndex(comp, 8, &past), A_Err_PARAMETER);
    ASSERT_EQ(s.layer12->AEGP_GetLayerParent(s.layer(3), &parent), A_Err_NONE);
    EXPECT_EQ(parent, s.layer(2));
    ASSERT_EQ(s.layer12->AEGP_GetLayerParent(s.layer(2), &parent), A_Err_NONE);
    EXPECT_EQ(parent, nullptr);

    AEGP_ItemH item = nullptr;
    A_long w = 0, h = 0;
    A_Ratio par{};
    AEGP_CompH back = nullptr;
    ASSERT_EQ(s.comp->AEGP_GetItemFromComp(comp, &item), A_Err_NONE);
    ASSERT_EQ(s.item->AEGP_GetItemDimensions(item, &w, &h), A_Err_NONE);
    ASSERT_EQ(s.item->AEGP_GetItemPixelAspectRatio(item, &par), A_Err_NONE);
    ASSERT_EQ(s.comp->AEGP_GetCompFromItem(item, &back), A_Err_NONE);
    EXPECT_EQ(w, 16);
    EXPECT_EQ(h, 8);
    EXPECT_EQ(par.num, 1);
    EXPECT_EQ(par.den, 1u);
    EXPECT_EQ(back, comp);
}

TEST(AegpComposition, UnnamedLayersGiveAnEmptyOwnNameUntilRenamed)
{
    auto host = startedProbe();
    Suites s(*host);
    struct Case {
        int layer;
        std::string own, source;
    };
    for (const Case& c : {Case{0, "Base", "Base Solid"}, Case{1, "", "tex.png"}}) {
        AEGP_MemHandle own = nullptr, source = nullptr;
        ASSERT_EQ(s.layer12->AEGP_GetLayerName(1, s.layer(c.layer), &own, &source), A_Err_NONE);
        EXPECT_EQ(utf16Text(s, own), c.own) << "layer " << c.layer;
        EXPECT_EQ(utf16Text(s, source), c.source) << "layer " << c.layer;
        s.memory->AEGP_FreeMemHandle(own);
        s.memory->AEGP_FreeMemHandle(source);
    }
    // Renamed in UTF-16 (a non-ASCII name), read back in UTF-16 and as 8-bit text.
    const std::u16string renamed = u"Pl\u00e4net";
    ASSERT_EQ(s.layer12->AEGP_SetLayerName(s.layer(1), reinterpret_cast<const A_UTF16Char*>(renamed.c_str())), A_Err_NONE);
    A_char own8[AEGP_MAX_LAYER_NAME_SIZE], source8[AEGP_MAX_LAYER_NAME_SIZE];
    ASSERT_EQ(s.layer11->AEGP_GetLayerName(s.layer(1), own8, source8), A_Err_NONE);
    EXPECT_STREQ(own8, "Pl\xc3\xa4net");
    EXPECT_STREQ(source8, "tex.png");
    // 8-bit names longer than the buffer are cut to 31 bytes plus the NUL.
    const std::string longName(40, 'x');
    ASSERT_EQ(s.layer11->AEGP_SetLayerName(s.layer(1), longName.c_str()), A_Err_NONE);
    A_char cut[AEGP_MAX_LAYER_NAME_SIZE + 8];
    std::memset(cut, '#', sizeof cut);
    ASSERT_EQ(s.layer11->AEGP_GetLayerName(s.layer(1), cut, nullptr), A_Err_NONE);
    EXPECT_EQ(std::string(cut), std::string(31, 'x'));
    EXPECT_EQ(cut[AEGP_MAX_LAYER_NAME_SIZE], '#') << "wrote past the buffer";
    EXPECT_EQ(host->composition().model.layers[1].name, longName);
    EXPECT_EQ(host->accounting().outstanding("AEGP memory handle \"layer name\""), 0);
}

TEST(AegpComposition, FlagsTimesAndTypesFollowTheModel)
{
    auto host = startedProbe();
    Suites s(*host);
    struct Case {
        int layer;
        AEGP_LayerFlags flags;
        AEGP_ObjectType type;
        AEGP_CameraType cameraType;
        AEGP_LightType lightType;
        double in, duration;
    };
    const AEGP_LayerFlags video = AEGP_LayerFlag_VIDEO_ACTIVE, is3D = AEGP_LayerFlag_LAYER_IS_3D;
    const Case cases[] = {
        {0, video | AEGP_LayerFlag_EFFECTS_ACTIVE, AEGP_ObjectType_AV, AEGP_CameraType_NONE, AEGP_LightType_NONE, 0, 2},
        {2, video | AEGP_LayerFlag_EFFECTS_ACTIVE | AEGP_LayerFlag_NULL_LAYER, AEGP_ObjectType_AV, AEGP_CameraType_NONE,
         AEGP_LightType_NONE, 0, 2},
        {4, is3D, AEGP_ObjectType_CAMERA, AEGP_CameraType_PERSPECTIVE, AEGP_LightType_NONE, 0, 2},
        {5, video | is3D, AEGP_ObjectType_CAMERA, AEGP_CameraType_ORTHOGRAPHIC, AEGP_LightType_NONE, 1, 0.5},
        {6, video | is3D | AEGP_LayerFlag_LOOK_AT_POI, AEGP_ObjectType_CAMERA, AEGP_CameraType_PERSPECTIVE,
         AEGP_LightType_NONE, 0, 2},
        {7, video | is3D, AEGP_ObjectType_LIGHT, AEGP_CameraType_NONE, AEGP_LightType_SPOT, 0.5, 1.5},
    };
    for (const Case& c : cases) {
        AEGP_LayerFlags flags = 0;
        AEGP_ObjectType type = -2;
        AEGP_CameraType cameraType = 7;
        AEGP_LightType lightType = 7;
        A_Time inComp{}, inLayer{}, duration{};
        AEGP_LayerH layer = s.layer(c.layer);
        ASSERT_EQ(s.layer12->AEGP_GetLayerFlags(layer, &flags), A_Err_NONE);
        ASSERT_EQ(s.layer12->AEGP_GetLayerObjectType(layer, &type), A_Err_NONE);
        ASSERT_EQ(s.camera->AEGP_GetCameraType(layer, &cameraType), A_Err_NONE);
        ASSERT_EQ(s.light->AEGP_GetLightType(layer, &lightType), A_Err_NONE);
        ASSERT_EQ(s.layer12->AEGP_GetLayerInPoint(layer, AEGP_LTimeMode_CompTime, &inComp), A_Err_NONE);
        ASSERT_EQ(s.layer12->AEGP_GetLayerInPoint(layer, AEGP_LTimeMode_LayerTime, &inLayer), A_Err_NONE);
        ASSERT_EQ(s.layer12->AEGP_GetLayerDuration(layer, AEGP_LTimeMode_CompTime, &duration), A_Err_NONE);
        EXPECT_EQ(flags, c.flags) << "layer " << c.layer;
        EXPECT_EQ(type, c.type) << "layer " << c.layer;
        EXPECT_EQ(cameraType, c.cameraType) << "layer " << c.layer;
        EXPECT_EQ(lightType, c.lightType) << "layer " << c.layer;
        EXPECT_DOUBLE_EQ(double(inComp.value) / inComp.scale, c.in) << "layer " << c.layer;
        EXPECT_EQ(inLayer.value, 0) << "layer " << c.layer;
        EXPECT_DOUBLE_EQ(double(duration.value) / duration.scale, c.duration) << "layer " << c.layer;
    }
}

TEST(AegpComposition, LayerStreamsComeInTheirUnits)
{
    auto host = startedProbe();
    Suites s(*host);
    struct Case {
        const char* what;
        int layer;
        AEGP_LayerStream stream;
        AEGP_LTimeMode mode;
        double time;
        A_Err err;
        std::vector<double> expected;   // one_d, three_d x y z, or color a r g b
        AEGP_StreamType type;
    };
    const A_Err ok = A_Err_NONE, bad = A_Err_PARAMETER;
    const AEGP_LTimeMode comp = AEGP_LTimeMode_CompTime, local = AEGP_LTimeMode_LayerTime;
    const Case cases[] = {
        {"2-D position, pixels", 3, AEGP_LayerStream_POSITION, comp, 0, ok, {10, 0, 0}, AEGP_StreamType_TwoD_SPATIAL},
        {"anchor point, layer pixels", 3, AEGP_LayerStream_ANCHORPOINT, comp, 0, ok, {5, 5, 0}, AEGP_StreamType_TwoD_SPATIAL},
        {"scale, percent", 2, AEGP_LayerStream_SCALE, comp, 0, ok, {200, 200, 0}, AEGP_StreamType_TwoD},
        {"rotation, degrees", 2, AEGP_LayerStream_ROTATION, comp, 0, ok, {90}, AEGP_StreamType_OneD},
        {"camera position", 6, AEGP_LayerStream_POSITION, comp, 0, ok, {8, 4, -700}, AEGP_StreamType_ThreeD_SPATIAL},
        {"camera zoom, pixels", 6, AEGP_LayerStream_ZOOM, comp, 0, ok, {700}, AEGP_StreamType_OneD},
        {"light colour, alpha first", 7, AEGP_LayerStream_COLOR, comp, 1, ok, {1, 1, 0.5, 0.25}, AEGP_StreamType_COLOR},
        {"cone angle, degrees", 7, AEGP_LayerStream_CONE_ANGLE, comp, 1, ok, {60}, AEGP_StreamType_OneD},
        {"keyed intensity, comp time", 7, AEGP_LayerStream_INTENSITY, comp, 1, ok, {50}, AEGP_StreamType_OneD},
        {"keyed intensity, layer time", 7, AEGP_LayerStream_INTENSITY, local, 1, ok, {75}, AEGP_StreamType_OneD},
        {"zoom of a light", 7, AEGP_LayerStream_ZOOM, comp, 0, bad, {}, 0},
        {"scale of a camera", 6, AEGP_LayerStream_SCALE, comp, 0, bad, {}, 0},
        {"X rotation of a 2-D layer", 3, AEGP_LayerStream_ROTATE_X, comp, 0, bad, {}, 0},
        {"light colour of a solid", 0, AEGP_LayerStream_COLOR, comp, 0, bad, {}, 0},
        {"unknown stream number", 0, 999, comp, 0, bad, {}, 0},
    };
    for (const Case& c : cases) {
        AEGP_StreamVal2 value{};
        AEGP_StreamType type = -1;
        const A_Time time = seconds(c.time);
        const A_Err err = s.stream->AEGP_GetLayerStreamValue(s.layer(c.layer), c.stream, c.mode, &time, false, &value, &type);
        ASSERT_EQ(err, c.err) << c.what;
        if (err)
            continue;
        EXPECT_EQ(type, c.type) << c.what;
        const double* got = value.four_d;   // the union's members share their leading doubles
        for (std::size_t i = 0; i < c.expected.size(); ++i)
            EXPECT_NEAR(got[i], c.expected[i], 1e-9) << c.what << ", component " << i;
    }
}

TEST(AegpComposition, EffectTimeIsTheLayersTime)
{
    // The effect layer starts at 0.5 s.
    auto host = probetest::startProbe();
    Composition comp = fullComposition();
    comp.model.layers[0].inPoint = 0.5;
    host->setComposition(comp);
    ASSERT_EQ(host->start(), PF_Err_NONE);
    Suites s(*host);
    A_Time compTime{};
    ASSERT_EQ(s.pf->AEGP_ConvertEffectToCompTime(s.effectRef(), 3, 10, &compTime), A_Err_NONE);
    EXPECT_DOUBLE_EQ(double(compTime.value) / compTime.scale, 0.8);
    EXPECT_EQ(host->state().toTime(0.8), 3);
}

TEST(AegpComposition, PixelsAndLayersMustPairUp)
{
    auto host = probetest::startProbe();
    for (const int extra : {-1, 1}) {
        Composition comp = probetest::smallComposition();
        comp.pixels.resize(std::size_t(int(comp.pixels.size()) + extra));
        EXPECT_THROW(host->setComposition(comp), std::invalid_argument) << "pixel entries off by " << extra;
    }
}
