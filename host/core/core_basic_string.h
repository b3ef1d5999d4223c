#pragma once

#include <cstddef>
#include <iosfwd>
#include <string_view>

/// A text of bytes: a pointer to characters, a length and a capacity.
///
/// Shape    `m_data` is null until the first character is stored, later always followed by a zero byte; bytes
///          of any value are kept, zero too; `m_capacity` counts the allocated bytes, the closing zero
///          included
/// Owns     its characters: copies are deep and as short as they can be, a move leaves the source empty
/// Errors   std::length_error for a text that 32 bits cannot count, std::bad_alloc; the text is then
///          unchanged
/// Threads  as a plain value: one writer, or any number of readers
class CoreBasicString {
public:
    /// What the searches give when there is nothing to find.
    static constexpr unsigned int kNotFound = 0xFFFFFFFFu;

    CoreBasicString() noexcept = default;
    /// The text up to the terminator; a null pointer gives the empty text.
    CoreBasicString(char const* text);
    explicit CoreBasicString(std::string_view text);
    CoreBasicString(CoreBasicString const& other);
    CoreBasicString(CoreBasicString&& other) noexcept;
    ~CoreBasicString();

    CoreBasicString& operator=(CoreBasicString const& other);
    CoreBasicString& operator=(CoreBasicString&& other) noexcept;

    /// Never null, and always terminated.
    char const* get_data() const noexcept { return m_data ? m_data : ""; }
    unsigned int get_count() const noexcept { return m_length; }
    unsigned int length() const noexcept { return m_length; }
    bool is_empty() const noexcept { return m_length == 0; }
    std::string_view view() const noexcept { return {get_data(), m_length}; }
    explicit operator std::string_view() const noexcept { return view(); }

    /// True when the text ends with `ending`; every text ends with the empty one.
    bool end_with(char const* ending) const noexcept;

    /// Index of the first match that begins at `start` or behind it, or `kNotFound`.
    unsigned int find(char const* text, unsigned int start = 0) const noexcept;
    unsigned int find(char character, unsigned int start = 0) const noexcept;
    unsigned int find(CoreBasicString const& text, unsigned int start = 0) const noexcept;

    /// Index of the last match that begins at `start` or before it, or `kNotFound`.
    unsigned int rev_find(char const* text, unsigned int start = kNotFound) const noexcept;
    unsigned int rev_find(char character, unsigned int start = kNotFound) const noexcept;
    unsigned int rev_find(CoreBasicString const& text, unsigned int start = kNotFound) const noexcept;

    /// Equal bytes, case and all. The lengths are compared first.
    bool operator==(CoreBasicString const& other) const noexcept;
    bool operator==(char const* other) const noexcept;

protected:
    /// Makes `text` the content; it may lie inside this string.
    void assign(std::string_view text);
    /// Adds `text` at the end, doubling the capacity when it is too small; it may lie inside this string.
    void add(std::string_view text);
    /// Length 0; the buffer stays for the next text.
    void make_empty() noexcept;

public:
    char* m_data = nullptr;
    unsigned int m_length = 0;
    unsigned int m_capacity = 0;
};

static_assert(sizeof(CoreBasicString) == 16, "memory reports count 16 bytes a string beside its capacity");

std::ostream& operator<<(std::ostream& stream, CoreBasicString const& text);
