#include "host/core/core_variant.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace {

double number_at_start(std::string_view text) noexcept
{
    std::size_t const first = text.find_first_not_of(" \t\r\n");
    text.remove_prefix(first == std::string_view::npos ? text.size() : first);
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    char const* const end = text.data() + text.size();
    double value = 0.0;
    char const* const behind = std::from_chars(text.data(), end, value).ptr;
    // "inf" and "nan" are numbers where they stand alone, not where a word begins with them.
    return std::isfinite(value) || behind == end ? value : 0.0;
}

CoreString shortest_text(double value)
{
    char digits[32];
    char const* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    return CoreString(std::string_view(digits, end));
}

}  // namespace

int CoreVariant::get_int() const
{
    if (m_type == TYPE_BOOL || m_type == TYPE_INT)
        return m_integer;
    double const value = get_double();
    if (std::isnan(value))
        return 0;
    if (value <= std::numeric_limits<int>::min())
        return std::numeric_limits<int>::min();
    if (value >= std::numeric_limits<int>::max())
        return std::numeric_limits<int>::max();
    return static_cast<int>(value);
}

double CoreVariant::get_double() const
{
    switch (m_type) {
    case TYPE_BOOL:
    case TYPE_INT:
        return m_integer;
    case TYPE_DOUBLE:
        return m_double;
    case TYPE_STRING:
        return number_at_start(m_string.view());
    case TYPE_NONE:
        break;
    }
    return 0.0;
}

CoreString CoreVariant::get_string() const
{
    switch (m_type) {
    case TYPE_BOOL:
        return m_integer ? "true" : "false";
    case TYPE_INT:
        return CoreString() + m_integer;
    case TYPE_DOUBLE:
        return shortest_text(m_double);
    case TYPE_STRING:
        return m_string;
    case TYPE_NONE:
        break;
    }
    return CoreString();
}

bool CoreVariant::operator==(CoreVariant const& other) const noexcept
{
    return m_type == other.m_type && m_integer == other.m_integer && m_double == other.m_double &&
           m_string == other.m_string;
}
