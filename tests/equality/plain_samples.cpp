#include "tests/equality/plain_samples.h"

#include <cmath>
#include <cstring>

#include <half.h>

#include "host/core/core_log_handler.h"
#include "host/image/image_map.h"
#include "host/image/image_map_channel.h"

namespace zv_equality {

float float_of(std::uint32_t bits)
{
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::uint32_t bits_of(float value)
{
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

float half_to_float(std::uint16_t bits)
{
    half value;
    value.setBits(bits);
    return value;
}

std::uint16_t float_to_half(float value)
{
    return half(value).bits();
}

float to_float(std::uint32_t bits, SampleType type)
{
    if (type.floating)
        return type.bytes == 2 ? half_to_float(static_cast<std::uint16_t>(bits)) : float_of(bits);
    if (type.bytes == 1)
        return static_cast<float>(bits) / 255.0f;
    if (type.bytes == 2)
        return static_cast<float>(bits) / 65535.0f;
    return static_cast<float>(static_cast<double>(bits) / 4294967295.0);
}

std::uint32_t from_float(float value, SampleType type)
{
    if (type.floating)
        return type.bytes == 2 ? float_to_half(value) : bits_of(value);
    double const largest = type.bytes == 1 ? 255.0 : type.bytes == 2 ? 65535.0 : 4294967295.0;
    if (!(value > 0.0f))  // NaN too
        return 0;
    if (value >= 1.0f)
        return static_cast<std::uint32_t>(largest);
    return static_cast<std::uint32_t>(std::floor(static_cast<double>(value) * largest + 0.5));
}

int floor_of(int value, int divisor)
{
    return static_cast<int>(std::floor(static_cast<double>(value) / static_cast<double>(divisor)));
}

std::string text_of(CoreBasicString const& text)
{
    return std::string(text.view());
}

std::string lower(std::string text)
{
    for (char& letter : text)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    return text;
}

std::string upper(std::string text)
{
    for (char& letter : text)
        if (letter >= 'a' && letter <= 'z')
            letter = static_cast<char>(letter - 'a' + 'A');
    return text;
}

void say(int level, std::string const& text)
{
    if (CoreLogHandler::s_main_log_handler.m_level < level)
        return;
    CoreLogStream line;
    line.m_text += text.c_str();
    CoreLogHandler::log(level, line);
}

float sample_of(ImageMapChannel const& channel, int x, int y)
{
    SampleType const type{static_cast<unsigned>(channel.m_map->m_bit_depth),
                          channel.m_map->m_bit_type == ImagePixel::BIT_TYPE_FLOAT};
    return to_float(channel.get_bits(x, y), type);
}

}  // namespace zv_equality
