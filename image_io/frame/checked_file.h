#pragma once

#include <OpenImageIO/filesystem.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

namespace zv_image_io {

/// A file that an OpenImageIO writer writes through, and that notices every byte which did not arrive.
///
/// The writer is told that all is well: several of the file libraries answer a refused byte badly (the JPEG
/// library ends the process, others forget it), and none of them has anything left to save. From the first
/// refusal on nothing more is written, and `trouble` says why.
///
/// Errors   a file that does not open, a refused byte, a failed close: `trouble`; once open, only `trouble` itself may throw, for
///          lack of memory
/// Signals  who calls the writer holds a `FileSizeSignalHold`; `pwrite` and `finish` hold their own
/// Owns     the open file; the writer only borrows this object, and goes first
/// Threads  one writer; `pwrite` from several threads at once
class CheckedFile : public OIIO::Filesystem::IOProxy {
public:
    /// Opens or creates the file. What it holds stays until the first byte is written.
    explicit CheckedFile(std::string const& path);
    /// Closes what is open, without a look at the result.
    ~CheckedFile() override;
    CheckedFile(CheckedFile const&) = delete;
    CheckedFile& operator=(CheckedFile const&) = delete;

    [[nodiscard]] bool is_open() const { return m_file != nullptr; }
    /// The first thing that went wrong, as the system words it; empty while nothing has. Needs memory.
    [[nodiscard]] std::string trouble() const;

    /// Writes what is still in memory and closes the file. True if every byte arrived.
    bool finish();
    /// Closes the file, and removes it if this object created it, whatever is in it.
    void remove();

    // What the writer calls.

    char const* proxytype() const override { return "checked"; }
    /// Nothing: the file is closed by `finish`, which tells how it went.
    void close() override {}
    bool seek(int64_t offset) override;
    size_t write(void const* bytes, size_t size) override;
    size_t pwrite(void const* bytes, size_t size, int64_t offset) override;
    size_t size() const override { return m_size; }
    void flush() const override {}

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void note_trouble() noexcept;
    bool is_named_as_before() const;
    bool begin_writing();
    void write_checked(void const* bytes, size_t size, int64_t offset);
    void write_at(void const* bytes, size_t size, int64_t offset);

    std::unique_ptr<std::FILE, Closer> m_file;
    std::mutex m_mutex;
    int m_error = 0;              // the first one: no memory is needed to keep it
    int64_t m_file_position = 0;  // of m_file itself
    size_t m_size = 0;
    bool m_is_new = false;                   // was not there before, and has
    std::uint64_t m_device = 0, m_node = 0;  // this identity
    bool m_has_written = false;
};

}  // namespace zv_image_io
