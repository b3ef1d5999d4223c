#include "host/core/core_basic_string.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace {

/// The longest text: a length of `kNotFound` could not be told from a failed search.
constexpr std::size_t kLongest = CoreBasicString::kNotFound - 1;

unsigned int narrow(std::size_t position) noexcept
{
    return position == std::string_view::npos ? CoreBasicString::kNotFound
                                              : static_cast<unsigned int>(position);
}

std::string_view view_of(char const* text) noexcept
{
    return text ? std::string_view(text) : std::string_view();
}

/// `find` of the standard library, with its wider "not found".
template <class Needle>
unsigned int first_match(std::string_view text, Needle const& needle, unsigned int start) noexcept
{
    return narrow(text.find(needle, start));
}

template <class Needle>
unsigned int last_match(std::string_view text, Needle const& needle, unsigned int start) noexcept
{
    return narrow(text.rfind(needle, start));
}

}  // namespace

CoreBasicString::CoreBasicString(char const* text)
{
    assign(view_of(text));
}

CoreBasicString::CoreBasicString(std::string_view text)
{
    assign(text);
}

CoreBasicString::CoreBasicString(CoreBasicString const& other)
{
    assign(other.view());
}

CoreBasicString::CoreBasicString(CoreBasicString&& other) noexcept
    : m_data(std::exchange(other.m_data, nullptr))
    , m_length(std::exchange(other.m_length, 0))
    , m_capacity(std::exchange(other.m_capacity, 0))
{
}

CoreBasicString::~CoreBasicString()
{
    delete[] m_data;
}

CoreBasicString& CoreBasicString::operator=(CoreBasicString const& other)
{
    if (this != &other)
        assign(other.view());
    return *this;
}

CoreBasicString& CoreBasicString::operator=(CoreBasicString&& other) noexcept
{
    if (this != &other) {
        delete[] m_data;
        m_data = std::exchange(other.m_data, nullptr);
        m_length = std::exchange(other.m_length, 0);
        m_capacity = std::exchange(other.m_capacity, 0);
    }
    return *this;
}

bool CoreBasicString::end_with(char const* ending) const noexcept
{
    return view().ends_with(view_of(ending));
}

unsigned int CoreBasicString::find(char const* text, unsigned int start) const noexcept
{
    return first_match(view(), view_of(text), start);
}

unsigned int CoreBasicString::find(char character, unsigned int start) const noexcept
{
    return first_match(view(), character, start);
}

unsigned int CoreBasicString::find(CoreBasicString const& text, unsigned int start) const noexcept
{
    return first_match(view(), text.view(), start);
}

unsigned int CoreBasicString::rev_find(char const* text, unsigned int start) const noexcept
{
    return last_match(view(), view_of(text), start);
}

unsigned int CoreBasicString::rev_find(char character, unsigned int start) const noexcept
{
    return last_match(view(), character, start);
}

unsigned int CoreBasicString::rev_find(CoreBasicString const& text, unsigned int start) const noexcept
{
    return last_match(view(), text.view(), start);
}

bool CoreBasicString::operator==(CoreBasicString const& other) const noexcept
{
    return m_length == other.m_length && view() == other.view();
}

bool CoreBasicString::operator==(char const* other) const noexcept
{
    return view() == view_of(other);
}

void CoreBasicString::assign(std::string_view text)
{
    if (text.empty()) {
        make_empty();
        return;
    }
    if (text.size() > kLongest)
        throw std::length_error("CoreString");
    if (text.size() >= m_capacity) {
        char* const buffer = new char[text.size() + 1];
        std::memcpy(buffer, text.data(), text.size());
        delete[] m_data;
        m_data = buffer;
        m_capacity = static_cast<unsigned int>(text.size() + 1);
    } else {
        std::memmove(m_data, text.data(), text.size());
    }
    m_length = static_cast<unsigned int>(text.size());
    m_data[m_length] = 0;
}

void CoreBasicString::add(std::string_view text)
{
    if (text.empty())
        return;
    if (text.size() > kLongest - m_length)
        throw std::length_error("CoreString");
    std::size_t const length = m_length + text.size();
    if (length >= m_capacity) {
        std::size_t const capacity =
            std::min(std::max(length + 1, std::size_t(m_capacity) * 2), kLongest + 1);
        char* const buffer = new char[capacity];
        std::memcpy(buffer, get_data(), m_length);
        std::memcpy(buffer + m_length, text.data(), text.size());
        delete[] m_data;
        m_data = buffer;
        m_capacity = static_cast<unsigned int>(capacity);
    } else {
        std::memmove(m_data + m_length, text.data(), text.size());
    }
    m_length = static_cast<unsigned int>(length);
    m_data[m_length] = 0;
}

void CoreBasicString::make_empty() noexcept
{
    m_length = 0;
    if (m_data)
        m_data[0] = 0;
}

std::ostream& operator<<(std::ostream& stream, CoreBasicString const& text)
{
    return stream << text.view();
}
