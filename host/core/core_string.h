#pragma once

#include "host/core/core_basic_string.h"
#include "host/core/core_vector.h"

#include <string_view>
#include <type_traits>

/// The application's text: a `CoreBasicString` that can be built up, cut and changed.
///
/// Letters  case operations know the 26 letters of ASCII only; all other bytes pass unchanged
/// Errors   as `CoreBasicString`: std::length_error above 32 bits, std::bad_alloc; the text is then unchanged
class CoreString : public CoreBasicString {
public:
    CoreString() noexcept = default;
    CoreString(char const* text)
        : CoreBasicString(text)
    {
    }
    explicit CoreString(std::string_view text)
        : CoreBasicString(text)
    {
    }
    CoreString(CoreBasicString const& other)
        : CoreBasicString(other)
    {
    }
    CoreString(CoreString const&) = default;
    CoreString(CoreString&&) noexcept = default;

    CoreString& operator=(CoreString const&) = default;
    CoreString& operator=(CoreString&&) noexcept = default;

    /// Makes the first `length` bytes of `data` the content; -1 means up to the terminator.
    void set_data(char const* data, unsigned int length = kNotFound);
    /// Adds the first `length` bytes of `data`; -1 means up to the terminator.
    void append(char const* data, unsigned int length = kNotFound);
    void clear() noexcept { make_empty(); }

    /// A bool prints as "true" or "false", numbers as plain decimals.
    CoreString& operator+=(char const* text);
    CoreString& operator+=(CoreBasicString const& text);
    CoreString& operator+=(std::string_view text);
    CoreString& operator+=(char character);
    CoreString& operator+=(bool value);
    CoreString& operator+=(int value);
    CoreString& operator+=(unsigned int value);
    CoreString& operator+=(long value);
    CoreString& operator+=(unsigned long value);
    CoreString& operator+=(long long value);
    CoreString& operator+=(unsigned long long value);
    /// A pointer is no text; without this it would print as a bool.
    template <class T>
    requires(!std::is_same_v<std::remove_cv_t<T>, char>) CoreString& operator+=(T*) = delete;

    void lower_case() noexcept;
    void upper_case() noexcept;
    CoreString get_lower_case() const;
    CoreString get_upper_case() const;
    /// Puts `replacement` in the place of every `character`.
    void replace(char character, char replacement) noexcept;

    /// `count` bytes from `first` on, fewer where the text ends; empty for a start past the end.
    CoreString sub_string(unsigned int first, unsigned int count = kNotFound) const;
    /// The pieces between the separators. Empty pieces stay unless `skip_empty`; an empty text has no pieces,
    /// and an empty separator leaves the text whole.
    CoreVector<CoreString> split(CoreBasicString const& separator, bool skip_empty = false) const;
    /// True for at least one decimal digit with nothing before it but an optional sign.
    bool is_number() const noexcept;

    /// What stands behind the first or last `character`; the whole text where there is none.
    static CoreString after_first(CoreString const& text, char character);
    static CoreString after_last(CoreString const& text, char character);
};

/// The text with `piece` behind it, for every kind of piece that `CoreString::operator+=` takes.
template <class Piece>
requires requires(CoreString text, Piece const& piece)
{
    text += piece;
}
CoreString operator+(CoreString text, Piece const& piece)
{
    text += piece;
    return text;
}

inline CoreString operator+(char const* text, CoreString const& piece)
{
    CoreString result(text);
    result += piece;
    return result;
}
