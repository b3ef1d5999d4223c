#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace zv_image_io {

/// The bytes of a file, at any place, through a window that makes many small reads cheap: small where reads jump, and
/// larger as long as they go on behind it.
///
/// Errors   a file that is not there, or is no plain file, has no bytes; what lies behind the end cannot be read
class FileBytes {
public:
    explicit FileBytes(char const* path);
    ~FileBytes();
    FileBytes(FileBytes const&) = delete;
    FileBytes& operator=(FileBytes const&) = delete;

    std::uint64_t size() const { return m_size; }
    /// How many bytes the file was asked for so far, through the window and past it.
    std::uint64_t bytes_read() const { return m_bytes_read; }
    bool has(std::uint64_t at, std::uint64_t count) const { return at <= m_size && count <= m_size - at; }

    /// All of the bytes, or false.
    bool read(std::uint64_t at, void* target, std::size_t count);
    /// An unsigned number of one to four bytes.
    std::optional<std::uint32_t> little(std::uint64_t at, int bytes);
    std::optional<std::uint32_t> big(std::uint64_t at, int bytes);
    /// Whether these characters stand there.
    bool is(std::uint64_t at, char const* text);

private:
    static constexpr std::size_t kLargestWindow = 16384;

    bool read_directly(std::uint64_t at, unsigned char* target, std::size_t count);
    bool move_window(std::uint64_t at, std::size_t count);

    int m_file;
    std::uint64_t m_size = 0, m_bytes_read = 0;
    std::uint64_t m_window_at = 0;
    std::size_t m_window_size = 0;
    unsigned char m_window[kLargestWindow];
};

/// How much of a file a check may look at. A valid file has each of its bytes looked at once or twice; where tables lead to
/// the same bytes over and over, a megabyte would be hours of work, for the check and for the reader behind it.
class LookBudget {
public:
    explicit LookBudget(FileBytes const& file)
        : m_left(4 * file.size() + kAnyFile)
    {
    }

    /// False for more than what is left.
    [[nodiscard]] bool take(std::uint64_t bytes)
    {
        bool const is_enough = bytes <= m_left;
        m_left = is_enough ? m_left - bytes : 0;
        return is_enough;
    }

private:
    static constexpr std::uint64_t kAnyFile = 16 << 20;

    std::uint64_t m_left;
};

}  // namespace zv_image_io
