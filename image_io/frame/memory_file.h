#pragma once

#include <cstddef>
#include <string>

namespace zv_image_io {

class CheckedFile;

/// A file in memory, under a name that file libraries can open: for writers that open their files themselves and forget what
/// a disk refuses.
///
/// Errors   not open, and `errno` says why: no such files on this system, or a process whose files may not become as large
///          as this one: files in memory end at that limit, too, and their writers forget that as well
/// Owns     the memory, until it goes
/// Threads  one at a time
class MemoryFile {
public:
    /// `room`: what the file will hold at most, in bytes.
    explicit MemoryFile(std::size_t room);
    ~MemoryFile();
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;

    [[nodiscard]] bool is_open() const { return m_file >= 0; }
    /// Names the file for this process, as long as this object lives.
    [[nodiscard]] std::string const& path() const { return m_path; }

    /// Writes all that is in it; the other file tells what did not arrive. False if it does not come back: `errno` says why.
    bool copy_to(CheckedFile& file) const;

private:
    int m_file = -1;
    std::string m_path;
};

}  // namespace zv_image_io
