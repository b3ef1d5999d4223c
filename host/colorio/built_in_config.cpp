#include "host/colorio/built_in_config.h"

namespace zv_host {

// The reference space is linear with the primaries of ITU-R BT.709-6 and its white (0.3127, 0.3290).
//
// The matrices are inverse(RGB to XYZ of BT.709) * Bradford from (0.32168, 0.33767) to (0.3127, 0.3290) *
// (RGB to XYZ of the space), formed in rational numbers from the published chromaticities:
//   ACES2065-1  SMPTE ST 2065-1:2021, table 1:  R 0.7347 0.2653  G 0.0000 1.0000  B 0.0001 -0.0770
//   ACEScg      ACES S-2014-004, section 4.3:   R 0.713  0.293   G 0.165  0.830   B 0.128   0.044
//   Bradford    ICC.1:2022, annex E
// Curves: sRGB, IEC 61966-2-1 (4.1 to 4.3); Rec.709, ITU-R BT.709-6, item 1.2.
char const* const kBuiltInColorConfig = R"ocio(ocio_profile_version: 2

search_path: ""
strictparsing: true
family_separator: "|"
luma: [0.2126, 0.7152, 0.0722]

roles:
  default: Linear
  scene_linear: Linear
  rendering: Linear
  reference: Linear
  compositing_linear: Linear
  color_picking: sRGB
  texture_paint: sRGB
  matte_paint: sRGB
  aces_interchange: ACES2065-1
  data: raw

file_rules:
  - !<Rule> {name: Default, colorspace: default}

displays:
  sRGB:
    - !<View> {name: sRGB, colorspace: sRGB}
    - !<View> {name: Raw, colorspace: raw}

active_displays: [sRGB]
active_views: [sRGB, Raw]

colorspaces:
  - !<ColorSpace>
    name: Linear
    aliases: [lin_rec709, lin_srgb, linear_srgb, "Linear Rec.709 (sRGB)"]
    family: Scene
    encoding: scene-linear
    bitdepth: 32f
    description: Linear light, primaries and white of Rec.709

  - !<ColorSpace>
    name: sRGB
    aliases: [srgb_tx, srgb_texture, "sRGB - Texture"]
    family: Texture
    encoding: sdr-video
    bitdepth: 32f
    description: The curve of sRGB, primaries and white of Rec.709
    to_scene_reference: !<ExponentWithLinearTransform> {gamma: 2.4, offset: 0.055, direction: forward}

  - !<ColorSpace>
    name: Rec.709
    aliases: [rec709, bt709, rec709_camera]
    family: Texture
    encoding: sdr-video
    bitdepth: 32f
    description: The camera curve of Rec.709, its primaries and white
    to_scene_reference: !<ExponentWithLinearTransform> {gamma: 2.22222222222222222, offset: 0.099, direction: forward}

  - !<ColorSpace>
    name: ACEScg
    aliases: [lin_ap1, "ACES - ACEScg"]
    family: Scene
    encoding: scene-linear
    bitdepth: 32f
    description: Linear light, AP1 primaries, ACES white
    to_scene_reference: !<MatrixTransform> {matrix: [1.70505099265798, -0.621792120657005, -0.0832588720009787, 0, -0.130256417507043, 1.1408047365754, -0.010548319068358, 0, -0.0240033568046181, -0.128968976064971, 1.15297233286959, 0, 0, 0, 0, 1]}

  - !<ColorSpace>
    name: ACES2065-1
    aliases: [aces2065_1, lin_ap0, aces, "ACES - ACES2065-1"]
    family: Scene
    encoding: scene-linear
    bitdepth: 32f
    description: Linear light, AP0 primaries, ACES white
    to_scene_reference: !<MatrixTransform> {matrix: [2.52168618674388, -1.13413098823972, -0.387555198504164, 0, -0.276479914229922, 1.37271908766826, -0.096239173438334, 0, -0.0153780649660342, -0.152975335867399, 1.16835340083343, 0, 0, 0, 0, 1]}

  - !<ColorSpace>
    name: raw
    aliases: [data_raw, "Utility - Raw"]
    family: Data
    encoding: data
    bitdepth: 32f
    description: Numbers that are no colours; nothing converts them
    isdata: true
)ocio";

}  // namespace zv_host
