#pragma once

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <string>

#include <OpenColorIO/OpenColorIO.h>
#include <gtest/gtest.h>

#include "host/colorio/color_io.h"
#include "host/colorio/color_io_manager.h"
#include "tests/support/temp_dir.h"

namespace OCIO = OCIO_NAMESPACE;

/// A configuration in the manner of the first ACES ones: families in front of the names, no built-in name
/// in it.
inline constexpr char const* kOtherConfig = R"ocio(ocio_profile_version: 2
strictparsing: true
roles:
  default: Utility - Raw
  scene_linear: ACES - ACEScg
file_rules:
  - !<Rule> {name: Default, colorspace: default}
displays:
  sRGB:
    - !<View> {name: Raw, colorspace: Utility - Raw}
colorspaces:
  - !<ColorSpace>
    name: ACES - ACEScg
    family: ACES
    aliases: [working]
  - !<ColorSpace>
    name: Utility - sRGB - Texture
    family: Utility
    to_scene_reference: !<ExponentWithLinearTransform> {gamma: 2.4, offset: 0.055}
  - !<ColorSpace>
    name: Input - Twice
    family: Input
    to_scene_reference: !<MatrixTransform> {matrix: [2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1]}
  - !<ColorSpace>
    name: Output - Twice
    family: Output
    to_scene_reference: !<MatrixTransform> {matrix: [4, 0, 0, 0, 0, 4, 0, 0, 0, 0, 4, 0, 0, 0, 0, 1]}
  - !<ColorSpace>
    name: Mixer
    to_scene_reference: !<MatrixTransform> {matrix: [1, 0, 0, 1, 0, 1, 0, 0, 0, 0, 1, 0, 0.5, 0, 0, 0.25]}
  - !<ColorSpace>
    name: Utility - Raw
    family: Utility
    isdata: true
)ocio";

/// Puts the built-in configuration back when a test is done.
class Color : public testing::Test {
protected:
    Color()
    {
        unsetenv("OCIO");
        ColorIOManager::s_instance->reload();
    }
    ~Color() override
    {
        unsetenv("OCIO");
        ColorIOManager::s_instance->reload();
    }

    CoreString write_config(char const* text)
    {
        std::string const path = (m_folder.path() / "config.ocio").string();
        std::ofstream(path) << text;
        return path.c_str();
    }

    void use_other_config()
    {
        ASSERT_TRUE(ColorIOManager::s_instance->set_config_file(write_config(kOtherConfig)));
    }

    zv_test::TempDir m_folder;
};

inline float srgb_to_linear(double value)
{
    return static_cast<float>(value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4));
}
