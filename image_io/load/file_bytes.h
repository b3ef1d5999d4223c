#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zv_image_io {

/// The bytes of a file, at any place, through a window that makes many small reads cheap.
///
/// Errors   a file that is not there, or is no plain file, has no bytes; what lies behind the end cannot be read
class FileBytes {
public:
    explicit FileBytes(char const* path);
    ~FileBytes();
    FileBytes(FileBytes const&) = delete;
    FileBytes& operator=(FileBytes const&) = delete;

    std::uint64_t size() const { return m_size; }
    bool has(std::uint64_t at, std::uint64_t count) const { return at <= m_size && count <= m_size - at; }

    /// All of the bytes, or false.
    bool read(std::uint64_t at, void* target, std::size_t count);
    /// An unsigned number of one to four bytes.
    std::optional<std::uint32_t> little(std::uint64_t at, int bytes);
    std::optional<std::uint32_t> big(std::uint64_t at, int bytes);
    /// Whether these characters stand there.
    bool is(std::uint64_t at, char const* text);

private:
    bool read_directly(std::uint64_t at, unsigned char* target, std::size_t count) const;

    int m_file;
    std::uint64_t m_size = 0;
    std::uint64_t m_window_at = 0;
    std::vector<unsigned char> m_window;
};

}  // namespace zv_image_io
