// Scene files for the end-to-end tests: the shipped example, made to work from any folder.
#pragma once

#include "scene/temp_folder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace orbhost::testing {

// scenes/basic.json with its texture named by absolute path, as a still (render.frames [0, 0])
// so that a plain -o FILE.png renders it; sequences ask for their frames with --frames.
inline std::string basicSceneText()
{
    std::ostringstream text;
    text << std::ifstream(ORBULON_SOURCE_DIR "/scenes/basic.json").rdbuf();
    std::string scene = text.str();
    const std::string texture = "\"textures/grid.pam\"";
    scene.replace(scene.find(texture), texture.size(), "\"" ORBULON_SOURCE_DIR "/scenes/textures/grid.pam\"");
    const std::string frames = "\"frames\": [0, 49]";
    if (const auto at = scene.find(frames); at != std::string::npos)
        scene.replace(at, frames.size(), "\"frames\": [0, 0]");
    return scene;
}

// The scene text with the first `from` replaced by `to`; fails the test when `from` is absent.
inline std::string withEdit(std::string scene, const std::string& from, const std::string& to)
{
    const auto at = scene.find(from);
    EXPECT_NE(at, std::string::npos) << "the example scene no longer contains " << from;
    if (at != std::string::npos)
        scene.replace(at, from.size(), to);
    return scene;
}

// A temporary folder named after the running test, so that tests may run side by side.
inline std::string currentTestTag()
{
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string tag = std::string(info->test_suite_name()) + "-" + info->name();
    for (char& c : tag)
        if (c == '/')
            c = '-';
    return tag;
}

}  // namespace orbhost::testing
