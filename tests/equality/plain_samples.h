#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "host/core/core_string.h"
#include "host/gmath/gmath_vec4.h"

class ImageMapChannel;

/// The plain road: what a load and a save come to, told again with one sample at a time, one thread, and no share in the
/// module's code. Slow and obvious on purpose; the tests compare the module with it.
namespace zv_equality {

/// What a sample is: its size in bytes, and whether it is half or float rather than an integer.
struct SampleType {
    unsigned bytes = 4;
    bool floating = true;
};

/// Integers stand for 0 to 1.
float to_float(std::uint32_t bits, SampleType type);
/// Integers are limited and rounded to the nearest.
std::uint32_t from_float(float value, SampleType type);

float half_to_float(std::uint16_t bits);
std::uint16_t float_to_half(float value);
float float_of(std::uint32_t bits);
std::uint32_t bits_of(float value);

struct Place {
    int x = 0, y = 0, width = 0, height = 0;

    Place() = default;
    Place(int x_, int y_, int width_, int height_)
        : x(x_)
        , y(y_)
        , width(width_)
        , height(height_)
    {
    }
    explicit Place(GMathVec4<int> const& rectangle)
        : Place(rectangle.x(), rectangle.y(), rectangle.width(), rectangle.height())
    {
    }
    bool operator==(Place const&) const = default;
    int end_x() const { return x + width; }
    int end_y() const { return y + height; }
    bool holds(int column, int row) const
    {
        return column >= x && column < end_x() && row >= y && row < end_y();
    }
};

/// Divides and rounds down.
int floor_of(int value, int divisor);

std::string text_of(CoreBasicString const& text);
/// The 26 letters only.
std::string lower(std::string text);
std::string upper(std::string text);
/// Logs a line if the handler wants lines of that level.
void say(int level, std::string const& text);

/// A sample of a channel in memory as a float; 0 where the channel has none.
float sample_of(ImageMapChannel const& channel, int x, int y);

}  // namespace zv_equality
