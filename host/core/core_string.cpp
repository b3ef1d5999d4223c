#include "host/core/core_string.h"

#include <charconv>
#include <cstring>

namespace {

char lower(char character) noexcept
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A')) : character;
}

char upper(char character) noexcept
{
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - ('a' - 'A')) : character;
}

template <class Change>
void change_each(CoreString& text, Change change) noexcept
{
    for (unsigned int i = 0; i < text.m_length; ++i)
        text.m_data[i] = change(text.m_data[i]);
}

/// The first `length` bytes of `data`, or all up to the terminator.
std::string_view bytes_of(char const* data, unsigned int length) noexcept
{
    if (!data)
        return {};
    return {data, length == CoreString::kNotFound ? std::strlen(data) : length};
}

template <class Integer>
CoreString& add_number(CoreString& text, Integer value)
{
    char digits[24];
    char const* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    return text += std::string_view(digits, end);
}

CoreString text_behind(CoreString const& text, unsigned int position)
{
    return position == CoreString::kNotFound ? text : text.sub_string(position + 1);
}

}  // namespace

void CoreString::set_data(char const* data, unsigned int length)
{
    assign(bytes_of(data, length));
}

void CoreString::append(char const* data, unsigned int length)
{
    add(bytes_of(data, length));
}

CoreString& CoreString::operator+=(char const* text)
{
    return *this += bytes_of(text, kNotFound);
}

CoreString& CoreString::operator+=(CoreBasicString const& text)
{
    return *this += text.view();
}

CoreString& CoreString::operator+=(std::string_view text)
{
    add(text);
    return *this;
}

CoreString& CoreString::operator+=(char character)
{
    return *this += std::string_view(&character, 1);
}

CoreString& CoreString::operator+=(bool value)
{
    return *this += value ? "true" : "false";
}

CoreString& CoreString::operator+=(int value)
{
    return add_number(*this, value);
}

CoreString& CoreString::operator+=(unsigned int value)
{
    return add_number(*this, value);
}

CoreString& CoreString::operator+=(long value)
{
    return add_number(*this, value);
}

CoreString& CoreString::operator+=(unsigned long value)
{
    return add_number(*this, value);
}

CoreString& CoreString::operator+=(long long value)
{
    return add_number(*this, value);
}

CoreString& CoreString::operator+=(unsigned long long value)
{
    return add_number(*this, value);
}

void CoreString::lower_case() noexcept
{
    change_each(*this, lower);
}

void CoreString::upper_case() noexcept
{
    change_each(*this, upper);
}

CoreString CoreString::get_lower_case() const
{
    CoreString result(*this);
    result.lower_case();
    return result;
}

CoreString CoreString::get_upper_case() const
{
    CoreString result(*this);
    result.upper_case();
    return result;
}

void CoreString::replace(char character, char replacement) noexcept
{
    change_each(*this, [=](char here) { return here == character ? replacement : here; });
}

CoreString CoreString::sub_string(unsigned int first, unsigned int count) const
{
    return first >= m_length ? CoreString() : CoreString(view().substr(first, count));
}

CoreVector<CoreString> CoreString::split(CoreBasicString const& separator, bool skip_empty) const
{
    CoreVector<CoreString> pieces;
    std::string_view rest = view();
    bool is_last = rest.empty();
    while (!is_last) {
        std::size_t const end = separator.is_empty() ? std::string_view::npos : rest.find(separator.view());
        std::string_view const piece = rest.substr(0, end);
        if (!piece.empty() || !skip_empty)
            pieces.add(CoreString(piece));
        is_last = end == std::string_view::npos;
        if (!is_last)
            rest.remove_prefix(end + separator.m_length);
    }
    return pieces;
}

bool CoreString::is_number() const noexcept
{
    std::string_view digits = view();
    if (!digits.empty() && (digits.front() == '-' || digits.front() == '+'))
        digits.remove_prefix(1);
    return !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos;
}

CoreString CoreString::after_first(CoreString const& text, char character)
{
    return text_behind(text, text.find(character));
}

CoreString CoreString::after_last(CoreString const& text, char character)
{
    return text_behind(text, text.rev_find(character));
}
