#pragma once

#include "host/core/core_string.h"

/// One value with a tag that says its type.
///
/// Conversions never fail: a text is read as a decimal number at its beginning (0 where there is none; "inf"
/// and "nan" only where they are all of it), a bool is 1 or 0, nothing is 0 or the empty text; as text a bool
/// is "true" or "false" and a double the shortest text that reads back as the same number.
class CoreVariant {
public:
    enum Type : unsigned int { TYPE_NONE = 0, TYPE_BOOL = 1, TYPE_INT = 2, TYPE_DOUBLE = 3, TYPE_STRING = 4 };

    CoreVariant() noexcept = default;
    CoreVariant(bool value) noexcept
        : m_type(TYPE_BOOL)
        , m_integer(value)
    {
    }
    CoreVariant(int value) noexcept
        : m_type(TYPE_INT)
        , m_integer(value)
    {
    }
    CoreVariant(double value) noexcept
        : m_type(TYPE_DOUBLE)
        , m_double(value)
    {
    }
    CoreVariant(CoreBasicString const& text)
        : m_type(TYPE_STRING)
        , m_string(text)
    {
    }
    CoreVariant(char const* text)
        : m_type(TYPE_STRING)
        , m_string(text)
    {
    }

    Type const& get_type() const noexcept { return m_type; }

    bool get_bool() const { return get_double() != 0.0; }
    /// A double loses its fraction; what is outside the range of an int becomes the nearest one, NaN becomes
    /// 0.
    int get_int() const;
    double get_double() const;
    CoreString get_string() const;

    operator double() const { return get_double(); }
    operator CoreString() const { return get_string(); }

    /// The same tag and the same value.
    bool operator==(CoreVariant const& other) const noexcept;

private:
    Type m_type = TYPE_NONE;
    int m_integer = 0;
    double m_double = 0.0;
    CoreString m_string;
};
