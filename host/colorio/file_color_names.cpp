#include "host/colorio/file_color_names.h"

namespace zv_host {
namespace {

constexpr char const* kLinear[] = {"Linear",
                                   "lin_rec709",
                                   "Linear Rec.709 (sRGB)",
                                   "Utility - Linear - sRGB",
                                   "Utility - Linear - Rec.709",
                                   "scene_linear"};
constexpr char const* kSrgb[] = {
    "sRGB",  "srgb_tx",      "sRGB - Texture", "sRGB Encoded Rec.709 (sRGB)", "Utility - sRGB - Texture",
    "srgb8", "Output - sRGB"};
constexpr char const* kRec709[] = {
    "Rec.709", "rec709", "Rec709", "Camera Rec.709", "Utility - Rec.709 - Camera", "Output - Rec.709"};
// A PNG file whose only word on colour is a gamma of 1/2.2 is what writers of sRGB pictures made of it.
constexpr char const* kGamma22[] = {"Gamma 2.2 Encoded Rec.709",
                                    "Gamma 2.2 Rec.709 - Texture",
                                    "Utility - Gamma 2.2 - Rec.709 - Texture",
                                    "sRGB",
                                    "srgb_tx",
                                    "Utility - sRGB - Texture"};
constexpr char const* kAcesCg[] = {"ACEScg", "lin_ap1", "ACES - ACEScg"};
constexpr char const* kAces[] = {"ACES2065-1", "lin_ap0", "ACES - ACES2065-1"};
constexpr char const* kRaw[] = {"raw", "Raw", "Utility - Raw", "data"};

constexpr FileColorName kNames[] = {
    {"Linear", kLinear},
    {"lin_rec709", kLinear},
    {"lin_srgb", kLinear},
    {"linear_srgb", kLinear},
    {"Linear sRGB", kLinear},
    {"Linear Rec.709", kLinear},
    {"Linear Rec.709 (sRGB)", kLinear},
    {"scene_linear", kLinear},
    {"sRGB", kSrgb},
    {"srgb_texture", kSrgb},
    {"srgb_tx", kSrgb},
    {"srgb8", kSrgb},
    {"sRGB - Texture", kSrgb},
    {"sRGB IEC61966-2.1", kSrgb},
    {"sRGB IEC61966-2-1", kSrgb},
    {"Rec709", kRec709},
    {"Rec.709", kRec709},
    {"Rec 709", kRec709},
    {"BT709", kRec709},
    {"BT.709", kRec709},
    {"ITU-R BT.709", kRec709},
    {"Gamma2.2", kGamma22},
    {"GammaCorrected2.2", kGamma22},
    {"ACEScg", kAcesCg},
    {"lin_ap1", kAcesCg},
    {"ACES", kAces},
    {"ACES2065-1", kAces},
    {"lin_ap0", kAces},
    {"raw", kRaw},
    {"data", kRaw},
    {"Non-Color", kRaw},
    {"none", kRaw},
};

}  // namespace

std::span<FileColorName const> file_color_names()
{
    return kNames;
}

}  // namespace zv_host
