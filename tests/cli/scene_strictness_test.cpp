// Scene mistakes the reader and the parameter binding refuse, as the command line reports them:
// exit 2, one line "FILE: /json/pointer: problem", nothing written.
#include "cli/cli_scene.h"
#include "cli/run_program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <tuple>

namespace orbhost::testing {
namespace {

ProgramResult renderEdited(const TempFolder& folder, const std::string& from, const std::string& to)
{
    folder.write("scene.json", withEdit(basicSceneText(), from, to));
    return runProgram({folder.file("scene.json"), "-o", folder.file("out.png")});
}

void expectOneLineRefusal(const ProgramResult& run, const TempFolder& folder, const std::string& pointer)
{
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.png")));
    EXPECT_EQ(run.err.rfind("orbulon-render: " + folder.file("scene.json") + ": " + pointer + ": ", 0), 0u);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
}

TEST(LayerParameterKinds, ReflectionMapOrControlLayerNamingACameraOrLightIsRefused)
{
    TempFolder folder(currentTestTag());
    std::string scene = withEdit(basicSceneText(), "\"layers\": [",
                                 "\"layers\": [ { \"name\": \"Cam\", \"type\": \"camera\" }, "
                                 "{ \"name\": \"Lamp\", \"type\": \"light\" },");
    for (const auto& [param, layer, kind] : {std::tuple{"Reflection Map", "Lamp", "a light"},
                                              std::tuple{"Control Layer", "Cam", "a camera"},
                                              std::tuple{"Texture", "Cam", "a camera"}}) {
        SCOPED_TRACE(param);
        const std::string assignment = "\"" + std::string(param) + "\": \"" + layer + "\"";
        folder.write("scene.json", std::string(param) == "Texture"
                                       ? withEdit(scene, "\"Texture\": \"UV Grid\"", assignment)
                                       : withEdit(scene, "\"Radius\": 150", "\"Radius\": 150, " + assignment));
        const ProgramResult run = runProgram({folder.file("scene.json"), "-o", folder.file("out.png")});
        SCOPED_TRACE(run.transcript());
        expectOneLineRefusal(run, folder, "/effect/params/" + std::string(param));
        EXPECT_NE(run.err.find("\"" + std::string(param) + "\" needs a layer with pixels; \"" + layer + "\" is " + kind),
                  std::string::npos);
    }
}

TEST(UnknownParameterSuggestion, TheClosestRegisteredNameIsOffered)
{
    TempFolder folder(currentTestTag());
    const ProgramResult run = renderEdited(folder, "\"Radius\":", "\"Raduis\":");
    SCOPED_TRACE(run.transcript());
    expectOneLineRefusal(run, folder, "/effect/params/Raduis");
    EXPECT_NE(run.err.find("unknown parameter \"Raduis\" (did you mean \"Radius\"?)"), std::string::npos);
}

TEST(UnknownParameterSuggestion, NothingIsOfferedForANameFarFromEveryParameter)
{
    TempFolder folder(currentTestTag());
    const ProgramResult run = renderEdited(folder, "\"Radius\":", "\"Qwxzvbnmkj\":");
    SCOPED_TRACE(run.transcript());
    expectOneLineRefusal(run, folder, "/effect/params/Qwxzvbnmkj");
    EXPECT_EQ(run.err.find("did you mean"), std::string::npos);
}

TEST(DuplicateKeysOnTheCommandLine, ASecondRadiusIsRefused)
{
    TempFolder folder(currentTestTag());
    const ProgramResult run = renderEdited(folder, "\"Radius\": 150,", "\"Radius\": 150, \"Radius\": 20,");
    SCOPED_TRACE(run.transcript());
    expectOneLineRefusal(run, folder, "/effect/params/Radius");
    EXPECT_NE(run.err.find("appears twice"), std::string::npos);
}

TEST(NumberOverflowOnTheCommandLine, GivesThePointerNotTheLibraryText)
{
    TempFolder folder(currentTestTag());
    const ProgramResult run = renderEdited(folder, "\"Radius\": 150", "\"Radius\": 1e999");
    SCOPED_TRACE(run.transcript());
    expectOneLineRefusal(run, folder, "/effect/params/Radius");
    EXPECT_EQ(run.err.find("[json.exception"), std::string::npos);
}

TEST(OpenCommentOnTheCommandLine, OneShortLine)
{
    TempFolder folder(currentTestTag());
    const ProgramResult run = renderEdited(folder, "\"Radius\": 150,", "\"Radius\": 150, /* unfinished");
    SCOPED_TRACE(run.transcript());
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
    EXPECT_NE(run.err.find("comment is never closed"), std::string::npos);
    EXPECT_EQ(run.err.find("Use Composition Camera"), std::string::npos) << "the rest of the file came back";
}

}  // namespace
}  // namespace orbhost::testing
